// Secrets are checked on a thread of their own, one after another: a hash takes the time that
// its maker wants, and the threads of sessions have others to serve. A session has one check
// that waits at most, so that everybody's turn comes after one of each.

#include "secrets.h"

#include <condition_variable>
#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <crypt.h>
#include <sys/stat.h>

#include "action.h"

namespace device {
namespace {

constexpr size_t most_checks = 100; // that wait

struct Check {
    const Console *console;
    std::function<void(Act)> post; // to its thread
    uint64_t ticket;
    char secret[128];

    ~Check() { explicit_bzero(secret, sizeof(secret)); }
};

struct Checker {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::unique_ptr<Check>> waiting;
    std::thread thread;
    bool is_stopping = false;
};

Checker checker;
std::string hash;

// Returns: a secret's hash, as long as room lives; NULL when that of the device is none.
const char *hash_of(const char *secret, crypt_data &room)
{
    const char *own = crypt_r(secret, hash.c_str(), &room);
    return own && *own != '*' ? own : nullptr;
}

// A text that is no hash, such as the secret itself, may still be taken as the beginning of
// one; all that are made by the same method are of one length.
bool is_hash()
{
    const auto room = std::make_unique<crypt_data>();
    const char *any = hash_of("", *room);
    return any && hash.size() == std::strlen(any);
}

bool is_right(const char *secret)
{
    const auto room = std::make_unique<crypt_data>();
    const char *own = hash_of(secret, *room);
    const bool is_it = own && hash == own;
    explicit_bzero(room.get(), sizeof(*room));
    return is_it;
}

// Without memory nothing is told: the user waits, as for any command, until Ctrl-C.
void conclude(const Check &check)
{
    try {
        const bool is_it = is_right(check.secret);
        check.post(
            [ticket = check.ticket, is_it] { cli_authenticated(own_commands(), ticket, is_it); });
    } catch (const std::bad_alloc &) {
    }
}

void check_all()
{
    std::unique_lock lock(checker.mutex);
    while (true) {
        checker.changed.wait(lock, [] { return checker.is_stopping || !checker.waiting.empty(); });
        if (checker.is_stopping)
            return;
        const std::unique_ptr<const Check> check = std::move(checker.waiting.front());
        checker.waiting.pop_front();
        lock.unlock();
        conclude(*check);
        lock.lock();
    }
}

void erase_check(const Console &console)
{
    std::erase_if(checker.waiting,
                  [&console](const auto &check) { return check->console == &console; });
}

// Returns: false when there are too many, or the thread cannot be started.
bool add_check(std::unique_ptr<Check> check)
{
    const std::lock_guard lock(checker.mutex);
    erase_check(*check->console); // its user has cancelled that
    if (checker.waiting.size() >= most_checks)
        return false;
    try {
        if (!checker.thread.joinable())
            checker.thread = std::thread(check_all);
    } catch (const std::system_error &) {
        return false;
    }
    checker.waiting.push_back(std::move(check));
    checker.changed.notify_one();
    return true;
}

} // namespace

bool read_secret(const std::string &path, std::string &out_problem)
{
    struct stat status = {};
    std::ifstream file(path);
    if (!std::getline(file, hash) || stat(path.c_str(), &status) != 0)
        out_problem = path + " cannot be read, or is empty";
    else if (!is_hash())
        out_problem = path + " has no hash of crypt(3) in its first line";
    else if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        out_problem = path + " is not its owner's alone: chmod 600 makes it so";
    return out_problem.empty();
}

int32_t check_secret(cli_shell_s *shell, void *user, int32_t, const char *secret)
{
    auto &console = *static_cast<Console *>(user);
    auto check = std::make_unique<Check>();
    check->console = &console;
    check->ticket = cli_shell_ticket(shell);
    if (!host().poster || std::strlen(secret) >= std::size(check->secret))
        return CLI_FAILED;
    check->post = host().poster(console);
    std::strcpy(check->secret, secret);
    if (add_check(std::move(check)))
        return CLI_LATER;
    tsession_print(session_of(console), "%% Too many ask for it, try again later\n");
    return CLI_FAILED;
}

void forget_check(const Console &console)
{
    const std::lock_guard lock(checker.mutex);
    erase_check(console);
}

void stop_checks()
{
    {
        const std::lock_guard lock(checker.mutex);
        checker.is_stopping = true;
        checker.waiting.clear();
        checker.changed.notify_one();
    }
    if (checker.thread.joinable())
        checker.thread.join();
    checker.thread = {};
    checker.is_stopping = false;
}

} // namespace device
