#ifndef VARNO_TESTS_SESSION_HOST_H
#define VARNO_TESTS_SESSION_HOST_H

// A host of one session on an emulated terminal: what the session sends is shown,
// what it reports is noted as text. Its device has a small parse graph.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <varno/tsession.h>

#include "terminal.h"

namespace varno_test {

class SessionHost {
  public:
    // The configuration's callbacks and user pointer are the host's. A telnet client does
    // not answer the opening, and the wait for that is over, unless it is to begin there.
    enum class Begin { at_the_prompt, at_the_opening };
    explicit SessionHost(tsession_config_s config, Begin begin = Begin::at_the_prompt);
    ~SessionHost();
    SessionHost(const SessionHost &) = delete;
    SessionHost &operator=(const SessionHost &) = delete;

    tsession_s *session() { return session_; }
    Terminal &terminal() { return *terminal_; }

    // Hands the bytes over, and does the work that they bring about.
    void input(std::string_view bytes);
    // Only hands them over.
    void hand_over(std::string_view bytes);
    void work();

    // Telnet's commands mean something at once, and so does a Ctrl-C, which drops what was
    // typed before it and has not been taken. Returns where in the bytes the next one
    // begins: where what stands before it is worked off first, no cut of a stream shows.
    static size_t find_interrupt(std::string_view bytes);

    // What was sent since it was last asked, and in how many calls.
    std::string take_sent();
    int take_output_calls();

    // "line show version", "interrupt", "size 80 24", ..., since last asked.
    std::vector<std::string> take_events();

    // The row with the cursor: trailing blanks cut, | at the cursor.
    std::string row() const;

    // What commands do: rows of a long output, the size of an answer's question.
    int long_rows = 100;
    std::string row_tail;         // of each of them
    bool takes_free_keys = false; // Ctrl-Z and its like are "free key 26"
    bool is_late = false;         // a long output has nothing yet
    void begin_long();
    void ask(const char *question, bool is_for_a_key);

    static cli_pnode_s *graph();

  private:
    static void output(tsession_s *s, void *user, const char *bytes, size_t count);
    static void line(tsession_s *s, void *user, const char *line, const cli_pnode_s *action,
                     cli_pmatch_s *matches);
    static void event(tsession_s *s, void *user, const tsession_event_s *event);
    static int free_key(tsession_s *s, void *user, uint32_t key);
    static int produce(tsession_s *s, void *user, void *ctx, int is_cancelled);
    static void answer(tsession_s *s, void *user, void *ctx, const char *answer);
    static void key_answer(tsession_s *s, void *user, void *ctx, int key);

    void run(const std::string &action, cli_pmatch_s *matches);
    void show(std::string_view bytes);

    bool is_telnet_;
    std::vector<unsigned char> command_;
    std::unique_ptr<Terminal> terminal_;
    tsession_s *session_;
    std::string sent_;
    int output_calls_ = 0;
    int produced_ = 0;
    std::vector<std::string> events_;
};

} // namespace varno_test

#endif
