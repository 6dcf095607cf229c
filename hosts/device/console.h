#ifndef VARNO_DEVICE_CONSOLE_H
#define VARNO_DEVICE_CONSOLE_H

// What commands write, to a session or for a batch.

#include <memory>
#include <utility>

#include "clean_text.h"
#include "device.h"

namespace device {

// Writes what a command has to say: to the session, or to standard output.
void print(Console &console, const char *format, ...) VARNO_PRINTF(2, 3);

// Says why a command is not carried out. A batch says so on standard error, with the
// place, and ends there.
void refuse(Console &console, const char *format, ...) VARNO_PRINTF(2, 3);

// A long output, as far as it has come.
class Rows {
  public:
    virtual ~Rows() = default;
    // Writes the next row, or a few that belong together. Returns: whether there is more.
    virtual bool write(Console &console) = 0;
};

// Has the rows written, a page at a time in a session, and released after the last
// one or when the reader has had enough.
void write_long(Console &console, std::unique_ptr<Rows> rows);

// The lines of a text, a row each; every one ends with a line feed.
class Lines : public Rows {
  public:
    explicit Lines(std::string text = {})
        : text_(std::make_shared<const std::string>(std::move(text)))
    {}
    explicit Lines(std::shared_ptr<const std::string> text) : text_(std::move(text)) {}
    bool is_over() const { return at_ == text_->size(); }
    bool write(Console &console) override;

  private:
    std::shared_ptr<const std::string> text_;
    size_t at_ = 0;
};

} // namespace device

#endif
