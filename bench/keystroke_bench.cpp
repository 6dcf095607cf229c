// Bytes to keys, and bytes to the screen: what a terminal sends, read by read, through
// the decoder of a vt100 and, in the acts called "whole", on through a prompt of 80
// columns with one redraw a read. The decoder's acts end where its keys arrive.
//
// The acts of "key" are the whole way of one key with all that the library brings for
// it: a redraw is rendered into memory.

#include "acts.h"
#include "host.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace varno_bench {
namespace {

// The bytes of each read.
using Reads = std::vector<std::string>;

Reads one_by_one(std::string_view text)
{
    Reads reads;
    for (const char byte : text)
        reads.emplace_back(1, byte);
    return reads;
}

// 2,048 bytes, the most that one call decodes.
std::string long_run()
{
    std::string text;
    while (text.size() < 2048)
        text.append(line_60).append(" ");
    text.resize(2048);
    return text;
}

int64_t total_bytes(const Reads &reads)
{
    int64_t total = 0;
    for (const std::string &read : reads)
        total += static_cast<int64_t>(read.size());
    return total;
}

// The keys that the decoder delivers, until the prompt has taken them. No read of
// these acts brings more than 2,048.
struct KeyQueue {
    mkey_t keys[2048];
    int count;
};

int queue_keys(stroker_s *, void *user, const mkey_t *keys, int32_t count)
{
    auto &queue = *static_cast<KeyQueue *>(user);
    std::copy_n(keys, count, queue.keys + queue.count);
    queue.count += count;
    return 0;
}

class KeystrokeAct : public Act {
  public:
    explicit KeystrokeAct(Reads reads) : decoder_(open_decoder()), reads_(std::move(reads))
    {
        stroker_set_callback_chars(decoder_, queue_keys, &queue_);
        bytes = total_bytes(reads_);
    }

    ~KeystrokeAct() override { stroker_free_context(decoder_); }

    void run() override
    {
        for (const std::string &read : reads_) {
            queue_.count = 0;
            timeval wait;
            used_ += stroker_consume(decoder_, reinterpret_cast<const unsigned char *>(read.data()),
                                     static_cast<int32_t>(read.size()), &wait);
            take_keys();
        }
    }

    const char *problem() override
    {
        used_ = 0;
        prepare();
        run();
        return used_ == bytes ? nullptr : "bytes were left over";
    }

  protected:
    virtual void take_keys() = 0;

    KeyQueue queue_ = {};
    stroker_s *decoder_;

  private:
    const Reads reads_;
    int64_t used_ = 0;
};

// The decoder alone. Every read brings the same keys.
class DecoderAct : public KeystrokeAct {
  public:
    DecoderAct(const std::string &read, int64_t reads, std::vector<mkey_t> keys)
        : KeystrokeAct(Reads(static_cast<size_t>(reads), read)), wanted_(std::move(keys))
    {
        operations = reads;
    }

    const char *problem() override
    {
        if (const char *problem = KeystrokeAct::problem())
            return problem;
        const bool is_same =
            std::equal(queue_.keys, queue_.keys + queue_.count, wanted_.begin(), wanted_.end());
        return is_same ? nullptr : "the bytes became other keys";
    }

  protected:
    void take_keys() override {}

  private:
    const std::vector<mkey_t> wanted_;
};

// The decoder and the prompt, from one line to another.
class WholeAct : public KeystrokeAct {
  public:
    WholeAct(std::string_view before, Reads reads, int64_t keys, std::string_view after,
             int cursor_after)
        : KeystrokeAct(std::move(reads)), p_(open_prompt()), before_(before), after_(after),
          cursor_after_(cursor_after)
    {
        operations = keys;
        prompt_redraw(p_);
    }

    ~WholeAct() override { close_prompt(p_); }

    void prepare() override { show_line(p_, before_, before_.size()); }

    const char *problem() override
    {
        if (const char *problem = KeystrokeAct::problem())
            return problem;
        if (prompt_command(p_) != after_)
            return "the line is not what was typed";
        if (prompt_cursor_location(p_) != cursor_after_)
            return "the cursor is elsewhere";
        return nullptr;
    }

  protected:
    void take_keys() override
    {
        int used = 0;
        while (used < queue_.count)
            used += prompt_consume(p_, queue_.keys + used, queue_.count - used);
        prompt_redraw(p_);
    }

    prompt_s *p_;

  private:
    const std::string before_;
    const std::string after_;
    const int cursor_after_;
};

// What a read's redraw becomes: a host writes it in one go.
struct Screen {
    char text[4096];
    size_t used;
};
constinit Screen screen = {};

void show(const char *text, size_t len)
{
    const size_t shown = std::min(len, std::size(screen.text) - screen.used);
    std::copy_n(text, shown, screen.text + screen.used);
    screen.used += shown;
}

// The two formats of most keys as a host renders them; the rest by the C library.
VARNO_PRINTF(3, 4) int print_by_hand(prompt_s *, void *, const char *format, ...)
{
    const std::string_view wanted = format;
    va_list arguments;
    va_start(arguments, format);
    if (wanted == "%c") {
        const char character = static_cast<char>(va_arg(arguments, int));
        show(&character, 1);
    } else if (wanted == "%.*s") {
        const auto most = static_cast<size_t>(va_arg(arguments, int));
        const char *text = va_arg(arguments, const char *);
        show(text, strnlen(text, most));
    } else {
        char text[512];
        const int len = std::vsnprintf(text, std::size(text), format, arguments);
        show(text, static_cast<size_t>(len));
    }
    va_end(arguments);
    output.calls++;
    return 0;
}

// One key a read. The decoder's keys go straight to the prompt, which takes them all or
// none: the beginning of a sequence waits in the queue for the rest.
class KeyAct : public WholeAct {
  public:
    KeyAct(std::string_view before, Reads reads, std::string_view after, int cursor_after)
        : WholeAct(before, reads, static_cast<int64_t>(reads.size()), after, cursor_after)
    {
        prompt_set_print_callback(p_, print_by_hand, nullptr);
        stroker_set_callback_chars(decoder_, edit, this);
    }

  protected:
    void take_keys() override
    {
        screen.used = 0;
        prompt_redraw(p_);
        output.bytes += static_cast<int64_t>(screen.used);
    }

  private:
    static int edit(stroker_s *, void *user, const mkey_t *keys, int32_t count)
    {
        auto *act = static_cast<KeyAct *>(user);
        KeyQueue &held = act->queue_;
        if (held.count == 0 && prompt_consume(act->p_, keys, count) == count)
            return 0;
        const bool is_first = held.count == 0;
        queue_keys(nullptr, &held, keys, count);
        if (!is_first)
            held.count -= prompt_consume(act->p_, held.keys, held.count);
        return 0;
    }
};

// Lines of 20 to 70 characters, from the words of line_60; number 0 is the oldest.
std::string history_line(size_t number)
{
    const std::string words = std::string(line_60) + " " + std::string(line_60) + " ";
    const size_t start = number * 29 % 61;
    std::string text = words.substr(words.find_first_not_of(' ', start), 20 + number * 37 % 51);
    text.back() = 'x';
    return text;
}

class BrowseAct : public KeyAct {
  public:
    static constexpr size_t lines = 100;

    explicit BrowseAct(const Reads &reads)
        : KeyAct("", reads, history_line(lines - 1),
                 static_cast<int>(history_line(lines - 1).size()))
    {
        for (size_t number = 0; number < lines; number++) {
            const std::string text = history_line(number);
            show_line(p_, text, text.size());
            if (prompt_history_add(p_, 1) != 0)
                give_up("prompt_history_add");
        }
    }
};

// A person types: 60 reads of one byte.
std::unique_ptr<Act> type_60()
{
    return std::make_unique<WholeAct>("", one_by_one(line_60), 60, line_60, 60);
}

// Cursor-left held down: 60 reads of ESC O D.
std::unique_ptr<Act> cursor_60()
{
    return std::make_unique<WholeAct>(line_60, Reads(60, "\033OD"), 60, line_60, 0);
}

// A paste: one read of 60 bytes, drawn once. An operation is one byte.
std::unique_ptr<Act> paste_60()
{
    return std::make_unique<WholeAct>("", Reads(1, std::string(line_60)), 60, line_60, 60);
}

// 60 reads of ESC O A.
std::unique_ptr<Act> sequence()
{
    return std::make_unique<DecoderAct>("\033OA", 60, std::vector<mkey_t>{VIRTKEY_UP});
}

// 60 reads of the same letter.
std::unique_ptr<Act> plain_byte()
{
    return std::make_unique<DecoderAct>("a", 60, std::vector<mkey_t>{'a'});
}

// 4 reads of 2,048 plain bytes.
std::unique_ptr<Act> plain_2048()
{
    const std::string run = long_run();
    return std::make_unique<DecoderAct>(run, 4, std::vector<mkey_t>(run.begin(), run.end()));
}

// line_60 again and again: more than twice what the row can show.
std::string line_200()
{
    std::string text;
    while (text.size() < 200)
        text.append(line_60).append(" ");
    text.resize(200);
    return text;
}

Reads joined(Reads reads, const Reads &more)
{
    reads.insert(reads.end(), more.begin(), more.end());
    return reads;
}

std::unique_ptr<Act> key_act(std::string_view before, Reads reads, std::string_view after,
                             int cursor_after)
{
    return std::make_unique<KeyAct>(before, std::move(reads), after, cursor_after);
}

std::unique_ptr<Act> key_type_60()
{
    return key_act("", one_by_one(line_60), line_60, 60);
}

// From the 78th on the row scrolls, by 8 columns at a time.
std::unique_ptr<Act> key_type_200()
{
    return key_act("", one_by_one(line_200()), line_200(), 200);
}

// ESC b back over five words, and 14 characters there; the row does not scroll.
std::unique_ptr<Act> key_insert_mid_line()
{
    constexpr std::string_view text = "port 7 status ";
    std::string after(line_60);
    after.insert(27, text);
    return key_act(line_60, joined(Reads(5, "\033b"), one_by_one(text)), after,
                   static_cast<int>(27 + text.size()));
}

// ESC O A up to the oldest line and ESC O B down to the newest.
std::unique_ptr<Act> key_browse_history()
{
    return std::make_unique<BrowseAct>(
        joined(Reads(BrowseAct::lines, "\033OA"), Reads(BrowseAct::lines - 1, "\033OB")));
}

// Ctrl-W, once for each of the nine words.
std::unique_ptr<Act> key_delete_word_back()
{
    return key_act(line_60, Reads(9, "\027"), "", 0);
}

std::unique_ptr<Act> key_backspace_60()
{
    return key_act(line_60, Reads(60, "\177"), "", 0);
}

// ESC O D to the line's beginning and ESC O C to its end.
std::unique_ptr<Act> key_cursor_60()
{
    return key_act(line_60, joined(Reads(60, "\033OD"), Reads(60, "\033OC")), line_60, 60);
}

// clang-format off
constexpr ActRow rows[] = {
    {"key/type_60_at_end",           key_type_60},
    {"key/type_200_scrolling",       key_type_200},
    {"key/insert_mid_line",          key_insert_mid_line},
    {"key/browse_history",           key_browse_history},
    {"key/delete_word_back",         key_delete_word_back},
    {"key/backspace_60",             key_backspace_60},
    {"key/cursor_60",                key_cursor_60},
    {"keystroke/whole_type_60",      type_60},
    {"keystroke/whole_cursor_60",    cursor_60},
    {"keystroke/whole_paste_60",     paste_60},
    {"keystroke/decoder_sequence",   sequence},
    {"keystroke/decoder_plain_byte", plain_byte},
    {"keystroke/decoder_plain_2048", plain_2048},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
