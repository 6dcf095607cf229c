// The files that varno-tty writes: what "| save" is given, and its configuration.

#include "support/guest.h"
#include "support/shell_command.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using varno_test::Guest;
using varno_test::Ran;
using varno_test::run;

const std::string program = VARNO_TTY_PROGRAM;

// A directory with nothing in it.
class TtyFiles : public testing::Test {
  protected:
    void SetUp() override
    {
        std::string name = testing::TempDir() + "varno-files-XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
    }

    void TearDown() override { std::filesystem::remove_all(folder); }

    // What a batch prints, errors included.
    Ran batch(const std::string &commands, const std::string &before = "") const
    {
        return run(before + program + " --save-directory " + folder + " -c '" + commands +
                   "' 2>&1 </dev/null");
    }

    std::set<std::string> names() const
    {
        std::set<std::string> all;
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            all.insert(entry.path().filename());
        return all;
    }

    std::string content(const std::string &name) const
    {
        std::stringstream text;
        text << std::ifstream(folder + "/" + name).rdbuf();
        return text.str();
    }

    std::string folder;
};

using Names = std::set<std::string>;

// "| save"

TEST_F(TtyFiles, RowsThatPassAreSavedForTheirOwnerAlone)
{
    EXPECT_EQ(batch("show numbers 30 | include 2 | save twos; echo x | json | save \"a b\"").text,
              "");
    EXPECT_EQ(content("twos"), "2\n12\n20\n21\n22\n23\n24\n25\n26\n27\n28\n29\n");
    EXPECT_EQ(content("a b"), "[\n  \"x\"\n]\n");
    EXPECT_EQ(names(), (Names{"twos", "a b"}));
    struct stat status = {};
    ASSERT_EQ(stat((folder + "/twos").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | S_IRUSR | S_IWUSR);
}

TEST_F(TtyFiles, AFileIsWrittenOverOnlyWhereThatIsAskedFor)
{
    EXPECT_EQ(batch("echo old | save it").status, 0);
    EXPECT_EQ(batch("echo new | save it").text,
              "  echo new | save it\n                  ^\n"
              "command:1: % NAME: there is one; \"force\" writes over it\n");
    EXPECT_EQ(content("it"), "old\n");
    EXPECT_EQ(batch("echo new | save it force").status, 0);
    EXPECT_EQ(content("it"), "new\n");
}

struct Refusal {
    const char *name;
    const char *why;
};

TEST_F(TtyFiles, OnlyFilesOfTheDirectoryAreWritten)
{
    std::ofstream(folder + "/target") << "untouched\n";
    ASSERT_EQ(symlink("target", (folder + "/link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", (folder + "/dangling").c_str()), 0);
    ASSERT_EQ(mkdir((folder + "/folder").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
    const Names before = names();
    const std::string too_long(300, 'x');
    const char *const no_name = "a name without \"/\", which does not begin with \".\"";
    const char *const no_file = "what has this name is no file";
    const Refusal refusals[] = {
        {"../x", no_name},
        {"folder/x", no_name},
        {"/tmp/x", no_name},
        {".hidden", no_name},
        {"..", no_name},
        {"\"\"", no_name},
        {"\"a\tb\"", no_name},
        {"link", no_file},
        {"link force", no_file},
        {"dangling", no_file},
        {"dangling force", no_file},
        {"folder force", no_file},
        {"pipe force", no_file},
        {too_long.c_str(), "File name too long"},
    };
    for (const Refusal &row : refusals) {
        const Ran ran = batch("echo x | save " + std::string(row.name));
        EXPECT_EQ(ran.status, 1) << row.name;
        EXPECT_NE(ran.text.find("\ncommand:1: % NAME: " + std::string(row.why) + "\n"),
                  ran.text.npos)
            << ran.text;
    }
    EXPECT_EQ(names(), before);
    EXPECT_EQ(content("target"), "untouched\n");
}

TEST_F(TtyFiles, WhatIsNotWholeIsNotKept)
{
    const std::string limited = "ulimit -f 8; "; // blocks of 512 or 1024 bytes
    const std::string told = "command:2: % not all could be saved: File too large\n";
    EXPECT_EQ(batch("echo old | save it").status, 0);
    for (const char *line : {"echo a | save small; show numbers 20000 | save big",
                             "echo a | save small force; show numbers 20000 | save it force"}) {
        const Ran ran = batch(line, limited);
        EXPECT_EQ(ran.text, told) << line;
        EXPECT_EQ(ran.status, 1) << line;
    }
    EXPECT_EQ(batch("ping nothing.invalid count 1 | save it force").status, 1);
    EXPECT_EQ(names(), (Names{"it", "small"}));
    EXPECT_EQ(content("it"), "old\n");
}

TEST_F(TtyFiles, AFileThatSomebodyMakesMeanwhileIsNotWrittenOver)
{
    const Ran ran = run("cd " + folder +
                        " && (until ls -A | grep -q varno; do sleep 0.01; done; "
                        "echo theirs >it) & " +
                        program + " --save-directory " + folder +
                        " -c 'ping 127.0.0.1 count 2 | save it' 2>&1 </dev/null");
    EXPECT_EQ(ran.text, "command:1: % not all could be saved: File exists\n");
    EXPECT_EQ(content("it"), "theirs\n");
    EXPECT_EQ(names(), Names{"it"});
}

TEST_F(TtyFiles, ADirectoryThatGoesIsTold)
{
    const Ran ran = run("cd " + folder +
                        " && mkdir saved && (echo 'echo a | save a'; "
                        "until [ -e saved/a ]; do sleep 0.01; done; rm -r saved; "
                        "echo 'echo b | save b') | " +
                        program + " --save-directory saved -f /dev/stdin 2>&1");
    EXPECT_EQ(ran.text, "  echo b | save b\n                ^\n"
                        "/dev/stdin:2: % NAME: the directory for files is gone\n");
    EXPECT_EQ(run(program + " --save-directory " + folder + "/none -c '' 2>&1").text,
              folder + "/none: No such file or directory\n");
}

TEST_F(TtyFiles, WithoutADirectoryThereIsNoSuchFilter)
{
    EXPECT_EQ(run(program + " -c 'echo x | save x' 2>&1").text,
              "  echo x | save x\n           ^\ncommand:1: % unknown word\n");
}

TEST_F(TtyFiles, ASessionSavesAsABatchDoesAndCtrlCLeavesNothing)
{
    Guest guest(24, 80, [this] {
        execl(VARNO_TTY_PROGRAM, "varno-tty", "--save-directory", folder.c_str(), nullptr);
        return 127;
    });
    ASSERT_TRUE(guest.shows_line("varno> |"));
    guest.type("echo x | sa?");
    EXPECT_TRUE(guest.shows("\n  save              into a file\n"));
    guest.type("\tit\r");
    EXPECT_TRUE(guest.shows_line("varno> |"));
    EXPECT_EQ(content("it"), "x\n");
    guest.type("show numbers 1000000 | save it force\r");
    EXPECT_TRUE(guest.sends("force\r\n"));
    guest.type("\003echo here\r");
    EXPECT_TRUE(guest.shows("\nhere\n"));
    EXPECT_EQ(names(), (Names{"it"}));
    EXPECT_EQ(content("it"), "x\n");
}

// The n-th call on files of a batch fails so.
std::string failing(int call, const std::string &how)
{
    return "LD_PRELOAD=" VARNO_FAILING_FILES " VARNO_FAILING_CALL=" + std::to_string(call) +
           " VARNO_FAILING_HOW=" + how + " ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 ";
}

TEST_F(TtyFiles, EachCallThatFailsWhileRowsAreSavedIsTold)
{
    // In their order, after the one that opens the directory.
    const char *const calls[] = {"openat", "write",     "write", "fsync",
                                 "close",  "renameat2", "fsync"};
    int call = 1;
    for (const char *name : calls) {
        call++;
        const Ran ran = batch("echo x | save it force", failing(call, std::to_string(ENOSPC)));
        EXPECT_TRUE(ran.text.starts_with("[" + std::string(name) + "]\n")) << ran.text;
        EXPECT_NE(ran.text.find(": No space left on device\n"), ran.text.npos) << ran.text;
        EXPECT_EQ(names(), call == 8 ? Names{"it"} : Names{}) << call;
    }
}

TEST_F(TtyFiles, AFileSystemThatEitherDoesNotLinkOrCannotRefuseToReplaceWillDo)
{
    for (const int error : {EINVAL, ENOSYS}) {
        const std::string name = "it" + std::to_string(error);
        EXPECT_EQ(batch("echo x | save " + name, failing(7, std::to_string(error))).text,
                  "[renameat2]\n");
        EXPECT_EQ(content(name), "x\n");
    }
    EXPECT_EQ(names().size(), 2U);
}

TEST_F(TtyFiles, WhatAKilledProcessHasLeftIsRemovedByTheNext)
{
    for (const char *name : {".varno-1-2", ".varno-x-1", ".varno-notes", ".varno-1-", "mine"})
        std::ofstream(folder + "/" + name) << "text\n";
    ASSERT_EQ(mkdir((folder + "/.varno-3-4").c_str(), 0700), 0);
    EXPECT_EQ(batch("echo x | save it", failing(4, "exit")).status, 99);
    Names left = {".varno-3-4", ".varno-x-1", ".varno-notes", ".varno-1-", "mine"};
    EXPECT_EQ(names().size(), left.size() + 1);
    EXPECT_EQ(batch("").status, 0);
    EXPECT_EQ(names(), left);
    // One that is being written is left alone.
    const Ran ran =
        run("cd " + folder + " && (until ls -A | grep -q 'varno-[0-9]*-0'; do sleep 0.01; done; " +
            program + " --save-directory . -c '') & " + program + " --save-directory " + folder +
            " -c 'ping 127.0.0.1 count 2 | count | save it' 2>&1 </dev/null; wait");
    EXPECT_EQ(ran.text, "");
    left.insert("it");
    EXPECT_EQ(names(), left);
}

// The configuration

const std::string old_text = "hostname old\n";
const std::string new_text = "hostname new\nvlan 7 name \"blue sky\"\n";

class TtySaving : public TtyFiles {
  protected:
    void SetUp() override
    {
        TtyFiles::SetUp();
        std::ofstream(folder + "/device") << old_text;
    }

    // As failing has it, once the configuration is saved.
    Ran save(int call, const std::string &how) const
    {
        return run(
            failing(call, how) + program + " --level 15 --config " + folder +
            "/device -c 'configure; hostname new; vlan 7 name \"blue sky\"; do write memory' "
            "2>&1 </dev/null");
    }
};

TEST_F(TtySaving, EachCallThatFailsIsToldAndTheFileIsTheOldOneOrTheNew)
{
    // clang-format off
    struct {
        const char *call; // in their order
        bool is_new;
    } constexpr rows[] = {
        {"open",     false}, // the directory
        {"openat",   false}, // a file in it
        {"write",    false},
        {"fsync",    false},
        {"close",    false},
        {"renameat2", false},
        {"fsync",    true},  // the directory
    };
    // clang-format on
    for (const auto &[how, why] :
         {std::pair(EIO, "Input/output error"), std::pair(ENOSPC, "No space left on device")}) {
        int call = 0;
        for (const auto &row : rows) {
            std::ofstream(folder + "/device") << old_text;
            const Ran ran = save(++call, std::to_string(how));
            EXPECT_EQ(ran.text,
                      "[" + std::string(row.call) + "]\ncommand:4: % Saving failed: " + why + "\n");
            EXPECT_EQ(ran.status, 1);
            EXPECT_EQ(content("device"), row.is_new ? new_text : old_text) << row.call;
            EXPECT_EQ(names(), Names{"device"}) << row.call;
        }
        // To close the directory is no more than tidy.
        EXPECT_EQ(save(++call, std::to_string(how)).text, "[close]\n");
        EXPECT_EQ(save(++call, std::to_string(how)).text, "");
        EXPECT_EQ(content("device"), new_text);
    }
}

TEST_F(TtySaving, ADiskThatIsFullInTheMiddleIsTold)
{
    EXPECT_EQ(save(3, "short").text,
              "[write]\ncommand:4: % Saving failed: No space left on device\n");
    EXPECT_EQ(content("device"), old_text);
    EXPECT_EQ(names(), Names{"device"});
    EXPECT_EQ(save(3, std::to_string(EINTR)).text, "[write]\n"); // a signal came: it goes on
    EXPECT_EQ(content("device"), new_text);
}

TEST_F(TtySaving, ACrashAtAnyCallLeavesTheOldFileOrTheNew)
{
    int crashes = 0;
    for (int status = 99; status == 99; crashes++) {
        std::ofstream(folder + "/device") << old_text;
        status = save(crashes + 1, "exit").status;
        const bool is_renamed = crashes >= 6;
        EXPECT_EQ(content("device"), is_renamed ? new_text : old_text) << crashes;
    }
    EXPECT_EQ(crashes, 9); // eight, and one that is not reached
    EXPECT_EQ(save(0, "").text, "");
    EXPECT_EQ(content("device"), new_text);
    EXPECT_EQ(names(), Names{"device"}); // what they had left is gone
}

// A file may hold any command after "do"; before there are sessions none can be waited for.
TEST_F(TtySaving, NoCommandOfTheFileIsWaitedFor)
{
    std::ofstream(folder + "/device") << "hostname r1\ndo ping 127.0.0.1\n";
    for (const std::string host : {VARNO_TTY_PROGRAM " -c 'show version'", VARNO_TELNETD_PROGRAM})
        EXPECT_TRUE(run(host + " --config " + folder + "/device 2>&1")
                        .text.ends_with(": " + folder + "/device:2: Nothing can be waited for\n"));
}

TEST_F(TtySaving, ALinkIsFollowedToTheFile)
{
    ASSERT_EQ(mkdir((folder + "/real").c_str(), 0700), 0);
    std::filesystem::rename(folder + "/device", folder + "/real/device");
    ASSERT_EQ(symlink("real/device", (folder + "/device").c_str()), 0);
    EXPECT_EQ(save(0, "").text, "");
    EXPECT_TRUE(std::filesystem::is_symlink(folder + "/device"));
    EXPECT_EQ(content("real/device"), new_text);
}

} // namespace
