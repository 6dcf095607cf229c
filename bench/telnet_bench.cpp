// The telnet parser over 64 KiB of a client's stream, in reads of several sizes. All
// callbacks are set, the trace callback too; they count and do nothing else. An
// operation is one read. The memchr act is the yardstick for plain data: the same
// bytes, searched for the same byte.

#include "acts.h"
#include "host.h"
#include "telnet_streams.h"

#include <varno/telnet_parser.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace varno_bench {
namespace {

constexpr int32_t stream_bytes = 64 * 1024;

// 64 KiB, each `period` bytes of them a command and plain text behind it.
struct Stream {
    std::string bytes;
    std::string data;
};

Stream stream_of(std::string_view command, size_t period)
{
    Stream stream;
    const std::string text = plain_text(period - command.size());
    while (stream.bytes.size() < stream_bytes) {
        stream.bytes.append(command).append(text);
        stream.data.append(text);
    }
    return stream;
}

// What the parser has reported. The data itself is kept only on demand: a copy costs
// more than the parsing of plain data.
struct Report {
    int64_t data_bytes;
    int64_t windows;
    int64_t traces;
    std::string *data;
};

int receive(telparser_s *, void *user, const unsigned char *buf, int32_t len)
{
    auto &report = *static_cast<Report *>(user);
    report.data_bytes += len;
    if (report.data)
        report.data->append(reinterpret_cast<const char *>(buf), static_cast<size_t>(len));
    return 0;
}

void trace(telparser_s *, void *user, const char *)
{
    static_cast<Report *>(user)->traces++;
}

void note_window(telparser_s *, void *user, int width, int height)
{
    if (width == 80 && height == 24)
        static_cast<Report *>(user)->windows++;
}

class TelnetAct : public Act {
  public:
    TelnetAct(Stream stream, int32_t read_bytes, int64_t windows)
        : ctx_(telnet_create_context()), stream_(std::move(stream)), read_bytes_(read_bytes),
          windows_(windows)
    {
        if (!ctx_)
            give_up("telnet_create_context");
        telnet_set_callback_recv(ctx_, receive, &report_);
        telnet_set_callback_trace(ctx_, trace, &report_);
        telnet_set_callback_naws(ctx_, note_window, &report_);
        operations = stream_bytes / read_bytes;
        bytes = stream_bytes;
    }

    ~TelnetAct() override { telnet_free_context(ctx_); }

    void run() override
    {
        used_ = 0;
        for (int32_t end = read_bytes_; end <= stream_bytes; end += read_bytes_)
            read(end);
    }

    const char *problem() override
    {
        std::string data;
        report_ = {.data_bytes = 0, .windows = 0, .traces = 0, .data = &data};
        run();
        report_.data = nullptr;
        if (data != stream_.data)
            return "the data is not what was sent";
        if (report_.windows != windows_)
            return "window sizes are missing";
        if (used_ != stream_bytes)
            return "bytes were left over";
        return nullptr;
    }

  private:
    // The host's side: a read ends further on in the stream, as if behind the bytes that
    // were kept, and the parser is called as long as it uses any, since it stops behind
    // the last command.
    void read(int32_t end)
    {
        while (used_ < end) {
            const int32_t n = telnet_consume(ctx_, stream_at(used_), end - used_);
            if (n == 0)
                break;
            used_ += n;
        }
    }

    const unsigned char *stream_at(int32_t at) const
    {
        return reinterpret_cast<const unsigned char *>(stream_.bytes.data()) + at;
    }

    telparser_s *ctx_;
    const Stream stream_;
    const int32_t read_bytes_;
    const int64_t windows_;
    Report report_ = {};
    int32_t used_ = 0;
};

// One call straight from the stream, without a host's buffer: comparable with memchr.
class PlainAct : public Act {
  public:
    PlainAct() : ctx_(telnet_create_context()), text_(plain_text(stream_bytes))
    {
        if (!ctx_)
            give_up("telnet_create_context");
        telnet_set_callback_recv(ctx_, receive, &report_);
        telnet_set_callback_trace(ctx_, trace, &report_);
        bytes = stream_bytes;
    }

    ~PlainAct() override { telnet_free_context(ctx_); }

    void run() override
    {
        used_ = telnet_consume(ctx_, reinterpret_cast<const unsigned char *>(text_.data()),
                               stream_bytes);
    }

    const char *problem() override
    {
        report_ = {};
        run();
        return used_ == stream_bytes && report_.data_bytes == stream_bytes ? nullptr
                                                                           : "data is missing";
    }

  private:
    telparser_s *ctx_;
    const std::string text_;
    Report report_ = {};
    int32_t used_ = 0;
};

class MemchrAct : public Act {
  public:
    MemchrAct() : text_(plain_text(stream_bytes)) { bytes = stream_bytes; }

    // Volatile, so that the search is not left out.
    void run() override { found_ = std::memchr(text_.data(), TN_NVT_IAC, text_.size()); }

    const char *problem() override { return found_ ? "found a byte that is not there" : nullptr; }

  private:
    const std::string text_;
    const void *volatile found_ = nullptr;
};

std::unique_ptr<Act> memchr_64k()
{
    return std::make_unique<MemchrAct>();
}

std::unique_ptr<Act> plain_64k()
{
    return std::make_unique<PlainAct>();
}

std::unique_ptr<Act> plain_reads_256()
{
    return std::make_unique<TelnetAct>(stream_of("", 256), 256, 0);
}

std::unique_ptr<Act> plain_single_bytes()
{
    return std::make_unique<TelnetAct>(stream_of("", 256), 1, 0);
}

// NOP and 62 bytes of data, 1,024 times, in reads of 4 KiB.
std::unique_ptr<Act> command_every_64()
{
    return std::make_unique<TelnetAct>(stream_of(nop, 64), 4096, 0);
}

// A window size and 7 bytes of data, 4,096 times, in reads of 4 KiB.
std::unique_ptr<Act> subnegotiation_every_16()
{
    return std::make_unique<TelnetAct>(stream_of(window_80_24, 16), 4096, 4096);
}

// clang-format off
constexpr ActRow rows[] = {
    {"telnet/memchr_64k",              memchr_64k},
    {"telnet/plain_64k",               plain_64k},
    {"telnet/plain_reads_256",         plain_reads_256},
    {"telnet/plain_single_bytes",      plain_single_bytes},
    {"telnet/command_every_64",        command_every_64},
    {"telnet/subnegotiation_every_16", subnegotiation_every_16},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
