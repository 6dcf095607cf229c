#ifndef VARNO_TESTS_SHELL_COMMAND_H
#define VARNO_TESTS_SHELL_COMMAND_H

#include <string>

namespace varno_test {

struct Ran {
    std::string text; // standard output
    int status;       // -1: a signal ended it
};

// What a shell makes of a command line.
Ran run(const std::string &command);

} // namespace varno_test

#endif
