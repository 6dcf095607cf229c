// One table with a mutex, and a count of its changes by which each thread sees that
// its nodes are out of date.

#include "aliases.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <vector>

#include "graph.h"
#include "nesting.h"

namespace device {
namespace {

// One alias runs one command, so a line runs no more than so many, and one.
constexpr int deepest_alias = 8;
constexpr size_t most_aliases = 32;
constexpr size_t longest_alias_name = 31;

struct Alias {
    std::string name;
    std::string text;
};

struct Table {
    std::mutex mutex;
    std::vector<Alias> aliases;
    std::atomic<uint64_t> generation = 0; // written with the mutex held
};

Table table;

auto find(const char *name)
{
    return std::find_if(table.aliases.begin(), table.aliases.end(),
                        [name](const Alias &alias) { return alias.name == name; });
}

bool is_alias_name(const char *name)
{
    return is_plain_word(name) && std::strlen(name) <= longest_alias_name;
}

enum class Added { yes, is_taken, is_full };

Added add_to_table(const char *name, const char *text)
{
    const std::lock_guard lock(table.mutex);
    if (find(name) != table.aliases.end())
        return Added::is_taken;
    if (table.aliases.size() >= most_aliases)
        return Added::is_full;
    table.aliases.push_back({name, text});
    table.generation++;
    return Added::yes;
}

bool remove_from_table(const char *name)
{
    const std::lock_guard lock(table.mutex);
    const auto alias = find(name);
    if (alias == table.aliases.end())
        return false;
    table.aliases.erase(alias);
    table.generation++;
    return true;
}

} // namespace

void follow_aliases(DynamicNodes &nodes, uint64_t &generation)
{
    if (table.generation.load(std::memory_order_acquire) == generation)
        return;
    const std::lock_guard lock(table.mutex);
    std::array<Choice, most_aliases> choices;
    const auto as_choice = [](const Alias &alias) {
        return Choice{alias.name.c_str(), alias.text.c_str()};
    };
    std::transform(table.aliases.begin(), table.aliases.end(), choices.begin(), as_choice);
    if (nodes.follow({choices.data(), table.aliases.size()}))
        generation = table.generation;
}

void forget_aliases()
{
    const std::lock_guard lock(table.mutex);
    table.aliases.clear();
    table.generation++;
}

// A copy is shown: nothing is written with the mutex held.
void show_aliases(const Command &command)
{
    std::string text;
    {
        const std::lock_guard lock(table.mutex);
        for (const Alias &alias : table.aliases)
            text += alias.name + "  " + cleaned(alias.text) + "\n";
    }
    write_long(command.console, std::make_unique<Lines>(text));
}

void add_alias(const Command &command)
{
    const char *name = word_of(command, "NAME");
    if (!is_alias_name(name)) {
        refuse(command.console, "A name is 1 to %zu printable characters, none of \" ' \\ ? ;\n",
               longest_alias_name);
        return;
    }
    const Added added =
        is_builtin(name) ? Added::is_taken : add_to_table(name, text_from(command, "TEXT"));
    if (added == Added::is_taken)
        refuse(command.console, "This name is taken\n");
    if (added == Added::is_full)
        refuse(command.console, "There are %zu aliases already\n", most_aliases);
}

void remove_alias(const Command &command)
{
    if (!remove_from_table(word_of(command, "NAME")))
        refuse(command.console, "No such alias\n");
}

// The node keeps its text even when the command removes the alias that it came from.
void run_alias(const Command &command)
{
    Console &console = command.console;
    if (console.alias_depth >= deepest_alias) {
        refuse(console, "Aliases are nested too deeply\n");
        return;
    }
    const Nesting nesting(console.alias_depth);
    run_text(console, command.matches->node->help);
}

} // namespace device
