#ifndef VARNO_BENCH_TELNET_ACTS_H
#define VARNO_BENCH_TELNET_ACTS_H

// The telnet streams as acts: 64 KiB of a client's stream in reads of one size, through
// whichever parser. An operation is one KiB.

#include "../acts.h"

#include <string>

namespace varno_bench {

enum class Stream { plain_64k, plain_256, plain_1, command_every_64, subnegotiation_every_16 };

class TelnetAct : public Act {
  public:
    explicit TelnetAct(Stream stream);

    void run() override;
    const char *problem() override;

  protected:
    // One read of the connection.
    virtual void read(const char *from, size_t count) = 0;

    // For the parser's callbacks. Data is kept only for the check: a copy costs more than
    // the parsing of plain data.
    void note_data(const char *from, size_t count)
    {
        data_bytes_ += count;
        if (is_kept_)
            kept_.append(from, count);
    }
    void note_window(int columns, int rows) { windows_ += columns == 80 && rows == 24; }

  private:
    std::string stream_;
    std::string data_; // of the stream
    size_t read_bytes_;
    size_t wanted_windows_ = 0;

    size_t data_bytes_ = 0;
    size_t windows_ = 0;
    bool is_kept_ = false;
    std::string kept_;
};

} // namespace varno_bench

#endif
