// The client's side of a session. It leaves by a reset, so that thousands of ended
// connections do not linger and take the ports of the next run.

#include "typist.h"

#include "typing.h"

#include <utility>

#include <netinet/in.h>
#include <sys/socket.h>

namespace varno_load {
namespace {

// All sessions of a process read into one place: what came is used up at once.
char received[65536];

uv_stream_t *stream_of(uv_tcp_t &tcp)
{
    return reinterpret_cast<uv_stream_t *>(&tcp);
}

void leave_by_reset(uv_tcp_t &tcp)
{
    const linger at_once = {1, 0};
    uv_os_fd_t fd = -1;
    if (uv_fileno(reinterpret_cast<uv_handle_t *>(&tcp), &fd) == 0)
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
    uv_tcp_nodelay(&tcp, 1);
}

} // namespace

Typist::Typist(size_t place, OutputFn on_output, EndFn on_end)
    : place_(place), on_output_(std::move(on_output)), on_end_(std::move(on_end))
{}

void Typist::connect(uv_loop_t *loop, uint16_t port)
{
    sockaddr_in address = {};
    uv_ip4_addr("127.0.0.1", port, &address);
    uv_tcp_init(loop, &tcp_);
    tcp_.data = this;
    const auto on_connected = [](uv_connect_t *request, int error) {
        auto &typist = *static_cast<Typist *>(request->handle->data);
        if (error == 0)
            typist.start();
        else
            typist.end(uv_strerror(error));
    };
    const int error = uv_tcp_connect(&request_, &tcp_, reinterpret_cast<const sockaddr *>(&address),
                                     on_connected);
    if (error != 0)
        end(uv_strerror(error));
}

void Typist::start()
{
    leave_by_reset(tcp_);
    const auto give_room = [](uv_handle_t *, size_t, uv_buf_t *room) {
        *room = uv_buf_init(received, sizeof(received));
    };
    const auto on_input = [](uv_stream_t *stream, ssize_t count, const uv_buf_t *) {
        auto &typist = *static_cast<Typist *>(stream->data);
        if (count < 0)
            typist.end(uv_strerror(static_cast<int>(count)));
        else
            typist.take({received, static_cast<size_t>(count)});
    };
    uv_read_start(stream_of(tcp_), give_room, on_input);
}

void Typist::take(std::string_view bytes)
{
    static std::string data;
    static std::string answers;
    data.clear();
    answers.clear();
    client_.take(bytes, data, answers);
    if (!answers.empty() && !send(answers))
        return;
    if (data.empty())
        return;
    on_output_(!std::exchange(is_open_, true));
}

bool Typist::type_next_key()
{
    return is_open_ && send(key_typed(place_++));
}

bool Typist::send(std::string_view bytes)
{
    const uv_buf_t buffer =
        uv_buf_init(const_cast<char *>(bytes.data()), static_cast<unsigned>(bytes.size()));
    const int sent = uv_try_write(stream_of(tcp_), &buffer, 1);
    if (sent == static_cast<int>(bytes.size()))
        return true;
    end(sent < 0 ? uv_strerror(sent) : "the server takes no input");
    return false;
}

void Typist::end(const char *why)
{
    if (std::exchange(has_ended_, true))
        return;
    uv_close(reinterpret_cast<uv_handle_t *>(&tcp_), nullptr);
    on_end_(std::exchange(is_open_, false), why);
}

} // namespace varno_load
