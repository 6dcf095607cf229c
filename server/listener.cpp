// Accepting. The socket is polled rather than handed to libuv as a stream, so that
// the number of clients taken in a turn is bounded and a shortage of descriptors can
// be met.

#include "listener.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "server_s.h"
#include "worker.h"

namespace varno {
namespace {

constexpr int most_taken = 32; // in a turn of the loop
constexpr uint64_t hold_off_ms = 200;

// What the kernel keeps of a client's unread output; by itself it goes to megabytes.
constexpr int send_buffer = 65536;

int close_failed(int fd)
{
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

int make_socket(int family)
{
    return socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

// Returns: whether somebody listens on the socket of this name.
bool is_in_use(const sockaddr_un &address)
{
    const int fd = make_socket(AF_UNIX);
    const bool answers = fd >= 0 && (connect(fd, reinterpret_cast<const sockaddr *>(&address),
                                             sizeof(address)) == 0 ||
                                     errno != ECONNREFUSED);
    if (fd >= 0)
        close(fd);
    return answers;
}

bool is_socket(const char *path)
{
    struct stat status;
    return lstat(path, &status) == 0 && S_ISSOCK(status.st_mode);
}

} // namespace

int open_tcp_socket(const sockaddr_storage &address, bool is_shared)
{
    const int on = 1;
    const int fd = make_socket(address.ss_family);
    if (fd < 0)
        return -1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &send_buffer, sizeof(send_buffer));
    if ((!is_shared || setsockopt(fd, SOL_SOCKET, SO_REUSEPORT, &on, sizeof(on)) == 0) &&
        bind(fd, reinterpret_cast<const sockaddr *>(&address), length_of(address)) == 0 &&
        listen(fd, SOMAXCONN) == 0)
        return fd;
    return close_failed(fd);
}

// A socket that nobody listens on any more is what a server leaves that was killed.
int open_unix_socket(const char *path, unsigned mode)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::strcpy(address.sun_path, path);
    const int fd = make_socket(AF_UNIX);
    if (fd < 0)
        return -1;
    if (is_socket(path) && !is_in_use(address))
        unlink(path);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0)
        return close_failed(fd);
    if (chmod(path, static_cast<mode_t>(mode)) == 0 && listen(fd, SOMAXCONN) == 0)
        return fd;
    const int error = errno;
    unlink(path);
    errno = error;
    return close_failed(fd);
}

Listener::Listener(Worker &worker, int socket) : worker_(worker), socket_(socket)
{
    uv_poll_init(worker.loop(), &poll_, socket);
    uv_timer_init(worker.loop(), &hold_off_);
    poll_.data = hold_off_.data = this;
    start();
}

void Listener::stop()
{
    const auto on_closed = [](uv_handle_t *handle) {
        auto *listener = static_cast<Listener *>(handle->data);
        if (--listener->open_handles_ == 0)
            delete listener;
    };
    uv_close(reinterpret_cast<uv_handle_t *>(&poll_), on_closed);
    uv_close(reinterpret_cast<uv_handle_t *>(&hold_off_), on_closed);
    close(socket_);
}

void Listener::start()
{
    uv_poll_start(&poll_, UV_READABLE, [](uv_poll_t *handle, int, int) {
        static_cast<Listener *>(handle->data)->take_clients();
    });
}

// The socket stays readable, and is not looked at for a moment.
void Listener::hold_off()
{
    uv_poll_stop(&poll_);
    const auto on_time = [](uv_timer_t *handle) { static_cast<Listener *>(handle->data)->start(); };
    uv_timer_start(&hold_off_, on_time, hold_off_ms, 0);
}

void Listener::take_clients()
{
    const auto refuse_last = [this](int fd) {
        worker_.refuse(fd, describe_peer_of(fd),
                       "Too many sessions, try again later (no descriptors)");
    };
    for (int tries = 0; tries < most_taken; tries++) {
        const int fd = worker_.server().spare.take_client(socket_, refuse_last);
        if (fd >= 0)
            admit(fd);
        else if (SpareDescriptor::is_shortage(errno))
            return hold_off();
        else if (errno == EAGAIN)
            return;
    }
}

// Nothing may be thrown through libuv: without memory a client hears nothing.
void Listener::admit(int fd)
{
    try {
        worker_.meet(fd, describe_peer_of(fd));
    } catch (const std::bad_alloc &) {
        close(fd);
    }
}

} // namespace varno
