#ifndef VARNO_FUZZ_CONTRACT_CHECK_H
#define VARNO_FUZZ_CONTRACT_CHECK_H

// Calls with any argument, within their preconditions or not: outside of them the call
// ends in an assertion and has changed nothing, inside of them it never does.

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "finding.h"
#include "input_reader.h"
#include "support/assertion.h"
#include "support/editor.h"
#include "text_check.h"

#include <varno/stroker.h>
#include <varno/telnet_parser.h>

namespace varno_fuzz {

struct Arguments {
    int a;
    int b;
    const char *text; // may be NULL

    size_t len() const { return text ? std::strlen(text) : 0; }
};

inline int read_number(InputReader &in)
{
    static constexpr int extremes[] = {INT_MIN, INT_MIN + 1, -256,        -1,     0,
                                       255,     256,         INT_MAX - 1, INT_MAX};
    const int byte = in.byte();
    return byte < 200 ? byte - 8 : extremes[static_cast<size_t>(byte) % std::size(extremes)];
}

inline bool is_place(prompt_s *p, const Arguments &x)
{
    return x.a >= 0 && x.a <= p->ps.buf_used;
}

inline bool is_stretch(prompt_s *p, const Arguments &x)
{
    return x.a >= 0 && x.a < p->ps.buf_used && x.b > 0 && x.b <= p->ps.buf_used - x.a;
}

inline bool may_insert(prompt_s *p, const Arguments &x)
{
    return is_place(p, x) && p->ps.buf_used < 255;
}

inline bool is_positive(prompt_s *, const Arguments &x)
{
    return x.a > 0;
}

inline bool is_guard(prompt_s *, const Arguments &x)
{
    return x.text && x.len() < 5;
}

inline bool is_prompt(prompt_s *, const Arguments &x)
{
    return x.text && x.len() <= 30;
}

inline bool is_always_allowed(prompt_s *, const Arguments &)
{
    return true;
}

// A call on the editor: whether it is within its preconditions, and the call.
struct EditorCall {
    bool (*is_allowed)(prompt_s *p, const Arguments &x);
    void (*act)(prompt_s *p, const Arguments &x);
};

inline size_t first_token_len(const char *text)
{
    const ModelTokens model(text);
    return model.tokens.empty() ? 0 : model.tokens[0].end - model.tokens[0].start;
}

inline bool may_extract(prompt_s *p, const Arguments &x)
{
    if (x.a < 0 || x.a > p->ps.buf_used)
        return false;
    const int len = static_cast<int>(first_token_len(p->ps.buf + x.a));
    return len == 0 || std::clamp(x.b, 0, 256) > len;
}

inline void extract(prompt_s *p, const Arguments &x)
{
    const int room = std::clamp(x.b, 0, 256);
    std::vector<char> token(static_cast<size_t>(std::max(room, 1)));
    int len = 0;
    prompt_token_extract(p, x.a, token.data(), room, &len);
}

inline void run_named(prompt_s *p, const Arguments &x)
{
    const auto &row =
        prompt_builtins[static_cast<unsigned>(x.a) % (std::size(prompt_builtins) - 1)];
    row.callback(p, &p->ps, x.text, nullptr, nullptr);
}

inline bool is_name_of(const Arguments &x)
{
    const auto &row =
        prompt_builtins[static_cast<unsigned>(x.a) % (std::size(prompt_builtins) - 1)];
    return x.text && std::strcmp(x.text, row.name) == 0;
}

inline const EditorCall editor_calls[] = {
    {[](prompt_s *p, const Arguments &) { return p->ps.buf_used < 255; },
     [](prompt_s *p, const Arguments &x) {
         pstate_append_character(&p->ps, static_cast<char>('a' + (x.a & 15)));
     }},
    {is_place, [](prompt_s *p, const Arguments &x) { pstate_set_cursor_location(&p->ps, x.a); }},
    {is_place, [](prompt_s *p, const Arguments &x) { prompt_set_cursor_location(p, x.a); }},
    {is_stretch, [](prompt_s *p, const Arguments &x) { pstate_chop(&p->ps, x.a, x.b); }},
    {is_stretch, [](prompt_s *p, const Arguments &x) { prompt_chop(p, x.a, x.b); }},
    {is_positive, [](prompt_s *p, const Arguments &x) { pstate_delete(&p->ps, x.a); }},
    {is_positive, [](prompt_s *p, const Arguments &x) { prompt_delete(p, x.a); }},
    {is_positive, [](prompt_s *p, const Arguments &x) { prompt_backspace(p, x.a); }},
    {may_insert,
     [](prompt_s *p, const Arguments &x) { pstate_insert_character(&p->ps, x.a, ' '); }},
    {may_insert, [](prompt_s *p, const Arguments &x) { prompt_insert_character(p, x.a, 'z'); }},
    {[](prompt_s *, const Arguments &x) { return x.text || x.a <= 0; },
     [](prompt_s *p, const Arguments &x) {
         pstate_insert_char_str(&p->ps, x.text,
                                x.text ? std::min(x.a, static_cast<int>(x.len())) : x.a);
     }},
    {is_guard, [](prompt_s *p, const Arguments &x) { prompt_set_guard_left(p, x.text); }},
    {is_guard, [](prompt_s *p, const Arguments &x) { prompt_set_guard_right(p, x.text); }},
    {is_prompt, [](prompt_s *p, const Arguments &x) { prompt_set_prompt_normal(p, x.text); }},
    {is_prompt, [](prompt_s *p, const Arguments &x) { prompt_set_prompt_empty(p, x.text); }},
    {[](prompt_s *, const Arguments &x) { return x.a >= 0 && x.b >= 0; },
     [](prompt_s *p, const Arguments &x) { prompt_set_dimension(p, x.a, x.b); }},
    {may_extract, extract},
    {[](prompt_s *, const Arguments &x) { return is_name_of(x); }, run_named},
    {[](prompt_s *, const Arguments &x) { return x.text != nullptr; },
     [](prompt_s *p, const Arguments &x) { prompt_get_command(p, x.text); }},
    {[](prompt_s *, const Arguments &x) { return x.a >= 0; },
     [](prompt_s *p, const Arguments &x) { prompt_term_whiteout(p, std::min(x.a, 1000)); }},
    {is_positive,
     [](prompt_s *p, const Arguments &x) { prompt_move_term_cursor_back(p, std::min(x.a, 1000)); }},
    {is_always_allowed,
     [](prompt_s *p, const Arguments &x) { prompt_move_term_cursor_forward(p, x.a); }},
    {is_always_allowed, [](prompt_s *p, const Arguments &) { prompt_compact_whitespace(p); }},
    {is_always_allowed, [](prompt_s *p, const Arguments &x) { prompt_word_case(p, x.a & 1); }},
    {is_always_allowed, [](prompt_s *p, const Arguments &) { prompt_delete_word_back(p); }},
    {is_always_allowed, [](prompt_s *p, const Arguments &) { prompt_delete_word_fwd(p); }},
};

class ContractCheck {
  public:
    ContractCheck() : p_(prompt_create())
    {
        prompt_set_print_callback(p_, print, nullptr);
        prompt_util_bind_commands(p_, prompt_builtins, nullptr);
    }
    ~ContractCheck() { prompt_free(p_); }
    ContractCheck(const ContractCheck &) = delete;
    ContractCheck &operator=(const ContractCheck &) = delete;

    void call_editor(size_t which, const Arguments &x)
    {
        const EditorCall &call = editor_calls[which % std::size(editor_calls)];
        const bool is_allowed = call.is_allowed(p_, x);
        const prompt_s before = *p_;
        const auto failed = varno_test::assertion_of([&] { call.act(p_, x); });
        FUZZ_REQUIRE(failed.has_value() == !is_allowed);
        if (failed)
            FUZZ_REQUIRE(std::memcmp(&before, p_, sizeof(before)) == 0);
        pstate &ps = p_->ps;
        FUZZ_REQUIRE(ps.buf_used >= 0 && ps.buf_used <= 255 && ps.buf[ps.buf_used] == '\0');
        // A removal before the cursor leaves its index to the caller.
        ps.cursor_location = std::min(ps.cursor_location, ps.buf_used);
        FUZZ_REQUIRE(ps.cursor_location >= 0);
    }

    // At any size a redraw ends well or in an assertion, and then well at a fair size.
    void redraw(int width)
    {
        p_->width = std::max(width, 0);
        p_->display_offset = std::min(p_->display_offset, p_->ps.buf_used);
        const auto failed = varno_test::assertion_of([&] { prompt_redraw(p_); });
        FUZZ_REQUIRE(!failed || width < 96);
        prompt_set_dimension(p_, 256, 24);
        p_->display_offset = 0;
        prompt_finish_output(p_);
        prompt_redraw(p_);
    }

  private:
    static int print(prompt_s *, void *, const char *, ...) { return 0; }

    prompt_s *p_;
};

inline void call_decoder(const Arguments &x)
{
    stroker_s *decoder = stroker_create_context();
    // What can be bound is left to decoder_fuzz: its array of keys would stay behind.
    if (!x.text || x.len() == 0 || x.len() > 32) {
        const auto bound = varno_test::assertion_of(
            [&] { stroker_bind_sequence_to_vkey(decoder, x.text, VIRTKEY_UP); });
        FUZZ_REQUIRE(bound.has_value());
    }
    timeval delay = {x.a, x.b};
    auto failed = varno_test::assertion_of([&] { stroker_set_escape_delay(decoder, &delay); });
    FUZZ_REQUIRE(failed.has_value() == (x.a <= 0 && x.b <= 0));
    static unsigned char bytes[4096];
    const int count = std::min(x.a, 4096);
    failed = varno_test::assertion_of([&] { stroker_consume_timedout(decoder, bytes, count); });
    FUZZ_REQUIRE(failed.has_value() == (count <= 0 || count > 2048));
    failed = varno_test::assertion_of([&] { stroker_consume(decoder, bytes, count, &delay); });
    FUZZ_REQUIRE(failed.has_value() == (count <= 0));
    stroker_free_context(decoder);
}

inline void call_telnet_parser(const Arguments &x)
{
    telparser_s *parser = telnet_create_context(); // nobody takes its traces
    const int count = std::min(x.a, static_cast<int>(x.len()));
    const Block block(x.text ? std::string(x.text, x.len()) : "");
    const bool has_command = count > 0 && std::memchr(x.text, '\xff', static_cast<size_t>(count));
    const auto failed = varno_test::assertion_of([&] {
        telnet_consume(parser, reinterpret_cast<const unsigned char *>(block.get()), count);
    });
    FUZZ_REQUIRE(failed.has_value() == (count <= 0 || has_command));
    telnet_free_context(parser);
}

} // namespace varno_fuzz

#endif
