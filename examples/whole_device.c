/* A whole device: a table of commands with a mode, served to telnet clients on the port of
 * 127.0.0.1 that is given, until the process is told to end. */
#include <varno/commands.h>
#include <varno/server.h>

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static cli_set_s *set;       /* of the one thread that serves */
static char names[4095][33]; /* of the VLANs; empty: there is none */

static int32_t show_vlans(cli_call_s *call, void *user)
{
    int *vlan = cli_state(call, sizeof(*vlan), NULL); /* zero at first */
    if (!vlan)
        return CLI_FAILED;
    while (++*vlan < 4095 && !*names[*vlan])
        continue;
    if (*vlan == 4095)
        return CLI_DONE;
    cli_print(call, "%4d  %s\n", *vlan, names[*vlan]);
    return CLI_MORE;
}

static int32_t set_vlan(cli_call_s *call, void *user)
{
    char *name = names[cli_number(call, "VLAN")];
    if (!cli_has(call, "no") && strlen(cli_text(call, "NAME")) > 32) {
        cli_fail_at(call, "NAME", "32 characters at most");
        return CLI_FAILED;
    }
    strcpy(name, cli_has(call, "no") ? "" : cli_text(call, "NAME"));
    return CLI_DONE;
}

/* The session's time has come, or the session has gone. */
static void wake(server_s *server, tsession_s *s, void *ctx)
{
    if (s)
        cli_wake(set, *(uint64_t *) ctx);
    free(ctx);
}

static int32_t wait_for(cli_call_s *call, void *user)
{
    tsession_s *s = cli_shell_session(cli_call_shell(call));
    int *has_begun = cli_state(call, sizeof(*has_begun), NULL);
    if (!has_begun)
        return CLI_FAILED;
    if (*has_begun) {
        cli_print(call, "over\n");
        return CLI_DONE;
    }
    uint64_t *ticket = malloc(sizeof(*ticket));
    const uint32_t milliseconds = (uint32_t) cli_number(call, "SECONDS") * 1000;
    if (!ticket || server_post_later(s, milliseconds, wake, ticket) != 0) {
        free(ticket);
        return CLI_FAILED;
    }
    *ticket = cli_ticket(call);
    *has_begun = 1;
    return CLI_LATER;
}

static const cli_mode_s exec = {.name = "exec", .prompt = "%h> "};
static const cli_command_s exec_rows[] = {
    {"show", "what there is", .run = NULL},
    {"show vlans", "which there are", .run = show_vlans},
    {"wait SECONDS(1-60)", "something slow", .run = wait_for},
    {"configure", "change them", .enters = "configure"},
    {"exit", "leave", .run = cli_leave},
};

static const cli_mode_s configure = {
    .name = "configure", .parent = "exec", .prompt = "%h(config)# "};
static const cli_command_s configure_rows[] = {
    {"[no] vlan VLAN(1-4094) ![NAME]", "name a VLAN, or forget it", .run = set_vlan},
    {"no", "take something back", .run = NULL},
    {"no vlan", "forget a VLAN", .run = NULL},
};

static void tell(void *ctx, const cli_finding_s *finding)
{
    fprintf(stderr, "%s:%d: %s\n", finding->syntax, finding->column, finding->text);
}

static int make_set(void)
{
    set = cli_set_create();
    return set && cli_set_host(set, "demo") == 0 && cli_set_add_mode(set, NULL, &exec) == 0 &&
           cli_set_add_mode(set, NULL, &configure) == 0 &&
           cli_set_add(set, NULL, "exec", exec_rows, 5) == 0 &&
           cli_set_add(set, NULL, "configure", configure_rows, 3) == 0 &&
           cli_set_build(set, tell, NULL) == 0;
}

/* A client comes: the shell is made before its session, and goes after it. */
static int begin(server_s *server, void *user, const server_client_s *client,
                 tsession_config_s *session)
{
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set;
    return cli_shell_prepare(&config, session) ? 0 : -1;
}

static void ready(server_s *server, void *user, const server_client_s *client, tsession_s *s)
{
    cli_shell_attach(tsession_user(s), s);
}

static void end(server_s *server, void *user, const server_client_s *client, void *shell,
                const char *why)
{
    cli_shell_free(shell);
}

static void stop(server_s *server, void *user, int signum)
{
    server_stop(server, "The device is going down");
}

int main(int argc, char **argv)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.begin = begin;
    config.ready = ready;
    config.end = end;
    server_s *server = make_set() ? server_create(&config) : NULL;
    if (!server || server_on_signal(server, SIGTERM, stop) != 0)
        return EXIT_FAILURE;
    const int port = server_listen_tcp(server, "127.0.0.1", (uint16_t) atoi(argv[argc - 1]));
    printf("port %d\n", port);
    fflush(stdout);
    const int status = port < 0 ? -1 : server_run(server);
    server_free(server);
    cli_set_free(set);
    return status == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
