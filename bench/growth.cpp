// What a key costs as things grow: the line, the history, the bindings, the alternatives
// on a level of the parse graph, the sessions of a process. An act is one point of a
// curve, named FIGURE/CURVE/SIZE; an operation is one key, a whole line in
// "alternatives/parse". Keys go through a whole session unless the act says otherwise.

#include "acts.h"

#include <varno/cli_parse.h>
#include <varno/prompt.h>
#include <varno/stroker.h>
#include <varno/tsession.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace varno_bench {
namespace {

[[noreturn]] void give_up(const char *step)
{
    std::fprintf(stderr, "cannot set up: %s\n", step);
    std::exit(1);
}

// One session, typed at in memory; the line entered last is kept.
class Terminal {
  public:
    explicit Terminal(tsession_config_s config)
    {
        config.terminal_type = "vt100";
        config.user = this;
        config.line = take_line;
        config.output = count_output;
        session_ = tsession_create(&config);
        if (!session_)
            give_up("tsession_create");
        tsession_start(session_);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;
    ~Terminal() { tsession_free(session_); }

    void type(std::string_view keys) { tsession_input(session_, keys.data(), keys.size()); }
    const std::string &line() const { return line_; }

  private:
    static void take_line(tsession_s *, void *user, const char *line, const cli_pnode_s *,
                          cli_pmatch_s *)
    {
        static_cast<Terminal *>(user)->line_ = line;
    }

    static void count_output(tsession_s *, void *, const char *, size_t count)
    {
        output.calls++;
        output.bytes += static_cast<int64_t>(count);
    }

    tsession_s *session_;
    std::string line_;
};

const std::string empty_line = "\005\025";
const std::string to_begin = "\001";

// Line length

tsession_config_s widest()
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.columns = 256;
    return config;
}

// A line of some length on the widest row; a character and a Backspace in turn.
class LineAct : public Act {
  public:
    LineAct(int length, bool is_at_begin)
        : terminal_(widest()), text_(static_cast<size_t>(length), 'a'), is_at_begin_(is_at_begin)
    {
        operations = 100;
    }

    void prepare() override { terminal_.type(empty_line + text_ + (is_at_begin_ ? to_begin : "")); }

    void run() override
    {
        for (int64_t i = 0; i < operations; i += 2) {
            terminal_.type("x");
            terminal_.type("\177");
        }
    }

    const char *problem() override
    {
        terminal_.type("|\r");
        return terminal_.line() == (is_at_begin_ ? "|" + text_ : text_ + "|")
                   ? nullptr
                   : "the line is another";
    }

  private:
    Terminal terminal_;
    const std::string text_;
    const bool is_at_begin_;
};

struct LineAtEnd : LineAct {
    explicit LineAtEnd(int length) : LineAct(length, false) {}
};
struct LineAtBegin : LineAct {
    explicit LineAtBegin(int length) : LineAct(length, true) {}
};

// History

tsession_config_s remembering(int lines)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.history_limit = lines;
    return config;
}

class HistoryAct : public Act {
  public:
    explicit HistoryAct(int lines) : terminal_(remembering(lines)), lines_(lines)
    {
        for (int number = 0; number < lines; number++)
            terminal_.type(line(number) + "\r");
    }

  protected:
    static std::string line(int number) { return "show vlan " + std::to_string(number); }

    Terminal terminal_;
    const int lines_;
};

// Ten lines up and nine down again.
class BrowseAct : public HistoryAct {
  public:
    explicit BrowseAct(int lines) : HistoryAct(lines) { operations = 19; }

    void prepare() override { terminal_.type("\025\r"); }

    void run() override
    {
        for (int i = 0; i < 10; i++)
            terminal_.type("\033OA");
        for (int i = 0; i < 9; i++)
            terminal_.type("\033OB");
    }

    const char *problem() override
    {
        terminal_.type("\r");
        return terminal_.line() == line(lines_ - 1) ? nullptr : "the line is another";
    }
};

// Lines of one letter, each remembered in the place of the oldest.
class EnterAct : public HistoryAct {
  public:
    explicit EnterAct(int lines) : HistoryAct(lines) { operations = 40; }

    void run() override
    {
        for (int i = 0; i < 10; i++) {
            for (const char *key : {"a", "\r", "b", "\r"})
                terminal_.type(key);
        }
    }

    const char *problem() override
    {
        terminal_.type("\033OA\033OA\r");
        return terminal_.line() == "a" ? nullptr : "the line is another";
    }
};

// Bindings

// What is too short to be timed is repeated in a pass.
constexpr int turns = 10;

// Ten of `count`, evenly spread.
template <class Use>
void for_ten_of(int count, Use use)
{
    for (int i = 0; i < 10; i++)
        use(static_cast<int>(int64_t{count} * i / 10));
}

// The digits of a number as letters, the last first: what differs, differs early.
std::string four_letters(int number)
{
    std::string letters;
    for (int i = 0; i < 4; i++, number /= 10)
        letters.push_back(static_cast<char>('a' + number % 10));
    return letters;
}

using Keys = std::vector<mkey_t>;

// The line editor alone, without redraw.
class PromptAct : public Act {
  public:
    PromptAct() : p_(prompt_create())
    {
        if (!p_ || prompt_util_bind_insert(p_) != 0 ||
            prompt_bind_command(p_, "count", count_run, this) != 0)
            give_up("prompt_create");
    }

    ~PromptAct() override { prompt_free(p_); }

    void prepare() override
    {
        prompt_clear_command(p_);
        runs_ = 0;
    }

    void run() override
    {
        for (int turn = 0; turn < turns; turn++) {
            for (const Keys &keys : pressed_)
                prompt_consume(p_, keys.data(), static_cast<int>(keys.size()));
        }
    }

    const char *problem() override
    {
        const int pressed = static_cast<int>(pressed_.size()) * turns;
        const int commands = is_text_ ? 0 : pressed;
        return runs_ == commands && prompt_used(p_) == pressed - commands
                   ? nullptr
                   : "a key did something else";
    }

  protected:
    void bind(const Keys &keys)
    {
        if (prompt_bind_keys(p_, "count", keys.data(), static_cast<int>(keys.size()), nullptr) != 0)
            give_up("prompt_bind_keys");
    }

    void press_later(const Keys &keys, bool is_text)
    {
        pressed_.push_back(keys);
        is_text_ = is_text;
        operations = static_cast<int64_t>(pressed_.size() * keys.size()) * turns;
    }

  private:
    static int count_run(prompt_s *, pstate *, const char *, void *ctx, void *)
    {
        static_cast<PromptAct *>(ctx)->runs_++;
        return 0;
    }

    prompt_s *p_;
    std::vector<Keys> pressed_;
    bool is_text_ = false;
    int runs_ = 0;
};

// Ctrl-X and four letters, of ten.
class SequencesAct : public PromptAct {
  public:
    explicit SequencesAct(int count)
    {
        for (int number = 0; number < count; number++)
            bind(sequence(number));
        for_ten_of(count, [this](int number) { press_later(sequence(number), false); });
    }

  private:
    static Keys sequence(int number)
    {
        Keys keys = {'X' - '@'};
        for (const char letter : four_letters(number))
            keys.push_back(static_cast<mkey_t>(letter));
        return keys;
    }
};

// A key of the host's own for each binding: the widest tree there can be.
class SingleKeysAct : public PromptAct {
  public:
    SingleKeysAct(int count, bool presses_text)
    {
        for (int number = 0; number < count; number++)
            bind({key(number)});
        for_ten_of(count, [=, this](int number) {
            press_later({presses_text ? mkey_t{'a'} : key(number)}, presses_text);
        });
    }

  private:
    static mkey_t key(int number) { return static_cast<mkey_t>(1000 + number); }
};

struct BoundKeyAct : SingleKeysAct {
    explicit BoundKeyAct(int count) : SingleKeysAct(count, false) {}
};
struct PlainKeyAct : SingleKeysAct {
    explicit PlainKeyAct(int count) : SingleKeysAct(count, true) {}
};

// The decoder alone: ESC [, four letters and a tilde. An operation is one sequence.
class DecoderAct : public Act {
  public:
    explicit DecoderAct(int count) : decoder_(stroker_create_context())
    {
        if (!decoder_)
            give_up("stroker_create_context");
        for (int number = 0; number < count; number++) {
            if (stroker_bind_sequence_to_vkey(decoder_, sequence_of(number).c_str(), VIRTKEY_UP) !=
                0)
                give_up("stroker_bind_sequence_to_vkey");
        }
        stroker_bindings_prepare(decoder_);
        stroker_set_callback_chars(decoder_, take_keys, this);
        for_ten_of(count, [this](int number) { sent_.push_back(sequence_of(number)); });
        operations = static_cast<int64_t>(sent_.size()) * turns;
    }

    ~DecoderAct() override { stroker_free_context(decoder_); }

    void prepare() override { ups_ = 0; }

    void run() override
    {
        for (int turn = 0; turn < turns; turn++) {
            for (const std::string &sequence : sent_)
                consume(sequence);
        }
    }

    const char *problem() override { return ups_ == operations ? nullptr : "a key is missing"; }

  private:
    static std::string sequence_of(int number) { return "\033[" + four_letters(number) + "~"; }

    void consume(const std::string &sequence)
    {
        timeval wait;
        stroker_consume(decoder_, reinterpret_cast<const unsigned char *>(sequence.data()),
                        static_cast<int32_t>(sequence.size()), &wait);
    }

    static int take_keys(stroker_s *, void *user, const mkey_t *keys, int32_t count)
    {
        static_cast<DecoderAct *>(user)->ups_ += count == 1 && keys[0] == VIRTKEY_UP;
        return 0;
    }

    stroker_s *decoder_;
    std::vector<std::string> sent_;
    int64_t ups_ = 0;
};

// Alternatives

// A single level of words of eight letters, no word known before its seventh at most.
class Level {
  public:
    explicit Level(int count) : nodes_(static_cast<size_t>(count))
    {
        end_.name = "end";
        end_.type = PNODE_EOLS;
        end_.child = &NONE;
        end_.next = &NONE;
        end_.func = &end_;
        for (size_t i = 0; i < nodes_.size(); i++)
            add(nodes_[i], i);
    }

    static std::string word(int number)
    {
        constexpr const char *syllables[10] = {"ba", "ce", "di", "fo", "gu",
                                               "ha", "je", "ki", "lo", "mu"};
        std::string word;
        for (int i = 0; i < 4; i++, number /= 10)
            word.append(syllables[number % 10]);
        return word;
    }

    cli_pnode_s *top() { return nodes_.data(); }

  private:
    void add(cli_pnode_s &node, size_t i)
    {
        words_.push_back(word(static_cast<int>(i)));
        node.name = words_.back().c_str();
        node.keyword = node.name;
        node.type = PNODE_KEYWORD;
        node.child = &end_;
        node.next = i + 1 < nodes_.size() ? &nodes_[i + 1] : &NONE;
    }

    cli_pnode_s end_ = {};
    std::vector<cli_pnode_s> nodes_;
    std::deque<std::string> words_;
};

// cli_parse alone, whole lines of a word.
class ParseAct : public Act {
  public:
    explicit ParseAct(int count) : level_(count)
    {
        for_ten_of(count, [this](int number) { lines_.push_back(Level::word(number)); });
        operations = static_cast<int64_t>(lines_.size());
        allocates = true;
    }

    void run() override
    {
        matched_ = 0;
        for (const std::string &line : lines_) {
            const auto len = static_cast<int32_t>(line.size());
            int32_t used = 0;
            cli_pmatch_s *matches = nullptr;
            const uint32_t result = cli_parse(level_.top(), line.c_str(), len, &used, &matches);
            matched_ +=
                result == PARSE_MATCHED && used == len && matches && line == matches->node->keyword;
            cli_match_free(matches);
        }
    }

    const char *problem() override
    {
        return matched_ == operations ? nullptr : "a line did not match";
    }

  private:
    Level level_;
    std::vector<std::string> lines_;
    int64_t matched_ = 0;
};

tsession_config_s with_graph(cli_pnode_s *graph)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.graph = graph;
    return config;
}

// Tab after all but the last letter of a word. The rest of each line is typed by the
// pass too, and counts for little.
class TabAct : public Act {
  public:
    explicit TabAct(int count) : level_(count), terminal_(with_graph(level_.top()))
    {
        for_ten_of(count, [this](int number) { words_.push_back(Level::word(number)); });
        operations = static_cast<int64_t>(words_.size());
        allocates = true;
    }

    void prepare() override { terminal_.type(empty_line); }

    void run() override
    {
        for (const std::string &word : words_)
            terminal_.type(empty_line + word.substr(0, word.size() - 1) + "\t");
    }

    const char *problem() override
    {
        terminal_.type("\r");
        return terminal_.line().starts_with(words_.back()) ? nullptr : "a word is not complete";
    }

  private:
    Level level_;
    Terminal terminal_;
    std::vector<std::string> words_;
};

// Sessions

// A character into each of the sessions, one after the other, then a Backspace.
class SessionsAct : public Act {
  public:
    explicit SessionsAct(int count)
        : shared_(tsession_shared_create()), turns_(std::max(1, 100 / count))
    {
        if (!shared_)
            give_up("tsession_shared_create");
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.shared = shared_;
        for (int i = 0; i < count; i++)
            terminals_.emplace_back(config);
        operations = 2 * turns_ * count;
    }

    ~SessionsAct() override
    {
        terminals_.clear();
        tsession_shared_free(shared_);
    }

    void run() override
    {
        for (int turn = 0; turn < turns_; turn++) {
            type_in_all("x");
            type_in_all("\177");
        }
    }

    const char *problem() override
    {
        for (Terminal &terminal : terminals_) {
            terminal.type("y\r");
            if (terminal.line() != "y")
                return "the line is another";
        }
        return nullptr;
    }

  private:
    void type_in_all(const char *key)
    {
        for (Terminal &terminal : terminals_)
            terminal.type(key);
    }

    tsession_shared_s *shared_;
    const int turns_;
    std::deque<Terminal> terminals_;
};

// Curves

using Rows = std::vector<ActRow>;

template <class TheAct, int... sizes>
void add_points(Rows &rows, const char *curve)
{
    static std::deque<std::string> names;
    const auto name = [curve](int size) {
        return names.emplace_back(curve + ("/" + std::to_string(size))).c_str();
    };
    (rows.push_back(
         {name(sizes), []() -> std::unique_ptr<Act> { return std::make_unique<TheAct>(sizes); }}),
     ...);
}

template <class TheAct>
void add_lengths(Rows &rows, const char *curve)
{
    add_points<TheAct, 1, 2, 4, 8, 16, 32, 64, 128, 192, 254>(rows, curve);
}

template <class TheAct>
void add_counts(Rows &rows, const char *curve)
{
    add_points<TheAct, 10, 30, 100, 300, 1000, 3000, 10000>(rows, curve);
}

Rows all_points()
{
    Rows rows;
    add_lengths<LineAtEnd>(rows, "line/at_end");
    add_lengths<LineAtBegin>(rows, "line/at_begin");
    add_counts<BrowseAct>(rows, "history/browse");
    add_counts<EnterAct>(rows, "history/enter");
    add_counts<SequencesAct>(rows, "bindings/sequences");
    add_counts<BoundKeyAct>(rows, "bindings/bound_key");
    add_counts<PlainKeyAct>(rows, "bindings/plain_key");
    add_counts<DecoderAct>(rows, "bindings/decoder");
    add_counts<ParseAct>(rows, "alternatives/parse");
    add_counts<TabAct>(rows, "alternatives/tab");
    add_points<SessionsAct, 1, 3>(rows, "sessions/round_robin");
    add_counts<SessionsAct>(rows, "sessions/round_robin");
    return rows;
}

const Rows rows = all_points();
const Topic topic(rows);

} // namespace
} // namespace varno_bench
