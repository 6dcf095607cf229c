// A connection in C++17: telnet bytes become data, data becomes keys, keys edit the
// line, and the line is parsed against nodes made at run time. Ends with 0 when
// all came out as it should, memory included.
#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/varno.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

int failures = 0;

void check(bool holds, const char *what)
{
    if (!holds) {
        std::fprintf(stderr, "consumer.cpp: %s\n", what);
        failures++;
    }
}

struct Connection {
    telparser_s *telnet = telnet_create_context();
    stroker_s *decoder = stroker_create_context();
    prompt_s *prompt = prompt_create();
    std::vector<mkey_t> keys;
    int width = 0, height = 0;
};

int on_data(telparser_s *, void *user, const unsigned char *bytes, int32_t count)
{
    auto *connection = static_cast<Connection *>(user);
    timeval wait{};
    check(stroker_consume(connection->decoder, bytes, count, &wait) == count, "all bytes decoded");
    return 0;
}

// Every telnet command is told of here; nothing listens.
void on_trace(telparser_s *, void *, const char *) {}

void on_window(telparser_s *, void *user, int width, int height)
{
    auto *connection = static_cast<Connection *>(user);
    connection->width = width;
    connection->height = height;
    prompt_set_dimension(connection->prompt, width, height);
}

int on_keys(stroker_s *, void *user, const mkey_t *keys, int32_t count)
{
    auto *connection = static_cast<Connection *>(user);
    connection->keys.insert(connection->keys.end(), keys, keys + count);
    return 0;
}

void set_up(Connection &connection)
{
    telnet_set_callback_recv(connection.telnet, on_data, &connection);
    telnet_set_callback_trace(connection.telnet, on_trace, nullptr);
    telnet_set_callback_naws(connection.telnet, on_window, &connection);
    stroker_set_callback_chars(connection.decoder, on_keys, &connection);
    check(stroker_bind_sequence_to_vkey(connection.decoder, "\033[D", VIRTKEY_LEFT) == 0, "bound");
    check(stroker_bindings_prepare(connection.decoder) == 0, "prepared");
    prompt_util_bind_insert(connection.prompt);
    prompt_util_bind_commands(connection.prompt, prompt_builtins, nullptr);
    prompt_util_bind_commands(connection.prompt, prompt_builtins_test, nullptr);
    check(prompt_util_bind_keys(connection.prompt, ostra_keys, nullptr) == 0, "key map bound");
}

// Gives the bytes to the connection, then its keys to the prompt.
void receive(Connection &connection, std::string_view bytes)
{
    std::string input{bytes};
    while (!input.empty()) {
        const int32_t used =
            telnet_consume(connection.telnet, reinterpret_cast<const unsigned char *>(input.data()),
                           static_cast<int32_t>(input.size()));
        check(used > 0, "telnet bytes used");
        input.erase(0, used > 0 ? static_cast<size_t>(used) : input.size());
    }
    auto &keys = connection.keys;
    while (!keys.empty()) {
        const int used =
            prompt_consume(connection.prompt, keys.data(), static_cast<int>(keys.size()));
        check(used > 0, "keys used");
        keys.erase(keys.begin(), used > 0 ? keys.begin() + used : keys.end());
    }
}

void parse(std::string_view line)
{
    int action = 0;
    cli_pnode_s root = NONE;
    root.child = &NONE;
    cli_pnode_s *ping = dyn_cli_create_node(PNODE_KEYWORD, "ping", "ping", "sends", nullptr, 0);
    cli_pnode_s *end = dyn_cli_create_node(PNODE_EOLS, "end", nullptr, nullptr, &action, 0);
    check(ping && end, "nodes created");
    check(dyn_cli_add_node(&root, ping) == 0 && dyn_cli_set_node(ping, end, 0) == 0, "linked");

    int32_t consumed = 0;
    cli_pmatch_s *matches = nullptr;
    const uint32_t result =
        cli_parse(root.child, line.data(), static_cast<int32_t>(line.size()), &consumed, &matches);
    check(result == PARSE_MATCHED, cli_strparseres(result));
    const cli_pnode_s *found = cli_parse_node_get_executable_from_match(matches);
    check(found && found->func == &action, "the command's action is found");
    cli_match_free(matches);

    // A node without a keyword is its creator's to release.
    tracked_free(end->own_name, "BYTE");
    tracked_free(end, "cli_pnode_s");
    check(dyn_cli_del_node(&root, ping) == 0 && root.child == &NONE, "node deleted");
    check(tracked_outstanding("cli_pnode_s") == 0, "no node left");
    check(tracked_outstanding("cli_pmatch_s") == 0, "no match left");
}

// A broken precondition reaches the program's handler, which may throw.
void break_a_precondition()
{
    assert_set_handler(
        [](void *, const char *condition, const char *, int) { throw std::logic_error(condition); },
        nullptr);
    std::string reported;
    try {
        prompt_redraw(nullptr);
    } catch (const std::logic_error &error) {
        reported = error.what();
    }
    check(reported == "p", "the failed condition is reported");
}

} // namespace

int main()
{
    using namespace std::string_view_literals;
    static Connection connection; // its decoder is kept, as varno/stroker.h has hosts do it
    set_up(connection);
    receive(connection, "\xff\xfa\x1f\0\x50\0\x18\xff\xf0"sv);
    check(connection.width == 80 && connection.height == 24, "window size reported");
    receive(connection, "pig\033[Dn"sv);
    check(prompt_command(connection.prompt) == "ping"sv, "the arrow key moved the cursor");
    parse(prompt_command(connection.prompt));
    break_a_precondition();

    prompt_free(connection.prompt);
    stroker_free_context(stroker_create_context());
    telnet_free_context(connection.telnet);
    check(tracked_outstanding("prompt_s") == 0, "the prompt is gone");
    return failures != 0;
}
