#ifndef VARNO_BENCH_TELNET_ACTS_H
#define VARNO_BENCH_TELNET_ACTS_H

// The telnet streams as acts: 64 KiB of a client's stream in reads of one size, through
// whichever parser. An operation is one KiB.

#include "acts.h"

#include <string>
#include <string_view>

namespace varno_bench {

enum class Stream {
    plain_64k,         // in one read; the others in reads of 4 KiB
    plain_256,         // in reads of 256 bytes
    plain_1,           // in reads of one byte
    commands_every_64, // of several kinds, none of which is answered
    subnegotiations_every_16
};

inline constexpr size_t stream_bytes = 64 * 1024;

// Printable, every value from ' ' to '~' in turn.
std::string plain_text(size_t count);

class TelnetAct : public Act {
  public:
    // left_by_unknown: what the parser makes of a subnegotiation that it does not know,
    // as data.
    explicit TelnetAct(Stream stream, std::string_view left_by_unknown = "");

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
    void note_terminal() { terminals_++; }

  private:
    std::string stream_;
    std::string data_; // of the stream
    size_t read_bytes_;
    size_t wanted_windows_ = 0;
    size_t wanted_terminals_ = 0;

    size_t data_bytes_ = 0;
    size_t windows_ = 0;
    size_t terminals_ = 0;
    bool is_kept_ = false;
    std::string kept_;
};

} // namespace varno_bench

#endif
