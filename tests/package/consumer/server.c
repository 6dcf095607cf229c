/* A C11 program on the installed server library: it listens and ends again. */
#include <varno/server.h>

#include <stdio.h>

static void stop(server_s *server, void *user, int signum)
{
    (void) user;
    (void) signum;
    server_stop(server, "over");
}

int main(void)
{
    server_config_s config = SERVER_CONFIG_INIT;
    server_figures_s figures = {.size = sizeof(figures)};
    server_s *server = server_create(&config);
    if (!server || server_listen_tcp(server, "127.0.0.1", 0) <= 0)
        return 1;
    if (server_on_signal(server, 15, stop) != 0)
        return 2;
    server_stop(server, "over");
    if (server_run(server) != 0)
        return 3;
    server_get_figures(server, &figures);
    server_free(server);
    printf("%d sessions\n", (int) figures.sessions);
    return figures.sessions == 0 ? 0 : 4;
}
