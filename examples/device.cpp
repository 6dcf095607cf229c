// The device of device.c in C++: a class has the session, commands are function objects,
// and exceptions cross the session's calls. A failed assertion ends the session, not the
// process.

#include <varno/cli_parse.h>
#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <string_view>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace {

// Called with the session and the words of the line.
using Action = std::function<void(tsession_s *, cli_pmatch_s *)>;

// The nodes of a graph. They point at one another, so they stay where they are.
cli_pnode_s end_of(Action &action)
{
    cli_pnode_s node = {};
    node.name = "end";
    node.type = PNODE_EOLS;
    node.func = &action;
    return node;
}

cli_pnode_s word(uint32_t type, const char *text, const char *help, cli_pnode_s &child,
                 cli_pnode_s *next = nullptr)
{
    cli_pnode_s node = {};
    node.name = text;
    node.keyword = text;
    node.help = help;
    node.type = type;
    node.child = &child;
    node.next = next;
    return node;
}

class Commands {
  public:
    Commands() = default;
    Commands(const Commands &) = delete;
    Commands &operator=(const Commands &) = delete;

    const cli_pnode_s *graph() const { return &show_; }

  private:
    Action show_time_ = [](tsession_s *s, cli_pmatch_s *) {
        const time_t now = time(nullptr);
        tsession_print(s, "%s", ctime(&now));
    };
    Action print_ = [](tsession_s *s, cli_pmatch_s *words) {
        tsession_print(s, "%s\n", cli_match_by_name(words, "WORD")->token);
    };
    Action leave_ = [](tsession_s *s, cli_pmatch_s *) { tsession_close(s); };

    // Last words first.
    cli_pnode_s time_end_ = end_of(show_time_);
    cli_pnode_s echo_end_ = end_of(print_);
    cli_pnode_s exit_end_ = end_of(leave_);
    cli_pnode_s exit_ = word(PNODE_KEYWORD, "exit", "leave", exit_end_);
    cli_pnode_s what_ = word(PNODE_STRING, "WORD", "what to print", echo_end_);
    cli_pnode_s echo_ = word(PNODE_KEYWORD, "echo", "print", what_, &exit_);
    cli_pnode_s time_ = word(PNODE_KEYWORD, "time", "the clock", time_end_);
    cli_pnode_s show_ = word(PNODE_KEYWORD, "show", "tell", time_, &echo_);
};

// A session on standard input and output. What a callback throws leaves the method that
// led to it, with the session closed.
class Session {
  public:
    explicit Session(const cli_pnode_s *graph)
    {
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.terminal_type = std::getenv("TERM");
        config.prompt = "demo> ";
        config.graph = graph;
        config.output = write_all;
        config.line = run;
        config.event = tell_fault;
        session_.reset(tsession_create(&config));
        if (!session_)
            throw std::bad_alloc();
    }

    // What was typed before the input ended is still run.
    void serve()
    {
        tsession_s *s = session_.get();
        tsession_start(s);
        bool has_input = true;
        while (!tsession_is_closed(s) && (has_input || tsession_wait(s) == 0)) {
            pollfd input = {STDIN_FILENO, POLLIN, 0};
            const nfds_t watched = has_input && tsession_wants_input(s) != 0 ? 1 : 0;
            if (poll(&input, watched, tsession_wait(s)) == 0)
                tsession_time_out(s);
            else
                has_input = read_some();
        }
        tsession_close(s);
    }

  private:
    bool read_some()
    {
        char bytes[512];
        const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
        if (count > 0)
            tsession_input(session_.get(), bytes, static_cast<size_t>(count));
        return count > 0;
    }

    static void run(tsession_s *s, void *, const char *, const cli_pnode_s *end,
                    cli_pmatch_s *words)
    {
        (*static_cast<const Action *>(end->func))(s, words);
    }

    static void write_all(tsession_s *, void *, const char *bytes, size_t count)
    {
        for (std::string_view left(bytes, count); !left.empty();) {
            const ssize_t sent = write(STDOUT_FILENO, left.data(), left.size());
            if (sent < 0)
                throw std::system_error(errno, std::generic_category(), "standard output");
            left.remove_prefix(static_cast<size_t>(sent));
        }
    }

    static void tell_fault(tsession_s *, void *, const tsession_event_s *event)
    {
        if (event->kind == TSESSION_FAULT)
            std::cerr << "device: " << event->text << '\n';
    }

    struct Free {
        void operator()(tsession_s *s) const { tsession_free(s); }
    };
    std::unique_ptr<tsession_s, Free> session_;
};

} // namespace

int main()
{
    assert_set_handler(tsession_assertion_handler, nullptr);
    try {
        const Commands commands;
        Session(commands.graph()).serve();
    } catch (const std::exception &e) {
        std::cerr << "device: " << e.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
