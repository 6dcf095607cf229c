#ifndef VARNO_COMMANDS_H
#define VARNO_COMMANDS_H

/* A command is one line of notation and one function. A set holds the rows of a device's
 * command tables and compiles them into one parse graph; a shell gives one session, or a
 * batch without one, those commands: typed arguments, help, completion, errors with a
 * caret, long outputs and results that come later.
 *
 *     static const cli_command_s rows[] = {
 *         {.syntax = "show", .help = "what there is"},
 *         {.syntax = "show numbers COUNT(1-1000)", .help = "a long output", .run = show_numbers},
 *         {.syntax = "show numbers COUNT(1-1000)", .help = "how many"},
 *         {.syntax = "vlan VLAN(1-4094) [name NAME]", .help = "a VLAN", .run = make_vlan},
 *         {.syntax = "configure", .help = "change it", .enters = "configure", .level = 15},
 *     };
 *
 * Notation:
 *
 *     word                a keyword
 *     NAME                an argument, any word; capitals name it for help, errors and code
 *     NAME(1-4094)        a decimal number; a sign only where the range has negatives
 *     NAME(ipv4) (ipv6) (ip) (ipv4/) (ipv6/) (ip/) (mac) (hex)
 *                         addresses, prefixes, hardware addresses, a hexadecimal number
 *     NAME(TYPE)          a type that the program has registered
 *     NAME(line)          the rest of the line as typed, quotes included; comes last
 *     NAME(secret)        a word that is never remembered; nor is a line that is refused where
 *                         such a word could still have come
 *     NAME(pattern)       a regular expression, as in a filter
 *     NAME...             one or more words, to the end
 *     <a|b>               one of them;  <a|b>$which  and which one, as an argument
 *     [a|b]               one or none
 *     {a|b}               in any order, each at most once, at least one
 *     [no] first          the negated form;  ![a]  what may be left out after "no" only;
 *                         [no|default] first has "default" as another word for it
 *
 * Brackets nest. A row without a function documents the last word of its syntax, wherever
 * else that word of a command may stand. A word without such a row has the help of the
 * command whose last keyword it is; a command's own help is that of its "<cr>".
 *
 * What fits a word: the whole keyword; a value that a type lists; a value of any other
 * type; a free word. A keyword may be abbreviated, a value never. Two that fit equally are
 * ambiguous. The whole keyword of an option of a set that was given already is refused, and
 * taken for nothing else.
 *
 * Modes: the first one that a set has is where shells begin; a row's `enters` names the one
 * that its command leads to once it is done. Those have "exit", which goes back to the
 * mode that it came from, and "end" and Ctrl-Z, which go back to the first; a row of the mode's
 * own with such words is taken instead. A set without modes has one, which has no name.
 *
 * Levels: a shell has a level of 0 to 15. What has a higher one is not there for it: it is
 * neither run, listed, completed nor spoken of, and has no part in what is ambiguous.
 *
 * Filters: after a command "|" and a filter may come, up to four times, but for those with
 * CLI_UNPIPED, those that enter a mode, and after NAME(line). It is the bar alone and unquoted.
 *
 *     include PATTERN     the rows that have the pattern; exclude: that do not have it
 *     begin PATTERN       the first row that has it, and all after it
 *     section PATTERN     the rows that have it, and after each those that are indented more
 *     count               how many rows there are
 *     no-more             all rows, without pages
 *     save NAME [force]   into a file, where the shell has a place for files; the last one
 *     json                as JSON: an array of strings, or of objects where the command writes
 *                         a table; no-more and save alone may follow
 *
 * A pattern is a regular expression of RE2, whose time grows with the row alone and whose
 * memory is bounded; one that takes more than 1000 steps a byte is refused. A library that
 * was built without RE2 takes it as a text. It is looked for in the first 4096 bytes of a row.
 * Rows go on as they come; pages are of what passes.
 *
 * A set, its types and its shells are used by one thread at a time, all together. Callbacks
 * get their row's user pointer. A callback may leave by an exception; it then ends the
 * session as any callback of a session does, and reaches whoever has called this library. By
 * then all is done that the call was to do, but for what the callback itself was asked for. */

#include <varno/api.h>
#include <varno/cli_assist.h>
#include <varno/tsession.h>

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct cli_set_s cli_set_s;     /* the commands of a device; opaque */
typedef struct cli_shell_s cli_shell_s; /* who runs them; opaque */
typedef struct cli_call_s cli_call_s;   /* a command that is being run; opaque */
typedef struct cli_command_s cli_command_s;
typedef struct cli_mode_s cli_mode_s;
typedef struct cli_type_s cli_type_s;
typedef struct cli_finding_s cli_finding_s;
typedef struct cli_column_s cli_column_s;
typedef struct cli_save_s cli_save_s;
typedef struct cli_shell_config_s cli_shell_config_s;

/* What a command's function answers; anything else is CLI_FAILED. */
enum {
    CLI_DONE = 0,    /* it has done what it was to do */
    CLI_FAILED = -1, /* it could not, and has said why */
    CLI_MORE = 1,    /* call it again when there is room for more output */
    CLI_LATER = 2    /* call it again after cli_wake */
};

/* Flags of a command. */
enum {
    CLI_HIDDEN = 1,   /* its words are not listed, and are typed in full */
    CLI_UNPIPED = 2,  /* no filter may come after it */
    CLI_FORGOTTEN = 4 /* its lines are not remembered in the history */
};

/* Flags of a mode. */
enum {
    CLI_DO = 1,      /* "do" and a command of the first mode runs that, in the first mode's place,
                        and stays here; one that enters a mode leads there */
    CLI_INHERITS = 2 /* it has its parent's commands, too; to run one leaves it. Where both have
                        the same words, its own are run */
};

/* What a shell's level may be at most. */
enum { CLI_MOST_LEVEL = 15 };

/* Runs a command, or goes on with it. call is good for this call only.
 * Returns: CLI_DONE, CLI_FAILED, CLI_MORE or CLI_LATER. Called once more with
 *          cli_is_cancelled not 0 when nobody wants the rest: the result is then ignored. */
typedef int32_t (*cli_run_fn)(cli_call_s *call, void *user);

/* One row of a table of commands. */
struct cli_command_s {
    const char *syntax; /* notation */
    const char *help;   /* of the command, or of the word that the row documents; NULL: none */
    cli_run_fn run;     /* NULL, and enters, too: the row documents the last word of its syntax */
    const char *enters; /* the mode that it leads to when it is done, whose parent is the row's own;
                           NULL: none */
    int32_t level;      /* 0..15, that a shell needs to have it; of no matter for documentation */
    uint32_t flags;     /* CLI_HIDDEN, CLI_UNPIPED, CLI_FORGOTTEN, or 0 */
    void *user;         /* second argument of run */
};

/* A mode. The first that a set has is where shells begin. */
struct cli_mode_s {
    const char *name;   /* for enters; no two modes have the same */
    const char *parent; /* name of a mode that was added before; NULL for the first one, and for
                           that alone */
    const char *prompt; /* "%h" is the host's name, "%NAME" the argument of the line that led to
                           the mode, or one that it is in, "%#" a "#" on level 15 and a ">"
                           below, "%%" a "%"; NULL: as its parent, or the
                           session's own; a session shows the last 30 characters of it */
    uint32_t flags;     /* CLI_DO, CLI_INHERITS, or 0; of no matter for the first */
    cli_run_fn write;   /* writes the mode's state as commands, for cli_show_config; NULL: none */
    void *user;         /* second argument of write */
};

/* A column of a table. */
struct cli_column_s {
    const char *name; /* in the row above the others, and in JSON */
    int32_t width;    /* 0..1024, its least columns of the screen; another counts as the nearest */
    uint32_t flags;   /* CLI_NUMBER or 0 */
};

/* Flags of a column. */
enum {
    CLI_NUMBER = 1 /* it is aligned to the right; in JSON what is a number is one */
};

/* Whether a type takes a word.
 * Returns: not 0 if so; else *why may be set to a text for a person, which stays until the
 *          next call. */
typedef int32_t (*cli_accept_fn)(void *user, cli_shell_s *shell, const char *word,
                                 const char **why);

/* Calls value(ctx, text, help) for the type's values that begin with `begun`, each once; others
 * are passed over, and so are NULL and "". help may be NULL. */
typedef void (*cli_list_fn)(void *user, cli_shell_s *shell, const char *begun,
                            cli_assist_value_fn value, void *ctx);

/* A type of arguments. Neither callback may change the set or its shells. */
struct cli_type_s {
    const char *name;     /* as in NAME(name): neither a digit nor "-" begins it */
    const char *help;     /* "an interface": for help, and for errors "NAME: an interface" */
    cli_accept_fn accept; /* NULL: it takes what list has */
    cli_list_fn list;     /* NULL: nothing is listed */
    void *user;           /* first argument of both */
};

/* What is wrong, or doubtful, with a row. */
struct cli_finding_s {
    int32_t is_error;   /* not 0: the set is not built; 0: a warning */
    const void *owner;  /* of the row, or of the mode */
    const char *mode;   /* the row's, or what it is about; NULL: the first */
    const char *syntax; /* the row's; of a mode its name */
    int32_t column;     /* index in it of what the finding is about */
    const char *text;   /* a sentence for the author */
    const char *other;  /* the syntax of another row that it is about; NULL: of none */
};

/* Receives one finding, which lives for the call; ctx came with the function. */
typedef void (*cli_finding_fn)(void *ctx, const cli_finding_s *finding);

/* Hears that nothing uses an owner's rows, types and modes any more; ctx came with
 * the function. */
typedef void (*cli_released_fn)(void *ctx);

/* Sets */

/* Returns: an empty set; NULL without memory.
 * Owns:    the caller; released with cli_set_free. */
VARNO_API cli_set_s *cli_set_create(void);

/* Releases a set; NULL is allowed. What cli_set_remove promised to tell is told.
 * Requires: "!set->shells": its shells have been freed. */
VARNO_API void cli_set_free(cli_set_s *set);

/* Adds rows[0..count) to a mode, a type, or a mode. They are not copied and stay as
 * long as the set or until their owner is released; so does the mode's name. Sessions
 * have them after cli_set_build. owner is any address that tells whose they are, for
 * cli_set_remove; NULL is the program itself. A NULL mode is the first one.
 * Returns: 0; -1 without memory, or inside a type's callback: nothing is added then. */
VARNO_API int32_t cli_set_add(cli_set_s *set, const void *owner, const char *mode,
                              const cli_command_s *rows, size_t count);
VARNO_API int32_t cli_set_add_type(cli_set_s *set, const void *owner, const cli_type_s *type);
VARNO_API int32_t cli_set_add_mode(cli_set_s *set, const void *owner, const cli_mode_s *mode);

/* Names the host, for the prompts of all shells.
 * Returns: 0; -1 without memory. */
VARNO_API int32_t cli_set_host(cli_set_s *set, const char *name);

/* Compiles all rows. Every finding is told, errors and warnings, in the order of the
 * rows. Without an error all shells have the new commands from now on; a call that is
 * running keeps what it was made from.
 * Calls:   finding(ctx, ...) for each; NULL: they are only counted.
 * Returns: 0; the number of errors: then the set stays as it was built before; -1
 *          without memory, or inside a type's callback. */
VARNO_API int32_t cli_set_build(cli_set_s *set, cli_finding_fn finding, void *ctx);

/* Removes all rows, types and modes of an owner, builds what is left and cancels the owner's
 * calls. When nothing uses its rows any more, at once or after a call that is being run
 * has returned, released(ctx) is called, once; NULL tells nobody.
 * Returns: 0; -1 when what is left cannot be built (another owner's row needs the type or mode),
 *          without memory, inside a type's callback, or for an owner that has nothing:
 *          nothing is changed then, and nothing will be told. */
VARNO_API int32_t cli_set_remove(cli_set_s *set, const void *owner, cli_released_fn released,
                                 void *ctx);

/* Receives what a batch writes, or a description: bytes[0..count), which live for the
 * call. */
typedef void (*cli_output_fn)(void *user, const char *bytes, size_t count);

/* Describes what the set has been built from, as a shell of that level has it; hidden
 * commands are left out. Formats:
 *
 *     markdown    a reference: every mode that it can come to, its commands, their arguments and
 *                 options, and the filters
 *     man         the same as a page of the manual, in mdoc; its date is today, or the day that
 *                 the environment's SOURCE_DATE_EPOCH has in seconds since 1970
 *     json        the same as one object, valid whatever bytes the help has
 *     walk        100 lines of random commands, which one shell could be given one after the
 *                 other: they go through the modes. Another seed, other lines. Words of the
 *                 program's own types are those that a type lists; where it lists none it
 *                 may refuse them
 *
 * Calls:   text(ctx, ...), once; for walk the types' list, with a shell whose user is NULL.
 * Returns: 0; -1 without memory, for another format, or when nothing has been built. */
VARNO_API int32_t cli_set_describe(const cli_set_s *set, int32_t level, const char *format,
                                   uint64_t seed, cli_output_fn text, void *ctx);

/* Shells */

/* Whether a secret lets its shell have a level. secret lives for the call; whoever copies it wipes
 * the copy. A check that takes time belongs on another thread: the shell waits then, and others
 * do not.
 * Returns: 0 if so; CLI_LATER when cli_authenticated will tell; anything else if not. */
typedef int32_t (*cli_authenticate_fn)(cli_shell_s *shell, void *user, int32_t level,
                                       const char *secret);

/* Where "| save NAME" writes to. No function is NULL. Where one cannot, *why, which is NULL before,
 * may be set to a text for a person, which stays until the next call of one. */
struct cli_save_s {
    void *user; /* second argument of begin */
    /* is_forced: an older file may be written over.
     * Returns: the file, for the others; NULL: there is none. */
    void *(*begin)(cli_shell_s *shell, void *user, const char *name, int32_t is_forced,
                   const char **why);
    /* Takes bytes[0..count).
     * Returns: 0; -1 when it takes no more: the command is then cancelled. */
    int32_t (*write)(void *file, const char *bytes, size_t count, const char **why);
    /* is_whole: all has been written, and the command has not failed; else the file is not to stay.
     * Returns: 0; -1 when it could not be saved. */
    int32_t (*end)(void *file, int32_t is_whole, const char **why);
};

/* How a shell is to be. Start from CLI_SHELL_CONFIG_INIT. */
struct cli_shell_config_s {
    size_t size;                      /* sizeof(cli_shell_config_s) */
    cli_set_s *set;                   /* must be there */
    const tsession_config_s *session; /* of the shell's own session; its members line, graph and
                                        filter must be NULL; NULL: a batch */
    void *user;                       /* for cli_shell_user, output and errors */
    cli_output_fn output;             /* of a batch; NULL: what it writes is dropped */
    cli_output_fn errors;             /* of a batch: what is wrong with a line, and why a command
                                        fails; NULL: that goes to output */
    const char *mode; /* where it begins, as if it had come there; NULL: the first */
    int32_t level;    /* 0..15, which it has at first */
    cli_authenticate_fn authenticate; /* NULL: no secret gets a higher one */
    const cli_save_s *save;           /* lives as long as the shell; NULL: there is no "save" */
};

/* A configuration with nothing but its size. */
#define CLI_SHELL_CONFIG_INIT                                                                      \
    {                                                                                              \
        sizeof(cli_shell_config_s), 0, 0, 0, 0, 0, 0, 0, 0, 0                                      \
    }

/* Makes a shell, and the session that it is to have. config is copied. The callbacks
 * of the session's configuration get that configuration's user pointer; tsession_user
 * is the shell's.
 * Returns: NULL without memory or for a configuration that is not as above says.
 * Owns:    the caller; released with cli_shell_free. */
VARNO_API cli_shell_s *cli_shell_create(const cli_shell_config_s *config);

/* The same for a session that somebody else makes, as a server does (varno/server.h):
 * config's session is NULL, and *session is changed to what this shell's is to be like; its
 * members line, graph and filter must be NULL before. When the session has been made from
 * it, cli_shell_attach tells which it is, before it starts; it is freed by whoever has made
 * it.
 * Returns: as cli_shell_create; *session is as it was then. */
VARNO_API cli_shell_s *cli_shell_prepare(const cli_shell_config_s *config,
                                         tsession_config_s *session);

/* Tells a shell of cli_shell_prepare its session, before that starts. */
VARNO_API void cli_shell_attach(cli_shell_s *shell, tsession_s *session);

/* Frees a shell and its session, which ends as tsession_free says, or, where somebody
 * else has made it, as tsession_close says; a call that waits is cancelled. May be
 * called inside a callback: then it is freed when that has returned. NULL is allowed.
 * tsession_free is never called on a shell's session. */
VARNO_API void cli_shell_free(cli_shell_s *shell);

/* Returns: the name of the mode that the shell is in; NULL where it has none. */
VARNO_API const char *cli_shell_mode(const cli_shell_s *shell);

/* Returns: the argument of that name of the line that led to the shell's mode, or else to one
 *          that it is in; NULL: there is none. Good until the shell leaves that mode. */
VARNO_API const char *cli_shell_argument(const cli_shell_s *shell, const char *name);

/* The shell's level, 0..15; another is taken as the nearest of these. Whoever loses
 * some goes back to the first mode, and a call that is running then leads to no mode that its
 * row's level is too high for. */
VARNO_API int32_t cli_shell_level(const cli_shell_s *shell);
VARNO_API void cli_shell_set_level(cli_shell_s *shell, int32_t level);

/* Returns: the shell's session; NULL for a batch, and for one of somebody else's before
 *          cli_shell_attach and when it has ended. */
VARNO_API tsession_s *cli_shell_session(const cli_shell_s *shell);
VARNO_API void *cli_shell_user(const cli_shell_s *shell);

/* Runs a line as if it had been typed. In a batch what is wrong with it is written, too; a
 * call that answers CLI_MORE is called again at once.
 * Returns: CLI_DONE, also for a blank line or a comment; CLI_FAILED when the line is
 *          refused, the command fails or something runs already; CLI_MORE or CLI_LATER
 *          while it goes on: in a session by itself, in a batch with cli_shell_resume. */
VARNO_API int32_t cli_shell_run(cli_shell_s *shell, const char *line);

/* Goes on with a batch's call that has been woken.
 * Returns: as cli_shell_run; CLI_LATER also when it has not been woken, CLI_DONE when
 *          there is none. */
VARNO_API int32_t cli_shell_resume(cli_shell_s *shell);

/* Says whether a line could be run, and runs nothing. Modes are followed: the next line is
 * looked at where this one leads, until the shell runs one; a NULL line begins again where
 * the shell is. *error is all zero, or what is wrong, as cli_assist_parse gives it; error
 * may be NULL.
 * Returns: CLI_ASSIST_OK or the reason. */
VARNO_API int32_t cli_shell_check(cli_shell_s *shell, const char *line, cli_assist_error_s *error);

/* Calls; call is the one that is being run. A name is an argument's or a keyword's as
 * the syntax spells it; one that the syntax has not fails "has_name(call, name)". A
 * name that is there and was not given is NULL, 0 or empty. Texts and addresses are
 * good until the call's function returns. */

/* Returns: the shell that the call is of. */
VARNO_API cli_shell_s *cli_call_shell(const cli_call_s *call);

/* Functions for rows. "enable [LEVEL(0-15)]": asks for a secret, without echo, that lets the
 * shell have the level, or 15; a lower one than it has is taken at once. "disable": level 0.
 * A batch cannot ask. */
VARNO_API int32_t cli_enable(cli_call_s *call, void *user);
VARNO_API int32_t cli_disable(cli_call_s *call, void *user);

/* A function for a row, "exit" of the first mode: closes the shell's session, as tsession_close
 * says. A batch has none, and goes on.
 * Returns: CLI_DONE. */
VARNO_API int32_t cli_leave(cli_call_s *call, void *user);

/* Inside an authenticate function: what names this check to cli_authenticated.
 * Returns: a number above 0, which is never another check's or call's; 0 when the shell has no
 *          secret that is being checked. */
VARNO_API uint64_t cli_shell_ticket(const cli_shell_s *shell);

/* Tells, on the set's thread, whether a secret is right whose check has answered, or will,
 * CLI_LATER. ticket is cli_shell_ticket's of that check; is_right is not 0 if the secret is
 * right. The session's tsession_wait is then 0.
 * Returns: 0; -1 when nobody waits for it any more: the user has cancelled, or the shell is
 *          gone. */
VARNO_API int32_t cli_authenticated(cli_set_s *set, uint64_t ticket, int32_t is_right);

/* Returns: the line as it was typed. */
VARNO_API const char *cli_line(const cli_call_s *call);

/* Returns: whether the argument or keyword was given: cli_has(call, "no"). */
VARNO_API int cli_has(cli_call_s *call, const char *name);

/* Returns: how many words an argument has: more than one for NAME... */
VARNO_API size_t cli_count(cli_call_s *call, const char *name);

/* Returns: the argument's first word, or one of its words; its quotes are removed but
 *          for those of NAME(line). Of <a|b>$which the keyword in full. NULL: it was
 *          not given, or has less words. index counts them, from 0. */
VARNO_API const char *cli_text(cli_call_s *call, const char *name);
VARNO_API const char *cli_text_at(cli_call_s *call, const char *name, size_t index);

/* Returns: the number of a range or a hexadecimal one (its bits); 0 when it was not given. */
VARNO_API int64_t cli_number(cli_call_s *call, const char *name);

/* Returns: 4, 16 or 6 bytes in network order of an address, a prefix or a hardware
 *          address; NULL when it was not given. *family is 4, 6 or 48, *bits a prefix's
 *          length, or all bits; both may be NULL. */
VARNO_API const uint8_t *cli_address(cli_call_s *call, const char *name, int32_t *family,
                                     int32_t *bits);

/* Memory of the call's own, as many bytes as `bytes` says at the first time: zero then,
 * the same each time the function is called again.
 * Calls:   release, if not NULL, with it when the call ends; it is then freed.
 * Returns: NULL without memory. */
VARNO_API void *cli_state(cli_call_s *call, size_t bytes, void (*release)(void *state));

/* Returns: not 0 when the call has been cancelled and this is the last time that its
 *          function is called: what it writes is dropped. */
VARNO_API int cli_is_cancelled(const cli_call_s *call);

/* Returns: a number above 0 that names this call to cli_wake; it is never another call's of
 *          this set. */
VARNO_API uint64_t cli_ticket(cli_call_s *call);

/* The call of this ticket, which has answered CLI_LATER or will, is to be called
 * again: a session's tsession_wait is then 0, a batch wants cli_shell_resume.
 * Returns: 0; -1 when the call has ended or its shell is gone. */
VARNO_API int32_t cli_wake(cli_set_s *set, uint64_t ticket);

/* Writes as printf does with this format. Control characters but line feed and tab,
 * and what is no UTF-8, are written as "?". The same is so with every format below. */
VARNO_API void cli_print(cli_call_s *call, const char *format, ...) VARNO_PRINTF(2, 3);

/* Writes "% " and why the command fails, by its format, on a row of its own; the
 * function then returns CLI_FAILED, and CLI_DONE is taken for that. So does what is
 * written without memory. */
VARNO_API void cli_fail(cli_call_s *call, const char *format, ...) VARNO_PRINTF(2, 3);

/* The same, with the line before it and a caret under the first word of the argument
 * `name`; format is the reason's. */
VARNO_API void cli_fail_at(cli_call_s *call, const char *name, const char *format, ...)
    VARNO_PRINTF(3, 4);

/* Writes a table: columns[0..count) once, then the cells of each row, one after the
 * other, each by its format; a row is written with its last one, or, where that is missing
 * at the end, with empty cells. Rows are aligned by
 * the columns that texts take on a screen, and "  " stands between two. A cell wider
 * than its column moves those after it; where the terminal is too narrow for that it
 * is cut, with ">" as a mark. After "| json" each row is an object, by the names of
 * the columns. The columns live until the call ends; telling the same again, as a
 * function does that is called again, writes nothing.
 * Requires: "count > 0"; for a cell "call->is_cancelled || table.columns". */
VARNO_API void cli_columns(cli_call_s *call, const cli_column_s *columns, size_t count);
VARNO_API void cli_cell(cli_call_s *call, const char *format, ...) VARNO_PRINTF(2, 3);

/* Writes a message about how far the call is, by its format, in place of the one
 * before it, on a row that other output leaves standing; an empty one takes the row back. It
 * is cut, with ">" as a mark, where the row is too narrow, and at 255 columns. A batch leaves
 * it out. */
VARNO_API void cli_progress(cli_call_s *call, const char *format, ...) VARNO_PRINTF(2, 3);

/* Writes a line of configuration, which can be read back: what "%s" in its format
 * stands for is one word, quoted where it must be; "%-s" is as it is, for NAME(line).
 * There are %d, %i, %u, %x, %X with their sizes but no widths, %c and %%, too.
 * Control characters of a value are written as "?". The line's end is added.
 * Requires: "is_known(one)". */
VARNO_API void cli_config(cli_call_s *call, const char *format, ...) VARNO_PRINTF(2, 3);

/* A function for a row: "show running-config [SECTION]". Calls `write` of all modes, in the
 * order in which they were added, or of the mode SECTION alone. Each is like a command's
 * function, with a cli_state of its own; it writes the lines that enter its mode, too,
 * as often as there is something to be configured. */
VARNO_API int32_t cli_show_config(cli_call_s *call, void *user);

#ifdef __cplusplus
}
#endif

#endif
