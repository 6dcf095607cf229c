// A turn of the loop: what has come is taken, then each connection that has more to
// do resumes once. So none keeps the others waiting.

#include "worker.h"

#include <cstdlib>
#include <new>
#include <utility>

#include <spdlog/spdlog.h>

#include "../device/device.h"
#include "connection.h"
#include "listener.h"

namespace telnetd {
namespace {

// What only fails without memory or descriptors, before the first client. Other
// threads may run already, so nothing of theirs is destroyed.
void require(bool is_so)
{
    if (is_so)
        return;
    spdlog::critical("Out of memory or descriptors");
    std::_Exit(EXIT_FAILURE);
}

uv_handle_t *handle_of(auto &handle)
{
    return reinterpret_cast<uv_handle_t *>(&handle);
}

} // namespace

Worker::Worker(const Settings &settings, Limits &limits)
    : settings_(settings), limits_(limits), shared_(tsession_shared_create())
{
    require(shared_ && uv_loop_init(&loop_) == 0);
    const auto on_stop = [](uv_async_t *handle) { static_cast<Worker *>(handle->data)->stop(); };
    require(uv_async_init(&loop_, &stop_request_, on_stop) == 0);
    uv_check_init(&loop_, &after_events_);
    uv_idle_init(&loop_, &no_waiting_);
    stop_request_.data = after_events_.data = this;
    take_descriptors();
}

// With its first stream libuv opens a descriptor that it keeps: now, since a shortage
// that is being met would lose the spare one to it.
void Worker::take_descriptors()
{
    uv_pipe_t first;
    uv_pipe_init(&loop_, &first, 0);
    uv_close(handle_of(first), nullptr);
    uv_run(&loop_, UV_RUN_NOWAIT);
}

Worker::~Worker()
{
    tsession_shared_free(shared_);
    uv_loop_close(&loop_);
}

void Worker::listen(int socket)
{
    listener_ = std::make_unique<Listener>(*this, socket);
}

const char *Worker::serve(int input, int output, const Client &client)
{
    if (const char *why = limits_.enter(client.group))
        return why;
    try {
        auto connection = std::make_unique<Connection>(*this, client);
        connections_.insert(connection.get());
        connection.release()->start(input, output);
        return nullptr;
    } catch (const std::bad_alloc &) {
        limits_.leave(client.group);
        return "Too many sessions, try again later (no memory)";
    }
}

void Worker::run()
{
    const auto resume_scheduled = [](uv_check_t *handle) {
        static_cast<Worker *>(handle->data)->resume_scheduled();
    };
    uv_check_start(&after_events_, resume_scheduled);
    end_if_done();
    uv_run(&loop_, UV_RUN_DEFAULT);
    device::release_thread();
}

void Worker::request_stop()
{
    uv_async_send(&stop_request_);
}

void Worker::stop()
{
    if (listener_)
        listener_->stop();
    static_cast<void>(listener_.release()); // it goes when its handles are closed
    for (auto next = connections_.begin(); next != connections_.end();) // it may go at once
        (*next++)->dismiss("The server is going down", "the server is going down");
    end_if_done();
}

void Worker::schedule(Connection &connection)
{
    if (!std::exchange(connection.is_scheduled, true))
        scheduled_.push_back(&connection);
    uv_idle_start(&no_waiting_, [](uv_idle_t *) {});
}

void Worker::resume_scheduled()
{
    uv_idle_stop(&no_waiting_);
    const std::vector<Connection *> due = std::exchange(scheduled_, {});
    for (Connection *connection : due) {
        connection->is_scheduled = false;
        connection->resume();
    }
}

// Its turn may still be to come: it goes on with nothing then, as its memory lives
// until its handles are closed, which is the last thing in a turn.
void Worker::forget(Connection &connection)
{
    connections_.erase(&connection);
    if (connection.is_scheduled)
        std::erase(scheduled_, &connection);
    end_if_done();
}

void Worker::end_if_done()
{
    if (listener_ || !connections_.empty() || uv_is_closing(handle_of(stop_request_)))
        return;
    uv_close(handle_of(stop_request_), nullptr);
    uv_close(handle_of(after_events_), nullptr);
    uv_close(handle_of(no_waiting_), nullptr);
}

} // namespace telnetd
