#include "shell_command.h"

#include <cstdio>

#include <sys/wait.h>

namespace varno_test {

Ran run(const std::string &command)
{
    Ran ran = {};
    FILE *pipe = popen(command.c_str(), "r");
    for (int c = 0; (c = std::fgetc(pipe)) != EOF;)
        ran.text += static_cast<char>(c);
    const int status = pclose(pipe);
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ran;
}

} // namespace varno_test
