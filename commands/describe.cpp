// References: the parts of what a set has been built from, in the order in which they are told.

#include "describe.h"
#include "pipes.h"

#include <varno/commands.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

namespace varno::commands {
namespace {

int32_t find_type(void *user, std::string_view name)
{
    const auto &types = static_cast<const Snapshot *>(user)->types;
    size_t i = 0;
    while (i < types.used && types[i].type->name != name)
        i++;
    return i < types.used ? static_cast<int32_t>(i) : -1;
}

// Help of words

using Levels = Array<const cli_pnode_s *>; // first alternatives

// Follows a definition through the graph, which has the help of each word.
class Follower {
  public:
    Follower(const Graph &graph, const Notation &notation, Array<Word> &words)
        : graph_(graph), notation_(notation), words_(words)
    {}

    // Returns false without memory.
    bool follow(const cli_pnode_s *root)
    {
        Levels from = {};
        Levels to = {};
        add_level(from, root);
        for (const cli_pnode_s *one = root; !notation_.negation.empty() && one != &NONE;
             one = one->next) {
            if (one->type == PNODE_KEYWORD && std::strcmp(one->keyword, "no") == 0)
                add_level(from, one->child);
        }
        follow_part(notation_.root, from, to, true);
        from.release();
        to.release();
        return !is_short_ && !words_.is_short;
    }

  private:
    const Node &node(int32_t i) const { return notation_.nodes[static_cast<size_t>(i)]; }

    void add_level(Levels &levels, const cli_pnode_s *level)
    {
        for (const cli_pnode_s *known : levels) {
            if (known == level)
                return;
        }
        if (level != &NONE)
            is_short_ |= !levels.add(level);
    }

    void follow_part(int32_t i, const Levels &from, Levels &to, bool is_top)
    {
        const Node &part = node(i);
        switch (part.kind) {
        case NodeKind::keyword:
        case NodeKind::argument:
            return follow_word(part, from, to, is_top);
        case NodeKind::sequence:
            return follow_sequence(part, from, to, is_top);
        default:
            break;
        }
        for (int32_t child = part.first; child != no_node; child = node(child).next)
            follow_part(child, from, to, false);
        if (part.kind == NodeKind::option || part.kind == NodeKind::unless_no) {
            for (const cli_pnode_s *level : from)
                add_level(to, level);
        }
    }

    void follow_sequence(const Node &part, const Levels &from, Levels &to, bool is_top)
    {
        Levels now = {};
        for (const cli_pnode_s *level : from)
            add_level(now, level);
        for (int32_t child = part.first; child != no_node; child = node(child).next) {
            Levels after = {};
            follow_part(child, now, after, is_top);
            now.release();
            now = after;
        }
        for (const cli_pnode_s *level : now)
            add_level(to, level);
        now.release();
    }

    void follow_word(const Node &word, const Levels &from, Levels &to, bool is_top)
    {
        const char *help = "";
        for (const cli_pnode_s *level : from) {
            for (const cli_pnode_s *one = level; one != &NONE; one = one->next) {
                if (!is_node_of(*one, word))
                    continue;
                if (*help == '\0' && one->help)
                    help = one->help;
                add_level(to, one->child);
            }
        }
        const bool is_argument = word.kind == NodeKind::argument;
        if (is_argument || !is_top)
            words_.add({word.text, is_argument ? type_of(word) : "", is_argument, help});
    }

    bool is_node_of(const cli_pnode_s &one, const Node &word) const
    {
        if (word.kind == NodeKind::keyword)
            return one.type == PNODE_KEYWORD && word.text == one.keyword;
        return one.type == PNODE_STRING && word.text == one.keyword &&
               graph_.types[static_cast<size_t>(one.aux_int)] == word.type;
    }

    static std::string_view type_of(const Node &word)
    {
        if (word.type.kind == TypeKind::word)
            return "word";
        const std::string_view after = word.text.data() + word.text.size() + 1;
        return after.substr(0, after.find(')'));
    }

    const Graph &graph_;
    const Notation &notation_;
    Array<Word> &words_;
    bool is_short_ = false;
};

// Parts

bool has_line(const Notation &notation)
{
    for (const Node &node : notation.nodes) {
        if (node.kind == NodeKind::argument && node.type.kind == TypeKind::line)
            return true;
    }
    return false;
}

// Returns false without memory.
bool describe_row(const Snapshot *snapshot, int32_t level, const Row &row, const Format &format,
                  bool is_first, Array<char> &out)
{
    Notation notation = {};
    Array<char> syntax = {};
    Array<Word> words = {};
    bool is_read = read_built(snapshot, row.command->syntax, notation);
    if (is_read) {
        write_notation(notation, syntax);
        is_read =
            !syntax.is_short &&
            Follower(snapshot->graph, notation, words).follow(root_of(snapshot, row.of, level));
    }
    if (is_read) {
        const char *enters =
            row.enters < 0 ? nullptr : mode_at(snapshot, static_cast<size_t>(row.enters)).name;
        const Described command = {{syntax.begin(), syntax.used},
                                   row.command,
                                   enters,
                                   is_filter(row),
                                   takes_filters(*row.command) && !has_line(notation),
                                   is_first};
        format.begin_command(out, command);
        for (const Word &word : words)
            format.add_word(out, word, &word == words.begin());
        format.end_command(out, command, words.used > 0);
    }
    words.release();
    syntax.release();
    notation.nodes.release();
    return is_read;
}

// A mode is told of where something that is told of leads to it.
bool is_mode_described(const Snapshot *snapshot, size_t mode, int32_t level)
{
    if (mode == 0)
        return true;
    for (const Row &row : snapshot->rows) {
        if (row.enters == static_cast<int32_t>(mode) && is_described(row, level) &&
            is_mode_described(snapshot, static_cast<size_t>(row.of), level))
            return true;
    }
    return false;
}

// Returns false without memory.
bool describe(const Snapshot *snapshot, int32_t level, const Format &format, Array<char> &out)
{
    bool is_whole = true;
    bool is_first = true;
    format.begin(out, snapshot);
    for (size_t mode = 0; mode < snapshot->modes.used; mode++) {
        if (!is_mode_described(snapshot, mode, level))
            continue;
        format.begin_mode(out, snapshot, mode);
        is_first = true;
        for (size_t i = 0; i < snapshot->rows.used && is_whole; i++) {
            const Row &row = snapshot->rows[i];
            if (row.of != static_cast<int32_t>(mode) || !is_described(row, level))
                continue;
            is_whole = describe_row(snapshot, level, row, format, is_first, out);
            is_first = false;
        }
        format.end_mode(out);
    }
    format.begin_filters(out);
    is_first = true;
    for (size_t i = 0; i < snapshot->rows.used && is_whole; i++) {
        const Row &row = snapshot->rows[i];
        if (!is_filter(row) || row.of != filter_mode(snapshot))
            continue;
        is_whole = describe_row(snapshot, level, row, format, is_first, out);
        is_first = false;
    }
    format.end(out);
    return is_whole && !out.is_short;
}

// Returns false without memory, or when there is no such format.
bool write_format(const Snapshot *snapshot, int32_t level, std::string_view format, uint64_t seed,
                  Array<char> &out)
{
    constexpr std::pair<std::string_view, const Format &> formats[] = {
        {"markdown", markdown_format}, {"man", man_format}, {"json", json_format}};
    for (const auto &[name, made] : formats) {
        if (name == format)
            return describe(snapshot, level, made, out);
    }
    return format == "walk" && add_random_lines(snapshot, level, seed, out);
}

} // namespace

void add(Array<char> &out, std::string_view text)
{
    out.append(text.data(), text.size());
}

void add_number(Array<char> &out, int64_t number)
{
    char text[24];
    std::snprintf(text, std::size(text), "%" PRId64, number);
    add(out, text);
}

bool read_built(const Snapshot *snapshot, const char *syntax, Notation &out_notation)
{
    Findings findings = {};
    const TypeNames types = {const_cast<Snapshot *>(snapshot), find_type, nullptr};
    read_notation(syntax, types, findings, out_notation);
    findings.list.release();
    return !out_notation.nodes.is_short;
}

bool is_described(const Row &row, int32_t level)
{
    const cli_command_s &command = *row.command;
    return (command.run || row.move != Move::stay) && (command.flags & CLI_HIDDEN) == 0 &&
           command.level <= level;
}

} // namespace varno::commands

using namespace varno::commands;

int32_t cli_set_describe(const cli_set_s *set, int32_t level, const char *format, uint64_t seed,
                         cli_output_fn text, void *ctx)
{
    Snapshot *snapshot = hold(set->current);
    Array<char> out = {};
    bool is_written = false;
    try {
        is_written = snapshot && write_format(snapshot, level, format, seed, out);
        if (is_written)
            text(ctx, out.begin(), out.used);
    } catch (...) {
        out.release();
        let_go(snapshot);
        throw;
    }
    out.release();
    let_go(snapshot);
    return is_written ? 0 : -1;
}
