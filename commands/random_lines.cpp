// Random lines that a shell takes.

#include "describe.h"
#include "filter.h"
#include "quoted_word.h"
#include "shell.h"

#include <varno/commands.h>

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <random>
#include <string_view>

namespace varno::commands {
namespace {

constexpr int32_t walked_lines = 100;

class Walk {
  public:
    Walk(cli_shell_s *shell, const Snapshot *snapshot, int32_t level, uint64_t seed,
         Array<char> &out)
        : shell_(shell), snapshot_(snapshot), level_(level), random_(seed), out_(out)
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
        try {
            if (is_read)
                add_words(notation);
        } catch (...) {
            notation.nodes.release();
            throw;
        }
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
        notation_ = nullptr;
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

    // There is one at least.
    uint64_t count_children(const Node &part) const
    {
        uint64_t children = 1;
        for (int32_t i = node(part.first).next; i != no_node; i = node(i).next)
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
        case TypeKind::registered:
            if (add_listed(type))
                return;
            [[fallthrough]];
        default: // a number at its end keeps it from being the beginning of a keyword
            return add_formatted("%c%c%u", letter(), letter(), static_cast<unsigned>(below(1000)));
        }
    }

    // One of the values that a program's type lists. Returns false where there is none.
    bool add_listed(const ArgumentType &type)
    {
        const cli_type_s &asked = *snapshot_->types[static_cast<size_t>(type.registered)].type;
        if (!asked.list)
            return false;
        struct Choice {
            Walk *walk;
            uint64_t seen;
            Array<char> value; // terminated
        } choice = {this, 0, {}};
        const auto see = [](void *ctx, const char *text, const char *) {
            auto &made = *static_cast<Choice *>(ctx);
            if (!text || made.walk->below(++made.seen) != 0)
                return;
            made.value.used = 0;
            add(made.value, text);
            made.value.add('\0');
        };
        try {
            list_values(shell_, asked, "", see, &choice);
        } catch (...) {
            choice.value.release();
            throw;
        }
        const bool is_there = choice.value.used > 0;
        if (is_there)
            add_quoted(out_, choice.value.begin());
        out_.is_short = out_.is_short || choice.value.is_short;
        choice.value.release();
        return is_there;
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

    cli_shell_s *shell_; // types are asked with it
    const Snapshot *snapshot_;
    int32_t level_;
    std::mt19937_64 random_;
    Array<char> &out_;
    int32_t mode_ = 0;
    const Notation *notation_ = nullptr;
    bool is_first_ = true;
    bool is_negated_ = false;
};

} // namespace

bool add_random_lines(const Snapshot *snapshot, int32_t level, uint64_t seed, Array<char> &out)
{
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = snapshot->set;
    config.level = level;
    cli_shell_s *shell = cli_shell_create(&config);
    if (!shell)
        return false;
    bool is_whole = false;
    try {
        is_whole = Walk(shell, snapshot, level, seed, out).walk();
    } catch (...) {
        cli_shell_free(shell);
        throw;
    }
    cli_shell_free(shell);
    return is_whole;
}

} // namespace varno::commands
