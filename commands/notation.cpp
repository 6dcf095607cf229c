// Reads a syntax by recursive descent, and writes it back.

#include "notation.h"

#include <algorithm>

namespace varno::commands {
namespace {

constexpr int deepest = 16;

struct Bracket {
    char opening;
    char closing;
    NodeKind kind;
};

constexpr Bracket brackets[] = {
    {'<', '>', NodeKind::choice},
    {'[', ']', NodeKind::option},
    {'{', '}', NodeKind::set},
};

bool is_name_character(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

bool is_notation(char c)
{
    switch (c) {
    case '\0':
    case ' ':
    case '<':
    case '>':
    case '[':
    case ']':
    case '{':
    case '}':
    case '|':
    case '(':
    case ')':
    case '$':
        return true;
    default:
        return false;
    }
}

bool needs_quotes(char c)
{
    return c <= ' ' || c >= 127 || c == '"' || c == '\'' || c == '\\';
}

// Where the reading is. After the first error nothing more is read: what follows would be
// about that one.
class Reader {
  public:
    Reader(std::string_view syntax, const TypeNames &types, Findings &findings, Notation &notation)
        : syntax_(syntax), types_(types), findings_(findings), notation_(notation)
    {}

    void read()
    {
        notation_.nodes.used = 0;
        notation_.negation = {};
        notation_.root = no_node;
        skip_blanks();
        read_negation();
        skip_blanks();
        if (at_ == syntax_.size())
            return fail(Problem::empty_syntax, at_);
        const int32_t root = read_sequence(0);
        if (!has_failed_ && at_ < syntax_.size())
            fail(Problem::stray_character, at_);
        if (!has_failed_)
            check_names();
        notation_.root = has_failed_ || notation_.nodes.is_short ? no_node : root;
    }

  private:
    char next() const { return at_ < syntax_.size() ? syntax_[at_] : '\0'; }

    void skip_blanks()
    {
        while (next() == ' ')
            at_++;
    }

    void read_negation()
    {
        for (const std::string_view negation : {no_alone, no_or_default}) {
            if (const size_t len = match_negation(negation)) {
                notation_.negation = negation;
                at_ += len;
                return;
            }
        }
    }

    // How many characters a negation has, with the blanks around its words; 0: it is none.
    size_t match_negation(std::string_view negation) const
    {
        size_t at = at_;
        const auto pass_blanks = [&] {
            at = std::min(syntax_.find_first_not_of(' ', at), syntax_.size());
        };
        for (const char c : negation) {
            if (c == '|' || c == ']')
                pass_blanks();
            if (at == syntax_.size() || syntax_[at] != c)
                return 0;
            at++;
            if (c == '[' || c == '|')
                pass_blanks();
        }
        return syntax_.substr(at).starts_with(' ') ? at - at_ : 0;
    }

    void fail(Problem problem, size_t at)
    {
        if (!has_failed_)
            findings_.add(problem, static_cast<int32_t>(at));
        has_failed_ = true;
    }

    int32_t add(NodeKind kind, size_t at)
    {
        Node node = {};
        node.kind = kind;
        node.column = static_cast<int32_t>(at);
        node.first = node.next = no_node;
        if (!notation_.nodes.add(node)) {
            has_failed_ = true; // for want of memory, which is no finding
            return no_node;
        }
        return static_cast<int32_t>(notation_.nodes.used) - 1;
    }

    // Hangs a child after the last one of a parent; returns the new last one.
    int32_t hang(int32_t parent, int32_t last, int32_t child)
    {
        if (has_failed_)
            return last;
        Node &before = notation_.nodes[static_cast<size_t>(last == no_node ? parent : last)];
        (last == no_node ? before.first : before.next) = child;
        return child;
    }

    Node &node(int32_t i) { return notation_.nodes[static_cast<size_t>(i)]; }

    // Items up to the end or a bracket or bar that belongs to whoever asked.
    int32_t read_sequence(int depth)
    {
        const int32_t sequence = add(NodeKind::sequence, at_);
        int32_t last = no_node;
        for (skip_blanks(); !has_failed_ && !ends_sequence(next()); skip_blanks())
            last = hang(sequence, last, read_item(depth));
        if (!has_failed_ && last == no_node)
            fail(Problem::empty_alternative, at_);
        return sequence;
    }

    static bool ends_sequence(char c)
    {
        return c == '\0' || c == '|' || c == '>' || c == ']' || c == '}';
    }

    int32_t read_item(int depth)
    {
        const bool is_unless_no = syntax_.substr(at_).starts_with("![");
        const char opening = syntax_[at_ + (is_unless_no ? 1 : 0)];
        for (const Bracket &bracket : brackets) {
            if (bracket.opening == opening)
                return read_bracket(bracket, is_unless_no, depth);
        }
        return read_word();
    }

    int32_t read_bracket(const Bracket &bracket, bool is_unless_no, int depth)
    {
        const size_t opened = at_;
        at_ += is_unless_no ? 2 : 1;
        const int32_t group = add(is_unless_no ? NodeKind::unless_no : bracket.kind, opened);
        if (depth == deepest)
            fail(Problem::nesting_too_deep, opened);
        if (is_unless_no && notation_.negation.empty())
            fail(Problem::negation_without_no, opened);
        for (int32_t last = no_node; !has_failed_;) {
            last = hang(group, last, read_sequence(depth + 1));
            const char end = next();
            if (!has_failed_ && end != '|' && end != bracket.closing)
                fail(end == '\0' ? Problem::open_bracket : Problem::stray_character,
                     end == '\0' ? opened : at_);
            at_++;
            if (end == bracket.closing)
                break;
        }
        if (!has_failed_ && bracket.kind == NodeKind::choice && next() == '$')
            read_which(group);
        if (!has_failed_ && next() != ' ' && !ends_sequence(next()))
            fail(Problem::stray_character, at_);
        return group;
    }

    void read_which(int32_t group)
    {
        const size_t from = ++at_;
        while (!is_notation(next()))
            at_++;
        if (at_ == from)
            return fail(Problem::stray_character, at_ - 1);
        node(group).which = syntax_.substr(from, at_ - from);
    }

    int32_t read_word()
    {
        const size_t from = at_;
        while (is_name_character(next()))
            at_++;
        const std::string_view name = syntax_.substr(from, at_ - from);
        const bool ends = is_notation(next()) || syntax_.substr(at_).starts_with("...");
        if (!name.empty() && name[0] >= 'A' && name[0] <= 'Z' && ends)
            return read_argument(name, from);
        bool is_bad = false;
        for (; !is_notation(next()); at_++)
            is_bad |= needs_quotes(next());
        const std::string_view word = syntax_.substr(from, at_ - from);
        if (word.empty() || (next() != ' ' && !ends_sequence(next())))
            fail(Problem::stray_character, at_);
        else if (is_bad)
            fail(Problem::bad_word, from);
        const int32_t keyword = add(NodeKind::keyword, from);
        if (!has_failed_)
            node(keyword).text = word;
        return keyword;
    }

    int32_t read_argument(std::string_view name, size_t from)
    {
        ArgumentType type = {};
        if (next() == '(')
            read_argument_type(type);
        const bool repeats = syntax_.substr(at_).starts_with("...");
        if (repeats)
            at_ += 3;
        if (!has_failed_ && next() != ' ' && !ends_sequence(next()))
            fail(Problem::stray_character, at_);
        const int32_t argument = add(NodeKind::argument, from);
        if (has_failed_)
            return argument;
        node(argument).text = name;
        node(argument).type = type;
        node(argument).repeats = repeats;
        return argument;
    }

    void read_argument_type(ArgumentType &type)
    {
        const size_t opened = at_++;
        const size_t closed = syntax_.find(')', at_);
        if (closed == syntax_.npos)
            return fail(Problem::open_bracket, opened);
        const size_t from = at_;
        at_ = closed + 1;
        switch (read_type(syntax_.substr(from, closed - from), types_, type)) {
        case TypeReading::read:
            return;
        case TypeReading::no_type:
            return fail(Problem::bad_type, from);
        case TypeReading::no_range:
            return fail(Problem::bad_range, from);
        case TypeReading::not_registered:
            return fail(Problem::unknown_type, from);
        }
    }

    static std::string_view name_of(const Node &node)
    {
        return node.kind == NodeKind::argument ? node.text : node.which;
    }

    void check_names()
    {
        const Array<Node> &nodes = notation_.nodes;
        for (size_t i = 0; i < nodes.used; i++) {
            const std::string_view name = name_of(nodes[i]);
            for (size_t j = 0; !name.empty() && j < i; j++) {
                if (name_of(nodes[j]) == name)
                    return fail(Problem::name_twice, static_cast<size_t>(nodes[i].column));
            }
        }
    }

    const std::string_view syntax_;
    const TypeNames &types_;
    Findings &findings_;
    Notation &notation_;
    size_t at_ = 0;
    bool has_failed_ = false;
};

class Writer {
  public:
    Writer(const Notation &notation, Array<char> &out) : notation_(notation), out_(out) {}

    void write(int32_t i)
    {
        const Node &node = notation_.nodes[static_cast<size_t>(i)];
        switch (node.kind) {
        case NodeKind::keyword:
            return add(node.text);
        case NodeKind::argument:
            return write_argument(node);
        case NodeKind::sequence:
            return write_children(node, " ");
        case NodeKind::choice:
            write_group("<", node, ">");
            if (!node.which.empty()) {
                add("$");
                add(node.which);
            }
            return;
        case NodeKind::option:
            return write_group("[", node, "]");
        case NodeKind::set:
            return write_group("{", node, "}");
        case NodeKind::unless_no:
            return write_group("![", node, "]");
        }
    }

    void add(std::string_view text) { out_.append(text.data(), text.size()); }

  private:
    void write_children(const Node &node, std::string_view between)
    {
        for (int32_t i = node.first; i != no_node;) {
            if (i != node.first)
                add(between);
            write(i);
            i = notation_.nodes[static_cast<size_t>(i)].next;
        }
    }

    void write_group(std::string_view opening, const Node &node, std::string_view closing)
    {
        add(opening);
        write_children(node, "|");
        add(closing);
    }

    // As it was spelt: the syntax has it up to the parenthesis.
    void write_argument(const Node &node)
    {
        add(node.text);
        const char *after = node.text.data() + node.text.size();
        if (node.type.kind != TypeKind::word)
            add({after, std::string_view(after).find(')') + 1});
        if (node.repeats)
            add("...");
    }

    const Notation &notation_;
    Array<char> &out_;
};

} // namespace

void read_notation(std::string_view syntax, const TypeNames &types, Findings &findings,
                   Notation &out_notation)
{
    Reader(syntax, types, findings, out_notation).read();
}

void write_notation(const Notation &notation, Array<char> &out_text)
{
    Writer writer(notation, out_text);
    if (!notation.negation.empty()) {
        writer.add(notation.negation);
        writer.add(" ");
    }
    if (notation.root != no_node)
        writer.write(notation.root);
}

} // namespace varno::commands
