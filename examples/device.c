/* A device's command line in thirty lines, on standard input and output: editing and
 * history, help with "?", completion with Tab and errors explained, for three commands. */
#include <varno/cli_parse.h>
#include <varno/tsession.h>

#include <poll.h>
#include <stdlib.h>
#include <time.h>

#include <unistd.h>

static void show_time(tsession_s *s, void *user, const char *line, const cli_pnode_s *end,
                      cli_pmatch_s *words)
{
    tsession_print(s, "%s", ctime(&(time_t){time(NULL)}));
}

/* A word that was typed has no control characters. */
static void echo(tsession_s *s, void *user, const char *line, const cli_pnode_s *end,
                 cli_pmatch_s *words)
{
    tsession_print(s, "%s\n", cli_match_by_name(words, "word")->token);
}

static void leave(tsession_s *s, void *user, const char *line, const cli_pnode_s *end,
                  cli_pmatch_s *words)
{
    tsession_close(s);
}

/* The commands, last words first. The end of each points at its action. */
static cli_pnode_s time_end = {"end", .type = PNODE_EOLS, .func = &(tsession_line_fn){show_time}};
static cli_pnode_s echo_end = {"end", .type = PNODE_EOLS, .func = &(tsession_line_fn){echo}};
static cli_pnode_s exit_end = {"end", .type = PNODE_EOLS, .func = &(tsession_line_fn){leave}};
static cli_pnode_s exit_word = {"exit", "exit", "leave", PNODE_KEYWORD, .child = &exit_end};
static cli_pnode_s what = {"word", "WORD", "what to print", PNODE_STRING, .child = &echo_end};
static cli_pnode_s echo_word = {"echo", "echo", "print", PNODE_KEYWORD, &what, .next = &exit_word};
static cli_pnode_s clock_word = {"time", "time", "the clock", PNODE_KEYWORD, .child = &time_end};
static cli_pnode_s show = {"show", "show", "tell", PNODE_KEYWORD, &clock_word, .next = &echo_word};

static void run(tsession_s *s, void *user, const char *line, const cli_pnode_s *end,
                cli_pmatch_s *words)
{
    (*(tsession_line_fn *) end->func)(s, user, line, end, words);
}

static void output(tsession_s *s, void *user, const char *bytes, size_t count)
{
    for (ssize_t sent; count > 0 && (sent = write(STDOUT_FILENO, bytes, count)) > 0; bytes += sent)
        count -= (size_t) sent;
}

int main(void)
{
    tsession_config_s config = {sizeof(config),     .graph = &show,
                                .output = output,   .line = run,
                                .prompt = "demo> ", .terminal_type = getenv("TERM")};
    tsession_s *s = tsession_create(&config);
    if (!s)
        return EXIT_FAILURE;
    tsession_start(s);
    struct pollfd input = {.fd = STDIN_FILENO, .events = POLLIN};
    char bytes[512];
    /* What was typed before the input ended is still run. */
    for (ssize_t count = 1; !tsession_is_closed(s) && (count > 0 || tsession_wait(s) == 0);) {
        if (count <= 0 || poll(&input, (nfds_t) tsession_wants_input(s), tsession_wait(s)) == 0)
            tsession_time_out(s);
        else if ((count = read(STDIN_FILENO, bytes, sizeof(bytes))) > 0)
            tsession_input(s, bytes, (size_t) count);
    }
    tsession_close(s);
    tsession_free(s);
}
