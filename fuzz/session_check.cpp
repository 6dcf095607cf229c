#include "session_check.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "finding.h"
#include "session/session.h"

namespace varno_fuzz {
namespace {

// The question's last row, and the end of an answer too long.
std::string shown_dialogue(const tsession_s *s)
{
    const varno::Question &question = *s->question;
    const auto columns = static_cast<size_t>(s->columns) - 1;
    const std::string text = question.text;
    if (question.is_secret)
        return text;
    const std::string answer(question.answer, static_cast<size_t>(question.len));
    const size_t room = columns - text.size();
    return text + answer.substr(answer.size() - std::min(answer.size(), room));
}

std::string wanted_text(const tsession_s *s)
{
    switch (s->mode) {
    case varno::Mode::line:
        return prompt_active_model(s->prompt)->buf;
    case varno::Mode::pager:
        return std::string(s->pager.shows_keys ? "space: page, Enter: row, q: quit" : "--More--", 0,
                           static_cast<size_t>(s->columns) - 1);
    default:
        return shown_dialogue(s);
    }
}

} // namespace

void check_record(const tsession_s *s)
{
    const pstate &ps = s->prompt->ps;
    FUZZ_REQUIRE(s->depth == 0 && !s->out && !s->sending && !s->is_free_asked);
    FUZZ_REQUIRE(s->nheld >= 0 && s->nheld < 32);
    FUZZ_REQUIRE(s->columns >= 10 && s->columns <= 256 && s->rows >= 2 && s->rows <= 512);
    FUZZ_REQUIRE(ps.buf_used >= 0 && ps.buf_used <= 255);
    FUZZ_REQUIRE(std::memchr(ps.buf, '\0', sizeof(ps.buf)) == ps.buf + ps.buf_used);
    FUZZ_REQUIRE(ps.cursor_location >= 0 && ps.cursor_location <= ps.buf_used);
    FUZZ_REQUIRE(
        std::all_of(ps.buf, ps.buf + ps.buf_used, [](char c) { return c >= ' ' && c < 127; }));
    FUZZ_REQUIRE(s->prompt->history_count <= s->prompt->history_limit);
    const bool is_asked = s->mode == varno::Mode::question || s->mode == varno::Mode::key_question;
    FUZZ_REQUIRE(is_asked == (s->question != nullptr));
    FUZZ_REQUIRE(!is_asked || (s->question->len >= 0 && s->question->len < varno::answer_capacity));
}

void check_row(const tsession_s *s, const varno_test::Terminal &terminal)
{
    if (s->is_closed || !s->is_row_shown || s->mode == varno::Mode::search)
        return;
    std::string wanted = wanted_text(s);
    if (std::any_of(wanted.begin(), wanted.end(), [](char c) { return c < 0; }))
        return; // beyond ASCII the emulator's widths are another library's
    const int cursor = s->mode == varno::Mode::line ? prompt_active_model(s->prompt)->virtual_cursor
                                                    : static_cast<int>(wanted.size());
    const std::string row = terminal.row(terminal.cursor_row());
    wanted.resize(row.size(), ' ');
    if (row != wanted)
        std::fprintf(stderr, "row    [%s]\nwanted [%s]\n", row.c_str(), wanted.c_str());
    FUZZ_REQUIRE(row == wanted);
    FUZZ_REQUIRE(terminal.cursor_column() == cursor);
}

} // namespace varno_fuzz
