// "ping": requests to a host, one after the other. Those of all sessions are one thread's, on
// its loop: a session's thread never waits for a name or a host.

#include "ping.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <list>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <uv.h>

#include "commands.h"
#include "probe.h"

namespace device {
namespace {

constexpr uint64_t longest_wait_ms = 1000;

// What the command and the thread share.
struct Request {
    std::string host;
    int64_t count, bytes, seconds;
    bool is_quiet;
    std::function<void()> wake;

    std::mutex mutex;
    std::vector<std::string> rows;     // that the command has not shown yet
    std::string progress;              // in place of these, with "quiet"
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

// Takes a run off the thread's list, once nothing of it is open.
void release(const class Run &run);

// One of them, as the thread has it.
class Run {
  public:
    Run(uv_loop_t &loop, std::shared_ptr<Request> request)
        : loop_(loop), request_(std::move(request))
    {}

    void begin()
    {
        uv_timer_init(&loop_, &timer_);
        timer_.data = look_up_.data = this;
        open_ = 1;
        enter([this] { look_up(); });
    }

    // Without a word. What is still open closes on the loop, then the run is released.
    void end()
    {
        if (std::exchange(is_ended_, true))
            return;
        give_up_request();
        uv_cancel(reinterpret_cast<uv_req_t *>(&look_up_)); // where it cannot be, it is waited for
        uv_close(reinterpret_cast<uv_handle_t *>(&timer_),
                 [](uv_handle_t *timer) { static_cast<Run *>(timer->data)->note_closed(); });
    }

    bool is_cancelled() const
    {
        const std::lock_guard lock(request_->mutex);
        return request_->is_cancelled;
    }

  private:
    // Nothing may be thrown through the loop: every way in goes by this.
    template <typename Act>
    void enter(const Act &act)
    {
        if (is_ended_)
            return;
        try {
            act();
        } catch (const std::bad_alloc &) {
            finish("Out of memory", true); // which takes none
        }
    }

    void note_closed()
    {
        if (--open_ == 0)
            release(*this);
    }

    void look_up()
    {
        addrinfo hints = {};
        hints.ai_socktype = SOCK_STREAM;
        const auto on_found = [](uv_getaddrinfo_t *look_up, int status, addrinfo *found) {
            Run &run = *static_cast<Run *>(look_up->data);
            run.enter([&] { run.take_address(status, found); });
            uv_freeaddrinfo(found);
            run.note_closed();
        };
        const char *host = request_->host.c_str();
        if (const int error = uv_getaddrinfo(&loop_, &look_up_, on_found, host, nullptr, &hints))
            return finish(uv_strerror(error), true);
        open_++;
    }

    void take_address(int status, const addrinfo *found)
    {
        if (status != 0)
            return finish(request_->host + ": " + uv_strerror(status), true);
        probe_.aim(found->ai_addr, found->ai_addrlen);
        send_request();
    }

    void send_request()
    {
        sent_++;
        tell_progress();
        const auto on_timer = [](uv_timer_t *timer) {
            Run &run = *static_cast<Run *>(timer->data);
            run.enter([&run] { run.on_time(); });
        };
        const bool is_last = sent_ == request_->count;
        const uint64_t wait_ms =
            is_last ? longest_wait_ms : static_cast<uint64_t>(request_->seconds) * 1000;
        uv_timer_start(&timer_, on_timer, wait_ms, 0);
        sent_at_ = uv_hrtime();
        const auto bytes = static_cast<size_t>(request_->bytes);
        if (const int error = probe_.send(static_cast<uint16_t>(sent_), bytes))
            return add_row("%s", uv_strerror(-error));
        wait_for_answer();
    }

    void wait_for_answer()
    {
        poll_ = std::make_unique<uv_poll_t>().release();
        const auto on_event = [](uv_poll_t *poll, int, int) {
            Run &run = *static_cast<Run *>(poll->data);
            run.enter([&run] { run.on_ready(); });
        };
        uv_poll_init(&loop_, poll_, probe_.socket());
        poll_->data = this;
        uv_poll_start(poll_, probe_.is_echo() ? UV_READABLE : UV_WRITABLE, on_event);
    }

    void on_ready()
    {
        const int error = probe_.answer();
        if (error == EAGAIN)
            return;
        give_up_request();
        if (error != 0)
            return add_row("%s", uv_strerror(-error));
        const double ms = static_cast<double>(uv_hrtime() - sent_at_) / 1e6;
        shortest_ms_ = answered_ == 0 ? ms : std::min(shortest_ms_, ms);
        longest_ms_ = std::max(longest_ms_, ms);
        answered_++;
        tell_progress();
        if (probe_.is_echo())
            add_row("%lld bytes from %s in %.3f ms", static_cast<long long>(request_->bytes),
                    probe_.name(), ms);
        else
            add_row("%s has answered a connection in %.3f ms", probe_.name(), ms);
        if (sent_ == request_->count)
            on_time();
    }

    // The time for an answer is over, or that between two requests.
    void on_time()
    {
        if (probe_.is_waiting())
            add_row("no answer");
        give_up_request();
        if (sent_ < request_->count)
            return send_request();
        char text[128 + NI_MAXHOST];
        if (answered_ == 0)
            std::snprintf(text, sizeof(text), "%s does not answer", probe_.name());
        else
            std::snprintf(text, sizeof(text), "%lld requests, %lld answers, %.3f to %.3f ms",
                          static_cast<long long>(sent_), static_cast<long long>(answered_),
                          shortest_ms_, longest_ms_);
        finish(text, answered_ == 0);
    }

    // The loop lets go of the socket before it is closed.
    void give_up_request()
    {
        if (uv_poll_t *poll = std::exchange(poll_, nullptr))
            uv_close(reinterpret_cast<uv_handle_t *>(poll),
                     [](uv_handle_t *closed) { delete reinterpret_cast<uv_poll_t *>(closed); });
        probe_.give_up();
    }

    void tell_progress()
    {
        if (!request_->is_quiet)
            return;
        {
            const std::lock_guard lock(request_->mutex);
            request_->progress = std::to_string(sent_) + " of " + std::to_string(request_->count) +
                                 " requests, " + std::to_string(answered_) + " answers";
        }
        request_->wake();
    }

    // What has become of the last request.
    void add_row(const char *format, ...) VARNO_PRINTF(2, 3)
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
            request_->rows.push_back("request " + std::to_string(sent_) + ": " + text);
        }
        request_->wake();
    }

    void finish(const std::string &result, bool has_failed)
    {
        conclude(*request_, result, has_failed);
        end();
    }

    uv_loop_t &loop_;
    const std::shared_ptr<Request> request_;
    uv_getaddrinfo_t look_up_ = {};
    uv_timer_t timer_ = {};
    uv_poll_t *poll_ = nullptr; // while an answer is waited for; it frees itself
    int open_ = 0;              // of look_up_ and timer_
    bool is_ended_ = false;

    Probe probe_;
    uint64_t sent_at_ = 0; // of the last request
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
    std::list<Run> runs; // its own
};

Pinger pinger;

void release(const Run &run)
{
    pinger.runs.remove_if([&run](const Run &one) { return &one == &run; });
}

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
            pinger.runs.emplace_back(pinger.loop, request).begin();
        } catch (const std::bad_alloc &) {
            conclude(*request, "Out of memory", true);
        }
    }
    for (Run &run : pinger.runs) {
        if (is_stopping || run.is_cancelled())
            run.end();
    }
    if (is_stopping)
        uv_close(reinterpret_cast<uv_handle_t *>(changed), nullptr);
}

// Returns: false when there are no descriptors or no memory for it.
bool start_thread()
{
    if (uv_loop_init(&pinger.loop) != 0)
        return false;
    if (uv_async_init(&pinger.loop, &pinger.changed, on_change) == 0) {
        try {
            pinger.thread = std::thread([] { uv_run(&pinger.loop, UV_RUN_DEFAULT); });
            return true;
        } catch (const std::system_error &) {
            uv_close(reinterpret_cast<uv_handle_t *>(&pinger.changed), nullptr);
            uv_run(&pinger.loop, UV_RUN_DEFAULT);
        }
    }
    uv_loop_close(&pinger.loop);
    return false;
}

bool start_request(const std::shared_ptr<Request> &request)
{
    const std::lock_guard lock(pinger.mutex);
    if (!pinger.is_running && !start_thread())
        return false;
    pinger.is_running = true;
    pinger.asked.push_back(request);
    uv_async_send(&pinger.changed);
    return true;
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
    if (!host().poster) {
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
        request->wake = waker_of(call, console);
        if (!start_request(request)) {
            cli_fail(call, "There is no thread for it");
            return CLI_FAILED;
        }
        asked.request = request;
        return CLI_LATER;
    }
    Request &request = *asked.request;
    const std::lock_guard lock(request.mutex);
    for (const std::string &row : std::exchange(request.rows, {}))
        cli_print(call, "%s\n", row.c_str());
    if (request.is_quiet)
        cli_progress(call, "%s", request.result ? "" : request.progress.c_str());
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
