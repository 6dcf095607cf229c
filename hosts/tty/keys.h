#ifndef VARNO_TTY_KEYS_H
#define VARNO_TTY_KEYS_H

// Which bytes of the terminal are which key, and what the keys do that the default
// key map leaves alone.

#include <varno/prompt.h>
#include <varno/stroker.h>

// The key Ctrl-D; on an empty line it ends the session.
constexpr mkey_t key_end_of_input = 4;

// Binds the terminal's own sequences, from its capabilities, and those that nearly
// every terminal sends in one mode or another.
void keys_bind_sequences(stroker_s *decoder);

// Binds what ostra_keys leaves unbound. All commands must be registered.
void keys_bind_commands(prompt_s *p);

#endif
