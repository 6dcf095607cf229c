/* Commands without a terminal: the lines of a file, as at a device's start. They are all looked
 * at before the first one runs, so that a mistake in the last line leaves nothing half done. */
#define _POSIX_C_SOURCE 200809L

#include <varno/cli_assist.h>
#include <varno/cli_parse.h>
#include <varno/tsession.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sys/types.h>

static cli_pnode_s end = {"end", .type = PNODE_EOLS};
static cli_pnode_s who = {"who", "WHO", "a name", PNODE_STRING, .child = &end};
static cli_pnode_s greet = {"greet", "greet", "say hello", PNODE_KEYWORD, .child = &who};

static void run(tsession_s *s, void *user, const char *line, const cli_pnode_s *action,
                cli_pmatch_s *words)
{
    tsession_print(s, "Hello, %s\n", cli_match_by_name(words, "who")->token);
}

static void output(tsession_s *s, void *user, const char *bytes, size_t count)
{
    fwrite(bytes, 1, count, stdout);
}

/* Reads a line without its line feed. Returns 0 when there is none, or one with a byte 0 in it,
 * where it would seem to end. */
static int next_line(FILE *file, char **line, size_t *capacity)
{
    ssize_t len = getline(line, capacity, file);
    if (len > 0 && (*line)[len - 1] == '\n')
        (*line)[--len] = '\0';
    return len >= 0 && strlen(*line) == (size_t) len;
}

/* Says what is wrong with a line that cannot run; blank lines and comments are fine. */
static int is_fine(const char *line, int number)
{
    cli_pmatch_s *words = NULL;
    cli_assist_error_s error;
    const int is_comment = strchr("!#", line[strspn(line, " ")]) != NULL;
    const cli_pnode_s *action = cli_assist_parse(&greet, NULL, line, &words, &error);
    cli_match_free(words);
    if (action || is_comment || error.reason == CLI_ASSIST_EMPTY)
        return 1;
    char text[1024];
    cli_assist_format_error(line, &error, 80, text, sizeof(text));
    fprintf(stderr, "line %d:\n%s", number, text);
    return 0;
}

static int are_fine(FILE *file)
{
    char *line = NULL;
    size_t capacity = 0;
    int number = 0;
    int is_good = 1;
    while (is_good && next_line(file, &line, &capacity))
        is_good = is_fine(line, ++number);
    free(line);
    is_good = is_good && feof(file);
    rewind(file);
    return is_good;
}

static int run_all(FILE *file)
{
    tsession_config_s config = {sizeof(config), TSESSION_BATCH, .graph = &greet, .output = output,
                                .line = run};
    tsession_s *s = tsession_create(&config);
    char *line = NULL;
    size_t capacity = 0;
    int32_t result = CLI_ASSIST_OK;
    while (s && result <= CLI_ASSIST_EMPTY && next_line(file, &line, &capacity)) {
        result = tsession_run_line(s, line);
        while (tsession_wait(s) == 0) /* a long output comes in parts */
            tsession_time_out(s);
    }
    tsession_free(s);
    free(line);
    return s && result >= CLI_ASSIST_OK && result <= CLI_ASSIST_EMPTY;
}

int main(int argc, char **argv)
{
    FILE *file = argc == 2 ? fopen(argv[1], "r") : NULL;
    return file && are_fine(file) && run_all(file) ? EXIT_SUCCESS : EXIT_FAILURE;
}
