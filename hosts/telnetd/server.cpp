// Threads that serve, and one, the first, that waits for signals.

#include "server.h"

#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <unistd.h>

#include "../device/device.h"
#include "address.h"
#include "connection.h"
#include "listener.h"
#include "worker.h"

namespace telnetd {
namespace {

constexpr int ending_signals[] = {SIGTERM, SIGINT, SIGHUP};

class Threads {
  public:
    Threads();
    ~Threads();
    Threads(const Threads &) = delete;
    Threads &operator=(const Threads &) = delete;

    // Starts a worker; begin is called on its thread.
    void start(const Settings &settings, Limits &limits,
               const std::function<void(Worker &)> &begin);

    // Returns when all workers are done.
    void wait();

  private:
    void on_signal(int signum);
    void on_done();

    uv_loop_t loop_;
    uv_async_t done_;
    uv_signal_t signals_[std::size(ending_signals)];
    bool is_stopping_ = false;
    std::atomic<size_t> running_ = 0;
    std::vector<std::unique_ptr<Worker>> workers_;
    std::vector<std::thread> threads_;
};

Threads::Threads()
{
    if (uv_loop_init(&loop_) != 0)
        throw std::system_error(EMFILE, std::generic_category(), "event loop");
    uv_async_init(&loop_, &done_,
                  [](uv_async_t *handle) { static_cast<Threads *>(handle->data)->on_done(); });
    done_.data = this;
    for (size_t i = 0; i < std::size(signals_); i++) {
        uv_signal_init(&loop_, &signals_[i]);
        signals_[i].data = this;
        const auto on_signal = [](uv_signal_t *handle, int signum) {
            static_cast<Threads *>(handle->data)->on_signal(signum);
        };
        uv_signal_start(&signals_[i], on_signal, ending_signals[i]);
    }
}

Threads::~Threads()
{
    uv_loop_close(&loop_);
}

void Threads::start(const Settings &settings, Limits &limits,
                    const std::function<void(Worker &)> &begin)
{
    Worker &worker = *workers_.emplace_back(std::make_unique<Worker>(settings, limits));
    running_++;
    const auto serve = [this, &worker, begin] {
        begin(worker);
        worker.run();
        running_--;
        uv_async_send(&done_);
    };
    try {
        threads_.emplace_back(serve);
    } catch (const std::system_error &error) { // the others run already: nobody waits for them
        spdlog::critical("{} threads: {}", workers_.size(), error.what());
        std::_Exit(EXIT_FAILURE);
    }
}

void Threads::wait()
{
    uv_run(&loop_, UV_RUN_DEFAULT);
    for (std::thread &thread : threads_)
        thread.join();
}

void Threads::on_signal(int signum)
{
    if (is_stopping_) {
        spdlog::warn("{} again: ending at once", strsignal(signum));
        std::_Exit(128 + signum);
    }
    is_stopping_ = true;
    spdlog::info("{}: closing all sessions", strsignal(signum));
    for (const auto &worker : workers_)
        worker->request_stop();
}

void Threads::on_done()
{
    if (running_ > 0)
        return;
    uv_close(reinterpret_cast<uv_handle_t *>(&done_), nullptr);
    for (uv_signal_t &signal : signals_)
        uv_close(reinterpret_cast<uv_handle_t *>(&signal), nullptr);
}

// As many descriptors as this process may have: one is a session. libuv ends the process
// where it gets too few for its loops, so these are counted before.
bool raise_descriptor_limit(unsigned threads)
{
    constexpr rlim_t for_process = 16;
    constexpr rlim_t for_thread = 8; // a loop takes 4 to 6, and each has a socket
    const rlim_t least = for_process + threads * for_thread;
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max >= least)
        return true;
    spdlog::critical("{} descriptors are too few for {} threads, which take {}", limit.rlim_max,
                     threads, least);
    return false;
}

bool prepare_process(unsigned threads)
{
    static const device::Host host = {
        "varno-telnetd", [](device::Console &console, long seconds, const std::string &text) {
            return static_cast<Connection *>(console.host)->remind(seconds, text);
        }};
    if (!raise_descriptor_limit(threads))
        return false;
    std::signal(SIGPIPE, SIG_IGN);
    assert_set_handler(tsession_assertion_handler, nullptr);
    device::start(host);
    return true;
}

uint16_t port_of(int socket)
{
    sockaddr_storage address = {};
    socklen_t len = sizeof(address);
    getsockname(socket, reinterpret_cast<sockaddr *>(&address), &len);
    return ntohs(reinterpret_cast<const sockaddr_in &>(address).sin_port);
}

// Sockets that share a port would share it with another server of this user's, too:
// the first must get it for itself alone, before they do.
bool is_port_free(const sockaddr_storage &address)
{
    const int socket = open_socket(address, false);
    if (socket >= 0)
        close(socket);
    return socket >= 0;
}

// Returns: fewer than there are to be, with errno.
std::vector<int> open_sockets(sockaddr_storage &address, unsigned count)
{
    std::vector<int> sockets;
    if (count > 1 && !is_port_free(address))
        return sockets;
    while (sockets.size() < count) {
        const int socket = open_socket(address, count > 1);
        if (socket < 0)
            break;
        sockets.push_back(socket);
        reinterpret_cast<sockaddr_in &>(address).sin_port = htons(port_of(socket));
    }
    return sockets;
}

void announce(const sockaddr_storage &address)
{
    if (!is_loopback(address))
        spdlog::warn("Telnet is clear text: whoever is on the way to {} can read and change it",
                     describe(address).name);
    spdlog::info("listening on {}", describe(address).name);
}

} // namespace

int run_server(const Settings &settings)
{
    if (!prepare_process(settings.threads))
        return EXIT_FAILURE;
    sockaddr_storage address;
    parse_address(settings.address, settings.port, address);
    const std::vector<int> sockets = open_sockets(address, settings.threads);
    if (sockets.size() < settings.threads) {
        spdlog::critical("{}: {}", describe(address).name, std::strerror(errno));
        return EXIT_FAILURE;
    }
    Limits limits(settings);
    Threads threads;
    for (const int socket : sockets)
        threads.start(settings, limits, [socket](Worker &worker) { worker.listen(socket); });
    announce(address);
    threads.wait();
    device::stop();
    spdlog::info("ended");
    return EXIT_SUCCESS;
}

int serve_standard_streams(const Settings &settings)
{
    if (!prepare_process(1))
        return EXIT_FAILURE;
    sockaddr_storage address = {};
    socklen_t len = sizeof(address);
    getpeername(STDIN_FILENO, reinterpret_cast<sockaddr *>(&address), &len);
    const Client client = describe(address);
    Limits limits(settings);
    Threads threads;
    threads.start(settings, limits,
                  [&client](Worker &worker) { worker.serve(STDIN_FILENO, STDOUT_FILENO, client); });
    threads.wait();
    device::stop();
    return EXIT_SUCCESS;
}

} // namespace telnetd
