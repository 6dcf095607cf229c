// The sink for standard error, which never waits.

#include "log.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <mutex>

#include <poll.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/syslog_sink.h>
#include <spdlog/spdlog.h>
#include <syslog.h>
#include <unistd.h>

#include "../device/clean_text.h"

namespace telnetd {
namespace {

constexpr char logger_name[] = "varno-telnetd";
constexpr size_t longest_text = 200;

// A pipe that polls as writable takes PIPE_BUF bytes at once. The descriptor itself
// stays as it is: non-blocking mode would be that of whoever shares it.
bool write_if_ready(const char *line, size_t count)
{
    pollfd ready = {STDERR_FILENO, POLLOUT, 0};
    return poll(&ready, 1, 0) == 1 && (ready.revents & POLLOUT) != 0 &&
           write(STDERR_FILENO, line, std::min<size_t>(count, PIPE_BUF)) >= 0;
}

class StandardError : public spdlog::sinks::base_sink<std::mutex> {
    void sink_it_(const spdlog::details::log_msg &message) override
    {
        spdlog::memory_buf_t line;
        if (lost_ > 0)
            fmt::format_to(std::back_inserter(line), "({} lines lost)\n", lost_);
        formatter_->format(message, line);
        lost_ = write_if_ready(line.data(), line.size()) ? 0 : lost_ + 1;
    }

    void flush_() override {}

    unsigned long lost_ = 0;
};

} // namespace

void log_to_standard_error()
{
    spdlog::set_default_logger(
        std::make_shared<spdlog::logger>(logger_name, std::make_shared<StandardError>()));
}

void log_to_syslog()
{
    spdlog::set_default_logger(
        spdlog::syslog_logger_mt("syslog", logger_name, LOG_PID, LOG_DAEMON));
}

std::string for_log(const std::string &text)
{
    return device::cleaned(text.substr(0, longest_text));
}

} // namespace telnetd
