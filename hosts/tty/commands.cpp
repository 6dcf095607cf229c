// The device's commands: actions, the parse graph that leads to them, and the way
// from a line to an action where no session has matched it.

#include "commands.h"

#include <varno/cli_assist.h>
#include <varno/platform.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "interfaces.h"
#include "timers.h"

namespace {

constexpr int deepest_alias = 8;
constexpr int most_aliases = 32;
constexpr size_t longest_alias_name = 31;
constexpr long most_numbers = 1000000;
constexpr long longest_timer = 24 * 60 * 60;

int alias_count = 0;

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

// The rest of the line as it was typed, from the first of the words that matched; a word
// that stands alone gives up its quotes.
const char *text_from(const Command &command, const char *name)
{
    const cli_pmatch_s *text = cli_match_by_name(command.matches, name);
    return text->next ? command.line + text->pos : text->token;
}

void write_long(Console &console, tsession_produce_fn produce)
{
    if (console.session)
        tsession_page(console.session, produce, nullptr);
    else
        while (produce(nullptr, &console, nullptr, 0)) {
        }
}

// Actions

void show_version(const Command &command)
{
    print(command.console, "varno-tty %s\n", VARNO_TTY_VERSION);
}

void show_interfaces(const Command &command)
{
    const char *name = word_of(command, "NAME");
    if (!interfaces_print(command.console, name) && name)
        refuse(command.console, "No such interface\n");
}

// A row a call: the entry behind those that were shown.
struct HistoryRow {
    Console &console;
    int wanted;
    bool has_more;
};

int history_shown = 0;

void print_wanted(void *ctx, int number, const char *line)
{
    auto &row = *static_cast<HistoryRow *>(ctx);
    if (number == row.wanted)
        print(row.console, "%5d  %s\n", number, cleaned(line).c_str());
    row.has_more = number > row.wanted;
}

int print_history_row(tsession_s *s, void *user, void *, int is_cancelled)
{
    HistoryRow row = {*static_cast<Console *>(user), ++history_shown, false};
    if (s && !is_cancelled)
        tsession_history(s, print_wanted, &row);
    return row.has_more;
}

void show_history(const Command &command)
{
    history_shown = 0;
    write_long(command.console, print_history_row);
}

long numbers_shown = 0;
long numbers_wanted = 0;

int print_number(tsession_s *, void *user, void *, int is_cancelled)
{
    if (is_cancelled)
        return 0;
    print(*static_cast<Console *>(user), "%ld\n", ++numbers_shown);
    return numbers_shown < numbers_wanted;
}

void show_numbers(const Command &command)
{
    if (!take_number(command, "COUNT", 1, most_numbers, numbers_wanted))
        return;
    numbers_shown = 0;
    write_long(command.console, print_number);
}

void echo(const Command &command)
{
    for (const cli_pmatch_s *match = command.matches->next; match; match = match->next)
        print(command.console, "%s%c", cleaned(match->token).c_str(), match->next ? ' ' : '\n');
}

// A batch has no terminal to set.
void terminal_width(const Command &command)
{
    long columns = 0;
    tsession_s *s = command.console.session;
    if (take_number(command, "COLUMNS", 20, 256, columns) && s)
        tsession_resize(s, static_cast<int32_t>(columns), tsession_rows(s));
}

void terminal_length(const Command &command)
{
    long rows = 0;
    tsession_s *s = command.console.session;
    if (!take_number(command, "ROWS", 0, 512, rows) || !s)
        return;
    tsession_set_paged(s, rows > 0);
    if (rows > 0)
        tsession_resize(s, tsession_columns(s), static_cast<int32_t>(rows));
}

void start_timer(const Command &command)
{
    long seconds = 0;
    if (!take_number(command, "SECONDS", 1, longest_timer, seconds))
        return;
    if (!command.console.session)
        refuse(command.console, "A batch does not wait\n");
    else if (!timer_start(command.console.session, seconds, cleaned(text_from(command, "TEXT"))))
        refuse(command.console, "All timers run\n");
}

void end_session(const Command &command)
{
    if (command.console.session)
        tsession_close(command.console.session);
    command.console.is_done = true;
}

// Aliases are the keywords of the top level that were created at run time. Such a
// node owns its texts; its help is the line that it stands for. They stand behind the
// last of our own, so that the root, which the session knows, stays the first.

extern cli_pnode_s top, top_exit;

bool is_alias(const cli_pnode_s *node)
{
    return node->own_keyword != nullptr;
}

void show_aliases(const Command &command)
{
    for (const cli_pnode_s *node = top.child; node != &NONE; node = node->next) {
        if (is_alias(node))
            print(command.console, "%s  %s\n", node->keyword, cleaned(node->help).c_str());
    }
}

// A name must be typed as it stands, so nothing that quotes, escapes or separates.
bool is_alias_name(const char *name)
{
    const auto is_plain = [](unsigned char c) {
        return std::isgraph(c) && !std::strchr("\"'\\?;", c);
    };
    const size_t len = std::strlen(name);
    return len > 0 && len <= longest_alias_name && std::all_of(name, name + len, is_plain);
}

// The command may remove the alias that it came from: hence the copy.
void run_alias(const Command &command)
{
    Console &console = command.console;
    const std::string line = command.matches->node->help;
    if (console.alias_depth >= deepest_alias) {
        refuse(console, "Aliases are nested too deeply\n");
        return;
    }
    console.alias_depth++;
    commands_run_line(console, line.c_str());
    console.alias_depth--;
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
    const char *name = word_of(command, "NAME");
    const char *text = text_from(command, "TEXT");
    if (!is_alias_name(name)) {
        refuse(command.console, "A name is 1 to %zu printable characters, none of \" ' \\ ? ;\n",
               longest_alias_name);
    } else if (dyn_cli_lookup_node(top.child, name)) {
        refuse(command.console, "This name is taken\n");
    } else if (alias_count >= most_aliases) {
        refuse(command.console, "There are %d aliases already\n", most_aliases);
    } else if (cli_pnode_s *node =
                   dyn_cli_create_node(PNODE_KEYWORD, name, name, text, nullptr, 0)) {
        dyn_cli_set_node(node, &end_alias, 0);
        dyn_cli_set_node(node, top_exit.next, 1);
        dyn_cli_set_node(&top_exit, node, 1);
        alias_count++;
    } else {
        refuse(command.console, "Out of memory\n");
    }
}

void remove_alias(const Command &command)
{
    const char *name = word_of(command, "NAME");
    cli_pnode_s *node = *name ? dyn_cli_lookup_node(top.child, name) : nullptr;
    if (!node || !is_alias(node)) {
        refuse(command.console, "No such alias\n");
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
extern cli_pnode_s echo_text, alias_text, timer_text;

// clang-format off
cli_pnode_s end_version    = end_of(show_version, &NONE);
cli_pnode_s end_interface  = end_of(show_interfaces, &NONE);
cli_pnode_s interface_name = word(PNODE_STRING, "NAME", "one of them", &end_interface, &NONE);
cli_pnode_s end_interfaces = end_of(show_interfaces, &interface_name);
cli_pnode_s end_history    = end_of(show_history, &NONE);
cli_pnode_s end_aliases    = end_of(show_aliases, &NONE);
cli_pnode_s end_numbers    = end_of(show_numbers, &NONE);
cli_pnode_s number_count   = word(PNODE_INT32, "COUNT", "1 to 1000000", &end_numbers, &NONE);
cli_pnode_s numbers        = keyword("numbers", "a long output", &number_count, &NONE);
cli_pnode_s aliases        = keyword("aliases", "your own commands", &end_aliases, &numbers);
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
cli_pnode_s end_length     = end_of(terminal_length, &NONE);
cli_pnode_s length_rows    = word(PNODE_INT32, "ROWS", "2 to 512; 0: no pages", &end_length, &NONE);
cli_pnode_s length         = keyword("length", "the length of a page", &length_rows, &width);

cli_pnode_s end_timer      = end_of(start_timer, &timer_text);
cli_pnode_s timer_text     = word(PNODE_STRING, "TEXT", "the message", &end_timer, &NONE);
cli_pnode_s timer_seconds  = word(PNODE_INT32, "SECONDS", "until it comes", &timer_text, &NONE);

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
cli_pnode_s top_timer      = keyword("timer", "a message later on", &timer_seconds, &top_alias);
cli_pnode_s top_terminal   = keyword("terminal", "settings of this terminal", &length, &top_timer);
cli_pnode_s top_echo       = keyword("echo", "print words", &echo_text, &top_terminal);
cli_pnode_s top_show       = keyword("show", "what there is", &version, &top_echo);

// The parent of the first words, for the dynamic nodes' sake.
cli_pnode_s top            = keyword("TOP", nullptr, &top_show, &NONE);
// clang-format on

// Saying what is wrong, in the words of a session

void add_choice(void *user, const cli_pnode_s *, const char *text, const char *help)
{
    std::string name = cleaned(text);
    name.resize(std::max<size_t>(name.size() + 1, 18), ' ');
    *static_cast<std::string *>(user) += "  " + name + cleaned(help) + "\n";
}

// A batch names its place in front: there the reason comes first.
void explain(Console &console, const char *line, const cli_assist_error_s &error)
{
    std::string choices;
    cli_assist_candidates(line, &error, add_choice, &choices);
    const std::string reason = cli_assist_strreason(error.reason);
    const std::string shown = "  " + cleaned(line) + "\n";
    const std::string caret = std::string(static_cast<size_t>(error.at) + 2, ' ') + "^";
    const std::string text =
        console.session ? shown + caret + " " + reason : reason + "\n" + shown + caret;
    refuse(console, "%s\n%s", text.c_str(), choices.c_str());
}

} // namespace

cli_pnode_s *commands_root()
{
    return top.child;
}

void commands_run(const Command &command, const cli_pnode_s *end)
{
    reinterpret_cast<Action>(end->func)(command);
}

void commands_run_line(Console &console, const char *line)
{
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    const cli_pnode_s *end = cli_assist_parse(top.child, line, &matches, &error);
    const std::unique_ptr<cli_pmatch_s, decltype(&cli_match_free)> owner(matches, cli_match_free);
    if (end)
        commands_run({console, line, matches}, end);
    else if (error.reason != CLI_ASSIST_EMPTY)
        explain(console, line, error);
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
