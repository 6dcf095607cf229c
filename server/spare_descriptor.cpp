// The mutex is held from the moment the spare is given up until it is back: otherwise
// another thread's client would get it and keep it. Only what a command opens for a
// moment can come in between, and nobody is accepted until the spare is back.

#include "spare_descriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace varno {
namespace {

int accept_next(int socket)
{
    // cppcheck-suppress nullPointer ; who it is can be asked later
    return accept4(socket, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

} // namespace

SpareDescriptor::SpareDescriptor()
{
    take();
}

SpareDescriptor::~SpareDescriptor()
{
    give_up();
}

bool SpareDescriptor::is_shortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// The system asks for a free descriptor before it looks whether somebody waits, so a
// shortage may be told where there is nobody to refuse.
int SpareDescriptor::take_client(int socket, const std::function<void(int)> &refuse)
{
    const std::lock_guard lock(mutex_);
    if (!take())
        return -1;
    int client = accept_next(socket);
    if (client >= 0 || !is_shortage(errno))
        return client;
    give_up();
    client = accept_next(socket);
    const int error = client >= 0 ? ECONNREFUSED : errno;
    if (client >= 0)
        refuse(client);
    take();
    errno = error;
    return -1;
}

bool SpareDescriptor::take()
{
    if (descriptor_ < 0)
        descriptor_ = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return descriptor_ >= 0;
}

void SpareDescriptor::give_up()
{
    if (descriptor_ >= 0)
        close(descriptor_);
    descriptor_ = -1;
}

} // namespace varno
