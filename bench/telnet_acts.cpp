// The streams, and the check that data, window sizes and terminal types arrive.

#include "telnet_acts.h"

#include <algorithm>
#include <span>

namespace varno_bench {
namespace {

using namespace std::string_view_literals;

enum class Kind { other, window_80_24, terminal, unknown };

struct Message {
    Kind kind;
    std::string_view bytes;
};

// NOP, GA, WONT and DONT of an option that is off anyway, NOP, DATA MARK: a reply to
// them is neither due nor sent.
// clang-format off
constexpr Message commands[] = {
    {Kind::other, "\xff\xf1"sv},
    {Kind::other, "\xff\xf9"sv},
    {Kind::other, "\xff\xfc\x05"sv},
    {Kind::other, "\xff\xfe\x05"sv},
    {Kind::other, "\xff\xf1"sv},
    {Kind::other, "\xff\xf2"sv},
};

// What clients send: sizes while a window is dragged, terminal types, and options that
// this side knows nothing of (X display location, terminal speed, linemode).
constexpr Message subnegotiations[] = {
    {Kind::window_80_24, "\xff\xfa\x1f\0\x50\0\x18\xff\xf0"sv},
    {Kind::terminal,     "\xff\xfa\x18\0XTERM-256COLOR\xff\xf0"sv},
    {Kind::other,        "\xff\xfa\x1f\0\x84\0\x2b\xff\xf0"sv},
    {Kind::unknown,      "\xff\xfa\x23\0laptop:0.0\xff\xf0"sv},
    {Kind::window_80_24, "\xff\xfa\x1f\0\x50\0\x18\xff\xf0"sv},
    {Kind::terminal,     "\xff\xfa\x18\0vt100\xff\xf0"sv},
    {Kind::unknown,      "\xff\xfa\x20\0" "38400,38400\xff\xf0"sv},
    {Kind::other,        "\xff\xfa\x1f\x01\x0c\0\x48\xff\xf0"sv},
    {Kind::unknown,      "\xff\xfa\x22\x03\x01\0\0\xff\xf0"sv},
};
// clang-format on

struct Shape {
    std::span<const Message> messages; // in turn, each at the beginning of a period
    size_t period;                     // plain text fills the rest of it
    size_t read_bytes;
};

Shape shape_of(Stream stream)
{
    switch (stream) {
    case Stream::plain_64k:
        return {{}, 256, stream_bytes};
    case Stream::plain_256:
        return {{}, 256, 256};
    case Stream::plain_1:
        return {{}, 256, 1};
    case Stream::commands_every_64:
        return {commands, 64, 4096};
    default:
        return {subnegotiations, 16, 4096};
    }
}

} // namespace

std::string plain_text(size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; i++)
        text.push_back(static_cast<char>(' ' + i % 95));
    return text;
}

// A message that is longer than a period takes two. The last one is whole.
TelnetAct::TelnetAct(Stream stream, std::string_view left_by_unknown)
{
    const Shape shape = shape_of(stream);
    read_bytes_ = shape.read_bytes;
    for (size_t number = 0; stream_.size() < stream_bytes; number++) {
        const Message message = shape.messages.empty()
                                    ? Message{Kind::other, ""}
                                    : shape.messages[number % shape.messages.size()];
        const size_t room = (message.bytes.size() / shape.period + 1) * shape.period;
        const bool fits = stream_.size() + room <= stream_bytes;
        const std::string text = plain_text(fits ? room - message.bytes.size() : shape.period);
        stream_.append(fits ? message.bytes : "").append(text);
        data_.append(fits && message.kind == Kind::unknown ? left_by_unknown : "").append(text);
        wanted_windows_ += fits && message.kind == Kind::window_80_24;
        wanted_terminals_ += fits && message.kind == Kind::terminal;
    }
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
    terminals_ = 0;
    run();
    is_kept_ = false;
    if (kept_ != data_)
        return "the data is not what was sent";
    if (windows_ != wanted_windows_)
        return "window sizes are missing";
    return terminals_ == wanted_terminals_ ? nullptr : "terminal types are missing";
}

} // namespace varno_bench
