#ifndef VARNO_PROMPT_H
#define VARNO_PROMPT_H

/* The line editor ("the prompt"): one command line, its editing commands, key
 * bindings, history, and its picture on one terminal row.
 *
 * A host creates one prompt_s per terminal session, installs the output callbacks,
 * registers named commands, binds key sequences to their names, and then feeds keys
 * to prompt_consume and calls prompt_redraw when it has fed all it has. Editing
 * commands and primitives change only the edit state and the flags. The terminal is
 * written to by the redraw and, for a fresh line, by prompt_start_output, through the
 * print callback, with carriage return, backspace, blanks and text: any terminal that
 * honours CR and BS will do. The built-in commands redisplay, echo, invoke and the
 * sample execute write to the process's standard output.
 *
 * Every function takes its context first, and asserts that it is not NULL unless
 * its comment says otherwise; so it does with the texts, arrays and records that it is
 * given. "Requires" lines name what goes beyond that; docs/assertions.md has the texts
 * that are reported.
 * Callbacks get the prompt first and their own context second; an empty one is
 * skipped unless said otherwise. A prompt is used by one thread at a time, and
 * must not be freed in one of its own callbacks. A print callback must not replace the
 * print callback: it notes a failure, and the host acts when the call has returned.
 *
 * In all that follows p is the prompt, ps an edit state (a callback's is &p->ps), mod
 * a display model. ctx is what the host has given with a callback or a command; it
 * comes back with each call. A command also gets invoked, the name that it runs
 * under, and argument, which its key sequence was bound with.
 *
 * Units: a character is one byte of the line and one column of the row; indices
 * count characters, columns count from 0. A word is a maximal run of characters
 * that are not white space by isspace in the process's locale. */

#include <varno/api.h>
#include <varno/keys.h>
#include <varno/mckeys.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bits of prompt_s.flags. Editing only sets bits; a draw clears the whole word. */
#define PROMPT_FLAG_DIRTY 0x2    /* the text or the cursor changed since the last draw */
#define PROMPT_FLAG_REDRAW 0x4   /* other output was written: draw the whole line afresh */
#define PROMPT_FLAG_SCROLLED 0x8 /* display_offset moved during the last rebuild */

typedef struct pstate pstate;
typedef struct prompt_s prompt_s;
typedef struct prompt_command_s prompt_command_s;
typedef struct prompt_clink_s prompt_clink_s;
typedef struct prompt_model_s prompt_model_s;
typedef struct prompt_history_s prompt_history_s;
typedef struct prompt_builtin_s prompt_builtin_s;
typedef struct prompt_keymap_s prompt_keymap_s;

/* The edit state: 0 <= cursor_location <= buf_used <= 255, and buf[buf_used] is
 * the terminator. */
struct pstate {
    char buf[256];           /* the line, terminated */
    int32_t buf_used;        /* characters in the line, 0..255; 255 is full */
    int32_t cursor_location; /* insertion point, 0..buf_used; buf_used is after the last one */
};

/* A named command. ps is &p->ps; invoked is the name it is registered under; ctx
 * comes from its registration, argument from the binding that fired (NULL when it
 * was run by name). The result is ignored, and nothing is marked or drawn for it. */
typedef int (*prompt_command_fn)(prompt_s *p, pstate *ps, const char *invoked, void *ctx,
                                 void *argument);

/* Receives text: the keys buf[0..buflen) that no binding claims. invoked is
 * "insert-character", argument is NULL, the result is ignored. */
typedef int (*prompt_insert_fn)(prompt_s *p, pstate *ps, const char *invoked, void *ctx,
                                void *argument, const mkey_t *buf, int32_t buflen);

/* Writes to the terminal as printf does; the result is ignored. */
typedef int (*prompt_print_fn)(prompt_s *p, void *ctx, const char *format, ...) VARNO_PRINTF(3, 4);

/* Called at the end of each redraw: all of it has been printed. Not called by a
 * differential redraw without a print callback. */
typedef void (*prompt_flush_fn)(prompt_s *p, void *ctx);

/* Writes the character c; stored for the host, the editor never calls it. */
typedef void (*prompt_putc_fn)(prompt_s *p, void *ctx, int c);

/* One registered command; owned by the prompt. */
struct prompt_command_s {
    struct {
        char *invoke_name; /* the command's name, an owned copy */
        prompt_command_fn callback;
        void *context;
    } inv;                    /* how it is run */
    int32_t refct;            /* key sequences bound to this command */
    prompt_command_s *next;   /* the command registered before this one, or NULL */
    prompt_command_s **pprev; /* the pointer that points here */
};

/* What the binding trie stores for each bound key sequence; owned by the prompt. */
struct prompt_clink_s {
    prompt_command_s *command; /* that it runs */
    void *argument;            /* handed to the command each time this sequence fires */
};

/* What the terminal's row shows, or is to show: prompt, left guard, the visible
 * stretch of the line (the text area), right guard. */
struct prompt_model_s {
    char buf[256];          /* the rendered row, terminated; cut at 255 columns */
    int32_t buf_len;        /* columns of the whole rendering, even where buf is cut */
    int32_t virtual_cursor; /* column of the cursor */
    int32_t margin_left;    /* columns before the text area: prompt and left guard */
    int32_t text_width;     /* columns of the text area; negative on a too narrow terminal */
    int32_t margin_right;   /* columns of the right guard, 0 when it is not shown */
};

/* One remembered line. */
struct prompt_history_s {
    char *command;           /* the line, an owned copy */
    int32_t cursor_location; /* its cursor when it was added */
    prompt_history_s *next;  /* older; the queue's head after the oldest */
    prompt_history_s *prev;  /* newer; the queue's head before the newest */
};

/* The prompt. Read what you like; change it through the functions below. Three
 * members have no setter and may be set directly: history_limit, scroll_step, and
 * display_offset, after which the line is to be marked dirty. */
struct prompt_s {
    mc_node_s *keys; /* trie of prompt_clink_s; NULL with no bindings made or all dropped */
    struct {
        prompt_insert_fn char_fn;
        void *char_ctx;
        prompt_insert_fn string_fn;
        void *string_ctx;
    } insert;                   /* who receives text */
    prompt_command_s *commands; /* newest first */
    int32_t width, height;      /* of the terminal, columns and rows; 80 and 25 */
    pstate ps;                  /* the line and its cursor */
    int32_t display_offset;     /* index of the first character shown */
    uint32_t flags;             /* PROMPT_FLAG_...; PROMPT_FLAG_REDRAW at creation */
    int32_t active_model;       /* 0 or 1: the model that the terminal shows now */
    prompt_model_s models[2];   /* what the row shows, and what it is to show */
    struct {
        prompt_history_s *cqh_first;  /* newest; the address of this head when empty */
        prompt_history_s *cqh_last;   /* oldest; the same */
    } history;                        /* a ring through its head */
    int32_t history_count;            /* entries */
    int32_t history_limit;            /* most entries kept, 100; 0 is no limit */
    prompt_history_s *history_browse; /* the entry that browsing has loaded, or NULL */
    struct {
        prompt_print_fn print_fn;
        void *print_ctx;
        prompt_flush_fn flush_fn;
        void *flush_ctx;
        prompt_putc_fn putc_fn;
        void *putc_ctx;
    } pinfo; /* the output callbacks, each with its context */
    struct {
        char empty[31]; /* shown before an empty line; up to 30 characters, ">" */
        int32_t empty_len;
        char normal[31]; /* shown before a line with text; up to 30 characters, ">" */
        int32_t normal_len;
        char left[5]; /* shown where text is scrolled off; up to 4 characters, "$" */
        int32_t left_len;
        char right[5]; /* shown where text runs past the edge; up to 4 characters, "$" */
        int32_t right_len;
    } disp;              /* prompts and guards, and their lengths in characters */
    int32_t scroll_step; /* columns by which the text area moves, 8; above 0 */
};

/* A row of a command table; a row with a NULL name ends it. */
struct prompt_builtin_s {
    const char *name;           /* of the command */
    prompt_command_fn callback; /* what it does */
};

/* A row of a key table: a command's name and one key sequence for it, at least
 * one key and a 0 after the last. A row with a NULL name ends the table. */
struct prompt_keymap_s {
    const char *name;   /* of the command */
    const mkey_t *keys; /* the sequence */
};

/* Creation and release */

/* Returns: a new prompt with the defaults named in its record; NULL without memory.
 * Owns:    the caller; released with prompt_free. */
VARNO_API prompt_s *prompt_create(void);

/* Drops the bindings and the commands, clears the history and frees the prompt.
 * As prompt_history_clear says, the history's text copies are not released: a
 * process that opens and closes prompts releases them itself beforehand. */
VARNO_API void prompt_free(prompt_s *p);

/* Set-up */

/* Sets a guard: what the row shows at an edge beyond which text is hidden.
 * Requires: at most 4 characters.
 * Marks:    dirty. */
VARNO_API void prompt_set_guard_left(prompt_s *p, const char *guard);
VARNO_API void prompt_set_guard_right(prompt_s *p, const char *guard);

/* Sets the prompt shown before an empty line, or before one with text. Exactly 30
 * characters are accepted and shown whole.
 * Requires: at most 30 characters.
 * Marks:    dirty. */
VARNO_API void prompt_set_prompt_empty(prompt_s *p, const char *prompt);
VARNO_API void prompt_set_prompt_normal(prompt_s *p, const char *prompt);

/* Sets the terminal's size: width in columns, height in rows. A width below 2 is
 * accepted here and fatal at the next redraw; so is one with no room for prompt,
 * guards and a scroll step as soon as the line must scroll. Clamp what comes from a
 * remote user.
 * Requires: neither is negative.
 * Marks:    dirty. */
VARNO_API void prompt_set_dimension(prompt_s *p, int width, int height);

/* Each installs an output callback, fn, and its context; a NULL fn removes it.
 * Returns: the callback that was set before (its context is not returned). */
VARNO_API prompt_print_fn prompt_set_print_callback(prompt_s *p, prompt_print_fn fn, void *ctx);
VARNO_API prompt_flush_fn prompt_set_flush_callback(prompt_s *p, prompt_flush_fn fn, void *ctx);
VARNO_API prompt_putc_fn prompt_set_putc_callback(prompt_s *p, prompt_putc_fn fn, void *ctx);

/* Sets who receives text: string_fn, with string_ctx, whole runs of keys, unfiltered;
 * without one char_fn, with char_ctx, single printable keys. Either may be NULL; with
 * neither, text is dropped.
 * Returns: 0. */
VARNO_API int prompt_bind_insert(prompt_s *p, prompt_insert_fn char_fn, void *char_ctx,
                                 prompt_insert_fn string_fn, void *string_ctx);

/* Registers a command under invoke_name, which is copied. Register each name once: a
 * name that is already registered gets the new callback and context, but its record
 * is pushed at the head of the list again without being unlinked from where it stood,
 * so the list is then a ring: a look-up of an unknown name never ends, and the prompt
 * cannot be freed.
 * Returns: 0; -1 without memory, and for "insert-string" and "insert-character":
 *          text goes through the insert binding only. */
VARNO_API int prompt_bind_command(prompt_s *p, const char *invoke_name, prompt_command_fn callback,
                                  void *context);

/* Looks a command up by its name, the newest first.
 * Returns: the command registered under invoke_name, NULL if there is none. */
VARNO_API prompt_command_s *prompt_get_command(prompt_s *p, const char *invoke_name);

/* Binds the sequence keys[0..nkeys), 1 to 32 keys, to the command registered as
 * invoke_name. No sequence may begin with another: whichever is bound second is
 * refused.
 * Requires: this very sequence is not bound yet.
 * Returns:  0; -1 for an unknown command, a sequence that the trie refuses, or
 *           without memory: what was bound before stays bound. */
VARNO_API int prompt_bind_keys(prompt_s *p, const char *invoke_name, const mkey_t *keys, int nkeys,
                               void *argument);

/* Drops all key bindings; the commands stay registered. */
VARNO_API void prompt_init_keys(prompt_s *p);

/* Drops all key bindings, the insert binding and all commands. */
VARNO_API void prompt_init_commands(prompt_s *p);

/* Input */

/* Takes the keys keys[0..nkeys): inserts those that begin no binding, and runs the
 * command of the first sequence that is complete; at most one command runs per
 * call. A run that ends in the middle of a bound sequence leaves that sequence unused.
 * Call again with the rest as long as keys are used and keys are left; keep what is
 * then left, and offer it again before the next keys.
 * Requires: at least one key; no VIRTKEY_WILDCARD among the keys, once anything was
 *           bound; an insert callback does not drop the bindings.
 * Returns:  the number of keys used, 0..nkeys.
 * Calls:    the insert binding any number of times, then at most one command.
 * Marks:    dirty for text; nothing for a command, which marks what it changes. */
VARNO_API int prompt_consume(prompt_s *p, const mkey_t *keys, int nkeys);

/* Delivers keys[0..nkeys) as text: in one unfiltered call if a string-insert callback
 * is bound, else one by one as prompt_insert_char does.
 * Requires: at least one key.
 * Marks:    dirty when something was delivered. */
VARNO_API void prompt_insert_string(prompt_s *p, const mkey_t *keys, int nkeys);

/* Delivers one key as text to the character-insert callback, unless it is a key
 * from VIRTKEY_BACKSPACE to VIRTKEY_UP or not printable by isprint of the key read
 * as a signed number (never outside -128..255, nor the unused -2 and -1).
 * Marks:    dirty when it was delivered. */
VARNO_API void prompt_insert_char(prompt_s *p, mkey_t key);

/* Replaces the whole edit state by a copy. Marks nothing: a caller that wants it
 * drawn calls prompt_set_dirty. */
VARNO_API void prompt_set_content(prompt_s *p, const pstate *state);

/* The edit state and its primitives. A pstate_ function acts on a bare edit state;
 * its prompt_ twin does the same on the prompt's and then marks the line dirty. */

/* Returns: the number of characters in the line. */
VARNO_API int prompt_used(prompt_s *p);

/* Returns: the cursor's index. */
VARNO_API int prompt_cursor_location(prompt_s *p);

/* Returns: the line itself, terminated; not a copy. */
VARNO_API char *prompt_command(prompt_s *p);

/* Returns: 1 when the line holds 255 characters, else 0. */
VARNO_API int pstate_is_full(pstate *ps);
VARNO_API int prompt_is_full(prompt_s *p);

/* Returns: 1 when the cursor is after the last character, else 0. */
VARNO_API int pstate_cursor_is_at_end(pstate *ps);
VARNO_API int prompt_cursor_is_at_end(prompt_s *p);

/* Adds the character c after the last one; the cursor keeps its index.
 * Requires: the line is not full. */
VARNO_API void pstate_append_character(pstate *ps, char c);
VARNO_API void prompt_append_character(prompt_s *p, char c);

/* Marks: dirty, and does nothing else. */
VARNO_API void prompt_set_dirty(prompt_s *p);

/* Moves the cursor to an index.
 * Requires: 0 <= n <= buf_used. */
VARNO_API void pstate_set_cursor_location(pstate *ps, int n);
VARNO_API void prompt_set_cursor_location(prompt_s *p, int n);

/* Removes the characters [at, at + len); the cursor keeps its index, so a caller
 * that removes before the cursor moves it itself.
 * Requires: 0 <= at, len > 0, at + len <= buf_used.
 * Returns:  the number of characters left. */
VARNO_API int pstate_chop(pstate *ps, int at, int len);
VARNO_API int prompt_chop(prompt_s *p, int at, int len);

/* Removes all from the cursor on.
 * Requires: 0 <= cursor_location <= 255. */
VARNO_API void pstate_delete_to_eol(pstate *ps);
VARNO_API void prompt_delete_to_eol(prompt_s *p);

/* Removes all before the cursor, which moves to 0.
 * Marks:    dirty, unless nothing stands before the cursor. */
VARNO_API void prompt_delete_to_bol(prompt_s *p);

/* Removes up to `number` characters from the cursor on.
 * Requires: number > 0.
 * Marks:    (prompt_delete) dirty, unless the cursor is at the end. */
VARNO_API void pstate_delete(pstate *ps, int number);
VARNO_API void prompt_delete(prompt_s *p, int number);

/* Removes up to `number` characters before the cursor.
 * Requires: number > 0.
 * Marks:    dirty, also when nothing stands before the cursor. */
VARNO_API void prompt_backspace(prompt_s *p, int number);

/* Empties the line. pstate_clear_command does not check ps; prompt_clear_command
 * also scrolls back to the line's beginning. */
VARNO_API void pstate_clear_command(pstate *ps);
VARNO_API void prompt_clear_command(prompt_s *p);

/* Inserts the character c at the index location; the cursor keeps its own.
 * Requires: 0 <= location <= buf_used; the line is not full. */
VARNO_API void pstate_insert_character(pstate *ps, int location, char c);
VARNO_API void prompt_insert_character(prompt_s *p, int location, char c);

/* Inserts the character c at the cursor, which moves past it. A full line ignores it:
 * nothing changes, nothing is marked. */
VARNO_API void pstate_insert_char_at_cursor(pstate *ps, char c);
VARNO_API void prompt_insert_char_at_cursor(prompt_s *p, char c);

/* Inserts the n bytes of s at the cursor, one by one; what does not fit is
 * dropped. n of 0 or below inserts nothing; s may then be NULL. */
VARNO_API void pstate_insert_char_str(pstate *ps, const char *s, int n);

/* Removes white space at both ends and all but the first character of each run
 * between words. A cursor beyond the new end moves to it; any other keeps its
 * index, whatever went before it. Does not check p.
 * Marks:    dirty. */
VARNO_API void prompt_compact_whitespace(prompt_s *p);

/* Moves the cursor to the first character of its word, or of the word before; it
 * stays when only white space stands before it. A move by words marks nothing:
 * prompt_redraw sees the cursor by itself. */
VARNO_API void prompt_word_back(prompt_s *p);

/* Moves the cursor one character past the end of its word or the next one, at most
 * to the line's end; it stays when only white space follows. Marks nothing, as
 * prompt_word_back. */
VARNO_API void prompt_word_forward(prompt_s *p);

/* Removes the word before the cursor, and with it the white-space character before
 * that word: "show ip|" becomes "show|", where prompt_word_back would stop after
 * the blank. With only white space before the cursor, removes all of that. With the
 * cursor on a word's first character, removes just the white-space character before it.
 * Marks: dirty when something was removed. */
VARNO_API void prompt_delete_word_back(prompt_s *p);

/* Removes the word after the cursor and the white space after that word; the white
 * space between the cursor and the word stays. With only white space after the cursor,
 * removes all of that.
 * Marks: dirty when something was removed. */
VARNO_API void prompt_delete_word_fwd(prompt_s *p);

/* Maps the word at the cursor to upper case (upper not 0) or lower case.
 * Returns:  0; what string_get_cursor_token returned when the cursor touches no
 *           word, nothing is then changed or marked.
 * Marks:    dirty. */
VARNO_API int prompt_word_case(prompt_s *p, int upper);

/* Maps the first character of the word at the cursor to upper case; the others stay.
 * Returns, Marks: as prompt_word_case. */
VARNO_API int prompt_capitalize_word(prompt_s *p);

/* Reserved for moves by the parser's context: accepted, and do nothing. */
VARNO_API void prompt_contextual_back(prompt_s *p);
VARNO_API void prompt_contextual_fwd(prompt_s *p);

/* Copies the first token at or after index start to out_token, quotes and
 * backslashes included, and removes the line up to the token's end; the cursor
 * moves back by as much, at most to 0.
 * Requires: 0 <= start <= buf_used; the token_len bytes at out_token hold the token and
 *           its terminator.
 * Returns:  0 and the token's number of characters; -1 when there is no token: the
 *           line is untouched, out_token empty (if token_len is above 0), *out_token_len 0.
 * Marks:    dirty when a token was taken. */
VARNO_API int prompt_token_extract(prompt_s *p, int start, char *out_token, int token_len,
                                   int *out_token_len);

/* Copies the edit state to *snapshot_ps, and the flags, PROMPT_FLAG_ bits, to
 * *snapshot_ps_dirt. */
VARNO_API void prompt_snapshot(prompt_s *p, pstate *snapshot_ps, uint32_t *snapshot_ps_dirt);

/* Puts snapshot_ps and the flags dirt back. The flags word is replaced outright: a
 * flag raised in between is lost unless the caller merges it. display_offset is not
 * part of a snapshot. */
VARNO_API void prompt_snapshot_restore(prompt_s *p, const pstate *snapshot_ps, uint32_t dirt);

/* A command that prints calls prompt_start_output, writes, and then calls
 * prompt_finish_output. The first begins a fresh line: it prints "\r\n" with the
 * format "%s" if there is a print callback. */
VARNO_API void prompt_start_output(prompt_s *p);

/* Marks: full redraw. */
VARNO_API void prompt_finish_output(prompt_s *p);

/* The display model: computed from the edit state, never from the screen */

/* Returns: the model that the terminal shows now; the other one. */
VARNO_API prompt_model_s *prompt_active_model(prompt_s *p);
VARNO_API prompt_model_s *prompt_inactive_model(prompt_s *p);

/* Makes the other model the active one.
 * Returns: the new active index, 0 or 1. */
VARNO_API int prompt_swap_models(prompt_s *p);

/* Empties a model: no text, every number 0. */
VARNO_API void prompt_model_init(prompt_model_s *mod);

/* Computes the margins, the text width and the cursor's column. The last column of
 * the terminal is never used. margin_right is only ever set here: start from an
 * empty model.
 * Requires: the terminal has at least 2 columns. */
VARNO_API void prompt_model_set_dimension(prompt_s *p, prompt_model_s *mod);

/* Returns: the amount by which display_offset must move so that the cursor falls
 *          into a text area of mod->text_width columns; 0 if it does. */
VARNO_API int prompt_model_check_cursor_scroll(prompt_s *p, prompt_model_s *mod);

/* Builds the model of the row for the present edit state and display_offset.
 * Requires: the terminal has at least 2 columns; an empty line is not scrolled, and its
 *           prompt fits the row.
 * Returns:  0; the amount by which display_offset must move first, the model then
 *           holds its geometry but no text. */
VARNO_API int prompt_update_model(prompt_s *p, prompt_model_s *mod);

/* Builds the model, moving display_offset first if it must. A left guard that
 * appears with the move can take the column that the move had won; the second
 * build then still asks for a scroll, which is fatal. A host that serves remote
 * users settles the offset beforehand.
 * Requires: as prompt_update_model; the second build asks for no scroll.
 * Returns:  0.
 * Marks:    scrolled when display_offset moved. */
VARNO_API int prompt_update_model_and_prompt(prompt_s *p, prompt_model_s *mod);

/* Redraw: brings the terminal's row up to date */

/* The host's call after input. Draws the whole line afresh after other output,
 * moves only the cursor when nothing was marked and the cursor is still in the text
 * area, and otherwise writes what differs between the row shown and the row wanted.
 * Two pictures differ from a fresh draw, and a host that wants them whole asks for
 * a full draw after them: a full draw blanks nothing, so the tail of a longer old
 * row stays; and where the old row is the beginning of the new one, only the
 * characters up to the new cursor are written.
 * Requires: a print callback for a full draw; as prompt_update_model_and_prompt and
 *           prompt_redraw_cursor.
 * Calls:    print, any number of times; flush at the end. Neither, in a differential
 *           redraw without a print callback.
 * Marks:    clears all flags. */
VARNO_API void prompt_redraw(prompt_s *p);

/* Goes to the row's beginning, rebuilds the active model if update is not 0, and
 * prints it whole. Blanks nothing after it.
 * Requires: a print callback.
 * Marks:    clears all flags. */
VARNO_API void prompt_draw(prompt_s *p, int update);

/* Prints the active model and moves back to its cursor; then flushes, also without
 * a print callback. */
VARNO_API void prompt_print_model(prompt_s *p);

/* Brings the row from the inactive model to the active one; the terminal's cursor
 * stands at the inactive model's virtual_cursor. Silent without a print callback.
 * Requires: the inactive model's numbers are not negative. */
VARNO_API void prompt_redraw_model(prompt_s *p);

/* Moves the terminal's cursor, and the active model's, to the edit cursor.
 * Requires: it moves by less than the terminal's width. */
VARNO_API void prompt_redraw_cursor(prompt_s *p);

/* Moves right by printing again what stands there: up to `amount` characters of
 * the active model from its virtual_cursor, in one call of format "%.*s"; 0 or less
 * prints nothing. */
VARNO_API void prompt_move_term_cursor_forward(prompt_s *p, int amount);

/* Moves left: `amount` calls of format "%c" with a backspace (8).
 * Requires: amount > 0. */
VARNO_API void prompt_move_term_cursor_back(prompt_s *p, int amount);

/* Prints a carriage return (13) with format "%c".
 * Requires: a print callback. */
VARNO_API void prompt_move_term_cursor_to_bol(prompt_s *p);

/* Prints len blanks in one call of format "%*s"; nothing for 0.
 * Requires: len >= 0. */
VARNO_API void prompt_term_whiteout(prompt_s *p, int len);

/* History: newest first, bounded by history_limit */

/* Adds the line to the history, dropping the oldest entry when the limit is
 * reached. The browse position stays, unless it was that entry.
 * Returns: 0, also when nothing is added: for an empty line, and for one equal to
 *          the newest entry if check_dups is not 0; -1 without memory, an oldest
 *          entry may then have been dropped. */
VARNO_API int prompt_history_add(prompt_s *p, int check_dups);

/* Loads the next older line, or the newest when not browsing; does nothing at the
 * oldest. The line typed before browsing is overwritten and not kept.
 * restore_cursor: 0 puts the cursor at the line's end, else where it was when the
 * line was added.
 * Marks: dirty when a line was loaded. */
VARNO_API void prompt_history_previous(prompt_s *p, int restore_cursor);

/* Loads the next newer line; does nothing at the newest or when not browsing.
 * restore_cursor is as in prompt_history_previous.
 * Marks: dirty when a line was loaded. */
VARNO_API void prompt_history_next(prompt_s *p, int restore_cursor);

/* Ends browsing: the next prompt_history_previous loads the newest line. */
VARNO_API void prompt_history_reset_state(prompt_s *p);

/* Loads the entry t into the line; restore_cursor is as in prompt_history_previous.
 * Requires: its line has at most 255 characters.
 * Marks:    dirty. */
VARNO_API void prompt_history_set_prompt(prompt_s *p, prompt_history_s *t, int restore_cursor);

/* Releases the history's records, for prompt_free alone: their text copies are not
 * released, and count and browse position keep their values. */
VARNO_API void prompt_history_clear(prompt_s *p);

/* Built-in commands and tables. Row counts are part of the ABI. */

/* The 27 editing commands and an end row, in this order. */
VARNO_API extern const prompt_builtin_s prompt_builtins[28];

/* Sample versions of the four commands that a host supplies, for demonstrations:
 * "accept-token", "expand-token", "complete-token", "execute", and an end row.
 * The sample "execute" writes to standard output and ends the process on "quit". */
VARNO_API extern const prompt_builtin_s prompt_builtins_test[5];

/* The default key map: 39 rows and an end row. Its first rows name the four host
 * commands: register them, and prompt_builtins, before binding it. */
VARNO_API extern const prompt_keymap_s ostra_keys[40];

/* The built-in commands. Each is tied to one name.
 * Requires: invoked is that name.
 * Returns:  0. */
#define VARNO_BUILTIN(id)                                                                          \
    VARNO_API int p_builtin_##id##_cb(prompt_s *p, pstate *ps, const char *invoked, void *ctx,     \
                                      void *argument)
VARNO_BUILTIN(charback);    /* "move-character-back": one left, unless at the beginning */
VARNO_BUILTIN(charfwd);     /* "move-character-forward": one right, unless at the end */
VARNO_BUILTIN(histprev);    /* "history-previous": prompt_history_previous(p, 0) */
VARNO_BUILTIN(histnext);    /* "history-next": prompt_history_next(p, 0) */
VARNO_BUILTIN(wordback);    /* "move-word-back": prompt_word_back */
VARNO_BUILTIN(wordfwd);     /* "move-word-forward": prompt_word_forward */
VARNO_BUILTIN(bol);         /* "move-begin" */
VARNO_BUILTIN(eolr);        /* "move-end" */
VARNO_BUILTIN(delcharback); /* "delete-character-back": unless at the beginning */
VARNO_BUILTIN(delcharfwd);  /* "delete-character-forward": unless at the end */
VARNO_BUILTIN(delwordback); /* "delete-word-back": prompt_delete_word_back */
VARNO_BUILTIN(delwordfwd);  /* "delete-word-forward": prompt_delete_word_fwd */
VARNO_BUILTIN(deleol);      /* "delete-end": prompt_delete_to_eol */
VARNO_BUILTIN(delbol);      /* "delete-begin": prompt_delete_to_bol */
VARNO_BUILTIN(delall);      /* "delete-command": prompt_clear_command */
VARNO_BUILTIN(redisplay);   /* "redisplay": "\n\r" to standard output; the line is drawn below */
VARNO_BUILTIN(echo);        /* "echo": the line to standard output, the cursor shown as "<>" */
VARNO_BUILTIN(yank);        /* "yank-first": reserved, does nothing; deleted text is not kept */
VARNO_BUILTIN(reyank);      /* "yank-next": reserved, does nothing */
VARNO_BUILTIN(capitalize);  /* "capitalize-word": prompt_capitalize_word */
VARNO_BUILTIN(wordupper);   /* "toupper-word": prompt_word_case(p, 1) */
VARNO_BUILTIN(wordlower);   /* "tolower-word": prompt_word_case(p, 0) */
VARNO_BUILTIN(compact);     /* "compact-whitespace": prompt_compact_whitespace */
VARNO_BUILTIN(ctxfwd);      /* "move-context-forward": prompt_contextual_fwd */
VARNO_BUILTIN(ctxback);     /* "move-context-back": prompt_contextual_back */

/* "invoke": takes the line's first word off and runs the command of that name on
 * the rest, with a NULL argument. What is wrong with the line is said on standard
 * output between prompt_start_output and prompt_finish_output. Any registered
 * command can be reached this way. */
VARNO_BUILTIN(invoke);

/* "execute-and-restore": as invoke, then puts the line, the cursor and the flags
 * back as they were; a full redraw that the command asked for is kept. display_offset
 * is not put back: after a command that cleared a scrolled line the caller marks the
 * line dirty, else the next redraw moves the cursor on a row that no longer fits. */
VARNO_BUILTIN(execute_and_restore);

VARNO_BUILTIN(accept);   /* "accept-token": inserts a blank at the cursor */
VARNO_BUILTIN(expand);   /* "expand-token": accepted, does nothing */
VARNO_BUILTIN(complete); /* "complete-token": accepted, does nothing */

/* "execute", the sample: prints a fixed block and the line to standard output, adds
 * the line to the history, ends browsing and clears the line: the order in which a
 * host's own is to finish. The line "quit" ends the process with status 0.
 * Requires: memory for the history. */
VARNO_BUILTIN(execute);
#undef VARNO_BUILTIN

/* The insert binding's routines, for the keys buf[0..buflen). The first inserts one
 * key at the cursor, whatever its value; the second the printable ones of a run that
 * are no virtual keys, and none unless a character-insert callback is bound.
 * Requires: invoked is "insert-character"; one key, or at least one.
 * Returns:  0. */
VARNO_API int p_builtin_insert_char_cb(prompt_s *p, pstate *ps, const char *invoked, void *ctx,
                                       void *argument, const mkey_t *buf, int32_t buflen);
VARNO_API int p_builtin_insert_string_cb(prompt_s *p, pstate *ps, const char *invoked, void *ctx,
                                         void *argument, const mkey_t *buf, int32_t buflen);

/* Sets the insert binding to the two routines above.
 * Returns: what prompt_bind_insert returned. */
VARNO_API int prompt_util_bind_insert(prompt_s *p);

/* Drops all commands and bindings, as prompt_init_commands. */
VARNO_API void prompt_util_bind_reset(prompt_s *p);

/* Registers every row of a command table, all with one context.
 * Returns: 0; 1 at the first row that is refused, the rows before it stay. */
VARNO_API int prompt_util_bind_commands(prompt_s *p, const prompt_builtin_s *commands,
                                        void *context);

/* Binds every row of a key table, all with one argument.
 * Requires: each row has at least one key.
 * Returns:  0; 1 at the first row that is refused, the rows before it stay. */
VARNO_API int prompt_util_bind_keys(prompt_s *p, const prompt_keymap_s *keys, void *argument);

#ifdef __cplusplus
}
#endif

#endif
