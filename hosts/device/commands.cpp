// The words of a command, and the actions that concern nothing but a console.

#include "commands.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "host.h"

namespace device {
namespace {

constexpr long most_numbers = 1000000;
constexpr long longest_timer = 24L * 60 * 60;

// A row a call: the entry after those that were shown.
class History : public Rows {
  public:
    bool write(Console &console) override
    {
        shown_++;
        console_ = &console;
        has_more_ = false;
        if (console.session)
            tsession_history(console.session, take_entry, this);
        return has_more_;
    }

  private:
    static void take_entry(tsession_s *, void *, void *ctx, int32_t number, const char *line)
    {
        auto &rows = *static_cast<History *>(ctx);
        if (number == rows.shown_)
            print(*rows.console_, "%5d  %s\n", number, cleaned(line).c_str());
        rows.has_more_ = number > rows.shown_;
    }

    Console *console_ = nullptr;
    int shown_ = 0;
    bool has_more_ = false;
};

class Numbers : public Rows {
  public:
    explicit Numbers(long count) : count_(count) {}

    bool write(Console &console) override
    {
        print(console, "%ld\n", ++shown_);
        return shown_ < count_;
    }

  private:
    const long count_;
    long shown_ = 0;
};

} // namespace

const char *word_of(const Command &command, const char *name)
{
    const cli_pmatch_s *match = cli_match_by_name(command.matches, name);
    return match ? match->token : nullptr;
}

// The parser takes any number of 64 bits; the range is ours to check.
bool take_number(const Command &command, const char *name, long least, long most, long &out)
{
    out = std::strtol(word_of(command, name), nullptr, 0);
    if (out >= least && out <= most)
        return true;
    refuse(command.console, "%s is %ld to %ld\n", name, least, most);
    return false;
}

const char *text_from(const Command &command, const char *name)
{
    const cli_pmatch_s *text = cli_match_by_name(command.matches, name);
    return text->next ? command.line + text->pos : text->token;
}

bool is_plain_word(const char *word)
{
    const auto is_plain = [](unsigned char c) {
        return std::isgraph(c) && !std::strchr("\"'\\?;", c);
    };
    return *word && std::all_of(word, word + std::strlen(word), is_plain);
}

void show_version(const Command &command)
{
    print(command.console, "%s %s\n", host().program, VARNO_VERSION);
}

void show_history(const Command &command)
{
    write_long(command.console, std::make_unique<History>());
}

void show_numbers(const Command &command)
{
    long count = 0;
    if (take_number(command, "COUNT", 1, most_numbers, count))
        write_long(command.console, std::make_unique<Numbers>(count));
}

void echo(const Command &command)
{
    for (const cli_pmatch_s *match = command.matches->next; match; match = match->next)
        print(command.console, "%s%c", cleaned(match->token).c_str(), match->next ? ' ' : '\n');
}

void start_timer(const Command &command)
{
    long seconds = 0;
    if (!take_number(command, "SECONDS", 1, longest_timer, seconds))
        return;
    Console &console = command.console;
    if (!console.session)
        refuse(console, "A batch does not wait\n");
    else if (!host().start_timer)
        refuse(console, "There are no timers\n");
    else if (!host().start_timer(console, seconds, cleaned(text_from(command, "TEXT"))))
        refuse(console, "All timers run\n");
}

void end_session(const Command &command)
{
    if (command.console.session)
        tsession_close(command.console.session);
    command.console.is_done = true;
}

} // namespace device
