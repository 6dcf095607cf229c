// Parse nodes made at run time: created, linked, looked up, removed.

#include "support/parse_nodes.h"
#include "support/traces.h"

#include <varno/cli_parse.h>
#include <varno/platform.h>
#include <varno/platform_default.h>

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

using varno_test::keyword_node;
using varno_test::parse_node;
using varno_test::Parsed;
using Texts = std::vector<std::string>;

int action;

std::vector<char *> *noted_copies = nullptr;

// A failed creation leaves its text copies behind, by contract. While one of these lives all
// copies are noted, and it releases them at its end.
class ReleasesCopies {
  public:
    ReleasesCopies() { noted_copies = &copies_; }
    ~ReleasesCopies()
    {
        noted_copies = nullptr;
        for (char *copy : copies_)
            tracked_free(copy, "BYTE");
    }
    ReleasesCopies(const ReleasesCopies &) = delete;
    ReleasesCopies &operator=(const ReleasesCopies &) = delete;

  private:
    std::vector<char *> copies_;
};

// Live blocks more than when the test began: other tests may leave copies behind.
class Taken {
  public:
    size_t nodes() const { return tracked_outstanding("cli_pnode_s") - nodes_; }
    size_t copies() const { return tracked_outstanding("BYTE") - copies_; }
    size_t all() const { return tracked_outstanding(nullptr) - all_; }

  private:
    size_t nodes_ = tracked_outstanding("cli_pnode_s");
    size_t copies_ = tracked_outstanding("BYTE");
    size_t all_ = tracked_outstanding(nullptr);
};

cli_pnode_s *created(const char *keyword)
{
    return dyn_cli_create_node(PNODE_KEYWORD, keyword, keyword, nullptr, nullptr, 0);
}

// A parent whose level holds these keywords, the first one first.
struct Parent {
    cli_pnode_s node = keyword_node("parent");

    explicit Parent(const std::vector<const char *> &keywords)
    {
        for (auto keyword = keywords.rbegin(); keyword != keywords.rend(); ++keyword)
            EXPECT_EQ(dyn_cli_add_node(&node, created(*keyword)), 0);
    }
    ~Parent()
    {
        while (node.child != &NONE && dyn_cli_del_node(&node, node.child) == 0) {
        }
        EXPECT_EQ(node.child, &NONE);
    }

    cli_pnode_s *at(int index)
    {
        cli_pnode_s *n = node.child;
        while (index-- > 0)
            n = n->next;
        return n;
    }

    std::string level() const
    {
        std::string text;
        for (const cli_pnode_s *n = node.child; n != &NONE; n = n->next)
            text += std::string(n->name) + " ";
        return text;
    }
};

// Creation

TEST(DynCliCreate, CopiesTheTextsOfAKeyword)
{
    const Taken taken;
    char name[] = "name";
    char keyword[] = "keyword";
    char help[] = "help";
    cli_pnode_s *n = dyn_cli_create_node(PNODE_KEYWORD, name, keyword, help, &action, 42);
    ASSERT_NE(n, nullptr);
    name[0] = keyword[0] = help[0] = '!';
    EXPECT_STREQ(n->name, "name");
    EXPECT_STREQ(n->keyword, "keyword");
    EXPECT_STREQ(n->help, "help");
    EXPECT_EQ(n->name, n->own_name);
    EXPECT_EQ(n->keyword, n->own_keyword);
    EXPECT_EQ(n->help, n->own_help);
    EXPECT_EQ(n->type, static_cast<uint32_t>(PNODE_KEYWORD));
    EXPECT_EQ(n->func, &action);
    EXPECT_EQ(n->attr, 42u);
    EXPECT_EQ(n->child, nullptr);
    EXPECT_EQ(n->next, nullptr);
    EXPECT_EQ(n->aux_text, nullptr);
    EXPECT_EQ(n->aux_int, 0);
    EXPECT_EQ(n->link_count, 0);
    EXPECT_EQ(taken.nodes(), 1u);
    EXPECT_EQ(taken.copies(), 3u);
    cli_pnode_s parent = keyword_node("parent");
    dyn_cli_add_node(&parent, n);
    EXPECT_EQ(dyn_cli_del_node(&parent, n), 0);
    EXPECT_EQ(taken.all(), 0u);
}

TEST(DynCliCreate, StoresNoActionForStringsAndNumbers)
{
    for (const uint32_t type : {PNODE_STRING, PNODE_INT32}) {
        cli_pnode_s parent = keyword_node("parent");
        cli_pnode_s *n = dyn_cli_create_node(type, "name", "LABEL", nullptr, &action, 42);
        ASSERT_NE(n, nullptr);
        EXPECT_EQ(n->type, type);
        EXPECT_STREQ(n->keyword, "LABEL");
        EXPECT_EQ(n->keyword, n->own_keyword);
        EXPECT_EQ(n->help, nullptr);
        EXPECT_EQ(n->own_help, nullptr);
        EXPECT_EQ(n->func, nullptr);
        EXPECT_EQ(n->attr, 0u);
        EXPECT_EQ(n->child, nullptr);
        EXPECT_EQ(n->next, nullptr);
        dyn_cli_add_node(&parent, n);
        EXPECT_EQ(dyn_cli_del_node(&parent, n), 0);
    }
}

TEST(DynCliCreate, AnEndOfLineHasItsActionButNoHelp)
{
    const Taken taken;
    cli_pnode_s *n = dyn_cli_create_node(PNODE_EOLS, "name", "unused", "help", &action, 42);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->func, &action);
    EXPECT_EQ(n->attr, 42u);
    EXPECT_EQ(n->child, nullptr);
    EXPECT_EQ(n->next, &NONE);
    EXPECT_EQ(n->keyword, nullptr);
    EXPECT_EQ(n->own_keyword, nullptr);
    EXPECT_EQ(n->help, nullptr);
    EXPECT_STREQ(n->own_help, "help");

    // Without a keyword it is not deleted; with one, its hidden help goes too.
    cli_pnode_s parent = keyword_node("parent");
    dyn_cli_add_node(&parent, n);
    EXPECT_EQ(dyn_cli_del_node(&parent, n), -1);
    n->type = PNODE_STRING;
    n->keyword = "label";
    EXPECT_EQ(dyn_cli_del_node(&parent, n), 0);
    EXPECT_EQ(taken.all(), 0u);
}

struct RefusalRow {
    uint32_t type;
    const char *name;
    const char *keyword;
    void *func;
    Texts traces;
};

std::vector<RefusalRow> refusal_rows()
{
    return {
        {PNODE_KEYWORD, nullptr, "keyword", &action, {}},
        {PNODE_NONE, nullptr, "keyword", &action, {}},
        {PNODE_NONE, "name", "keyword", &action, {"(debug): Dynamic CLI node type cannot be NONE"}},
        {PNODE_KEYWORD, "name", nullptr, &action, {"(debug): Error creating dynamic KEYWORD node"}},
        {PNODE_EOLS, "name", "keyword", nullptr, {"(debug): Error creating dynamic EOLS node"}},
        {PNODE_STRING, "name", nullptr, &action, {"(debug): Error creating dynamic STRING node"}},
        {PNODE_INT32, "name", nullptr, &action, {"(debug): Error creating dynamic STRING node"}},
        {5, "name", "keyword", &action, {"(debug): Dynamic CLI node type not found"}},
        {UINT32_MAX, "name", "keyword", &action, {"(debug): Dynamic CLI node type not found"}},
    };
}

cli_pnode_s *refused(const RefusalRow &row)
{
    return dyn_cli_create_node(row.type, row.name, row.keyword, "help", row.func, 1);
}

TEST(DynCliCreate, RefusesWhatATypeNeeds)
{
    varno_test::Traces traces;
    for (const RefusalRow &row : refusal_rows()) {
        SCOPED_TRACE(row.type);
        const Taken taken;
        const ReleasesCopies afterwards;
        EXPECT_EQ(refused(row), nullptr);
        EXPECT_EQ(traces.take(), row.traces);
        EXPECT_EQ(taken.nodes(), 0u);
        // The copies of name and help stay behind.
        EXPECT_EQ(taken.copies(), row.name ? 2u : 0u);
    }
}

TEST(DynCliCreate, RefusesTheSameWithTracesOff)
{
    const ReleasesCopies afterwards;
    for (const RefusalRow &row : refusal_rows())
        EXPECT_EQ(refused(row), nullptr) << row.type;
}

TEST(DynCliCreate, IsNullWithoutMemoryForTheNode)
{
    varno_test::Traces traces;
    const Taken taken;
    tracked_fail_after(1);
    EXPECT_EQ(created("keyword"), nullptr);
    tracked_fail_after(-1);
    EXPECT_EQ(taken.all(), 0u);
    const Texts wanted = {"(debug): Failed to allocate dynamic cli node",
                          "(debug): Dynamic CLI failed to create node"};
    EXPECT_EQ(traces.take(), wanted);
}

// Allocation 2 copies the name, 3 the help, 4 the keyword; all later ones fail too.
TEST(DynCliCreate, DoesNotNoticeATextWithoutMemory)
{
    for (int n = 2; n <= 4; n++) {
        const Taken taken;
        tracked_fail_after(n);
        cli_pnode_s *node =
            dyn_cli_create_node(PNODE_KEYWORD, "name", "keyword", "help", nullptr, 0);
        tracked_fail_after(-1);
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->name != nullptr, n > 2);
        EXPECT_EQ(node->help != nullptr, n > 3);
        EXPECT_EQ(node->keyword, nullptr);
        EXPECT_EQ(node->name, node->own_name);
        EXPECT_EQ(node->help, node->own_help);
        EXPECT_EQ(node->keyword, node->own_keyword);

        // Such a node matches nothing and cannot be deleted until it has a keyword.
        cli_pnode_s parent = keyword_node("parent");
        EXPECT_EQ(dyn_cli_add_node(&parent, node), 0);
        EXPECT_EQ(Parsed(parent.child, "keyword").result, static_cast<uint32_t>(PARSE_NO_MATCH));
        EXPECT_EQ(dyn_cli_lookup_node(parent.child, "keyword"), nullptr);
        EXPECT_EQ(dyn_cli_del_node(&parent, node), -1);
        node->keyword = "keyword";
        EXPECT_EQ(dyn_cli_del_node(&parent, node), 0);
        EXPECT_EQ(taken.all(), 0u);
    }
}

// Linking

TEST(DynCliAdd, PushesInFrontWithAnEmptyNextLevel)
{
    Parent parent({});
    cli_pnode_s *first = created("first");
    cli_pnode_s *second = created("second");
    first->child = second;
    EXPECT_EQ(dyn_cli_add_node(&parent.node, first), 0);
    EXPECT_EQ(dyn_cli_add_node(&parent.node, second), 0);
    EXPECT_EQ(parent.node.child, second);
    EXPECT_EQ(second->next, first);
    EXPECT_EQ(first->next, &NONE);
    EXPECT_EQ(first->child, &NONE);
    EXPECT_EQ(second->child, &NONE);
    EXPECT_EQ(first->link_count, 1);
    EXPECT_EQ(second->link_count, 1);
    EXPECT_EQ(parent.node.link_count, 0);
}

TEST(DynCliAdd, RefusesAMissingParent)
{
    cli_pnode_s node = keyword_node("node");
    EXPECT_EQ(dyn_cli_add_node(nullptr, &node), -1);
    EXPECT_EQ(node.link_count, 0);
}

TEST(DynCliSet, SetsOneLink)
{
    cli_pnode_s node = keyword_node("node");
    cli_pnode_s target = keyword_node("target");
    EXPECT_EQ(dyn_cli_set_node(&node, &target, 0), 0);
    EXPECT_EQ(node.child, &target);
    EXPECT_EQ(node.next, &NONE);
    EXPECT_EQ(dyn_cli_set_node(&node, &target, 1), 0);
    EXPECT_EQ(node.next, &target);
    EXPECT_EQ(node.link_count, 2);
    EXPECT_EQ(target.link_count, 0);
}

TEST(DynCliSet, RefusesAnyOtherLinkAndMissingNodes)
{
    cli_pnode_s node = keyword_node("node");
    cli_pnode_s target = keyword_node("target");
    EXPECT_EQ(dyn_cli_set_node(nullptr, &target, 0), -1);
    EXPECT_EQ(dyn_cli_set_node(&node, nullptr, 1), -1);
    EXPECT_EQ(dyn_cli_set_node(&node, &target, 2), -1);
    EXPECT_EQ(dyn_cli_set_node(&node, &target, -1), -1);
    EXPECT_EQ(node.child, &NONE);
    EXPECT_EQ(node.next, &NONE);
    EXPECT_EQ(node.link_count, 0);
}

TEST(DynCliAdd, MakesANodeThatALineMatches)
{
    Parent parent({"show", "set"});
    dyn_cli_add_node(parent.node.child, created("version"));
    EXPECT_EQ(Parsed(parent.node.child, "sh ver").text(),
              "MATCHED 6 show=[sh]@0+3 version=[ver]@3+3");
    EXPECT_EQ(dyn_cli_del_node(parent.node.child, parent.node.child->child), 0);
    EXPECT_EQ(Parsed(parent.node.child, "sh ver").text(), "NO_MATCH 3 show=[sh]@0+3");
}

// Removal

TEST(DynCliDel, UnlinksFromAnyPlace)
{
    const Taken taken;
    const char *const rest[] = {"b c ", "a c ", "a b "};
    for (int index = 0; index < 3; index++) {
        Parent parent({"a", "b", "c"});
        EXPECT_EQ(dyn_cli_del_node(&parent.node, parent.at(index)), 0);
        EXPECT_EQ(parent.level(), rest[index]);
    }
    EXPECT_EQ(taken.all(), 0u);
}

TEST(DynCliDel, ChangesNothingWhenItRefuses)
{
    Parent parent({"a", "b"});
    cli_pnode_s stranger = keyword_node("stranger");
    cli_pnode_s textless = parse_node(PNODE_KEYWORD, "a", nullptr);
    cli_pnode_s childless = keyword_node("childless");
    childless.child = nullptr;
    EXPECT_EQ(dyn_cli_del_node(nullptr, parent.at(0)), -1);
    EXPECT_EQ(dyn_cli_del_node(&parent.node, nullptr), -1);
    EXPECT_EQ(dyn_cli_del_node(&childless, parent.at(0)), -1);
    EXPECT_EQ(dyn_cli_del_node(&parent.node, &stranger), -1);
    EXPECT_EQ(dyn_cli_del_node(&parent.node, &textless), -1);
    childless.child = &NONE;
    EXPECT_EQ(dyn_cli_del_node(&childless, parent.at(0)), -1);
    EXPECT_EQ(parent.level(), "a b ");
}

TEST(DynCliDel, PassesOverEndsOfLineAndMissingKeywords)
{
    Parent parent({"c"});
    cli_pnode_s *c = parent.at(0);
    cli_pnode_s textless = parse_node(PNODE_KEYWORD, "textless", nullptr);
    cli_pnode_s eols = parse_node(PNODE_EOLS, "eols", "c");
    dyn_cli_add_node(&parent.node, &textless);
    dyn_cli_add_node(&parent.node, &eols);
    EXPECT_EQ(dyn_cli_del_node(&parent.node, c), 0);
    EXPECT_EQ(parent.level(), "eols textless ");
    parent.node.child = &NONE;
}

TEST(DynCliDel, StopsAtANodeOfNoType)
{
    Parent parent({"c"});
    cli_pnode_s *c = parent.at(0);
    cli_pnode_s none = parse_node(PNODE_NONE, "none", "c");
    dyn_cli_add_node(&parent.node, &none);
    EXPECT_EQ(dyn_cli_del_node(&parent.node, c), -1);
    EXPECT_EQ(parent.level(), "none c ");
    parent.node.child = c;
}

TEST(DynCliDel, StopsAtAMissingLink)
{
    cli_pnode_s parent = keyword_node("parent");
    cli_pnode_s only = keyword_node("only");
    cli_pnode_s stranger = keyword_node("stranger");
    parent.child = &only;
    only.next = nullptr;
    EXPECT_EQ(dyn_cli_del_node(&parent, &stranger), -1);
}

// The place is found by keyword, and the node's own next is spliced in: of two
// equal keywords the first place goes, with all between it and the node.
TEST(DynCliDel, SplicesInTheNodesOwnNext)
{
    Parent parent({"a", "b", "a", "c"});
    cli_pnode_s *first = parent.at(0);
    cli_pnode_s *between = parent.at(1);
    cli_pnode_s *second = parent.at(2);
    EXPECT_EQ(dyn_cli_del_node(&parent.node, second), 0);
    EXPECT_EQ(parent.level(), "c ");
    dyn_cli_add_node(&parent.node, between);
    dyn_cli_add_node(&parent.node, first);
}

TEST(DynCliDel, KeepsTheNodesOwnNextLevel)
{
    const Taken taken;
    Parent parent({"a"});
    cli_pnode_s below = keyword_node("below");
    dyn_cli_set_node(parent.at(0), &below, 0);
    EXPECT_EQ(dyn_cli_del_node(&parent.node, parent.at(0)), 0);
    EXPECT_STREQ(below.name, "below");
    EXPECT_EQ(taken.all(), 0u);
}

// Looking up

TEST(DynCliLookup, FindsAWholeKeywordOnly)
{
    varno_test::Traces traces;
    Parent parent({"show", "shutdown"});
    cli_pnode_s *level = parent.node.child;
    EXPECT_EQ(dyn_cli_lookup_node(level, "show"), parent.at(0));
    EXPECT_EQ(traces.take().back(), "(debug): Found a match: show");
    EXPECT_EQ(dyn_cli_lookup_node(level, "shutdown"), parent.at(1));
    traces.take();
    EXPECT_EQ(dyn_cli_lookup_node(level, "sho"), nullptr);
    EXPECT_EQ(traces.take().back(), "(debug): Not exact match, res: Input was matched");
    EXPECT_EQ(dyn_cli_lookup_node(level, "sh"), nullptr);
    EXPECT_EQ(traces.take().back(), "(debug): Did not match, res: Input was ambiguous");
    EXPECT_EQ(dyn_cli_lookup_node(level, "set"), nullptr);
    EXPECT_EQ(traces.take().back(), "(debug): Did not match, res: No match found");
    EXPECT_EQ(dyn_cli_lookup_node(nullptr, "show"), nullptr);
    EXPECT_EQ(traces.take(), Texts{});
}

TEST(DynCliLookup, FindsTheSameWithTracesOff)
{
    Parent parent({"show", "shutdown"});
    EXPECT_EQ(dyn_cli_lookup_node(parent.node.child, "show"), parent.at(0));
    EXPECT_EQ(dyn_cli_lookup_node(parent.node.child, "sho"), nullptr);
    EXPECT_EQ(dyn_cli_lookup_node(parent.node.child, "sh"), nullptr);
    EXPECT_EQ(dyn_cli_lookup_node(parent.node.child, "set"), nullptr);
    EXPECT_EQ(dyn_cli_lookup_node(&NONE, "show"), nullptr);
}

TEST(DynCliLookup, TakesNoStringOrNumberForAHit)
{
    cli_pnode_s text = parse_node(PNODE_STRING, "text", "TEXT");
    cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
    EXPECT_EQ(dyn_cli_lookup_node(&text, "anything"), nullptr);
    EXPECT_EQ(dyn_cli_lookup_node(&number, "5"), nullptr);
    // Unless the text is the label itself.
    EXPECT_EQ(dyn_cli_lookup_node(&text, "TEXT"), &text);
}

} // namespace

// In front of the platform's.
char *tracked_strdup(const char *text, const char *tag)
{
    using Copy = decltype(tracked_strdup);
    static const auto platforms = reinterpret_cast<Copy *>(dlsym(RTLD_NEXT, "tracked_strdup"));
    char *copy = platforms(text, tag);
    if (copy && noted_copies)
        noted_copies->push_back(copy);
    return copy;
}
