#include "session_host.h"

#include "parse_nodes.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace varno_test {
namespace {

constexpr int rows = 12;

// Every end of line names what the host does there.
cli_pnode_s end_of(const char *action)
{
    return parse_node(PNODE_EOLS, action, nullptr);
}

cli_pnode_s word(uint32_t type, const char *keyword, const char *help, cli_pnode_s *child,
                 cli_pnode_s *next)
{
    cli_pnode_s node = parse_node(type, keyword, keyword);
    node.help = help;
    node.child = child;
    node.next = next;
    return node;
}

struct Graph {
    cli_pnode_s show_version_end = end_of("version");
    cli_pnode_s show_long_end = end_of("long");
    cli_pnode_s version = word(PNODE_KEYWORD, "version", "the version", &show_version_end, &NONE);
    cli_pnode_s long_rows = word(PNODE_KEYWORD, "long", "many rows", &show_long_end, &version);
    cli_pnode_s login_end = end_of("login");
    cli_pnode_s name_end = end_of("name");
    cli_pnode_s sure_end = end_of("sure");
    cli_pnode_s exit_end = end_of("exit");
    cli_pnode_s free_end = end_of("free");
    cli_pnode_s fault_end = end_of("fault");
    cli_pnode_s width_end = end_of("width");
    cli_pnode_s number = word(PNODE_INT32, "COLUMNS", "a number", &width_end, &NONE);
    cli_pnode_s fault = word(PNODE_KEYWORD, "fault", "fail an assertion", &fault_end, &NONE);
    cli_pnode_s free = word(PNODE_KEYWORD, "free", "free the session", &free_end, &fault);
    cli_pnode_s exit = word(PNODE_KEYWORD, "exit", "end", &exit_end, &free);
    cli_pnode_s width = word(PNODE_KEYWORD, "width", "set the width", &number, &exit);
    cli_pnode_s sure = word(PNODE_KEYWORD, "sure", "ask for a key", &sure_end, &width);
    cli_pnode_s name = word(PNODE_KEYWORD, "name", "ask for a name", &name_end, &sure);
    cli_pnode_s login = word(PNODE_KEYWORD, "login", "ask for a password", &login_end, &name);
    cli_pnode_s show = word(PNODE_KEYWORD, "show", "what there is", &long_rows, &login);
};

// A text of an event without the line number that a fault ends with.
std::string told(const std::string &text)
{
    return text.substr(0, text.find(':'));
}

const char *event_name(int kind)
{
    switch (kind) {
    case TSESSION_INTERRUPT:
        return "interrupt";
    case TSESSION_END_OF_INPUT:
        return "end";
    case TSESSION_BREAK:
        return "break";
    case TSESSION_SIZE:
        return "size";
    case TSESSION_TERMINAL:
        return "terminal";
    case TSESSION_FAULT:
        return "fault";
    case TSESSION_OVERFLOW:
        return "overflow";
    case TSESSION_CLOSED:
        return "over";
    default:
        return "unknown";
    }
}

} // namespace

cli_pnode_s *SessionHost::graph()
{
    static Graph graph;
    return &graph.show;
}

SessionHost::SessionHost(tsession_config_s config, Begin begin)
    : is_telnet_(config.transport == TSESSION_TELNET)
{
    config.user = this;
    config.output = output;
    config.line = line;
    config.event = event;
    config.key = free_key;
    if (config.rows == 0)
        config.rows = rows;
    session_ = tsession_create(&config);
    terminal_ = std::make_unique<Terminal>(config.rows, tsession_columns(session_));
    tsession_start(session_);
    if (is_telnet_ && begin == Begin::at_the_prompt)
        tsession_time_out(session_);
}

SessionHost::~SessionHost()
{
    tsession_free(session_);
}

void SessionHost::input(std::string_view bytes)
{
    hand_over(bytes);
    work();
}

void SessionHost::hand_over(std::string_view bytes)
{
    tsession_input(session_, bytes.data(), bytes.size());
}

size_t SessionHost::find_interrupt(std::string_view bytes)
{
    return std::min(bytes.find_first_of("\x03\xff"), bytes.size());
}

void SessionHost::work()
{
    while (session_ && tsession_wait(session_) == 0)
        tsession_time_out(session_);
}

std::string SessionHost::take_sent()
{
    return std::exchange(sent_, {});
}

int SessionHost::take_output_calls()
{
    return std::exchange(output_calls_, 0);
}

std::vector<std::string> SessionHost::take_events()
{
    return std::exchange(events_, {});
}

std::string SessionHost::row() const
{
    std::string text = terminal_->row(terminal_->cursor_row());
    const auto cursor = static_cast<size_t>(terminal_->cursor_column());
    text.resize(std::max(text.find_last_not_of(' ') + 1, cursor));
    return text.insert(cursor, "|");
}

void SessionHost::output(tsession_s *, void *user, const char *bytes, size_t count)
{
    auto *host = static_cast<SessionHost *>(user);
    host->output_calls_++;
    host->sent_.append(bytes, count);
    host->show({bytes, count});
}

// A telnet client shows the data and keeps the commands to itself.
void SessionHost::show(std::string_view bytes)
{
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const bool is_shown = !is_telnet_ || (command_.empty() && byte != 255);
        if (is_shown)
            terminal_->feed({&c, 1});
        else
            command_.push_back(byte);
        const bool is_sub = command_.size() > 1 && command_[1] == 250;
        const bool is_request = command_.size() > 1 && command_[1] > 250 && command_[1] < 255;
        const bool is_done =
            is_sub ? command_.size() > 3 && byte == 240 : command_.size() == (is_request ? 3u : 2u);
        if (is_done)
            command_.clear();
    }
}

void SessionHost::line(tsession_s *, void *user, const char *line, const cli_pnode_s *action,
                       cli_pmatch_s *matches)
{
    auto *host = static_cast<SessionHost *>(user);
    host->events_.push_back(std::string("line ") + (line + std::strspn(line, " ")));
    host->run(action ? action->name : "", matches);
}

void SessionHost::event(tsession_s *, void *user, const tsession_event_s *event)
{
    std::string text = event_name(event->kind);
    if (event->kind == TSESSION_SIZE)
        text += " " + std::to_string(event->columns) + " " + std::to_string(event->rows);
    if (event->text)
        text += " " + told(event->text);
    static_cast<SessionHost *>(user)->events_.push_back(text);
}

void SessionHost::run(const std::string &action, cli_pmatch_s *matches)
{
    if (action == "version")
        tsession_print(session_, "version %d\n", 1);
    else if (action == "long")
        begin_long();
    else if (action == "login")
        tsession_ask(session_, "Password: ", 1, answer, nullptr);
    else if (action == "name")
        tsession_ask(session_, "Name\n: ", 0, answer, nullptr);
    else if (action == "sure")
        tsession_ask_key(session_, "Sure? ", key_answer, nullptr);
    else if (action == "width")
        tsession_resize(session_, std::atoi(cli_match_by_name(matches, "COLUMNS")->token), 0);
    else if (action == "exit")
        tsession_close(session_);
    else if (action == "free")
        tsession_free(std::exchange(session_, nullptr));
    else if (action == "fault")
        cli_match_by_node(nullptr, nullptr);
}

void SessionHost::begin_long()
{
    produced_ = 0;
    tsession_page(session_, produce, nullptr);
}

void SessionHost::ask(const char *question, bool is_for_a_key)
{
    if (is_for_a_key)
        tsession_ask_key(session_, question, key_answer, nullptr);
    else
        tsession_ask(session_, question, 0, answer, nullptr);
}

int SessionHost::free_key(tsession_s *, void *user, uint32_t key)
{
    auto *host = static_cast<SessionHost *>(user);
    if (host->takes_free_keys)
        host->events_.push_back("free key " + std::to_string(key));
    return host->takes_free_keys;
}

int SessionHost::produce(tsession_s *s, void *user, void *, int is_cancelled)
{
    auto *host = static_cast<SessionHost *>(user);
    if (is_cancelled) {
        host->events_.push_back("cancelled after " + std::to_string(host->produced_));
        return 0;
    }
    if (host->is_late)
        return TSESSION_LATER;
    tsession_print(s, "row %d%s\n", ++host->produced_, host->row_tail.c_str());
    return host->produced_ < host->long_rows ? TSESSION_MORE : TSESSION_DONE;
}

void SessionHost::answer(tsession_s *s, void *user, void *, const char *answer)
{
    static_cast<SessionHost *>(user)->events_.push_back(std::string("answer ") +
                                                        (answer ? answer : "(none)"));
    if (answer)
        tsession_write(s, "welcome\n", 8);
}

void SessionHost::key_answer(tsession_s *, void *user, void *, int key)
{
    static_cast<SessionHost *>(user)->events_.push_back("key " + std::to_string(key));
}

} // namespace varno_test
