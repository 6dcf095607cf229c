#ifndef VARNO_TELNET_PARSER_H
#define VARNO_TELNET_PARSER_H

/* The server's side of a telnet connection (RFC 854, options as in RFC 855).
 * The parser splits what a client sends into user data and commands and reports
 * the window size (NAWS, RFC 1073), the terminal type (RFC 1091) and Break. It
 * answers nothing by itself: the only bytes this side has to send are those of
 * telnet_make_options, which the host writes to the connection.
 *
 * The host owns the context, ctx; one context serves one connection, on one thread.
 * Nothing is kept between calls but the callbacks: a command that a read has cut off
 * stays with the host, which presents it again with the bytes that follow.
 *
 * Every callback receives the context first and the user pointer installed with
 * it second; an empty callback is skipped. The trace callback alone must be
 * there before anything is traced, and every command is traced. A callback must
 * neither free the context nor change the buffer; it may leave by an exception or
 * longjmp, the context then stays usable.
 *
 * What "Requires" says is checked; docs/assertions.md has the reported texts. */

#include <varno/api.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Command codes: the byte after an IAC. One row of the command table each, in
 * code order (see telnet_iac_command_name). ORDER telnet commands */
#define TN_NVT_SE 240
#define TN_NVT_NOP 241
#define TN_NVT_DATAMARK 242
#define TN_NVT_BRK 243
#define TN_NVT_INTERRUPT 244
#define TN_NVT_ABRT 245
#define TN_NVT_AYT 246
#define TN_NVT_ECHAR 247
#define TN_NVT_ELINE 248
#define TN_NVT_GA 249
#define TN_NVT_SB 250
#define TN_NVT_WILL 251
#define TN_NVT_WONT 252
#define TN_NVT_DO 253
#define TN_NVT_DONT 254
#define TN_NVT_IAC 255

typedef struct telparser_s telparser_s;
typedef struct telnet_command_s telnet_command_s;

/* Receives buf[0..len), len > 0 bytes of user data, in stream order; the bytes
 * live for the call. The result is ignored. */
typedef int (*telnet_data_fn)(telparser_s *ctx, void *user, const unsigned char *buf, int32_t len);

/* Receives one message of at most 255 characters; the text lives for the call. */
typedef void (*telnet_trace_fn)(telparser_s *ctx, void *user, const char *text);

/* Receives the client's window, its width in columns and its height in rows,
 * 0..65535; 0 means unknown. */
typedef void (*telnet_naws_fn)(telparser_s *ctx, void *user, int width, int height);

/* Receives the client's terminal type in lower case: name[0..len), 1..40 bytes
 * as the client sent them, and a terminator; the name lives for the call. */
typedef void (*telnet_term_fn)(telparser_s *ctx, void *user, const char *name, int32_t len);

/* Receives a Break. */
typedef void (*telnet_brk_fn)(telparser_s *ctx, void *user);

/* One connection: its callbacks, each with its own user pointer. */
struct telparser_s {
    telnet_data_fn recv_fn;   /* user data */
    void *recv_user;          /* of recv_fn */
    telnet_data_fn send_fn;   /* kept for the host; the parser never calls it */
    void *send_user;          /* of send_fn */
    telnet_trace_fn trace_fn; /* mandatory before anything is traced */
    void *trace_user;         /* of trace_fn */
    telnet_naws_fn naws_fn;   /* window size */
    void *naws_user;          /* of naws_fn */
    telnet_term_fn term_fn;   /* terminal type */
    void *term_user;          /* of term_fn */
    telnet_brk_fn brk_fn;     /* Break */
    void *brk_user;           /* of brk_fn */
};

/* A row of the command table. */
struct telnet_command_s {
    const char *name;        /* "SE" .. "IAC", as traces print it */
    const char *parameters;  /* what follows the code; NULL: nothing */
    uint8_t code;            /* TN_NVT_SE..TN_NVT_IAC */
    const char *description; /* a sentence for a person */
};

/* Creates a context without callbacks.
 * Returns: the context; NULL without memory.
 * Owns:    the caller, released with telnet_free_context. */
VARNO_API telparser_s *telnet_create_context(void);

/* Releases a context; NULL is allowed. */
VARNO_API void telnet_free_context(telparser_s *ctx);

/* Each stores a callback, fn, and its user pointer; a NULL fn is none. */
VARNO_API void telnet_set_callback_recv(telparser_s *ctx, telnet_data_fn fn, void *user);
VARNO_API void telnet_set_callback_send(telparser_s *ctx, telnet_data_fn fn, void *user);
VARNO_API void telnet_set_callback_trace(telparser_s *ctx, telnet_trace_fn fn, void *user);
VARNO_API void telnet_set_callback_naws(telparser_s *ctx, telnet_naws_fn fn, void *user);
VARNO_API void telnet_set_callback_term(telparser_s *ctx, telnet_term_fn fn, void *user);
VARNO_API void telnet_set_callback_brk(telparser_s *ctx, telnet_brk_fn fn, void *user);

/* Gives the opening negotiation that the host sends first: WILL ECHO, WILL NAWS,
 * DO NAWS, WILL SUPPRESS-GO-AHEAD, DO SUPPRESS-GO-AHEAD, DO TERMINAL-TYPE, and
 * SB TERMINAL-TYPE SEND, which does not wait for the client's WILL. NAWS is
 * offered as well as asked for; some clients send their size only then.
 * Requires: a context with a trace callback, and out_len.
 * Returns:  the 24 bytes, a constant of the library; *out_len is 24.
 * Calls:    trace once. */
VARNO_API const unsigned char *telnet_make_options(telparser_s *ctx, int32_t *out_len);

/* Traces a message of a printf-like format; what exceeds 255 characters is cut.
 * Requires: a context with a trace callback.
 * Calls:    trace once. */
VARNO_API void telnet_trace(telparser_s *ctx, const char *format, ...) VARNO_PRINTF(2, 3);

/* Consumes bytes from the front of buf[0..buflen), 0 < buflen < INT32_MAX. User
 * data reaches the receive callback in runs, one call for each stretch without a
 * command; an escaped 255 is a run of its own.
 *
 * The byte after the buffer. The option byte of a WILL, WONT, DO or DONT that
 * ends the buffer is read at buf[buflen]: the caller keeps one readable byte
 * there. Its value is traced and does nothing else. The result is then
 * buflen + 1, and the caller drops that one byte from the front of what it reads
 * next, for it is the option byte. No other byte past the buffer is read.
 *
 * Data after the last command of a buffer stays unconsumed. Only a call that
 * sees no command at all delivers it, so a host calls again with the rest while
 * the result is above 0 and bytes are left, rather than wait for new input.
 *
 * What remote bytes can do: a window size that is not nine bytes long. With an
 * escaped 255 in its values it is mostly traced as malformed, six bytes of it
 * skipped and the rest data, or waits for another end. With an end mark inside
 * its nine bytes, or a 255 right before its end and another end after it, it is
 * reported and is then a failed assertion. A subnegotiation of any other option leaves
 * its last byte, 240, in the stream as data. A subnegotiation that never ends is
 * never consumed and grows with every read: the host bounds what it keeps.
 *
 * Requires: a context, and at least one byte; with a 255 among them also a trace
 *           callback, and no window size as described above.
 * Returns:  the number of bytes used, 0..buflen + 1. The caller keeps the rest
 *           and presents it again, followed by the next bytes.
 * Calls:    receive, window size, terminal type, break: once for each found, in
 *           stream order; trace: at least once for each command. */
VARNO_API int32_t telnet_consume(telparser_s *ctx, const unsigned char *buf, int32_t buflen);

/* Looks up a command's row, TN_NVT_SE..TN_NVT_IAC (240..255).
 * Requires: for any other code, a context with a trace callback.
 * Returns:  the row, a constant of the library; NULL for any other code.
 * Calls:    trace once for any other code. */
VARNO_API const telnet_command_s *telnet_iac_command_name(telparser_s *ctx, int code);

#ifdef __cplusplus
}
#endif

#endif
