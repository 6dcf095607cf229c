// The streams, and the check that data and window sizes arrive.

#include "telnet_acts.h"

#include "../telnet_streams.h"

namespace varno_bench {
namespace {

constexpr size_t stream_bytes = 64 * 1024;

struct Shape {
    std::string_view command;
    size_t period; // of them the command, plain text behind it
    size_t read_bytes;
};

Shape shape_of(Stream stream)
{
    switch (stream) {
    case Stream::plain_64k:
        return {"", 256, stream_bytes};
    case Stream::plain_256:
        return {"", 256, 256};
    case Stream::plain_1:
        return {"", 256, 1};
    case Stream::command_every_64:
        return {nop, 64, 4096};
    default:
        return {window_80_24, 16, 4096};
    }
}

} // namespace

TelnetAct::TelnetAct(Stream stream)
{
    const Shape shape = shape_of(stream);
    const std::string text = plain_text(shape.period - shape.command.size());
    while (stream_.size() < stream_bytes) {
        stream_.append(shape.command).append(text);
        data_.append(text);
        wanted_windows_ += shape.command == window_80_24;
    }
    read_bytes_ = shape.read_bytes;
    operations = stream_bytes / 1024;
    bytes = stream_bytes;
}

void TelnetAct::run()
{
    for (size_t at = 0; at < stream_bytes; at += read_bytes_)
        read(stream_.data() + at, read_bytes_);
}

const char *TelnetAct::problem()
{
    is_kept_ = true;
    windows_ = 0;
    run();
    is_kept_ = false;
    if (kept_ != data_)
        return "the data is not what was sent";
    return windows_ == wanted_windows_ ? nullptr : "window sizes are missing";
}

} // namespace varno_bench
