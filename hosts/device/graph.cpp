// The graph as a record, so that each thread has one to itself.

#include "graph.h"

#include <cstring>
#include <memory>
#include <new>

#include "aliases.h"
#include "dynamic_nodes.h"
#include "interfaces.h"
#include "memory.h"
#include "routes.h"
#include "settings.h"
#include "traces.h"
#include "visitors.h"

namespace device {
namespace {

constexpr int64_t names_last_ms = 1000;

cli_pnode_s end_of(Action action, cli_pnode_s *next = &NONE)
{
    cli_pnode_s node = {};
    node.name = "END";
    node.type = PNODE_EOLS;
    node.child = &NONE;
    node.next = next;
    node.func = reinterpret_cast<void *>(action);
    return node;
}

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

cli_pnode_s text(const char *label, const char *help, cli_pnode_s *end)
{
    return word(PNODE_STRING, label, help, end, &NONE);
}

cli_pnode_s number(const char *label, const char *help, cli_pnode_s *child)
{
    return word(PNODE_INT32, label, help, child, &NONE);
}

// From the last words to the first. Where any number of words may follow, after each
// comes the end, or the same node again.
struct Graph {
    // clang-format off
    cli_pnode_s end_version    = end_of(show_version);
    cli_pnode_s end_interface  = end_of(show_interface);
    cli_pnode_s end_interfaces = end_of(show_interfaces);
    cli_pnode_s end_routes     = end_of(show_routes);
    cli_pnode_s end_sessions   = end_of(show_sessions);
    cli_pnode_s end_history    = end_of(show_history);
    cli_pnode_s end_memory     = end_of(show_memory);
    cli_pnode_s end_aliases    = end_of(show_aliases);
    cli_pnode_s end_numbers    = end_of(show_numbers);
    cli_pnode_s number_count   = number("COUNT", "1 to 1000000", &end_numbers);
    cli_pnode_s numbers        = keyword("numbers", "a long output", &number_count, &NONE);
    cli_pnode_s aliases        = keyword("aliases", "your own commands", &end_aliases, &numbers);
    cli_pnode_s memory         = keyword("memory", "what is allocated", &end_memory, &aliases);
    cli_pnode_s history        = keyword("history", "the lines typed before", &end_history,
                                         &memory);
    cli_pnode_s sessions       = keyword("sessions", "who is here", &end_sessions, &history);
    cli_pnode_s routes         = keyword("routes", "the routes of the machine", &end_routes,
                                         &sessions);
    cli_pnode_s interfaces     = keyword("interfaces", "the interfaces of the machine",
                                         &end_interfaces, &routes);
    cli_pnode_s version        = keyword("version", "the version of this program", &end_version,
                                         &interfaces);

    cli_pnode_s end_echo       = end_of(echo, &echo_text);
    cli_pnode_s echo_text      = text("TEXT", "words to print", &end_echo);

    cli_pnode_s end_width      = end_of(set_width);
    cli_pnode_s width_columns  = number("COLUMNS", "20 to 256", &end_width);
    cli_pnode_s width          = keyword("width", "the width of the edited row", &width_columns,
                                         &NONE);
    cli_pnode_s end_length     = end_of(set_length);
    cli_pnode_s length_rows    = number("ROWS", "2 to 512; 0: no pages", &end_length);
    cli_pnode_s length         = keyword("length", "the length of a page", &length_rows, &width);

    cli_pnode_s end_prompt     = end_of(set_prompt, &prompt_text);
    cli_pnode_s prompt_text    = text("TEXT", "quotes keep a blank at its end", &end_prompt);

    cli_pnode_s end_clear      = end_of(clear_screen);

    cli_pnode_s end_timer      = end_of(start_timer, &timer_text);
    cli_pnode_s timer_text     = text("TEXT", "the message", &end_timer);
    cli_pnode_s timer_seconds  = number("SECONDS", "until it comes", &timer_text);

    cli_pnode_s end_add        = end_of(add_alias, &alias_text);
    cli_pnode_s alias_text     = text("TEXT", "the line it stands for", &end_add);
    cli_pnode_s alias_name     = text("NAME", "a new command", &alias_text);

    cli_pnode_s end_remove     = end_of(remove_alias);
    cli_pnode_s removed_name   = text("NAME", "the one to remove", &end_remove);
    cli_pnode_s removed_alias  = keyword("alias", "one of your own commands", &removed_name, &NONE);

    cli_pnode_s end_debug_on   = end_of(start_debugging);
    cli_pnode_s end_debug_off  = end_of(stop_debugging);
    cli_pnode_s debug_off      = keyword("off", "no traces", &end_debug_off, &NONE);
    cli_pnode_s debug_on       = keyword("on", "traces of what you type", &end_debug_on,
                                         &debug_off);

    cli_pnode_s end_alias      = end_of(run_alias);
    cli_pnode_s end_exit       = end_of(end_session);
    cli_pnode_s top_exit       = keyword("exit", "end the session", &end_exit, &NONE);
    cli_pnode_s top_debug      = keyword("debug", "the library's traces", &debug_on, &top_exit);
    cli_pnode_s top_no         = keyword("no", "remove something", &removed_alias, &top_debug);
    cli_pnode_s top_alias      = keyword("alias", "add a command of your own", &alias_name,
                                         &top_no);
    cli_pnode_s top_timer      = keyword("timer", "a message later on", &timer_seconds, &top_alias);
    cli_pnode_s top_clear      = keyword("clear", "an empty screen", &end_clear, &top_timer);
    cli_pnode_s top_prompt     = keyword("prompt", "the text before the line", &prompt_text,
                                         &top_clear);
    cli_pnode_s top_terminal   = keyword("terminal", "settings of this terminal", &length,
                                         &top_prompt);
    cli_pnode_s top_echo       = keyword("echo", "print words", &echo_text, &top_terminal);
    cli_pnode_s top_show       = keyword("show", "what there is", &version, &top_echo);
    // clang-format on

    DynamicNodes alias_nodes{top_exit, end_alias};
    DynamicNodes interface_nodes{end_interfaces, end_interface};
    uint64_t alias_generation = 0;
    int64_t names_read_at = INT64_MIN / 2;
};

thread_local std::unique_ptr<Graph> own_graph;

Graph &own()
{
    if (!own_graph)
        own_graph = std::make_unique<Graph>();
    return *own_graph;
}

} // namespace

cli_pnode_s *graph()
{
    return &own().top_show;
}

void release_graph()
{
    own_graph.reset();
}

// The names stay as they are when there is no memory, or no descriptor to ask the system.
void refresh_graph(int64_t now)
{
    Graph &graph = own();
    graph.alias_nodes.release_removed();
    graph.interface_nodes.release_removed();
    follow_aliases(graph.alias_nodes, graph.alias_generation);
    if (now - graph.names_read_at < names_last_ms)
        return;
    graph.names_read_at = now;
    try {
        const std::vector<std::string> names = interface_names();
        if (!names.empty())
            set_interface_names(names);
    } catch (const std::bad_alloc &) {
    }
}

void refresh_aliases()
{
    follow_aliases(own().alias_nodes, own().alias_generation);
}

void set_interface_names(const std::vector<std::string> &names)
{
    std::vector<Choice> choices;
    for (const std::string &name : names) {
        if (is_plain_word(name.c_str()))
            choices.push_back({name.c_str(), "an interface"});
    }
    own().interface_nodes.follow(choices);
}

bool is_builtin(const char *name)
{
    const Graph &graph = own();
    const cli_pnode_s *node = &graph.top_show;
    while (node != graph.top_exit.next && std::strcmp(node->keyword, name) != 0)
        node = node->next;
    return node != graph.top_exit.next;
}

} // namespace device
