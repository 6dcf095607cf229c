// The words, the lines, and the check that each line runs its command.

#include "command_acts.h"

#include <cstring>
#include <iterator>

namespace varno_bench {

namespace {

constinit bool is_kept = false;
constinit int64_t commands_run = 0;

std::string &last_command()
{
    static std::string full_name;
    return full_name;
}

} // namespace

// clang-format off
const char *const CommandAct::words[3][words_a_level] = {
    {"show", "clear", "debug", "ping", "set", "test", "delete", "copy", "verify", "reload"},
    {"interface", "route", "vlan", "port", "system", "user", "access", "queue", "mirror",
     "neighbor"},
    {"status", "counters", "detail", "summary", "errors", "history", "limits", "timers", "address",
     "brief"},
};
// clang-format on

CommandAct::CommandAct(Form form)
{
    for (int i = 0; i < 1000; i++) {
        std::string line;
        std::string command;
        const int numbers[] = {i / 100, i / 10 % 10, i % 10};
        for (size_t level = 0; level < std::size(words); level++) {
            std::string word = words[level][numbers[level]];
            command.append(level > 0 ? " " : "").append(word);
            if (form == Form::shortened)
                word.pop_back();
            line.append(level > 0 ? " " : "").append(word);
        }
        lines_.push_back(line);
        commands_.push_back(command);
    }
    operations = static_cast<int64_t>(lines_.size());
    allocates = true;
}

void CommandAct::run()
{
    for (const std::string &line : lines_)
        run_line(line);
}

void CommandAct::note_command(const char *full_name)
{
    commands_run++;
    if (is_kept)
        last_command() = full_name;
}

const char *CommandAct::problem()
{
    is_kept = true;
    for (size_t i = 0; i < lines_.size(); i++) {
        last_command().clear();
        run_line(lines_[i]);
        if (last_command() != commands_[i])
            return "a line did not run its command";
    }
    is_kept = false;
    return nullptr;
}

} // namespace varno_bench
