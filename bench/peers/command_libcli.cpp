// libcli: cli_run_command, which splits a line, finds the command and calls it without
// the library's loop around a socket. Its own eight commands (quit, enable, history and
// so on) stand beside the ten on the first level.

#include "command_acts.h"

#include <cstdio>
#include <cstdlib>

#include <libcli.h>

namespace varno_bench {
namespace {

class LibcliAct : public CommandAct {
  public:
    explicit LibcliAct(Form form) : CommandAct(form), cli_(cli_init())
    {
        if (!cli_) {
            std::fprintf(stderr, "cannot set libcli up\n");
            std::exit(1);
        }
        for (const char *verb : words[0])
            add_subjects(add(nullptr, verb, nullptr));
    }

    ~LibcliAct() override { cli_done(cli_); }

  protected:
    void run_line(const std::string &line) override { cli_run_command(cli_, line.c_str()); }

  private:
    using Callback = int(cli_def *, const char *, char **, int);

    cli_command *add(cli_command *parent, const char *word, Callback *callback)
    {
        return cli_register_command(cli_, parent, word, callback, PRIVILEGE_UNPRIVILEGED, MODE_EXEC,
                                    nullptr);
    }

    void add_subjects(cli_command *parent)
    {
        for (const char *subject : words[1]) {
            cli_command *node = add(parent, subject, nullptr);
            for (const char *aspect : words[2])
                add(node, aspect, take_command);
        }
    }

    static int take_command(cli_def *, const char *full_name, char **, int)
    {
        note_command(full_name);
        return CLI_OK;
    }

    cli_def *cli_;
};

template <Form form>
std::unique_ptr<Act> act()
{
    return std::make_unique<LibcliAct>(form);
}

// clang-format off
constexpr ActRow rows[] = {
    {"command/three_words_of_1000",           act<Form::full>},
    {"command/three_shortened_words_of_1000", act<Form::shortened>},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
