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
};

// A control sequence in a command's output takes no column.
enum class Escape : uint8_t { none, begun, csi };

struct Pager {
    tsession_produce_fn produce;
    void *ctx;
    int32_t rows_left;   // until the screen is full
    int32_t parts_ahead; // written because keys were typed ahead
    int32_t page_rows;   // of a screen, as paging was when it began
    bool is_waiting;     // for a key
    bool is_running;     // the producer is being called
    bool is_cancelled;   // by a key or a command meanwhile
    size_t gathered;     // bytes since it began or went on
};

struct Question {
    tsession_answer_fn line_fn;
    tsession_key_fn key_fn;
    void *ctx;
    bool is_secret;
    int32_t len;
    char text[answer_capacity];
    char answer[answer_capacity];
};

} // namespace varno

struct tsession_shared_s {
    varno::OutputBuffer *free_buffers;
    prompt_s *bound; // nobody types into it: sessions borrow its commands and keys
};

struct tsession_s {
    tsession_shared_s *shared;

    int32_t transport;
    bool owns_shared;
    bool leaves_assertions;
    bool is_paged;
    cli_pnode_s *graph;
    void *user;
    tsession_output_fn output_fn;
    tsession_line_fn line_fn;
    tsession_event_fn event_fn;

    // The transaction
    int32_t depth;                // calls on this session that have not returned
    varno::OutputBuffer *out;     // of the transaction; NULL outside, and without memory
    varno::OutputBuffer *sending; // what output callbacks that have not returned are reading
    bool is_started;
    bool is_closed;
    bool is_ended; // closed, and the terminal's set-up is undone
    bool is_free_asked;
    bool is_in_command; // a line callback, a producer or an answer is running
    bool is_writable;

    // The terminal
    const varno::TerminalType *type;
    bool is_type_told; // by the client; the first known name stays
    bool is_paste_on;
    bool is_row_shown;    // the last row shows what the mode wants, up to edits
    varno::Escape escape; // what the output is in the middle of
    int32_t columns;
    int32_t rows;
    int32_t column;       // of the terminal's cursor, while output is written
    size_t listed;        // bytes of choices written in this transaction
    int32_t row_len;      // columns that a question or the pager has written there
    int32_t shown_offset; // display_offset as drawn last

    // Input
    varno::TelnetFront telnet;
    varno::Keyboard keyboard;
    varno::Mode mode;
    mkey_t held[32]; // the beginning of a bound sequence
    int32_t nheld;
    uint32_t edit_count; // steps of the line editor so far, wraps
    uint32_t last_tab;   // edit_count at the last Tab
    int32_t tab_used;    // and the characters of the line behind it

    prompt_s *prompt;
    bool owns_bindings; // else its commands and keys are borrowed
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

// The last row (row.cpp)

// Draws what the mode wants on the last row, or the difference to what it shows.
void draw_row(tsession_s *s);
// Takes the row away, so that output can be written in its place.
void hide_row(tsession_s *s);
// Leaves the row where it is, drawn to the last edit, and goes to a fresh one below.
void leave_row(tsession_s *s);
// The same for a row that shows what it is to show.
void end_row(tsession_s *s);
// A question's text leaves at least so many columns for the answer.
constexpr int32_t least_answer_columns = 8;
// What the row has left beside the question.
int32_t answer_columns(const tsession_s *s);

// The line editor's commands (commands.cpp)

bool bind_editor(tsession_s *s);
void release_editor(tsession_s *s);
void release_shared_bindings(tsession_shared_s *shared);

// Long outputs and questions (dialog.cpp)

// Each returns 0, or -1 when something runs already.
int begin_pager(tsession_s *s, tsession_produce_fn produce_fn, void *ctx);
int begin_line_question(tsession_s *s, const char *text, bool is_secret, tsession_answer_fn fn,
                        void *ctx);
int begin_key_question(tsession_s *s, const char *text, tsession_key_fn fn, void *ctx);
void run_pager(tsession_s *s);
// Returns whether it has taken the key; if not, the mode has changed.
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

void raise_event(tsession_s *s, int32_t kind, const char *text);
void use_terminal_type(tsession_s *s, const TerminalType *type);

} // namespace varno

#endif
