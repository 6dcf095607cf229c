// The history: adding, browsing, eviction and release.

#include "support/assertion.h"
#include "support/editor.h"
#include "support/left_behind.h"
#include "support/memory.h"

#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/varno.h>

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::line_of;
using varno_test::state_of;

class History : public testing::Test {
  protected:
    // The text copies are the test's to release: prompt_free leaves them.
    ~History() override
    {
        varno_test::release_history_texts(p);
        prompt_free(p);
        EXPECT_EQ(tracked_outstanding(nullptr), 0u);
    }

    prompt_history_s *end() { return reinterpret_cast<prompt_history_s *>(&p->history); }

    int add(const std::string &marked, int check_dups = 1)
    {
        const pstate ps = state_of(marked);
        prompt_set_content(p, &ps);
        return prompt_history_add(p, check_dups);
    }

    // Newest first, walked both ways.
    std::vector<std::string> entries()
    {
        std::vector<std::string> forward;
        for (prompt_history_s *t = p->history.cqh_first; t != end(); t = t->next)
            forward.emplace_back(t->command);
        std::vector<std::string> backward;
        for (prompt_history_s *t = p->history.cqh_last; t != end(); t = t->prev)
            backward.insert(backward.begin(), t->command);
        EXPECT_EQ(forward, backward);
        EXPECT_EQ(static_cast<int>(forward.size()), p->history_count);
        return forward;
    }

    std::string previous(int restore_cursor = 0)
    {
        prompt_history_previous(p, restore_cursor);
        return line_of(p->ps);
    }

    std::string next(int restore_cursor = 0)
    {
        prompt_history_next(p, restore_cursor);
        return line_of(p->ps);
    }

    prompt_s *p = prompt_create();
};

using Lines = std::vector<std::string>;

TEST_F(History, AnEmptyLineIsNotAdded)
{
    EXPECT_EQ(add("|"), 0);
    EXPECT_EQ(entries(), Lines());
}

TEST_F(History, OnlyARepeatOfTheNewestEntryIsSuppressed)
{
    EXPECT_EQ(add("show ip|"), 0);
    EXPECT_EQ(add("show ip|"), 0);
    EXPECT_EQ(entries(), Lines({"show ip"}));
    EXPECT_EQ(add("exit|"), 0);
    EXPECT_EQ(add("show ip|"), 0);
    EXPECT_EQ(entries(), Lines({"show ip", "exit", "show ip"}));
    EXPECT_EQ(tracked_outstanding("BYTE"), 3u) << "records";
    EXPECT_EQ(tracked_outstanding("BYTE*"), 3u) << "text copies";
}

TEST_F(History, WithoutTheCheckEveryLineIsAdded)
{
    add("show ip|", 0);
    add("show ip|", 0);
    EXPECT_EQ(entries(), Lines({"show ip", "show ip"}));
}

TEST_F(History, TheHundredAndFirstAdditionDropsTheOldest)
{
    for (int i = 0; i < 101; i++)
        EXPECT_EQ(add("line " + std::to_string(i) + "|"), 0);
    const Lines lines = entries();
    EXPECT_EQ(lines.size(), 100u);
    EXPECT_EQ(lines.front(), "line 100");
    EXPECT_EQ(lines.back(), "line 1");
}

TEST_F(History, ARepeatOfTheNewestEntryDropsNothingAtTheLimit)
{
    p->history_limit = 2;
    add("one|");
    add("two|");
    EXPECT_EQ(add("two|"), 0);
    EXPECT_EQ(entries(), Lines({"two", "one"}));
}

TEST_F(History, DroppingTheBrowsedEntryEndsBrowsing)
{
    p->history_limit = 2;
    add("one|");
    add("two|");
    previous();
    EXPECT_EQ(previous(), "one|");
    add("three|");
    EXPECT_EQ(p->history_browse, nullptr);
    EXPECT_EQ(previous(), "three|");
}

TEST_F(History, AddingKeepsTheBrowsePosition)
{
    add("one|");
    add("two|");
    EXPECT_EQ(previous(), "two|");
    add("three|");
    EXPECT_EQ(previous(), "one|");
}

TEST_F(History, ALimitOfZeroIsNone)
{
    p->history_limit = 0;
    for (int i = 0; i < 150; i++)
        add(std::to_string(i) + "|");
    EXPECT_EQ(entries().size(), 150u);
}

TEST_F(History, ALimitBelowTheCountDropsOneEntryPerAddition)
{
    add("one|");
    add("two|");
    add("three|");
    p->history_limit = 1;
    add("four|");
    EXPECT_EQ(entries(), Lines({"four", "three", "two"}));
}

TEST_F(History, BrowsingAnEmptyHistoryChangesNothing)
{
    const pstate typed = state_of("ty|ped");
    prompt_set_content(p, &typed);
    p->flags = 0;
    EXPECT_EQ(previous(), "ty|ped");
    EXPECT_EQ(next(), "ty|ped");
    EXPECT_EQ(p->flags, 0u);
}

TEST_F(History, BrowsingStopsAtBothEndsAndNeverReturnsToTheTypedLine)
{
    add("one|");
    add("two|");
    add("three|");
    const pstate typed = state_of("typed|");
    prompt_set_content(p, &typed);
    p->flags = 0;
    EXPECT_EQ(next(), "typed|") << "not browsing";
    EXPECT_EQ(p->flags, 0u);
    EXPECT_EQ(previous(), "three|");
    EXPECT_EQ(p->flags, 2u);
    EXPECT_EQ(previous(), "two|");
    EXPECT_EQ(previous(), "one|");
    p->flags = 0;
    EXPECT_EQ(previous(), "one|");
    EXPECT_EQ(p->flags, 0u) << "nothing was loaded";
    EXPECT_EQ(next(), "two|");
    EXPECT_EQ(next(), "three|");
    p->flags = 0;
    EXPECT_EQ(next(), "three|");
    EXPECT_EQ(p->flags, 0u);
}

TEST_F(History, ResettingStartsAgainFromTheNewest)
{
    add("one|");
    add("two|");
    previous();
    EXPECT_EQ(previous(), "one|");
    prompt_history_reset_state(p);
    EXPECT_EQ(line_of(p->ps), "one|") << "the line is not touched";
    EXPECT_EQ(previous(), "two|");
}

TEST_F(History, TheCursorIsRestoredOnRequest)
{
    add("sho|w ip");
    EXPECT_EQ(previous(1), "sho|w ip");
    prompt_history_reset_state(p);
    EXPECT_EQ(previous(0), "show ip|");
    add("ex|it");
    EXPECT_EQ(next(1), "ex|it");
    EXPECT_EQ(previous(), "show ip|");
    EXPECT_EQ(next(), "exit|");
}

TEST_F(History, AFullLineIsKeptAndLoadedWhole)
{
    const std::string full(255, 'x');
    EXPECT_EQ(add(full + "|"), 0);
    prompt_clear_command(p);
    EXPECT_EQ(previous(), full + "|");
}

TEST_F(History, AnEntryThatDoesNotFitTheLineIsFatal)
{
    std::string text(256, 'x');
    prompt_history_s entry = {};
    entry.command = text.data();
    EXPECT_ASSERTION(prompt_history_set_prompt(p, &entry, 0),
                     "!strlcpy2(p->ps.buf, t->command, sizeof(p->ps.buf))", "prompt_manip");
    EXPECT_EQ(line_of(p->ps), text.substr(0, 255) + "|") << "the line is whole";
    EXPECT_EQ(std::strlen(p->ps.buf), static_cast<size_t>(p->ps.buf_used));
    EXPECT_ASSERTION(prompt_history_set_prompt(p, nullptr, 0), "t", "prompt_manip");
}

TEST_F(History, ACountWithoutEntriesIsFatal)
{
    p->history_count = 1;
    EXPECT_ASSERTION(prompt_history_previous(p, 0), "t = p->history.cqh_first", "prompt_manip");
    p->history_limit = 1;
    EXPECT_ASSERTION(add("one|"), "t", "prompt_manip");
    p->history_count = 0;
}

TEST_F(History, NullContextsAreFatal)
{
    prompt_history_s entry = {};
    EXPECT_ASSERTION(prompt_history_add(nullptr, 0), "p", "prompt_manip");
    EXPECT_ASSERTION(prompt_history_previous(nullptr, 0), "p", "prompt_manip");
    EXPECT_ASSERTION(prompt_history_next(nullptr, 0), "p", "prompt_manip");
    EXPECT_ASSERTION(prompt_history_reset_state(nullptr), "p", "prompt_manip");
    EXPECT_ASSERTION(prompt_history_set_prompt(nullptr, &entry, 0), "p", "prompt_manip");
    EXPECT_ASSERTION(prompt_history_clear(nullptr), "p", "prompt_manip");
}

TEST_F(History, AnAdditionWithoutMemoryChangesNothing)
{
    add("one|");
    const int failed = varno_test::fail_each_allocation([this](const auto &fail_from_here) {
        const pstate ps = state_of("two|");
        prompt_set_content(p, &ps);
        fail_from_here();
        const int result = prompt_history_add(p, 1);
        tracked_fail_after(-1);
        if (result == 0) {
            EXPECT_EQ(entries(), Lines({"two", "one"}));
            prompt_history_s *t = p->history.cqh_first;
            p->history.cqh_first = t->next;
            t->next->prev = end();
            p->history_count--;
            tracked_free(t->command, "BYTE*");
            tracked_free(t, "BYTE");
        }
        EXPECT_EQ(entries(), Lines({"one"}));
        return result == 0;
    });
    EXPECT_EQ(failed, 2);
}

TEST_F(History, AFailedAdditionMayHaveDroppedTheOldest)
{
    p->history_limit = 2;
    add("one|");
    add("two|");
    const pstate ps = state_of("three|");
    prompt_set_content(p, &ps);
    tracked_fail_after(1);
    EXPECT_EQ(prompt_history_add(p, 1), -1);
    tracked_fail_after(-1);
    EXPECT_EQ(entries(), Lines({"two"}));
}

// What prompt_history_clear leaves is exactly the text copies, one per entry.
TEST(HistoryClear, LeavesTheTextCopiesTheCountAndTheBrowsePosition)
{
    prompt_s *p = prompt_create();
    std::vector<char *> texts;
    for (const char *marked : {"one|", "two|", "three|"}) {
        const pstate ps = state_of(marked);
        prompt_set_content(p, &ps);
        prompt_history_add(p, 1);
        texts.push_back(p->history.cqh_first->command);
    }
    prompt_history_previous(p, 0);
    prompt_history_s *browsed = p->history_browse;
    prompt_history_clear(p);
    auto *end = reinterpret_cast<prompt_history_s *>(&p->history);
    EXPECT_EQ(p->history.cqh_first, end);
    EXPECT_EQ(p->history.cqh_last, end);
    EXPECT_EQ(p->history_count, 3);
    EXPECT_EQ(p->history_browse, browsed);
    EXPECT_EQ(tracked_outstanding("BYTE"), 0u);
    EXPECT_EQ(tracked_outstanding("BYTE*"), 3u);
    prompt_free(p);
    EXPECT_EQ(tracked_outstanding(nullptr), 3u);
    for (char *text : texts)
        tracked_free(text, "BYTE*");
}

} // namespace
