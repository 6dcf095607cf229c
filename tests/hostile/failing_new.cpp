// Loaded before the server's accept4 and operator new: after the first client that
// is let in the first allocation fails, after the second the second, until the 40th.

#include <cstdlib>
#include <new>

#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int most_clients = 40;

int clients = 0;
thread_local int allocations_left = 0; // with the one that fails; 0: none does

} // namespace

extern "C" int accept4(int fd, sockaddr *address, socklen_t *len, int flags)
{
    const auto client = static_cast<int>(syscall(SYS_accept4, fd, address, len, flags));
    if (client >= 0)
        allocations_left = ++clients <= most_clients ? clients : 0;
    return client;
}

void *operator new(size_t size)
{
    if (allocations_left > 0 && --allocations_left == 0)
        throw std::bad_alloc();
    if (void *block = std::malloc(size))
        return block;
    throw std::bad_alloc();
}

void operator delete(void *block) noexcept
{
    std::free(block);
}

void operator delete(void *block, size_t) noexcept
{
    std::free(block);
}
