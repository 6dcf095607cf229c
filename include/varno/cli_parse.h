#ifndef VARNO_CLI_PARSE_H
#define VARNO_CLI_PARSE_H

/* The CLI parser: matches one line, token by token, against a graph of parse
 * nodes, and lets nodes be created and removed at run time.
 *
 * The host owns the graph. A node stands for one word position of a command; its
 * alternatives are chained by `next`, the words that may follow it hang off
 * `child`, and every such list ends at &NONE. The parser only reads the graph and
 * keeps nothing between calls: a graph that nobody changes may be parsed by
 * several threads at once. How a line falls into tokens, and which quotes and
 * escapes count, is decided by the platform (token_copy in varno/platform.h).
 *
 * A node whose name or keyword is NULL (a text copy without memory) matches
 * nothing, and a NULL link ends a list as &NONE does.
 *
 * What "Requires" says is checked; docs/assertions.md has the reported texts. */

#include <varno/api.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What a node matches: the values of its `type`. The parser skips any other. */
enum {
    PNODE_NONE = 0,    /* nothing; the type of NONE */
    PNODE_KEYWORD = 1, /* a token that is a prefix of the keyword, case-sensitive */
    PNODE_EOLS = 2,    /* no token: marks that a command may end here */
    PNODE_STRING = 3,  /* any token */
    PNODE_INT32 = 4    /* a number of 64 bits despite its name: decimal, octal (017)
                          or hexadecimal (0x1f), with or without a sign, white space before it */
};

/* Results of a parse; cli_strparseres has their texts. ORDER parse results */
enum {
    PARSE_EMPTY = 0,     /* no token in the line */
    PARSE_NO_MATCH = 1,  /* a token has no alternative */
    PARSE_AMBIGUOUS = 2, /* a token has several, none of them exact */
    PARSE_MATCHED = 3,   /* every token has matched; the command may be incomplete */
    PARSE_BAD_QUOTES = 4 /* a quote is not closed */
};

typedef struct cli_pnode_s cli_pnode_s;
typedef struct cli_pmatch_s cli_pmatch_s;

/* One parse node. */
struct cli_pnode_s {
    const char *name;     /* for traces and cli_match_by_name */
    const char *keyword;  /* the keyword; a label for STRING and INT32 */
    const char *help;     /* for a person; may be NULL */
    uint32_t type;        /* PNODE_NONE..PNODE_INT32 */
    cli_pnode_s *child;   /* first of the words that may follow; &NONE: none */
    cli_pnode_s *next;    /* next alternative on this level; &NONE: the last */
    const char *aux_text; /* the host's; the library neither sets nor reads it */
    int32_t aux_int;      /* the host's, likewise */
    void *func;           /* the command's action, for EOLS and KEYWORD; the host's to call */
    uint32_t attr;        /* attribute of func; the parser does not read it */
    int32_t link_count;   /* how often dyn_cli_add_node and dyn_cli_set_node linked it */
    char *own_name;       /* the copies that dyn_cli_del_node releases; NULL in */
    char *own_keyword;    /* static nodes */
    char *own_help;       /* as these */
};

/* One matched token. Records are chained in the order of the line. */
struct cli_pmatch_s {
    cli_pmatch_s *next; /* NULL: the last */
    char *token;        /* quotes and escapes removed; released with the record */
    cli_pnode_s *node;  /* what it matched; the graph's */
    int32_t pos;        /* index in the line of the token's first character */
    int32_t len;        /* characters used: white space before, the token, white space after */
};

/* Ends every list of alternatives; compared by address, never changed. */
VARNO_API extern cli_pnode_s NONE;

/* Matches the line, of which the first len characters count, from the
 * alternatives that start at root. An exact keyword wins over all other
 * alternatives of its level, the first of two exact ones over the second; without
 * one, two alternatives that fit make the token ambiguous, a string beside a
 * keyword included. The empty token "" is a prefix of every keyword and the
 * number 0.
 *
 * len is the line's length, strlen(line), or less. With less, the quotes are
 * still checked up to the terminator and the last token runs past len, to its
 * own end. A len past the terminator is a failed assertion after the last token.
 *
 * Without memory: for a record, the parse ends there and returns PARSE_MATCHED
 * with the tokens before it, *consumed at the start of the one that was lost; so
 * a host runs a command only when *consumed is the line's length and there are
 * records. For a token's text, a first token gives PARSE_EMPTY with *consumed
 * len, a later one is a failed assertion.
 *
 * The least and the greatest number of 64 bits are refused, as overflows are, while
 * errno holds ERANGE; the parser does not clear it, so a host does before the call.
 *
 * Requires: len at most the line's; a token_copy that finds a token only with characters
 *           of the line.
 * Returns:  a PARSE_ result. *consumed: how many characters were accepted: up to
 *           the quote without partner, up to the first token that failed (white
 *           space before it included), or all of them. Both results stay
 *           untouched, with PARSE_NO_MATCH, when line or root is NULL or len is
 *           negative.
 * Owns:     the caller, whatever the result, releases *matches (NULL: no token
 *           matched) with cli_match_free. The graph outlives the records. */
VARNO_API uint32_t cli_parse(cli_pnode_s *root, const char *line, int32_t len, int32_t *consumed,
                             cli_pmatch_s **matches);

/* Returns: the text of a PARSE_ result; "Unknown/Invalid parser result" for any
 *          other code. */
VARNO_API const char *cli_strparseres(uint32_t result);

/* Releases all records of a list and their tokens; NULL is allowed. */
VARNO_API void cli_match_free(cli_pmatch_s *matches);

/* Returns: the first record whose node has this name, letter for letter; NULL when
 *          there is none or either argument is NULL. */
VARNO_API cli_pmatch_s *cli_match_by_name(cli_pmatch_s *matches, const char *name);

/* Requires: a list and a node.
 * Returns:  the first record that matched this node; NULL when there is none. */
VARNO_API cli_pmatch_s *cli_match_by_node(cli_pmatch_s *matches, const cli_pnode_s *node);

/* Tells whether a command may end after a node.
 * Returns: the first EOLS node of its next level, which has the command's func and
 *          attr; NULL when there is none: the command is incomplete. */
VARNO_API cli_pnode_s *cli_parse_node_get_executable(const cli_pnode_s *node);

/* Returns: cli_parse_node_get_executable of the last record's node; NULL for an
 *          empty list. */
VARNO_API cli_pnode_s *cli_parse_node_get_executable_from_match(cli_pmatch_s *matches);

/* Nodes at run time. A graph must not be parsed while it is being changed. */

/* Creates a node of a PNODE_ type with copies of its texts; func and attr are the
 * host's, for those who run the command. KEYWORD, STRING and INT32 need a keyword,
 * EOLS needs func and drops keyword and help; STRING and INT32 do not store func and
 * attr. An EOLS node has next &NONE and child NULL; the links of any other are NULL
 * until dyn_cli_add_node, or dyn_cli_set_node for both, links it.
 * Returns: the node; NULL without a name, a text or func that its type needs, a
 *          valid type other than PNODE_NONE, or memory. A text copy without
 *          memory is no failure: its field is NULL.
 * Owns:    the caller; dyn_cli_del_node releases it once it is linked. It cannot
 *          release a node without a keyword, so an EOLS node stays for good.
 * Fails:   the record is released, but text copies already made (the name, the
 *          help) are not: a host checks what a user sent before it gets here. */
VARNO_API cli_pnode_s *dyn_cli_create_node(uint32_t type, const char *name, const char *keyword,
                                           const char *help, void *func, uint32_t attr);

/* Makes node the first alternative of parent's next level and empties node's own
 * next level. node is not checked.
 * Returns: 0; -1 when parent is NULL. */
VARNO_API int dyn_cli_add_node(cli_pnode_s *parent, cli_pnode_s *node);

/* Sets one link of node to target: child (which 0) or next (which 1).
 * Returns: 0; -1 for a NULL node or target, or any other which. */
VARNO_API int dyn_cli_set_node(cli_pnode_s *node, cli_pnode_s *target, int which);

/* Unlinks a created node from parent's next level and releases it; its own next
 * level is not released. The place is found by keyword, EOLS nodes are passed
 * over, and what is spliced in is node's own next: node must be the very node
 * that is linked there, not another with its keyword. Records and other lists
 * that point at it are left dangling.
 * Returns: 0; -1 when parent, node, its keyword (an EOLS node has none) or parent's
 *          child is NULL, or no alternative has the keyword; nothing has changed
 *          then. */
VARNO_API int dyn_cli_del_node(cli_pnode_s *parent, cli_pnode_s *node);

/* Looks a node up by its whole keyword among the alternatives from level on.
 * Returns: the node; NULL when level is NULL or the token text does not resolve,
 *          as in a parse, to a node with just this keyword: a mere prefix is
 *          no hit, nor a string or a number unless its label is the text. */
VARNO_API cli_pnode_s *dyn_cli_lookup_node(cli_pnode_s *level, const char *text);

#ifdef __cplusplus
}
#endif

#endif
