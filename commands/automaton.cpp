// Definitions to parse nodes, in four steps: each definition's word positions and what may
// follow each (Glushkov's construction); one number for each different word or argument; sets
// of positions that the same words lead to (the subset construction); nodes.
//
// A set {a|b} is a loop over its options; that each is given at most once is no matter of the
// graph but of the filter, which follows the few definitions that have sets.

#include "automaton.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace varno::commands {
namespace {

constexpr int32_t none = -1;
constexpr int32_t most_options = 64;
constexpr size_t widest_help = 57;

// A word of a definition, in one of its forms.
struct Place {
    int32_t form;
    int32_t symbol;
    int32_t first_step;
    int32_t end_step;
    int32_t column;
    bool is_end;
    bool is_last_word; // the last keyword outside of brackets
    bool repeats;
    bool may_be_used_up; // it is in an option, or comes after one
    std::string_view which;
    int32_t twin;   // the same word in the form without "no", or itself
    int32_t help;   // of a twin: the row that documents it, or none
    uint32_t noted; // of a twin: problems that have been noted, one bit each
};

static_assert(static_cast<int>(Problem::help_of_nothing) < 32);

// A definition as it is, or what its [no] makes of it.
struct Draft {
    int32_t definition;
    int32_t first_step;
    int32_t end_step;
    int32_t first_place;
    int32_t end_place;
    bool has_sets;
    bool is_followed; // at run time: it has sets, or a <a|b>$which
};

// A step before all steps of a place stand together.
struct Link {
    int32_t from; // a place; for the first words a form, below 0: -1 - form
    int32_t to;
    uint64_t options;
};

// Where a part of a syntax can begin.
struct Entry {
    int32_t place;
    uint64_t options;
};

// What is known of a part: its entries and exits are the newest of the two stacks.
struct Part {
    size_t first_entry;
    size_t first_exit;
    bool may_be_empty;
};

// What may follow some words: states with the same future are one, so that the options of a
// set, each of which may follow each, are there once.
struct State {
    int32_t first_member; // places [first_member, end_member) of members, ascending: the next words
    int32_t end_member;
    int32_t end;  // the form of the command that may end here, or none
    int32_t next; // another state that begins with the same place
    int32_t first_edge;
    int32_t end_edge;
};

// A word that leads from one state to another; a node, if some command goes through it.
struct Edge {
    int32_t symbol;
    int32_t first_target; // places [first_target, end_target) of targets: what the word can be
    int32_t end_target;
    int32_t to;   // state
    int32_t help; // the definition whose help it is, or none
    bool is_command;
};

// A place of the state whose edges are being made, and its edge.
struct Target {
    int32_t edge;
    int32_t place;
};

// What a node will point at, as long as that may still move.
struct NodeDraft {
    int32_t record; // index of a Through, or none
    int32_t help;   // where in the graph's texts, or none: it is the definition's
};

bool is_same_symbol(const Symbol &one, const Symbol &other)
{
    return one.is_keyword == other.is_keyword && one.text == other.text && one.type == other.type;
}

bool is_before(const Symbol &one, const Symbol &other)
{
    if (one.is_keyword != other.is_keyword)
        return other.is_keyword;
    if (const int order = one.text.compare(other.text))
        return order < 0;
    const ArgumentType &a = one.type;
    const ArgumentType &b = other.type;
    if (a.kind != b.kind)
        return a.kind < b.kind;
    if (a.registered != b.registered)
        return a.registered < b.registered;
    return a.least != b.least ? a.least < b.least : a.most < b.most;
}

bool is_earlier(const Finding &one, const Finding &other)
{
    if (one.row != other.row)
        return one.row < other.row;
    return one.column != other.column ? one.column < other.column : one.problem < other.problem;
}

// Leaves a build from any depth; it ends in Builder::build.
struct OutOfMemory {};

template <typename Item>
int32_t count(const Array<Item> &array)
{
    return static_cast<int32_t>(array.used);
}

// Returns the new item's index.
template <typename Item>
int32_t add(Array<Item> &array, const Item &item)
{
    if (!array.add(item))
        throw OutOfMemory{};
    return count(array) - 1;
}

template <typename Item>
void fill(Array<Item> &array, size_t wanted, const Item &item)
{
    while (array.used < wanted)
        add(array, item);
}

class Builder {
  public:
    Builder(const Array<Definition> &definitions, int32_t modes, const TypeNames &types,
            Findings &findings, Graph &graph)
        : definitions_(definitions), modes_(modes), types_(types), findings_(findings),
          graph_(graph)
    {}

    bool build()
    {
        bool is_built = true;
        try {
            read_definitions();
            number_symbols();
            gather_steps();
            check_forms();
            make_states();
            for (Edge &one : edges_)
                describe_edge(one);
            if (findings_.errors == 0)
                make_nodes();
        } catch (const OutOfMemory &) {
            is_built = false;
        }
        release();
        std::sort(findings_.list.begin(), findings_.list.end(), is_earlier);
        return is_built && !findings_.list.is_short;
    }

  private:
    const Definition &definition(int32_t i) const { return definitions_[static_cast<size_t>(i)]; }
    Place &place(int32_t i) { return places_[static_cast<size_t>(i)]; }
    Draft &form(int32_t i) { return forms_[static_cast<size_t>(i)]; }
    State &state(int32_t i) { return states_[static_cast<size_t>(i)]; }
    Edge &edge(int32_t i) { return edges_[static_cast<size_t>(i)]; }
    Symbol &symbol(int32_t i) { return graph_.symbols[static_cast<size_t>(i)]; }
    const Definition &definition_of(int32_t at)
    {
        return definition(form(place(at).form).definition);
    }

    // Says of a word once what is wrong with it, however many states it is in.
    void note(Problem problem, int32_t at, int32_t other = none)
    {
        const uint32_t bit = uint32_t{1} << static_cast<int>(problem);
        uint32_t &noted = place(place(at).twin).noted;
        if ((noted & bit) != 0)
            return;
        noted |= bit;
        findings_.row = form(place(at).form).definition;
        findings_.add(problem, place(at).column, other == findings_.row ? none : other);
    }

    // Places

    void read_definitions()
    {
        for (int32_t i = 0; i < count(definitions_); i++) {
            findings_.row = i;
            Notation notation = {};
            read_notation(definition(i).syntax, types_, findings_, notation);
            try {
                if (notation.nodes.is_short)
                    throw OutOfMemory{};
                if (notation.root != no_node)
                    add_form(notation, i, false);
                if (notation.root != no_node && notation.is_negatable)
                    add_form(notation, i, true);
            } catch (const OutOfMemory &) {
                notation.nodes.release();
                throw;
            }
            notation.nodes.release();
        }
    }

    void add_form(const Notation &notation, int32_t of, bool is_negated)
    {
        const size_t first_link = links_.used;
        const int32_t index = add(forms_, {of, 0, 0, count(places_), 0, false, false});
        notation_ = &notation;
        is_negated_ = is_negated;
        options_ = 0;
        entries_.used = exits_.used = 0;
        const Part all = is_negated ? add_negated() : add_part(notation.root, true);
        if (all.may_be_empty)
            findings_.add(Problem::empty_syntax, 0);
        for (const Entry &entry : entries_)
            add(links_, {-1 - index, entry.place, entry.options});
        for (const int32_t exit : exits_)
            place(exit).is_end = true;
        form(index).end_place = count(places_);
        form(index).has_sets = options_ > 0;
        form(index).is_followed |= options_ > 0;
        mark_last_word(index);
        mark_used_up(first_link);
        if (is_negated)
            find_twins(index);
    }

    // But for "no" the places of a negated form are those of the one before it.
    void find_twins(int32_t negated)
    {
        for (int32_t at = form(negated).first_place + 1; at < form(negated).end_place; at++)
            place(at).twin = form(negated - 1).first_place + at - form(negated).first_place - 1;
    }

    // From the first option on a word may be one that is not possible any more.
    void mark_used_up(size_t first_link)
    {
        for (bool is_new = options_ > 0; is_new;) {
            is_new = false;
            for (size_t i = first_link; i < links_.used; i++) {
                const Link &one = links_[i];
                const bool is_after =
                    one.options != 0 || (one.from >= 0 && place(one.from).may_be_used_up);
                is_new |= is_after && !place(one.to).may_be_used_up;
                place(one.to).may_be_used_up |= is_after;
            }
        }
    }

    // The words after "no".
    Part add_negated()
    {
        const Part no = {0, 0, false};
        Symbol word = {};
        word.text = "no";
        word.is_keyword = true;
        add_place(word, {}, 0, false);
        const Part rest = add_part(notation_->root, true);
        link(no, rest);
        entries_.used = 1;
        if (!rest.may_be_empty)
            drop_exits(0, rest.first_exit);
        return no;
    }

    void add_place(const Symbol &word, std::string_view which, int32_t column, bool repeats)
    {
        const int32_t of = count(forms_) - 1;
        const int32_t number = add(graph_.symbols, word);
        Place made = {};
        made.form = of;
        made.symbol = number;
        made.column = column;
        made.repeats = repeats;
        made.which = which;
        made.twin = count(places_);
        made.help = none;
        const int32_t at = add(places_, made);
        add(entries_, {at, 0});
        add(exits_, at);
        if (repeats)
            add(links_, {at, at, 0});
        form(of).is_followed |= !which.empty();
    }

    Part add_part(int32_t i, bool is_top, std::string_view which = {})
    {
        const Node &node = notation_->nodes[static_cast<size_t>(i)];
        const Part part = {entries_.used, exits_.used, false};
        switch (node.kind) {
        case NodeKind::keyword:
        case NodeKind::argument: {
            Symbol word = {};
            word.text = node.text;
            word.type = node.type;
            word.is_keyword = node.kind == NodeKind::keyword;
            add_place(word, which, node.column, node.repeats);
            places_[places_.used - 1].is_last_word = is_top && word.is_keyword;
            return part;
        }
        case NodeKind::sequence:
            return add_sequence(node, is_top, which);
        case NodeKind::set:
            return add_set(node);
        default:
            return add_alternatives(node);
        }
    }

    // Only the first word of an alternative is the one of <a|b>$which.
    Part add_sequence(const Node &node, bool is_top, std::string_view which)
    {
        Part all = {entries_.used, exits_.used, true};
        for (int32_t i = node.first; i != no_node;) {
            const Part next = add_part(i, is_top, i == node.first ? which : std::string_view());
            link(all, next);
            if (!all.may_be_empty)
                entries_.used = next.first_entry;
            if (!next.may_be_empty)
                drop_exits(all.first_exit, next.first_exit);
            all.may_be_empty = all.may_be_empty && next.may_be_empty;
            i = notation_->nodes[static_cast<size_t>(i)].next;
        }
        return all;
    }

    Part add_alternatives(const Node &node)
    {
        Part all = {entries_.used, exits_.used, false};
        for (int32_t i = node.first; i != no_node;) {
            all.may_be_empty |= add_part(i, false, node.which).may_be_empty;
            i = notation_->nodes[static_cast<size_t>(i)].next;
        }
        all.may_be_empty |=
            node.kind == NodeKind::option || (node.kind == NodeKind::unless_no && is_negated_);
        return all;
    }

    Part add_set(const Node &node)
    {
        const Part all = {entries_.used, exits_.used, false};
        for (int32_t i = node.first; i != no_node;) {
            const Node &option = notation_->nodes[static_cast<size_t>(i)];
            const Part part = add_part(i, false);
            if (part.may_be_empty)
                findings_.add(Problem::option_may_be_empty, option.column);
            if (options_ == most_options) {
                findings_.add(Problem::too_many_options, option.column);
                return all;
            }
            for (size_t entry = part.first_entry; entry < entries_.used; entry++)
                entries_[entry].options |= uint64_t{1} << options_;
            options_++;
            i = option.next;
        }
        for (size_t exit = all.first_exit; exit < exits_.used; exit++) {
            for (size_t entry = all.first_entry; entry < entries_.used; entry++)
                add(links_, {exits_[exit], entries_[entry].place, entries_[entry].options});
        }
        return all;
    }

    // From where the one ends to where the next begins. The next is the newest.
    void link(const Part &before, const Part &next)
    {
        for (size_t exit = before.first_exit; exit < next.first_exit; exit++) {
            for (size_t entry = next.first_entry; entry < entries_.used; entry++)
                add(links_, {exits_[exit], entries_[entry].place, entries_[entry].options});
        }
    }

    // Those of [from, to) are exits no longer.
    void drop_exits(size_t from, size_t to)
    {
        if (from == to)
            return;
        std::copy(exits_.begin() + to, exits_.end(), exits_.begin() + from);
        exits_.used -= to - from;
    }

    void mark_last_word(int32_t index)
    {
        bool is_found = false;
        for (int32_t at = form(index).end_place - 1; at >= form(index).first_place; at--) {
            place(at).is_last_word = place(at).is_last_word && !is_found;
            is_found = is_found || place(at).is_last_word;
        }
    }

    // Symbols

    // So far each place has a symbol of its own; from now on like ones have one number.
    void number_symbols()
    {
        for (int32_t i = 0; i < count(graph_.symbols); i++)
            add(order_, i);
        std::sort(order_.begin(), order_.end(), [&](int32_t one, int32_t other) {
            return is_before(symbol(one), symbol(other));
        });
        for (const int32_t i : order_) {
            if (different_.used == 0 || !is_same_symbol(different_[different_.used - 1], symbol(i)))
                add(different_, symbol(i));
            place(i).symbol = count(different_) - 1;
        }
        std::swap(graph_.symbols, different_);
    }

    // Steps

    int32_t &end_step_of(int32_t from)
    {
        return from < 0 ? form(-1 - from).end_step : place(from).end_step;
    }

    // Sorts the links by where they begin: each place's then stand together.
    void gather_steps()
    {
        for (const Link &one : links_)
            end_step_of(one.from)++;
        int32_t total = 0;
        const auto begin = [&total](auto &from) {
            from.first_step = total;
            total += from.end_step;
            from.end_step = from.first_step;
        };
        std::for_each(forms_.begin(), forms_.end(), begin);
        std::for_each(places_.begin(), places_.end(), begin);
        fill(steps_, links_.used, {});
        for (const Link &one : links_)
            steps_[static_cast<size_t>(end_step_of(one.from)++)] = {one.to, one.options};
    }

    // A form by itself knows at each word where it stands: no two of its places can be meant.
    void check_forms()
    {
        for (const Draft &draft : forms_)
            check_steps(draft.first_step, draft.end_step);
        for (const Place &from : places_) {
            check_steps(from.first_step, from.end_step);
            const bool is_line = symbol(from.symbol).type.kind == TypeKind::line;
            for (int32_t i = from.first_step; i < from.end_step; i++) {
                const int32_t to = steps_[static_cast<size_t>(i)].to;
                if (is_line)
                    note(Problem::line_not_last, to);
                else if (from.repeats && &place(to) != &from)
                    note(Problem::repeat_not_last, to);
                else
                    continue;
                break;
            }
        }
    }

    void check_steps(int32_t first, int32_t end)
    {
        for (int32_t i = first; i < end; i++) {
            for (int32_t j = first; j < i; j++) {
                const int32_t one = steps_[static_cast<size_t>(i)].to;
                const int32_t other = steps_[static_cast<size_t>(j)].to;
                if (one != other && place(one).symbol == place(other).symbol)
                    return note(Problem::begins_alike, std::max(one, other));
            }
        }
    }

    // States

    void make_states()
    {
        fill(state_by_head_, places_.used + forms_.used, none);
        fill(edge_of_symbol_, graph_.symbols.used, none);
        for (int32_t mode = 0; mode < modes_; mode++) {
            const int32_t root = make_root(mode);
            for (int32_t i = root; i < count(states_); i++)
                make_edges(i);
        }
    }

    // The first words of all forms of a mode.
    int32_t make_root(int32_t mode)
    {
        const int32_t first = count(members_);
        for (const Draft &draft : forms_) {
            if (definition(draft.definition).mode == mode)
                add_places(draft.first_step, draft.end_step);
        }
        const int32_t root = add(states_, {first, count(members_), none, none, 0, 0});
        sort_members(root);
        add(roots_, root);
        return root;
    }

    void add_places(int32_t first, int32_t end)
    {
        for (int32_t i = first; i < end; i++)
            add(members_, steps_[static_cast<size_t>(i)].to);
    }

    // The newest state's members in order, each once.
    void sort_members(int32_t at)
    {
        int32_t *first = members_.begin() + state(at).first_member;
        std::sort(first, members_.end());
        const int32_t *end = std::unique(first, members_.end());
        members_.used = static_cast<size_t>(end - members_.begin());
        state(at).end_member = count(members_);
    }

    // The words that lead on from a state, in the order of the definitions.
    void make_edges(int32_t at)
    {
        const int32_t first = count(edges_);
        drafts_.used = 0;
        for (int32_t m = state(at).first_member; m < state(at).end_member; m++) {
            const int32_t to = members_[static_cast<size_t>(m)];
            int32_t &known = edge_of_symbol_[static_cast<size_t>(place(to).symbol)];
            if (known == none)
                known = add(edges_, {place(to).symbol, 0, 0, none, none, false});
            edge(known).end_target++; // their number, as yet
            add(drafts_, {known, to});
        }
        state(at).first_edge = first;
        state(at).end_edge = count(edges_);
        gather_targets(first);
        for (int32_t i = first; i < state(at).end_edge; i++) {
            edge_of_symbol_[static_cast<size_t>(edge(i).symbol)] = none;
            find_documentation(edge(i));
            const int32_t to = find_state(edge(i));
            edge(i).to = to;
        }
        check_level(state(at));
    }

    // Puts the places of each edge side by side.
    void gather_targets(int32_t first)
    {
        int32_t total = count(targets_);
        fill(targets_, targets_.used + drafts_.used, none);
        for (int32_t i = first; i < count(edges_); i++) {
            edge(i).first_target = total;
            total += edge(i).end_target;
            edge(i).end_target = edge(i).first_target;
        }
        for (const Target &draft : drafts_)
            targets_[static_cast<size_t>(edge(draft.edge).end_target++)] = draft.place;
    }

    int32_t target(int32_t i) const { return targets_[static_cast<size_t>(i)]; }

    // The state with what may follow an edge, which is made if there is none yet.
    int32_t find_state(const Edge &from)
    {
        const int32_t made = add(states_, {count(members_), 0, find_end(from), none, 0, 0});
        for (int32_t i = from.first_target; i < from.end_target; i++)
            add_places(place(target(i)).first_step, place(target(i)).end_step);
        sort_members(made);
        const State wanted = state(made);
        const size_t size = static_cast<size_t>(wanted.end_member - wanted.first_member);
        if (size == 0 && wanted.end == none) { // only documentation comes here
            states_.used--;
            return none;
        }
        int32_t &head = state_by_head_[size > 0 ? static_cast<size_t>(member(wanted.first_member))
                                                : places_.used + static_cast<size_t>(wanted.end)];
        for (int32_t known = head; known != none; known = state(known).next) {
            if (is_same(state(known), wanted)) {
                states_.used--;
                members_.used -= size;
                return known;
            }
        }
        state(made).next = head;
        head = made;
        return made;
    }

    int32_t member(int32_t i) const { return members_[static_cast<size_t>(i)]; }

    bool is_same(const State &one, const State &other) const
    {
        return one.end == other.end &&
               std::equal(members_.begin() + one.first_member, members_.begin() + one.end_member,
                          members_.begin() + other.first_member,
                          members_.begin() + other.end_member);
    }

    // The command that may end after an edge.
    int32_t find_end(const Edge &from)
    {
        int32_t ending = none;
        for (int32_t i = from.first_target; i < from.end_target; i++) {
            if (!place(target(i)).is_end || !definition_of(target(i)).is_command)
                continue;
            if (ending == none)
                ending = place(target(i)).form;
            else if (ending != place(target(i)).form) // else its alternatives are alike
                note(Problem::same_words, target(i), form(ending).definition);
        }
        return ending;
    }

    // A row that is no command documents the word that it ends with, wherever else the
    // definitions have that: an option of a set may come after each of the others.
    void find_documentation(Edge &out)
    {
        for (int32_t i = out.first_target; i < out.end_target; i++)
            out.is_command |= definition_of(target(i)).is_command;
        for (int32_t i = out.first_target; i < out.end_target; i++) {
            if (definition_of(target(i)).is_command || !place(target(i)).is_end)
                continue;
            if (!out.is_command)
                note(Problem::help_of_nothing, target(i));
            document_edge(out, target(i));
        }
    }

    void document_edge(const Edge &documented, int32_t end)
    {
        const int32_t of = form(place(end).form).definition;
        for (int32_t i = documented.first_target; i < documented.end_target; i++) {
            int32_t &known = place(place(target(i)).twin).help;
            if (known != none && std::strcmp(help_of(known), help_of(of)) != 0)
                note(Problem::help_twice, end, known);
            else
                known = of;
        }
    }

    // A word's help is that of the row that documents it, else that of the first command whose
    // last fixed word it is.
    void describe_edge(Edge &out)
    {
        if (!out.is_command)
            return;
        int32_t command_help = none;
        for (int32_t i = out.first_target; i < out.end_target; i++) {
            const Place &to = place(target(i));
            if (out.help == none)
                out.help = place(to.twin).help;
            if (to.is_last_word && command_help == none && definition_of(target(i)).is_command)
                command_help = form(to.form).definition;
        }
        if (out.help == none)
            out.help = command_help;
        const Symbol &word = symbol(out.symbol);
        if (word.is_keyword && *help_of(out.help) == '\0')
            note(Problem::no_help, some_place(out));
        char range[64];
        const size_t added = word.type.kind == TypeKind::range
                                 ? 2 + describe_type(word.type, range, std::size(range))
                                 : 0;
        if (std::strlen(help_of(out.help)) + added > widest_help)
            note(Problem::wide_help, some_place(out));
    }

    const char *help_of(int32_t of) const
    {
        return of != none && definition(of).help ? definition(of).help : "";
    }

    void check_level(const State &of)
    {
        bool has_keywords = false;
        for (int32_t i = of.first_edge; i < of.end_edge; i++)
            has_keywords |= edge(i).is_command && symbol(edge(i).symbol).is_keyword;
        for (int32_t i = of.first_edge; i < of.end_edge; i++) {
            if (!is_argument(edge(i)))
                continue;
            if (has_keywords && is_free(symbol(edge(i).symbol).type))
                note(Problem::free_word_beside_keywords, some_place(edge(i)));
            for (int32_t j = of.first_edge; j < i; j++) {
                if (is_argument(edge(j)))
                    check_arguments(edge(j), edge(i));
            }
        }
    }

    bool is_argument(const Edge &one) { return one.is_command && !symbol(one.symbol).is_keyword; }

    // A place of a command that an edge leads to.
    int32_t some_place(const Edge &one)
    {
        int32_t i = one.first_target;
        while (i + 1 < one.end_target && !definition_of(target(i)).is_command)
            i++;
        return target(i);
    }

    void check_arguments(const Edge &one, const Edge &other)
    {
        const Symbol &first = symbol(one.symbol);
        const Symbol &second = symbol(other.symbol);
        const int32_t at = some_place(other);
        const int32_t of = form(place(some_place(one)).form).definition;
        if (first.type == second.type)
            note(Problem::two_names, at, of);
        else if (do_overlap(first.type, second.type))
            note(Problem::types_overlap, at, of);
    }

    // Nodes

    void make_nodes()
    {
        copy_followed_forms();
        make_texts();
        int32_t total = 0;
        for (const State &one : states_) {
            const int32_t words = count_words(one);
            const bool is_empty = words == 0 && one.end == none;
            add(node_of_state_, is_empty ? none : total);
            total += words + (one.end != none);
        }
        if (!graph_.nodes.reserve(static_cast<size_t>(total)))
            throw OutOfMemory{};
        for (const State &one : states_)
            make_level(one);
        for (const int32_t root : roots_)
            add(graph_.roots, node_of_state_[static_cast<size_t>(root)]);
        point_at_records();
    }

    int32_t count_words(const State &of)
    {
        int32_t words = 0;
        for (int32_t i = of.first_edge; i < of.end_edge; i++)
            words += edge(i).is_command;
        return words;
    }

    // The forms that are followed at run time take their places and steps along.
    void copy_followed_forms()
    {
        if (!graph_.ends.reserve(forms_.used))
            throw OutOfMemory{};
        for (const Draft &draft : forms_) {
            const bool is_kept = draft.is_followed && definition(draft.definition).is_command;
            const int32_t kept = is_kept ? count(graph_.forms) : none;
            add(kept_form_, kept);
            add(graph_.ends, {draft.definition, kept});
            if (!is_kept)
                continue;
            const int32_t shift = count(graph_.positions) - draft.first_place;
            const int32_t first = copy_steps(draft.first_step, draft.end_step, shift);
            add(graph_.forms, {first, count(graph_.steps)});
            for (int32_t at = draft.first_place; at < draft.end_place; at++) {
                const Place &from = place(at);
                const int32_t own = copy_steps(from.first_step, from.end_step, shift);
                add(graph_.positions,
                    {from.symbol, own, count(graph_.steps), from.is_end, from.which});
            }
        }
    }

    // Returns the index of the first one.
    int32_t copy_steps(int32_t first, int32_t end, int32_t shift)
    {
        const int32_t copied = count(graph_.steps);
        for (int32_t i = first; i < end; i++) {
            const Step &step = steps_[static_cast<size_t>(i)];
            add(graph_.steps, {step.to + shift, step.options});
        }
        return copied;
    }

    // Every symbol's text, terminated. Like texts stand side by side.
    void make_texts()
    {
        std::string_view last;
        for (const Symbol &one : graph_.symbols) {
            const bool is_known = text_of_symbol_.used > 0 && one.text == last;
            add(text_of_symbol_,
                is_known ? text_of_symbol_[text_of_symbol_.used - 1] : add_text(one.text));
            last = one.text;
        }
    }

    int32_t add_text(std::string_view text)
    {
        const int32_t at = count(graph_.texts);
        for (const char c : text)
            add(graph_.texts, c);
        add(graph_.texts, '\0');
        return at;
    }

    // Nodes do not move: there is room for all.
    void make_level(const State &of)
    {
        const size_t first = graph_.nodes.used;
        bool is_narrowed = false;
        for (int32_t i = of.first_edge; i < of.end_edge; i++) {
            if (edge(i).is_command)
                is_narrowed |= make_word(edge(i));
        }
        if (of.end != none) {
            // Other words may have led here by an option that this command has had already.
            is_narrowed |= form(of.end).has_sets && graph_.nodes.used > first;
            make_end(of.end);
        }
        for (size_t i = first; i < graph_.nodes.used; i++) {
            const bool is_last = i + 1 == graph_.nodes.used;
            graph_.nodes[i].next = is_last ? &NONE : &graph_.nodes[i + 1];
            graph_.nodes[i].attr |= is_narrowed ? attr_narrowed : 0;
        }
    }

    void make_end(int32_t of)
    {
        cli_pnode_s node = {};
        node.name = "end";
        node.type = PNODE_EOLS;
        node.help = help_of(form(of).definition);
        node.func = &graph_.ends[static_cast<size_t>(of)];
        add(graph_.nodes, node);
        add(draft_of_node_, {none, none});
    }

    // Returns whether the node needs the filter.
    bool make_word(const Edge &one)
    {
        const Symbol &word = symbol(one.symbol);
        const int32_t child = one.to == none ? none : node_of_state_[static_cast<size_t>(one.to)];
        cli_pnode_s node = {};
        NodeDraft draft = {note_forms(one), none};
        node.child = child == none ? &NONE : graph_.nodes.begin() + child;
        node.type = word.is_keyword ? PNODE_KEYWORD : PNODE_STRING;
        node.attr = !word.is_keyword && word.type.kind == TypeKind::line ? attr_rest : 0;
        node.help = help_of(one.help);
        node.aux_int = one.symbol;
        if (!word.is_keyword)
            draft.help = describe_argument(node.help, word.type);
        add(graph_.nodes, node);
        add(draft_of_node_, draft);
        return draft.record != none || (!word.is_keyword && word.type.kind != TypeKind::word);
    }

    // What a row says of an argument, and the range; without a row what the type is.
    // Returns where in the graph's texts; none: nothing to add.
    int32_t describe_argument(const char *help, const ArgumentType &type)
    {
        char text[64];
        const bool is_said = *help != '\0';
        if (is_said && type.kind != TypeKind::range)
            return none;
        if (type.kind == TypeKind::registered) {
            const char *registered = types_.help ? types_.help(types_.user, type.registered) : "";
            return registered ? add_text(registered) : none;
        }
        describe_type(type, text, std::size(text));
        if (!is_said)
            return add_text(text);
        const int32_t at = add_text(help);
        graph_.texts.used--;
        add_text(", ");
        graph_.texts.used--;
        add_text(text);
        return at;
    }

    // Which forms with sets go through an edge. Returns the index of the record; none: no such.
    int32_t note_forms(const Edge &one)
    {
        Through through = {false, count(graph_.form_lists), 0};
        bool may_be_used_up = false;
        for (int32_t i = one.first_target; i < one.end_target; i++) {
            const int32_t of = place(target(i)).form;
            if (!definition(form(of).definition).is_command)
                continue;
            may_be_used_up |= place(target(i)).may_be_used_up;
            if (form(of).has_sets)
                add(graph_.form_lists, kept_form_[static_cast<size_t>(of)]);
            else
                through.has_others = true;
        }
        through.end_form = count(graph_.form_lists);
        if (may_be_used_up)
            return add(graph_.throughs, through);
        graph_.form_lists.used = static_cast<size_t>(through.first_form);
        return none;
    }

    // What texts and records are in does not move any more.
    void point_at_records()
    {
        for (size_t i = 0; i < graph_.nodes.used; i++) {
            cli_pnode_s &node = graph_.nodes[i];
            const NodeDraft &draft = draft_of_node_[i];
            if (node.type == PNODE_EOLS)
                continue;
            if (draft.record != none)
                node.func = &graph_.throughs[static_cast<size_t>(draft.record)];
            if (draft.help != none)
                node.help = text_at(draft.help);
            node.name = node.keyword = text_at(text_of_symbol_[static_cast<size_t>(node.aux_int)]);
        }
        keep_types();
    }

    // Of the symbols the graph keeps the arguments' types: arguments come first.
    void keep_types()
    {
        for (const Symbol &one : graph_.symbols) {
            if (!one.is_keyword)
                add(graph_.types, one.type);
        }
        graph_.symbols.release();
    }

    const char *text_at(int32_t at) { return &graph_.texts[static_cast<size_t>(at)]; }

    void release()
    {
        forms_.release();
        places_.release();
        links_.release();
        steps_.release();
        states_.release();
        members_.release();
        edges_.release();
        targets_.release();
        drafts_.release();
        entries_.release();
        exits_.release();
        roots_.release();
        state_by_head_.release();
        edge_of_symbol_.release();
        kept_form_.release();
        text_of_symbol_.release();
        node_of_state_.release();
        draft_of_node_.release();
        order_.release();
        different_.release();
    }

    const Array<Definition> &definitions_;
    const int32_t modes_;
    const TypeNames &types_;
    Findings &findings_;
    Graph &graph_;

    const Notation *notation_ = nullptr;
    bool is_negated_ = false;
    int32_t options_ = 0;
    Array<Entry> entries_;
    Array<int32_t> exits_;

    Array<Draft> forms_;
    Array<Place> places_;
    Array<Link> links_;
    Array<Step> steps_;
    Array<State> states_;
    Array<int32_t> members_;
    Array<Edge> edges_;
    Array<int32_t> targets_;
    Array<Target> drafts_;
    Array<int32_t> roots_;
    Array<int32_t> state_by_head_;  // by first member; where there is none, by the form that ends
    Array<int32_t> edge_of_symbol_; // of the level that is being made
    Array<int32_t> kept_form_;
    Array<int32_t> text_of_symbol_; // where in the graph's texts
    Array<int32_t> node_of_state_;  // the first of its level, or none
    Array<NodeDraft> draft_of_node_;
    Array<int32_t> order_; // of symbols
    Array<Symbol> different_;
};

} // namespace

bool build_graph(const Array<Definition> &definitions, int32_t modes, const TypeNames &types,
                 Findings &findings, Graph &out_graph)
{
    return Builder(definitions, modes, types, findings, out_graph).build();
}

void release_graph(Graph &graph)
{
    graph.nodes.release();
    graph.roots.release();
    graph.symbols.release();
    graph.types.release();
    graph.texts.release();
    graph.ends.release();
    graph.throughs.release();
    graph.form_lists.release();
    graph.forms.release();
    graph.positions.release();
    graph.steps.release();
}

} // namespace varno::commands
