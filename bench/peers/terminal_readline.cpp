// The same program around GNU readline's callback interface.

#include <cstdio>
#include <cstdlib>

#include <poll.h>
#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

namespace {

void take_line(char *line)
{
    if (!line)
        std::exit(0);
    std::fprintf(stderr, "%s\n", line);
    if (*line)
        add_history(line);
    std::free(line);
}

} // namespace

int main()
{
    rl_variable_bind("horizontal-scroll-mode", "on");
    rl_variable_bind("bell-style", "none");
    rl_variable_bind("enable-bracketed-paste", "off");
    stifle_history(100);
    rl_callback_handler_install("> ", take_line);
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    while (poll(&input, 1, -1) > 0 && !(input.revents & POLLERR))
        rl_callback_read_char();
}
