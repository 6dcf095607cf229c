// Definitions: what is found wrong with them, and the graph that they become.

#include "support/definitions.h"
#include "support/memory.h"

#include <varno/platform_default.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace varno::commands;
using varno_test::Definitions;
using varno_test::type_names;

struct Wrong {
    const char *syntax;
    const char *finding; // with the column at which it stands
};

// clang-format off
constexpr Wrong wrongs[] = {
    {"",                        "0:0 the syntax is empty\n"},
    {"  ",                      "0:2 the syntax is empty\n"},
    {"[no] ",                   "0:5 the syntax is empty\n"},
    {"[a]",                     "0:0 the syntax is empty\n"},
    {"a <b|>",                  "0:5 an alternative is empty\n"},
    {"a []",                    "0:3 an alternative is empty\n"},
    {"a <b|c",                  "0:2 this bracket is not closed\n"},
    {"a [b",                    "0:2 this bracket is not closed\n"},
    {"a NAME(1-5",              "0:6 this bracket is not closed\n"},
    {"a b]",                    "0:3 this character has no place here\n"},
    {"a <b]",                   "0:4 this character has no place here\n"},
    {"a|b",                     "0:1 this character has no place here\n"},
    {"a [b]c",                  "0:5 this character has no place here\n"},
    {"a NAME(1-5)b",            "0:11 this character has no place here\n"},
    {"a <b|c>$",                "0:7 this character has no place here\n"},
    {"a b(1-5)",                "0:3 this character has no place here\n"},
    {"a \"b\"",                 "0:2 a keyword that would need quotes\n"},
    {"a b\\c",                  "0:2 a keyword that would need quotes\n"},
    {"a b\xc3\xa4",             "0:2 a keyword that would need quotes\n"},
    {"a\tb",                    "0:0 a keyword that would need quotes\n"},
    {"a NAME()",                "0:7 this is no type\n"},
    {"a NAME(5)",               "0:7 this is no range of numbers: LEAST-MOST, decimal\n"},
    {"a NAME(5-1)",             "0:7 this is no range of numbers: LEAST-MOST, decimal\n"},
    {"a NAME(1-9223372036854775808)", "0:7 this is no range of numbers: LEAST-MOST, decimal\n"},
    {"a NAME(-0-5)",            "0:7 this is no range of numbers: LEAST-MOST, decimal\n"},
    {"a NAME(ipv5)",            "0:7 no type of this name is registered\n"},
    {"a NAME b NAME",           "0:9 this name is used twice in the syntax\n"},
    {"a NAME <b|c>$NAME",       "0:7 this name is used twice in the syntax\n"},
    {"a TEXT(line) b",          "0:13 nothing can follow the rest of the line\n"},
    {"a [TEXT(line)] B",        "0:15 nothing can follow the rest of the line\n"
                                "0:15 two types here take the same words\n"},
    {"a TEXT... b",             "0:10 nothing can follow words that go on to the end\n"},
    {"a {b|[c]}",               "0:5 an option of a set may not be empty\n"},
    {"a ![b]",                  "0:2 ![ ] needs [no] before the syntax\n"},
    {"a [[[[[[[[[[[[[[[[[b]]]]]]]]]]]]]]]]]", "0:18 brackets are nested too deep\n"},
    {"a [b] b",                 "0:6 this begins like another word that may stand here\n"},
    {"a {b|c} c",               "0:8 this begins like another word that may stand here\n"},
    {"a <b|b>",                 "0:5 this begins like another word that may stand here\n"},
    {"a <X(1-5)|Y(5-9)>",       "0:10 two types here take the same words\n"},
    {"a <X(ip)|Y(ipv4)>",       "0:9 two types here take the same words\n"},
    {"a <X|Y>",                 "0:5 the same place and type have another name elsewhere\n"},
    {"a <X(interface)|Y(interface)>",
                                "0:16 the same place and type have another name elsewhere\n"},
};
// clang-format on

TEST(Definitions, EveryErrorHasItsPlace)
{
    for (const Wrong &wrong : wrongs) {
        const Definitions built({{wrong.syntax, "help", true, 0}});
        EXPECT_TRUE(built.is_built()) << wrong.syntax;
        EXPECT_GT(built.errors(), 0) << wrong.syntax;
        EXPECT_EQ(built.findings(true), wrong.finding) << wrong.syntax;
    }
}

TEST(Definitions, ErrorsAndWarningsBetweenRowsAreAllTold)
{
    const std::string wide(58, 'w');
    const std::string nearly_wide(50, 'w');
    const Definitions built({
        {"show", "what there is", false, 0},
        {"show version", "the version", true, 0},
        {"show version", "again", true, 0},
        {"show", "something else", false, 0},
        {"vlan VLAN", "number of the VLAN", false, 0},
        {"vlan VLAN(1-4094)", "a VLAN", true, 0},
        {"vlan ID(5-6)", "a VLAN", true, 0},
        {"wide", wide.c_str(), true, 0},
        {"wide VLAN(100-4094)", nearly_wide.c_str(), false, 0},
        {"wide VLAN(100-4094) x", "help", true, 0},
        {"wide VLAN(100-4094) NAME", "help", true, 0},
        {"mute", nullptr, true, 0},
        {"open <", "help", true, 0},
        {"bad NAME(none)", "help", true, 0},
    });
    EXPECT_TRUE(built.is_built());
    EXPECT_EQ(built.findings(true), "2:5 the same words are another definition's (1)\n"
                                    "3:0 this word has another help elsewhere (0)\n"
                                    "6:5 two types here take the same words (5)\n"
                                    "12:6 an alternative is empty\n"
                                    "13:9 no type of this name is registered\n");
    EXPECT_EQ(built.findings(false),
              "4:5 help for a word that no command has\n"
              "7:0 help is wider than 57 columns\n"
              "9:5 help is wider than 57 columns\n"
              "10:20 a free word beside keywords: abbreviations are ambiguous here\n"
              "11:0 a word without help\n");
}

TEST(Definitions, WhatIsWrongWithBothFormsIsToldOnce)
{
    const Definitions built({{"no", "take it back", false, 0},
                             {"[no] mute", nullptr, true, 0},
                             {"[no] word WORD ![b]", "help", true, 0},
                             {"word WORD", "a word", false, 0},
                             {"word WORD", "another", false, 0}});
    EXPECT_EQ(built.findings(true), "4:5 this word has another help elsewhere (3)\n");
    EXPECT_EQ(built.findings(false), "1:5 a word without help\n2:17 a word without help\n");
}

TEST(Definitions, HaveAtMost64Options)
{
    std::string syntax = "a {o0";
    for (int i = 1; i < 64; i++)
        syntax += "|o" + std::to_string(i);
    EXPECT_EQ(Definitions({{(syntax + "}").c_str(), "help", true, 0, 0}}).errors(), 0);
    const std::string more = syntax + "|o64}";
    EXPECT_EQ(Definitions({{more.c_str(), "help", true, 0, 0}}).findings(true),
              "0:" + std::to_string(syntax.size() + 1) +
                  " a definition has at most 64 options in sets\n");
}

TEST(Definitions, HelpOfAnOptionHoldsWhereverItMayStand)
{
    const Definitions built({
        {"ping", "ask a host", false, 0},
        {"no", "take something back", false, 0},
        {"ping HOST [{count N(1-9)|size BYTES(1-9)|quiet}]", "ask a host", true, 0},
        {"ping HOST count", "how many requests", false, 0},
        {"ping HOST size", "bytes of each", false, 0},
        {"ping HOST quiet", "the summary alone", false, 0},
        {"[no] hostname ![NAME]", "the machine's name", true, 0},
    });
    EXPECT_EQ(built.findings(true) + built.findings(false), "");
}

struct Drawn {
    const char *syntax;
    const char *levels;
};

// A "*" after a level's number: its words are narrowed.
// clang-format off
constexpr Drawn drawings[] = {
    {"a",           "0 a:1\n1 <cr>\n"},
    {"a b",         "0 a:1\n1 b:2\n2 <cr>\n"},
    {"a [b]",       "0 a:1\n1 b:2 <cr>\n2 <cr>\n"},
    {"a <b|c> d",   "0 a:1\n1 b:2 c:2\n2 d:3\n3 <cr>\n"},
    {"a {b|c}",     "0 a:1\n1* b:2 c:2\n2* b:2 c:2 <cr>\n"},
    {"a {{b|c}|d}", "0 a:1\n1* b:2 c:2 d:2\n2* b:2 c:2 d:2 <cr>\n"},
    {"a [{b|c N}] d", "0 a:1\n1* b:1 c:2 d:3\n2* N:1\n3 <cr>\n"},
    {"a N...",      "0 a:1\n1 N:2\n2 N:2 <cr>\n"},
    {"a N(1-5)",    "0 a:1\n1* N:2\n2 <cr>\n"},
    {"a N(line)",   "0 a:1\n1* N:2\n2 <cr>\n"},
    {"a N(secret)", "0 a:1\n1* N:2\n2 <cr>\n"},
    {"[no] a ![b]", "0 a:1 no:2\n1 b:3\n2 a:4\n3 <cr>\n4 b:5 <cr>\n5 <cr>\n"},
    {"[ no ] a ![b]","0 a:1 no:2\n1 b:3\n2 a:4\n3 <cr>\n4 b:5 <cr>\n5 <cr>\n"},
    {"[no] ![b]",   "0 b:1 no:2\n1 <cr>\n2 b:3 <cr>\n3 <cr>\n"},
    {"[a] b",       "0 a:1 b:2\n1 b:2\n2 <cr>\n"},
    {"<a|b>$w c",   "0 a:1 b:1\n1 c:2\n2 <cr>\n"},
};
// clang-format on

TEST(Definitions, BecomeTheGraphThatTheyMean)
{
    for (const Drawn &drawn : drawings) {
        const Definitions built({{drawn.syntax, "help", true, 0}});
        EXPECT_EQ(built.errors(), 0) << drawn.syntax << "\n" << built.findings(true);
        EXPECT_EQ(built.dump(), drawn.levels) << drawn.syntax;
    }
}

TEST(Definitions, ShareTheWordsThatTheyBeginWith)
{
    const Definitions built({{"show", "help", false, 0},
                             {"show a", "help", true, 0},
                             {"show b [c]", "help", true, 0},
                             {"show b d", "help", true, 0}});
    EXPECT_EQ(built.dump(), "0 show:1\n1 a:2 b:3\n2 <cr>\n3 c:4 d:5 <cr>\n4 <cr>\n5 <cr>\n");
}

// Random definitions that mean something.
class Author {
  public:
    explicit Author(unsigned seed) : random_(seed) {}

    std::string definition()
    {
        names_ = 0;
        std::string text = below(8) == 0 ? "[no] w" : "w";
        text += std::to_string(below(5));
        for (int parts = below(4); parts >= 0; parts--)
            text += " " + part(2);
        if (below(6) == 0)
            text += " " + name() + (below(2) ? "..." : "(line)");
        return text;
    }

  private:
    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

    std::string name() { return "A" + std::to_string(names_++); }

    std::string part(int depth)
    {
        switch (below(depth > 0 ? 6 : 2)) {
        case 0:
            return "k" + std::to_string(below(9));
        case 1: {
            const char *types[] = {"",      "(1-4094)", "(ipv4)",     "(ip/)",
                                   "(hex)", "(mac)",    "(interface)"};
            return name() + types[below(7)];
        }
        case 2:
            return "[" + alternatives(depth - 1) + "]";
        case 3:
            return "<" + alternatives(depth - 1) + ">" +
                   (below(3) ? "" : "$which" + std::to_string(names_++));
        case 4:
            return "{" + alternatives(depth - 1) + "}";
        default:
            return part(depth - 1) + " " + part(depth - 1);
        }
    }

    std::string alternatives(int depth)
    {
        std::string text = part(depth);
        for (int more = below(3); more > 0; more--)
            text += "|" + part(depth);
        return text;
    }

    std::mt19937 random_;
    int names_ = 0;
};

// A definition as write_notation spells it; empty when it is none.
std::string written(const std::string &syntax)
{
    Findings findings = {};
    Notation notation = {};
    Array<char> text = {};
    read_notation(syntax, type_names(), findings, notation);
    if (notation.root != no_node)
        write_notation(notation, text);
    std::string out(text.begin(), text.end());
    text.release();
    notation.nodes.release();
    findings.list.release();
    return out;
}

std::string with_more_blanks(const std::string &syntax)
{
    std::string out = "  ";
    for (const char c : syntax) {
        if (c == ' ' || c == '|')
            out += c == ' ' ? "   " : " | ";
        else
            out += c;
    }
    return out + " ";
}

TEST(Definitions, WrittenAndReadAgainGiveTheSameGraph)
{
    Author author(5);
    int good = 0;
    for (int i = 0; i < 3000; i++) {
        const std::string syntax = author.definition();
        const Definitions first({{syntax.c_str(), "help", true, 0}});
        if (first.errors() > 0)
            continue;
        good++;
        const std::string again = written(syntax);
        EXPECT_EQ(again, syntax);
        EXPECT_EQ(written(with_more_blanks(syntax)), syntax);
        const Definitions second({{again.c_str(), "help", true, 0}});
        ASSERT_EQ(second.dump(), first.dump()) << syntax;
    }
    EXPECT_GT(good, 1000);
}

TEST(Definitions, WithoutMemoryNothingIsLeftBehind)
{
    const std::vector<Definition> rows = {
        {"show", "what there is", false, 0},
        {"show numbers COUNT(1-1000)", "many", true, 0},
        {"ping HOST [{count N(1-9)|quiet}]", "ask", true, 0},
        {"[no] hostname ![NAME]", "the name", true, 0},
        {"timer SECONDS(1-9) TEXT(line)", "later", true, 0},
        {"<a|b>$which open [", "wrong", true, 0},
    };
    for (const size_t used : {rows.size() - 1, rows.size()}) {
        Array<Definition> definitions = {};
        Array<Mode> modes = {};
        modes.add({-1, false});
        for (size_t i = 0; i < used; i++)
            definitions.add(rows[i]);
        const int failures = varno_test::fail_each_allocation([&](const auto &fail_from_here) {
            Findings findings = {};
            Graph graph = {};
            fail_from_here();
            const bool is_built = build_graph(definitions, modes, type_names(), findings, graph);
            release_graph(graph);
            findings.list.release();
            return is_built;
        });
        EXPECT_GT(failures, 20);
        definitions.release();
        modes.release();
    }
}

} // namespace
