// Echo requests (ICMP, by sockets that need no privilege) or, where the system does not
// allow these, connections that are timed. All of them are one thread's, on its loop: a
// session's thread never waits for a name or a host.

#include "ping.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include <netdb.h>
#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <netinet/ip_icmp.h>
#include <unistd.h>
#include <uv.h>

#include "commands.h"

namespace device {
namespace {

constexpr uint16_t echo_port = 7; // whether it answers or refuses, the host is there
constexpr uint64_t longest_wait_ms = 1000;

// What the command and the thread share.
struct Request {
    std::string host;
    int64_t count, bytes, seconds;
    bool is_quiet;
    std::function<void()> wake;

    std::mutex mutex;
    std::vector<std::string> rows;     // that the command has not shown yet
    std::optional<std::string> result; // the last row, once it is over
    bool has_failed = false;
    bool is_cancelled = false;
};

void conclude(Request &request, const std::string &result, bool has_failed)
{
    {
        const std::lock_guard lock(request.mutex);
        request.result = result;
        request.has_failed = has_failed;
    }
    request.wake();
}

// One of them, as the thread has it. It frees itself.
class Run {
  public:
    // Begins. Nothing may be thrown through the loop: every way in goes by enter.
    static void begin(uv_loop_t &loop, const std::shared_ptr<Request> &request);
    // Ends without a word. Those that are left close their handles first.
    void end();
    bool is_cancelled() const;

  private:
    Run(uv_loop_t &loop, std::shared_ptr<Request> request);

    template <typename Act>
    void enter(const Act &act);
    void look_up();
    void on_found(int status, const addrinfo *found);
    void on_time();
    void send_request();
    bool send_echo();
    bool start_connection();
    void wait_for(int events);
    void on_ready();
    bool has_echo();
    void note_answer();
    void note_error(int error);
    void close_socket();
    void add_row(const char *format, ...) VARNO_PRINTF(2, 3);
    void finish(const std::string &result, bool has_failed);
    void free_when_closed();

    uv_loop_t &loop_;
    const std::shared_ptr<Request> request_;
    uv_getaddrinfo_t look_up_ = {};
    uv_timer_t timer_ = {};
    uv_poll_t *poll_ = nullptr; // frees itself
    int open_ = 0;              // of look_up_ and timer_
    bool is_ended_ = false;

    sockaddr_storage address_ = {};
    socklen_t address_len_ = 0;
    char name_[NI_MAXHOST] = ""; // the address in digits
    int socket_ = -1;            // while an answer is waited for
    bool is_echo_ = false;       // it sends echo requests; else it connects
    uint64_t sent_at_ = 0;       // of the last request
    int64_t sent_ = 0;
    int64_t answered_ = 0;
    double shortest_ms_ = 0;
    double longest_ms_ = 0;
};

// The thread, while it runs, and what it is to do.
struct Pinger {
    std::mutex mutex;
    std::thread thread;
    uv_loop_t loop = {};
    uv_async_t changed = {}; // something was asked of it
    std::vector<std::shared_ptr<Request>> asked;
    bool is_running = false;
    bool is_stopping = false;
    std::vector<Run *> runs; // its own
};

Pinger pinger;

Run::Run(uv_loop_t &loop, std::shared_ptr<Request> request)
    : loop_(loop), request_(std::move(request))
{}

void Run::begin(uv_loop_t &loop, const std::shared_ptr<Request> &request)
{
    pinger.runs.reserve(pinger.runs.size() + 1);
    auto run = std::unique_ptr<Run>(new Run(loop, request));
    pinger.runs.push_back(run.get());
    uv_timer_init(&loop, &run->timer_);
    run->timer_.data = run.get();
    run->open_ = 1;
    Run *begun = run.release();
    begun->enter([begun] { begun->look_up(); });
}

bool Run::is_cancelled() const
{
    const std::lock_guard lock(request_->mutex);
    return request_->is_cancelled;
}

template <typename Act>
void Run::enter(const Act &act)
{
    if (is_ended_)
        return;
    try {
        act();
    } catch (const std::bad_alloc &) {
        finish("Out of memory", true); // which takes none
    }
}

void Run::look_up()
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    look_up_.data = this;
    const auto on_found = [](uv_getaddrinfo_t *look_up, int status, addrinfo *found) {
        Run &run = *static_cast<Run *>(look_up->data);
        run.open_--;
        run.enter([&] { run.on_found(status, found); });
        uv_freeaddrinfo(found);
        run.free_when_closed();
    };
    if (const int error =
            uv_getaddrinfo(&loop_, &look_up_, on_found, request_->host.c_str(), nullptr, &hints))
        return finish(uv_strerror(error), true);
    open_++;
}

void Run::on_found(int status, const addrinfo *found)
{
    if (status != 0)
        return finish(request_->host + ": " + uv_strerror(status), true);
    std::memcpy(&address_, found->ai_addr, found->ai_addrlen);
    address_len_ = found->ai_addrlen;
    getnameinfo(found->ai_addr, address_len_, name_, sizeof(name_), nullptr, 0, NI_NUMERICHOST);
    auto *port = address_.ss_family == AF_INET6
                     ? &reinterpret_cast<sockaddr_in6 *>(&address_)->sin6_port
                     : &reinterpret_cast<sockaddr_in *>(&address_)->sin_port;
    *port = htons(echo_port);
    send_request();
}

// The time for an answer is over, or that between two requests.
void Run::on_time()
{
    if (socket_ >= 0)
        add_row("request %lld: no answer", static_cast<long long>(sent_));
    close_socket();
    if (sent_ < request_->count)
        return send_request();
    char text[128 + NI_MAXHOST];
    if (answered_ == 0)
        std::snprintf(text, sizeof(text), "%s does not answer", name_);
    else
        std::snprintf(text, sizeof(text), "%lld requests, %lld answers, %.3f to %.3f ms",
                      static_cast<long long>(sent_), static_cast<long long>(answered_),
                      shortest_ms_, longest_ms_);
    finish(text, answered_ == 0);
}

void Run::send_request()
{
    sent_++;
    const auto on_timer = [](uv_timer_t *timer) {
        Run &run = *static_cast<Run *>(timer->data);
        run.enter([&run] { run.on_time(); });
    };
    const bool is_last = sent_ == request_->count;
    const uint64_t wait_ms =
        is_last ? longest_wait_ms : static_cast<uint64_t>(request_->seconds) * 1000;
    uv_timer_start(&timer_, on_timer, wait_ms, 0);
    sent_at_ = uv_hrtime();
    if (!send_echo() && !start_connection())
        note_error(errno);
}

// Returns: false when the system has no such sockets for us.
bool Run::send_echo()
{
    const bool is_v6 = address_.ss_family == AF_INET6;
    socket_ = socket(address_.ss_family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC,
                     is_v6 ? static_cast<int>(IPPROTO_ICMPV6) : static_cast<int>(IPPROTO_ICMP));
    is_echo_ = socket_ >= 0;
    if (!is_echo_)
        return false;
    std::string message(sizeof(icmphdr) + static_cast<size_t>(request_->bytes), 'v');
    icmphdr header = {}; // the same for both families; the system adds sum and identifier
    header.type = is_v6 ? static_cast<uint8_t>(ICMP6_ECHO_REQUEST) : uint8_t{ICMP_ECHO};
    header.un.echo.sequence = htons(static_cast<uint16_t>(sent_));
    std::memcpy(message.data(), &header, sizeof(header));
    if (sendto(socket_, message.data(), message.size(), 0,
               reinterpret_cast<const sockaddr *>(&address_), address_len_) < 0)
        note_error(errno);
    else
        wait_for(UV_READABLE);
    return true;
}

// Returns: false with errno when the connection cannot even begin.
bool Run::start_connection()
{
    socket_ = socket(address_.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (socket_ < 0)
        return false;
    if (connect(socket_, reinterpret_cast<const sockaddr *>(&address_), address_len_) != 0 &&
        errno != EINPROGRESS && errno != ECONNREFUSED)
        return false;
    wait_for(UV_WRITABLE);
    return true;
}

void Run::wait_for(int events)
{
    poll_ = std::make_unique<uv_poll_t>().release();
    const auto on_event = [](uv_poll_t *poll, int, int) {
        Run &run = *static_cast<Run *>(poll->data);
        run.enter([&run] { run.on_ready(); });
    };
    uv_poll_init(&loop_, poll_, socket_);
    poll_->data = this;
    uv_poll_start(poll_, events, on_event);
}

void Run::on_ready()
{
    if (is_echo_) {
        if (has_echo())
            note_answer();
        return;
    }
    int error = 0;
    socklen_t len = sizeof(error);
    getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &len);
    if (error == 0 || error == ECONNREFUSED)
        note_answer();
    else
        note_error(error);
}

// The system gives a socket the answers to its own requests alone; it has sent one.
bool Run::has_echo()
{
    icmphdr header = {};
    const ssize_t count = recv(socket_, &header, sizeof(header), 0);
    if (count < 0 && errno != EAGAIN)
        note_error(errno);
    return count == static_cast<ssize_t>(sizeof(header)) &&
           header.un.echo.sequence == htons(static_cast<uint16_t>(sent_));
}

void Run::note_answer()
{
    const double ms = static_cast<double>(uv_hrtime() - sent_at_) / 1e6;
    shortest_ms_ = answered_ == 0 ? ms : std::min(shortest_ms_, ms);
    longest_ms_ = std::max(longest_ms_, ms);
    answered_++;
    close_socket();
    if (is_echo_)
        add_row("request %lld: %lld bytes from %s in %.3f ms", static_cast<long long>(sent_),
                static_cast<long long>(request_->bytes), name_, ms);
    else
        add_row("request %lld: %s has answered a connection in %.3f ms",
                static_cast<long long>(sent_), name_, ms);
    if (sent_ == request_->count)
        on_time();
}

void Run::note_error(int error)
{
    close_socket();
    add_row("request %lld: %s", static_cast<long long>(sent_), uv_strerror(-error));
}

void Run::close_socket()
{
    if (uv_poll_t *poll = std::exchange(poll_, nullptr))
        uv_close(reinterpret_cast<uv_handle_t *>(poll),
                 [](uv_handle_t *closed) { delete reinterpret_cast<uv_poll_t *>(closed); });
    if (socket_ >= 0)
        close(std::exchange(socket_, -1));
}

void Run::add_row(const char *format, ...)
{
    if (request_->is_quiet)
        return;
    char text[128 + NI_MAXHOST];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof(text), format, values);
    va_end(values);
    {
        const std::lock_guard lock(request_->mutex);
        request_->rows.emplace_back(text);
    }
    request_->wake();
}

void Run::finish(const std::string &result, bool has_failed)
{
    conclude(*request_, result, has_failed);
    end();
}

void Run::end()
{
    if (std::exchange(is_ended_, true))
        return;
    close_socket();
    std::erase(pinger.runs, this);
    uv_cancel(reinterpret_cast<uv_req_t *>(&look_up_)); // where it cannot be, it is waited for
    uv_close(reinterpret_cast<uv_handle_t *>(&timer_), [](uv_handle_t *timer) {
        Run &run = *static_cast<Run *>(timer->data);
        run.open_--;
        run.free_when_closed();
    });
}

void Run::free_when_closed()
{
    if (open_ == 0)
        delete this;
}

// The thread

void on_change(uv_async_t *changed)
{
    std::vector<std::shared_ptr<Request>> asked;
    bool is_stopping = false;
    {
        const std::lock_guard lock(pinger.mutex);
        asked.swap(pinger.asked);
        is_stopping = pinger.is_stopping;
    }
    for (const auto &request : asked) {
        try {
            Run::begin(pinger.loop, request);
        } catch (const std::bad_alloc &) {
            conclude(*request, "Out of memory", true);
        }
    }
    for (size_t i = pinger.runs.size(); i > 0; i--) { // from the last: one that ends goes
        if (is_stopping || pinger.runs[i - 1]->is_cancelled())
            pinger.runs[i - 1]->end();
    }
    if (is_stopping)
        uv_close(reinterpret_cast<uv_handle_t *>(changed), nullptr);
}

void start_request(const std::shared_ptr<Request> &request)
{
    const std::lock_guard lock(pinger.mutex);
    pinger.asked.push_back(request);
    if (!pinger.is_running) {
        uv_loop_init(&pinger.loop);
        uv_async_init(&pinger.loop, &pinger.changed, on_change);
        pinger.thread = std::thread([] { uv_run(&pinger.loop, UV_RUN_DEFAULT); });
        pinger.is_running = true;
    }
    uv_async_send(&pinger.changed);
}

void cancel_request(Request &request)
{
    {
        const std::lock_guard lock(request.mutex);
        request.is_cancelled = true;
    }
    const std::lock_guard lock(pinger.mutex);
    if (pinger.is_running)
        uv_async_send(&pinger.changed);
}

// What a command keeps: when it ends, its request does, too.
struct Asked {
    std::shared_ptr<Request> request;

    ~Asked()
    {
        if (request)
            cancel_request(*request);
    }
};

int64_t number_or(cli_call_s *call, const char *name, int64_t other)
{
    return cli_has(call, name) ? cli_number(call, name) : other;
}

} // namespace

void stop_pings()
{
    {
        const std::lock_guard lock(pinger.mutex);
        if (!pinger.is_running)
            return;
        pinger.is_stopping = true;
        uv_async_send(&pinger.changed);
    }
    pinger.thread.join();
    uv_loop_close(&pinger.loop);
    pinger.is_running = pinger.is_stopping = false;
}

// Called again each time that there is something to show.
int32_t ping(cli_call_s *call, Console &console)
{
    auto &asked = kept_of<Asked>(call);
    if (!host().waker) {
        cli_fail(call, "Nothing can be waited for");
        return CLI_FAILED;
    }
    if (!asked.request) {
        const auto request = std::make_shared<Request>();
        request->host = cli_text(call, "HOST");
        request->count = number_or(call, "COUNT", 5);
        request->bytes = number_or(call, "BYTES", 56);
        request->seconds = number_or(call, "SECONDS", 1);
        request->is_quiet = cli_has(call, "quiet") != 0;
        request->wake = host().waker(console, cli_ticket(call));
        start_request(request);
        asked.request = request;
        return CLI_LATER;
    }
    Request &request = *asked.request;
    const std::lock_guard lock(request.mutex);
    for (const std::string &row : std::exchange(request.rows, {}))
        cli_print(call, "%s\n", row.c_str());
    if (!request.result)
        return CLI_LATER;
    if (!request.has_failed) {
        cli_print(call, "%s\n", request.result->c_str());
        return CLI_DONE;
    }
    cli_fail(call, "%s", request.result->c_str());
    return CLI_FAILED;
}

} // namespace device
