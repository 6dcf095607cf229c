#ifndef VARNO_BENCH_KEY_SCRIPTS_H
#define VARNO_BENCH_KEY_SCRIPTS_H

// What is typed into every line editor that is compared, as the bytes of a vt100. The
// same scripts serve in memory and through a pseudo-terminal.

#include <string>
#include <vector>

namespace varno_bench {

struct KeyScript {
    const char *name;
    std::string set_up;            // typed once, into a fresh editor; not measured
    std::string before;            // typed before each pass, whatever the line is; not measured
    std::vector<std::string> keys; // a pass: the bytes of each key
    std::string after;             // the line after it, "|" where the cursor is
};

// Names in a fixed order.
std::vector<KeyScript> key_scripts();

// What tells the line and the cursor of any editor: this, typed, enters the line with a
// mark at the cursor.
inline constexpr const char *enter_marked_line = "|\r";

// Cuts what is to be typed outside a pass into keys: a byte each, but for sequences.
std::vector<std::string> keys_of(const std::string &bytes);

} // namespace varno_bench

#endif
