// The positions of all definitions to parse nodes: sets of positions that the same words lead
// to (the subset construction) are states, whose ways on are nodes.
//
// A set {a|b} is a loop over its options; that each is given at most once is no matter of the
// graph but of the filter, which follows the few definitions that have sets. A level of
// privilege is a matter of the graph: each has first words of its own, and what is not for it
// is not there. States that are alike in several modes or levels are one.

#include "automaton.h"

#include "positions.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace varno::commands {
namespace {

constexpr size_t widest_help = 57;

// What may follow some words: states with the same future are one, so that the options of a
// set, each of which may follow each, are there once.
struct State {
    int32_t first_member; // places [first_member, end_member) of members, ascending: the next words
    int32_t end_member;
    int32_t end;  // the form of the command that may end here, or none
    int32_t next; // another state with the same end, or else the same first place
    int32_t first_edge;
    int32_t end_edge;
    bool has_secret; // a secret may still come
};

// A word that leads from one state to another; a node, if some command goes through it.
struct Edge {
    int32_t symbol;
    int32_t first_target; // places [first_target, end_target) of targets: what the word can be
    int32_t end_target;
    int32_t to;   // state
    int32_t help; // the definition whose help it is, or none
    bool is_command;
    bool is_hidden; // no other command goes through it
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

struct IsEarlier {
    bool operator()(const Finding &one, const Finding &other) const
    {
        if (one.row != other.row)
            return one.row < other.row;
        return one.column != other.column ? one.column < other.column : one.problem < other.problem;
    }
};

class Builder {
  public:
    Builder(const Array<Definition> &definitions, const Array<Mode> &modes, const TypeNames &types,
            Findings &findings, Graph &graph)
        : definitions_(definitions), modes_(modes), types_(types), findings_(findings),
          graph_(graph)
    {}

    bool build()
    {
        bool is_built = true;
        try {
            make_positions(definitions_, types_, findings_, positions_, graph_.symbols);
            find_levels();
            make_states();
            for (Edge &one : edges_)
                describe_edge(one);
            if (findings_.errors == 0)
                make_nodes();
        } catch (const OutOfMemory &) {
            is_built = false;
        }
        release();
        std::sort(findings_.list.begin(), findings_.list.end(), IsEarlier());
        return is_built && !findings_.list.is_short;
    }

  private:
    const Definition &definition(int32_t i) const { return definitions_[static_cast<size_t>(i)]; }
    const Mode &mode(int32_t i) const { return modes_[static_cast<size_t>(i)]; }
    Place &place(int32_t i) { return positions_.places[static_cast<size_t>(i)]; }
    Draft &form(int32_t i) { return positions_.forms[static_cast<size_t>(i)]; }
    State &state(int32_t i) { return states_[static_cast<size_t>(i)]; }
    Edge &edge(int32_t i) { return edges_[static_cast<size_t>(i)]; }
    Symbol &symbol(int32_t i) { return graph_.symbols[static_cast<size_t>(i)]; }
    const Definition &definition_of(int32_t at)
    {
        return definition(form(place(at).form).definition);
    }

    void note(Problem problem, int32_t at, int32_t other = none)
    {
        positions_.note(findings_, problem, at, other);
    }

    // Levels of privilege

    // Those that some command has, and 0. Whoever is between two has what the lower one has.
    void find_levels()
    {
        bool is_used[most_level + 1] = {true};
        for (const Definition &one : definitions_)
            is_used[one.level] = true;
        for (int32_t level = 0; level <= most_level; level++) {
            if (is_used[level])
                add(graph_.levels, level);
        }
    }

    // States

    void make_states()
    {
        // Rarely are there more, so that they do not move as they grow.
        reserve(states_, positions_.places.used);
        reserve(edges_, positions_.places.used);
        reserve(targets_, positions_.steps.used);
        reserve(members_, positions_.steps.used);
        add_copies(state_by_head_, positions_.places.used + positions_.forms.used, none);
        add_copies(edge_of_symbol_, graph_.symbols.used, none);
        for (const int32_t level : graph_.levels) {
            const int32_t first = count(states_);
            is_highest_level_ = level == graph_.levels[graph_.levels.used - 1];
            for (int32_t i = 0; i < count(modes_); i++)
                make_root(i, level);
            for (int32_t i = first; i < count(states_); i++)
                make_edges(i);
        }
    }

    // The first words of all forms that a mode has on a level.
    void make_root(int32_t of, int32_t level)
    {
        const int32_t first = count(members_);
        for (const Draft &draft : positions_.forms) {
            const Definition &one = definition(draft.definition);
            if (has_commands_of(of, one.mode) && one.level <= level)
                add_places(draft.first_step, draft.end_step);
        }
        const int32_t root = add(states_, {first, count(members_), none, none, 0, 0, false});
        sort_members(root);
        add(roots_, root);
    }

    bool has_commands_of(int32_t of, int32_t other) const
    {
        while (of != other && mode(of).inherits)
            of = mode(of).parent;
        return of == other;
    }

    // What another mode begins with may come next, on the level that is being made.
    void add_root(int32_t of)
    {
        const int32_t newest = count(roots_) - count(modes_);
        const State root = state(roots_[static_cast<size_t>(newest) + static_cast<size_t>(of)]);
        const auto size = static_cast<size_t>(root.end_member - root.first_member);
        if (!members_.make_room(size))
            throw OutOfMemory{};
        members_.append(members_.begin() + root.first_member, size);
    }

    void add_places(int32_t first, int32_t end)
    {
        for (int32_t i = first; i < end; i++)
            add(members_, positions_.steps[static_cast<size_t>(i)].to);
    }

    // The newest state's members in order, each once.
    void sort_members(int32_t at)
    {
        int32_t *first = members_.begin() + state(at).first_member;
        if (!std::is_sorted(first, members_.end())) // mostly they are
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
                known = add(edges_, {place(to).symbol, 0, 0, none, none, false, true});
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
        add_copies(targets_, drafts_.used, none);
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
        const int32_t made = add(states_, {count(members_), 0, find_end(from), none, 0, 0, false});
        for (int32_t i = from.first_target; i < from.end_target; i++) {
            add_places(place(target(i)).first_step, place(target(i)).end_step);
            if (place(target(i)).is_end && definition_of(target(i)).is_prefix)
                add_root(definition_of(target(i)).goes_on_in);
        }
        const bool is_rest = symbol(from.symbol).type.kind == TypeKind::line;
        if (state(made).end != none && !is_rest) {
            const Definition &ended = definition(form(state(made).end).definition);
            if (ended.goes_on_in != none)
                add_root(ended.goes_on_in);
        }
        sort_members(made);
        const State wanted = state(made);
        const size_t size = static_cast<size_t>(wanted.end_member - wanted.first_member);
        if (size == 0 && wanted.end == none) { // only documentation comes here
            states_.used--;
            return none;
        }
        int32_t &head =
            state_by_head_[wanted.end == none
                               ? static_cast<size_t>(member(wanted.first_member))
                               : positions_.places.used + static_cast<size_t>(wanted.end)];
        for (int32_t known = head; known != none; known = state(known).next) {
            if (has_same_members(state(known), wanted)) {
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

    // States of one list: their ends are the same, or there are none.
    bool has_same_members(const State &one, const State &other) const
    {
        return std::equal(members_.begin() + one.first_member, members_.begin() + one.end_member,
                          members_.begin() + other.first_member,
                          members_.begin() + other.end_member);
    }

    // The command that may end after an edge. Where a mode has its parent's commands, too, its
    // own come first; the library's come last in their mode.
    int32_t find_end(const Edge &from)
    {
        int32_t ending = none;
        for (int32_t i = from.first_target; i < from.end_target; i++) {
            const Definition &one = definition_of(target(i));
            if (!place(target(i)).is_end || !one.is_command || one.is_prefix)
                continue;
            const int32_t of = place(target(i)).form;
            if (ending == none || ending == of) { // else its alternatives are alike
                ending = of;
                continue;
            }
            const Definition &other = definition(form(ending).definition);
            const int32_t order = rank(one) - rank(other);
            if (order == 0)
                note(Problem::same_words, target(i), form(ending).definition);
            else if (!one.is_built_in && !other.is_built_in)
                note(Problem::hides_inherited, order > 0 ? target(i) : end_of(from, ending),
                     form(order > 0 ? ending : of).definition);
            if (order > 0)
                ending = of;
        }
        return ending;
    }

    int32_t rank(const Definition &of) const
    {
        int32_t depth = 0;
        for (int32_t i = of.mode; mode(i).parent != none; i = mode(i).parent)
            depth++;
        return 2 * depth + !of.is_built_in;
    }

    // The place at which a form ends.
    int32_t end_of(const Edge &from, int32_t of)
    {
        int32_t i = from.first_target;
        while (place(target(i)).form != of || !place(target(i)).is_end)
            i++;
        return target(i);
    }

    // A row that is no command documents the word that it ends with, wherever else the
    // definitions have that: an option of a set may come after each of the others.
    void find_documentation(Edge &out)
    {
        for (int32_t i = out.first_target; i < out.end_target; i++) {
            const Definition &one = definition_of(target(i));
            out.is_command |= one.is_command;
            out.is_hidden &= one.is_hidden || !one.is_command;
        }
        for (int32_t i = out.first_target; i < out.end_target; i++) {
            if (definition_of(target(i)).is_command || !place(target(i)).is_end)
                continue;
            if (!out.is_command && is_highest_level_)
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
    // last fixed word it is, of the mode's own if there are some.
    void describe_edge(Edge &out)
    {
        if (!out.is_command)
            return;
        int32_t command_help = none;
        for (int32_t i = out.first_target; i < out.end_target; i++) {
            const Place &to = place(target(i));
            if (out.help == none)
                out.help = place(to.twin).help;
            const int32_t of = form(to.form).definition;
            if (!to.is_last_word || !definition(of).is_command)
                continue;
            if (command_help == none || rank(definition(of)) > rank(definition(command_help)))
                command_help = of;
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
            has_keywords |= edge(i).is_command && symbol(edge(i).symbol).is_keyword &&
                            !place(some_place(edge(i))).is_bar;
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
        find_secrets();
        reserve(node_of_state_, states_.used);
        for (const State &one : states_) {
            const int32_t words = count_words(one);
            const bool is_empty = words == 0 && one.end == none;
            add(node_of_state_, is_empty ? none : total);
            total += words + (one.end != none);
        }
        reserve(graph_.nodes, static_cast<size_t>(total));
        reserve(draft_of_node_, static_cast<size_t>(total));
        for (const State &one : states_)
            make_level(one);
        for (const int32_t root : roots_)
            add(graph_.roots, node_of_state_[static_cast<size_t>(root)]);
        graph_.texts.trim();
        graph_.throughs.trim();
        graph_.form_lists.trim();
        graph_.forms.trim();
        graph_.positions.trim();
        graph_.steps.trim();
        point_at_records();
    }

    // Which states a secret may come after: backward along the edges, which loop only in sets.
    void find_secrets()
    {
        for (bool is_new = true; is_new;) {
            is_new = false;
            for (int32_t i = count(states_) - 1; i >= 0; i--) {
                const bool had_secret = state(i).has_secret;
                for (int32_t e = state(i).first_edge; e < state(i).end_edge; e++) {
                    const Edge &one = edge(e);
                    const bool is_secret = symbol(one.symbol).type.kind == TypeKind::secret;
                    state(i).has_secret |=
                        one.is_command &&
                        (is_secret || (one.to != none && state(one.to).has_secret));
                }
                is_new |= state(i).has_secret != had_secret;
            }
        }
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
        reserve(graph_.ends, positions_.forms.used);
        for (const Draft &draft : positions_.forms) {
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
            const Step &step = positions_.steps[static_cast<size_t>(i)];
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
        if (!graph_.texts.append(text.data(), text.size()))
            throw OutOfMemory{};
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
            graph_.nodes[i].attr |= of.has_secret ? attr_secret : 0;
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
        node.attr = attr_of(one);
        node.help = help_of(one.help);
        node.aux_int = one.symbol;
        if (!word.is_keyword)
            draft.help = describe_argument(node.help, word.type);
        add(graph_.nodes, node);
        add(draft_of_node_, draft);
        return draft.record != none || one.is_hidden ||
               (node.attr & (attr_bar | attr_saving)) != 0 ||
               (!word.is_keyword && word.type.kind != TypeKind::word);
    }

    uint32_t attr_of(const Edge &one)
    {
        const Symbol &word = symbol(one.symbol);
        uint32_t attr = !word.is_keyword && word.type.kind == TypeKind::line ? attr_rest : 0;
        attr |= one.is_hidden ? attr_hidden : 0;
        const Definition &first = definition_of(some_place(one));
        if (first.is_bar)
            attr |= attr_bar;
        else if (first.is_prefix)
            attr |= attr_prefix;
        attr |= first.is_saving ? attr_saving : 0;
        return attr;
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
        positions_.release();
        states_.release();
        members_.release();
        edges_.release();
        targets_.release();
        drafts_.release();
        roots_.release();
        state_by_head_.release();
        edge_of_symbol_.release();
        kept_form_.release();
        text_of_symbol_.release();
        node_of_state_.release();
        draft_of_node_.release();
    }

    const Array<Definition> &definitions_;
    const Array<Mode> &modes_;
    const TypeNames &types_;
    Findings &findings_;
    Graph &graph_;

    bool is_highest_level_ = false;
    Positions positions_;
    Array<State> states_;
    Array<int32_t> members_;
    Array<Edge> edges_;
    Array<int32_t> targets_;
    Array<Target> drafts_;
    Array<int32_t> roots_;          // as those of the graph
    Array<int32_t> state_by_head_;  // by the form that ends; where there is none, by first member
    Array<int32_t> edge_of_symbol_; // of the level that is being made
    Array<int32_t> kept_form_;
    Array<int32_t> text_of_symbol_; // where in the graph's texts
    Array<int32_t> node_of_state_;  // the first of its level, or none
    Array<NodeDraft> draft_of_node_;
};

} // namespace

bool build_graph(const Array<Definition> &definitions, const Array<Mode> &modes,
                 const TypeNames &types, Findings &findings, Graph &out_graph)
{
    return Builder(definitions, modes, types, findings, out_graph).build();
}

void release_graph(Graph &graph)
{
    graph.nodes.release();
    graph.roots.release();
    graph.levels.release();
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
