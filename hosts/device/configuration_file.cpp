// The file of the configuration. It is read before there are sessions, and written on a
// thread of its own: a disk takes its time, and the threads of sessions have others to serve.

#include "configuration.h"

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include "commands.h"
#include "new_file.h"

namespace device {
namespace {

constexpr size_t most_problems = 10; // of a file that are told
constexpr size_t most_savings = 16;  // that wait

// A batch that may do everything, in the mode that configures; what it writes is gathered.
class Batch {
  public:
    explicit Batch(const char *mode, bool is_reading_back = false)
    {
        console_.is_reading_back = is_reading_back;
        cli_shell_config_s config = shell_config(console_);
        console_.host = &written_;
        config.mode = mode;
        config.level = CLI_MOST_LEVEL;
        config.output = [](void *console, const char *bytes, size_t count) {
            static_cast<std::string *>(static_cast<Console *>(console)->host)->append(bytes, count);
        };
        console_.shell = cli_shell_create(&config);
        if (!console_.shell)
            throw std::bad_alloc();
    }
    ~Batch() { cli_shell_free(console_.shell); }
    Batch(const Batch &) = delete;
    Batch &operator=(const Batch &) = delete;

    cli_shell_s *shell() { return console_.shell; }
    const std::string &written() const { return written_; }

  private:
    Console console_;
    std::string written_;
};

// Writing

// Returns: where the path is a link, what it leads to.
std::filesystem::path target_of(const std::filesystem::path &path)
{
    std::error_code unknown;
    return std::filesystem::weakly_canonical(path, unknown);
}

std::string folder_of(const std::filesystem::path &target)
{
    return target.has_parent_path() ? target.parent_path().string() : ".";
}

// Returns: 0, or errno.
int write_file(const std::filesystem::path &path, const std::string &text)
{
    const std::filesystem::path target = target_of(path);
    const int directory = open(folder_of(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0)
        return errno;
    int error = 0;
    {
        NewFile file;
        error = file.begin(directory);
        error = error != 0 ? error : file.add(text.data(), text.size());
        error = error != 0 ? error : file.keep(target.filename(), true);
    }
    close(directory);
    return error;
}

// What a command that saves shares with the thread.
struct Saving {
    std::function<void()> wake;
    std::optional<int> error; // 0, or errno; nothing before the end
};

struct Saver {
    std::mutex mutex; // of all that is below, and of each saving's error
    std::condition_variable changed;
    std::deque<std::shared_ptr<Saving>> waiting;
    std::thread thread;
    bool is_stopping = false;
};

Saver saver;

// By commands of the thread's own, so that a long configuration keeps no session waiting.
std::string running_configuration()
{
    Batch batch("exec");
    if (cli_shell_run(batch.shell(), "show running-config | no-more") != CLI_DONE)
        throw std::bad_alloc(); // nothing else can keep it from being written
    return batch.written();
}

int save()
{
    try {
        return write_file(host().configuration, running_configuration());
    } catch (const std::bad_alloc &) {
        return ENOMEM;
    }
}

// Without memory nothing is told: its user waits, as for any command, until Ctrl-C.
void conclude(Saving &saving)
{
    const int error = save();
    try {
        {
            const std::lock_guard lock(saver.mutex);
            saving.error = error;
        }
        saving.wake();
    } catch (const std::bad_alloc &) {
    }
}

// What was asked for is written before it ends.
void save_all()
{
    std::unique_lock lock(saver.mutex);
    while (true) {
        saver.changed.wait(lock, [] { return saver.is_stopping || !saver.waiting.empty(); });
        if (saver.waiting.empty())
            break;
        const std::shared_ptr<Saving> saving = std::move(saver.waiting.front());
        saver.waiting.pop_front();
        lock.unlock();
        conclude(*saving);
        lock.lock();
    }
    release_thread();
}

// What is saved is the configuration as it is once the thread comes to it.
// Returns: NULL when there are too many, or there can be no thread.
std::shared_ptr<Saving> begin_saving(std::function<void()> wake)
{
    auto saving = std::make_shared<Saving>();
    saving->wake = std::move(wake);
    const std::lock_guard lock(saver.mutex);
    if (saver.waiting.size() >= most_savings)
        return nullptr;
    try {
        if (!saver.thread.joinable())
            saver.thread = std::thread(save_all);
    } catch (const std::system_error &) {
        return nullptr;
    }
    saver.waiting.push_back(saving);
    saver.changed.notify_one();
    return saving;
}

int32_t tell_result(cli_call_s *call, int error)
{
    if (error == 0)
        return CLI_DONE;
    cli_fail(call, "Saving failed: %s", std::strerror(error));
    return CLI_FAILED;
}

// Reading

// Returns: false, and what is wrong, where not all can be read.
bool read_lines(const std::string &path, std::vector<std::string> &out_lines,
                std::string &out_problem)
{
    std::ifstream file(path);
    if (!file.is_open() && errno == ENOENT)
        return true; // none was saved yet
    for (std::string line; std::getline(file, line);)
        out_lines.push_back(line);
    if (file.is_open() && !file.bad())
        return true;
    out_problem = path + ": " + std::strerror(errno);
    return false;
}

// Returns: what is wrong with a line where the ones before it lead to; empty: nothing.
std::string problem_of(cli_shell_s *shell, const std::string &line)
{
    if (line.find('\0') != line.npos)
        return "1: a byte 0";
    cli_assist_error_s error;
    const int32_t reason = cli_shell_check(shell, line.c_str(), &error);
    if (reason == CLI_ASSIST_OK || reason == CLI_ASSIST_EMPTY)
        return {};
    return std::to_string(error.at + 1) + ": " +
           (*error.why ? error.why : cli_assist_strreason(reason));
}

// Returns: where that line is, as compilers have it.
std::string place_of(const std::string &path, size_t line)
{
    return path + ":" + std::to_string(line + 1) + ":";
}

// Each with its place. The lines themselves are not told: who names another file has its
// content in no log.
std::string problems_of(cli_shell_s *shell, const std::string &path,
                        const std::vector<std::string> &lines)
{
    std::string told;
    size_t count = 0;
    for (size_t i = 0; i < lines.size(); i++) {
        const std::string problem = problem_of(shell, lines[i]);
        if (problem.empty() || ++count > most_problems)
            continue;
        told += count > 1 ? "\n" : "";
        told += place_of(path, i);
        told += problem;
    }
    if (count > most_problems)
        told += "\n" + path + ": and " + std::to_string(count - most_problems) + " more";
    return told;
}

// Returns: the row that says why a command has failed.
std::string reason_of(const std::string &written)
{
    const size_t mark = written.rfind("% ");
    if (mark == written.npos)
        return "it cannot be run";
    return written.substr(mark + 2, written.find('\n', mark) - mark - 2);
}

} // namespace

// Called again when it is over.
int32_t save_configuration(cli_call_s *call, Console &console)
{
    auto &saving = kept_of<std::shared_ptr<Saving>>(call);
    if (host().configuration.empty()) {
        cli_fail(call, "There is no file for it");
        return CLI_FAILED;
    }
    if (!host().poster)
        return tell_result(call, save());
    if (saving) {
        const std::lock_guard lock(saver.mutex);
        return saving->error ? tell_result(call, *saving->error) : CLI_LATER;
    }
    saving = begin_saving(waker_of(call, console));
    return saving ? CLI_LATER : tell_result(call, EAGAIN);
}

void stop_saving()
{
    {
        const std::lock_guard lock(saver.mutex);
        saver.is_stopping = true;
        saver.changed.notify_one();
    }
    if (saver.thread.joinable())
        saver.thread.join();
    saver.thread = {};
    saver.is_stopping = false;
}

bool read_configuration(const std::string &path, std::string &out_problem)
{
    std::vector<std::string> lines;
    if (!read_lines(path, lines, out_problem))
        return false;
    remove_left_files(folder_of(target_of(path)));
    Batch batch("configure", true);
    out_problem = problems_of(batch.shell(), path, lines);
    for (size_t i = 0; out_problem.empty() && i < lines.size(); i++) {
        if (cli_shell_run(batch.shell(), lines[i].c_str()) == CLI_DONE)
            continue;
        out_problem = place_of(path, i) + " " + reason_of(batch.written());
        forget_configuration();
    }
    return out_problem.empty();
}

} // namespace device
