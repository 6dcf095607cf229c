/* A device's command line for telnet clients in forty lines: as many sessions as there are
 * users, on the port of 127.0.0.1 that is given, until the process is told to end. */
#include <varno/cli_parse.h>
#include <varno/server.h>

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

/* The commands, last words first. Each has an end of its own. */
static cli_pnode_s time_end = {"end", .type = PNODE_EOLS};
static cli_pnode_s echo_end = {"end", .type = PNODE_EOLS};
static cli_pnode_s exit_end = {"end", .type = PNODE_EOLS};
static cli_pnode_s exit_word = {"exit", "exit", "leave", PNODE_KEYWORD, .child = &exit_end};
static cli_pnode_s what = {"word", "WORD", "what to print", PNODE_STRING, .child = &echo_end};
static cli_pnode_s echo_word = {"echo", "echo", "print", PNODE_KEYWORD, &what, .next = &exit_word};
static cli_pnode_s clock_word = {"time", "time", "the clock", PNODE_KEYWORD, .child = &time_end};
static cli_pnode_s show = {"show", "show", "tell", PNODE_KEYWORD, &clock_word, .next = &echo_word};

static void run(tsession_s *s, void *user, const char *line, const cli_pnode_s *end,
                cli_pmatch_s *words)
{
    if (end == &time_end)
        tsession_print(s, "%s", ctime(&(time_t){time(NULL)}));
    else if (end == &echo_end)
        tsession_print(s, "%s\n", cli_match_by_name(words, "word")->token);
    else
        tsession_close(s);
}

int main(int argc, char **argv)
{
    const tsession_config_s session = {sizeof(session), .prompt = "demo> ", .graph = &show,
                                       .line = run};
    const server_config_s config = {sizeof(config), .session = &session};
    server_s *server = server_create(&config);
    if (!server || server_on_signal(server, SIGTERM, NULL) != 0)
        return EXIT_FAILURE;
    const int port = server_listen_tcp(server, "127.0.0.1", (uint16_t) atoi(argv[argc - 1]));
    printf("port %d\n", port);
    fflush(stdout);
    const int status = port < 0 ? -1 : server_run(server);
    server_free(server);
    return status == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
