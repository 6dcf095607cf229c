// The parse graph, its actions, and the way from a line to an action. The parser
// only says where a line stops making sense; telling the user is done here.

#include "commands.h"

#include "interfaces.h"

#include <varno/platform.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int deepest_alias = 8;
constexpr int most_aliases = 32;
constexpr size_t longest_alias_name = 31;

int alias_count = 0;

// Actions

void show_version(const Command &)
{
    std::printf("varno-tty %s\n", VARNO_TTY_VERSION);
}

void show_all_interfaces(const Command &)
{
    interfaces_print(nullptr);
}

void show_interface(const Command &command)
{
    if (!interfaces_print(command_word(command, "NAME")))
        std::printf("No such interface\n");
}

void show_history(const Command &command)
{
    const prompt_s *p = command.session.prompt;
    const auto *end = reinterpret_cast<const prompt_history_s *>(&p->history);
    int number = 1;
    for (auto *entry = p->history.cqh_last; entry != end; entry = entry->prev) {
        std::printf("%5d  ", number++);
        print_text(entry->command);
        std::putchar('\n');
    }
}

void echo(const Command &command)
{
    for (const cli_pmatch_s *match = command.matches->next; match; match = match->next) {
        print_text(match->token);
        std::putchar(match->next ? ' ' : '\n');
    }
}

// The parser takes any number of 64 bits; the range is ours to check. A narrower row
// has no room to scroll in, a wider one does not fit the display model.
void terminal_width(const Command &command)
{
    const long columns = std::strtol(command_word(command, "COLUMNS"), nullptr, 0);
    if (columns < 20 || columns > 256)
        std::printf("The width is 20 to 256 columns\n");
    else
        prompt_set_dimension(command.session.prompt, int(columns), command.session.prompt->height);
}

void end_session(const Command &command)
{
    command.session.is_done = true;
}

// Aliases are the keywords of the top level that were created at run time. Such a
// node owns its texts; its help is the line that it stands for.

extern cli_pnode_s top;

bool is_alias(const cli_pnode_s *node)
{
    return node->own_keyword != nullptr;
}

void show_aliases(const Command &)
{
    for (const cli_pnode_s *node = top.child; node != &NONE; node = node->next) {
        if (!is_alias(node))
            continue;
        print_text(node->keyword);
        std::printf("  ");
        print_text(node->help);
        std::putchar('\n');
    }
}

// A name must be typed as it stands, so nothing that quotes, escapes or separates.
bool is_alias_name(const char *name)
{
    const auto is_plain = [](unsigned char c) {
        return std::isgraph(c) && !std::strchr("\"'\\?", c);
    };
    const size_t len = std::strlen(name);
    return len > 0 && len <= longest_alias_name && std::all_of(name, name + len, is_plain);
}

void run(Session &session, const char *line, int depth);

// The command may remove the alias that it came from: hence the copy.
void run_alias(const Command &command)
{
    char line[sizeof(pstate::buf)];
    std::snprintf(line, sizeof(line), "%s", command.matches->node->help);
    if (command.depth >= deepest_alias)
        std::printf("Aliases are nested too deeply\n");
    else
        run(command.session, line, command.depth + 1);
}

cli_pnode_s end_of(Action action, cli_pnode_s *next)
{
    cli_pnode_s node = {};
    node.name = "END";
    node.type = PNODE_EOLS;
    node.child = &NONE;
    node.next = next;
    node.func = reinterpret_cast<void *>(action);
    return node;
}

// All aliases share it; it belongs to none, so removing one need not release it.
cli_pnode_s end_alias = end_of(run_alias, &NONE);

void add_alias(const Command &command)
{
    const char *name = command_word(command, "NAME");
    const char *text = command.line + cli_match_by_name(command.matches, "TEXT")->pos;
    if (!is_alias_name(name)) {
        std::printf("A name is 1 to %zu printable characters, none of \" ' \\ ?\n",
                    longest_alias_name);
    } else if (dyn_cli_lookup_node(top.child, name)) {
        std::printf("This name is taken\n");
    } else if (alias_count >= most_aliases) {
        std::printf("There are %d aliases already\n", most_aliases);
    } else if (cli_pnode_s *node =
                   dyn_cli_create_node(PNODE_KEYWORD, name, name, text, nullptr, 0)) {
        dyn_cli_add_node(&top, node);
        dyn_cli_set_node(node, &end_alias, 0);
        alias_count++;
    } else {
        std::printf("Out of memory\n");
    }
}

void remove_alias(const Command &command)
{
    const char *name = command_word(command, "NAME");
    cli_pnode_s *node = *name ? dyn_cli_lookup_node(top.child, name) : nullptr;
    if (!node || !is_alias(node)) {
        std::printf("No such alias\n");
        return;
    }
    dyn_cli_del_node(&top, node);
    alias_count--;
}

// The graph, from the last words to the first

cli_pnode_s word(uint32_t type, const char *text, const char *help, cli_pnode_s *child,
                 cli_pnode_s *next)
{
    cli_pnode_s node = {};
    node.name = text;
    node.keyword = text;
    node.help = help;
    node.type = type;
    node.child = child;
    node.next = next;
    return node;
}

cli_pnode_s keyword(const char *text, const char *help, cli_pnode_s *child, cli_pnode_s *next)
{
    return word(PNODE_KEYWORD, text, help, child, next);
}

// Any number of words: behind each stands the end, or the same node again.
extern cli_pnode_s echo_text, alias_text;

// clang-format off
cli_pnode_s end_version    = end_of(show_version, &NONE);
cli_pnode_s end_interface  = end_of(show_interface, &NONE);
cli_pnode_s interface_name = word(PNODE_STRING, "NAME", "one of them", &end_interface, &NONE);
cli_pnode_s end_interfaces = end_of(show_all_interfaces, &interface_name);
cli_pnode_s end_history    = end_of(show_history, &NONE);
cli_pnode_s end_aliases    = end_of(show_aliases, &NONE);
cli_pnode_s aliases        = keyword("aliases", "your own commands", &end_aliases, &NONE);
cli_pnode_s history        = keyword("history", "the lines typed before", &end_history, &aliases);
cli_pnode_s interfaces     = keyword("interfaces", "the interfaces of the machine", &end_interfaces,
                                     &history);
cli_pnode_s version        = keyword("version", "the version of this program", &end_version,
                                     &interfaces);

cli_pnode_s end_echo       = end_of(echo, &echo_text);
cli_pnode_s echo_text      = word(PNODE_STRING, "TEXT", "words to print", &end_echo, &NONE);

cli_pnode_s end_width      = end_of(terminal_width, &NONE);
cli_pnode_s width_columns  = word(PNODE_INT32, "COLUMNS", "20 to 256", &end_width, &NONE);
cli_pnode_s width          = keyword("width", "the width of the edited row", &width_columns, &NONE);

cli_pnode_s end_add        = end_of(add_alias, &alias_text);
cli_pnode_s alias_text     = word(PNODE_STRING, "TEXT", "the line it stands for", &end_add, &NONE);
cli_pnode_s alias_name     = word(PNODE_STRING, "NAME", "a new command", &alias_text, &NONE);

cli_pnode_s end_remove     = end_of(remove_alias, &NONE);
cli_pnode_s removed_name   = word(PNODE_STRING, "NAME", "the one to remove", &end_remove, &NONE);
cli_pnode_s removed_alias  = keyword("alias", "one of your own commands", &removed_name, &NONE);

cli_pnode_s end_exit       = end_of(end_session, &NONE);
cli_pnode_s top_exit       = keyword("exit", "end the session", &end_exit, &NONE);
cli_pnode_s top_no         = keyword("no", "remove something", &removed_alias, &top_exit);
cli_pnode_s top_alias      = keyword("alias", "add a command of your own", &alias_name, &top_no);
cli_pnode_s top_terminal   = keyword("terminal", "settings of this terminal", &width, &top_alias);
cli_pnode_s top_echo       = keyword("echo", "print words", &echo_text, &top_terminal);
cli_pnode_s top_show       = keyword("show", "what there is", &version, &top_echo);

// The parent of the first words, for the dynamic nodes' sake.
cli_pnode_s top            = keyword("TOP", nullptr, &top_show, &NONE);
// clang-format on

// From a line to an action

// Shows the part of a line around a place, with a caret under it, and what is wrong.
void explain(const Session &session, const char *line, int32_t at, const char *problem)
{
    const char *token = spanws(line, at);
    if (token)
        at = static_cast<int32_t>(token - line);
    const int32_t columns = session.prompt->width - 3;
    const int32_t first = at < columns ? 0 : at - columns / 2;
    std::printf("%% ");
    print_text(line + first, strnlen(line + first, size_t(columns)));
    std::printf("\n%*s^\n%% %s\n", at - first + 2, "", problem);
}

// The empty word is the beginning of every keyword, and the number 0.
const cli_pmatch_s *find_empty_word(const cli_pmatch_s *matches)
{
    while (matches && (*matches->token || matches->node->type == PNODE_STRING))
        matches = matches->next;
    return matches;
}

// Without memory, a parse succeeds with the words before the one that was lost: a
// line is run only when it was consumed whole.
void run_matched(const Command &command, int32_t consumed)
{
    const auto len = static_cast<int32_t>(std::strlen(command.line));
    const cli_pmatch_s *empty = find_empty_word(command.matches);
    const cli_pnode_s *end = cli_parse_node_get_executable_from_match(command.matches);
    if (!command.matches || consumed != len)
        explain(command.session, command.line, consumed, "Out of memory");
    else if (empty)
        explain(command.session, command.line, empty->pos, "An empty word has no meaning here");
    else if (!end)
        explain(command.session, command.line, len, "Incomplete command");
    else
        reinterpret_cast<Action>(end->func)(command);
}

void run(Session &session, const char *line, int depth)
{
    int32_t consumed = 0;
    cli_pmatch_s *matches = nullptr;
    errno = 0; // an earlier overflow would have the greatest number refused
    const uint32_t result =
        cli_parse(top.child, line, int32_t(std::strlen(line)), &consumed, &matches);
    if (result == PARSE_MATCHED)
        run_matched({session, line, matches, depth}, consumed);
    else if (result != PARSE_EMPTY)
        explain(session, line, consumed, cli_strparseres(result));
    cli_match_free(matches);
}

} // namespace

void commands_run(Session &session, const char *line)
{
    run(session, line, 0);
}

cli_pnode_s *commands_root()
{
    return top.child;
}

void commands_release()
{
    cli_pnode_s *next = nullptr;
    for (cli_pnode_s *node = top.child; node != &NONE; node = next) {
        next = node->next;
        if (is_alias(node))
            dyn_cli_del_node(&top, node);
    }
    alias_count = 0;
}

const char *command_word(const Command &command, const char *name)
{
    const cli_pmatch_s *match = cli_match_by_name(command.matches, name);
    return match ? match->token : nullptr;
}

void print_text(const char *text, size_t len)
{
    for (const char *end = text + len; text < end; text++) {
        const auto c = static_cast<unsigned char>(*text);
        const bool is_control = c < 0x20 || (c >= 0x7f && c < 0xa0);
        std::putchar(is_control ? '?' : c);
    }
}

void print_text(const char *text)
{
    print_text(text, std::strlen(text));
}
