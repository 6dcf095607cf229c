// How systemd hands sockets over, and hears how a service is: sd_listen_fds(3) and
// sd_notify(3), whose protocols are short and fixed.

#include <varno/server.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int first_descriptor = 3;

// Returns: the number that a variable of the environment has; 0 when it has none.
long number_of(const char *variable)
{
    const char *text = std::getenv(variable);
    long number = 0;
    if (text)
        std::from_chars(text, text + std::strlen(text), number);
    return number;
}

} // namespace

int server_listen_inherited(server_s *server)
{
    if (number_of("LISTEN_PID") != getpid())
        return 0;
    const auto count = static_cast<int>(number_of("LISTEN_FDS"));
    for (int i = 0; i < count; i++) {
        const int fd = first_descriptor + i;
        if (server_listen_fd(server, fd) != 0 && server_serve(server, fd, fd) != 0)
            return -1;
    }
    unsetenv("LISTEN_PID");
    unsetenv("LISTEN_FDS");
    return count;
}

int server_notify(const char *state)
{
    const char *path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (!path)
        return 0;
    const size_t len = std::strlen(path);
    if ((*path != '/' && *path != '@') || len >= sizeof(address.sun_path)) {
        errno = EINVAL;
        return -1;
    }
    std::memcpy(address.sun_path, path, len);
    if (*path == '@') // the system's own names begin with a NUL
        address.sun_path[0] = '\0';
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + len);
    const ssize_t sent = sendto(fd, state, std::strlen(state), MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr *>(&address), size);
    const int error = errno;
    close(fd);
    errno = error;
    return sent < 0 ? -1 : 1;
}
