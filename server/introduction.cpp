// Not a byte more than the header is read: what comes after it is the session's.

#include "introduction.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <new>
#include <utility>

#include <unistd.h>

#include "worker.h"

namespace varno {
namespace {

constexpr uint64_t deadline_ms = 5000;

uv_handle_t *handle_of(auto &handle)
{
    return reinterpret_cast<uv_handle_t *>(&handle);
}

Introduction &owner_of(auto *handle)
{
    return *static_cast<Introduction *>(handle->data);
}

} // namespace

Introduction::Introduction(Worker &worker, int fd, const Peer &proxy)
    : worker_(worker), fd_(fd), proxy_(proxy)
{
    uv_poll_init(worker.loop(), &poll_, fd);
    uv_timer_init(worker.loop(), &deadline_);
    poll_.data = deadline_.data = this;
}

// Nothing may be thrown through libuv.
template <typename Act>
void Introduction::with_memory(const Act &act)
{
    try {
        act();
    } catch (const std::bad_alloc &) {
        give_up();
    }
}

void Introduction::read_header()
{
    with_memory([this] { read_some(); });
}

// A balancer that only looks whether somebody answers closes without a word.
void Introduction::read_some()
{
    unsigned char bytes[512];
    while (header_.wanted() > 0) {
        const size_t most = std::min(header_.wanted(), std::size(bytes));
        const ssize_t count = recv(fd_, bytes, most, MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return wait_for_more();
        if (count <= 0)
            return give_up();
        if (!header_.take(bytes, static_cast<size_t>(count)))
            return finish(proxy_, "A proxy's client without a PROXY header, version 2");
    }
    finish(header_.has_client() ? describe(header_.client()) : proxy_, nullptr);
}

void Introduction::wait_for_more()
{
    if (std::exchange(is_waiting_, true))
        return;
    uv_poll_start(&poll_, UV_READABLE,
                  [](uv_poll_t *handle, int, int) { owner_of(handle).read_header(); });
    const auto on_time = [](uv_timer_t *handle) {
        Introduction &own = owner_of(handle);
        own.with_memory(
            [&own] { own.finish(own.proxy_, "A proxy's client without a PROXY header in time"); });
    };
    uv_timer_start(&deadline_, on_time, deadline_ms, 0);
}

// The descriptor is polled no longer before it becomes another handle's.
void Introduction::finish(const Peer &client, const char *why_refused)
{
    const int fd = std::exchange(fd_, -1);
    uv_poll_stop(&poll_);
    free_handles();
    if (why_refused)
        worker_.refuse(fd, client, why_refused);
    else
        worker_.let_in(fd, client);
}

void Introduction::give_up()
{
    uv_poll_stop(&poll_);
    close(std::exchange(fd_, -1));
    free_handles();
}

void Introduction::free_handles()
{
    const auto on_closed = [](uv_handle_t *handle) {
        Introduction &own = owner_of(handle);
        if (--own.open_handles_ == 0)
            delete &own;
    };
    uv_close(handle_of(poll_), on_closed);
    uv_close(handle_of(deadline_), on_closed);
    worker_.forget(*this);
}

} // namespace varno
