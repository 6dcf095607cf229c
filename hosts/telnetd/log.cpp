// The sink for standard error, which never waits.

#include "log.h"

#include <varno/tsession.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <mutex>

#include <fcntl.h>
#include <poll.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/syslog_sink.h>
#include <spdlog/spdlog.h>
#include <syslog.h>
#include <unistd.h>

namespace telnetd {
namespace {

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
        std::make_shared<spdlog::logger>("", std::make_shared<StandardError>()));
    spdlog::set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l: %v");
}

void log_to_syslog()
{
    spdlog::set_default_logger(
        spdlog::syslog_logger_mt("syslog", "varno-telnetd", LOG_PID, LOG_DAEMON));
}

bool log_to_file(const std::string &path)
{
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
    const bool is_taken = file >= 0 && dup2(file, STDERR_FILENO) >= 0;
    if (file >= 0)
        close(file);
    return is_taken;
}

std::string for_log(const char *text)
{
    char clean[200];
    return tsession_clean(clean, sizeof(clean), text);
}

} // namespace telnetd
