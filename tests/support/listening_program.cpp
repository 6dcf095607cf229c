#include "listening_program.h"

#include <csignal>
#include <cstdio>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace varno_test {

ListeningProgram::ListeningProgram(const char *program)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    pid_ = fork();
    if (pid_ == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execl(program, program, "0", nullptr);
        _exit(127);
    }
    close(ends[1]);
    FILE *from = fdopen(ends[0], "r");
    EXPECT_EQ(std::fscanf(from, "port %d", &port_), 1);
    std::fclose(from);
}

ListeningProgram::~ListeningProgram()
{
    if (is_running_)
        kill(pid_, SIGKILL);
    wait_for_end();
}

void ListeningProgram::send(int signum)
{
    kill(pid_, signum);
}

int ListeningProgram::wait_for_end()
{
    if (is_running_)
        waitpid(pid_, &status_, 0);
    is_running_ = false;
    return status_;
}

} // namespace varno_test
