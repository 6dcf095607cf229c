// A client's bytes to its session, a line at a time, and the session's to the client.
// Callbacks of the session only note what is to be done; settle does it, once the
// call on the session has returned.
//
// What a client can make the server keep is bounded: of input by two reads, of output
// by --backlog. While a quarter of that waits, the session gets no input and a long
// output pauses; what the client sends meanwhile is read only until the first bound.

#include "connection.h"

#include <algorithm>
#include <new>
#include <utility>

#include <netinet/in.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include "limits.h"
#include "log.h"
#include "worker.h"

namespace telnetd {
namespace {

constexpr unsigned keep_alive_seconds = 60;
constexpr uint64_t drain_ms = 5000;
constexpr uint64_t linger_ms = 2000;
constexpr uint64_t never = UINT64_MAX;
constexpr size_t most_reminders = 8;
constexpr size_t longest_slice = 256;

constexpr std::string_view no_session = "Too many sessions, try again later (no memory)\r\n";

constexpr char interrupt_key = 3;   // Ctrl-C
constexpr char telnet_command = -1; // IAC, which begins an interrupt too

Connection &connection_of(void *console)
{
    return *static_cast<Connection *>(static_cast<device::Console *>(console)->host);
}

bool is_same_file(int one, int other)
{
    struct stat a, b;
    return one == other || (fstat(one, &a) == 0 && fstat(other, &b) == 0 && a.st_dev == b.st_dev &&
                            a.st_ino == b.st_ino);
}

bool can_interrupt(std::string_view held)
{
    return held.find(interrupt_key) != held.npos || held.find(telnet_command) != held.npos;
}

template <typename Handle>
Connection &owner_of(Handle *handle)
{
    return *static_cast<Connection *>(handle->data);
}

} // namespace

Connection::Connection(Worker &worker, const Client &client)
    : worker_(worker), client_(client),
      output_([this](int error) { take_turn([this, error] { on_sent(error); }); })
{}

// Nothing may be thrown through libuv: a connection that there is no memory for ends.
template <typename Act>
void Connection::take_turn(const Act &act)
{
    if (phase_ == Phase::gone)
        return;
    try {
        act();
        settle();
    } catch (const std::bad_alloc &) {
        fail("out of memory");
        tear_down();
    }
}

// Opening

void Connection::start(int input, int output)
{
    uv_timer_init(worker_.loop(), &alarm_);
    alarm_.data = this;
    open_handles_++;
    opened_at_ = heard_at_ = uv_now(worker_.loop());
    spdlog::info("{} connected, {} of {} sessions", client_.name, worker_.limits().sessions(),
                 worker_.settings().max_sessions);
    take_turn([=, this] {
        if (!open_streams(input, output))
            return fail("out of descriptors");
        if (!create_session()) {
            send(no_session.data(), no_session.size());
            return fail("out of memory or descriptors");
        }
        tsession_write_clean(console_.session, worker_.settings().motd.c_str());
        tsession_start(console_.session);
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
        uv_tcp_nodelay(&stream.tcp, 1);
        uv_tcp_keepalive(&stream.tcp, 1, keep_alive_seconds);
    }
    if (opened != 0)
        ::close(fd);
    return opened;
}

bool Connection::create_session()
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = TSESSION_TELNET;
    config.prompt = "varno> ";
    config.graph = device::graph();
    config.shared = worker_.shared();
    config.user = &console_;
    config.output = [](tsession_s *, void *console, const char *bytes, size_t count) {
        connection_of(console).send(bytes, count);
    };
    config.line = device::run_line;
    config.event = [](tsession_s *, void *console, const tsession_event_s *event) {
        connection_of(console).take_event(*event);
    };
    console_.host = this;
    console_.session = tsession_create(&config);
    if (console_.session)
        device::attach(console_, client_.name);
    return console_.session != nullptr;
}

// Input

void Connection::take_bytes(ssize_t count, const char *bytes)
{
    heard_at_ = uv_now(worker_.loop());
    if (count == UV_EOF) {
        has_input_ended_ = true;
    } else if (count < 0) {
        fail(uv_strerror(static_cast<int>(count)));
    } else if (phase_ == Phase::open) {
        held_.append(bytes, static_cast<size_t>(count));
        take_held();
    }
    // One read a turn: libuv would come back with the next at once.
    has_read_enough_ = count == static_cast<ssize_t>(Worker::read_size);
    if (has_read_enough_)
        worker_.schedule(*this);
}

// Hands over what the session may have now.
void Connection::take_held()
{
    std::string_view left = held_;
    while (const size_t count = next_slice(left)) {
        if (!tsession_has_more(console_.session))
            resume_output(); // so that it takes what is typed ahead of the next long output
        device::take_input(console_, left.data(), count);
        left.remove_prefix(count);
        note_wait();
    }
    held_.erase(0, held_.size() - left.size());
    if (held_.empty())
        std::string().swap(held_); // an idle session keeps no room for input
}

// A line at most: what one brings about may be much. Keys meant for the line after a
// long output wait for its end, but an interrupt may be what ends it.
size_t Connection::next_slice(std::string_view held) const
{
    const bool is_held_back =
        tsession_has_more(console_.session) ? !can_interrupt(held) : is_blocked_;
    if (is_held_back || has_failed_ || tsession_is_closed(console_.session))
        return 0;
    const size_t most = std::min(held.size(), longest_slice);
    const size_t line = held.find_first_of("\r\n");
    return line < most ? line + 1 : most;
}

void Connection::note_wait()
{
    const int32_t wait = tsession_wait(console_.session);
    escape_at_ = wait <= 0 ? never : uv_now(worker_.loop()) + static_cast<uint64_t>(wait);
}

void Connection::take_event(const tsession_event_s &event)
{
    device::take_event(console_, event);
    switch (event.kind) {
    case TSESSION_TERMINAL:
        return spdlog::debug("{} is a {}", client_.name, for_log(event.text));
    case TSESSION_FAULT:
        spdlog::error("{} internal fault: {}", client_.name, for_log(event.text));
        return note_reason("internal fault");
    }
}

void Connection::resume()
{
    take_turn([this] {
        has_read_enough_ = false;
        if (phase_ != Phase::open)
            return;
        take_held(); // first: an output that fills the queue each time could not be interrupted
        resume_output();
        take_held();
    });
}

// Output

void Connection::send(const char *bytes, size_t count)
{
    if (has_failed_)
        return;
    if (const int error = output_.send(bytes, count))
        return fail(uv_strerror(error));
    if (output_.size() > worker_.settings().backlog)
        return fail("too much output waits");
    is_blocked_ = output_.size() > worker_.settings().backlog / 4;
    if (is_blocked_ && console_.session)
        tsession_set_writable(console_.session, 0);
}

void Connection::resume_output()
{
    if (is_blocked_ || has_failed_)
        return;
    tsession_set_writable(console_.session, 1);
    if (tsession_wait(console_.session) != 0)
        return;
    device::time_out(console_);
    note_wait();
}

void Connection::on_sent(int error)
{
    if (error != 0)
        fail(uv_strerror(error));
    if (is_blocked_ && output_.size() <= worker_.settings().backlog / 8) {
        is_blocked_ = false;
        worker_.schedule(*this);
    }
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

void Connection::dismiss(const char *message, const char *reason)
{
    if (phase_ == Phase::open)
        take_turn([=, this] { close_session(message, reason); });
}

void Connection::close_session(const char *message, const char *reason)
{
    note_reason(reason);
    tsession_print(console_.session, "%s\n", message);
    tsession_close(console_.session);
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
    tsession_s *s = console_.session;
    const bool has_more = tsession_has_more(s) != 0;
    if (has_input_ended_ && held_.empty() && !has_more) {
        note_reason("the client has hung up");
        tsession_close(s);
    }
    if (tsession_is_closed(s))
        start_draining();
    else if (!is_blocked_ && (has_more || !held_.empty()))
        worker_.schedule(*this);
}

void Connection::start_draining()
{
    note_reason("logged out");
    free_session();
    std::string().swap(held_);
    reminders_.clear();
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
        connection.take_turn([&connection, status] { connection.on_shut_down(status); });
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
    if (!console_.session)
        return;
    device::detach(console_);
    tsession_free(console_.session);
    console_.session = nullptr;
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
    spdlog::info("{} disconnected after {} s: {}", client_.name,
                 (uv_now(worker_.loop()) - opened_at_) / 1000, reason_);
    worker_.limits().leave(client_.group);
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
            connection.take_turn([&] { connection.take_bytes(count, room->base); });
    };
    uv_read_start(&input_.stream, give_room, on_read);
}

// Deadlines. One timer is set to the nearest of them.

bool Connection::remind(long seconds, const std::string &text)
{
    if (reminders_.size() >= most_reminders)
        return false;
    const auto delay = static_cast<uint64_t>(seconds) * 1000;
    reminders_.push_back({uv_now(worker_.loop()) + delay, text + "\n"});
    return true;
}

// What is held may be the rest of the sequence.
uint64_t Connection::escape_at() const
{
    return held_.empty() ? escape_at_ : never;
}

uint64_t Connection::idle_at() const
{
    const unsigned idle = worker_.settings().idle_seconds;
    return idle == 0 ? never : heard_at_ + idle * uint64_t{1000};
}

uint64_t Connection::stall_ms() const
{
    return worker_.settings().stall_seconds * uint64_t{1000};
}

uint64_t Connection::stall_at() const
{
    return output_.is_empty() ? never : output_.advanced_at() + stall_ms();
}

void Connection::set_alarm()
{
    const uint64_t now = uv_now(worker_.loop());
    uint64_t at = close_at_;
    if (phase_ == Phase::open) {
        at = std::min({escape_at(), idle_at(), stall_at()});
        for (const Reminder &reminder : reminders_)
            at = std::min(at, reminder.at);
    }
    const auto on_time = [](uv_timer_t *timer) {
        Connection &connection = owner_of(timer);
        connection.take_turn([&connection] { connection.on_alarm(); });
    };
    if (at == never)
        uv_timer_stop(&alarm_);
    else
        uv_timer_start(&alarm_, on_time, at > now ? at - now : 0, 0);
}

void Connection::on_alarm()
{
    if (phase_ != Phase::open)
        return fail("it takes too long to close");
    const uint64_t now = uv_now(worker_.loop());
    check_escape(now);
    show_reminders(now);
    check_progress(now);
    check_idle(now);
}

void Connection::check_escape(uint64_t now)
{
    if (now < escape_at())
        return;
    escape_at_ = never;
    device::time_out(console_);
}

void Connection::show_reminders(uint64_t now)
{
    const auto due = std::stable_partition(reminders_.begin(), reminders_.end(),
                                           [now](const Reminder &one) { return one.at > now; });
    for (auto reminder = due; reminder != reminders_.end(); ++reminder)
        tsession_write_clean(console_.session, reminder->text.c_str());
    reminders_.erase(due, reminders_.end());
}

// A client may take its output as slowly as it likes, but not rest.
void Connection::check_progress(uint64_t now)
{
    if (now >= stall_at() && !output_.has_advanced())
        fail("the client takes no output");
}

// Reading a long output is no idleness.
void Connection::check_idle(uint64_t now)
{
    if (now < idle_at())
        return;
    if (tsession_has_more(console_.session) || !output_.is_empty())
        heard_at_ = now;
    else
        close_session("Idle for too long", "idle");
}

} // namespace telnetd
