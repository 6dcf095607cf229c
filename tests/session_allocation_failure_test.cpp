// A whole telnet session in which one request for memory fails, or that one and all
// later ones, each request in turn. The session lives on, runs no line that was not
// typed, and leaves nothing behind.

#include "support/failing_allocator.h"
#include "support/parse_nodes.h"

#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
using namespace varno_test;

// What a person does in it. Enter is CR NUL.
// clang-format off
constexpr std::string_view script[] = {
    "\xff\xfb\x1f\xff\xfb\x18\xff\xfd\x01\xff\xfd\x03"sv, // agrees to the options
    "\xff\xfa\x1f\0\x50\0\x18\xff\xf0"sv,                 // size
    "\xff\xfa\x18\0XTERM\xff\xf0"sv,                      // terminal type
    "look around\r\0"sv,
    "looks\x7f around \x01\x05\x17\r\0"sv,                // edited
    "\x1b[A\x1b[A\x1b[B\x15"sv,                           // history
    "lo\tar\t\t\r\0"sv,                                   // completion
    "look ?around\r\0"sv,                                 // help
    "look nowhere\r\0"sv, "'look\r\0"sv,                  // errors
    "list\r\0"sv, " \r\0 q"sv,                            // a long output
    "ask\r\0"sv, "an answer\r\0"sv, "key\r\0"sv, "y"sv,   // questions
    "\xff\xfa\x1f\0\x1e\0\x08\xff\xf0"sv,                 // another size
    "a line that is longer than the terminal is wide\x01\x1b" "f\x03"sv,
    "\x1b[200~look around\rlook around\x1b[201~\r\0"sv,   // paste
    "look \xff\xf6\xff\xf7\xff\xf4\xff\xf3\xff\xf8"sv,    // AYT, EC, IP, BRK, EL
    "complete-token look\x1b\x18\x15"sv,                  // by name
    "look around\r\0look around\r\0"sv,
    "leave\r\0"sv,                                        // close
};
// clang-format on

// Without memory a word may stay without its completion: nobody takes it then.
const std::set<std::string> typed_lines = {"look around", "list", "ask", "key", "leave"};

std::string without_blanks_at_ends(std::string text)
{
    text.erase(text.find_last_not_of(' ') + 1);
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

cli_pnode_s *graph()
{
    struct Words {
        cli_pnode_s ends[5];
        cli_pnode_s around = keyword_node("around");
        cli_pnode_s look = keyword_node("look");
        cli_pnode_s list = keyword_node("list");
        cli_pnode_s ask = keyword_node("ask");
        cli_pnode_s key = keyword_node("key");
        cli_pnode_s leave = keyword_node("leave");

        Words()
        {
            look.child = level_of({&around});
            look.help = "what there is";
            cli_pnode_s *before_end[] = {&around, &list, &ask, &key, &leave};
            for (size_t i = 0; i < std::size(ends); i++) {
                ends[i] = parse_node(PNODE_EOLS, before_end[i]->keyword, nullptr);
                before_end[i]->child = level_of({&ends[i]});
            }
            level_of({&look, &list, &ask, &key, &leave});
        }
    };
    static Words words;
    return &words.look;
}

// One session and its host; the script is played to it.
class Playing {
  public:
    explicit Playing(tsession_shared_s *shared)
    {
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.transport = TSESSION_TELNET;
        config.graph = graph();
        config.shared = shared;
        config.user = this;
        config.output = [](tsession_s *, void *user, const char *, size_t count) {
            static_cast<Playing *>(user)->sent_ += count;
        };
        config.line = line;
        config.event = [](tsession_s *, void *, const tsession_event_s *event) {
            EXPECT_NE(event->kind, TSESSION_FAULT) << event->text;
        };
        session_ = tsession_create(&config);
    }
    ~Playing() { tsession_free(session_); }
    Playing(const Playing &) = delete;
    Playing &operator=(const Playing &) = delete;

    bool is_refused() const { return !session_; }
    bool is_closed() const { return tsession_is_closed(session_) != 0; }
    bool was_left() const { return was_left_; }
    const std::vector<std::string> &lines() const { return lines_; }

    void play()
    {
        tsession_start(session_);
        for (const std::string_view part : script)
            input(part);
    }

    // What works whatever was before.
    void expect_to_work()
    {
        input("\x03\x03\x03look around\r\0"sv);
        ASSERT_FALSE(lines_.empty());
        EXPECT_EQ(lines_.back(), "look around");
        sent_ = 0;
        input("x");
        EXPECT_GT(sent_, 0u);
    }

  private:
    void input(std::string_view bytes)
    {
        tsession_input(session_, bytes.data(), bytes.size());
        for (int i = 0; i < 100 && tsession_wait(session_) >= 0; i++)
            tsession_time_out(session_);
    }

    static void line(tsession_s *s, void *user, const char *text, const cli_pnode_s *action,
                     cli_pmatch_s *matches)
    {
        auto *self = static_cast<Playing *>(user);
        const std::string line = without_blanks_at_ends(text);
        self->lines_.push_back(line);
        EXPECT_TRUE(typed_lines.contains(line)) << "[" << line << "]";
        EXPECT_TRUE(line.ends_with(action->name)) << "[" << line << "] ran " << action->name;
        EXPECT_NE(matches, nullptr);
        const std::string_view name = action->name;
        if (name == "list")
            tsession_page(s, produce, &(self->produced_ = 0));
        else if (name == "ask")
            tsession_ask(
                s, "What? ", 0, [](tsession_s *, void *, void *, const char *) {}, nullptr);
        else if (name == "key")
            tsession_ask_key(
                s, "Sure? ", [](tsession_s *, void *, void *, int) {}, nullptr);
        else if (name == "leave")
            self->leave();
        else
            tsession_print(s, "%s\n", text);
    }

    void leave()
    {
        was_left_ = true;
        tsession_close(session_);
    }

    static int produce(tsession_s *s, void *, void *ctx, int is_cancelled)
    {
        auto *produced = static_cast<int *>(ctx);
        if (!is_cancelled)
            tsession_print(s, "row %d\n", ++*produced);
        return *produced < 60;
    }

    tsession_s *session_;
    std::vector<std::string> lines_;
    size_t sent_ = 0;
    int produced_ = 0;
    bool was_left_ = false;
};

class SessionWithoutMemory : public testing::TestWithParam<Failing> {
  protected:
    SessionWithoutMemory()
    {
        assert_set_handler(
            [](void *ctx, const char *condition, const char *source, int line) {
                tsession_assertion_handler(ctx, condition, source, line);
                FAIL() << condition << " " << source << ":" << line;
            },
            nullptr);
    }
    ~SessionWithoutMemory() override { assert_set_handler(nullptr, nullptr); }

    static long requests_of_a_session(tsession_shared_s *shared)
    {
        const long before = requests_made();
        Playing playing(shared);
        playing.play();
        EXPECT_TRUE(playing.was_left());
        EXPECT_EQ(playing.lines().size(), 10u);
        return requests_made() - before;
    }

    // The n-th request of a session fails; whether it came to that.
    static bool play_failing(long n, tsession_shared_s *shared)
    {
        SCOPED_TRACE("request " + std::to_string(n) + " fails");
        const size_t before = tracked_outstanding(nullptr);
        fail_request(n, GetParam());
        auto playing = std::make_unique<Playing>(shared);
        if (!playing->is_refused())
            playing->play();
        const bool failed = stop_failing();
        if (!playing->is_refused() && !playing->is_closed())
            playing->expect_to_work();
        playing.reset();
        EXPECT_EQ(tracked_outstanding(nullptr) - before, 0u);
        return failed;
    }
};

TEST_P(SessionWithoutMemory, LivesOnAndLeavesNothing)
{
    tsession_shared_s *shared = tsession_shared_create();
    requests_of_a_session(shared); // bindings and a buffer are there now
    const long requests = requests_of_a_session(shared);
    EXPECT_GT(requests, 60);
    for (long n = 1; n <= requests && !HasFailure(); n++)
        EXPECT_TRUE(play_failing(n, shared));
    EXPECT_EQ(requests_of_a_session(shared), requests) << "all is as before";
    tsession_shared_free(shared);
}

TEST_P(SessionWithoutMemory, LivesOnAndLeavesNothingWithNothingShared)
{
    const long requests = requests_of_a_session(nullptr);
    EXPECT_GT(requests, 300);
    for (long n = 1; n <= requests && !HasFailure(); n++)
        EXPECT_TRUE(play_failing(n, nullptr));
}

INSTANTIATE_TEST_SUITE_P(Forms, SessionWithoutMemory,
                         testing::Values(Failing::only_this_one, Failing::this_and_all_later),
                         [](const auto &form) {
                             return std::string(form.param == Failing::only_this_one
                                                    ? "OnlyOneRequestFails"
                                                    : "AllLaterRequestsFail");
                         });

} // namespace
