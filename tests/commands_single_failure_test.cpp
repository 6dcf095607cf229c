// Failure of a single allocation, those before and after it succeeding, while a set of commands
// is built, described and taken apart, and while lines run: filters, tables, JSON, files,
// configuration, modes. What fails says so, nothing is half done, and all works afterwards.

#include "support/failing_allocator.h"

#include <varno/commands.h>
#include <varno/platform_default.h>

#include <cinttypes>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::fail_request;
using varno_test::stop_failing;

// A device

int32_t show_links(cli_call_s *call, void *)
{
    static const cli_column_s columns[] = {{"name", 8, 0}, {"mtu", 5, CLI_NUMBER}};
    cli_columns(call, columns, 2);
    for (const char *name : {"eth0", "eth1", "lo"}) {
        cli_cell(call, "%s", name);
        cli_cell(call, "%d", 1500);
    }
    return CLI_DONE;
}

int32_t count_up(cli_call_s *call, void *)
{
    auto *shown = static_cast<int64_t *>(cli_state(call, sizeof(int64_t), nullptr));
    if (!shown) {
        cli_fail(call, "out of memory");
        return CLI_FAILED;
    }
    if (cli_is_cancelled(call))
        return CLI_FAILED;
    cli_print(call, "row %" PRId64 "\n", ++*shown);
    return *shown < cli_number(call, "COUNT") ? CLI_MORE : CLI_DONE;
}

int32_t tell(cli_call_s *call, void *)
{
    cli_print(call, "%s\n", cli_line(call));
    return CLI_DONE;
}

int32_t write_links(cli_call_s *call, void *)
{
    for (const char *name : {"eth0", "lo"}) {
        cli_config(call, "interface %s", name);
        cli_config(call, " description %-s", "as it is");
    }
    return CLI_DONE;
}

void list_links(void *, cli_shell_s *, const char *, cli_assist_value_fn value, void *ctx)
{
    for (const char *name : {"eth0", "eth1", "lo"})
        value(ctx, name, "of this machine");
}

const cli_type_s link_type = {"link", "a link", nullptr, list_links, nullptr};

const cli_mode_s modes[] = {
    {"exec", nullptr, "> ", 0, nullptr, nullptr},
    {"configure", "exec", "%h(config)# ", CLI_DO, nullptr, nullptr},
    {"interface", "configure", "%h(%NAME)# ", CLI_DO | CLI_INHERITS, write_links, nullptr},
};

// clang-format off
const cli_command_s exec_rows[] = {
    {"show links",                            "a table",        show_links, nullptr, 0, 0, nullptr},
    {"show numbers COUNT(1-9)",               "rows",           count_up,   nullptr, 0, 0, nullptr},
    {"show running-config [SECTION]",         "configuration",  cli_show_config, nullptr, 0, 0, nullptr},
    {"ping HOST [{count N(1-9)|size B(28-65507)|quiet}]", "ask", tell,      nullptr, 0, 0, nullptr},
    {"say TEXT(line)",                        "the rest",       tell,       nullptr, 0, 0, nullptr},
    {"configure",                             "change it",      nullptr, "configure", 0, 0, nullptr},
};
const cli_command_s configure_rows[] = {
    {"[no|default] vlan VLAN(1-4094) ![NAME]", "a VLAN",        tell,       nullptr, 0, 0, nullptr},
    {"interface NAME(link)",                  "settings",       nullptr, "interface", 0, 0, nullptr},
};
const cli_command_s interface_rows[] = {
    {"description TEXT(line)",                "what it is for", tell,       nullptr, 0, 0, nullptr},
};
const cli_command_s plugin_rows[] = {
    {"plug in",                               "plugged in",     tell,       nullptr, 0, 0, nullptr},
    {"plug {a|b}",                            "plugged in",     tell,       nullptr, 0, 0, nullptr},
};
// clang-format on

struct Disk {
    std::string written;
    int begun = 0, whole = 0, given_up = 0;
};

const auto begin_file = [](cli_shell_s *, void *user, const char *, int32_t,
                           const char **) -> void * {
    auto *disk = static_cast<Disk *>(user);
    disk->written.clear();
    disk->begun++;
    return disk;
};

class Device {
  public:
    explicit Device(bool has_session)
    {
        cli_set_add_type(set_, nullptr, &link_type);
        for (const cli_mode_s &mode : modes)
            cli_set_add_mode(set_, nullptr, &mode);
        cli_set_add(set_, nullptr, "exec", exec_rows, std::size(exec_rows));
        cli_set_add(set_, nullptr, "configure", configure_rows, std::size(configure_rows));
        cli_set_add(set_, nullptr, "interface", interface_rows, std::size(interface_rows));
        EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
        shell_ = make_shell(has_session);
        if (has_session)
            tsession_start(cli_shell_session(shell_));
    }

    ~Device()
    {
        cli_shell_free(shell_);
        cli_set_free(set_);
        EXPECT_EQ(disk_.begun, disk_.whole + disk_.given_up);
        EXPECT_EQ(tracked_outstanding(nullptr), before_);
    }

    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    cli_shell_s *make_shell(bool has_session)
    {
        tsession_config_s terminal = TSESSION_CONFIG_INIT;
        terminal.is_unpaged = 1;
        terminal.user = this;
        terminal.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
            static_cast<Device *>(user)->written_.append(bytes, count);
        };
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.session = has_session ? &terminal : nullptr;
        config.user = this;
        config.output = [](void *user, const char *bytes, size_t count) {
            static_cast<Device *>(user)->written_.append(bytes, count);
        };
        config.save = &save_;
        return cli_shell_create(&config);
    }

    // What the shell writes, its prompts, and what is in the file then.
    std::string run(const std::string &line)
    {
        written_.clear();
        tsession_s *session = cli_shell_session(shell_);
        if (!session)
            cli_shell_run(shell_, line.c_str());
        else
            tsession_input(session, (line + "\r").c_str(), line.size() + 1);
        while (session && tsession_wait(session) == 0)
            tsession_time_out(session);
        return written_ + (disk_.whole > 0 ? "file: " + disk_.written : "");
    }

    std::string mode() const { return cli_shell_mode(shell_); }
    cli_set_s *set() const { return set_; }
    cli_shell_s *shell() const { return shell_; }

  private:
    const size_t before_ = tracked_outstanding(nullptr);
    Disk disk_;
    const cli_save_s save_ = {
        &disk_, begin_file,
        [](void *file, const char *bytes, size_t count, const char **) -> int32_t {
            static_cast<Disk *>(file)->written.append(bytes, count);
            return 0;
        },
        [](void *file, int32_t is_whole, const char **) -> int32_t {
            auto *disk = static_cast<Disk *>(file);
            (is_whole ? disk->whole : disk->given_up)++;
            return 0;
        }};
    cli_set_s *set_ = cli_set_create();
    cli_shell_s *shell_ = nullptr;
    std::string written_;
};

// Calls act(n), which makes its n-th allocation fail and says whether it came to that, from the
// first allocation on until there are no more. Returns how many there were.
int fail_one_at_a_time(const std::function<bool(int n)> &act)
{
    constexpr int most = 2000;
    for (int n = 1; n <= most && !testing::Test::HasFailure(); n++) {
        SCOPED_TRACE("allocation " + std::to_string(n) + " fails");
        if (!act(n))
            return n - 1;
    }
    EXPECT_TRUE(testing::Test::HasFailure()) << "still failing after " << most << " allocations";
    return most;
}

// Lines

struct Line {
    std::vector<const char *> way; // the lines before it
    const char *line;
};

const Line lines[] = {
    {{}, "show links"},
    {{}, "show links | json"},
    {{}, "show links | include eth | count"},
    {{}, "show links | exclude lo | json | save links force"},
    {{}, "show numbers 9"},
    {{}, "show numbers 9 | begin 5 | exclude 7 | json"},
    {{}, "show numbers 9 | section 3 | count | save rows"},
    {{}, "show running-config"},
    {{}, "show running-config interface | json"},
    {{}, "ping host size 99 quiet count 3"},
    {{}, "ping host size 99 size"},
    {{}, "say it's \"as it is\""},
    {{}, "configure"},
    {{"configure"}, "default vlan 7"},
    {{"configure"}, "interface eth0"},
    {{"configure", "interface eth0"}, "description | none"},
    {{"configure", "interface eth0"}, "interface lo"},
    {{"configure", "interface eth0"}, "vlan 9 nine"},
    {{"configure", "interface eth0"}, "do show links | count"},
    {{"configure", "interface eth0"}, "end"},
};

// What a line does on a device that has come to it.
struct Outcome {
    std::string written;
    std::string mode;

    bool operator==(const Outcome &) const = default;
};

Outcome outcome_of(Device &device, const Line &line)
{
    for (const char *before : line.way)
        device.run(before);
    const std::string written = device.run(line.line);
    return {written, device.mode()};
}

// A refused line is refused at least; the words that may stand there can be missing.
std::string refusal_of(const std::string &written)
{
    const size_t at = written.find("\n% ");
    return at == written.npos ? written : written.substr(0, written.find('\n', at + 1));
}

TEST(CommandsSingleFailure, OfALineIsToldAndTheNextOneWorks)
{
    for (const bool has_session : {false, true}) {
        for (const Line &line : lines) {
            SCOPED_TRACE(line.line + std::string(has_session ? " in a session" : " in a batch"));
            Outcome usual;
            {
                Device device(has_session);
                usual = outcome_of(device, line);
            }
            const int failures = fail_one_at_a_time([&](int n) {
                Device device(has_session);
                for (const char *before : line.way)
                    device.run(before);
                const std::string mode = device.mode();
                fail_request(n);
                const Outcome outcome = {device.run(line.line), device.mode()};
                const bool has_failed = stop_failing();
                const bool is_told = outcome.written.find("memory") != std::string::npos ||
                                     refusal_of(outcome.written) == refusal_of(usual.written);
                EXPECT_TRUE(outcome == usual || (has_failed && is_told))
                    << outcome.written << " in " << outcome.mode;
                if (outcome.mode == mode) {
                    EXPECT_EQ(device.run(line.line).find("memory"), std::string::npos);
                }
                return has_failed;
            });
            EXPECT_GT(failures, 2);
        }
    }
}

// Sets and shells

// A call that does all, or answers -1 and leaves nothing of it.
struct Call {
    bool is_done;
    bool has_failed; // an allocation

    Call(int n, const std::function<int32_t()> &call)
    {
        const size_t before = tracked_outstanding(nullptr);
        fail_request(n);
        const int32_t result = call();
        has_failed = stop_failing();
        is_done = result == 0;
        EXPECT_TRUE(is_done || (has_failed && result == -1)) << result;
        if (!is_done) {
            EXPECT_EQ(tracked_outstanding(nullptr), before);
        }
    }
};

TEST(CommandsSingleFailure, OfAnAdditionABuildOrARemovalLeavesTheSetAsItWas)
{
    int released = 0;
    const auto note_released = [](void *ctx) { ++*static_cast<int *>(ctx); };
    for (const bool has_session : {false, true}) {
        enum { addition, build, removal };
        int failures[3] = {};
        for (const int what : {addition, build, removal}) {
            SCOPED_TRACE(what);
            failures[what] = fail_one_at_a_time([&](int n) {
                Device device(has_session);
                cli_set_s *set = device.set();
                const std::function<int32_t()> calls[] = {
                    [&] { return cli_set_add(set, &released, "exec", plugin_rows, 2); },
                    [&] { return cli_set_build(set, nullptr, nullptr); },
                    [&] { return cli_set_remove(set, &released, note_released, &released); },
                };
                bool has_failed = false;
                for (const int at : {addition, build, removal}) {
                    released = 0;
                    if (at != what) {
                        EXPECT_EQ(calls[at](), 0);
                        continue;
                    }
                    const Call call(n, calls[at]);
                    has_failed = call.has_failed;
                    EXPECT_EQ(released, at == removal && call.is_done ? 1 : 0);
                    const bool is_known = at == (call.is_done ? build : removal);
                    EXPECT_EQ(device.run("plug in").find("% unknown") == std::string::npos,
                              is_known);
                    if (!call.is_done) {
                        EXPECT_EQ(calls[at](), 0) << "works once there is memory";
                    }
                }
                EXPECT_EQ(released, 1);
                EXPECT_NE(device.run("show links").find("eth1"), std::string::npos);
                return has_failed;
            });
        }
        EXPECT_GE(failures[addition], 1);
        EXPECT_GT(failures[build], 30);
        EXPECT_GT(failures[removal], 30);
    }
}

TEST(CommandsSingleFailure, OfAShellIsNoneOrOneThatWorks)
{
    for (const bool has_session : {false, true}) {
        const int failures = fail_one_at_a_time([&](int n) {
            Device device(false);
            const size_t before = tracked_outstanding(nullptr);
            fail_request(n);
            cli_shell_s *shell = device.make_shell(has_session);
            const bool has_failed = stop_failing();
            EXPECT_TRUE(shell || has_failed);
            EXPECT_TRUE(!shell || cli_shell_run(shell, "show links") == CLI_DONE);
            cli_shell_free(shell);
            EXPECT_EQ(tracked_outstanding(nullptr), before);
            return has_failed;
        });
        EXPECT_GE(failures, has_session ? 10 : 1);
    }
}

TEST(CommandsSingleFailure, OfADescriptionTellsNothing)
{
    const auto note_text = [](void *ctx, const char *bytes, size_t count) {
        static_cast<std::string *>(ctx)->append(bytes, count);
    };
    for (const char *format : {"markdown", "man", "json", "walk"}) {
        SCOPED_TRACE(format);
        const Device device(false);
        std::string whole;
        EXPECT_EQ(cli_set_describe(device.set(), 15, format, 7, note_text, &whole), 0);
        const int failures = fail_one_at_a_time([&](int n) {
            std::string told;
            const Call call(
                n, [&] { return cli_set_describe(device.set(), 15, format, 7, note_text, &told); });
            EXPECT_EQ(told, call.is_done ? whole : "");
            return call.has_failed;
        });
        EXPECT_GT(failures, 3);
    }
}

TEST(CommandsSingleFailure, OfACheckIsItsReason)
{
    for (const char *line : {"interface eth0", "vlan 7", "say it's"}) {
        const int failures = fail_one_at_a_time([&](int n) {
            Device device(false);
            device.run("configure");
            cli_assist_error_s usual, error;
            cli_shell_check(device.shell(), line, &usual);
            cli_shell_check(device.shell(), nullptr, nullptr);
            fail_request(n);
            cli_shell_check(device.shell(), line, &error);
            const bool has_failed = stop_failing();
            EXPECT_TRUE(error.reason == usual.reason ||
                        (has_failed && error.reason == CLI_ASSIST_NO_MEMORY))
                << error.reason;
            EXPECT_EQ(device.mode(), "configure");
            return has_failed;
        });
        EXPECT_GT(failures, 2) << line;
    }
}

} // namespace
