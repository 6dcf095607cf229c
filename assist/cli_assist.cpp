// Help, completion and errors: one walk along the words of a line, each matched
// against its level by cli_parse itself, and a look at what the level offers then.
// How a line falls into words, quotes and escapes is left to the platform.

#include <varno/cli_assist.h>

#include <varno/platform.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace {

// ORDER assist reasons
constexpr const char *reason_texts[] = {
    "no error",        "empty line", "unknown word",  "ambiguous word", "incomplete command",
    "unmatched quote", "empty word", "out of memory", "line too long",
};
static_assert(std::size(reason_texts) == CLI_ASSIST_TOO_LONG + 1);

// A line on its way through the graph. It is a copy, so that a word can be cut off
// behind its end, and something be tried behind the last one.
struct Walk {
    cli_pnode_s *level; // alternatives of the word at `done`
    int32_t done;       // characters of the words passed, white space behind them included
    int32_t len;
    // Terminated; with room for a completion and one more character.
    char text[CLI_ASSIST_MAX_LINE + sizeof(cli_assist_completion_s::insert) + 1];
};

// A word of the line: [at, end), and the first character of the word after it.
struct Word {
    int32_t at;
    int32_t end;
    int32_t next;
};

// A terminator ends the line before len does. Returns false for a line too long.
bool begin_walk(Walk &walk, cli_pnode_s *root, const char *line, int32_t len)
{
    const size_t most = static_cast<size_t>(std::clamp(len, 0, CLI_ASSIST_MAX_LINE + 1));
    const size_t used = strnlen(line, most);
    if (used > CLI_ASSIST_MAX_LINE)
        return false;
    std::memcpy(walk.text, line, used);
    walk.text[used] = '\0';
    walk.level = root;
    walk.done = 0;
    walk.len = static_cast<int32_t>(used);
    return true;
}

// A quote that follows opens a stretch, unless it closes one or is escaped; so the
// platform's own rules tell how the end of the text stands.
bool ends_in_text(Walk &walk)
{
    if (string_check_quotes(walk.text))
        return true;
    walk.text[walk.len] = '"';
    walk.text[walk.len + 1] = '\0';
    const bool is_escaped = !string_check_quotes(walk.text);
    walk.text[walk.len] = '\0';
    return is_escaped;
}

bool find_word(const Walk &walk, Word &out_word)
{
    const char *from = walk.text + walk.done;
    int start = 0;
    int end = 0;
    if (token_find_bounds(from, &start, &end) != 0)
        return false;
    const char *next = spanws(from, end);
    out_word = {.at = walk.done + start,
                .end = walk.done + end,
                .next = next ? static_cast<int32_t>(next - walk.text) : walk.len};
    return true;
}

// An empty word is a prefix of every keyword and the number 0: it must not select
// one. A string may be empty.
int32_t reason_of_match(const cli_pmatch_s *match)
{
    const bool is_refused = *match->token == '\0' && match->node->type != PNODE_STRING;
    return is_refused ? CLI_ASSIST_EMPTY_WORD : CLI_ASSIST_OK;
}

// What a result means for a text with one word and balanced quotes: that no word
// was found, or no record made, is want of memory.
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
        return match ? reason_of_match(match) : CLI_ASSIST_NO_MEMORY;
    }
}

// Matches a text with one word. Word by word, because cli_parse asserts when there is
// no memory for a later word's text. It judges numbers by errno, which may hold an
// overflow of long ago; the caller's is put back. The record is set only with
// CLI_ASSIST_OK.
int32_t match_word(cli_pnode_s *level, const char *text, cli_pmatch_s **out_match)
{
    const int callers_errno = errno;
    int32_t consumed = 0;
    *out_match = nullptr;
    errno = 0;
    const uint32_t result =
        cli_parse(level, text, static_cast<int32_t>(std::strlen(text)), &consumed, out_match);
    errno = callers_errno;
    const int32_t reason = reason_of(result, *out_match);
    if (reason != CLI_ASSIST_OK) {
        cli_match_free(*out_match);
        *out_match = nullptr;
    }
    return reason;
}

// Matches the word at walk.done and passes it. The record is as if the whole line had
// been parsed at once.
int32_t pass_word(Walk &walk, const Word &word, cli_pmatch_s **out_match)
{
    char &behind = walk.text[word.next];
    const char kept = behind;
    behind = '\0';
    const int32_t reason = match_word(walk.level, walk.text + walk.done, out_match);
    behind = kept;
    if (reason != CLI_ASSIST_OK)
        return reason;
    (*out_match)->pos += walk.done;
    walk.level = (*out_match)->node->child;
    walk.done = word.next;
    return reason;
}

// Where the end of a line stands.
enum class Place {
    word,    // in a word, or where one may begin
    text,    // in quotes or behind an escaping backslash
    nowhere, // behind words that do not match
};

// Passes all words but the one that the line ends in; that one is empty behind
// white space.
Place find_place(Walk &walk, Word &out_word)
{
    if (ends_in_text(walk))
        return Place::text;
    while (find_word(walk, out_word)) {
        if (out_word.end == walk.len)
            return Place::word;
        cli_pmatch_s *match = nullptr;
        if (pass_word(walk, out_word, &match) != CLI_ASSIST_OK)
            return Place::nowhere;
        cli_match_free(match);
    }
    out_word = {.at = walk.len, .end = walk.len, .next = walk.len};
    return Place::word;
}

// Finds whether the word is a number, the empty word included.
int32_t match_number(const char *word)
{
    cli_pnode_s number = {};
    number.name = "number";
    number.keyword = "number";
    number.type = PNODE_INT32;
    number.child = &NONE;
    number.next = &NONE;
    cli_pmatch_s *match = nullptr;
    const int32_t reason = match_word(&number, word, &match);
    cli_match_free(match);
    return reason == CLI_ASSIST_EMPTY_WORD ? CLI_ASSIST_OK : reason;
}

// Finds whether a number can begin with the word: whatever lacks something, as "-" and
// "0x" do, lacks no more than a digit. There is room for it behind the word, which
// ends at the terminator. Returns CLI_ASSIST_OK, NO_MEMORY, or why none can.
int32_t match_begun_number(char *word)
{
    const size_t len = std::strlen(word);
    if (len == 0)
        return CLI_ASSIST_OK;
    word[len] = '0';
    word[len + 1] = '\0';
    const int32_t reason = match_number(word);
    word[len] = '\0';
    if (reason == CLI_ASSIST_OK || reason == CLI_ASSIST_NO_MEMORY)
        return reason;
    return match_number(word);
}

// What there is of a word, for comparison with the alternatives of its level.
struct Begun {
    const char *value; // quotes and escapes removed
    size_t len;
    bool can_be_number;
    bool can_end; // nothing of it yet, and words before it: a command may end here
};

// Puts a word's value in its place in walk.text, which ends with the word. Nothing
// stays allocated, so that a callback may leave as it likes.
bool read_value(Walk &walk, const Word &word)
{
    if (word.at == word.end)
        return true;
    char *value = nullptr;
    int at = 0;
    token_copy(walk.text + word.at, &value, &at);
    if (!value)
        return false;
    strlcpy2(walk.text + word.at, value, static_cast<size_t>(word.end - word.at));
    tracked_free(value, "BYTE");
    return true;
}

// number: what the word was found to be as a number. Returns false without memory.
bool read_word(Walk &walk, const Word &word, int32_t number, Begun &out_begun)
{
    if (number == CLI_ASSIST_NO_MEMORY || !read_value(walk, word))
        return false;
    out_begun.value = walk.text + word.at;
    out_begun.len = std::strlen(out_begun.value);
    out_begun.can_be_number = number == CLI_ASSIST_OK;
    out_begun.can_end = word.at == word.end && walk.done > 0;
    return true;
}

// An overlong line counts as text: there a key is safest taken for a character.
Place read_place(Walk &walk, cli_pnode_s *root, const char *line, int32_t len, Word &out_word,
                 Begun &out_begun)
{
    if (!root || !line || len < 0)
        return Place::nowhere;
    if (!begin_walk(walk, root, line, len))
        return Place::text;
    const Place place = find_place(walk, out_word);
    if (place != Place::word)
        return place;
    const int32_t number = match_begun_number(walk.text + out_word.at);
    return read_word(walk, out_word, number, out_begun) ? place : Place::nowhere;
}

bool is_list_end(const cli_pnode_s *n)
{
    return !n || n == &NONE;
}

// Nodes without one of them match nothing in a parse.
bool has_texts(const cli_pnode_s *n)
{
    return n->name && n->keyword;
}

// The word "" cannot select a keyword, so one that is empty cannot be typed. The first
// letter tells most keywords apart, without a call.
bool is_begun_keyword(const cli_pnode_s *n, const Begun &begun)
{
    return n->type == PNODE_KEYWORD && has_texts(n) && *n->keyword != '\0' &&
           (begun.len == 0 || *n->keyword == *begun.value) &&
           std::strncmp(n->keyword, begun.value, begun.len) == 0;
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

// Of several ends of line only the first is ever run, and listed.
int list_level(const cli_pnode_s *level, Begun begun, cli_assist_choice_fn choice, void *user)
{
    int count = 0;
    for (const cli_pnode_s *n = level; !is_list_end(n); n = n->next) {
        const char *text = choice_text(n, begun);
        if (!text)
            continue;
        if (n->type == PNODE_EOLS)
            begun.can_end = false;
        if (choice)
            choice(user, n, text, n->help ? n->help : "");
        count++;
    }
    return count;
}

// What all keywords that a word begins have in common.
struct Common {
    const char *keyword; // the first of them; NULL: there is none
    size_t len;          // characters that all begin with
    int32_t count;
};

Common common_of(const cli_pnode_s *level, const Begun &begun)
{
    Common common = {nullptr, 0, 0};
    for (const cli_pnode_s *n = level; !is_list_end(n); n = n->next) {
        if (!is_begun_keyword(n, begun))
            continue;
        if (common.count++ == 0) {
            common.keyword = n->keyword;
            common.len = std::strlen(n->keyword);
        }
        size_t same = begun.len;
        while (same < common.len && n->keyword[same] == common.keyword[same])
            same++;
        common.len = same;
    }
    return common;
}

// The characters that mean something else than themselves in a word.
bool needs_backslash(char c)
{
    return c == '"' || c == '\'' || c == '\\' || std::isspace(static_cast<signed char>(c)) != 0;
}

// Adds a character unless it does not fit; a terminator stays behind it.
bool add_char(cli_assist_completion_s &out, char c)
{
    const bool is_escaped = needs_backslash(c);
    const size_t most = std::size(out.insert) - 1;
    if (static_cast<size_t>(out.insert_len) + (is_escaped ? 2 : 1) > most)
        return false;
    if (is_escaped)
        out.insert[out.insert_len++] = '\\';
    out.insert[out.insert_len++] = c;
    return true;
}

void add_blank(cli_assist_completion_s &out)
{
    if (static_cast<size_t>(out.insert_len) + 1 < std::size(out.insert))
        out.insert[out.insert_len++] = ' ';
}

// A string takes any word, a number many: whoever types may be after one that
// only begins with the keyword. Without memory the word counts as a number.
bool is_all_there_is(Walk &walk, const Word &word, const cli_assist_completion_s &out)
{
    std::memcpy(walk.text + walk.len, out.insert, static_cast<size_t>(out.insert_len) + 1);
    const int32_t number = match_begun_number(walk.text + word.at);
    const bool can_be_number = number == CLI_ASSIST_OK || number == CLI_ASSIST_NO_MEMORY;
    for (const cli_pnode_s *n = walk.level; !is_list_end(n); n = n->next) {
        const bool takes_it = n->type == PNODE_STRING || (n->type == PNODE_INT32 && can_be_number);
        if (takes_it && has_texts(n))
            return false;
    }
    return true;
}

void complete_word(Walk &walk, const Word &word, const Begun &begun, const Common &common,
                   cli_assist_completion_s &out)
{
    out.choices = common.count;
    for (size_t i = begun.len; i < common.len; i++) {
        if (!add_char(out, common.keyword[i]))
            return;
    }
    if (common.count == 1 && is_all_there_is(walk, word, out))
        add_blank(out);
}

// Matches all words of the line. out_error has the place of the word that failed.
int32_t pass_line(Walk &walk, cli_pmatch_s **tail, cli_assist_error_s &out_error)
{
    Word word = {};
    while (find_word(walk, word)) {
        const int32_t reason = pass_word(walk, word, tail);
        if (reason != CLI_ASSIST_OK) {
            out_error.at = word.at;
            out_error.len = word.end - word.at;
            return reason;
        }
        tail = &(*tail)->next;
        out_error.at = word.end;
    }
    return walk.done > 0 ? CLI_ASSIST_OK : CLI_ASSIST_EMPTY;
}

// Quotes come first: where they are wrong, so may all words be.
cli_pnode_s *run_line(Walk &walk, cli_pmatch_s **matches, cli_assist_error_s &out_error)
{
    const char *quote = string_check_quotes(walk.text);
    if (quote) {
        out_error.reason = CLI_ASSIST_QUOTES;
        out_error.at = static_cast<int32_t>(quote - walk.text);
        out_error.len = 1;
        return nullptr;
    }
    out_error.reason = pass_line(walk, matches, out_error);
    if (out_error.reason != CLI_ASSIST_NO_MEMORY)
        out_error.level = walk.level;
    if (out_error.reason != CLI_ASSIST_OK)
        return nullptr;
    cli_pnode_s *end = cli_parse_node_get_executable_from_match(*matches);
    if (!end)
        out_error.reason = CLI_ASSIST_INCOMPLETE;
    return end;
}

bool is_place_in_line(const cli_assist_error_s &error)
{
    return error.at >= 0 && error.at <= CLI_ASSIST_MAX_LINE && error.len >= 0 &&
           error.len <= CLI_ASSIST_MAX_LINE - error.at;
}

} // namespace

int cli_assist_in_quotes(const char *line, int32_t len)
{
    if (!line || len < 0)
        return 0;
    Walk walk;
    return !begin_walk(walk, nullptr, line, len) || ends_in_text(walk);
}

int cli_assist_help(cli_pnode_s *root, const char *line, int32_t len, cli_assist_choice_fn choice,
                    void *user)
{
    Walk walk;
    Word word;
    Begun begun;
    if (read_place(walk, root, line, len, word, begun) != Place::word)
        return 0;
    return list_level(walk.level, begun, choice, user);
}

// A word whose value is shorter than itself has quotes or backslashes.
int cli_assist_complete(cli_pnode_s *root, const char *line, int32_t len,
                        cli_assist_completion_s *out)
{
    *out = {};
    Walk walk;
    Word word;
    Begun begun;
    const Place place = read_place(walk, root, line, len, word, begun);
    out->is_text = place == Place::text;
    if (place != Place::word || begun.len != static_cast<size_t>(word.end - word.at))
        return -1;
    const Common common = common_of(walk.level, begun);
    if (!common.keyword)
        return -1;
    complete_word(walk, word, begun, common, *out);
    return 0;
}

cli_pnode_s *cli_assist_parse(cli_pnode_s *root, const char *line, cli_pmatch_s **matches,
                              cli_assist_error_s *error)
{
    *error = {};
    *matches = nullptr;
    Walk walk;
    if (!begin_walk(walk, root, line ? line : "", CLI_ASSIST_MAX_LINE + 1)) {
        *error = {CLI_ASSIST_TOO_LONG, CLI_ASSIST_MAX_LINE, 0, nullptr};
        return nullptr;
    }
    cli_pnode_s *end = run_line(walk, matches, *error);
    if (end) {
        *error = {};
        return end;
    }
    cli_match_free(*matches);
    *matches = nullptr;
    return nullptr;
}

// ORDER assist reasons
const char *cli_assist_strreason(int32_t reason)
{
    if (reason < 0 || static_cast<size_t>(reason) >= std::size(reason_texts))
        return "unknown reason";
    return reason_texts[reason];
}

int cli_assist_candidates(const char *line, const cli_assist_error_s *error,
                          cli_assist_choice_fn choice, void *user)
{
    if (!line || !error || !error->level || !is_place_in_line(*error))
        return 0;
    const Word word = {error->at, error->at + error->len, error->at + error->len};
    Walk walk;
    if (!begin_walk(walk, error->level, line, word.end) || walk.len != word.end)
        return 0;
    const char *first = spanws(walk.text, 0);
    const bool has_words_before = first && first < walk.text + word.at;
    Begun begun = {"", 0, true, has_words_before};
    if (error->reason == CLI_ASSIST_AMBIGUOUS &&
        !read_word(walk, word, match_number(walk.text + word.at), begun))
        return 0;
    return list_level(error->level, begun, choice, user);
}
