// Definitions to positions by Glushkov's construction: the words of each, in each of its
// forms, and which may follow which.

#include "positions.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace varno::commands {
namespace {

constexpr int32_t most_options = 64;
constexpr size_t usual_words = 8; // of a definition: few have more

constexpr std::string_view negating[] = {"no", "default"};
constexpr std::string_view bar[] = {"|"};

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

// What a container of the C++ library takes its memory from.
template <typename Item>
struct Tracked {
    static constexpr char tag[] = "commands_positions";

    using value_type = Item;

    Tracked() = default;
    template <typename Other>
    explicit Tracked(const Tracked<Other> &)
    {}

    Item *allocate(size_t count)
    {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): containers have arrays of pointers, too
        void *block = tracked_calloc(count, sizeof(Item), tag);
        if (!block)
            throw OutOfMemory{};
        return static_cast<Item *>(block);
    }

    void deallocate(Item *items, size_t) { tracked_free(items, tag); }
    bool operator==(const Tracked &) const = default;
};

struct HashOfSymbol {
    size_t operator()(const Symbol &of) const
    {
        return std::hash<std::string_view>()(of.text) + static_cast<size_t>(of.type.kind);
    }
};

struct IsSameSymbol {
    bool operator()(const Symbol &one, const Symbol &other) const
    {
        return one.text == other.text && one.is_keyword == other.is_keyword &&
               one.type == other.type;
    }
};

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

class Gatherer {
  public:
    Gatherer(const Array<Definition> &definitions, const TypeNames &types, Findings &findings,
             Positions &positions, Array<Symbol> &symbols)
        : definitions_(definitions), types_(types), findings_(findings), positions_(positions),
          forms_(positions.forms), places_(positions.places), steps_(positions.steps),
          symbols_(symbols)
    {}

    ~Gatherer()
    {
        entries_.release();
        exits_.release();
        links_.release();
        notation_.nodes.release();
        order_.release();
        sorted_.release();
        number_.release();
    }

    Gatherer(const Gatherer &) = delete;
    Gatherer &operator=(const Gatherer &) = delete;

    void gather()
    {
        read_definitions();
        number_symbols();
        gather_steps();
        check_forms();
    }

  private:
    Place &place(int32_t i) { return places_[static_cast<size_t>(i)]; }
    Draft &form(int32_t i) { return forms_[static_cast<size_t>(i)]; }
    Symbol &symbol(int32_t i) { return symbols_[static_cast<size_t>(i)]; }

    void note(Problem problem, int32_t at) { positions_.note(findings_, problem, at); }

    // Places

    void read_definitions()
    {
        reserve(forms_, definitions_.used);
        reserve(places_, usual_words * definitions_.used);
        reserve(links_, usual_words * definitions_.used);
        for (int32_t i = 0; i < count(definitions_); i++) {
            findings_.row = i;
            const Definition &one = definitions_[static_cast<size_t>(i)];
            notation_.root = no_node;
            if (!one.is_bar)
                read_notation(one.syntax, types_, findings_, notation_);
            if (notation_.nodes.is_short)
                throw OutOfMemory{};
            if (notation_.root != no_node || one.is_bar)
                add_form(i, false);
            if (notation_.root != no_node && !notation_.negation.empty())
                add_form(i, true);
        }
    }

    void add_form(int32_t of, bool is_negated)
    {
        const size_t first_link = links_.used;
        const int32_t index = add(forms_, {of, 0, 0, count(places_), 0, false, false});
        is_negated_ = is_negated;
        options_ = 0;
        entries_.used = exits_.used = 0;
        const bool is_bar = definitions_[static_cast<size_t>(of)].is_bar;
        const Part all = is_negated ? add_after(negations(notation_))
                         : is_bar   ? add_after(bar)
                                    : add_part(notation_.root, true, no_node);
        place(form(index).first_place).is_bar = is_bar;
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
        place(form(index).first_place).is_last_word |= is_bar;
        mark_used_up(first_link);
        if (is_negated)
            find_twins(index);
    }

    static std::span<const std::string_view> negations(const Notation &notation)
    {
        const bool has_default = notation.negation == no_or_default;
        return std::span(negating).first(has_default ? 2 : 1);
    }

    // But for "no" the places of a negated form are those of the one before it.
    void find_twins(int32_t negated)
    {
        const auto words = static_cast<int32_t>(negations(notation_).size());
        const int32_t first = form(negated).first_place + words;
        for (int32_t at = first; at < form(negated).end_place; at++)
            place(at).twin = form(negated - 1).first_place + at - first;
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

    // The whole syntax after one of some words.
    Part add_after(std::span<const std::string_view> words)
    {
        const Part before = {0, 0, false};
        for (const std::string_view text : words) {
            Symbol word = {};
            word.text = text;
            word.is_keyword = true;
            add_place(word, {}, 0, false);
        }
        Part rest = {entries_.used, exits_.used, true};
        if (notation_.root != no_node)
            rest = add_part(notation_.root, true, no_node);
        link(before, rest);
        entries_.used = words.size();
        if (!rest.may_be_empty)
            drop_exits(0, rest.first_exit);
        return before;
    }

    void add_place(const Symbol &word, std::string_view which, int32_t column, bool repeats)
    {
        const int32_t of = count(forms_) - 1;
        const auto [known, is_new] = symbol_of_word_.try_emplace(word, count(symbols_));
        if (is_new)
            add(symbols_, word);
        Place made = {};
        made.form = of;
        made.symbol = known->second;
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

    // choice: the <a|b>$which with an alternative that the part may be the beginning of, or
    // no_node.
    Part add_part(int32_t i, bool is_top, int32_t choice)
    {
        const Node &node = notation_.nodes[static_cast<size_t>(i)];
        const Part part = {entries_.used, exits_.used, false};
        switch (node.kind) {
        case NodeKind::keyword:
        case NodeKind::argument: {
            Symbol word = {};
            word.text = node.text;
            word.type = node.type;
            word.is_keyword = node.kind == NodeKind::keyword;
            const std::string_view which =
                choice == no_node ? "" : notation_.nodes[static_cast<size_t>(choice)].which;
            add_place(word, which, node.column, node.repeats);
            places_[places_.used - 1].is_last_word = is_top && word.is_keyword;
            return part;
        }
        case NodeKind::sequence:
            return add_sequence(node, is_top, choice);
        case NodeKind::set:
            return add_set(node, choice);
        default:
            return add_alternatives(node, node.which.empty() ? choice : i);
        }
    }

    Part add_sequence(const Node &node, bool is_top, int32_t choice)
    {
        Part all = {entries_.used, exits_.used, true};
        for (int32_t i = node.first; i != no_node;) {
            const bool begins = all.may_be_empty;
            const Part next = add_part(i, is_top, begins ? choice : no_node);
            link(all, next);
            if (!all.may_be_empty)
                entries_.used = next.first_entry;
            if (!next.may_be_empty)
                drop_exits(all.first_exit, next.first_exit);
            all.may_be_empty = all.may_be_empty && next.may_be_empty;
            i = notation_.nodes[static_cast<size_t>(i)].next;
        }
        return all;
    }

    Part add_alternatives(const Node &node, int32_t choice)
    {
        Part all = {entries_.used, exits_.used, false};
        for (int32_t i = node.first; i != no_node;) {
            all.may_be_empty |= add_part(i, false, choice).may_be_empty;
            i = notation_.nodes[static_cast<size_t>(i)].next;
        }
        all.may_be_empty |=
            node.kind == NodeKind::option || (node.kind == NodeKind::unless_no && is_negated_);
        return all;
    }

    Part add_set(const Node &node, int32_t choice)
    {
        const Part all = {entries_.used, exits_.used, false};
        for (int32_t i = node.first; i != no_node;) {
            const Node &option = notation_.nodes[static_cast<size_t>(i)];
            const Part part = add_part(i, false, choice);
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

    // So far symbols have the order in which they are met.
    void number_symbols()
    {
        reserve(order_, symbols_.used);
        for (int32_t i = 0; i < count(symbols_); i++)
            add(order_, i);
        std::sort(order_.begin(), order_.end(), [this](int32_t one, int32_t other) {
            return is_before(symbol(one), symbol(other));
        });
        add_copies(number_, symbols_.used, 0);
        reserve(sorted_, symbols_.used);
        for (const int32_t i : order_)
            number_[static_cast<size_t>(i)] = add(sorted_, symbol(i));
        std::swap(symbols_, sorted_);
        for (Place &one : places_)
            one.symbol = number_[static_cast<size_t>(one.symbol)];
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
        add_copies(steps_, links_.used, {});
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

    const Array<Definition> &definitions_;
    const TypeNames &types_;
    Findings &findings_;
    Positions &positions_;
    Array<Draft> &forms_;
    Array<Place> &places_;
    Array<Step> &steps_;
    Array<Symbol> &symbols_;

    Notation notation_ = {};
    bool is_negated_ = false;
    int32_t options_ = 0;
    Array<Entry> entries_;
    Array<int32_t> exits_;
    Array<Link> links_;
    std::unordered_map<Symbol, int32_t, HashOfSymbol, IsSameSymbol,
                       Tracked<std::pair<const Symbol, int32_t>>>
        symbol_of_word_;
    Array<int32_t> order_; // the symbols as they are to be sorted
    Array<Symbol> sorted_;
    Array<int32_t> number_; // of a symbol, once they are sorted
};

} // namespace

void Positions::note(Findings &findings, Problem problem, int32_t at, int32_t other)
{
    const uint32_t bit = uint32_t{1} << static_cast<int>(problem);
    const Place &place = places[static_cast<size_t>(at)];
    uint32_t &noted = places[static_cast<size_t>(place.twin)].noted;
    if ((noted & bit) != 0)
        return;
    noted |= bit;
    findings.row = forms[static_cast<size_t>(place.form)].definition;
    findings.add(problem, place.column, other == findings.row ? none : other);
}

void Positions::release()
{
    forms.release();
    places.release();
    steps.release();
}

void make_positions(const Array<Definition> &definitions, const TypeNames &types,
                    Findings &findings, Positions &out_positions, Array<Symbol> &out_symbols)
{
    Gatherer(definitions, types, findings, out_positions, out_symbols).gather();
}

} // namespace varno::commands
