#include "level.h"

#include <varno/platform.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace varno {
namespace {

// What a result means for a text with one word and balanced quotes: that no word was
// found, or no record made, is want of memory. An empty word is a prefix of every keyword
// and the number 0: it must not select one. A string may be empty.
int32_t reason_of(uint32_t result, const cli_pmatch_s *match)
{
    switch (result) {
    case PARSE_NO_MATCH:
        return CLI_ASSIST_UNKNOWN;
    case PARSE_AMBIGUOUS:
        return CLI_ASSIST_AMBIGUOUS;
    case PARSE_BAD_QUOTES:
        return CLI_ASSIST_QUOTES;
    default:
        break;
    }
    if (!match)
        return CLI_ASSIST_NO_MEMORY;
    const bool is_refused = *match->token == '\0' && match->node->type != PNODE_STRING;
    return is_refused ? CLI_ASSIST_EMPTY_WORD : CLI_ASSIST_OK;
}

// One word at a time, because cli_parse asserts when there is no memory for a later
// word's text. It judges numbers by errno, which may hold an overflow of long ago; the
// caller's is put back.
int32_t match_among(const cli_pnode_s *first, const char *text, cli_pmatch_s **out_match)
{
    const int callers_errno = errno;
    int32_t consumed = 0;
    *out_match = nullptr;
    errno = 0;
    // cli_parse only reads the graph.
    const uint32_t result =
        cli_parse(const_cast<cli_pnode_s *>(first), text, static_cast<int32_t>(std::strlen(text)),
                  &consumed, out_match);
    errno = callers_errno;
    const int32_t reason = reason_of(result, *out_match);
    if (reason != CLI_ASSIST_OK) {
        cli_match_free(*out_match);
        *out_match = nullptr;
    }
    return reason;
}

void note_why(Why *why, const char *text)
{
    if (!why || !text || why->has_several)
        return;
    char kept[CLI_ASSIST_MAX_WHY + 1];
    std::snprintf(kept, std::size(kept), "%s", text);
    if (*why->text == '\0')
        std::memcpy(why->text, kept, std::size(kept));
    else if (std::strcmp(why->text, kept) != 0)
        *why = {.text = "", .has_several = true};
}

// The first two of a kind: a third changes no decision.
struct FirstTwo {
    const cli_pnode_s *nodes[2];
    int count;

    void add(const cli_pnode_s *n)
    {
        if (count < 2)
            nodes[count++] = n;
    }
};

// What the filter leaves of a level for a word: all that cli_parse needs to decide.
struct Left {
    const cli_pnode_s *exact; // the first keyword that is the word
    FirstTwo abbreviated;     // keywords that the word begins
    FirstTwo values;          // strings and numbers that fit it best
    int32_t best;             // how well these fit
};

// text: with one word, whose value is `word`. Of a word that is refused nothing is left.
// Returns CLI_ASSIST_OK, or NO_MEMORY.
int32_t narrow(const Level &level, const char *text, const char *word, Left &out_left, Why *why)
{
    out_left = {};
    const size_t len = std::strlen(word);
    const cli_pnode_s *refused = nullptr;
    const bool is_bare = std::strcspn(text + std::strspn(text, " \t"), " \t") == len;
    for (const cli_pnode_s *n = level.first; !is_list_end(n); n = n->next) {
        if (n->type == PNODE_KEYWORD && has_texts(n) && std::strncmp(n->keyword, word, len) == 0) {
            if (!is_bare && (n->attr & level.filter->bare) != 0)
                continue;
            const bool is_whole = n->keyword[len] == '\0';
            const int32_t fit = fit_of(level, n, word, why);
            if (is_whole && fit == CLI_ASSIST_FIT_REFUSED)
                refused = n;
            if (fit <= CLI_ASSIST_FIT_NO)
                continue;
            if (is_whole && !out_left.exact)
                out_left.exact = n;
            out_left.abbreviated.add(n);
        } else if (is_value_node(n)) {
            const int32_t fit = fit_of(level, n, word, why);
            if (fit <= CLI_ASSIST_FIT_NO || fit < out_left.best)
                continue;
            const int32_t number = n->type == PNODE_INT32 ? match_number(text) : CLI_ASSIST_OK;
            if (number == CLI_ASSIST_NO_MEMORY)
                return number;
            if (number != CLI_ASSIST_OK)
                continue;
            if (fit > out_left.best)
                out_left.values = {};
            out_left.best = fit;
            out_left.values.add(n);
        }
    }
    if (refused && !out_left.exact) {
        out_left = {};
        if (why)
            *why = {};
        fit_of(level, refused, word, why); // this reason alone counts
    }
    return CLI_ASSIST_OK;
}

// The nodes that are left, as a level of their own. What a word only begins takes part
// to make an abbreviated keyword ambiguous, and alone takes no word.
class LevelOfCopies {
  public:
    explicit LevelOfCopies(const Left &left)
    {
        if (left.exact) {
            add(left.exact);
            return;
        }
        const int keywords = left.best == CLI_ASSIST_FIT_VALUE ? 0 : left.abbreviated.count;
        const int values =
            left.best > CLI_ASSIST_FIT_BEGINS || keywords > 0 ? left.values.count : 0;
        for (int i = 0; i < keywords; i++)
            add(left.abbreviated.nodes[i]);
        for (int i = 0; i < values; i++)
            add(left.values.nodes[i]);
    }

    const cli_pnode_s *first() const { return count_ == 0 ? &NONE : copies_; }

    const cli_pnode_s *original(const cli_pnode_s *copy) const { return nodes_[copy - copies_]; }

  private:
    void add(const cli_pnode_s *n)
    {
        copies_[count_] = *n;
        copies_[count_].next = &NONE;
        if (count_ > 0)
            copies_[count_ - 1].next = &copies_[count_];
        nodes_[count_++] = n;
    }

    cli_pnode_s copies_[4];
    const cli_pnode_s *nodes_[4];
    int count_ = 0;
};

int32_t match_filtered(const Level &level, const char *text, cli_pmatch_s **out_match, Why *why)
{
    *out_match = nullptr;
    char word[CLI_ASSIST_MAX_LINE + 1];
    if (!read_value(text, word))
        return CLI_ASSIST_NO_MEMORY;
    Left left;
    const int32_t narrowed = narrow(level, text, word, left, why);
    if (narrowed != CLI_ASSIST_OK)
        return narrowed;
    // Quotes with nothing in them begin no keyword.
    if (*word == '\0' && left.values.count == 1 && takes_rest(level, left.values.nodes[0]))
        left.abbreviated = {};
    const LevelOfCopies copies(left);
    const bool is_rest = takes_rest(level, copies.first()) && is_list_end(copies.first()->next);
    const int32_t reason = match_among(copies.first(), is_rest ? "-" : text, out_match);
    if (reason != CLI_ASSIST_OK)
        return reason;
    // The graph's own node, as cli_parse gives it.
    (*out_match)->node = const_cast<cli_pnode_s *>(copies.original((*out_match)->node));
    return reason;
}

// Returns what to show for an alternative; NULL: the word cannot become this.
const char *choice_text(const cli_pnode_s *n, const Begun &begun)
{
    switch (n->type) {
    case PNODE_KEYWORD:
        return is_begun_keyword(n, begun) ? n->keyword : nullptr;
    case PNODE_STRING:
        return has_texts(n) ? n->keyword : nullptr;
    case PNODE_INT32:
        return has_texts(n) && begun.can_be_number ? n->keyword : nullptr;
    case PNODE_EOLS:
        return begun.can_end ? "<cr>" : nullptr;
    default:
        return nullptr;
    }
}

// A listing that is going on.
struct Listing {
    const ChoiceSink &sink;
    const cli_pnode_s *node; // whose values are listed
    int count;

    void add(const cli_pnode_s *n, const char *text, const char *help)
    {
        if (sink.choice && count < sink.most)
            sink.choice(sink.user, n, text, help ? help : "");
        count++;
    }

    static void add_value(void *ctx, const char *text, const char *help)
    {
        auto &listing = *static_cast<Listing *>(ctx);
        listing.add(listing.node, text, help);
    }
};

// A node's values as its filter tells them, on their way to who wants those that begin
// with a word.
struct BegunValues {
    const Level &level;
    const char *begun;
    size_t len;
    cli_assist_value_fn value;
    void *ctx;

    static void pass(void *ctx, const char *text, const char *help)
    {
        const auto &values = *static_cast<const BegunValues *>(ctx);
        if (text && *text != '\0' && std::strncmp(text, values.begun, values.len) == 0 &&
            !values.is_refused(text))
            values.value(values.ctx, text, help);
    }

    // A keyword that is refused is no value either.
    bool is_refused(const char *text) const
    {
        for (const cli_pnode_s *n = level.first; !is_list_end(n); n = n->next) {
            if (n->type == PNODE_KEYWORD && has_texts(n) && std::strcmp(n->keyword, text) == 0 &&
                fit_of(level, n, text, nullptr) == CLI_ASSIST_FIT_REFUSED)
                return true;
        }
        return false;
    }
};

// A record that is too short for its functions, or lacks the one that must be there, is a
// mistake of the host's: it hides everything rather than nothing.
bool is_usable(const cli_assist_filter_s &filter)
{
    return filter.size >= sizeof(filter) && filter.fit;
}

} // namespace

Level level_of(const cli_pnode_s *first, const cli_assist_filter_s *filter,
               const cli_pmatch_s *before)
{
    const bool is_asked =
        filter && !is_list_end(first) &&
        (!is_usable(*filter) || filter->attr == 0 || (first->attr & filter->attr) != 0);
    return {first, is_asked ? filter : nullptr, before};
}

int32_t fit_of(const Level &level, const cli_pnode_s *n, const char *word, Why *why)
{
    if (!level.filter)
        return CLI_ASSIST_FIT_TAKES;
    if (!is_usable(*level.filter))
        return CLI_ASSIST_FIT_NO;
    const char *text = nullptr;
    const int32_t fit = level.filter->fit(level.filter->user, n, word, level.before, &text);
    if (fit <= CLI_ASSIST_FIT_BEGINS)
        note_why(why, text);
    return std::clamp<int32_t>(fit, CLI_ASSIST_FIT_REFUSED, CLI_ASSIST_FIT_VALUE);
}

bool is_begun_keyword(const cli_pnode_s *n, const Begun &begun)
{
    return n->type == PNODE_KEYWORD && has_texts(n) && *n->keyword != '\0' &&
           std::strncmp(n->keyword, begun.value, begun.len) == 0;
}

bool takes_rest(const Level &level, const cli_pnode_s *n)
{
    return level.filter && n->type == PNODE_STRING && (n->attr & level.filter->rest) != 0;
}

int32_t match_word(const Level &level, const char *text, cli_pmatch_s **out_match, Why *why)
{
    if (level.filter)
        return match_filtered(level, text, out_match, why);
    return match_among(level.first, text, out_match);
}

bool read_value(const char *text, char (&value)[CLI_ASSIST_MAX_LINE + 1])
{
    char *copy = nullptr;
    int at = 0;
    token_copy(text, &copy, &at);
    if (!copy)
        return false;
    strlcpy2(value, copy, std::size(value) - 1);
    tracked_free(copy, "BYTE");
    return true;
}

int32_t match_number(const char *text)
{
    cli_pnode_s number = {};
    number.name = "number";
    number.keyword = "number";
    number.type = PNODE_INT32;
    number.child = &NONE;
    number.next = &NONE;
    cli_pmatch_s *match = nullptr;
    const int32_t reason = match_among(&number, text, &match);
    cli_match_free(match);
    return reason == CLI_ASSIST_EMPTY_WORD ? CLI_ASSIST_OK : reason;
}

// Of several ends of line, the first that is left is run.
const cli_pnode_s *end_of_command(const Level &level, Why *why)
{
    for (const cli_pnode_s *n = level.first; !is_list_end(n); n = n->next) {
        if (n->type == PNODE_EOLS && fit_of(level, n, "", why) > CLI_ASSIST_FIT_NO)
            return n;
    }
    return nullptr;
}

int32_t least_fit(const Level &level, const char *text)
{
    char word[CLI_ASSIST_MAX_LINE + 1];
    Left left;
    if (!level.filter || !read_value(text, word) ||
        narrow(level, text, word, left, nullptr) != CLI_ASSIST_OK)
        return CLI_ASSIST_FIT_BEGINS;
    return left.best;
}

const char *offered_text(const Level &level, const cli_pnode_s *n, const Begun &begun,
                         int32_t least)
{
    const char *text = choice_text(n, begun);
    if (!text)
        return nullptr;
    const int32_t fit = fit_of(level, n, begun.value, nullptr);
    if (fit <= CLI_ASSIST_FIT_NO || (is_value_node(n) && fit < least))
        return nullptr;
    return text;
}

// Of several ends of line only the first is ever run, and listed.
int list_level(const Level &level, Begun begun, int32_t least, const ChoiceSink &sink)
{
    Listing listing = {sink, nullptr, 0};
    for (const cli_pnode_s *n = level.first; !is_list_end(n); n = n->next) {
        const char *text = offered_text(level, n, begun, least);
        if (!text)
            continue;
        if (n->type == PNODE_EOLS)
            begun.can_end = false;
        listing.add(n, text, n->help);
        listing.node = n;
        if (is_value_node(n))
            list_values(level, n, begun.value, Listing::add_value, &listing);
    }
    return listing.count;
}

void list_values(const Level &level, const cli_pnode_s *n, const char *begun,
                 cli_assist_value_fn value, void *ctx)
{
    if (!level.filter || !level.filter->values)
        return;
    BegunValues values = {level, begun, std::strlen(begun), value, ctx};
    level.filter->values(level.filter->user, n, begun, level.before, BegunValues::pass, &values);
}

} // namespace varno
