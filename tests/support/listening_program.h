#ifndef VARNO_TESTS_LISTENING_PROGRAM_H
#define VARNO_TESTS_LISTENING_PROGRAM_H

// A program as a process of its own that listens on a free port, which it prints first:
// "port 40000".

#include <sys/types.h>

namespace varno_test {

class ListeningProgram {
  public:
    // Runs it; the port that it is to choose is its last argument, 0.
    explicit ListeningProgram(const char *program);
    // Ends it, if it has not ended.
    ~ListeningProgram();
    ListeningProgram(const ListeningProgram &) = delete;
    ListeningProgram &operator=(const ListeningProgram &) = delete;

    int port() const { return port_; }
    void send(int signum);

    // The status that waitpid gives.
    int wait_for_end();

  private:
    pid_t pid_ = -1;
    int port_ = 0;
    int status_ = -1;
    bool is_running_ = true;
};

} // namespace varno_test

#endif
