#ifndef VARNO_FUZZ_TEXT_CHECK_H
#define VARNO_FUZZ_TEXT_CHECK_H

// The text services beside plain reimplementations on strings. Texts lie in blocks of
// exactly their size, so that a sanitizer sees a read outside them.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "finding.h"

#include <varno/platform.h>
#include <varno/platform_default.h>

namespace varno_fuzz {

inline bool is_blank(char c)
{
    return c != '\0' && std::strchr(" \t\n\v\f\r", c) != nullptr;
}

struct ModelToken {
    size_t start;
    size_t end;
    std::string value;
};

// All tokens of a text, and where a quote without partner is (npos: none).
struct ModelTokens {
    std::vector<ModelToken> tokens;
    size_t open_quote = std::string::npos;

    explicit ModelTokens(std::string_view text)
    {
        char quote = '\0';
        bool is_inside = false;
        for (size_t at = 0; at < text.size(); at++) {
            const char c = text[at];
            if (!quote && is_blank(c)) {
                is_inside = false;
                continue;
            }
            if (!is_inside)
                tokens.push_back({at, at, ""});
            is_inside = true;
            if (c == '\\' && quote != '\'' && at + 1 < text.size()) {
                tokens.back().value += text[++at];
            } else if (quote ? c == quote : c == '"' || c == '\'') {
                open_quote = quote ? std::string::npos : at;
                quote = quote ? '\0' : c;
            } else {
                tokens.back().value += c;
            }
            tokens.back().end = at + 1;
        }
    }
};

// A text in a block of its own.
class Block {
  public:
    explicit Block(std::string_view text) : bytes_(new char[text.size() + 1]())
    {
        std::copy(text.begin(), text.end(), bytes_.get());
    }
    const char *get() const { return bytes_.get(); }
    size_t index_of(const char *at) const
    {
        return at ? static_cast<size_t>(at - bytes_.get()) : std::string::npos;
    }

  private:
    std::unique_ptr<char[]> bytes_;
};

inline void check_white_space(const std::string &text, int index)
{
    constexpr const char *blanks = " \t\n\v\f\r";
    const Block block(text);
    const size_t at = static_cast<size_t>(std::max(index, 0));
    FUZZ_REQUIRE(block.index_of(spanws(block.get(), index)) == text.find_first_not_of(blanks, at));
    const size_t back = index < 0 ? text.npos : text.find_last_not_of(blanks, at);
    FUZZ_REQUIRE(block.index_of(spanws_back(block.get(), index)) == back);
}

inline void check_word_at(const std::string &text, int cursor)
{
    const Block block(text);
    const auto used = static_cast<int>(text.size());
    int start = 77;
    int len = 77;
    const int result = string_get_cursor_token(block.get(), used, cursor, &start, &len);
    if (cursor < 0 || cursor > used)
        return FUZZ_REQUIRE(result == -1 && start == 77 && len == 77);
    int first = cursor;
    while (first > 0 && !is_blank(text[static_cast<size_t>(first) - 1]))
        first--;
    const size_t blank = text.find_first_of(" \t\n\v\f\r", static_cast<size_t>(cursor));
    const int end = static_cast<int>(std::min(blank, text.size()));
    if (first == end)
        FUZZ_REQUIRE(result == -1 && start == 77 && len == 77);
    else
        FUZZ_REQUIRE(result == 0 && start == first && len == end - first);
}

inline void check_first_token(const std::string &text, long fail_after)
{
    const Block block(text);
    const ModelTokens model(text);
    int start = 77;
    int end = 77;
    int at = 77;
    char *token = nullptr;
    const int bounds = token_find_bounds(block.get(), &start, &end);
    tracked_fail_after(fail_after);
    const int used = token_copy(block.get(), &token, &at);
    tracked_fail_after(-1);
    if (model.tokens.empty()) {
        const auto all = static_cast<int>(text.size());
        return FUZZ_REQUIRE(bounds == -1 && start == 77 && end == 77 && !token && used == all &&
                            at == all);
    }
    const ModelToken &first = model.tokens[0];
    const size_t next = model.tokens.size() > 1 ? model.tokens[1].start : text.size();
    FUZZ_REQUIRE(bounds == 0 && start == static_cast<int>(first.start));
    FUZZ_REQUIRE(end == static_cast<int>(first.end) && at == start);
    FUZZ_REQUIRE(used == static_cast<int>(next));
    FUZZ_REQUIRE(fail_after > 0 ? !token : token && first.value == token);
    tracked_free(token, "BYTE");
}

inline void check_quotes(const std::string &text)
{
    const Block block(text);
    FUZZ_REQUIRE(block.index_of(string_check_quotes(block.get())) == ModelTokens(text).open_quote);
}

inline void check_copy(const std::string &text, size_t most)
{
    const Block block(text);
    const auto dst = std::make_unique<char[]>(std::min(most, text.size()) + 1);
    const int is_cut = strlcpy2(dst.get(), block.get(), most);
    FUZZ_REQUIRE(is_cut == (text.size() > most ? 1 : 0));
    FUZZ_REQUIRE(dst.get() == text.substr(0, most));
}

} // namespace varno_fuzz

#endif
