#ifndef VARNO_COMMANDS_PIPES_H
#define VARNO_COMMANDS_PIPES_H

// What a command writes on its way through the filters after "|". A row goes through all of
// them at once: nothing is kept but the row.

#include "json.h"
#include "pattern.h"
#include "set.h"

#include <varno/commands.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace varno::commands {

constexpr int32_t most_filters = 4;
constexpr size_t most_matched = 4096; // bytes of a row that patterns look at

enum class Filter : uint8_t { include, exclude, begin, section, count, no_more, save, json };

struct Stage {
    Filter filter;
    Pattern *pattern;
    bool is_open;  // of begin and section: rows pass
    size_t indent; // of the row that opened a section
    int64_t rows;  // that count has seen
    size_t work;   // steps that its pattern may have taken
};

struct Pipe {
    cli_call_s *call;
    Stage stages[most_filters];
    int32_t count;
    bool is_unpaged;
    bool is_json;
    void *file; // of save; NULL: the rows are shown
    int64_t passed;
    bool is_cut;    // of the row that is being written the beginning has been decided on
    bool is_passed; // and it passes
    bool is_ended;
    bool is_broken;                   // the file took no more
    char why[CLI_ASSIST_MAX_WHY + 1]; // it was not saved; empty: nobody has said
    size_t used;
    char row[most_matched + 1];
};

// Makes the filters from the "|" on. Returns false when one cannot be: out_why says why, and
// out_at the word, or NULL, that it is about.
bool make_pipe(cli_call_s *call, const cli_pmatch_s *bar, Pipe *&out_pipe,
               const cli_pmatch_s *&out_at, char *out_why, size_t size);

// Steps that the patterns may have taken so far.
size_t work_of(const Pipe *pipe);

void write_through(Pipe *pipe, const char *text);

// A row of a table: as filters see it, as it is shown, and as JSON has it; of the two the one that
// is needed, the other is NULL.
struct PipedRow {
    const char *whole;
    const char *shown;
    const char *object;
    bool is_title; // it is not counted, and is no object
};

void pass_row(Pipe *pipe, const PipedRow &row);

// No more comes. is_whole: the command is done. Returns false when not all could be saved; the
// pipe then has why.
bool end_pipe(Pipe *pipe, bool is_whole);

// Whoever was not ended is given up.
void release_pipe(Pipe *pipe);

// Adds the modes and commands of the filters; the definitions of other commands lead to the first
// of the modes, whose index is that of the first one added. Returns false without memory.
bool add_filters(Snapshot *snapshot, Array<Mode> &modes, Array<Definition> &definitions);

// Whether filters may come after a command, unless its last argument is the rest of the line.
bool takes_filters(const cli_command_s &command);

// A row that add_filters has added, of a filter itself; and the mode that has them all.
bool is_filter(const Row &row);
int32_t filter_mode(const Snapshot *snapshot);

// The command that a line has, which a filter may come after: what the parse ended with is then
// the filter's end.
const End *find_command(const cli_pnode_s *action, const cli_pmatch_s *words);

// The "|" after a command's words; NULL: there is none.
const cli_pmatch_s *find_bar(const cli_pmatch_s *words);

} // namespace varno::commands

#endif
