// Rows, types, modes and owners; building; removing an owner while sessions use its commands.

#include "set.h"

#include "modes.h"
#include "pipes.h"
#include "shell.h"

#include "contract.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace varno::commands {
namespace {

constexpr char source_name[] = "commands_set";

constexpr char set_tag[] = "cli_set_s";
constexpr char owner_tag[] = "Owner";
constexpr char snapshot_tag[] = "Snapshot";
constexpr char host_tag[] = "cli_set_host";

Owner *find_owner(const cli_set_s *set, const void *id)
{
    Owner *owner = set->owners;
    while (owner && (owner->id != id || owner->is_removed))
        owner = owner->next;
    return owner;
}

// Returns NULL without memory.
Owner *make_owner(cli_set_s *set, const void *id)
{
    if (Owner *known = find_owner(set, id))
        return known;
    auto *owner = static_cast<Owner *>(tracked_calloc(1, sizeof(Owner), owner_tag));
    if (!owner)
        return nullptr;
    owner->id = id;
    owner->next = set->owners;
    set->owners = owner;
    return owner;
}

// The library's own rows have no owner.
void add_uses(Owner *owner, int64_t uses)
{
    if (owner)
        owner->uses += uses;
}

// Of owners that were removed and have no use any more the record goes, then they hear of it, which
// may change the list.
void tell_released(cli_set_s *set)
{
    for (Owner **link = &set->owners; *link;) {
        if (!(*link)->is_removed || (*link)->uses > 0) {
            link = &(*link)->next;
            continue;
        }
        const Owner gone = **link;
        tracked_free(*link, owner_tag);
        *link = gone.next;
        link = &set->owners;
        try {
            if (gone.released)
                gone.released(gone.ctx);
        } catch (...) {
            tell_released(set);
            throw;
        }
    }
}

// Room for more; a set that was short of memory is not so for ever.
template <typename Item>
bool make_room(Array<Item> &array, size_t more)
{
    const bool has_room = array.make_room(more);
    array.is_short = false;
    return has_room;
}

template <typename Item>
void remove_of(Array<Item> &array, const Owner *owner)
{
    Item *end = std::remove_if(array.begin(), array.end(),
                               [owner](const Item &item) { return item.owner == owner; });
    array.used = static_cast<size_t>(end - array.begin());
}

template <typename Item>
bool copy_but(const Array<Item> &from, const Owner *without, Array<Item> &out)
{
    if (!out.reserve(from.used))
        return false;
    for (const Item &item : from) {
        if (item.owner == without)
            continue;
        out.add(item);
        add_uses(item.owner, 1);
    }
    return true;
}

int32_t find_type(void *user, std::string_view name)
{
    const auto &types = static_cast<const Snapshot *>(user)->types;
    for (size_t i = 0; i < types.used; i++) {
        if (types[i].type->name == name)
            return static_cast<int32_t>(i);
    }
    return -1;
}

const char *help_of_type(void *user, int32_t type)
{
    const auto &types = static_cast<const Snapshot *>(user)->types;
    return types[static_cast<size_t>(type)].type->help;
}

const cli_mode_s only_mode = {};

// Reads the modes. A parent comes before its children, so that none is its own.
void make_modes(Snapshot *snapshot, Findings &findings, Array<Mode> &out_modes)
{
    if (snapshot->modes.used == 0)
        snapshot->modes.add({&only_mode, nullptr});
    for (size_t i = 0; i < snapshot->modes.used; i++) {
        const cli_mode_s &mode = *snapshot->modes[i].mode;
        const auto index = static_cast<int32_t>(i);
        findings.row = row_of_mode(index);
        int32_t parent = mode.parent ? find_mode(snapshot, mode.parent) : -1;
        if ((i == 0) != !mode.parent || parent >= index || (mode.parent && parent < 0)) {
            findings.add(Problem::bad_parent, 0);
            parent = i == 0 ? -1 : 0;
        }
        if (mode.name && find_mode(snapshot, mode.name) != index)
            findings.add(Problem::mode_twice, 0);
        out_modes.add({parent, parent >= 0 && (mode.flags & CLI_INHERITS) != 0});
    }
}

void place_row(const Snapshot *snapshot, const Array<Mode> &modes, Findings &findings, Row &row)
{
    const cli_command_s &command = *row.command;
    row.of = find_mode(snapshot, row.mode);
    row.enters = command.enters ? find_mode(snapshot, command.enters) : -1;
    if (command.enters)
        row.move = Move::enter;
    if (row.of < 0 || (command.enters && row.enters < 0))
        findings.add(Problem::unknown_mode, 0);
    else if (command.enters && modes[static_cast<size_t>(row.enters)].parent != row.of)
        findings.add(Problem::enters_no_child, 0);
    if (command.level < 0 || command.level > most_level)
        findings.add(Problem::bad_level, 0);
}

Definition definition_of(const Row &row)
{
    const cli_command_s &command = *row.command;
    Definition made = {};
    made.syntax = command.syntax;
    made.help = command.help;
    made.mode = row.of;
    made.is_command = command.run || row.move != Move::stay;
    made.is_hidden = (command.flags & CLI_HIDDEN) != 0;
    made.is_built_in = !row.owner;
    if (made.is_command) // what documents a word is there wherever the word is
        made.level = std::clamp(command.level, 0, most_level);
    return made;
}

// Returns false without memory.
bool build_snapshot(Snapshot *snapshot, Findings &findings)
{
    Array<Mode> modes = {};
    Array<Definition> definitions = {};
    make_modes(snapshot, findings, modes);
    for (size_t i = 0; i < snapshot->rows.used && !modes.is_short; i++) {
        findings.row = static_cast<int32_t>(i);
        place_row(snapshot, modes, findings, snapshot->rows[i]);
        definitions.add(definition_of(snapshot->rows[i]));
    }
    bool is_short = modes.is_short || definitions.is_short || snapshot->modes.is_short;
    if (!is_short) {
        const auto filters = static_cast<int32_t>(modes.used);
        for (size_t i = 0; i < definitions.used; i++) {
            if (takes_filters(*snapshot->rows[i].command))
                definitions[i].goes_on_in = filters;
        }
        is_short =
            !add_built_in(snapshot, definitions) || !add_filters(snapshot, modes, definitions);
    }
    const TypeNames types = {snapshot, find_type, help_of_type};
    const bool is_built =
        !is_short && build_graph(definitions, modes, types, findings, snapshot->graph);
    definitions.release();
    modes.release();
    snapshot->rows.trim();
    return is_built;
}

// A finding below 0 is about a mode.
cli_finding_s told_finding(const Snapshot *snapshot, const Finding &one)
{
    cli_finding_s told = {};
    told.is_error = is_error(one.problem);
    told.column = one.column;
    told.text = text_of(one.problem);
    if (one.row < 0) {
        const ModeRow &row = snapshot->modes[static_cast<size_t>(one.row - row_of_mode(0))];
        told.owner = row.owner ? row.owner->id : nullptr;
        told.mode = told.syntax = row.mode->name;
        return told;
    }
    const Row &row = snapshot->rows[static_cast<size_t>(one.row)];
    told.owner = row.owner ? row.owner->id : nullptr;
    told.mode = row.mode;
    told.syntax = row.command->syntax;
    if (one.other >= 0)
        told.other = snapshot->rows[static_cast<size_t>(one.other)].command->syntax;
    return told;
}

void tell_findings(const Snapshot *snapshot, const Findings &findings, cli_finding_fn tell,
                   void *ctx)
{
    for (size_t i = 0; tell && i < findings.list.used; i++) {
        const cli_finding_s told = told_finding(snapshot, findings.list[i]);
        tell(ctx, &told);
    }
}

// What is built from all rows but those of one owner. Returns 0, the number of errors, or
// -1 without memory; out_snapshot is set only with 0.
int32_t make_snapshot(cli_set_s *set, const Owner *without, cli_finding_fn tell, void *ctx,
                      Snapshot **out_snapshot)
{
    auto *made = static_cast<Snapshot *>(tracked_calloc(1, sizeof(Snapshot), snapshot_tag));
    if (!made)
        return -1;
    made->set = set;
    made->holders = 1;
    Findings findings = {};
    const bool is_built =
        copy_but(set->rows, without, made->rows) && copy_but(set->types, without, made->types) &&
        copy_but(set->modes, without, made->modes) && build_snapshot(made, findings);
    try {
        if (is_built)
            tell_findings(made, findings, tell, ctx);
    } catch (...) {
        findings.list.release();
        let_go(made);
        throw;
    }
    findings.list.release();
    const int32_t errors = is_built ? findings.errors : -1;
    if (errors == 0)
        *out_snapshot = made;
    else
        let_go(made);
    return errors;
}

void use_snapshot(cli_set_s *set, Snapshot *snapshot)
{
    Snapshot *old = set->current;
    set->current = snapshot;
    try {
        update_shells(set);
    } catch (...) {
        let_go(old);
        throw;
    }
    let_go(old);
}

void end_removal(cli_set_s *set, Owner *owner, int64_t uses)
{
    try {
        cancel_calls_of(set, owner);
    } catch (...) {
        owner->uses -= uses;
        tell_released(set);
        throw;
    }
    owner->uses -= uses;
    tell_released(set);
}

} // namespace

const cli_pnode_s *root_of(const Snapshot *snapshot, int32_t mode, int32_t level)
{
    if (!snapshot)
        return &NONE;
    const Graph &graph = snapshot->graph;
    size_t row = graph.levels.used - 1;
    while (row > 0 && graph.levels[row] > level)
        row--;
    const size_t modes = graph.roots.used / graph.levels.used;
    const int32_t first = graph.roots[row * modes + static_cast<size_t>(mode)];
    return first < 0 ? &NONE : &graph.nodes[static_cast<size_t>(first)];
}

int32_t find_mode(const Snapshot *snapshot, const char *name)
{
    if (!name)
        return 0;
    for (size_t i = 0; i < snapshot->modes.used; i++) {
        if (snapshot->modes[i].mode->name && std::strcmp(snapshot->modes[i].mode->name, name) == 0)
            return static_cast<int32_t>(i);
    }
    return -1;
}

Snapshot *hold(Snapshot *snapshot)
{
    if (snapshot)
        snapshot->holders++;
    return snapshot;
}

void let_go(Snapshot *snapshot)
{
    if (!snapshot || --snapshot->holders > 0)
        return;
    for (const Row &row : snapshot->rows)
        add_uses(row.owner, -1);
    for (const Type &type : snapshot->types)
        add_uses(type.owner, -1);
    for (const ModeRow &mode : snapshot->modes)
        add_uses(mode.owner, -1);
    release_graph(snapshot->graph);
    snapshot->rows.release();
    snapshot->types.release();
    snapshot->modes.release();
    cli_set_s *set = snapshot->set;
    tracked_free(snapshot, snapshot_tag);
    tell_released(set);
}

} // namespace varno::commands

using namespace varno::commands;

cli_set_s *cli_set_create(void)
{
    return static_cast<cli_set_s *>(tracked_calloc(1, sizeof(cli_set_s), set_tag));
}

void cli_set_free(cli_set_s *set)
{
    if (!set)
        return;
    VARNO_ASSERT(!set->shells);
    let_go(set->current);
    while (Owner *owner = set->owners) {
        set->owners = owner->next;
        tracked_free(owner, owner_tag);
    }
    set->rows.release();
    set->types.release();
    set->modes.release();
    tracked_free(set->host, host_tag);
    tracked_free(set, set_tag);
}

int32_t cli_set_add(cli_set_s *set, const void *owner, const char *mode, const cli_command_s *rows,
                    size_t count)
{
    if (set->questions > 0 || !make_room(set->rows, count))
        return -1;
    Owner *added = make_owner(set, owner);
    if (!added)
        return -1;
    for (size_t i = 0; i < count; i++)
        set->rows.add({&rows[i], added, mode, Move::stay, 0, -1});
    add_uses(added, static_cast<int64_t>(count));
    return 0;
}

int32_t cli_set_add_type(cli_set_s *set, const void *owner, const cli_type_s *type)
{
    if (set->questions > 0 || !make_room(set->types, 1))
        return -1;
    Owner *added = make_owner(set, owner);
    if (!added)
        return -1;
    set->types.add({type, added});
    add_uses(added, 1);
    return 0;
}

int32_t cli_set_add_mode(cli_set_s *set, const void *owner, const cli_mode_s *mode)
{
    if (set->questions > 0 || !make_room(set->modes, 1))
        return -1;
    Owner *added = make_owner(set, owner);
    if (!added)
        return -1;
    set->modes.add({mode, added});
    add_uses(added, 1);
    return 0;
}

int32_t cli_set_host(cli_set_s *set, const char *name)
{
    char *copy = tracked_strdup(name, host_tag);
    if (!copy)
        return -1;
    tracked_free(set->host, host_tag);
    set->host = copy;
    update_shells(set);
    return 0;
}

int32_t cli_set_build(cli_set_s *set, cli_finding_fn finding, void *ctx)
{
    if (set->questions > 0)
        return -1;
    Snapshot *made = nullptr;
    const int32_t errors = make_snapshot(set, nullptr, finding, ctx, &made);
    if (errors == 0)
        use_snapshot(set, made);
    return errors;
}

int32_t cli_set_remove(cli_set_s *set, const void *owner, cli_released_fn released, void *ctx)
{
    Owner *removed = find_owner(set, owner);
    Snapshot *made = nullptr;
    if (!removed || set->questions > 0 || make_snapshot(set, removed, nullptr, nullptr, &made) != 0)
        return -1;
    const auto of_owner = [removed](const auto &item) { return item.owner == removed; };
    const auto used = std::count_if(set->rows.begin(), set->rows.end(), of_owner) +
                      std::count_if(set->types.begin(), set->types.end(), of_owner) +
                      std::count_if(set->modes.begin(), set->modes.end(), of_owner) + 1;
    removed->uses++; // by this removal
    remove_of(set->rows, removed);
    remove_of(set->types, removed);
    remove_of(set->modes, removed);
    removed->is_removed = true;
    removed->released = released;
    removed->ctx = ctx;
    try {
        use_snapshot(set, made);
    } catch (...) {
        end_removal(set, removed, used);
        throw;
    }
    end_removal(set, removed, used);
    return 0;
}
