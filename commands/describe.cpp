// What a set has been built from, for people and programs: references and random lines.

#include "json.h"
#include "notation.h"
#include "set.h"

#include <varno/commands.h>

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <random>
#include <string_view>
#include <utility>

namespace varno::commands {
namespace {

// A word of a command, but for its fixed ones.
struct Word {
    std::string_view text;
    std::string_view type; // of an argument, as the syntax spells it; "word" when it has none
    bool is_argument;
    const char *help;
};

constexpr int32_t walked_lines = 100;

void add(Array<char> &out, std::string_view text)
{
    out.append(text.data(), text.size());
}

bool is_control(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == 0x7f;
}

int32_t find_type(void *user, std::string_view name)
{
    const auto &types = static_cast<const Snapshot *>(user)->types;
    size_t i = 0;
    while (i < types.used && types[i].type->name != name)
        i++;
    return i < types.used ? static_cast<int32_t>(i) : -1;
}

// Reads a syntax that has been built: nothing is wrong with it. Returns false without memory.
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

// References

// What one format makes of the parts of a reference, in their order.
struct Format {
    void (*begin)(Array<char> &out, const Snapshot *snapshot);
    void (*begin_mode)(Array<char> &out, const Snapshot *snapshot, size_t mode);
    void (*begin_command)(Array<char> &out, const Snapshot *snapshot, const Row &row,
                          std::string_view syntax, bool is_first);
    void (*add_word)(Array<char> &out, const Word &word, bool is_first);
    void (*end_command)(Array<char> &out, const Snapshot *snapshot, const Row &row, bool has_words);
    void (*end_mode)(Array<char> &out);
    void (*end)(Array<char> &out);
};

const cli_mode_s &mode_at(const Snapshot *snapshot, size_t i)
{
    return *snapshot->modes[i].mode;
}

std::string_view text_or_nothing(const char *text)
{
    return text ? text : "";
}

void add_number(Array<char> &out, int64_t number)
{
    char text[24];
    std::snprintf(text, std::size(text), "%" PRId64, number);
    add(out, text);
}

// Markdown

// Any text, as it is.
void add_prose(Array<char> &out, std::string_view text)
{
    for (const char c : text) {
        if (std::strchr("\\`*_[]<>&#|~", c) && c != '\0')
            out.add('\\');
        out.add(is_control(c) ? ' ' : c);
    }
}

// The fence is longer than those in the text.
void add_code(Array<char> &out, std::string_view text)
{
    std::string_view fence = "`";
    if (text.find('`') != text.npos)
        fence = text.find("``") == text.npos ? "``" : "````````";
    add(out, fence);
    add(out, fence.size() > 1 ? " " : "");
    for (const char c : text)
        out.add(is_control(c) ? ' ' : c);
    add(out, fence.size() > 1 ? " " : "");
    add(out, fence);
}

void begin_markdown(Array<char> &out, const Snapshot *snapshot)
{
    add(out, "# Commands");
    if (snapshot->set->host) {
        add(out, " of ");
        add_prose(out, snapshot->set->host);
    }
    add(out, "\n");
}

void begin_markdown_mode(Array<char> &out, const Snapshot *snapshot, size_t i)
{
    const cli_mode_s &mode = mode_at(snapshot, i);
    if (!mode.name)
        return;
    add(out, "\n## Mode ");
    add_code(out, mode.name);
    add(out, "\n");
    if (i > 0 && (mode.flags & CLI_INHERITS) != 0) {
        add(out, "\nIt has the commands of ");
        add_code(out, mode.parent);
        add(out, ", too.\n");
    }
    if (i > 0 && (mode.flags & CLI_DO) != 0) {
        add(out, "\nAfter `do` it has those of ");
        add_code(out, text_or_nothing(mode_at(snapshot, 0).name));
        add(out, ".\n");
    }
}

void begin_markdown_command(Array<char> &out, const Snapshot *, const Row &row,
                            std::string_view syntax, bool)
{
    add(out, "\n### ");
    add_code(out, syntax);
    add(out, "\n");
    if (row.command->help) {
        add(out, "\n");
        add_prose(out, row.command->help);
        add(out, "\n");
    }
}

void add_markdown_word(Array<char> &out, const Word &word, bool is_first)
{
    add(out, is_first ? "\n- " : "- ");
    add_code(out, word.text);
    add(out, *word.help ? ": " : "");
    add_prose(out, word.help);
    add(out, "\n");
}

void end_markdown_command(Array<char> &out, const Snapshot *snapshot, const Row &row, bool)
{
    if (row.command->level > 0) {
        add(out, "\nFrom level ");
        add_number(out, row.command->level);
        add(out, " on.\n");
    }
    if (row.enters >= 0) {
        add(out, "\nLeads to mode ");
        add_code(out, mode_at(snapshot, static_cast<size_t>(row.enters)).name);
        add(out, ".\n");
    }
}

void end_with_nothing(Array<char> &) {}

constexpr Format markdown = {begin_markdown,    begin_markdown_mode,  begin_markdown_command,
                             add_markdown_word, end_markdown_command, end_with_nothing,
                             end_with_nothing};

// A manual page

// One argument of a macro, whatever it is.
void add_quoted_roff(Array<char> &out, std::string_view text)
{
    add(out, "\"\\&");
    for (const char c : text) {
        if (c == '\\')
            add(out, "\\e");
        else if (c == '"')
            add(out, "\\(dq");
        else if (c == '-')
            add(out, "\\-");
        else
            out.add(is_control(c) ? ' ' : c);
    }
    add(out, "\"");
}

// A row of text.
void add_roff(Array<char> &out, std::string_view text)
{
    add(out, "\\&");
    for (const char c : text) {
        if (c == '\\')
            add(out, "\\e");
        else
            out.add(is_control(c) ? ' ' : c);
    }
    add(out, "\n");
}

// The day of SOURCE_DATE_EPOCH, by which a build gives the same bytes on any day; else today.
void add_date(Array<char> &out)
{
    static constexpr const char *months[] = {"January",   "February", "March",    "April",
                                             "May",       "June",     "July",     "August",
                                             "September", "October",  "November", "December"};
    const char *told = std::getenv("SOURCE_DATE_EPOCH");
    const std::time_t now =
        told ? static_cast<std::time_t>(std::strtoll(told, nullptr, 10)) : std::time(nullptr);
    std::tm day = {};
    gmtime_r(&now, &day);
    char date[64];
    std::snprintf(date, sizeof(date), "%s %d, %d", months[day.tm_mon], day.tm_mday,
                  day.tm_year + 1900);
    add(out, date);
}

// The title of a page is in capitals.
void add_title(Array<char> &out, std::string_view name)
{
    Array<char> title = {};
    for (const char c : name)
        title.add(c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c);
    add_quoted_roff(out, {title.begin(), title.used});
    out.is_short = out.is_short || title.is_short;
    title.release();
}

void begin_man(Array<char> &out, const Snapshot *snapshot)
{
    const char *name = snapshot->set->host ? snapshot->set->host : "device";
    add(out, ".Dd ");
    add_date(out);
    add(out, "\n.Dt ");
    add_title(out, name);
    add(out, " 7\n.Os\n.Sh NAME\n.Nm ");
    add_quoted_roff(out, name);
    add(out, "\n.Nd its commands\n.Sh DESCRIPTION\n");
}

void begin_man_mode(Array<char> &out, const Snapshot *snapshot, size_t i)
{
    const cli_mode_s &mode = mode_at(snapshot, i);
    if (mode.name) {
        add(out, ".Ss Mode ");
        add_quoted_roff(out, mode.name);
        add(out, "\n");
    }
    if (i > 0 && (mode.flags & CLI_INHERITS) != 0) {
        add(out, "It has the commands of\n.Ic ");
        add_quoted_roff(out, mode.parent);
        add(out, " ,\ntoo.\n");
    }
    if (i > 0 && (mode.flags & CLI_DO) != 0) {
        add(out, "After\n.Ic do\nit has those of\n.Ic ");
        add_quoted_roff(out, text_or_nothing(mode_at(snapshot, 0).name));
        add(out, " .\n");
    }
    add(out, ".Bl -tag -width Ds\n");
}

void begin_man_command(Array<char> &out, const Snapshot *, const Row &row, std::string_view syntax,
                       bool)
{
    add(out, ".It Ic ");
    add_quoted_roff(out, syntax);
    add(out, "\n");
    add_roff(out, text_or_nothing(row.command->help));
}

void add_man_word(Array<char> &out, const Word &word, bool is_first)
{
    add(out, is_first ? ".Bl -tag -width Ds -compact\n" : "");
    add(out, word.is_argument ? ".It Ar " : ".It Ic ");
    add_quoted_roff(out, word.text);
    add(out, "\n");
    add_roff(out, word.help);
}

void end_man_command(Array<char> &out, const Snapshot *snapshot, const Row &row, bool has_words)
{
    add(out, has_words ? ".El\n" : "");
    if (row.command->level > 0) {
        add(out, ".Pp\nFrom level ");
        add_number(out, row.command->level);
        add(out, " on.\n");
    }
    if (row.enters >= 0) {
        add(out, ".Pp\nLeads to mode\n.Ic ");
        add_quoted_roff(out, mode_at(snapshot, static_cast<size_t>(row.enters)).name);
        add(out, " .\n");
    }
}

void end_man_mode(Array<char> &out)
{
    add(out, ".El\n");
}

constexpr Format man = {begin_man,       begin_man_mode, begin_man_command, add_man_word,
                        end_man_command, end_man_mode,   end_with_nothing};

// JSON

void add_json(Array<char> &out, const char *key, std::string_view text)
{
    char part[256];
    add(out, "\"");
    add(out, key);
    add(out, "\": \"");
    while (!text.empty()) {
        text.remove_prefix(escape_json(text, true, part, std::size(part)));
        add(out, part);
    }
    add(out, "\"");
}

void add_json_or_null(Array<char> &out, const char *key, const char *text)
{
    if (text)
        return add_json(out, key, text);
    add(out, "\"");
    add(out, key);
    add(out, "\": null");
}

void begin_json(Array<char> &out, const Snapshot *snapshot)
{
    add(out, "{");
    add_json_or_null(out, "host", snapshot->set->host);
    add(out, ", \"modes\": [");
}

void begin_json_mode(Array<char> &out, const Snapshot *snapshot, size_t i)
{
    const cli_mode_s &mode = mode_at(snapshot, i);
    add(out, i > 0 ? ",\n{" : "\n{");
    add_json_or_null(out, "name", mode.name);
    add(out, ", ");
    add_json_or_null(out, "parent", mode.parent);
    add(out, ", \"inherits\": ");
    add(out, i > 0 && (mode.flags & CLI_INHERITS) != 0 ? "true" : "false");
    add(out, ", \"do\": ");
    add(out, i > 0 && (mode.flags & CLI_DO) != 0 ? "true" : "false");
    add(out, ", \"commands\": [");
}

void begin_json_command(Array<char> &out, const Snapshot *snapshot, const Row &row,
                        std::string_view syntax, bool is_first)
{
    add(out, is_first ? "\n  {" : ",\n  {");
    add_json(out, "syntax", syntax);
    add(out, ", ");
    add_json(out, "help", text_or_nothing(row.command->help));
    add(out, ", \"level\": ");
    add_number(out, row.command->level);
    add(out, ", ");
    add_json_or_null(out, "enters",
                     row.enters < 0 ? nullptr
                                    : mode_at(snapshot, static_cast<size_t>(row.enters)).name);
    add(out, ", \"words\": [");
}

void add_json_word(Array<char> &out, const Word &word, bool is_first)
{
    add(out, is_first ? "\n    {" : ",\n    {");
    add_json(out, word.is_argument ? "argument" : "keyword", word.text);
    if (word.is_argument) {
        add(out, ", ");
        add_json(out, "type", word.type);
    }
    add(out, ", ");
    add_json(out, "help", word.help);
    add(out, "}");
}

void end_json_command(Array<char> &out, const Snapshot *, const Row &, bool)
{
    add(out, "]}");
}

void end_json_mode(Array<char> &out)
{
    add(out, "]}");
}

void end_json(Array<char> &out)
{
    add(out, "]}\n");
}

constexpr Format json = {begin_json,    begin_json_mode,  begin_json_command,
                         add_json_word, end_json_command, end_json_mode,
                         end_json};

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
        format.begin_command(out, snapshot, row, {syntax.begin(), syntax.used}, is_first);
        for (const Word &word : words)
            format.add_word(out, word, &word == words.begin());
        format.end_command(out, snapshot, row, words.used > 0);
    }
    words.release();
    syntax.release();
    notation.nodes.release();
    return is_read;
}

// Returns false without memory.
bool describe(const Snapshot *snapshot, int32_t level, const Format &format, Array<char> &out)
{
    bool is_whole = true;
    format.begin(out, snapshot);
    for (size_t mode = 0; mode < snapshot->modes.used; mode++) {
        bool is_first = true;
        format.begin_mode(out, snapshot, mode);
        for (size_t i = 0; i < snapshot->rows.used && is_whole; i++) {
            const Row &row = snapshot->rows[i];
            if (row.of != static_cast<int32_t>(mode) || !is_described(row, level))
                continue;
            is_whole = describe_row(snapshot, level, row, format, is_first, out);
            is_first = false;
        }
        format.end_mode(out);
    }
    format.end(out);
    return is_whole && !out.is_short;
}

// Random lines

class Walk {
  public:
    Walk(const Snapshot *snapshot, int32_t level, uint64_t seed, Array<char> &out)
        : snapshot_(snapshot), level_(level), random_(seed), out_(out)
    {}

    // Returns false without memory.
    bool walk()
    {
        bool is_whole = true;
        for (int32_t i = 0; i < walked_lines && is_whole; i++)
            is_whole = add_line();
        return is_whole && !out_.is_short;
    }

  private:
    uint64_t below(uint64_t end) { return random_() % end; }

    const cli_mode_s &mode(int32_t i) const { return mode_at(snapshot_, static_cast<size_t>(i)); }

    // How many modes out from the one that the walk is in has the row; -1: none.
    int32_t depth_of(const Row &row) const
    {
        int32_t depth = 0;
        int32_t of = mode_;
        for (; of != row.of; depth++) {
            if (of == 0 || (mode(of).flags & CLI_INHERITS) == 0)
                return -1;
            of = find_mode(snapshot_, mode(of).parent);
        }
        return depth;
    }

    bool is_possible(const Row &row) const
    {
        return is_described(row, level_) && depth_of(row) >= 0;
    }

    // The row that is run for the words of one: the mode's own, and the library's last.
    const Row &row_run_for(const Row &row) const
    {
        const Row *best = &row;
        const auto rank = [&](const Row &one) { return 2 * depth_of(one) + !one.owner; };
        for (const Row &other : snapshot_->rows) {
            if (std::strcmp(other.command->syntax, row.command->syntax) == 0 &&
                is_possible(other) && rank(other) < rank(*best))
                best = &other;
        }
        return *best;
    }

    bool add_line()
    {
        uint64_t possible = 0;
        for (const Row &row : snapshot_->rows)
            possible += is_possible(row);
        if (possible == 0)
            return true;
        uint64_t chosen = below(possible);
        const Row *row = snapshot_->rows.begin();
        while (!is_possible(*row) || chosen-- > 0)
            row++;
        Notation notation = {};
        const bool is_read = read_built(snapshot_, row->command->syntax, notation);
        if (is_read)
            add_words(notation);
        notation.nodes.release();
        follow(row_run_for(*row));
        return is_read;
    }

    void follow(const Row &row)
    {
        mode_ = row.of;
        if (row.move == Move::enter)
            mode_ = row.enters;
        else if (row.move == Move::leave)
            mode_ = find_mode(snapshot_, mode(mode_).parent);
        else if (row.move == Move::leave_all)
            mode_ = 0;
    }

    void add_words(const Notation &notation)
    {
        notation_ = &notation;
        is_first_ = true;
        is_negated_ = !notation.negation.empty() && below(2) == 1;
        if (is_negated_) {
            const bool is_default = notation.negation == no_or_default && below(2) == 1;
            add_word(is_default ? "default" : "no");
        }
        add_part(notation.root);
        add(out_, "\n");
    }

    void begin_word()
    {
        if (!is_first_)
            add(out_, " ");
        is_first_ = false;
    }

    void add_word(std::string_view text)
    {
        begin_word();
        add(out_, text);
    }

    const Node &node(int32_t i) const { return notation_->nodes[static_cast<size_t>(i)]; }

    uint64_t count_children(const Node &part) const
    {
        uint64_t children = 0;
        for (int32_t i = part.first; i != no_node; i = node(i).next)
            children++;
        return children;
    }

    int32_t child_at(const Node &part, uint64_t at) const
    {
        int32_t i = part.first;
        while (at-- > 0)
            i = node(i).next;
        return i;
    }

    void add_part(int32_t i)
    {
        const Node &part = node(i);
        switch (part.kind) {
        case NodeKind::keyword:
            return add_word(part.text);
        case NodeKind::argument:
            for (uint64_t words = part.repeats ? 1 + below(3) : 1; words > 0; words--) {
                begin_word();
                add_value(part.type);
            }
            return;
        case NodeKind::sequence:
            for (int32_t child = part.first; child != no_node; child = node(child).next)
                add_part(child);
            return;
        case NodeKind::set:
            return add_set(part);
        case NodeKind::option:
            if (below(2) == 1)
                return;
            break;
        case NodeKind::unless_no:
            if (is_negated_ && below(2) == 1)
                return;
            break;
        case NodeKind::choice:
            break;
        }
        add_part(child_at(part, below(count_children(part))));
    }

    // Some of them, each once, in any order. A set has 64 options at most.
    void add_set(const Node &part)
    {
        const uint64_t children = count_children(part);
        uint64_t given = 0;
        for (uint64_t turns = 1 + below(children); turns > 0; turns--) {
            const uint64_t chosen = below(children);
            if ((given >> chosen & 1) == 0)
                add_part(child_at(part, chosen));
            given |= uint64_t{1} << chosen;
        }
    }

    VARNO_PRINTF(2, 3)
    void add_formatted(const char *format, ...)
    {
        char text[64];
        va_list values;
        va_start(values, format);
        std::vsnprintf(text, std::size(text), format, values);
        va_end(values);
        add(out_, text);
    }

    void add_value(const ArgumentType &type)
    {
        const bool is_six = below(2) == 1;
        switch (type.kind) {
        case TypeKind::range:
            return add_number(out_, number_of(type));
        case TypeKind::ipv4:
        case TypeKind::ipv4_prefix:
            return add_address(false, type.kind == TypeKind::ipv4_prefix);
        case TypeKind::ipv6:
        case TypeKind::ipv6_prefix:
            return add_address(true, type.kind == TypeKind::ipv6_prefix);
        case TypeKind::ip:
        case TypeKind::ip_prefix:
            return add_address(is_six, type.kind == TypeKind::ip_prefix);
        case TypeKind::mac:
            for (int i = 0; i < 6; i++)
                add_formatted("%s%02x", i > 0 ? ":" : "", static_cast<unsigned>(below(256)));
            return;
        case TypeKind::hex:
            return add_formatted("0x%" PRIx64, random_() >> below(64));
        default: // a number at its end keeps it from being the beginning of a keyword
            return add_formatted("%c%c%u", letter(), letter(), static_cast<unsigned>(below(1000)));
        }
    }

    int letter() { return 'a' + static_cast<int>(below(26)); }

    int64_t number_of(const ArgumentType &type)
    {
        const uint64_t numbers =
            static_cast<uint64_t>(type.most) - static_cast<uint64_t>(type.least) + 1;
        const uint64_t chosen = numbers == 0 ? random_() : below(numbers);
        return static_cast<int64_t>(static_cast<uint64_t>(type.least) + chosen);
    }

    void add_address(bool is_six, bool is_prefix)
    {
        for (int i = 0; is_six && i < 8; i++)
            add_formatted("%s%x", i > 0 ? ":" : "", static_cast<unsigned>(below(0x10000)));
        for (int i = 0; !is_six && i < 4; i++)
            add_formatted("%s%u", i > 0 ? "." : "", static_cast<unsigned>(below(256)));
        if (is_prefix)
            add_formatted("/%u", static_cast<unsigned>(below(is_six ? 129 : 33)));
    }

    const Snapshot *snapshot_;
    int32_t level_;
    std::mt19937_64 random_;
    Array<char> &out_;
    int32_t mode_ = 0;
    const Notation *notation_ = nullptr;
    bool is_first_ = true;
    bool is_negated_ = false;
};

// Returns false without memory, or when there is no such format.
bool write_format(const Snapshot *snapshot, int32_t level, std::string_view format, uint64_t seed,
                  Array<char> &out)
{
    constexpr std::pair<std::string_view, const Format &> formats[] = {
        {"markdown", markdown}, {"man", man}, {"json", json}};
    for (const auto &[name, made] : formats) {
        if (name == format)
            return describe(snapshot, level, made, out);
    }
    return format == "walk" && Walk(snapshot, level, seed, out).walk();
}

} // namespace
} // namespace varno::commands

using namespace varno::commands;

int32_t cli_set_describe(const cli_set_s *set, int32_t level, const char *format, uint64_t seed,
                         cli_output_fn text, void *ctx)
{
    Snapshot *snapshot = hold(set->current);
    Array<char> out = {};
    const bool is_written = snapshot && write_format(snapshot, level, format, seed, out);
    try {
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
