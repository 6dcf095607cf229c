/* A program on the installed command library: a batch of two commands. */

#include <varno/commands.h>

#include <stdio.h>
#include <string.h>

static char written[256];

static void write_output(void *user, const char *bytes, size_t count)
{
    (void) user;
    strncat(written, bytes, count);
}

static int32_t make_vlan(cli_call_s *call, void *user)
{
    (void) user;
    cli_print(call, "VLAN %d\n", (int) cli_number(call, "VLAN"));
    return CLI_DONE;
}

static const cli_command_s rows[] = {
    {"vlan VLAN(1-4094)", "make a VLAN", make_vlan, NULL, 0, 0, NULL},
};

int main(void)
{
    cli_set_s *set = cli_set_create();
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set;
    config.output = write_output;
    if (!set || cli_set_add(set, NULL, NULL, rows, 1) != 0 || cli_set_build(set, NULL, NULL) != 0)
        return 1;
    cli_shell_s *shell = cli_shell_create(&config);
    if (!shell || cli_shell_run(shell, "vl 7") != CLI_DONE ||
        cli_shell_run(shell, "vlan 0") != CLI_FAILED)
        return 1;
    cli_shell_free(shell);
    cli_set_free(set);
    printf("%s", written);
    return strcmp(written, "VLAN 7\n  vlan 0\n       ^\n% VLAN: 1 to 4094\n") != 0;
}
