// A client's bytes to its session and the session's to the client. Callbacks of the
// session only note what is to be done; settle does it, once the call on the session
// has returned. What is read waits for the connection's turn.
//
// What a client can make the server keep is bounded: of input by two reads and what the
// session keeps, of output by the backlog. While a quarter of that waits, the session
// rests; what the client sends meanwhile is read only until the first bound.

#include "connection.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <netinet/in.h>
#include <sys/stat.h>
#include <unistd.h>

#include "worker.h"

namespace varno {
namespace {

constexpr uint64_t turn_ns = 1'000'000;
constexpr unsigned keep_alive_seconds = 60;
constexpr uint64_t drain_ms = 5000;
constexpr uint64_t linger_ms = 2000;
constexpr uint64_t never = UINT64_MAX;
constexpr size_t longest_slice = 256;

constexpr std::string_view no_session = "Too many sessions, try again later (no memory)\r\n";

bool is_same_file(int one, int other)
{
    struct stat a, b;
    return one == other || (fstat(one, &a) == 0 && fstat(other, &b) == 0 && a.st_dev == b.st_dev &&
                            a.st_ino == b.st_ino);
}

template <typename Handle>
Connection &owner_of(Handle *handle)
{
    return *static_cast<Connection *>(handle->data);
}

} // namespace

Connection::Connection(Worker &worker, const Peer &peer, uint64_t number)
    : worker_(worker), config_(worker.server().config),
      peer_(peer), info_{number,    peer_.name.c_str(), peer_.address.c_str(),
                         peer_.pid, peer_.uid,          peer_.gid},
      output_([this](int error) { enter([this, error] { on_sent(error); }); })
{}

// Nothing may be thrown through libuv: a connection that there is no memory for ends.
template <typename Act>
void Connection::enter(const Act &act)
{
    if (phase_ == Phase::gone)
        return;
    is_entered_ = true;
    try {
        act();
        settle();
    } catch (const std::bad_alloc &) {
        fail("out of memory");
        tear_down();
    }
    is_entered_ = false;
}

// Opening

void Connection::start(int input, int output)
{
    uv_timer_init(worker_.loop(), &alarm_);
    alarm_.data = this;
    open_handles_++;
    began_at_ = typed_at_ = uv_now(worker_.loop());
    enter([=, this] {
        if (!open_streams(input, output))
            return fail("out of descriptors");
        if (!create_session()) {
            if (is_let_in_)
                take_output(no_session.data(), no_session.size());
            return fail(is_let_in_ ? "out of memory" : "not let in");
        }
        if (config_.ready)
            config_.ready(&worker_.server(), config_.user, &info_, session_);
        tsession_start(session_);
        note_wait();
    });
}

bool Connection::open_streams(int input, int output)
{
    const bool is_one = is_same_file(input, output);
    if (!is_one)
        other_output_ = std::make_unique<Stream>(Stream{});
    Stream &out = is_one ? input_ : *other_output_;
    output_.attach(&out.stream);
    return open_stream(input_, input) == 0 && (is_one || open_stream(out, output) == 0);
}

int Connection::open_stream(Stream &stream, int fd)
{
    const bool is_tcp = uv_guess_handle(fd) == UV_TCP;
    if (is_tcp)
        uv_tcp_init(worker_.loop(), &stream.tcp);
    else
        uv_pipe_init(worker_.loop(), &stream.pipe, 0);
    open_handles_++;
    stream.handle.data = this;
    const int opened = is_tcp ? uv_tcp_open(&stream.tcp, fd) : uv_pipe_open(&stream.pipe, fd);
    if (opened == 0 && is_tcp) {
        const int on = 1; // urgent data has its place among the rest
        setsockopt(fd, SOL_SOCKET, SO_OOBINLINE, &on, sizeof(on));
        uv_tcp_nodelay(&stream.tcp, 1);
        uv_tcp_keepalive(&stream.tcp, 1, keep_alive_seconds);
    }
    if (opened != 0)
        ::close(fd);
    return opened;
}

bool Connection::create_session()
{
    tsession_config_s session = TSESSION_CONFIG_INIT;
    if (const tsession_config_s *all = config_.session)
        std::memcpy(&session, all, std::min(all->size, sizeof(session)));
    session.size = sizeof(session);
    session.transport = TSESSION_TELNET;
    session.shared = worker_.shared();
    if (config_.begin && config_.begin(&worker_.server(), config_.user, &info_, &session) != 0)
        return false;
    is_let_in_ = true;
    session_user_ = session.user;
    host_event_ = session.event;
    session.output = [](tsession_s *s, void *, const char *bytes, size_t count) {
        if (Connection *connection = Worker::connection_of(s))
            connection->take_output(bytes, count);
    };
    host_line_ = session.line;
    session.line = [](tsession_s *s, void *user, const char *line, const cli_pnode_s *action,
                      cli_pmatch_s *matches) {
        if (Connection *connection = Worker::connection_of(s))
            connection->take_line(user, line, action, matches);
    };
    session.event = [](tsession_s *s, void *user, const tsession_event_s *event) {
        if (Connection *connection = Worker::connection_of(s))
            connection->take_event(user, *event);
    };
    session_ = tsession_create(&session);
    if (session_)
        worker_.know(session_, *this);
    return session_ != nullptr;
}

// Input

void Connection::take_bytes(ssize_t count, const char *bytes)
{
    if (count == UV_EOF)
        has_input_ended_ = true;
    else if (count < 0)
        return fail(uv_strerror(static_cast<int>(count)));
    else if (phase_ == Phase::open)
        held_.append(bytes, static_cast<size_t>(count));
    worker_.server().figures.bytes_in += static_cast<uint64_t>(std::max<ssize_t>(count, 0));
    // One read a turn: libuv would come back with the next at once.
    has_read_enough_ = count == static_cast<ssize_t>(Worker::read_size);
    worker_.schedule(*this);
}

void Connection::take_turn()
{
    enter([this] {
        has_read_enough_ = false;
        if (phase_ != Phase::open)
            return;
        if (config_.before_turn)
            config_.before_turn(&worker_.server(), config_.user, session_);
        try {
            advance_session();
        } catch (const std::bad_alloc &) {
            fail("out of memory");
        }
        if (config_.after_turn)
            config_.after_turn(&worker_.server(), config_.user, session_);
    });
}

// Hands over what the session takes, since an interrupt in it may end what runs, and has
// it go on with its work: up to a line, or for a millisecond.
void Connection::advance_session()
{
    const uint64_t begun_at = uv_hrtime();
    std::string_view left = held_;
    has_run_line_ = false;
    do {
        if (!left.empty() && tsession_wants_input(session_)) {
            const size_t count = std::min(left.size(), longest_slice);
            tsession_input(session_, left.data(), count);
            left.remove_prefix(count);
            is_time_out_due_ = false;
        } else if (std::exchange(is_time_out_due_, false) || tsession_wait(session_) == 0) {
            tsession_time_out(session_);
        } else {
            break;
        }
    } while (!has_run_line_ && !has_failed_ && !tsession_is_closed(session_) &&
             uv_hrtime() - begun_at < turn_ns);
    held_.erase(0, held_.size() - left.size());
    if (held_.empty())
        std::string().swap(held_); // an idle session keeps no room for input
    note_keys();
    note_wait();
    had_all_done = !has_work();
}

// Telnet's own commands are no sign of a person.
void Connection::note_keys()
{
    const uint64_t typed = tsession_typed(session_);
    if (typed != typed_)
        typed_at_ = uv_now(worker_.loop());
    typed_ = typed;
}

// A session times the first prompt of a telnet client, and the rest of a key's sequence.
void Connection::note_wait()
{
    const int32_t wait = tsession_wait(session_);
    wait_over_at_ = wait <= 0 ? never : uv_now(worker_.loop()) + static_cast<uint64_t>(wait);
}

bool Connection::has_work() const
{
    return tsession_wait(session_) == 0 || (!held_.empty() && tsession_wants_input(session_));
}

void Connection::take_line(void *user, const char *line, const cli_pnode_s *action,
                           cli_pmatch_s *matches)
{
    has_run_line_ = true;
    if (host_line_)
        host_line_(session_, user, line, action, matches);
}

void Connection::take_event(void *user, const tsession_event_s &event)
{
    if (event.kind == TSESSION_FAULT)
        note_reason("internal fault");
    if (host_event_)
        host_event_(session_, user, &event);
}

// Output

void Connection::take_output(const char *bytes, size_t count)
{
    if (has_failed_)
        return;
    worker_.server().figures.bytes_out += count;
    if (const int error = output_.add(bytes, count))
        fail(uv_strerror(error));
    else if (output_.size() > config_.backlog)
        fail("too much output waits");
    if (!is_blocked_ && output_.size() > config_.backlog / 4) {
        is_blocked_ = true; // until much less waits
        if (session_)
            tsession_set_writable(session_, 0);
    }
    if (!is_entered_) // the host has called: what follows from it waits for a turn
        worker_.schedule(*this);
}

void Connection::on_sent(int error)
{
    if (error != 0)
        fail(uv_strerror(error));
    if (is_blocked_ && output_.size() <= config_.backlog / 8) {
        is_blocked_ = false;
        if (session_)
            tsession_set_writable(session_, 1);
        worker_.schedule(*this);
    }
}

// What others want of it

void Connection::tell(const char *text)
{
    enter([this, text] {
        if (phase_ == Phase::open)
            write_row(text);
    });
}

void Connection::dismiss(const char *text, const char *reason)
{
    enter([=, this] {
        if (phase_ == Phase::open)
            close_session(text, reason);
    });
}

void Connection::close_session(const char *text, const char *reason)
{
    note_reason(reason);
    write_row(text);
    tsession_close(session_);
}

void Connection::write_row(const char *text)
{
    tsession_write_clean(session_, text);
    tsession_write(session_, "\n", 1);
}

void Connection::run(server_task_fn task, void *ctx)
{
    tsession_s *session = phase_ == Phase::open ? session_ : nullptr;
    if (!session)
        return task(&worker_.server(), nullptr, ctx);
    enter([=, this] { task(&worker_.server(), session, ctx); });
}

int Connection::run_later(uint32_t milliseconds, server_task_fn task, void *ctx)
{
    try {
        later_.push_back({uv_now(worker_.loop()) + milliseconds, task, ctx});
    } catch (const std::bad_alloc &) {
        return -1;
    }
    set_alarm();
    return 0;
}

// The end

void Connection::note_reason(const char *reason)
{
    if (!reason_)
        reason_ = reason;
}

void Connection::fail(const char *reason)
{
    note_reason(reason);
    has_failed_ = true;
}

void Connection::settle()
{
    if (phase_ == Phase::open && !has_failed_)
        settle_session();
    if (phase_ == Phase::draining && output_.is_empty())
        start_lingering();
    if (has_failed_ || (phase_ == Phase::lingering && has_input_ended_))
        return tear_down();
    update_reading();
    set_alarm();
}

// A client that has nothing more to say still gets what it has asked for.
void Connection::settle_session()
{
    if (has_input_ended_ && held_.empty() && !tsession_has_more(session_) &&
        tsession_wait(session_) != 0) {
        note_reason("the client has hung up");
        tsession_close(session_);
    }
    if (tsession_is_closed(session_))
        start_draining();
    else if (has_work() || is_time_out_due_)
        worker_.schedule(*this);
}

void Connection::start_draining()
{
    note_reason("logged out");
    free_session();
    std::string().swap(held_);
    phase_ = Phase::draining;
    close_at_ = uv_now(worker_.loop()) + std::min(drain_ms, stall_ms());
}

// Whoever closes with unread input resets the connection, and the client might lose
// the last words: so it closes first.
void Connection::start_lingering()
{
    phase_ = Phase::lingering;
    close_at_ = uv_now(worker_.loop()) + linger_ms;
    shutdown_.data = this;
    const auto on_shut_down = [](uv_shutdown_t *request, int status) {
        Connection &connection = owner_of(request);
        connection.enter([&connection, status] { connection.on_shut_down(status); });
    };
    uv_stream_t *stream = other_output_ ? &other_output_->stream : &input_.stream;
    if (uv_shutdown(&shutdown_, stream, on_shut_down) != 0)
        has_failed_ = true;
}

// What is no socket cannot be shut down, only closed.
void Connection::on_shut_down(int status)
{
    has_failed_ = has_failed_ || status != 0;
}

void Connection::free_session()
{
    if (!session_)
        return;
    for (const Later &later : std::exchange(later_, {}))
        later.task(&worker_.server(), nullptr, later.ctx);
    tsession_free(session_);
    worker_.forget(session_);
    session_ = nullptr;
}

void Connection::tear_down()
{
    phase_ = Phase::gone;
    free_session();
    const auto on_closed = [](uv_handle_t *handle) {
        Connection &connection = owner_of(handle);
        if (--connection.open_handles_ == 0)
            delete &connection;
    };
    uv_close(reinterpret_cast<uv_handle_t *>(&alarm_), on_closed);
    if (input_.handle.type != UV_UNKNOWN_HANDLE)
        uv_close(&input_.handle, on_closed);
    if (other_output_ && other_output_->handle.type != UV_UNKNOWN_HANDLE)
        uv_close(&other_output_->handle, on_closed);
    worker_.server().limits.leave(peer_.address);
    if (is_let_in_ && config_.end)
        config_.end(&worker_.server(), config_.user, &info_, session_user_, reason_);
    worker_.forget(*this);
}

void Connection::update_reading()
{
    const bool has_room = held_.size() < Worker::read_size;
    const bool is_wanted = has_room && !has_read_enough_ && !has_input_ended_;
    if (is_wanted == is_reading_)
        return;
    is_reading_ = is_wanted;
    if (!is_wanted) {
        uv_read_stop(&input_.stream);
        return;
    }
    const auto give_room = [](uv_handle_t *handle, size_t, uv_buf_t *room) {
        *room = owner_of(handle).worker_.room();
    };
    const auto on_read = [](uv_stream_t *stream, ssize_t count, const uv_buf_t *room) {
        Connection &connection = owner_of(stream);
        if (count != 0)
            connection.enter([&] { connection.take_bytes(count, room->base); });
    };
    uv_read_start(&input_.stream, give_room, on_read);
}

// Deadlines. One timer is set to the nearest of them.

uint64_t Connection::idle_at() const
{
    return config_.idle_seconds == 0 ? never : typed_at_ + config_.idle_seconds * uint64_t{1000};
}

uint64_t Connection::over_at() const
{
    return config_.session_seconds == 0 ? never
                                        : began_at_ + config_.session_seconds * uint64_t{1000};
}

uint64_t Connection::stall_ms() const
{
    return config_.stall_seconds * uint64_t{1000};
}

uint64_t Connection::stall_at() const
{
    return output_.is_empty() ? never : output_.advanced_at() + stall_ms();
}

void Connection::set_alarm()
{
    if (phase_ == Phase::gone)
        return;
    const uint64_t now = uv_now(worker_.loop());
    uint64_t at = close_at_;
    if (phase_ == Phase::open) {
        at = std::min({wait_over_at_, idle_at(), stall_at(), over_at()});
        for (const Later &later : later_)
            at = std::min(at, later.at);
    }
    const auto on_time = [](uv_timer_t *timer) {
        Connection &connection = owner_of(timer);
        connection.enter([&connection] { connection.on_alarm(); });
    };
    if (at == never)
        uv_timer_stop(&alarm_);
    else
        uv_timer_start(&alarm_, on_time, at > now ? at - now : 0, 0);
}

// A client may take its output as slowly as it likes, but not rest.
void Connection::on_alarm()
{
    if (phase_ != Phase::open)
        return fail("it takes too long to close");
    const uint64_t now = uv_now(worker_.loop());
    if (now >= wait_over_at_) {
        wait_over_at_ = never;
        is_time_out_due_ = true; // in its turn
    }
    run_due(now);
    if (now >= stall_at() && !output_.has_advanced())
        fail("the client takes no output");
    if (now >= over_at())
        close_session("The time of this session is over", "session time-out");
    else
        check_idle(now);
}

void Connection::run_due(uint64_t now)
{
    const auto is_waiting = [now](const Later &one) { return one.at > now; };
    const auto first_due = std::stable_partition(later_.begin(), later_.end(), is_waiting);
    const std::vector<Later> due(first_due, later_.end());
    later_.erase(first_due, later_.end());
    // cppcheck-suppress invalidContainer ; due holds copies, no iterators
    for (const Later &later : due)
        later.task(&worker_.server(), session_, later.ctx);
}

// Reading a long output is no idleness. To wait for a command is: nobody need be there for it.
void Connection::check_idle(uint64_t now)
{
    if (now < idle_at())
        return;
    if (has_work() || !output_.is_empty())
        typed_at_ = now;
    else
        close_session("Idle for too long", "idle");
}

} // namespace varno
