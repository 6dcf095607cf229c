// A program on a terminal around a session of libvarno-session: editing and history of
// lines that it writes to standard error. What varno_type_at types at.

#include <varno/tsession.h>

#include <cstdio>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

void send(tsession_s *, void *, const char *bytes, size_t count)
{
    for (ssize_t sent; count > 0 && (sent = write(STDOUT_FILENO, bytes, count)) > 0; bytes += sent)
        count -= static_cast<size_t>(sent);
}

void take_line(tsession_s *, void *, const char *line, const cli_pnode_s *, cli_pmatch_s *)
{
    std::fprintf(stderr, "%s\n", line);
}

void serve(tsession_s *s)
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    char bytes[512];
    for (ssize_t count = 1; count > 0;) {
        const int32_t wait = tsession_wait(s);
        if (wait >= 0 && poll(&input, 1, wait) == 0)
            tsession_time_out(s);
        else if ((count = read(STDIN_FILENO, bytes, sizeof(bytes))) > 0)
            tsession_input(s, bytes, static_cast<size_t>(count));
    }
}

} // namespace

int main()
{
    termios mode;
    if (tcgetattr(STDIN_FILENO, &mode) != 0)
        return 1;
    cfmakeraw(&mode);
    tcsetattr(STDIN_FILENO, TCSANOW, &mode);
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.terminal_type = "vt100";
    config.prompt = "> ";
    config.output = send;
    config.line = take_line;
    tsession_s *s = tsession_create(&config);
    if (!s)
        return 1;
    tsession_start(s);
    serve(s);
    tsession_free(s);
}
