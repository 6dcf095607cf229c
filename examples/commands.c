/* A device of five commands on standard input and output: arguments with types, a live name,
 * and a command that takes its time. */
#include <varno/commands.h>

#include <net/if.h>
#include <poll.h>
#include <stdlib.h>

#include <sys/timerfd.h>
#include <unistd.h>

static int clock_fd;     /* when the command that waits is to go on, */
static uint64_t waiting; /* and which it is */

static int32_t show_interface(cli_call_s *call, void *user)
{
    const char *name = cli_text(call, "NAME");
    cli_print(call, "%s is number %u\n", name, if_nametoindex(name));
    return CLI_DONE;
}

static int32_t make_vlan(cli_call_s *call, void *user)
{
    const char *name = cli_has(call, "NAME") ? cli_text(call, "NAME") : "nameless";
    cli_print(call, "VLAN %d is %s\n", (int) cli_number(call, "VLAN"), name);
    return CLI_DONE;
}

static int32_t add_route(cli_call_s *call, void *user)
{
    cli_print(call, "%s is reached by %s\n", cli_text(call, "NET"), cli_text(call, "GATEWAY"));
    return CLI_DONE;
}

/* What was begun is gone on with by cli_wake; Ctrl-C ends it, and nothing more is shown. */
static int32_t restart(cli_call_s *call, void *user)
{
    if (waiting == cli_ticket(call)) {
        cli_print(call, "restarted\n");
        return CLI_DONE;
    }
    waiting = cli_ticket(call);
    struct itimerspec time = {.it_value.tv_sec = cli_number(call, "SECONDS")};
    return timerfd_settime(clock_fd, 0, &time, NULL) == 0 ? CLI_LATER : CLI_FAILED;
}

static void list_interfaces(void *user, cli_shell_s *shell, const char *begun,
                            cli_assist_value_fn value, void *ctx)
{
    struct if_nameindex *all = if_nameindex();
    for (struct if_nameindex *one = all; one && one->if_name; one++)
        value(ctx, one->if_name, "of this machine");
    if (all)
        if_freenameindex(all);
}

static const cli_type_s interface = {"interface", "an interface", NULL, list_interfaces, NULL};
static const cli_command_s rows[] = {
    {"show interface NAME(interface)", "its number", .run = show_interface},
    {"vlan VLAN(1-4094) [name NAME]", "make a VLAN", .run = make_vlan},
    {"ip route NET(ipv4/) GATEWAY(ipv4)", "the way to a network", .run = add_route},
    {"restart SECONDS(1-60)", "something slow", .run = restart},
    {"exit", "leave", .run = cli_leave},
};

static void output(tsession_s *s, void *user, const char *bytes, size_t count)
{
    for (ssize_t sent; count > 0 && (sent = write(STDOUT_FILENO, bytes, count)) > 0; bytes += sent)
        count -= (size_t) sent;
}

int main(void)
{
    cli_set_s *set = cli_set_create();
    clock_fd = timerfd_create(CLOCK_MONOTONIC, 0);
    if (!set || cli_set_add_type(set, NULL, &interface) != 0 ||
        cli_set_add(set, NULL, NULL, rows, sizeof(rows) / sizeof(rows[0])) != 0 ||
        cli_set_build(set, NULL, NULL) != 0)
        return EXIT_FAILURE;
    tsession_config_s terminal = {sizeof(terminal), .output = output, .prompt = "demo> ",
                                  .terminal_type = getenv("TERM")};
    cli_shell_s *shell = cli_shell_create(&(cli_shell_config_s){
        .size = sizeof(cli_shell_config_s), .set = set, .session = &terminal});
    tsession_s *s = cli_shell_session(shell);
    struct pollfd ready[] = {{.events = POLLIN}, {.fd = clock_fd, .events = POLLIN}};
    char bytes[512];
    tsession_start(s);
    for (ssize_t count = 1; !tsession_is_closed(s) && (count > 0 || tsession_has_more(s));) {
        ready[0].fd = count > 0 && tsession_wants_input(s) ? STDIN_FILENO : -1;
        if (poll(ready, 2, tsession_wait(s)) == 0)
            tsession_time_out(s);
        if (ready[1].revents && read(clock_fd, bytes, sizeof(bytes)) > 0)
            cli_wake(set, waiting);
        if (ready[0].revents && (count = read(STDIN_FILENO, bytes, sizeof(bytes))) > 0)
            tsession_input(s, bytes, (size_t) count);
    }
    tsession_close(s);
    cli_shell_free(shell);
    cli_set_free(set);
}
