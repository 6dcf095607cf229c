// The editor of a session of libvarno-session, plain transport: the whole way from bytes
// to bytes, as a program that uses the library has it.

#include "editor.h"

#include <varno/tsession.h>

#include <cstdio>
#include <cstdlib>

namespace varno_bench {
namespace {

constinit tsession_s *session = nullptr;

void send(tsession_s *, void *, const char *bytes, size_t count)
{
    take_output(bytes, count);
}

void take_line(tsession_s *, void *, const char *line, const cli_pnode_s *, cli_pmatch_s *)
{
    note_line(line);
}

} // namespace

void open_editor()
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.terminal_type = "vt100";
    config.columns = 80;
    config.rows = 24;
    config.prompt = "> ";
    config.history_limit = 100;
    config.output = send;
    config.line = take_line;
    session = tsession_create(&config);
    if (!session) {
        std::fprintf(stderr, "cannot open a session\n");
        std::exit(1);
    }
    tsession_start(session);
}

void press(std::string_view key)
{
    tsession_input(session, key.data(), key.size());
}

} // namespace varno_bench
