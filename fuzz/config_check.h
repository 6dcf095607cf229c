#ifndef VARNO_FUZZ_CONFIG_CHECK_H
#define VARNO_FUZZ_CONFIG_CHECK_H

// Configuration that is read back. A file for the demo device is refused as a whole, or what it
// makes is written as a file that makes the same. Whatever words a mode writes, its lines have.

#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "finding.h"
#include "hosts/device/configuration.h"
#include "hosts/device/device.h"
#include "input_reader.h"

#include <varno/commands.h>

namespace varno_fuzz {

// A file without a name in a folder.
class FileInMemory {
  public:
    explicit FileInMemory(std::string_view text) : fd_(memfd_create("configuration", MFD_CLOEXEC))
    {
        FUZZ_REQUIRE(fd_ >= 0);
        FUZZ_REQUIRE(write(fd_, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    }
    ~FileInMemory() { close(fd_); }
    FileInMemory(const FileInMemory &) = delete;
    FileInMemory &operator=(const FileInMemory &) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

  private:
    int fd_;
};

// What a batch of lines writes.
class Lines {
  public:
    Lines(cli_shell_config_s config, const char *mode, int32_t level, const cli_save_s *save)
    {
        config.mode = mode;
        config.level = level;
        config.save = save;
        shell_ = cli_shell_create(&config);
        FUZZ_REQUIRE(shell_);
    }
    ~Lines() { cli_shell_free(shell_); }
    Lines(const Lines &) = delete;
    Lines &operator=(const Lines &) = delete;

    bool run(const std::string &line) { return cli_shell_run(shell_, line.c_str()) == CLI_DONE; }

    bool is_fine(const std::string &line)
    {
        const int32_t reason = cli_shell_check(shell_, line.c_str(), nullptr);
        return reason == CLI_ASSIST_OK || reason == CLI_ASSIST_EMPTY;
    }

  private:
    cli_shell_s *shell_;
};

// Bytes as they are saved: what is shown is cleaned.
struct Saved {
    std::string all;
    cli_save_s hooks = {
        this,
        [](cli_shell_s *, void *user, const char *, int32_t, const char **) -> void * {
            return user;
        },
        [](void *file, const char *bytes, size_t count, const char **) -> int32_t {
            static_cast<Saved *>(file)->all.append(bytes, count);
            return 0;
        },
        [](void *, int32_t is_whole, const char **) -> int32_t { return is_whole ? 0 : -1; }};
};

inline std::string device_configuration()
{
    device::Console console;
    Saved saved;
    FUZZ_REQUIRE(Lines(device::shell_config(console), "exec", CLI_MOST_LEVEL, &saved.hooks)
                     .run("show running-config | save x"));
    return saved.all;
}

inline void check_device_file(std::string_view text)
{
    std::string problem;
    FUZZ_REQUIRE(device::start({"fuzz", "device", "", "", nullptr, nullptr}, problem));
    bool is_fine = text.find('\0') == text.npos;
    {
        device::Console console;
        Lines lines(device::shell_config(console), "configure", CLI_MOST_LEVEL, nullptr);
        for (const std::string &line : lines_of(text))
            is_fine = is_fine && lines.is_fine(line);
    }
    const FileInMemory file(text);
    const bool is_read = device::read_configuration(file.path(), problem);
    FUZZ_REQUIRE(is_read == problem.empty());
    const std::string written = device_configuration();
    if (!is_fine)
        FUZZ_REQUIRE(!is_read && written.empty());
    device::forget_configuration();
    problem.clear();
    FUZZ_REQUIRE(device::read_configuration(FileInMemory(written).path(), problem));
    FUZZ_REQUIRE(device_configuration() == written);
    device::stop();
}

// Words of any bytes but NUL, and a number with each.
class WordsCheck {
  public:
    explicit WordsCheck(std::string_view text)
    {
        for (const std::string &line : lines_of(text)) {
            if (line.find('\0') == line.npos && line.size() < 100)
                state_[line] = static_cast<int64_t>(state_.size()) * -1000003;
        }
        cli_set_add_mode(set_, this, &modes[0]);
        const cli_mode_s wanted = {"words", "exec", nullptr, 0, write_words, this};
        mode_ = wanted;
        cli_set_add_mode(set_, this, &mode_);
        cli_set_add(set_, this, "exec", exec_rows, std::size(exec_rows));
        cli_command_s row = {
            "word WORD NUMBER(-999999999-0)", "one", take_word, nullptr, 0, 0, this};
        row_ = row;
        cli_set_add(set_, this, "words", &row_, 1);
        FUZZ_REQUIRE(cli_set_build(set_, nullptr, nullptr) == 0);
    }
    ~WordsCheck() { cli_set_free(set_); }
    WordsCheck(const WordsCheck &) = delete;
    WordsCheck &operator=(const WordsCheck &) = delete;

    // Control characters are the only ones that change.
    void check()
    {
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        Saved saved;
        FUZZ_REQUIRE(Lines(config, "exec", 0, &saved.hooks).run("show | save x"));
        std::map<std::string, int64_t> expected;
        for (const auto &[word, number] : state_) {
            std::string known = word;
            for (char &c : known)
                c = (c >= 0 && c < ' ') || c == 0x7f ? '?' : c;
            expected[known] = number;
        }
        state_.clear();
        Lines lines(config, "words", 0, nullptr);
        for (const std::string &line : lines_of(saved.all))
            FUZZ_REQUIRE(lines.is_fine(line));
        FUZZ_REQUIRE(state_.empty());
        for (const std::string &line : lines_of(saved.all))
            FUZZ_REQUIRE(lines.run(line));
        FUZZ_REQUIRE(state_ == expected);
    }

  private:
    static int32_t write_words(cli_call_s *call, void *user)
    {
        for (const auto &[word, number] : static_cast<WordsCheck *>(user)->state_)
            cli_config(call, "word %s %lld", word.c_str(), static_cast<long long>(number));
        return CLI_DONE;
    }

    static int32_t take_word(cli_call_s *call, void *user)
    {
        static_cast<WordsCheck *>(user)->state_[cli_text(call, "WORD")] =
            cli_number(call, "NUMBER");
        return CLI_DONE;
    }

    static constexpr cli_mode_s modes[] = {{"exec", nullptr, nullptr, 0, nullptr, nullptr}};
    static constexpr cli_command_s exec_rows[] = {
        {"show", "all words", cli_show_config, nullptr, 0, 0, nullptr},
        {"words", "change them", nullptr, "words", 0, 0, nullptr},
    };

    std::map<std::string, int64_t> state_;
    cli_mode_s mode_ = {};
    cli_command_s row_ = {};
    cli_set_s *set_ = cli_set_create();
};

} // namespace varno_fuzz

#endif
