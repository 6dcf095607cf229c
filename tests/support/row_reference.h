#ifndef VARNO_TESTS_ROW_REFERENCE_H
#define VARNO_TESTS_ROW_REFERENCE_H

// What a session on the device of SessionHost is to show and to tell, said again from its
// description alone: a line with its cursor, a history, a completion, a pager, questions,
// and input that waits its turn. It calls nothing of the library, and draws nothing: it
// says which rows are right.

#include <climits>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace varno_test {

enum class Key {
    character,
    pasted_character,
    pasted_enter,
    enter,
    line_feed, // after a carriage return: the same Enter
    interrupt, // Ctrl-C
    end_of_input,
    tab,
    left,
    right,
    home,
    end,
    word_back,
    word_forward,
    delete_back,
    delete_forward,
    kill_word_back,
    kill_word_forward,
    kill_begin,
    kill_end,
    kill_all,
    yank,
    transpose,
    compact,
    older,
    newer,
    search,
    give_up, // Ctrl-G
    redisplay,
    nothing,   // a key that means nothing to an editor
    swallowed, // no key at all
};

struct Press {
    Key key;
    char character = 0;
};

class RowReference {
  public:
    RowReference(int columns, int rows, size_t history_limit);

    // Calls of the session. Input is what one call brings; telnet's commands may stand in
    // it, so it has a beginning and an end.
    void begin_input();
    void add(const std::vector<Press> &presses);
    void telnet_interrupt(const std::string &event);
    void telnet_size(int columns, int rows);
    void telnet_presence() { message("[Yes]\n"); }
    void end_input();
    void work();

    void resize(int columns, int rows);
    void message(const std::string &text);
    void set_prompt(const std::string &prompt);
    void set_writable(bool is_writable) { is_writable_ = is_writable; }
    void set_paged(bool is_paged) { is_paged_ = is_paged; }
    void set_late(bool is_late) { is_late_ = is_late; }
    void wake() { pager_.is_late = false; }
    void begin_long();
    void ask(const std::string &text, bool is_secret, bool is_for_a_key);
    void close();

    // A long output of the device has so many rows.
    int long_rows = 100;

    bool is_closed() const { return is_closed_; }
    bool is_at_line() const { return mode_ == Mode::line; }
    bool has_work() const;
    std::vector<std::string> take_events();

    // What is wrong with a row of the terminal, as wide as that is, and the cursor on it;
    // empty when nothing is.
    std::string fault_of(const std::string &row, int cursor) const;

  private:
    enum class Mode { line, pager, question, key_question, search };

    struct Line {
        std::string text;
        size_t cursor = 0;
        bool is_overlong = false;
    };

    struct Pager {
        bool is_list = false;
        std::vector<int> list; // rows that each choice takes
        size_t listed = 0;
        int produced = 0;
        int rows_left = 0;
        int page = 0;
        bool is_waiting = false;
        bool is_late = false;
        bool shows_keys = false;
    };

    struct Question {
        std::string text;
        std::string answer;
        bool is_secret = false;
        bool is_overlong = false;
    };

    void begin_call() { is_turn_over_ = false; }
    void end_call() { settle_question(); }
    void take();
    void take_interrupt();
    bool takes_keys() const;
    bool is_resting() const { return mode_ == Mode::pager && !pager_.is_waiting; }

    void press(Press p);
    void line_key(Press p);
    void edit(Press p);
    void insert(char c);
    void insert(const std::string &text);
    void erase(size_t from, size_t to);
    void kill(size_t from, size_t to);
    size_t blanks_after(size_t at) const;
    size_t word_after(size_t at) const;
    size_t blanks_before(size_t at) const;
    size_t word_before(size_t at) const;
    void go_word_back();
    void go_word_forward();
    void kill_word_forward();
    void transpose();
    void compact();
    void complete();

    void go_older();
    void go_newer();
    void load(const std::string &text);
    void remember(const std::string &text);
    void search_key(Press p);
    void look_for(size_t from);

    void run_line();
    void run(const std::string &text);
    void interrupt(const std::string &event);
    void begin_line();

    void begin_pager(const Pager &pager);
    void list_choices();
    void run_pager();
    bool produce();
    void pager_key(Press p);
    void cancel_pager();
    void take_rows(int count);

    void begin_question(const std::string &text, bool is_secret, Mode mode);
    void question_key(Press p);
    void end_question(const std::string &event);
    void cancel_question();
    void settle_question();
    void cancel_dialog();
    size_t answer_columns() const;

    std::string fitted_prompt() const;
    std::string fault_of_line(const std::string &row, size_t cursor) const;
    std::string fault_of_search(const std::string &row, size_t cursor) const;

    size_t columns_;
    int rows_;
    size_t history_limit_;
    std::string prompt_ = "> ";
    bool is_writable_ = true;
    bool is_paged_ = true;
    bool is_late_ = false;
    bool is_closed_ = false;
    bool is_turn_over_ = false;
    Mode mode_ = Mode::line;

    std::deque<Press> queue_;
    Line line_;
    Line typed_; // before the history was browsed
    std::string killed_;
    std::optional<size_t> after_tab_; // characters of the line when Tab was pressed last
    std::deque<std::string> history_; // the newest first
    std::optional<size_t> browsed_;
    Line before_search_;
    std::optional<size_t> browsed_before_search_;
    std::string pattern_;
    size_t found_ = 0;

    Pager pager_;
    std::string message_; // that stands without an end below an output that rests
    Question question_;
    std::vector<std::string> events_;
};

} // namespace varno_test

#endif
