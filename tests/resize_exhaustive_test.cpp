// Every window size of up to 300 columns and rows that a telnet client can tell, and
// every change from one width to another, with a line that is longer than its row:
// the row is as a full draw on a fresh terminal shows it.

#include "session/session.h"
#include "support/fresh_draw.h"
#include "support/session_host.h"

#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace {

using varno_test::FreshDraw;
using varno_test::SessionHost;
using varno_test::Terminal;

constexpr int most = 300;
constexpr int widest = 256;

// What a session makes of a width or a height.
int in_force(int told, int unknown, int least, int greatest)
{
    if (told == 0)
        return unknown;
    return told < least ? least : told > greatest ? greatest : told;
}

int columns_in_force(int told)
{
    return in_force(told, 80, 10, widest);
}

// A session and its terminal, which stays as wide as any session's: what a terminal
// does to its own picture when a person drags its edge is not the session's affair.
class Resized {
  public:
    Resized(int transport, std::string_view typed) : terminal_(2, widest)
    {
        assert_set_handler(tsession_assertion_handler, nullptr);
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.transport = transport;
        config.user = this;
        config.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
            static_cast<Resized *>(user)->terminal_.feed({bytes, count});
        };
        config.event = [](tsession_s *, void *user, const tsession_event_s *event) {
            auto *self = static_cast<Resized *>(user);
            if (event->kind == TSESSION_CLOSED)
                return;
            self->told_ = {event->columns, event->rows};
            self->events_++;
            EXPECT_EQ(event->kind, TSESSION_SIZE);
        };
        session_ = tsession_create(&config);
        tsession_start(session_);
        if (transport == TSESSION_TELNET) {
            terminal_.feed("\r\x1b[2J\x1b[H"); // the opening is no text
            tsession_time_out(session_);       // and nobody answers it
        }
        tsession_input(session_, typed.data(), typed.size());
    }
    ~Resized()
    {
        tsession_free(session_);
        assert_set_handler(nullptr, nullptr);
    }
    Resized(const Resized &) = delete;
    Resized &operator=(const Resized &) = delete;

    void resize(int columns, int rows) { tsession_resize(session_, columns, rows); }

    // A client's message, its 255s escaped.
    void tell(int columns, int rows)
    {
        std::string message = "\xff\xfa\x1f";
        for (const int value : {columns / 256, columns % 256, rows / 256, rows % 256})
            message.append(value == 255 ? 2 : 1, static_cast<char>(value));
        message += "\xff\xf0";
        events_ = 0;
        tsession_input(session_, message.data(), message.size());
        ASSERT_EQ(events_, 1);
        ASSERT_EQ(told_, std::pair(columns_in_force(columns), in_force(rows, 24, 2, 512)));
    }

    void expect_row_at(int columns)
    {
        ASSERT_EQ(tsession_columns(session_), columns_in_force(columns));
        const auto &[row, cursor] = wanted();
        ASSERT_EQ(terminal_.row(terminal_.cursor_row()), row);
        ASSERT_EQ(terminal_.cursor_column(), cursor);
    }

    // Nothing but the one row was ever written on.
    bool is_alone() const
    {
        return terminal_.cursor_row() == 0 &&
               terminal_.row(1) == std::string(static_cast<size_t>(widest), ' ');
    }

  private:
    using Picture = std::pair<std::string, int>;

    // Drawn once for each width and each place that the line is scrolled to.
    const Picture &wanted()
    {
        const prompt_s *p = session_->prompt;
        Picture &picture = drawn_[{p->width, p->display_offset}];
        if (picture.first.empty()) {
            const auto terminal = fresh_.terminal_of(p);
            picture = {terminal->row(0), terminal->cursor_column()};
            picture.first.resize(widest, ' ');
        }
        return picture;
    }

    Terminal terminal_;
    FreshDraw fresh_;
    std::map<std::pair<int, int>, Picture> drawn_;
    tsession_s *session_;
    std::pair<int, int> told_;
    int events_ = 0;
};

std::string long_line()
{
    std::string line;
    while (line.size() < 240)
        line += "word " + std::to_string(line.size()) + " ";
    return line;
}

struct Place {
    const char *name;
    std::string_view keys; // that lead there from the line's end
};

void PrintTo(const Place &place, std::ostream *out)
{
    *out << place.name;
}

constexpr Place places[] = {
    {"Begin", "\x01"},
    {"Middle", "\x01\x1b"
               "f\x1b"
               "f\x1b"
               "f\x1b"
               "f\x1b"
               "f\x1b"
               "f\x1b"
               "f\x1b"
               "f\x1b"
               "f\x1b"
               "f\x1b"
               "f"},
    {"End", ""},
};

class Resizing : public testing::TestWithParam<Place> {};

// From each width to each other one, and back.
TEST_P(Resizing, FromAnyWidthToAnyOtherKeepsTheRowRight)
{
    Resized session(TSESSION_PLAIN, long_line() + std::string(GetParam().keys));
    for (int from = 0; from <= most && !HasFatalFailure(); from++) {
        for (int to = from; to <= most && !HasFatalFailure(); to++) {
            SCOPED_TRACE(std::to_string(from) + " and " + std::to_string(to));
            session.resize(to, 24);
            session.expect_row_at(to);
            session.resize(from, 24);
            session.expect_row_at(from);
        }
    }
    EXPECT_TRUE(session.is_alone());
}

INSTANTIATE_TEST_SUITE_P(CursorAt, Resizing, testing::ValuesIn(places),
                         [](const auto &place) { return std::string(place.param.name); });

TEST(WindowSize, OfEveryNumberOfColumnsAndRowsIsTakenAsTheClientTellsIt)
{
    Resized session(TSESSION_TELNET, long_line());
    for (int rows = 0; rows <= most && !HasFatalFailure(); rows++) {
        for (int columns = 0; columns <= most && !HasFatalFailure(); columns++) {
            SCOPED_TRACE(std::to_string(columns) + " x " + std::to_string(rows));
            session.tell(columns, rows);
            if (!HasFatalFailure() && (columns + rows) % 7 == 0)
                session.expect_row_at(columns);
        }
    }
    EXPECT_TRUE(session.is_alone());
}

} // namespace
