#ifndef VARNO_TESTS_SSH_SERVER_H
#define VARNO_TESTS_SSH_SERVER_H

// A real OpenSSH server on the loopback interface. Its keys and configuration are the test's
// own.

#include <string>

#include <sys/types.h>

namespace varno_test {

class SshServer {
  public:
    static bool is_installed();

    SshServer() = default;
    ~SshServer();
    SshServer(const SshServer &) = delete;
    SshServer &operator=(const SshServer &) = delete;

    // Runs nothing but that command, for the user who runs the test.
    void start(const std::string &forced_command);

    // In place of the calling process. command: what it asks for; NULL: a login.
    int run_client(const char *terminal_option, const char *command);

  private:
    void make_directory();
    void write_configuration(const std::string &forced_command);
    void launch(const std::string &forced_command);
    void wait_until_listening();
    void stop();

    std::string directory_;
    std::string user_;
    std::string log_;
    int port_ = 0;
    int log_fd_ = -1;
    pid_t pid_ = -1;
    bool is_listening_ = false;
};

} // namespace varno_test

#endif
