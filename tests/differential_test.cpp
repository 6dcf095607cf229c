// The same input in other pieces, and the same row drawn another way: neither shows.
// Random shares go on longer with a factor, which multiplies their number:
// VARNO_LONG_TESTS=30 differential_test

#include "session/session.h"
#include "support/fresh_draw.h"
#include "support/long_tests.h"
#include "support/session_host.h"
#include "support/spelling.h"

#include <varno/platform_default.h>
#include <varno/tsession.h>
#include <varno/varno.h>

#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
using varno_test::FreshDraw;
using varno_test::long_tests_factor;
using varno_test::SessionHost;
using varno_test::spell;
using varno_test::Terminal;

// Decoders and buffers, for all sessions of the program.
tsession_shared_s *shared()
{
    static tsession_shared_s *const made = tsession_shared_create();
    return made;
}

tsession_config_s config_of(int transport, int columns)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = transport;
    config.terminal_type = "xterm";
    config.columns = columns;
    config.rows = 12;
    config.graph = SessionHost::graph();
    config.shared = shared();
    return config;
}

class Differential : public testing::Test {
  protected:
    Differential() { assert_set_handler(tsession_assertion_handler, nullptr); }
    ~Differential() override { assert_set_handler(nullptr, nullptr); }
};

// Cuts

using Pieces = std::vector<std::string_view>;

// When a host does the work that its client's input has brought about.
enum class GoesOn { after_each_piece, at_the_end };

// How long outputs are: a few screens, or so long that they rest, with nothing paged. Then
// input waits for them.
enum class Outputs { paged, resting };

class CutSession {
  public:
    CutSession(int transport, Outputs outputs) : host_(config_of(transport, columns))
    {
        host_.terminal().resize(outputs == Outputs::paged ? rows : few_rows, columns);
        host_.long_rows = outputs == Outputs::paged ? 30 : 400;
        if (outputs == Outputs::paged)
            return;
        tsession_set_paged(host_.session(), 0);
        host_.row_tail.assign(columns - 10, '-');
    }

    void input(std::string_view piece, GoesOn goes_on)
    {
        while (host_.session() && !piece.empty()) {
            const size_t part = std::max<size_t>(SessionHost::find_interrupt(piece), 1);
            host_.hand_over(piece.substr(0, part));
            piece.remove_prefix(part);
            if (goes_on == GoesOn::after_each_piece)
                host_.work();
        }
    }

    void go_on() { host_.work(); }

    void time_out()
    {
        if (host_.session())
            tsession_time_out(host_.session());
    }

    // All that a user and a host have seen by now. A session that was freed has kept
    // back what it had gathered, so its terminal shows what was sent before by chance.
    std::string outcome()
    {
        std::string text;
        for (const std::string &event : host_.take_events())
            text += event + "\n";
        if (const tsession_s *s = host_.session())
            text += screen() + " closed " + std::to_string(tsession_is_closed(s)) + " size " +
                    std::to_string(tsession_columns(s)) + "x" + std::to_string(tsession_rows(s)) +
                    " type " + tsession_terminal(s);
        return text;
    }

  private:
    std::string screen()
    {
        const Terminal &terminal = host_.terminal();
        return terminal.text() + "cursor " + std::to_string(terminal.cursor_row()) + " " +
               std::to_string(terminal.cursor_column());
    }

    // Of the terminal, which has room for all that any session says.
    static constexpr int columns = 100;
    static constexpr int rows = 120;
    static constexpr int few_rows = 6; // what is long scrolls away

    SessionHost host_;
};

std::string outcome_of(int transport, Outputs outputs, const Pieces &pieces, GoesOn goes_on)
{
    CutSession session(transport, outputs);
    for (const std::string_view piece : pieces)
        session.input(piece, goes_on);
    session.go_on();
    session.time_out();
    return session.outcome();
}

void expect_same(int transport, Outputs outputs, const Pieces &pieces, GoesOn goes_on,
                 const std::string &wanted)
{
    std::string text;
    for (const std::string_view piece : pieces)
        text += spell(piece) + " | ";
    ASSERT_EQ(outcome_of(transport, outputs, pieces, goes_on), wanted) << text;
}

// What people do in a session; a telnet client's own bytes may stand in between.
const std::string_view sessions[] = {
    "show version\rsho\tver\r\rshow  vers\x01\x05\x02\x06\r",
    "sh?ow ?l\t\t\t\rshow x\r\"show\r'\r\x1b[A\x1b[A\x1b[B\r",
    "nonsense\x08\x08\x7f\x15width 30\rshow version aaaaaaaaaaaaaaaaaaaaaaaaaaaa\x01\x1b"
    "f\x1b"
    "f\x1b[Cw\x05\r",
    "login\rse\x08"
    "cret\rname\rsomebody\x15"
    "else with a name that is longer than its row is wide, by a few characters\r"
    "sure\rxy\rsure\r\x03\x04\x04",
    "show long\r \r\rqshow long\r\x03show version\r",
    "show long\r  show long\r\r q\x0c\x12x\x1b\x18",
    "delete-command x\x1b\x18"
    "echo abc\x1b\x18redisplay\x1b\x18nonsuch\x1b\x18'x\x1b\x18",
    "\x1b[200~show ver\tsion\nshow long\r\n q\x1b[31m\x03\x1b[201~x\x1b[201~\x0b\x10\x0e\r",
    "one  two\tthree\x1b"
    "b\x1b"
    "c\x1b"
    "u\x1b"
    "l\x17\x1b"
    "d\x1b\x7f\x1b\x17\x0bx\r\n\r\0\r\r\n"sv,
    "a\t\0\ta\x01\t\x1b\tsh\t\x1b[Z\tsho\t\x1b[5~\t\x9b\xe9\xff\t"sv,
    "\x1b]0;title\x07\x1bPx\x1b\\\x1b[1;5Dx\x1bOA\x1b[A\x1b\x1b[D\x1b\x1b\x1bx\x1b[\x03\x1bO\r",
    "widt\t40\rsho\x1b[D\x1b[D\x1b[3~\x1b[1~\x1b[4~\x1b[H\x1b[F\x7f\x7f\x7fwidth 25\r0123456789"
    "0123456789012345678901234567890123456789\x1b[D\x1b[D\x1b[Dx\x01y\x05z\r",
    "width "
    "30\r0123456789012345678901234567890123456789012345678901234567\x02\x02\x02\x02\x02\x02\x02"
    "\x02\x02\x02\x02\x02\x02\x02\x02\x02\x02x",
    "show version\rexit\rshow version\r",
    "show version\rfault\rshow version\r",
    "show \x1b[Alogin\r\x1b[A\x1b[Bx\r\x10\x10\x10\x0e\r\x04",
};

const std::string_view telnet_sessions[] = {
    "\xff\xfb\x1f\xff\xfa\x1f\0\x3c\0\x18\xff\xf0sh\xff\xfa\x1f\0\x20\0\x0a\xff\xf0"
    "ow version\r\0"sv,
    "\xff\xfb\x18\xff\xfa\x18\0nonsuch\xff\xf0\xff\xfa\x18\0VT220\xff\xf0sho\t\x1b[A\r\0"sv,
    "sho\xff\xf6w ver\xff\xf7\xff\xf8\xff\xf6 \xff\xf4 version\xff\xf3show version\r\n"sv,
    "show long\r\0 \xff\xf6 \xff\xf4login\r\0pass\xff\xf7\xff\xf8word\xff\xf4show version\r\n"sv,
    "show long\r\xff\xfa\x1f\0\x50\0\x06\xff\xf0 \xff\xf3sure\r\xff\xfa\x1f\0\0\0\0\xff\xf0y"sv,
    "\xff\xfd\x03\xff\xfe\x01\xff\xfd\x01\xff\xfb\x05\xff\xfa\x05\r\xff\xf0\xff\xfa\x1f\0\xff\xff\0"
    "\x18"
    "\xff\xf0?\xff\xff\xff\xf1x\xff\x41y\r"sv,
    "name\r\0some\xff\xfa\x1f\0\x28\0\x18\xff\xf0"
    "body with a long name\xff\xf7\xff\xf7\xff\xf6\r\nexit\r\0\xff\xf6\xff\xf4"sv,
};

// Cut once at every place, and everywhere. Without an interrupt it does not show either
// when the work is done.
void expect_no_cut_to_show(int transport, std::string_view stream, Outputs outputs = Outputs::paged)
{
    const bool is_interrupted = SessionHost::find_interrupt(stream) < stream.size();
    const std::string wanted = outcome_of(transport, outputs, {stream}, GoesOn::after_each_piece);
    Pieces bytes;
    for (size_t at = 0; at < stream.size(); at++) {
        bytes.push_back(stream.substr(at, 1));
        ASSERT_NO_FATAL_FAILURE(expect_same(transport, outputs,
                                            {stream.substr(0, at), stream.substr(at)},
                                            GoesOn::after_each_piece, wanted));
    }
    ASSERT_NO_FATAL_FAILURE(
        expect_same(transport, outputs, bytes, GoesOn::after_each_piece, wanted));
    if (!is_interrupted) {
        ASSERT_NO_FATAL_FAILURE(expect_same(transport, outputs, bytes, GoesOn::at_the_end, wanted));
    }
}

TEST_F(Differential, NoCutOfAPlainSessionShows)
{
    for (const std::string_view stream : sessions)
        expect_no_cut_to_show(TSESSION_PLAIN, stream);
}

// A terminal's bytes are a telnet client's too, its byte 255 apart.
TEST_F(Differential, NoCutOfATelnetSessionShows)
{
    for (const std::string_view stream : sessions)
        expect_no_cut_to_show(TSESSION_TELNET, stream);
    for (const std::string_view stream : telnet_sessions)
        expect_no_cut_to_show(TSESSION_TELNET, stream);
}

// Beside keys: pastes, questions, what would answer a full screen, telnet's commands.
const std::string_view resting_sessions[] = {
    "show long\rquit\r q\x15sho\tv\t\rx\x7fy?",
    "show long\r\x1b[200~show ver\rsure\rlogin\r\x1b[201~secret\rshow ver\r",
    "name\rsome\rshow long\rname\rbody\r\x1b[A\x1b[A\x12long\r\x19",
};

const std::string_view resting_telnet_sessions[] = {
    "show long\r\0\xff\xfa\x1f\0\x28\0\x0c\xff\xf0no exit\r\0\xff\xf1show long\r\0q\xff\xfb\x18x"sv,
};

TEST_F(Differential, NoCutShowsWhereOutputsRest)
{
    for (const std::string_view stream : resting_sessions) {
        for (const int transport : {TSESSION_PLAIN, TSESSION_TELNET})
            expect_no_cut_to_show(transport, stream, Outputs::resting);
    }
    for (const std::string_view stream : resting_telnet_sessions)
        expect_no_cut_to_show(TSESSION_TELNET, stream, Outputs::resting);
}

class RandomStreams : public Differential, public testing::WithParamInterface<int> {
  protected:
    size_t below(size_t bound) { return random_() % bound; }

    std::string_view stretch(std::string_view stream)
    {
        const size_t from = below(stream.size());
        return stream.substr(from, 1 + below(12));
    }

    // Stretches of sessions, which tear sequences and commands apart.
    std::string stream()
    {
        std::string bytes;
        for (size_t count = 20 + below(60); count > 0; count--) {
            const bool is_telnet = GetParam() == TSESSION_TELNET && below(3) == 0;
            bytes += is_telnet ? stretch(telnet_sessions[below(std::size(telnet_sessions))])
                               : stretch(sessions[below(std::size(sessions))]);
        }
        // What a client that echoes shows by itself is not on this terminal.
        constexpr std::string_view dont_echo = "\xff\xfe\x01";
        for (size_t at; (at = bytes.find(dont_echo)) != bytes.npos;)
            bytes.erase(at, dont_echo.size());
        return bytes;
    }

    Pieces cut(std::string_view stream)
    {
        Pieces pieces;
        const size_t longest = 1 + below(40);
        for (size_t at = 0; at < stream.size();) {
            pieces.push_back(stream.substr(at, 1 + below(longest)));
            at += pieces.back().size();
        }
        return pieces;
    }

    std::mt19937 random_;
};

TEST_P(RandomStreams, AreTheSameWhereverTheyAreCut)
{
    for (int seed = 1; seed <= 250 * long_tests_factor() && !HasFatalFailure(); seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_.seed(static_cast<unsigned>(seed));
        const std::string bytes = stream();
        const std::string wanted =
            outcome_of(GetParam(), Outputs::paged, {bytes}, GoesOn::after_each_piece);
        ASSERT_NO_FATAL_FAILURE(
            expect_same(GetParam(), Outputs::paged, cut(bytes), GoesOn::after_each_piece, wanted));
    }
}

INSTANTIATE_TEST_SUITE_P(Transports, RandomStreams,
                         testing::Values(TSESSION_PLAIN, TSESSION_TELNET));

// The row

// A session on a terminal of just its size.
class RowSession {
  public:
    explicit RowSession(int columns) : terminal_(rows, columns)
    {
        tsession_config_s config = config_of(TSESSION_PLAIN, columns);
        config.rows = 512; // a page of help is never full
        config.user = this;
        config.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
            static_cast<RowSession *>(user)->show({bytes, count});
        };
        config.line = [](tsession_s *s, void *, const char *, const cli_pnode_s *, cli_pmatch_s *) {
            tsession_write(s, "done\n", 5);
        };
        session_ = tsession_create(&config);
        tsession_start(session_);
    }
    ~RowSession() { tsession_free(session_); }
    RowSession(const RowSession &) = delete;
    RowSession &operator=(const RowSession &) = delete;

    void press(std::string_view key)
    {
        has_moved_down_ = false;
        const int row_before = terminal_.cursor_row();
        const std::string above = above_cursor();
        tsession_input(session_, key.data(), key.size());
        if (has_moved_down_)
            return;
        ASSERT_EQ(terminal_.cursor_row(), row_before);
        ASSERT_EQ(above_cursor(), above);
    }

    void expect_row_as_drawn_by(FreshDraw &fresh)
    {
        const auto wanted = fresh.terminal_of(session_->prompt);
        ASSERT_EQ(terminal_.row(terminal_.cursor_row()), wanted->row(0));
        ASSERT_EQ(terminal_.cursor_column(), wanted->cursor_column());
        ASSERT_EQ(tsession_is_closed(session_), 0);
    }

  private:
    static constexpr int rows = 3;

    void show(std::string_view bytes)
    {
        has_moved_down_ |= bytes.find('\n') != bytes.npos;
        terminal_.feed(bytes);
    }

    std::string above_cursor() const
    {
        const int row = terminal_.cursor_row();
        return row > 0 ? terminal_.row(row - 1) : "";
    }

    Terminal terminal_;
    tsession_s *session_;
    bool has_moved_down_ = false;
};

// One press each, frequent ones more than once.
// clang-format off
constexpr std::string_view presses[] = {
    "a", "b", "c", "d", "e", " ", " ", "x", "1", "2", "-", ".", "show ", "version", "interface",
    "0123456789", "words and words and words ", "'", "\"", "\\", "\t", "?",
    "\x7f", "\x7f", "\x08", "\x1b[3~", "\x04",
    "\x1b[D", "\x1b[D", "\x1b[C", "\x1b[C", "\x1bOD", "\x1bOC", "\x02", "\x06",
    "\x1b" "b", "\x1b" "b", "\x1b" "f", "\x1b" "f", "\x1b[1;5D", "\x1b[1;5C", "\x1b\x1b[D",
    "\x01", "\x01", "\x05", "\x05", "\x1b[H", "\x1b[F",
    "\x17", "\x1b" "d", "\x1b\x7f", "\x0b", "\x15", "\x1b\x17",
    "\x1b" "c", "\x1b" "u", "\x1b" "l", "\x1b\x10",
    "\x1b[A", "\x1b[A", "\x1b[B", "\x10", "\x0e", "\x19", "\x1b" "x", "\x0c",
    "\r", "\x03", "\x1b\x18", "\x1b\x02", "\x1b\x06", "\x1b[200~pasted text\x1b[201~", "\xe9",
};
// clang-format on

class RandomKeys : public Differential, public testing::WithParamInterface<int> {};

// Some lines are short, some long: for a while nothing that ends or empties a line.
TEST_P(RandomKeys, LeaveTheRowAsAFullDrawOnAFreshTerminalShowsIt)
{
    const int keys_of_width = 150 * long_tests_factor();
    const int seed = GetParam();
    std::cout << "seeds " << seed << "000 and up, " << keys_of_width << " keys a width\n";
    FreshDraw fresh;
    for (int columns = 20 + seed; columns <= 256 && !HasFatalFailure(); columns += 4) {
        std::mt19937 random(static_cast<unsigned>(seed * 1000 + columns));
        RowSession session(columns);
        for (int i = 0; i < keys_of_width && !HasFatalFailure(); i++) {
            const bool is_growing = i % 100 < 50;
            const size_t count = is_growing ? 52 : std::size(presses);
            const std::string_view key = presses[random() % count];
            SCOPED_TRACE(std::to_string(columns) + " columns, key " + std::to_string(i) + " " +
                         spell(key));
            session.press(key);
            if (!HasFatalFailure())
                session.expect_row_as_drawn_by(fresh);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Columns, RandomKeys, testing::Values(0, 1, 2, 3));

} // namespace
