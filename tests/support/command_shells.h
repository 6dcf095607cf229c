#ifndef VARNO_TESTS_COMMAND_SHELLS_H
#define VARNO_TESTS_COMMAND_SHELLS_H

// A set of commands with a batch and a session on it, for tests that look at what these
// write. All of it is released at the test's end, to the last byte.

#include <varno/commands.h>
#include <varno/platform_default.h>

#include <string>

#include <gtest/gtest.h>

namespace varno_test {

class CommandShells : public testing::Test {
  protected:
    void TearDown() override
    {
        cli_shell_free(shell_);
        cli_shell_free(batch_);
        cli_set_free(set_);
        EXPECT_EQ(tracked_outstanding(nullptr), before_);
    }

    cli_shell_config_s shell_config() const
    {
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        return config;
    }

    // In place of the one before it.
    void make_batch(cli_shell_config_s config)
    {
        config.user = this;
        config.output = [](void *user, const char *bytes, size_t count) {
            static_cast<CommandShells *>(user)->written_.append(bytes, count);
        };
        cli_shell_free(batch_);
        batch_ = cli_shell_create(&config);
    }

    // In place of the one before it.
    void make_session(cli_shell_config_s config, bool is_unpaged = true, int32_t rows = 24)
    {
        tsession_config_s terminal = TSESSION_CONFIG_INIT;
        terminal.is_unpaged = is_unpaged;
        terminal.rows = rows;
        terminal.user = this;
        terminal.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
            static_cast<CommandShells *>(user)->sent_.append(bytes, count);
        };
        terminal.event = [](tsession_s *, void *user, const tsession_event_s *event) {
            static_cast<CommandShells *>(user)->is_closed_ |= event->kind == TSESSION_CLOSED;
        };
        config.session = &terminal;
        cli_shell_free(shell_);
        shell_ = cli_shell_create(&config);
        session_ = cli_shell_session(shell_);
        tsession_start(session_);
    }

    // Returns: what the batch has written.
    std::string run(const std::string &line)
    {
        written_.clear();
        cli_shell_run(batch_, line.c_str());
        return written_;
    }

    // Returns: what was sent by the session's work, in at most so many turns, carriage returns
    //          left out.
    std::string type(const std::string &keys, int turns = 1000000)
    {
        sent_.clear();
        tsession_input(session_, keys.data(), keys.size());
        while (tsession_wait(session_) == 0 && turns-- > 0)
            tsession_time_out(session_);
        std::erase(sent_, '\r');
        return sent_;
    }

    const size_t before_ = tracked_outstanding(nullptr);
    cli_set_s *set_ = cli_set_create();
    cli_shell_s *batch_ = nullptr;
    cli_shell_s *shell_ = nullptr;
    tsession_s *session_ = nullptr;
    std::string written_;
    std::string sent_;
    bool is_closed_ = false;
};

} // namespace varno_test

#endif
