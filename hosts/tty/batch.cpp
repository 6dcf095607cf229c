// Batches: cutting a text or a file into lines, and running these.

#include "batch.h"

#include <varno/cli_assist.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "../device/device.h"
#include "acts.h"
#include "saved_files.h"

namespace {

class Batch {
  public:
    explicit Batch(std::string source) : source_(std::move(source))
    {
        console_.host = this;
        cli_shell_config_s config = device::shell_config(console_);
        config.output = [](void *, const char *bytes, size_t count) {
            std::fwrite(bytes, 1, count, stdout);
        };
        config.errors = [](void *console, const char *bytes, size_t count) {
            auto *batch = static_cast<Batch *>(static_cast<device::Console *>(console)->host);
            batch->errors_.append(bytes, count);
        };
        config.save = saved_files();
        console_.shell = cli_shell_create(&config);
        has_failed_ = !console_.shell;
    }

    ~Batch()
    {
        cli_shell_free(console_.shell);
        device::release_thread();
    }

    Batch(const Batch &) = delete;
    Batch &operator=(const Batch &) = delete;

    bool is_over() const { return console_.is_done || has_failed_; }

    void run(const std::string &line)
    {
        line_++;
        if (line.find('\0') != line.npos)
            return fail("% a byte 0\n"); // the line would end there
        int32_t result = cli_shell_run(console_.shell, line.c_str());
        has_failed_ = result == CLI_FAILED;
        while ((result = cli_shell_resume(console_.shell)) == CLI_LATER)
            do_next_acts();
        has_failed_ = has_failed_ || result == CLI_FAILED;
        if (!errors_.empty())
            fail(errors_);
    }

    // The place comes before the reason, which is the last row that begins with "% ".
    void fail(const std::string &text)
    {
        has_failed_ = true;
        const size_t before = text.rfind("\n% ");
        const size_t row = before == text.npos ? 0 : before + 1;
        std::fflush(stdout);
        std::fprintf(stderr, "%s%s:%d: %s", text.substr(0, row).c_str(), source_.c_str(), line_,
                     text.substr(row).c_str());
        errors_.clear();
    }

    // Returns: the exit status.
    int end()
    {
        const bool is_written = std::fflush(stdout) == 0;
        if (!is_written)
            std::perror("varno-tty: standard output");
        return has_failed_ || !is_written ? EXIT_FAILURE : EXIT_SUCCESS;
    }

  private:
    device::Console console_;
    const std::string source_; // what an error names,
    int line_ = 0;             // and which line or command of it
    bool has_failed_ = false;
    std::string errors_; // of the line that is being run
};

// Returns the end of the command at start: the next ";" that is not text.
size_t find_end(const std::string &text, size_t start)
{
    size_t end = text.find(';', start);
    while (end != text.npos &&
           cli_assist_in_quotes(text.c_str() + start, static_cast<int32_t>(end - start)))
        end = text.find(';', end + 1);
    return end == text.npos ? text.size() : end;
}

} // namespace

int batch_run_text(const std::string &text)
{
    Batch batch("command");
    for (size_t start = 0; start < text.size() && !batch.is_over();) {
        const size_t end = find_end(text, start);
        batch.run(text.substr(start, end - start));
        start = text.find_first_not_of(' ', end + 1);
    }
    return batch.end();
}

int batch_run_file(const std::string &path)
{
    std::ifstream file(path);
    std::string line;
    if (!file) {
        std::perror(("varno-tty: " + path).c_str());
        return EXIT_FAILURE;
    }
    Batch batch(path);
    while (!batch.is_over() && std::getline(file, line))
        batch.run(line);
    if (file.bad())
        batch.fail("% it cannot be read\n");
    return batch.end();
}
