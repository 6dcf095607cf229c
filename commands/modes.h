#ifndef VARNO_COMMANDS_MODES_H
#define VARNO_COMMANDS_MODES_H

// Modes: the stack that a shell is in, the prompts, and the library's own commands there.

#include "array.h"
#include "set.h"

#include <varno/commands.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace varno::commands {

// A mode that has been entered.
struct Entered {
    Entered *below;  // NULL: the first mode
    int32_t mode;    // index of the shell's snapshot's
    char *arguments; // of the line that entered it: name, value, name, ..., each terminated
    size_t bytes;
};

inline int32_t mode_of(const Entered *top)
{
    return top ? top->mode : 0;
}

// The words [words, end) are the line's. Returns false without memory: nothing is entered.
bool enter_mode(Entered *&top, int32_t mode, const cli_pmatch_s *words, const cli_pmatch_s *end);
void leave_mode(Entered *&top);
// Enters a mode and all that it is in, as if by lines without arguments. Returns false without
// memory.
bool enter_path(Entered *&top, const Snapshot *snapshot, int32_t mode);
// Leaves modes until it is the one; it is among them, or is the first.
void leave_to(Entered *&top, int32_t mode);
bool copy_modes(const Entered *from, Entered *&out_top);

// Returns the index of the same mode in another snapshot; -1: it has none.
int32_t same_mode(const Snapshot *from, int32_t mode, const Snapshot *to);

// The same modes in another snapshot; those that it does not have are left.
void move_modes(Entered *&top, const Snapshot *from, const Snapshot *to);

// The argument of the line that entered the innermost mode that has it; NULL: none has.
const char *argument_of(const Entered *top, const char *name);

// The end of a prompt, of which a session shows 30 characters. It takes no memory: a prompt always
// says which mode it is.
struct PromptEnd {
    char text[256];
    size_t used;

    void add(char c)
    {
        if (used + 1 == sizeof(text)) {
            std::memmove(text, text + sizeof(text) / 2, used - sizeof(text) / 2);
            used -= sizeof(text) / 2;
        }
        text[used++] = c;
        text[used] = '\0';
    }

    void add(const char *more)
    {
        while (*more)
            add(*more++);
    }
};

// The prompt of a mode on a level by its pattern, or its parent's where it has none. Returns false
// when there is no pattern.
bool make_prompt(const Snapshot *snapshot, const Entered *top, int32_t level, PromptEnd &out_text);

// What a row does to modes once it is done. Returns false without memory.
bool follow_row(Entered *&top, const Row &row, const cli_pmatch_s *words, const cli_pmatch_s *end);

// Adds the commands that modes have by themselves. Returns false without memory.
bool add_built_in(Snapshot *snapshot, Array<Definition> &definitions);

} // namespace varno::commands

#endif
