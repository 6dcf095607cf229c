// Tables, JSON and progress as people see them; configuration that is written and read back.

#include "support/assertion.h"
#include "support/long_tests.h"
#include "support/memory.h"

#include <varno/commands.h>
#include <varno/platform_default.h>

#include <cinttypes>
#include <iterator>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

const cli_column_s columns[] = {{"name", 6, 0}, {"rate", 5, CLI_NUMBER}, {"note", 4, 0}};

const char *const cells[][3] = {
    {"eth0", "100", "up"},
    {"a-long-name", "7", "a note that goes on"},
    {"caf\xc3\xa9", "-1.5", "\xe4\xb8\xad\xe6\x96\x87"},
    {"x\ty", "007", "\"q\"\n\xff"},
};

// A row a call.
int32_t show_table(cli_call_s *call, void *)
{
    auto *row = static_cast<size_t *>(cli_state(call, sizeof(size_t), nullptr));
    if (!row || cli_is_cancelled(call))
        return CLI_FAILED;
    cli_columns(call, columns, std::size(columns));
    for (const char *cell : cells[*row])
        cli_cell(call, "%s", cell);
    return ++*row < std::size(cells) ? CLI_MORE : CLI_DONE;
}

int32_t show_both(cli_call_s *call, void *)
{
    cli_print(call, "one table:\nhalf");
    cli_columns(call, columns, 1);
    cli_cell(call, "eth%d", 7);
    cli_print(call, "the end\n");
    return CLI_DONE;
}

int32_t show_progress(cli_call_s *call, void *)
{
    cli_progress(call, "%d %% of all", 5);
    cli_progress(call, "%d %%", 50);
    cli_print(call, "a row\n");
    cli_progress(call, "ready");
    return CLI_DONE;
}

// Messages of characters that take two columns, one or none.
int32_t show_wide_progress(cli_call_s *call, void *)
{
    cli_progress(call, "%s", "\xe4\xb8\xad\xe6\x96\x87\xe4\xb8\xad\xe6\x96\x87\xe4\xb8\xad");
    cli_progress(call, "%s", "\x1b[2Ja\xcc\x81\n");
    cli_progress(call, "%s", std::string(2000, 'x').c_str());
    cli_progress(call, "%s", "");
    return CLI_DONE;
}

int32_t take_progress_back(cli_call_s *call, void *)
{
    cli_progress(call, "%s", ""); // there is none yet
    cli_progress(call, "half of it");
    cli_progress(call, "%s", "");
    if (cli_has(call, "fails"))
        cli_fail(call, "gone");
    else
        cli_print(call, "all of it\n");
    return CLI_DONE;
}

// More than is written without memory of its own.
int32_t show_long(cli_call_s *call, void *)
{
    const std::string row(2000, 'x');
    cli_print(call, "%s\n", row.c_str());
    cli_columns(call, columns, 1);
    cli_cell(call, "%s", row.c_str());
    return CLI_DONE;
}

int32_t cell_without_columns(cli_call_s *call, void *)
{
    cli_cell(call, "x");
    return CLI_DONE;
}

// The state of a device, which is its configuration.
struct State {
    std::string host = "r1";
    std::map<std::string, std::string> descriptions;
    std::map<std::string, int64_t> rates;
    bool operator==(const State &) const = default;
};
State state;

int32_t set_host(cli_call_s *call, void *)
{
    state.host = cli_text(call, "HOST");
    return CLI_DONE;
}

int32_t set_description(cli_call_s *call, void *)
{
    state.descriptions[cli_shell_argument(cli_call_shell(call), "NAME")] = cli_text(call, "TEXT");
    return CLI_DONE;
}

int32_t set_rate(cli_call_s *call, void *)
{
    state.rates[cli_shell_argument(cli_call_shell(call), "NAME")] = cli_number(call, "RATE");
    return CLI_DONE;
}

int32_t write_global(cli_call_s *call, void *)
{
    cli_config(call, "hostname %s", state.host.c_str());
    return CLI_DONE;
}

// One interface a call.
int32_t write_interfaces(cli_call_s *call, void *)
{
    auto *at = static_cast<size_t *>(cli_state(call, sizeof(size_t), nullptr));
    if (!at || cli_is_cancelled(call))
        return CLI_FAILED;
    size_t index = 0;
    for (const auto &[name, description] : state.descriptions) {
        if (index++ != *at)
            continue;
        cli_config(call, "interface %s", name.c_str());
        cli_config(call, " description %-s", description.c_str());
        if (state.rates.contains(name))
            cli_config(call, " rate %" PRId64, state.rates[name]);
    }
    return ++*at < state.descriptions.size() ? CLI_MORE : CLI_DONE;
}

int32_t write_unknown(cli_call_s *call, void *)
{
    cli_config(call, "before it %5d", 5);
    return CLI_DONE;
}

// clang-format off
const cli_mode_s modes[] = {
    {"exec",      nullptr,     nullptr, 0,            nullptr,          nullptr},
    {"configure", "exec",      "# ",    CLI_DO,       write_global,     nullptr},
    {"interface", "configure", "## ",   CLI_INHERITS, write_interfaces, nullptr},
};
const cli_command_s exec_rows[] = {
    {"table",                         "a table",       show_table,           nullptr,     0, 0, nullptr},
    {"both",                          "a table, too",  show_both,            nullptr,     0, 0, nullptr},
    {"long",                          "long rows",     show_long,            nullptr,     0, 0, nullptr},
    {"progress",                      "slow",          show_progress,        nullptr,     0, 0, nullptr},
    {"progress back [fails]",         "slow, too",     take_progress_back,   nullptr,     0, 0, nullptr},
    {"wide progress",                 "slow, too",     show_wide_progress,   nullptr,     0, 0, nullptr},
    {"cell",                          "wrong",         cell_without_columns, nullptr,     0, 0, nullptr},
    {"unknown",                       "wrong",         write_unknown,        nullptr,     0, 0, nullptr},
    {"show running-config [SECTION]", "all of it",     cli_show_config,      nullptr,     0, 0, nullptr},
    {"configure",                     "change it",     nullptr,              "configure", 0, 0, nullptr},
};
const cli_command_s configure_rows[] = {
    {"hostname HOST",                 "its name",      set_host,             nullptr,     0, 0, nullptr},
    {"interface NAME",                "one",           nullptr,              "interface", 0, 0, nullptr},
};
const cli_command_s interface_rows[] = {
    {"description TEXT(line)",        "what it is",    set_description,      nullptr,     0, 0, nullptr},
    {"rate RATE(-9-1000000)",         "how fast",      set_rate,             nullptr,     0, 0, nullptr},
};
// clang-format on

cli_set_s *make_set()
{
    cli_set_s *set = cli_set_create();
    if (!set)
        return nullptr;
    bool is_made = true;
    for (const cli_mode_s &mode : modes)
        is_made = is_made && cli_set_add_mode(set, nullptr, &mode) == 0;
    is_made =
        is_made && cli_set_add(set, nullptr, "exec", exec_rows, std::size(exec_rows)) == 0 &&
        cli_set_add(set, nullptr, "configure", configure_rows, std::size(configure_rows)) == 0 &&
        cli_set_add(set, nullptr, "interface", interface_rows, std::size(interface_rows)) == 0 &&
        cli_set_build(set, nullptr, nullptr) == 0;
    if (is_made)
        return set;
    cli_set_free(set);
    return nullptr;
}

class Tables : public testing::Test {
  protected:
    Tables()
    {
        state = {};
        begin_batch();
    }

    ~Tables() override
    {
        cli_shell_free(shell_);
        cli_shell_free(batch_);
        cli_set_free(set_);
        EXPECT_EQ(tracked_outstanding(nullptr), before_);
    }

    void begin_batch(const char *mode = nullptr)
    {
        cli_shell_free(batch_);
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.mode = mode;
        config.user = this;
        config.output = [](void *user, const char *bytes, size_t count) {
            static_cast<Tables *>(user)->written_.append(bytes, count);
        };
        batch_ = cli_shell_create(&config);
    }

    std::string run(const std::string &line)
    {
        written_.clear();
        cli_shell_run(batch_, line.c_str());
        return written_;
    }

    std::string show(const std::string &line, int32_t width)
    {
        tsession_config_s terminal = TSESSION_CONFIG_INIT;
        terminal.is_unpaged = 1;
        terminal.columns = width;
        terminal.user = this;
        terminal.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
            static_cast<Tables *>(user)->sent_.append(bytes, count);
        };
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.session = &terminal;
        cli_shell_free(shell_);
        shell_ = cli_shell_create(&config);
        tsession_s *session = cli_shell_session(shell_);
        tsession_start(session);
        const std::string keys = line + "\r";
        sent_.clear();
        tsession_input(session, keys.data(), keys.size());
        while (tsession_wait(session) == 0)
            tsession_time_out(session);
        return sent_.substr(sent_.find("\r\n") + 2); // without its echo
    }

    const size_t before_ = tracked_outstanding(nullptr);
    cli_set_s *set_ = make_set();
    cli_shell_s *batch_ = nullptr;
    cli_shell_s *shell_ = nullptr;
    std::string written_;
    std::string sent_;
};

TEST_F(Tables, RowsAreAligned)
{
    EXPECT_EQ(run("table"), "name     rate  note\n"
                            "eth0      100  up\n"
                            "a-long-name      7  a note that goes on\n"
                            "caf\xc3\xa9     -1.5  \xe4\xb8\xad\xe6\x96\x87\n"
                            "x?y       007  \"q\"??\n");
    EXPECT_EQ(run("table | include up"), "eth0      100  up\n");
    EXPECT_EQ(run("table | count"), "4\n");
    EXPECT_EQ(run("both"), "one table:\nhalfname\neth7\nthe end\n");
}

TEST_F(Tables, ANarrowScreenCutsCells)
{
    EXPECT_EQ(show("table", 22), "name     rate  note\r\n"
                                 "eth0      100  up\r\n"
                                 "a-lon>      7  a n>\r\n"
                                 "caf\xc3\xa9     -1.5  \xe4\xb8\xad\xe6\x96\x87\r\n"
                                 "x?y       007  \"q\"??\r\n> ");
    EXPECT_NE(show("table | include long", 12).find("a-lon>     >\r\n> "), std::string::npos);
}

TEST_F(Tables, JsonHasObjects)
{
    EXPECT_EQ(
        run("table | json"),
        "[\n"
        "  {\"name\": \"eth0\", \"rate\": 100, \"note\": \"up\"},\n"
        "  {\"name\": \"a-long-name\", \"rate\": 7, \"note\": \"a note that goes on\"},\n"
        "  {\"name\": \"caf\xc3\xa9\", \"rate\": -1.5, \"note\": \"\xe4\xb8\xad\xe6\x96\x87\"},\n"
        "  {\"name\": \"x\\u0009y\", \"rate\": \"007\", \"note\": \"\\\"q\\\"\\u000a\\u00ff\"}\n"
        "]\n");
    std::string on_a_screen = run("table | json") + "> ";
    for (size_t at = 0; (at = on_a_screen.find('\n', at)) != on_a_screen.npos; at += 2)
        on_a_screen.insert(at, "\r");
    const std::string shown = show("table | json", 12);
    EXPECT_TRUE(shown.ends_with(on_a_screen)) << shown; // no cell is cut
    EXPECT_EQ(run("both | json"), "[\n  \"one table:\",\n  \"half\",\n  {\"name\": \"eth7\"},\n"
                                  "  \"the end\"\n]\n");
    EXPECT_EQ(run("table | include nothing | json"), "[]\n");
}

TEST_F(Tables, ProgressReplacesItself)
{
    EXPECT_EQ(show("progress", 80), "5 % of all\r50 %      \r\na row\r\nready\r\n> ");
    EXPECT_EQ(show("progress | include row", 80), "5 % of all\r50 %      \r\na row\r\nready\r\n> ");
    EXPECT_EQ(run("progress"), "a row\n");
}

TEST_F(Tables, ASessionWithoutAScreenHasNoProgressAndCutsNoRow)
{
    std::string sent;
    tsession_config_s lines = TSESSION_CONFIG_INIT;
    lines.transport = TSESSION_BATCH;
    lines.columns = 10;
    lines.user = &sent;
    lines.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
        static_cast<std::string *>(user)->append(bytes, count);
    };
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set_;
    config.session = &lines;
    cli_shell_s *shell = cli_shell_create(&config);
    const std::string table = run("table");
    for (const char *line : {"progress", "table"}) {
        cli_shell_run(shell, line);
        while (tsession_wait(cli_shell_session(shell)) == 0)
            tsession_time_out(cli_shell_session(shell));
    }
    cli_shell_free(shell);
    EXPECT_EQ(sent, "a row\n" + table);
}

TEST_F(Tables, AnEmptyProgressTakesItsRowBack)
{
    const std::string gone = "half of it\r" + std::string(10, ' ') + "\r";
    EXPECT_EQ(show("progress back", 80), gone + "all of it\r\n> ");
    EXPECT_EQ(show("progress back | count", 80), gone + "1\r\n> ");
    EXPECT_EQ(show("progress back fails", 80), gone + "% gone\r\n> ");
}

TEST_F(Tables, ProgressIsCutWithAMarkByTheColumnsThatItTakes)
{
    const std::string blank(9, ' ');
    EXPECT_EQ(show("progress", 10), "5 % of a>\r50 %     \r\na row\r\nready\r\n> ");
    EXPECT_EQ(show("wide progress", 10), "\xe4\xb8\xad\xe6\x96\x87\xe4\xb8\xad\xe6\x96\x87>\r"
                                         "?[2Ja\xcc\x81?   \rxxxxxxxx>\r" +
                                             blank + "\r\r\n> ");
    // As wide as the row may be, and wider.
    EXPECT_EQ(show("wide progress", 11).substr(0, 16),
              "\xe4\xb8\xad\xe6\x96\x87\xe4\xb8\xad\xe6\x96\x87\xe4\xb8\xad\r");
    const std::string widest = show("wide progress", 512);
    EXPECT_NE(widest.find("\r" + std::string(254, 'x') + ">\r" + std::string(255, ' ') + "\r\r\n"),
              std::string::npos)
        << widest;
}

TEST_F(Tables, WrongCallsAreFaults)
{
    EXPECT_ASSERTION(run("cell"), "call->is_cancelled || table.columns", "commands_table");
    EXPECT_ASSERTION(run("unknown"), "is_known(one)", "commands_config");
}

TEST_F(Tables, ConfigurationIsShownByModes)
{
    state.host = "a \"b\" c";
    state.descriptions = {{"eth0", "it's | \"here\""}, {"|", "bar"}, {"", "nothing"}};
    state.rates = {{"eth0", -9}};
    const std::string interfaces = "interface \"\"\n description nothing\n"
                                   "interface eth0\n description it's | \"here\"\n rate -9\n"
                                   "interface \"|\"\n description bar\n";
    EXPECT_EQ(run("show running-config"), "hostname \"a \\\"b\\\" c\"\n" + interfaces);
    EXPECT_EQ(run("show running-config interface"), interfaces);
    EXPECT_EQ(run("show running-config | section eth0"),
              "interface eth0\n description it's | \"here\"\n rate -9\n");
    EXPECT_EQ(run("show running-config nothing"), "  show running-config nothing\n"
                                                  "                      ^\n"
                                                  "% no section of this name\n");
}

// Words of every character that a line may have.
std::string random_word(std::mt19937 &random, bool may_be_empty)
{
    std::string word;
    const auto len = random() % 6 + (may_be_empty ? 0 : 1);
    while (word.size() < len) {
        const char odd[] = " \"'\\|!#?";
        word += random() % 3 == 0 ? odd[random() % (std::size(odd) - 1)]
                                  : static_cast<char>(33 + random() % 94);
    }
    return word;
}

// A line's text begins and ends without blanks, and its quotes match.
std::string random_text(std::mt19937 &random)
{
    std::string text = "x";
    for (auto words = random() % 3; words > 0; words--) {
        std::string word = random_word(random, false);
        std::erase_if(word, [](char c) { return c == '"' || c == '\'' || c == '\\'; });
        text += " \"" + word + "\"y";
    }
    return text;
}

TEST_F(Tables, ConfigurationIsReadBack)
{
    std::mt19937 random(16);
    const int states = 300 * varno_test::long_tests_factor();
    for (int i = 0; i < states && !HasFailure(); i++) {
        state = {};
        state.host = random_word(random, true);
        for (auto count = random() % 4; count > 0; count--) {
            const std::string name = random_word(random, true);
            state.descriptions[name] = random_text(random);
            if (random() % 2)
                state.rates[name] = static_cast<int64_t>(random() % 1000) - 9;
        }
        const State saved = state;
        begin_batch();
        const std::string file = run("show running-config");
        state = {};
        for (const bool is_check : {true, false}) {
            begin_batch("configure");
            written_.clear();
            for (size_t from = 0; from < file.size();) {
                const size_t end = file.find('\n', from);
                const std::string line = file.substr(from, end - from);
                from = end + 1;
                EXPECT_EQ(is_check ? cli_shell_check(batch_, line.c_str(), nullptr)
                                   : cli_shell_run(batch_, line.c_str()),
                          0)
                    << line;
            }
            EXPECT_EQ(written_, "") << file;
            EXPECT_EQ(state == State{}, is_check) << file;
        }
        EXPECT_TRUE(state == saved) << file;
        begin_batch();
        EXPECT_EQ(run("show running-config"), file);
    }
}

// A command that is done has written all of it, whatever it took its functions to say so.
TEST_F(Tables, WhatCouldNotBeWrittenIsNotDone)
{
    state.descriptions = {{"eth0", std::string(100, 'a')}, {"eth1", "b"}};
    for (const char *line : {"table", "table | json", "long", "long | include x", "long | json",
                             "show running-config", "show running-config | include a"}) {
        begin_batch();
        const std::string all = run(line);
        int failures = 0;
        for (int n = 1; failures == n - 1; n++) {
            written_.clear();
            tracked_fail_after(n);
            const int32_t result = cli_shell_run(batch_, line);
            tracked_fail_after(-1);
            if (result == CLI_DONE)
                EXPECT_EQ(written_, all) << line << ", allocation " << n;
            else
                failures++;
        }
        EXPECT_GT(failures, 3) << line;
    }
}

TEST(TablesWithoutMemory, NothingIsLeftBehind)
{
    const int failures = varno_test::fail_each_allocation([&](const auto &fail_from_here) {
        state = {};
        state.descriptions = {{"eth0", "one"}};
        std::string written;
        bool is_done = false;
        fail_from_here();
        cli_set_s *set = make_set();
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set;
        config.user = &written;
        config.output = [](void *user, const char *bytes, size_t count) {
            static_cast<std::string *>(user)->append(bytes, count);
        };
        cli_shell_s *shell = set ? cli_shell_create(&config) : nullptr;
        if (shell) {
            cli_shell_run(shell, "table | json");
            cli_shell_run(shell, "show running-config | save x");
            is_done = cli_shell_run(shell, "table") == CLI_DONE &&
                      cli_shell_run(shell, "show running-config") == CLI_DONE &&
                      written.find("% out of memory") == written.npos;
        }
        cli_shell_free(shell);
        cli_set_free(set);
        return is_done;
    });
    EXPECT_GT(failures, 30);
}

} // namespace
