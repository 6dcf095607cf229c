// What a session leaves alone and leaves behind: it makes no system call but for
// memory, does not touch the host's terminal entry, and takes every byte with it.

#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <atomic>
#include <csignal>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <term.h> // last: it defines capability names as macros

namespace {

using namespace std::string_view_literals;

constexpr const char *terminals[] = {"xterm",  "vt100", "linux", "rxvt-unicode-256color",
                                     "screen", "ansi",  "dumb",  "no such terminal"};

// A session of every kind of input and output.
void use_session(int transport, const char *terminal, tsession_shared_s *shared)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = transport;
    config.terminal_type = terminal;
    config.shared = shared;
    config.output = [](tsession_s *, void *, const char *, size_t) {};
    config.line = [](tsession_s *s, void *, const char *line, const cli_pnode_s *, cli_pmatch_s *) {
        tsession_print(s, "%s\n", line);
    };
    tsession_s *s = tsession_create(&config);
    tsession_start(s);
    constexpr std::string_view inputs[] = {
        "\xff\xfb\x1f\xff\xfb\x18\xff\xfa\x1f\0\x50\0\x18\xff\xf0"sv, // telnet: size
        "\xff\xfa\x18\0xterm-256color\xff\xf0"sv,                     // and terminal
        "show version\r"sv,
        "\x1b[A\x1b[1;5D\x1b[3~\x17\x1bOH\x1b[99~\r"sv,
        "\x1b[200~pasted\x1b[201~\x1b"sv,
    };
    for (const std::string_view input : inputs)
        tsession_input(s, input.data(), input.size());
    tsession_time_out(s);
    tsession_set_terminal(s, "putty");
    tsession_resize(s, 40, 10);
    tsession_write(s, "news\n", 5);
    tsession_close(s);
    tsession_free(s);
}

void use_sessions(tsession_shared_s *shared)
{
    for (const int transport : {TSESSION_PLAIN, TSESSION_TELNET}) {
        for (const char *terminal : terminals)
            use_session(transport, terminal, shared);
    }
}

// From now on this thread is killed by any system call that is not for memory, for
// From now on this thread is killed by any system call that is not for memory, for
// locks or to end the process. Returns false where the kernel has no such filters.
bool allow_only_memory()
{
    constexpr unsigned allowed[] = {
        __NR_brk,         __NR_mmap,   __NR_munmap,     __NR_mremap,         __NR_madvise,
        __NR_futex,       __NR_exit,   __NR_exit_group, __NR_mprotect,       __NR_sched_yield,
        __NR_sigaltstack, __NR_gettid, __NR_getpid,     __NR_rt_sigprocmask, __NR_rt_sigreturn,
#ifdef __NR_mmap2
        __NR_mmap2,
#endif
    };
    sock_filter rules[2 * std::size(allowed) + 2];
    sock_filter *next = rules;
    *next++ = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
    for (const unsigned call : allowed) {
        *next++ = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1);
        *next++ = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    }
    *next++ = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
    const sock_fprog program = {static_cast<unsigned short>(std::size(rules)), rules};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

constexpr int has_no_filters = 77;

// Whether the act, in a process of its own, came to its end without another call.
template <typename Act>
auto with_only_memory(Act act)
{
    return [act] {
        if (!allow_only_memory())
            _exit(has_no_filters);
        act();
        _exit(0);
    };
}

bool has_filters(int status)
{
    return !WIFEXITED(status) || WEXITSTATUS(status) != has_no_filters;
}

bool has_ended_well(int status)
{
    return !has_filters(status) || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

bool was_killed(int status)
{
    return !has_filters(status) || (WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS);
}

TEST(SessionFootprint, NoFileIsOpenedAndNoDescriptorIsAskedAbout)
{
    EXPECT_EXIT(with_only_memory([] { open("/dev/null", O_RDONLY); })(), was_killed, "");
    EXPECT_EXIT(with_only_memory([] { isatty(1); })(), was_killed, "");
    EXPECT_EXIT(with_only_memory([] { use_sessions(nullptr); })(), has_ended_well, "");
    EXPECT_EXIT(with_only_memory([] {
                    tsession_shared_s *shared = tsession_shared_create();
                    use_sessions(shared);
                    tsession_shared_free(shared);
                })(),
                has_ended_well, "");
}

std::string looked_up(const char *capability)
{
    const char *text = tigetstr(const_cast<char *>(capability));
    return text && text != reinterpret_cast<char *>(-1) ? text : "";
}

// The terminal entry belongs to the whole process: whoever changes it, even for a
// moment, changes it for the host's other threads.
TEST(SessionFootprint, TheHostsTerminalEntryStaysInForce)
{
    int found = 0;
    ASSERT_EQ(setupterm("linux", STDOUT_FILENO, &found), 0);
    const TERMINAL *entry = cur_term;
    std::atomic<bool> is_over = false;
    std::atomic<int> right = 0;
    std::atomic<int> wrong = 0;
    std::thread host([&] {
        while (!is_over)
            (looked_up("kf1") == "\x1b[[A" ? right : wrong)++;
    });
    for (int n = 0; n < 20 || right + wrong < 1000; n++)
        use_sessions(nullptr);
    is_over = true;
    host.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(right, 0);
    EXPECT_EQ(cur_term, entry);
    EXPECT_EQ(looked_up("kf1"), "\x1b[[A");
    del_curterm(cur_term);
}

TEST(SessionFootprint, AThousandSessionsLeaveNothing)
{
    const size_t before = tracked_outstanding(nullptr);
    for (int n = 0; n < 1000; n++)
        use_session(n % 2, terminals[static_cast<size_t>(n) % std::size(terminals)], nullptr);
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

TEST(SessionFootprint, AThousandSessionsLeaveNothingWithWhatTheyShared)
{
    const size_t before = tracked_outstanding(nullptr);
    tsession_shared_s *shared = tsession_shared_create();
    use_session(TSESSION_TELNET, "xterm", shared);
    const size_t after_one = tracked_outstanding(nullptr);
    for (int n = 0; n < 1000; n++)
        use_session(n % 2, terminals[static_cast<size_t>(n) % std::size(terminals)], shared);
    EXPECT_EQ(tracked_outstanding(nullptr), after_one);
    tsession_shared_free(shared);
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

// On the thread that made it or on another, as often as a host likes.
TEST(SessionFootprint, WhatSessionsSharedGoesWithTheLast)
{
    const size_t before = tracked_outstanding(nullptr);
    for (int n = 0; n < 10; n++) {
        std::thread([] {
            tsession_shared_s *shared = tsession_shared_create();
            use_session(TSESSION_PLAIN, "xterm", shared);
            tsession_shared_free(shared);
        }).join();
    }
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

} // namespace
