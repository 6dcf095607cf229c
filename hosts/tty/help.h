#ifndef VARNO_TTY_HELP_H
#define VARNO_TTY_HELP_H

// The editing commands that look at the parse graph.

#include <varno/prompt.h>

// "expand-token": lists the words that may stand at the cursor.
int help_expand_token(prompt_s *p, pstate *ps, const char *invoked, void *context, void *argument);

// "complete-token": finishes the word at the cursor where one keyword alone begins
// with it.
int help_complete_token(prompt_s *p, pstate *ps, const char *invoked, void *context,
                        void *argument);

#endif
