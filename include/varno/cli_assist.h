#ifndef VARNO_CLI_ASSIST_H
#define VARNO_CLI_ASSIST_H

/* Help, completion and errors for a line that is being typed or was refused: one
 * walker over the parse graph that matches each word with cli_parse, so that what
 * it says and what cli_parse does agree. A filter may leave out alternatives before
 * a word is matched; then help, completion and parsing agree on what is left.
 *
 * The graph is only read, and must not change during a call. Results live in
 * records of the caller's; their nodes point into the graph and are good until that
 * changes. Nothing is kept between calls. Without a filter nothing is held while a
 * callback runs: it may leave by an exception or longjmp. Memory is taken only for
 * cli_parse and the platform's token_copy; without it nothing is listed or completed.
 * A node that cli_parse passes over (no name, no keyword, unknown type) is never
 * shown. Texts that came from a user are the caller's to clean before it prints them.
 *
 * A line given with a length ends there, or at a terminator before that. Words,
 * quotes and backslashes are the platform's (varno/platform.h). The word at the end
 * of a line is empty after white space and in an empty line. */

#include <varno/api.h>
#include <varno/cli_parse.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The most characters that a line may have. A longer one is refused: parsing says
 * so, nothing is listed or completed, and its end counts as text. */
enum { CLI_ASSIST_MAX_LINE = 4096 };

/* The most characters of a filter's reason. */
enum { CLI_ASSIST_MAX_WHY = 127 };

typedef struct cli_assist_filter_s cli_assist_filter_s;
typedef struct cli_assist_completion_s cli_assist_completion_s;
typedef struct cli_assist_error_s cli_assist_error_s;

/* How a word fits a node, as a filter says. A keyword only knows FIT_REFUSED, FIT_NO and
 * the rest, which leaves it to cli_parse; so does the end of a line, where FIT_NO means
 * that no command may end there. ORDER assist fits */
enum {
    CLI_ASSIST_FIT_REFUSED = -1, /* as FIT_NO; a word that is the whole keyword is nothing else
                                    either: an option that was given is not taken for a value */
    CLI_ASSIST_FIT_NO = 0,       /* it cannot become this: neither offered nor accepted */
    CLI_ASSIST_FIT_BEGINS = 1,   /* more of it can: offered, and refused as it stands */
    CLI_ASSIST_FIT_TAKES = 2,    /* it is this, as any word would be */
    CLI_ASSIST_FIT_TYPED = 3,    /* it is a value of a specific type */
    CLI_ASSIST_FIT_VALUE = 4     /* it is the whole of a value that exists */
};

/* Says how a word fits a node: a keyword that begins with the word, a string, a number,
 * or the end of a line, for which the word is "". word has no quotes or escapes any
 * more; it may be the beginning of one that is being typed. before has the records of
 * the words before it; NULL for the first.
 * Returns: a CLI_ASSIST_FIT_ value. Unless it is accepted, *why may be set to a text for a
 *          person, "VLAN: 1 to 4094", which stays until the next call. */
typedef int32_t (*cli_assist_fit_fn)(void *user, const cli_pnode_s *node, const char *word,
                                     const cli_pmatch_s *before, const char **why);

/* Receives a value that may be typed: text, and help, which may be NULL. ctx is what
 * came with the function. */
typedef void (*cli_assist_value_fn)(void *ctx, const char *text, const char *help);

/* Tells the values of a string or number node that begin with the characters of
 * begun, by calls of value(ctx, ...); others are passed over, and so is a keyword that is
 * refused there. For each of them fit says FIT_VALUE. */
typedef void (*cli_assist_values_fn)(void *user, const cli_pnode_s *node, const char *begun,
                                     const cli_pmatch_s *before, cli_assist_value_fn value,
                                     void *ctx);

/* Narrows, node by node, what a word may be. Of the alternatives that it leaves the
 * best counts, and cli_parse decides between those: a whole keyword, which may be
 * refused, comes before FIT_VALUE, that before FIT_TYPED, that before FIT_TAKES. An
 * abbreviated keyword is left out only by FIT_VALUE; beside any other fit, FIT_BEGINS
 * included, it is ambiguous. FIT_BEGINS alone takes no word. A number must be one to
 * cli_parse, too.
 *
 * With a filter, its functions and those that choices go to may leave by an exception,
 * but not by longjmp: the records of the words before are held meanwhile. */
struct cli_assist_filter_s {
    size_t size;                 /* sizeof(cli_assist_filter_s); with less, nothing fits */
    void *user;                  /* first argument of both */
    cli_assist_fit_fn fit;       /* must be there: without it nothing fits */
    cli_assist_values_fn values; /* NULL: no node has values to list */
    uint32_t attr;               /* a level is asked about if the attr of its first node has one
                                    of these bits, and else left to cli_parse; 0: each is */
    uint32_t rest;               /* a string whose attr has one of these bits, on a level that is
                                    asked about, takes the rest of the line as it is typed, without
                                    white space at its end: quotes and backslashes are characters
                                    of it, and it is one word; 0: none does */
    uint32_t bare;               /* a keyword whose attr has one of these bits, on a level that is
                                    asked about, is typed as it is: quotes or backslashes make
                                    another word of it; 0: none is */
};

/* Receives one thing that may be typed: a keyword, a label or a value, and its help
 * text, which may be empty but is never NULL. For the end of a complete command the
 * text is "<cr>" and node the end-of-line node. */
typedef void (*cli_assist_choice_fn)(void *user, const cli_pnode_s *node, const char *text,
                                     const char *help);

/* Tells whether "?" and Tab are text at the end of line[0..len).
 * Returns: not 0 inside an open quote, after a backslash that would escape the next
 *          character, and for a line too long; else 0, for a NULL line and a negative
 *          length too. */
VARNO_API int cli_assist_in_quotes(const char *line, int32_t len);

/* Lists what the word at the end of line[0..len) can still become: the keywords that
 * begin with it, strings, and numbers that can, each followed by those of its values
 * that begin with the word; before its first character all that may come next, and
 * "<cr>" where the words before are a complete command. After words that
 * cli_assist_parse refuses, and where "?" is text, nothing.
 *
 * A whole keyword that begins a longer one lists both ("show": show, showall). A
 * keyword with white space, quotes or backslashes is listed as it is, though it is
 * typed with quotes.
 * Requires: nothing; a NULL root or line, or a negative length, lists nothing. The
 *           filter may be NULL.
 * Calls:    choice, once for each, in the graph's order; NULL: they are only counted.
 * Returns:  the number of choices. */
VARNO_API int cli_assist_help(const cli_pnode_s *root, const cli_assist_filter_s *filter,
                              const char *line, int32_t len, cli_assist_choice_fn choice,
                              void *user);

/* What Tab makes of the word at the end of a line. */
struct cli_assist_completion_s {
    char insert[256];   /* characters to insert after the word, terminated; may be empty */
    int32_t insert_len; /* 0..255; their number, a blank after a finished word included */
    int32_t choices;    /* how many keywords and values it can become; 1: it is now that one */
    int32_t is_text;    /* not 0: Tab is a character there, as cli_assist_in_quotes says */
};

/* Completes the word at the end of line[0..len) as far as all keywords and values that
 * begin with it agree, and adds a blank when there is only one and nothing else on the
 * level can begin with it. Characters that need a backslash get one. A word that
 * has quotes or backslashes is not completed.
 *
 * Beside a string cli_parse takes only the whole keyword, an abbreviation is
 * ambiguous there: the keyword is completed in full, but without the blank, for more
 * of the string may follow. A number does the same to a keyword that looks like
 * the beginning of one. The whole keyword "show" beside "showall" is left as it is,
 * with 2 choices. What does not fit insert is left out, with the blank: complete the
 * longer line again.
 * Requires: out; a NULL root or line, or a negative length, completes nothing.
 * Returns:  0, also when there are choices and nothing to insert; -1 when no keyword
 *           or value begins with the word, the record is then all zero but for is_text. */
VARNO_API int cli_assist_complete(const cli_pnode_s *root, const cli_assist_filter_s *filter,
                                  const char *line, int32_t len, cli_assist_completion_s *out);

/* Why a line cannot be run; cli_assist_strreason has the texts. ORDER assist reasons */
enum {
    CLI_ASSIST_OK = 0,         /* it can */
    CLI_ASSIST_EMPTY = 1,      /* nothing but white space */
    CLI_ASSIST_UNKNOWN = 2,    /* a word that nothing on its level takes */
    CLI_ASSIST_AMBIGUOUS = 3,  /* a word that several take, none of them exactly */
    CLI_ASSIST_INCOMPLETE = 4, /* the words match, and more must follow */
    CLI_ASSIST_QUOTES = 5,     /* a quote without its partner; no word is looked at then */
    CLI_ASSIST_EMPTY_WORD = 6, /* "" for a keyword or a number, which cli_parse would take */
    CLI_ASSIST_NO_MEMORY = 7,  /* not all of the line could be matched */
    CLI_ASSIST_TOO_LONG = 8    /* more than CLI_ASSIST_MAX_LINE characters */
};

/* What is wrong with a line, and where. */
struct cli_assist_error_s {
    int32_t reason; /* CLI_ASSIST_... */
    int32_t at;     /* index of the offending word's first character, or of the quote; for an
                       incomplete or empty command the line's length without the white space
                       at its end; for a line too long CLI_ASSIST_MAX_LINE */
    int32_t len;    /* characters of that word, 1 for a quote, 0 where there is none */
    char why[CLI_ASSIST_MAX_WHY + 1]; /* of an unknown word or incomplete command, the filter's
                                         reason, cut where it has no room; empty when it gave
                                         none, or several */
};

/* Parses a terminated line as a host must: the whole line or nothing, the empty word
 * refused for a keyword or a number, and only a complete command accepted. errno is
 * cleared for cli_parse and put back. The first thing wrong is the one reported.
 * Requires: matches and error; a NULL line counts as empty, with a NULL root every
 *           word is unknown. The filter may be NULL.
 * Returns:  the end-of-line node of the command, whose func is its action, and
 *           *matches, the records that cli_parse gives for the line; NULL when it
 *           cannot be run, *error then says why. *error is all zero with a node,
 *           *matches NULL without.
 * Owns:     the caller; *matches is released with cli_match_free, also when the filter
 *           has left by an exception. */
VARNO_API const cli_pnode_s *cli_assist_parse(const cli_pnode_s *root,
                                              const cli_assist_filter_s *filter, const char *line,
                                              cli_pmatch_s **matches, cli_assist_error_s *error);

/* Returns: the reason, a CLI_ASSIST_ code, as a person reads it: "no error", "empty
 *          line", "unknown word", "ambiguous word", "incomplete command", "unmatched
 *          quote", "empty word", "out of memory", "line too long"; "unknown reason"
 *          for any other code. */
VARNO_API const char *cli_assist_strreason(int32_t reason);

/* Writes what a person reads about a refused line to out[0..room), in three rows,
 * each with its newline: the line, cut on both sides to what fits so that the place
 * shows; a caret under the place; "% " and the filter's reason where there is one,
 * else that of cli_assist_strreason. Controls and what is no UTF-8 are shown as "?".
 * Nothing about a line that can run or is empty.
 *
 *       vlan 5000 name blue
 *            ^
 *     % VLAN: 1 to 4094
 *
 * columns: of the screen; 0 or less: unknown, the line is then not cut.
 * Requires: error; a NULL line counts as empty.
 * Returns:  the characters of the whole text. When that is not less than room, out has
 *           as much of it as fits; it is terminated unless room is 0. */
VARNO_API int32_t cli_assist_format_error(const char *line, const cli_assist_error_s *error,
                                          int32_t columns, char *out, int32_t room);

/* Lists the candidates of a refused line, which must be the one that *error is about, in
 * the same graph and with the same filter: for an ambiguous word the alternatives that
 * take it, of which it may be any; else all that may stand in its place, "<cr>"
 * included after a complete command. For a quote, want of memory or a line too long,
 * nothing.
 * Requires: nothing; a NULL root, line or error lists nothing. The filter may be NULL.
 * Calls:    choice for the first `most` of them, as cli_assist_help does; NULL: none.
 * Returns:  the number of candidates, those beyond `most` included. */
VARNO_API int cli_assist_candidates(const cli_pnode_s *root, const cli_assist_filter_s *filter,
                                    const char *line, const cli_assist_error_s *error, int32_t most,
                                    cli_assist_choice_fn choice, void *user);

#ifdef __cplusplus
}
#endif

#endif
