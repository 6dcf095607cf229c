#ifndef VARNO_FUZZ_ASSIST_CHECK_H
#define VARNO_FUZZ_ASSIST_CHECK_H

// Help, completion and errors beside what cli_parse makes of the same line.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "cli_parse_check.h"
#include "finding.h"
#include "text_check.h"

#include <varno/cli_assist.h>
#include <varno/platform_default.h>

namespace varno_fuzz {

using Choices = std::vector<std::string>;

inline void add_choice(void *user, const cli_pnode_s *node, const char *text, const char *help)
{
    FUZZ_REQUIRE(node && text && help);
    static_cast<Choices *>(user)->push_back(text);
}

inline Choices help_of(cli_pnode_s *root, const std::string &line)
{
    const Block block(line);
    Choices choices;
    const int count = cli_assist_help(root, nullptr, block.get(), static_cast<int32_t>(line.size()),
                                      add_choice, &choices);
    FUZZ_REQUIRE(count == static_cast<int>(choices.size()));
    return choices;
}

inline bool has_empty_word(const ModelParse &parse)
{
    return std::any_of(parse.matches.begin(), parse.matches.end(), [](const ModelMatch &match) {
        return match.token.empty() && match.node->type != PNODE_STRING;
    });
}

inline int wanted_reason(const ModelParse &parse, const cli_pnode_s *end)
{
    if (has_empty_word(parse))
        return CLI_ASSIST_EMPTY_WORD;
    switch (parse.result) {
    case PARSE_EMPTY:
        return CLI_ASSIST_EMPTY;
    case PARSE_NO_MATCH:
        return CLI_ASSIST_UNKNOWN;
    case PARSE_AMBIGUOUS:
        return CLI_ASSIST_AMBIGUOUS;
    case PARSE_BAD_QUOTES:
        return CLI_ASSIST_QUOTES;
    default:
        return end ? CLI_ASSIST_OK : CLI_ASSIST_INCOMPLETE;
    }
}

// errno is cleared for each word there, so a line with an overflow is left out.
inline void check_assist_parse(cli_pnode_s *root, const std::string &line)
{
    errno = 0;
    const ModelParse model(root, line, line.size());
    if (errno == ERANGE)
        return;
    const cli_pnode_s *end = model.result == PARSE_MATCHED && !model.matches.empty()
                                 ? cli_parse_node_get_executable(model.matches.back().node)
                                 : nullptr;
    const Block block(line);
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    const cli_pnode_s *got = cli_assist_parse(root, nullptr, block.get(), &matches, &error);
    FUZZ_REQUIRE(error.reason == wanted_reason(model, end));
    FUZZ_REQUIRE(got == (error.reason == CLI_ASSIST_OK ? end : nullptr));
    FUZZ_REQUIRE((matches != nullptr) == (got != nullptr));
    const cli_pmatch_s *match = matches;
    for (size_t i = 0; got && i < model.matches.size(); i++, match = match->next)
        FUZZ_REQUIRE(match->node == model.matches[i].node && match->pos == model.matches[i].pos);
    cli_match_free(matches);
    FUZZ_REQUIRE(error.at >= 0 && error.at + error.len <= static_cast<int>(line.size()));
    Choices choices;
    cli_assist_candidates(root, nullptr, block.get(), &error, INT32_MAX, add_choice, &choices);
    FUZZ_REQUIRE(error.reason != CLI_ASSIST_AMBIGUOUS || choices.size() >= 2);
}

// What is completed is still offered, and what is finished is a word that is taken.
inline void check_completion(cli_pnode_s *root, const std::string &line)
{
    const Block block(line);
    const auto len = static_cast<int32_t>(line.size());
    cli_assist_completion_s made;
    const int result = cli_assist_complete(root, nullptr, block.get(), len, &made);
    FUZZ_REQUIRE(made.is_text == cli_assist_in_quotes(block.get(), len));
    FUZZ_REQUIRE(made.insert_len == static_cast<int32_t>(std::strlen(made.insert)));
    if (result != 0)
        return FUZZ_REQUIRE(result == -1 && made.choices == 0 && made.insert_len == 0);
    FUZZ_REQUIRE(made.choices > 0);
    const Choices before = help_of(root, line);
    FUZZ_REQUIRE(static_cast<int>(before.size()) >= made.choices);
    const std::string longer = line + made.insert;
    const bool is_finished = made.insert_len > 0 && made.insert[made.insert_len - 1] == ' ';
    if (is_finished && made.choices == 1) {
        errno = 0;
        const ModelParse parse(root, longer, longer.size());
        FUZZ_REQUIRE(parse.result == PARSE_MATCHED || errno == ERANGE); // left out, as above
    } else if (ModelTokens(longer).tokens.empty() || made.insert_len == 0 ||
               longer.find('\\') == longer.npos) {
        FUZZ_REQUIRE(static_cast<int>(help_of(root, longer).size()) >= made.choices);
    }
}

// A filter from an input: what it says depends on node, word and words before alone.
struct ChosenFilter {
    std::string choices;
    cli_assist_filter_s record = {sizeof(record), this, fit, values, 0, 0, 0};

    size_t choice(const cli_pnode_s *node, const std::string &word,
                  const cli_pmatch_s *before) const
    {
        size_t at = word.size() + node->type;
        for (const char c : word)
            at = at * 31 + static_cast<unsigned char>(c);
        for (; before; before = before->next)
            at += static_cast<size_t>(before->pos) + std::strlen(before->token);
        return choices.empty() ? 2 : static_cast<unsigned char>(choices[at % choices.size()]);
    }

    static int32_t fit(void *user, const cli_pnode_s *node, const char *word,
                       const cli_pmatch_s *before, const char **why)
    {
        const size_t chosen = static_cast<const ChosenFilter *>(user)->choice(node, word, before);
        *why = chosen & 32 ? "a reason" : nullptr;
        return static_cast<int32_t>(chosen % 7) - 1;
    }

    static void values(void *user, const cli_pnode_s *node, const char *begun,
                       const cli_pmatch_s *before, cli_assist_value_fn value, void *ctx)
    {
        static constexpr const char *texts[] = {"s", "two words", "", "12", "\\", nullptr};
        const auto &filter = *static_cast<const ChosenFilter *>(user);
        for (size_t count = filter.choice(node, begun, before) % 8; count > 0; count--)
            value(ctx, texts[count % std::size(texts)], count % 2 ? nullptr : "help");
    }
};

// With a filter nothing is promised but that a line which runs is matched whole, and that
// what is refused is said to be so at a place.
inline void check_filtered(cli_pnode_s *root, const std::string &line, const ChosenFilter &filter)
{
    const Block block(line);
    const auto len = static_cast<int32_t>(line.size());
    Choices choices;
    cli_assist_help(root, &filter.record, block.get(), len, add_choice, &choices);
    cli_assist_completion_s made;
    cli_assist_complete(root, &filter.record, block.get(), len, &made);
    FUZZ_REQUIRE(made.insert_len == static_cast<int32_t>(std::strlen(made.insert)));
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    const cli_pnode_s *end = cli_assist_parse(root, &filter.record, block.get(), &matches, &error);
    FUZZ_REQUIRE((end != nullptr) == (error.reason == CLI_ASSIST_OK));
    FUZZ_REQUIRE((end != nullptr) == (matches != nullptr));
    FUZZ_REQUIRE(error.at >= 0 && error.at + error.len <= len);
    cli_match_free(matches);
    const int all =
        cli_assist_candidates(root, &filter.record, block.get(), &error, 3, add_choice, &choices);
    FUZZ_REQUIRE(error.reason != CLI_ASSIST_AMBIGUOUS || all >= 2);
    char text[64];
    const int32_t needed = cli_assist_format_error(block.get(), &error, 20, text, sizeof(text));
    FUZZ_REQUIRE(std::strlen(text) <= static_cast<size_t>(needed) &&
                 std::count(text, text + std::strlen(text), '\n') <= 3);
}

// Without memory nothing is offered that is not there.
inline void check_failures(cli_pnode_s *root, const std::string &line, long fail_after)
{
    const Choices all = help_of(root, line);
    tracked_fail_after(fail_after);
    const Choices some = help_of(root, line);
    tracked_fail_after(fail_after);
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    const Block block(line);
    cli_assist_parse(root, nullptr, block.get(), &matches, &error);
    tracked_fail_after(-1);
    cli_match_free(matches);
    for (const std::string &choice : some)
        FUZZ_REQUIRE(std::find(all.begin(), all.end(), choice) != all.end());
}

} // namespace varno_fuzz

#endif
