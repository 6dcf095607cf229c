#ifndef VARNO_BENCH_HOST_H
#define VARNO_BENCH_HOST_H

// The host's side of a session, as the acts share it: a prompt with the default
// commands and key map, a decoder with a terminal's keys, and the lines that they edit.

#include <varno/prompt.h>
#include <varno/stroker.h>

#include <string_view>

namespace varno_bench {

// Nine words, 60 characters: at 80 columns it is shown without scrolling.
inline constexpr std::string_view line_60 =
    "show interface ethernet 24 counters errors since last reload";
static_assert(line_60.size() == 60);

// Nobody needs one: a failed step of a set-up ends the program.
[[noreturn]] void give_up(const char *step);

// A prompt of 80 columns with all built-in commands, the four of the host and the
// default key map. What it prints is formatted into memory and counted in `output`.
prompt_s *open_prompt();

// Releases a prompt, and the history's texts, which it would leave behind.
void close_prompt(prompt_s *p);

// Makes `text` the line, with the cursor at an index, and draws it: what a person
// sees before the act begins. Ends history browsing.
void show_line(prompt_s *p, std::string_view text, size_t cursor);

// A decoder with the keys of basic_keys that a vt100 has, ready for input.
stroker_s *open_decoder();

} // namespace varno_bench

#endif
