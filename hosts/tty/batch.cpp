// Batches: cutting a text or a file into lines, and running these.

#include "batch.h"

#include <varno/cli_assist.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "../device/console.h"

namespace {

using device::Console;
using device::refuse;

void run_line(Console &console, const std::string &line)
{
    console.line++;
    if (line.find('\0') != line.npos)
        refuse(console, "a byte 0\n"); // the line would end there
    else if (line[0] != '#')
        device::run_text(console, line.c_str());
}

int end_batch(const Console &console)
{
    device::release_thread();
    const bool is_written = std::fflush(stdout) == 0;
    if (!is_written)
        std::perror("varno-tty: standard output");
    return console.has_failed || !is_written ? EXIT_FAILURE : EXIT_SUCCESS;
}

bool is_over(const Console &console)
{
    return console.is_done || console.has_failed;
}

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
    Console console = {};
    console.source = "command";
    for (size_t start = 0; start < text.size() && !is_over(console);) {
        const size_t end = find_end(text, start);
        run_line(console, text.substr(start, end - start));
        start = text.find_first_not_of(' ', end + 1);
    }
    return end_batch(console);
}

int batch_run_file(const std::string &path)
{
    std::ifstream file(path);
    std::string line;
    Console console = {};
    console.source = path.c_str();
    if (!file)
        std::perror(("varno-tty: " + path).c_str());
    console.has_failed = !file;
    while (!is_over(console) && std::getline(file, line))
        run_line(console, line);
    if (file.bad())
        refuse(console, "it cannot be read\n");
    return end_batch(console);
}
