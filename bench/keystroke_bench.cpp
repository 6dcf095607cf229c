// Bytes to keys, and bytes to the screen: what a terminal sends, read by read, through
// the decoder of a vt100 and, in the acts called "whole", on through a prompt of 80
// columns with one redraw a read. The decoder's acts end where its keys arrive.

#include "acts.h"
#include "host.h"

#include <algorithm>
#include <string>
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
    explicit KeystrokeAct(Reads reads) : reads_(std::move(reads)), decoder_(open_decoder())
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

  private:
    const Reads reads_;
    stroker_s *decoder_;
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

  private:
    prompt_s *p_;
    const std::string before_;
    const std::string after_;
    const int cursor_after_;
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

// clang-format off
constexpr ActRow rows[] = {
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
