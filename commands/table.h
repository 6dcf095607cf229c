#ifndef VARNO_COMMANDS_TABLE_H
#define VARNO_COMMANDS_TABLE_H

// Rows of cells: aligned for a screen, objects for JSON.

#include "array.h"

#include <varno/commands.h>

#include <cstddef>

namespace varno::commands {

struct Table {
    const cli_column_s *columns; // NULL: none are known
    size_t count;
    size_t filled;     // cells of the row that is being made
    Array<char> cells; // each terminated

    void release() { cells.release(); }
};

// Writes a row that has not all of its cells: the others are empty.
void end_table(cli_call_s *call);

} // namespace varno::commands

#endif
