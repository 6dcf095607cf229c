// The public face: what a server is told before it runs, its threads, and what any
// thread may ask of it.

#include <varno/server.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <new>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "connection.h"
#include "listener.h"
#include "server_s.h"
#include "worker.h"

namespace varno {
namespace {

constexpr uint32_t most_threads = 256;
constexpr size_t least_backlog = 131072;

// What the caller knows of a record of ours; the rest is zero.
template <typename Record>
Record read_sized(const Record &given)
{
    Record record = {};
    std::memcpy(&record, &given, std::min(given.size, sizeof(record)));
    return record;
}

template <typename Number>
void set_default(Number &value, Number by_default)
{
    if (value == 0)
        value = by_default;
}

server_config_s complete(const server_config_s &given)
{
    server_config_s config = read_sized(given);
    set_default(config.threads, 1U);
    set_default(config.max_sessions, 1000U);
    set_default(config.max_per_address, config.max_sessions);
    set_default(config.stall_seconds, 60U);
    set_default<size_t>(config.backlog, 262144);
    return config;
}

bool can_be(const server_config_s &config)
{
    return config.threads <= most_threads && config.backlog >= least_backlog;
}

// As many descriptors as this process may have: one is a session. libuv ends the process
// where it gets too few for its loops, so these are counted before.
bool raise_descriptor_limit(uint32_t threads)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_max >= server_least_descriptors(threads);
}

uint16_t &port_of(sockaddr_storage &address)
{
    return reinterpret_cast<sockaddr_in &>(address).sin_port;
}

// Sockets that share a port would share it with another server of this user's, too:
// the first must get it for itself alone, before they do.
bool is_port_free(const sockaddr_storage &address)
{
    const int socket = open_tcp_socket(address, false);
    if (socket >= 0)
        close(socket);
    return socket >= 0;
}

// Keeps errno.
void close_all(const std::vector<int> &sockets)
{
    const int error = errno;
    for (const int socket : sockets)
        close(socket);
    errno = error;
}

// Opens a socket for each thread; the first chooses the port where that is 0.
// Returns: none, with errno, when one cannot be opened.
std::vector<int> open_tcp_sockets(sockaddr_storage &address, size_t count)
{
    std::vector<int> sockets;
    if (count > 1 && !is_port_free(address))
        return sockets;
    while (sockets.size() < count) {
        const int socket = open_tcp_socket(address, count > 1);
        if (socket < 0) {
            close_all(sockets);
            return {};
        }
        sockets.push_back(socket);
        sockaddr_storage own = {};
        socklen_t len = sizeof(own);
        getsockname(socket, reinterpret_cast<sockaddr *>(&own), &len);
        port_of(address) = port_of(own);
    }
    return sockets;
}

// Returns: the socket for each thread: itself, and others for the same; none, with errno,
// when there cannot be so many.
std::vector<int> shared_by(int socket, size_t count)
{
    std::vector<int> sockets = {socket};
    while (sockets.size() < count) {
        const int other = fcntl(socket, F_DUPFD_CLOEXEC, 0);
        if (other < 0) {
            sockets.erase(sockets.begin());
            close_all(sockets);
            return {};
        }
        sockets.push_back(other);
    }
    return sockets;
}

bool is_listening(int fd)
{
    int is_so = 0;
    socklen_t len = sizeof(is_so);
    if (getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &is_so, &len) != 0)
        return false;
    errno = EINVAL;
    return is_so != 0;
}

// A file that cannot be waited for is no client.
bool is_stream(int fd)
{
    struct stat status;
    if (fstat(fd, &status) != 0)
        return false;
    errno = EINVAL;
    return S_ISSOCK(status.st_mode) || S_ISFIFO(status.st_mode);
}

// Returns: what act does, or -1 with ENOMEM.
template <typename Act>
int with_memory(const Act &act)
{
    try {
        return act();
    } catch (const std::bad_alloc &) {
        errno = ENOMEM;
        return -1;
    }
}

} // namespace
} // namespace varno

using namespace varno;

server_s::server_s(const server_config_s &complete) : config(complete), limits(config)
{
    if (uv_loop_init(&loop) != 0)
        throw std::bad_alloc();
    uv_async_init(&loop, &done, [](uv_async_t *handle) {
        auto &server = *static_cast<server_s *>(handle->data);
        if (server.running > 0 || uv_is_closing(reinterpret_cast<uv_handle_t *>(handle)))
            return;
        uv_close(reinterpret_cast<uv_handle_t *>(handle), nullptr);
        for (Signal &signal : server.signals)
            uv_close(reinterpret_cast<uv_handle_t *>(&signal.handle), nullptr);
    });
    done.data = this;
    while (workers.size() < config.threads)
        workers.push_back(std::make_unique<Worker>(*this, workers.size()));
}

// One that has never run still has its handles.
server_s::~server_s()
{
    if (!uv_is_closing(reinterpret_cast<uv_handle_t *>(&done)))
        uv_async_send(&done);
    uv_run(&loop, UV_RUN_DEFAULT);
    uv_loop_close(&loop);
    workers.clear();
    for (const std::string &path : unix_paths)
        unlink(path.c_str());
}

bool server_s::share_out(std::vector<int> sockets)
{
    for (size_t i = 0; i < sockets.size(); i++)
        workers[i]->listen_on(sockets[i]);
    return !sockets.empty();
}

// Where a thread cannot be started, those that have been are told to stop.
int server_s::run()
{
    std::vector<std::thread> threads;
    int error = 0;
    running = workers.size();
    for (const auto &worker : workers) {
        const auto serve = [this, &worker] {
            worker->run();
            running--;
            uv_async_send(&done);
        };
        try {
            if (error == 0)
                threads.emplace_back(serve);
        } catch (const std::system_error &failure) {
            error = failure.code().value();
            server_stop(this, "The server cannot start");
        }
    }
    running -= workers.size() - threads.size();
    uv_async_send(&done);
    uv_run(&loop, UV_RUN_DEFAULT);
    for (std::thread &thread : threads)
        thread.join();
    errno = error;
    return error == 0 ? 0 : -1;
}

void server_s::note_turn(uint64_t ns)
{
    uint64_t slowest = figures.slowest_turn_ns;
    while (ns > slowest && !figures.slowest_turn_ns.compare_exchange_weak(slowest, ns)) {
    }
}

// The interface

server_s *server_create(const server_config_s *given)
{
    const server_config_s config = complete(*given);
    if (!can_be(config)) {
        errno = EINVAL;
        return nullptr;
    }
    std::signal(SIGPIPE, SIG_IGN);
    if (!raise_descriptor_limit(config.threads)) {
        errno = EMFILE;
        return nullptr;
    }
    try {
        return new server_s(config);
    } catch (const std::bad_alloc &) {
        errno = ENOMEM;
        return nullptr;
    }
}

void server_free(server_s *server)
{
    delete server;
}

uint64_t server_least_descriptors(uint32_t threads)
{
    constexpr uint64_t for_process = 16;
    constexpr uint64_t for_thread = 8; // a loop takes 5 to 7, and each has a socket
    return for_process + for_thread * std::max(threads, 1U);
}

int server_listen_tcp(server_s *server, const char *text, uint16_t port)
{
    return with_memory([=] {
        sockaddr_storage address;
        if (!parse_address(text, port, address)) {
            errno = EINVAL;
            return -1;
        }
        const bool listens = server->share_out(open_tcp_sockets(address, server->workers.size()));
        return listens ? ntohs(port_of(address)) : -1;
    });
}

int server_listen_unix(server_s *server, const char *path, uint32_t mode)
{
    return with_memory([=] {
        const int socket = open_unix_socket(path, mode);
        if (socket < 0)
            return -1;
        server->unix_paths.emplace_back(path);
        if (server->share_out(shared_by(socket, server->workers.size())))
            return 0;
        close_all({socket});
        unlink(path);
        server->unix_paths.pop_back();
        return -1;
    });
}

int server_listen_fd(server_s *server, int fd)
{
    return with_memory([=] {
        if (!is_listening(fd) || fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK) < 0 ||
            fcntl(fd, F_SETFD, FD_CLOEXEC) < 0)
            return -1;
        return server->share_out(shared_by(fd, server->workers.size())) ? 0 : -1;
    });
}

int server_serve(server_s *server, int input, int output)
{
    return with_memory([=] {
        if (!is_stream(input) || !is_stream(output))
            return -1;
        server->workers[0]->serve_first(input, output);
        return 0;
    });
}

int server_reserve(server_s *server, const char *address, uint32_t sessions)
{
    return with_memory([=] {
        Peer peer;
        errno = EINVAL;
        return describe_text(address, peer) && server->limits.reserve(peer.address, sessions) ? 0
                                                                                              : -1;
    });
}

int server_trust_proxy(server_s *server, const char *address)
{
    return with_memory([=] {
        Peer peer;
        errno = EINVAL;
        if (!describe_text(address, peer))
            return -1;
        server->proxies.insert(peer.host);
        return 0;
    });
}

int server_on_signal(server_s *server, int signum, server_signal_fn act)
{
    return with_memory([=] {
        Signal &signal = server->signals.emplace_back(Signal{{}, server, act});
        uv_signal_init(&server->loop, &signal.handle);
        signal.handle.data = &signal;
        const auto on_signal = [](uv_signal_t *handle, int number) {
            const auto &one = *static_cast<const Signal *>(handle->data);
            if (one.act)
                one.act(one.server, one.server->config.user, number);
            else
                server_stop(one.server, "The server is going down");
        };
        const int error = uv_signal_start(&signal.handle, on_signal, signum);
        errno = -error;
        return error == 0 ? 0 : -1;
    });
}

int server_run(server_s *server)
{
    return with_memory([=] { return server->run(); });
}

// Without memory for the text the end comes all the same.
void server_stop(server_s *server, const char *text)
{
    for (const auto &worker : server->workers) {
        Letter letter = {Letter::Kind::stop, {}, 0, nullptr, nullptr};
        with_memory([&] {
            letter.text = text;
            return 0;
        });
        worker->put(std::move(letter));
    }
}

int server_tell_all(server_s *server, const char *text)
{
    return with_memory([=] {
        for (const auto &worker : server->workers)
            worker->put({Letter::Kind::tell, text, 0, nullptr, nullptr});
        return 0;
    });
}

int server_post(server_s *server, uint64_t client, server_task_fn task, void *ctx)
{
    return with_memory([=] {
        const auto number = static_cast<size_t>((client - 1) % server->workers.size());
        const auto &worker = server->workers[number];
        return worker->put({Letter::Kind::task, {}, client, task, ctx}) ? 0 : -1;
    });
}

int server_post_later(tsession_s *s, uint32_t milliseconds, server_task_fn task, void *ctx)
{
    Connection *connection = Worker::connection_of(s);
    return connection ? connection->run_later(milliseconds, task, ctx) : -1;
}

const server_client_s *server_client(const tsession_s *s)
{
    const Connection *connection = Worker::connection_of(s);
    return connection ? &connection->info() : nullptr;
}

void server_get_figures(server_s *server, server_figures_s *out)
{
    const Figures &figures = server->figures;
    const server_figures_s all = {out->size,
                                  server->limits.sessions(),
                                  figures.accepted,
                                  figures.refused,
                                  figures.bytes_in,
                                  figures.bytes_out,
                                  figures.slowest_turn_ns / 1000};
    std::memcpy(out, &all, std::min(out->size, sizeof(all)));
}
