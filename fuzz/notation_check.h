#ifndef VARNO_FUZZ_NOTATION_CHECK_H
#define VARNO_FUZZ_NOTATION_CHECK_H

// A text as notation: read by the library and by the C++ header, written and read again; and
// several as definitions of one graph, each finding with its place.

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "finding.h"
#include "input_reader.h"
#include "support/definitions.h"

#include <varno/commands.hpp>
#include <varno/platform_default.h>

namespace varno_fuzz {

// The plainest spelling of a syntax; empty where it is none.
inline std::string spelled(const std::string &syntax)
{
    varno::commands::Findings findings = {};
    varno::commands::Notation notation = {};
    varno::commands::Array<char> text = {};
    varno::commands::read_notation(syntax, varno_test::type_names(), findings, notation);
    FUZZ_REQUIRE((findings.list.used == 0) == (notation.root != varno::commands::no_node));
    for (const auto &finding : findings.list)
        FUZZ_REQUIRE(finding.column >= 0 && finding.column <= static_cast<int>(syntax.size()));
    if (findings.list.used == 0)
        write_notation(notation, text);
    std::string out(text.begin(), text.end());
    text.release();
    notation.nodes.release();
    findings.list.release();
    return out;
}

// The header takes any registered type: what it refuses, the library does.
inline void check_header(const std::string &syntax)
{
    using varno::notation::Problem;
    std::vector<varno::notation::Parameter> parameters(syntax.size() / 2 + 1);
    varno::notation::Reader reader(syntax.c_str(), parameters.data());
    reader.read();
    FUZZ_REQUIRE(reader.count() <= static_cast<int>(parameters.size()));
    const bool is_fine =
        reader.problem() == Problem::none || reader.problem() == Problem::flag_twice;
    FUZZ_REQUIRE(is_fine || spelled(syntax).empty());
}

inline void check_notation(const std::string &syntax)
{
    const std::string once = spelled(syntax);
    check_header(syntax);
    if (!once.empty()) {
        FUZZ_REQUIRE(spelled(once) == once);
    }
}

// All lines together, as they are and in their plainest spelling.
inline void check_definitions(const std::vector<std::string> &lines, int fail_after)
{
    std::vector<varno::commands::Definition> rows;
    std::vector<varno::commands::Definition> plain_rows;
    std::vector<std::string> plain;
    for (const std::string &line : lines)
        plain.push_back(spelled(line));
    for (size_t i = 0; i < lines.size(); i++) {
        varno::commands::Definition row = {};
        row.help = "help";
        row.is_command = i % 4 != 3;
        row.syntax = lines[i].c_str();
        rows.push_back(row);
        row.syntax = plain[i].c_str();
        plain_rows.push_back(row);
    }
    tracked_fail_after(fail_after > 0 ? fail_after : -1);
    const varno_test::Definitions failing(rows);
    tracked_fail_after(-1);
    const varno_test::Definitions built(rows);
    FUZZ_REQUIRE(built.is_built() && (fail_after > 0 || failing.is_built()));
    if (failing.is_built()) {
        FUZZ_REQUIRE(failing.findings(true) == built.findings(true));
    }
    if (built.errors() == 0) {
        FUZZ_REQUIRE(varno_test::Definitions(plain_rows).dump() == built.dump());
    }
}

} // namespace varno_fuzz

#endif
