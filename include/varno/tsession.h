#ifndef VARNO_TSESSION_H
#define VARNO_TSESSION_H

/* One terminal session: a host gives it bytes and gets bytes, command lines and
 * events back. Inside, the telnet parser, the keystroke decoder, the line editor
 * and the parse graph are wired so that nothing a remote user sends can stop the
 * process, reach an assertion or grow memory.
 *
 * A session has no file descriptor, clock, thread or event loop. Every function
 * runs on the caller's thread and never blocks. A session and what it shares are used
 * by one thread at a time, all together; they may migrate to another thread between
 * two calls. Callbacks get the session first and the configuration's user pointer
 * second, and may call any function of this header on any session, tsession_free
 * and tsession_close on their own included: from then on the session takes nothing
 * more, and it ends when the outermost call on it returns.
 *
 * A host's loop, for any number of sessions: hand over what the client sends with
 * tsession_input while tsession_wants_input says so; after every call ask
 * tsession_wait how long to wait for more, and when that time has passed, or at once
 * if it is 0, call tsession_time_out; free the session when it is closed.
 *
 * One call runs at most one line, shows at most one list, one page or one part of an
 * output, so that nobody waits for another's pile of lines. Input that comes
 * meanwhile is kept, in order, and tsession_wait is 0 as long as some of it can be taken.
 * Ctrl-C, and telnet's IP and BRK, are found at once in what is kept: they end what runs
 * and drop what was typed before them.
 *
 * All that a session sends during one call leaves in one output callback, just
 * before the call returns; only output beyond 64 KiB leaves earlier, and without
 * memory it leaves in pieces. What an output callback writes leaves in another one
 * before the call returns, so one that writes each time never comes to an end.
 *
 * A callback that leaves by an exception closes its session, and what that call had
 * gathered is dropped; longjmp may not cross a session's call. */

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <varno/api.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct tsession_s tsession_s;               /* one session; opaque */
typedef struct tsession_shared_s tsession_shared_s; /* what sessions of a thread share; opaque */
typedef struct tsession_config_s tsession_config_s;
typedef struct tsession_texts_s tsession_texts_s;
typedef struct tsession_event_s tsession_event_s;

/* The parse graph's records, of cli_parse.h. */
typedef struct cli_pnode_s cli_pnode_s;
typedef struct cli_pmatch_s cli_pmatch_s;

/* What narrows the graph, of cli_assist.h. */
typedef struct cli_assist_filter_s cli_assist_filter_s;
typedef struct cli_assist_error_s cli_assist_error_s;

/* What the bytes are. */
enum {
    TSESSION_PLAIN = 0,  /* a terminal's own bytes */
    TSESSION_TELNET = 1, /* a telnet client's (RFC 854) */
    TSESSION_BATCH = 2   /* none come, and nobody reads along: lines are run by tsession_run_line,
                          tsession_start does nothing, output lines end with a line feed alone,
                          nothing is paged, and no question is asked */
};

/* What may be told of a session. Later versions may tell more: ignore what you do not
 * know. */
enum {
    TSESSION_INTERRUPT = 1,    /* Ctrl-C or telnet's IP dropped a typed line; what ends a long
                                  output or a question is not told */
    TSESSION_END_OF_INPUT = 2, /* Ctrl-D on an empty line */
    TSESSION_BREAK = 3,        /* telnet's BRK; what was typed or running was dropped */
    TSESSION_SIZE = 4,         /* the client told its window size: columns, rows as in force */
    TSESSION_TERMINAL = 5,     /* the client told its terminal type: text is the one in force */
    TSESSION_FAULT = 6,        /* a failed assertion ended the session: text says which */
    TSESSION_OVERFLOW = 7,     /* more input came than is kept, or there was no memory to keep
                                  it: the session ends, which its user has been told */
    TSESSION_CLOSED = 8        /* once for every session, the last that is told of it: nothing
                                  is sent and no callback is called any more */
};

/* What has happened. */
struct tsession_event_s {
    int32_t kind;          /* TSESSION_INTERRUPT ... TSESSION_CLOSED */
    int32_t columns, rows; /* of TSESSION_SIZE, else 0 */
    const char *text;      /* of TSESSION_TERMINAL and TSESSION_FAULT, for the call; else NULL */
};

/* Receives bytes[0..count) for the terminal; they live for the call. */
typedef void (*tsession_output_fn)(tsession_s *s, void *user, const char *bytes, size_t count);

/* Receives a line to execute. With a parse graph the session has matched it: action
 * is the end-of-line node reached, matches are the words; what could not be matched
 * the session has answered itself. Without a graph both are NULL. All live for the
 * call. The command writes with tsession_write and its kin, or starts a long output
 * or a question and returns. */
typedef void (*tsession_line_fn)(tsession_s *s, void *user, const char *line,
                                 const cli_pnode_s *action, cli_pmatch_s *matches);

/* Hears of a line that is refused, and of the error, before what is wrong with it is
 * written: tsession_history_amend may be about it. */
typedef void (*tsession_refused_fn)(tsession_s *s, void *user, const char *line,
                                    const cli_assist_error_s *error);

/* Hears what happens to the session; the event lives for the call. */
typedef void (*tsession_event_fn)(tsession_s *s, void *user, const tsession_event_s *event);

/* What the producer of a long output answers. */
enum {
    TSESSION_DONE = 0, /* that was all */
    TSESSION_MORE = 1, /* there is more */
    TSESSION_LATER = 2 /* nothing yet: ask again after tsession_wake */
};

/* Writes the next row, or a few, of a long output with tsession_write and its kin.
 * Returns: TSESSION_DONE, TSESSION_MORE or TSESSION_LATER. Called once more with
 *          is_cancelled not 0 when the reader had enough or the session ends: release
 *          ctx, write nothing; the result is then ignored. */
typedef int (*tsession_produce_fn)(tsession_s *s, void *user, void *ctx, int is_cancelled);

/* Receives the answer to a question, terminated, for the call; NULL when it was
 * cancelled by Ctrl-C, a close or a fault. ctx is what came with the question. */
typedef void (*tsession_answer_fn)(tsession_s *s, void *user, void *ctx, const char *answer);

/* Receives the key that answers a question, 32..126 or 13; -1 when it was cancelled.
 * ctx is what came with the question. */
typedef void (*tsession_key_fn)(tsession_s *s, void *user, void *ctx, int key);

/* Receives a key of the line that nothing is bound to and that is no text: a control
 * character, 0..31, or VIRTKEY_F1 to VIRTKEY_F12 (varno/keys.h).
 * Returns: not 0 when the host has taken it; else the bell answers it. */
typedef int (*tsession_free_key_fn)(tsession_s *s, void *user, uint32_t key);

/* What a session says by itself. A NULL is the text in quotes; the others live as long
 * as the session. */
struct tsession_texts_s {
    size_t size;             /* sizeof(tsession_texts_s) */
    const char *more;        /* "--More--": a full screen asks for a key */
    const char *more_keys;   /* "space: page, Enter: row, q: quit": which keys there are */
    const char *fault;       /* "% internal fault, this session ends" */
    const char *overflow;    /* "% too much input, this session ends" */
    const char *long_line;   /* "% line too long, 255 characters at most" */
    const char *long_answer; /* "% answer too long, 127 characters at most" */
    const char *presence;    /* "[Yes]": telnet's Are You There */
    const char *reasons[9];  /* by CLI_ASSIST_...: "unknown word", ... */
};

/* How a session is to be. Start from TSESSION_CONFIG_INIT: every other member has a
 * default. */
struct tsession_config_s {
    size_t size;               /* sizeof(tsession_config_s) of the program's header */
    int32_t transport;         /* TSESSION_PLAIN, TSESSION_TELNET or TSESSION_BATCH */
    const char *terminal_type; /* NULL, or one that is not known: vt100 */
    int32_t columns, rows;     /* of the terminal; 0: unknown, 80 and 24; clamped to 10..256
                                  columns and 2..512 rows */
    const char *prompt;    /* cut to 30 characters, and to what leaves room to edit; NULL: "> " */
    int32_t history_limit; /* lines remembered, fewer if they have more than 160 characters on
                              the average; 0: 100; -1: none */
    int32_t is_unpaged;    /* not 0: long outputs are not paged */
    int32_t leave_assertions;      /* not 0: a failed assertion is the platform's affair alone */
    int32_t escape_wait_ms;        /* how long an ESC may be the beginning of a key's sequence;
                                  0: 500 */
    const tsession_texts_s *texts; /* NULL: all as they are; lives as long as the session */
    const cli_pnode_s *graph;      /* first alternative of the parse graph's top level, or NULL */
    tsession_shared_s *shared; /* from tsession_shared_create; NULL: the session makes its own */
    void *user;                /* handed to every callback */
    tsession_output_fn output; /* NULL: output is dropped */
    tsession_line_fn line;     /* NULL: nothing is run */
    tsession_event_fn event;   /* NULL: nothing is told */
    const cli_assist_filter_s *filter; /* of help, completion and parsing; NULL: none; lives as
                                          long as the session */
    tsession_free_key_fn key;          /* NULL: the bell answers such keys */
    tsession_refused_fn refused;       /* NULL: nobody hears of it */
};

/* A configuration of defaults. */
#define TSESSION_CONFIG_INIT                                                                       \
    {                                                                                              \
        sizeof(tsession_config_s), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0         \
    }

/* What the sessions of one thread share: the line editor's commands and keys, 7 KB, and
 * the places where output is gathered, 64 KB for each session that is called inside
 * another's callback. A session that is created while debug traces are on has commands
 * and keys of its own.
 * Returns: NULL without memory.
 * Owns:    the caller and each session that uses it hold it; it goes with the last. */
VARNO_API tsession_shared_s *tsession_shared_create(void);

/* Drops the caller's hold of shared; NULL is allowed. */
VARNO_API void tsession_shared_free(tsession_shared_s *shared);

/* For the platform's assertion service: a process that wants a failed assertion to
 * end only the session it happened in installs this once, on the default platform
 * with assert_set_handler(tsession_assertion_handler, NULL). It does not return when
 * the assertion failed inside a session that catches it, and returns otherwise. The
 * session's event has condition, source and line; ctx is not looked at. It leaves by
 * an exception, through every frame between the assertion and the session's call,
 * those of callbacks included: each has to be one that can be unwound, of C++, or of
 * C with -fexceptions where the platform's default has no unwind tables. Frames of
 * Go, Rust or CPython cannot: a program with callbacks in them sets leave_assertions,
 * and a failed assertion ends the process. */
VARNO_API void tsession_assertion_handler(void *ctx, const char *condition, const char *source,
                                          int line);

/* Makes a session; nothing is sent yet, and no callback runs. config, which is not
 * NULL, is copied; prompt and terminal type, too.
 * Returns:  NULL without memory, and for a configuration that this library does not know:
 *           a size of 0, values that are none of those above, members that it has not.
 * Owns:     the caller; released with tsession_free. */
VARNO_API tsession_s *tsession_create(const tsession_config_s *config);

/* Ends a session without another byte; a running output or question is cancelled, and
 * TSESSION_CLOSED is told if it has not been. Inside one of its callbacks: once the call
 * that led there returns. NULL is allowed. */
VARNO_API void tsession_free(tsession_s *s);

/* Opens the dialogue: telnet's negotiation, the terminal's set-up, the first prompt.
 * Input before it is ignored. Text written before it stands above the prompt. To a
 * telnet client the set-up and the prompt are sent when it has answered the negotiation,
 * when it sends anything else, or when the wait has run out (tsession_wait). */
VARNO_API void tsession_start(tsession_s *s);

/* Takes what came from the terminal, bytes[0..count): any bytes, any split; all of
 * it, what cannot be done in this call is kept. Enter is CR, LF, CR LF or CR NUL. A
 * host that does not ask tsession_wants_input, until 64 KiB are kept, has the session
 * ended (TSESSION_OVERFLOW). A closed session ignores input. */
VARNO_API void tsession_input(tsession_s *s, const void *bytes, size_t count);

/* Returns: 0 while the host is to stop reading from the client, because 4 KiB of input
 *          or more are kept; else 1. */
VARNO_API int tsession_wants_input(const tsession_s *s);

/* Returns: how long the host is to wait for input before it calls tsession_time_out:
 *          0 while there is work that waits only for the caller (input that is kept,
 *          a long output that has more), some milliseconds while an escape sequence
 *          has begun or a telnet client has not answered the negotiation, -1 for
 *          ever. Ask after every call on the session. */
VARNO_API int32_t tsession_wait(const tsession_s *s);

/* Does one step of the work that waits; without any, the wait has run out: a lone ESC is
 * the ESC key, and the first prompt is drawn. */
VARNO_API void tsession_time_out(tsession_s *s);

/* Output. A line feed is sent as CR LF but in a batch. Inside a line callback or a producer it is
 * the command's output; at any other time a message: it appears on rows of its own
 * above the line being edited, which is then drawn again intact. */

/* Writes bytes[0..count) as they are, escape sequences included. */
VARNO_API void tsession_write(tsession_s *s, const char *bytes, size_t count);

/* Writes a text that did not come from a constant: characters of UTF-8 pass, control
 * characters (C0 but line feed and tab, DEL, C1) and bytes that are no UTF-8 are shown
 * as "?". */
VARNO_API void tsession_write_clean(tsession_s *s, const char *text);

/* Copies a text into clean[0..capacity), terminated, as the call above would show it on
 * one row: line feeds and tabs are "?", too. It ends before a character that has no
 * room. For what leaves by other ways than a session: logs, titles. Capacity is 1 or
 * more bytes.
 * Returns: clean. */
VARNO_API char *tsession_clean(char *clean, size_t capacity, const char *text);

/* Finds how much of a text, all of whose characters are safe, has room on a row.
 * Returns: the bytes of its beginning that take at most `columns`; *out_columns is how many
 *          they take, and may be NULL. */
VARNO_API size_t tsession_fit(const char *text, int32_t columns, int32_t *out_columns);

/* Formats as printf does with format (and arguments), then writes as tsession_write;
 * without memory for more, the first 1023 bytes. */
VARNO_API void tsession_print(tsession_s *s, const char *format, ...) VARNO_PRINTF(2, 3);
VARNO_API void tsession_vprint(tsession_s *s, const char *format, va_list arguments)
    VARNO_PRINTF(2, 0);

/* Starts a long output: produce(..., ctx, 0) is called for rows as long as the screen
 * has room, up to about 32 KiB a call. A full screen asks for a key: space shows the
 * next page, Enter the next row, q or Ctrl-C end the output, ? says which keys there
 * are; any other key, or a paste, ends the output and begins the next line. What fits
 * the screen asks nothing. The prompt comes back at the end. An output that only
 * rests, for want of a reader or of rows, asks nobody for a key: what is typed is
 * kept.
 * Returns: 0; -1 when one runs already or the session is closed. */
VARNO_API int tsession_page(tsession_s *s, tsession_produce_fn produce, void *ctx);

/* A producer that has answered TSESSION_LATER is to be asked again: tsession_wait is then
 * 0. May be called at any time, by the producer too. */
VARNO_API void tsession_wake(tsession_s *s);

/* Ends a long output, as its user's q does: produce(..., ctx, 1) is called, at once or, inside
 * produce, when that returns. */
VARNO_API void tsession_cancel(tsession_s *s);

/* Says whether the host can take more output: is_writable is 0 while it cannot. A
 * long output then rests, and input is kept; tsession_wait is 0 when it can again and
 * there is more to do. It can at first. */
VARNO_API void tsession_set_writable(tsession_s *s, int is_writable);

/* Returns: not 0 while a long output rests or input is kept. */
VARNO_API int tsession_has_more(const tsession_s *s);

/* Asks for a line of up to 127 characters, which answer(..., ctx, ...) gets. It is
 * not kept in the history, and not shown if is_secret is not 0. Backspace, Ctrl-U,
 * Enter and Ctrl-C work. A longer answer is refused, and asked for again. A question
 * wider than the screen takes several rows.
 * Returns: 0; -1 when a question or a long output runs already, or closed, or without
 *          memory, and in a batch. */
VARNO_API int tsession_ask(tsession_s *s, const char *question, int is_secret,
                           tsession_answer_fn answer, void *ctx);

/* Asks for one key, which answer(..., ctx, ...) gets. A paste is none: it cancels the
 * question and begins the next line.
 * Returns: as tsession_ask. */
VARNO_API int tsession_ask_key(tsession_s *s, const char *question, tsession_key_fn answer,
                               void *ctx);

/* Changes. columns and rows are clamped as in the configuration, a zero is 80 columns
 * or 24 rows; a NULL prompt is "> ", an unknown terminal_type vt100; is_paged, 0 or
 * not, counts from the next long output on. */
VARNO_API void tsession_set_prompt(tsession_s *s, const char *prompt);
VARNO_API void tsession_resize(tsession_s *s, int32_t columns, int32_t rows);
VARNO_API void tsession_set_terminal(tsession_s *s, const char *terminal_type);
VARNO_API void tsession_set_paged(tsession_s *s, int is_paged);

/* Tells the graph's first alternative. The graph belongs to the host and may change
 * between calls; when its first alternative becomes another node, each session is told. */
VARNO_API void tsession_set_graph(tsession_s *s, const cli_pnode_s *graph);

/* Closes the session: the terminal's set-up is undone, output so far is sent, input
 * is ignored from now on. Once it is closed and the call that led there has
 * returned, a host sends what it holds, hangs up and frees it. */
VARNO_API void tsession_close(tsession_s *s);
VARNO_API int tsession_is_closed(const tsession_s *s);

/* What is in force. */
VARNO_API int32_t tsession_columns(const tsession_s *s);
VARNO_API int32_t tsession_rows(const tsession_s *s);
VARNO_API const char *tsession_terminal(const tsession_s *s);
VARNO_API int tsession_is_paged(const tsession_s *s);
VARNO_API void *tsession_user(const tsession_s *s);

/* Returns: how many bytes have been typed so far. Telnet's own commands are none, but for
 *          its interrupts: what keeps a connection alive is no person at work. */
VARNO_API uint64_t tsession_typed(const tsession_s *s);

/* Runs a line as if it had been typed, also in a session that never started, and inside
 * a line callback: what is wrong with it is written, what begins with "!" or "#" is a
 * comment where there is a graph. It is not remembered. A long output that it begins goes
 * on as any does.
 * Returns: how it ended: 0 (CLI_ASSIST_OK) when it was run or is a comment, else the
 *          CLI_ASSIST_... that says why not; -1 while an output or a question runs, or
 *          closed. */
VARNO_API int32_t tsession_run_line(tsession_s *s, const char *line);

/* History. A line is remembered after its command has run; blank lines, and one that is
 * the same as the newest, are not. */

/* Remembers a line, up to 255 characters.
 * Returns: 0; -1 for a longer one, without memory, or while none are remembered. */
VARNO_API int tsession_history_add(tsession_s *s, const char *line);

/* Changes what is remembered of the line that is being run, or else the newest one; NULL:
 * as if it had never been typed.
 * Returns: as tsession_history_add; -1 also when there is none. */
VARNO_API int tsession_history_amend(tsession_s *s, const char *line);

/* Returns: not 0 while a line that was typed is being run, from before it is parsed: then
 *          tsession_history_amend is about that line. */
VARNO_API int tsession_is_running_line(const tsession_s *s);

/* Forgets all lines. */
VARNO_API void tsession_history_clear(tsession_s *s);

/* Remembers up to limit lines from now on: as history_limit of the configuration. */
VARNO_API void tsession_history_set_limit(tsession_s *s, int32_t limit);

/* Receives a remembered line, terminated, for the call, and its number, 1 for the
 * oldest; ctx is that of tsession_history. */
typedef void (*tsession_history_fn)(tsession_s *s, void *user, void *ctx, int32_t number,
                                    const char *line);

/* Calls entry(..., ctx, ...) for each remembered line, oldest first; entry neither
 * gives this session input nor changes its history. */
VARNO_API void tsession_history(tsession_s *s, tsession_history_fn entry, void *ctx);

#ifdef __cplusplus
}
#endif

#endif
