// A turn of the loop: what has come is read, then the connections that have work to do
// take turns for a few milliseconds, so that what has come meanwhile does not wait for
// all of them. Those that had nothing to do for a while go first: a key of somebody who
// types is answered before the next line of somebody who floods.

#include "worker.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include <malloc.h>
#include <unistd.h>

#include "connection.h"
#include "introduction.h"
#include "listener.h"

namespace varno {
namespace {

constexpr uint64_t turns_ns = 4'000'000; // in a turn of the loop, and one turn more
constexpr uint64_t fresh_ns = 10'000'000;
constexpr int most_fresh_turns = 8; // one after another
constexpr size_t most_introductions = 256;
constexpr unsigned many_ended = 100;
constexpr uint64_t quiet_ms = 2000;

thread_local Worker *own_worker = nullptr;

uv_handle_t *handle_of(auto &handle)
{
    return reinterpret_cast<uv_handle_t *>(&handle);
}

// Returns: the loop, once it works.
uv_loop_t *begin_loop(uv_loop_t *loop)
{
    if (uv_loop_init(loop) != 0)
        throw std::bad_alloc();
    return loop;
}

void close_client(int input, int output)
{
    close(input);
    if (output != input)
        close(output);
}

} // namespace

Worker::Worker(server_s &server, size_t index)
    : server_(server), index_(index), refusals_(server, begin_loop(&loop_))
{
    const auto on_mail = [](uv_async_t *handle) {
        static_cast<Worker *>(handle->data)->take_letters();
    };
    if (uv_async_init(&loop_, &mail_, on_mail) != 0)
        throw std::bad_alloc();
    uv_check_init(&loop_, &after_events_);
    uv_idle_init(&loop_, &no_waiting_);
    uv_timer_init(&loop_, &quiet_);
    mail_.data = after_events_.data = quiet_.data = this;
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

// A worker that has never run still has its handles.
Worker::~Worker()
{
    if (!uv_is_closing(handle_of(mail_)))
        end_if_done();
    uv_run(&loop_, UV_RUN_DEFAULT);
    uv_loop_close(&loop_);
    for (const int socket : sockets_)
        close(socket);
    for (const auto &[input, output] : first_clients_)
        close_client(input, output);
}

void Worker::run()
{
    own_worker = this;
    shared_ = tsession_shared_create(); // without memory each session has its own
    const auto go = [](uv_check_t *handle) { static_cast<Worker *>(handle->data)->take_turns(); };
    uv_check_start(&after_events_, go);
    for (const int socket : std::exchange(sockets_, {}))
        listeners_.push_back(new Listener(*this, socket));
    serve_first_clients();
    end_if_done();
    uv_run(&loop_, UV_RUN_DEFAULT);
    if (server_.config.thread_end)
        server_.config.thread_end(&server_, server_.config.user);
    tsession_shared_free(shared_);
    own_worker = nullptr;
}

void Worker::serve_first_clients()
{
    for (const auto &[input, output] : std::exchange(first_clients_, {})) {
        if (serve(input, output, describe_peer_of(input)))
            close_client(input, output);
    }
}

const char *Worker::serve(int input, int output, const Peer &peer)
{
    if (const char *why = server_.limits.enter(peer.address, uv_now(&loop_)))
        return why;
    try {
        const uint64_t number = clients_++ * server_.workers.size() + index_ + 1;
        auto connection = std::make_unique<Connection>(*this, peer, number);
        connections_.emplace(number, connection.get());
        server_.figures.accepted++;
        connection.release()->start(input, output);
        return nullptr;
    } catch (const std::bad_alloc &) {
        server_.limits.leave(peer.address);
        return "Too many sessions, try again later (no memory)";
    }
}

void Worker::meet(int fd, const Peer &peer)
{
    if (!server_.proxies.contains(peer.host))
        return let_in(fd, peer);
    if (introductions_.size() >= most_introductions)
        return refuse(fd, peer, "Too many sessions, try again later");
    auto introduction = std::make_unique<Introduction>(*this, fd, peer);
    introductions_.insert(introduction.get());
    introduction.release()->read_header();
}

void Worker::let_in(int fd, const Peer &peer)
{
    try {
        if (const char *why = serve(fd, fd, peer))
            refuse(fd, peer, why);
    } catch (const std::bad_alloc &) {
        close(fd);
    }
}

// Letters

bool Worker::put(Letter letter)
{
    const std::lock_guard lock(mutex_);
    if (has_ended_)
        return false;
    if (letter.kind == Letter::Kind::stop)
        stop_ = std::move(letter); // for which there is always room
    else
        letters_.push_back(std::move(letter));
    uv_async_send(&mail_);
    return true;
}

void Worker::take_letters()
{
    std::vector<Letter> letters;
    std::optional<Letter> stop;
    {
        const std::lock_guard lock(mutex_);
        letters.swap(letters_);
        stop.swap(stop_);
    }
    for (const Letter &letter : letters)
        take(letter);
    if (stop)
        take(*stop);
    end_if_done();
}

void Worker::take(const Letter &letter)
{
    switch (letter.kind) {
    case Letter::Kind::stop:
        return stop(letter.text);
    case Letter::Kind::tell:
        for (auto next = connections_.begin(); next != connections_.end();) // it may go
            (next++)->second->tell(letter.text.c_str());
        return;
    case Letter::Kind::task:
        const auto found = connections_.find(letter.client);
        if (found == connections_.end())
            letter.task(&server_, nullptr, letter.ctx);
        else
            found->second->run(letter.task, letter.ctx);
        return;
    }
}

void Worker::stop(const std::string &text)
{
    for (Listener *listener : std::exchange(listeners_, {}))
        listener->stop();
    while (!introductions_.empty())
        (*introductions_.begin())->give_up();
    for (auto next = connections_.begin(); next != connections_.end();) // it may go
        (next++)->second->dismiss(text.c_str(), "the server is going down");
}

// Turns

void Worker::schedule(Connection &connection)
{
    if (std::exchange(connection.is_scheduled, true))
        return;
    const bool is_fresh =
        connection.had_all_done && uv_hrtime() - connection.had_turn_at >= fresh_ns;
    (is_fresh ? fresh_ : ring_).push_back(&connection);
    uv_idle_start(&no_waiting_, [](uv_idle_t *) {});
}

// Returns: NULL when nobody has anything to do. Now and then it is the ring's turn all the
// same, so that many who type do not stop it.
Connection *Worker::next_in_turn()
{
    const bool is_rings = fresh_.empty() || (fresh_turns_ >= most_fresh_turns && !ring_.empty());
    std::deque<Connection *> &queue = is_rings ? ring_ : fresh_;
    fresh_turns_ = is_rings ? 0 : fresh_turns_ + 1;
    if (queue.empty())
        return nullptr;
    Connection *next = queue.front();
    queue.pop_front();
    next->is_scheduled = false;
    return next;
}

void Worker::take_turns()
{
    const uint64_t begun_at = uv_hrtime();
    uint64_t now = begun_at;
    while (now - begun_at < turns_ns) {
        Connection *connection = next_in_turn();
        if (!connection)
            break;
        connection->had_turn_at = now;
        connection->take_turn();
        const uint64_t ended_at = uv_hrtime();
        server_.note_turn(ended_at - now);
        now = ended_at;
    }
    if (fresh_.empty() && ring_.empty())
        uv_idle_stop(&no_waiting_);
}

// Connections

void Worker::know(const tsession_s *session, Connection &connection)
{
    by_session_.emplace(session, &connection);
}

Connection *Worker::connection_of(const tsession_s *session)
{
    if (!own_worker)
        return nullptr;
    const auto found = own_worker->by_session_.find(session);
    return found == own_worker->by_session_.end() ? nullptr : found->second;
}

void Worker::forget(Connection &connection)
{
    connections_.erase(connection.number());
    std::erase(fresh_, &connection);
    std::erase(ring_, &connection);
    if (++ended_ == many_ended) {
        const auto trim = [](uv_timer_t *timer) {
            static_cast<Worker *>(timer->data)->trim_memory();
        };
        uv_timer_start(&quiet_, trim, quiet_ms, 0);
    }
    end_if_done();
}

// What a crowd has left goes back to the system; the C library would keep most of it.
void Worker::trim_memory()
{
    ended_ = 0;
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

bool Worker::close_mailbox()
{
    const std::lock_guard lock(mutex_);
    has_ended_ = letters_.empty();
    return has_ended_;
}

void Worker::end_if_done()
{
    if (!listeners_.empty() || !connections_.empty() || uv_is_closing(handle_of(mail_)) ||
        !close_mailbox())
        return;
    uv_close(handle_of(mail_), nullptr);
    uv_close(handle_of(after_events_), nullptr);
    uv_close(handle_of(no_waiting_), nullptr);
    uv_close(handle_of(quiet_), nullptr);
    refusals_.end();
}

} // namespace varno
