// The same lines on the device by each of its ways in: varno-tty, varno-telnetd with a telnet
// client, varno-tty under an SSH server, and batches of it. What they show is the same but for
// prompts, echo and, in a batch, the place of an error.

#include "support/guest.h"
#include "support/shell_command.h"
#include "support/ssh_server.h"
#include "support/telnet_server.h"
#include "support/terminal.h"

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using varno_test::Guest;
using varno_test::Ran;
using varno_test::run;
using varno_test::SshServer;
using varno_test::TelnetServer;
using varno_test::Terminal;

// A batch each. The last line alone may be refused, for it ends one.
const std::vector<std::vector<std::string>> batches = {
    {
        "# a comment",
        "echo one  two",
        "echo \"a  b\" 'c|d' | include a",
        "echo \\\"a '\"' | json",
        "show numbers 30 | include 1 | exclude 2",
        "show numbers 12 | begin 10",
        "show numbers 3000 | count",
        "show numbers 3 | json",
        "show interfaces lo | include is",
        "show routes",
        "show routes | json",
        "terminal width 200",
        "alias hi echo good day",
        "hi",
        "show aliases",
        "no alias hi",
        "ping 127.0.0.1 count 2 | count",
        "show nmbers 3",
    },
    {
        "configure",
        "hostname r9",
        "vlan 7 name \"blue sky\"",
        "vlan 9",
        "username anna level 3",
        "ip route 10.0.0.0/8 10.1.1.1",
        "interface lo",
        "description it's \"ours\" | all",
        "ip address 127.0.0.2/8",
        "shutdown",
        "do show running-config",
        "do show running-config | json",
        "do show running-config interface lo | section inter",
        "no description",
        "no ip address",
        "no shutdown",
        "no hostname",
        "no vlan 7",
        "no vlan 9",
        "no username anna",
        "no ip route 10.0.0.0/8",
        "do show running-config",
        "ip route 10.0.0.0/33 10.1.1.1",
    },
    {"configure", "interface nowhere0"},
    {"configure", "vlan 5000"},
    {"configure", "no vlan 5"},
    {"configure", "interface lo", "description \"open"},
    {"configure", "hostname \"a b\""},
    {"echo \"abc"},
    {"terminal width 5"},
    {"show numbers 3 | include \"a(b\""},
    {"show numbers 3 | x"},
    {"show numbers 1 | count | count | count | count | count"},
    {"show"},
    {"s"},
    {"ping 127.0.0.1 size 28 size 29"},
};

constexpr int screen_columns = 200;

// The rows that a terminal shows after these bytes.
std::vector<std::string> rows_of(const std::string &bytes)
{
    Terminal terminal(1000, screen_columns);
    terminal.feed(bytes);
    std::istringstream text(terminal.text());
    std::vector<std::string> rows;
    for (std::string row; std::getline(text, row);)
        rows.push_back(row);
    return rows;
}

std::string all_lines()
{
    std::string all;
    for (const auto &lines : batches) {
        for (const std::string &line : lines)
            all += line + "\r";
        all += "\032"; // back to the first mode
    }
    return all + "echo that was all\r";
}

// What a session shows for all lines, without the rows that begin with a prompt.
std::vector<std::string> transcript_of(Guest &guest)
{
    EXPECT_TRUE(guest.shows_line("varno# |"));
    guest.type("terminal length 0\r" + all_lines());
    EXPECT_TRUE(guest.sends("\r\nthat was all\r\n"));
    static const std::regex prompt("(varno|r9)(\\([a-z-]+\\))?# ?.*");
    std::vector<std::string> rows;
    bool is_begun = false;
    for (const std::string &row : rows_of(guest.output())) {
        is_begun = is_begun || row.ends_with("# terminal length 0");
        if (is_begun && !std::regex_match(row, prompt))
            rows.push_back(row);
        if (row == "that was all")
            break; // the prompt after it may have come in part
    }
    EXPECT_GT(rows.size(), 150U);
    return rows;
}

// What batches show for them. An error's place is taken away.
std::string transcript_of_batches()
{
    const std::string path = testing::TempDir() + "varno-lines-" + std::to_string(getpid());
    std::string text;
    for (const auto &lines : batches) {
        std::ofstream file(path);
        for (const std::string &line : lines)
            file << line << "\n";
        file.close();
        std::string shown;
        for (const char c : run(VARNO_TTY_PROGRAM " --level 15 -f " + path + " 2>&1").text)
            shown += c == '\n' ? "\r\n" : std::string(1, c);
        for (const std::string &row : rows_of(shown))
            text += std::regex_replace(row, std::regex("^" + path + ":[0-9]+: "), "") + "\n";
    }
    unlink(path.c_str());
    return text + "that was all\n";
}

bool is_caret(const std::string &row)
{
    return row.ends_with("^") && row.find_first_not_of(' ') == row.size() - 1;
}

std::string joined(const std::vector<std::string> &rows)
{
    std::string all;
    for (const std::string &row : rows)
        all += row + "\n";
    return all;
}

// The same without the rows after each error that list what could have been typed: these begin
// with two blanks, as do a refused line and its caret.
std::string without_lists(const std::vector<std::string> &rows)
{
    std::string left;
    bool is_list = false;
    for (size_t i = 0; i < rows.size(); i++) {
        const bool is_refused_line = i + 1 < rows.size() && is_caret(rows[i + 1]);
        is_list = is_list && rows[i].starts_with("  ") && !is_refused_line;
        if (!is_list)
            left += rows[i] + "\n";
        is_list = is_list || rows[i].starts_with("% ");
    }
    return left;
}

class Transcripts : public testing::Test {
  protected:
    static std::vector<std::string> by_tty()
    {
        Guest guest(24, screen_columns, [] {
            execl(VARNO_TTY_PROGRAM, "varno-tty", "--level", "15", nullptr);
            return 127;
        });
        return transcript_of(guest);
    }
};

TEST_F(Transcripts, ABatchShowsWhatASessionShows)
{
    EXPECT_EQ(without_lists(by_tty()), transcript_of_batches());
}

TEST_F(Transcripts, ATelnetClientSeesWhatTheTerminalShows)
{
    const std::string secret = testing::TempDir() + "varno-secret-" + std::to_string(getpid());
    std::ofstream(secret) << varno_test::sesame_hash << "\n";
    chmod(secret.c_str(), 0600);
    const TelnetServer server({"--enable-secret-file", secret});
    unlink(secret.c_str());
    Guest guest(24, screen_columns, [&server] {
        execlp("telnet", "telnet", "--no-rc", "127.0.0.1", std::to_string(server.port()).c_str(),
               nullptr);
        return 127;
    });
    ASSERT_TRUE(guest.shows_line("varno> |"));
    guest.type("enable\rsesame\r");
    EXPECT_EQ(joined(transcript_of(guest)), joined(by_tty()));
}

TEST_F(Transcripts, AnSshClientSeesWhatTheTerminalShows)
{
    if (!SshServer::is_installed())
        GTEST_SKIP() << "there is no SSH server";
    SshServer server;
    server.start(VARNO_TTY_PROGRAM " --level 15");
    Guest guest(24, screen_columns, [&server] { return server.run_client("-tt", nullptr); });
    EXPECT_EQ(joined(transcript_of(guest)), joined(by_tty()));
}

} // namespace
