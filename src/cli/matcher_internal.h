#ifndef VARNO_CLI_MATCHER_INTERNAL_H
#define VARNO_CLI_MATCHER_INTERNAL_H

// The matcher of one level, for the look-up of dynamic nodes and for tests.

#include <varno/cli_parse.h>

extern "C" {

// Matches one token against the alternatives from `level` on. Returns a PARSE_
// result; *out_node is the chosen node, the first candidate when the token is
// ambiguous, NULL when nothing matches.
VARNO_API uint32_t cli_parse_match_token(cli_pnode_s *level, const char *token,
                                         cli_pnode_s **out_node);
}

#endif
