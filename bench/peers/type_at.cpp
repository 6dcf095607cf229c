// varno_type_at PROGRAM SCRIPT: types a key script at a program on a pseudo-terminal,
// one key after the other, each when the echo of the one before is complete. Prints, per
// key: the program's processor time in nanoseconds (user and system), the time from key
// to complete echo in nanoseconds, and the bytes of the echo.
//
// How many bytes the echo of each key has is learnt in passes before the measured ones:
// there, an echo ends when the program sleeps, has read all that was typed, and nothing it
// has written is unread. A clock alone would not do: on a busy machine a program may wait
// for a processor in the middle of an echo. A program that then writes another number of
// bytes stops the measurement.

#include "key_scripts.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

namespace varno_bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int patience_ms = 60000;
constexpr int terminal_ms = 5; // in which bytes are through the terminal
constexpr int most_lessons = 8;
constexpr int repeats = 5;
constexpr int passes_of_repeat = 10;

[[noreturn]] void give_up(const char *problem)
{
    std::fprintf(stderr, "varno_type_at: %s\n", problem);
    std::exit(1);
}

// The program, both ends of its terminal, and the lines that it writes to standard error.
struct Guest {
    pid_t pid;
    int terminal;
    int its_end;
    int lines;
};

Guest start(const char *program)
{
    int lines[2];
    if (pipe2(lines, O_CLOEXEC) != 0)
        give_up("pipe");
    winsize size = {};
    size.ws_row = 24;
    size.ws_col = 80;
    int terminal = -1;
    int its_end = -1;
    if (openpty(&terminal, &its_end, nullptr, nullptr, &size) != 0)
        give_up("openpty");
    const pid_t pid = fork();
    if (pid < 0)
        give_up("fork");
    if (pid == 0) {
        close(terminal);
        login_tty(its_end);
        dup2(lines[1], STDERR_FILENO);
        setenv("TERM", "vt100", 1);
        setenv("INPUTRC", "/dev/null", 1);
        setenv("EDITRC", "/dev/null", 1);
        setenv("LC_ALL", "C", 1);
        execl(program, program, nullptr);
        _exit(127);
    }
    close(lines[1]);
    return {pid, terminal, its_end, lines[0]};
}

void stop(const Guest &guest)
{
    kill(guest.pid, SIGKILL);
    waitpid(guest.pid, nullptr, 0);
    close(guest.terminal);
    close(guest.its_end);
    close(guest.lines);
}

void type(const Guest &guest, const std::string &key)
{
    if (write(guest.terminal, key.data(), key.size()) != static_cast<ssize_t>(key.size()))
        give_up("the terminal does not take a key");
}

// Returns how many bytes came; 0 when none came in time.
size_t read_some(int from, int wait_ms, std::string *out = nullptr)
{
    pollfd input = {from, POLLIN, 0};
    if (poll(&input, 1, wait_ms) <= 0)
        return 0;
    char bytes[4096];
    const ssize_t count = read(from, bytes, sizeof(bytes));
    if (count <= 0)
        give_up("the program has ended");
    if (out)
        out->append(bytes, static_cast<size_t>(count));
    return static_cast<size_t>(count);
}

// "S" in its line of /proc, which has the name in parentheses before it.
bool is_asleep(const Guest &guest)
{
    char path[64];
    std::snprintf(path, sizeof(path), "/proc/%d/stat", static_cast<int>(guest.pid));
    std::FILE *file = std::fopen(path, "r");
    char line[512] = {};
    if (!file || !std::fgets(line, sizeof(line), file))
        give_up("the program has ended");
    std::fclose(file);
    const char *state = std::strrchr(line, ')');
    return state && state[1] == ' ' && state[2] == 'S';
}

// All that was typed is read, and the program waits for more.
bool is_waiting(const Guest &guest)
{
    int unread = 0;
    if (ioctl(guest.its_end, FIONREAD, &unread) != 0)
        give_up("the terminal does not tell what is unread");
    return unread == 0 && is_asleep(guest);
}

size_t whole_echo(const Guest &guest)
{
    size_t total = 0;
    const Clock::time_point start = Clock::now();
    while (Clock::now() - start < std::chrono::milliseconds(patience_ms)) {
        const size_t count = read_some(guest.terminal, terminal_ms);
        if (count == 0 && is_waiting(guest))
            return total + read_some(guest.terminal, 0);
        total += count;
    }
    give_up("the program does not come to rest");
}

void await_echo(const Guest &guest, size_t bytes)
{
    for (size_t count, got = 0; got < bytes; got += count) {
        count = read_some(guest.terminal, patience_ms);
        if (count == 0 || got + count > bytes)
            give_up("an echo differs from pass to pass");
    }
}

void await_prompt(const Guest &guest)
{
    if (read_some(guest.terminal, patience_ms) == 0)
        give_up("the program shows no prompt");
    whole_echo(guest);
}

// Keys whose echo nobody measures. Its end is awaited once, after them all.
void type_ahead(const Guest &guest, const std::string &bytes)
{
    for (const std::string &key : keys_of(bytes)) {
        type(guest, key);
        if (key == "\r")
            whole_echo(guest);
    }
    whole_echo(guest);
}

using Echo = std::vector<size_t>; // bytes, of each key

Echo learn(const Guest &guest, const KeyScript &script)
{
    Echo echo;
    type_ahead(guest, script.before);
    for (const std::string &key : script.keys) {
        type(guest, key);
        echo.push_back(whole_echo(guest));
    }
    return echo;
}

// The first pass may differ: it begins elsewhere.
Echo learn_surely(const Guest &guest, const KeyScript &script)
{
    Echo before = learn(guest, script);
    for (int lesson = 1; lesson < most_lessons; lesson++) {
        Echo echo = learn(guest, script);
        if (echo == before)
            return echo;
        before = std::move(echo);
    }
    give_up("an echo differs from pass to pass");
}

double processor_seconds(const Guest &guest)
{
    clockid_t clock;
    timespec time;
    if (clock_getcpuclockid(guest.pid, &clock) != 0 || clock_gettime(clock, &time) != 0)
        give_up("the program's processor time cannot be read");
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

struct Cost {
    double processor; // seconds
    double wall;
};

Cost cost_of_pass(const Guest &guest, const KeyScript &script, const Echo &echo)
{
    type_ahead(guest, script.before);
    const double processor = processor_seconds(guest);
    const Clock::time_point start = Clock::now();
    for (size_t i = 0; i < script.keys.size(); i++) {
        type(guest, script.keys[i]);
        await_echo(guest, echo[i]);
    }
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    if (whole_echo(guest) > 0)
        give_up("an echo differs from pass to pass");
    return {processor_seconds(guest) - processor, wall};
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// The median of the repeats, per key.
Cost measure(const Guest &guest, const KeyScript &script, const Echo &echo)
{
    const auto keys = static_cast<double>(script.keys.size()) * passes_of_repeat;
    std::vector<double> processor;
    std::vector<double> wall;
    for (int repeat = 0; repeat < repeats; repeat++) {
        Cost total = {};
        for (int pass = 0; pass < passes_of_repeat; pass++) {
            const Cost cost = cost_of_pass(guest, script, echo);
            total = {total.processor + cost.processor, total.wall + cost.wall};
        }
        processor.push_back(total.processor / keys);
        wall.push_back(total.wall / keys);
    }
    return {median(processor), median(wall)};
}

void check_line(const Guest &guest, const KeyScript &script)
{
    while (read_some(guest.lines, 0) > 0) {
    }
    type_ahead(guest, enter_marked_line);
    std::string line;
    while (line.find('\n') == line.npos && read_some(guest.lines, patience_ms, &line) > 0) {
    }
    if (line != script.after + "\n")
        give_up("the line is not what was typed");
}

int run(const char *program, const char *name)
{
    for (const KeyScript &script : key_scripts()) {
        if (std::strcmp(script.name, name) != 0)
            continue;
        const Guest guest = start(program);
        await_prompt(guest);
        type_ahead(guest, script.set_up);
        const Echo echo = learn_surely(guest, script);
        const Cost cost = measure(guest, script, echo);
        check_line(guest, script);
        stop(guest);
        size_t bytes = 0;
        for (const size_t count : echo)
            bytes += count;
        std::printf("%.1f %.1f %.3f\n", cost.processor * 1e9, cost.wall * 1e9,
                    static_cast<double>(bytes) / static_cast<double>(echo.size()));
        return 0;
    }
    give_up("no such script");
}

} // namespace
} // namespace varno_bench

int main(int argc, char **argv)
{
    if (argc == 3)
        return varno_bench::run(argv[1], argv[2]);
    for (const varno_bench::KeyScript &script : varno_bench::key_scripts())
        std::printf("%s\n", script.name);
}
