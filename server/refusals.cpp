// A sentence without a session, a handle or a wait.

#include "refusals.h"

#include <cstdio>
#include <new>
#include <utility>

#include <unistd.h>

namespace varno {
namespace {

constexpr uint64_t rest_ms = 1000;

// The sentence fits the empty buffer of a new connection. What the client has sent so
// far is read, because a close with unread input is a reset, which could overtake it.
void say_and_close(int fd, const char *why)
{
    char sentence[128];
    const int len = std::snprintf(sentence, sizeof(sentence), "%s\r\n", why);
    char ignored[4096];
    send(fd, sentence, static_cast<size_t>(len), MSG_DONTWAIT | MSG_NOSIGNAL);
    shutdown(fd, SHUT_WR);
    recv(fd, ignored, sizeof(ignored), MSG_DONTWAIT);
    close(fd);
}

} // namespace

Refusals::Refusals(server_s &server, uv_loop_t *loop) : server_(server)
{
    uv_timer_init(loop, &rest_);
    rest_.data = this;
}

void Refusals::refuse(int fd, const Peer &peer, const char *why)
{
    server_.figures.refused++;
    untold_++;
    say_and_close(fd, why);
    why_ = why;
    try {
        last_ = peer;
        if (!uv_is_active(reinterpret_cast<uv_handle_t *>(&rest_)))
            tell();
    } catch (const std::bad_alloc &) { // it is counted all the same
    }
}

void Refusals::tell()
{
    const auto on_time = [](uv_timer_t *timer) {
        auto *refusals = static_cast<Refusals *>(timer->data);
        if (refusals->untold_ > 0)
            refusals->tell();
    };
    uv_timer_start(&rest_, on_time, rest_ms, 0);
    const server_client_s client = {0,         last_.name.c_str(), last_.address.c_str(),
                                    last_.pid, last_.uid,          last_.gid};
    const unsigned long count = std::exchange(untold_, 0UL);
    if (server_.config.refuse)
        server_.config.refuse(&server_, server_.config.user, &client, why_, count);
}

void Refusals::end()
{
    if (untold_ > 0)
        tell();
    uv_close(reinterpret_cast<uv_handle_t *>(&rest_), nullptr);
}

} // namespace varno
