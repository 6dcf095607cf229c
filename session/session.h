#ifndef VARNO_SESSION_SESSION_H
#define VARNO_SESSION_SESSION_H

// The record of a session and what its modules do for each other. A call on a
// session is a transaction: input changes its state, commands write, and the end of
// the outermost call draws what the terminal's last row is to show and hands all
// output over at once.

#include "input/keyboard.h"
#include "input/telnet_front.h"

#include <varno/prompt.h>
#include <varno/tsession.h>

namespace varno {

constexpr size_t output_capacity = 65536;
constexpr int32_t answer_capacity = 128;
constexpr int32_t line_capacity = 256; // of the editor, with the terminator

// Where the output of a transaction is gathered; kept in a free list between them.
struct OutputBuffer {
    OutputBuffer *next;
    size_t used;
    char bytes[output_capacity];
};

// Who gets the keys, and what the last row shows.
enum class Mode : uint8_t {
    line,         // the line editor
    pager,        // a long output
    question,     // a line of answer
    key_question, // one key of answer
    search,       // the history
};

// What a client that echoes (RFC 857) has shown on the row by itself. After a key whose echo
// only the client knows, the row is drawn whole after each key up to its end: the client may
// have shown more by now than has arrived here.
enum class Echoed : uint8_t {
    nothing,
    text,    // as the line has it: nothing to draw
    unknown, // to be drawn over
    mended,  // which was done
};

// A control sequence in a command's output takes no column.
enum class Escape : uint8_t { none, begun, csi };

struct Pager {
    tsession_produce_fn produce;
    void *ctx;
    int32_t rows_left; // until the screen is full
    int32_t page_rows; // of a screen, as paging was when it began
    int32_t listed;    // rows written of a list of choices
    bool is_waiting;   // for a key
    bool shows_keys;   // which keys there are
    bool is_running;   // the producer is being called
    bool is_cancelled; // by a key or a command meanwhile
    bool is_late;      // the producer has nothing yet, and nobody has woken it
    bool is_woken;     // while it was running
    size_t gathered;   // bytes since it began or went on
};

struct Question {
    tsession_answer_fn line_fn;
    tsession_key_fn key_fn;
    void *ctx;
    bool is_secret;
    bool is_overlong; // more was typed than an answer holds
    int32_t len;
    char answer[answer_capacity];
    char *text; // what is not yet on rows of its own; memory before it holds its beginning
};

// Input that is kept: count bytes from bytes + begin on. A key finds room in the record.
struct TypeAhead {
    unsigned char *bytes; // the few, or allocated; NULL before drop_type_ahead
    size_t capacity;
    size_t begin;
    size_t count;
    unsigned char few[32];
};

// What the line editor has put aside; there once it is needed.
struct Aside {
    pstate typed; // the line that was being typed when browsing or searching began
    bool has_typed;
    bool is_overlong; // that line
    int32_t killed_len;
    char killed[line_capacity]; // what was deleted last by words or to an end
    pstate before_search;       // the line when it began
    bool was_overlong_before_search;
    int32_t pattern_len;
    int32_t found; // the entry that a search shows, from 1, the newest; 0: none yet
    char pattern[64];
};

} // namespace varno

struct tsession_shared_s {
    int32_t holders; // who created it, and sessions
    varno::OutputBuffer *free_buffers;
    prompt_s *bound; // nobody types into it: sessions borrow its commands and keys
};

struct tsession_s {
    tsession_shared_s *shared;

    int32_t transport;
    bool leaves_assertions;
    bool is_paged;
    int32_t escape_wait_ms;
    const tsession_texts_s *texts;
    const cli_pnode_s *graph;
    const cli_assist_filter_s *filter;
    void *user;
    tsession_output_fn output_fn;
    tsession_line_fn line_fn;
    tsession_event_fn event_fn;
    tsession_free_key_fn key_fn;
    tsession_refused_fn refused_fn;

    // The transaction
    int32_t depth;                // calls on this session that have not returned
    varno::OutputBuffer *out;     // of the transaction; NULL outside, and without memory
    varno::OutputBuffer *sending; // what output callbacks that have not returned are reading
    bool is_started;
    bool is_opening; // telnet's opening is not answered: the first prompt waits for it
    bool is_closed;
    bool is_ended; // closed, and the terminal's set-up is undone
    bool is_free_asked;
    bool is_closed_told; // nobody hears of the session any more
    bool is_in_command;  // a line callback, a producer or an answer is running
    bool is_writable;
    bool is_turn_over; // this call has run a line, or shown a list or a part of an output
    bool is_bell_due;

    // The terminal
    const varno::TerminalType *type;
    bool is_type_told; // by the client; the first known name stays
    bool is_paste_on;
    bool is_row_shown; // the last row shows what the mode wants, up to edits
    varno::Echoed echoed;
    bool is_after_newline; // nothing was sent since
    varno::Escape escape;  // what the output is in the middle of
    int32_t columns;
    int32_t rows;
    int32_t column;           // of the terminal's cursor, while output is written
    unsigned char partial[4]; // the beginning of a character of the output
    uint8_t npartial;
    bool is_after_message; // rows of an output begin on one of their own
    int32_t command_rows;  // that a command has written before its long output, if it begins one
    int32_t row_len;       // columns that a question or the pager has written there
    int32_t shown_offset;  // display_offset as drawn last

    // Input
    uint64_t typed; // bytes so far
    varno::TelnetFront telnet;
    varno::Keyboard keyboard;
    bool is_in_character; // of several bytes, which cannot be typed
    varno::TypeAhead type_ahead;
    bool is_taking; // from it
    varno::Mode mode;
    mkey_t held[32]; // the beginning of a bound sequence
    int32_t nheld;
    uint32_t edit_count; // steps of the line editor so far, wraps
    uint32_t last_tab;   // edit_count at the last Tab
    int32_t tab_used;    // and the characters of the line after it

    prompt_s *prompt;
    varno::Aside *aside; // or NULL
    bool is_overlong;    // more was typed than the line holds
    bool remembers;      // lines
    char *running_line;  // what is to be remembered of it; "": nothing
    bool owns_bindings;  // else its commands and keys are borrowed
    char prompt_text[31];
    varno::Pager pager;
    varno::Question *question; // while one is asked; else NULL
};

namespace varno {

// Output (output.cpp)

// Bytes for the wire, as they are but for telnet's escape.
void emit(tsession_s *s, const char *bytes, size_t count);
void emit(tsession_s *s, const char *text);
void emit_blanks(tsession_s *s, int32_t count);
const char *line_end(const tsession_s *s);
void deliver(tsession_s *s);
// The transaction's buffer: taken at its beginning, given back at its end.
void take_buffer(tsession_s *s);
void give_buffers_back(tsession_s *s);
// Bytes already in wire form: telnet's own commands.
void emit_wire(tsession_s *s, const unsigned char *bytes, size_t count);
// The print callback of the prompt.
int print_to_session(prompt_s *p, void *ctx, const char *format, ...) VARNO_PRINTF(3, 4);

// Text of a command or a message: line ends and the cursor's column are seen to.
void write_text(tsession_s *s, const char *bytes, size_t count);
void write_text(tsession_s *s, const char *text);
void write_clean(tsession_s *s, const char *text, size_t count);
// What does not belong to an output that rests begins a row of its own.
void begin_message(tsession_s *s);

// The last row (row.cpp)

// Draws what the mode wants on the last row, or the difference to what it shows.
void draw_row(tsession_s *s);
// Which part of a long line shows depends on each change of line and cursor in turn, not
// on which of them are drawn: so each is followed by this.
void settle_scroll(tsession_s *s);
// Takes the row away, so that output can be written in its place.
void hide_row(tsession_s *s);
// The same after the window has changed: the terminal may have wrapped the row anew.
void erase_row(tsession_s *s);
// Answers what cannot be done; once a call.
void ring(tsession_s *s);
// Leaves the row where it is, drawn to the last edit, and goes to a fresh one below.
void leave_row(tsession_s *s);
// The same for a row that shows what it is to show.
void end_row(tsession_s *s);
// The same where an Enter was typed, with all of the line, on as many rows as it takes: a
// client that echoes by itself is there already.
void leave_entered_row(tsession_s *s);
// Whether the client shows what is typed (RFC 857), and the session does not. A client
// that refuses everything does not.
bool does_client_echo(const tsession_s *s);
// What a session says by itself, as the host wants it.
const char *text_of(const tsession_s *s, const char *tsession_texts_s::*text);
// The columns of a text that is clean.
int32_t columns_of(const char *text);
// What the row has left beside the question.
int32_t answer_columns(const tsession_s *s);

// The line editor's commands (commands.cpp)

bool bind_editor(tsession_s *s);
// What has no room rings, and is noted: such a line is not run.
void insert_character(tsession_s *s, char c);
// Empties the line: it was run or dropped.
void begin_line(tsession_s *s);
// Returns NULL without memory.
Aside *aside_of(tsession_s *s);
// The line that was being typed: put aside, and brought back.
bool put_line_aside(tsession_s *s);
void bring_line_back(tsession_s *s);
void release_editor(tsession_s *s);
void release_shared_bindings(tsession_shared_s *shared);

// Lines (lines.cpp)

// Runs the line of the editor.
void run_typed_line(tsession_s *s);
int32_t run_line(tsession_s *s, const char *line);
// Lists what may be typed at the cursor, paged.
void list_choices(tsession_s *s);

// The history (history.cpp)

// Returns 0, or -1 without memory or where none are remembered.
int remember(tsession_s *s, const char *line);
void forget_history(tsession_s *s);
// Returns false when there is none.
bool forget_newest(tsession_s *s);
void begin_search(tsession_s *s);
// Returns whether it has taken the key; if not, the mode is the line's.
bool search_key(tsession_s *s, mkey_t key);
void end_search(tsession_s *s);
// Writes the row of a search, at most columns wide. Returns its columns.
int32_t search_row(const tsession_s *s, char *row, int32_t columns);

// Input that waits (type_ahead.cpp)

// Takes input: does what may be done in this call, and keeps the rest.
void add_type_ahead(tsession_s *s, const unsigned char *bytes, size_t count);
void drop_type_ahead(tsession_s *s);
bool has_type_ahead(const tsession_s *s);
bool wants_input(const tsession_s *s);
// Whether something waits for nothing but a call; one step of it.
bool has_work(const tsession_s *s);
void do_work(tsession_s *s);

// Long outputs and questions (dialog.cpp)

// Each returns 0, or -1 when something runs already.
int begin_pager(tsession_s *s, tsession_produce_fn produce_fn, void *ctx);
// An output that has more, and asks nobody for a key.
bool is_resting(const tsession_s *s);
int begin_line_question(tsession_s *s, const char *text, bool is_secret, tsession_answer_fn fn,
                        void *ctx);
int begin_key_question(tsession_s *s, const char *text, tsession_key_fn fn, void *ctx);
void run_pager(tsession_s *s);
// At a full screen. Returns whether it has taken the key; if not, the output has ended.
bool pager_key(tsession_s *s, mkey_t key);
void question_key(tsession_s *s, mkey_t key);
void cancel_dialog(tsession_s *s);
// Without telling whoever asked: when the session goes.
void drop_question(tsession_s *s);

// Keys and what arrives with them (input.cpp)

void take_keys(tsession_s *s, const mkey_t *keys, size_t count);
KeyEvents key_events(tsession_s *s);
TelnetEvents telnet_events(tsession_s *s);
// Ctrl-C and its like: drops what is typed or ends what runs. kind: TSESSION_INTERRUPT
// or TSESSION_BREAK, as it is told to the host.
void interrupt(tsession_s *s, int32_t kind);

// Life (tsession.cpp)

void begin_keyboard(tsession_s *s);
// The client has answered telnet's opening, or will not: sets up its terminal.
void end_opening(tsession_s *s);
void raise_event(tsession_s *s, int32_t kind, const char *text);
void use_terminal_type(tsession_s *s, const TerminalType *type);

} // namespace varno

#endif
