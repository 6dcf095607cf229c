/* varno-commands: what is wrong with a maker's table, and what there is in it. */

#include <varno/commands_main.h>

#include <errno.h>
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { EXIT_FINDINGS = 1, EXIT_TROUBLE = 2 };

struct request {
    const char *format; /* NULL: the findings */
    long long level;
    unsigned long long seed;
};

static const char usage[] =
    "Usage: varno-commands [OPTIONS]\n"
    "Looks through a device's commands and tells what is wrong or doubtful with them; the\n"
    "result is 0 when there is nothing.\n"
    "\n"
    "Options:\n"
    "  -h,--help             this text\n"
    "  --format FORMAT       write a reference instead: markdown, man or json; or walk:\n"
    "                        random lines\n"
    "  --level LEVEL=15      what is there for this level of privilege\n"
    "  --seed SEED=1         another one has other random lines\n";

/* Returns: 0; -1 when the text is no number of [0, most]. */
static int read_number(const char *text, unsigned long long most, unsigned long long *out)
{
    char *end = NULL;
    errno = 0;
    *out = strtoull(text, &end, 10);
    return *text < '0' || *text > '9' || *end || errno || *out > most ? -1 : 0;
}

static int is_format(const char *text)
{
    static const char *const formats[] = {"markdown", "man", "json", "walk"};
    for (size_t i = 0; i < sizeof(formats) / sizeof(*formats); i++) {
        if (strcmp(text, formats[i]) == 0)
            return 1;
    }
    return 0;
}

/* Returns: 0; 1 after help; -1 when the arguments are wrong, which has been said. */
static int read_arguments(int argc, char **argv, struct request *out)
{
    static const struct option options[] = {
        {"help", no_argument, NULL, 'h'},
        {"format", required_argument, NULL, 'f'},
        {"level", required_argument, NULL, 'l'},
        {"seed", required_argument, NULL, 's'},
        {NULL, 0, NULL, 0},
    };
    unsigned long long level = CLI_MOST_LEVEL;
    int is_wrong = 0;
    for (int c; !is_wrong && (c = getopt_long(argc, argv, "h", options, NULL)) != -1;) {
        if (c == 'h')
            return fputs(usage, stdout) < 0 ? -1 : 1;
        if (c == 'f')
            is_wrong = !is_format(out->format = optarg);
        else if (c == 'l')
            is_wrong = read_number(optarg, CLI_MOST_LEVEL, &level) != 0;
        else if (c == 's')
            is_wrong = read_number(optarg, UINT64_MAX, &out->seed) != 0;
        else
            return -1;
        if (is_wrong)
            fprintf(stderr, "%s: %s\n", optarg, c == 'f' ? "no such format" : "no such number");
    }
    out->level = (long long) level;
    if (!is_wrong && optind < argc)
        fprintf(stderr, "%s: no such argument\n", argv[optind]);
    return is_wrong || optind < argc ? -1 : 0;
}

/* ctx counts them. */
static void show_finding(void *ctx, const cli_finding_s *finding)
{
    const char *kind = finding->is_error ? "error" : "warning";
    ++*(int *) ctx;
    if (finding->mode)
        printf("%s: ", finding->mode);
    printf("%s: %s\n  %s\n  %*s^\n", kind, finding->text, finding->syntax, (int) finding->column,
           "");
    if (finding->other)
        printf("  it is about this one, too: %s\n", finding->other);
}

static void show_text(void *ctx, const char *bytes, size_t count)
{
    (void) ctx;
    fwrite(bytes, 1, count, stdout);
}

/* Findings of a reference go to nobody, but for errors, which leave nothing to refer to. */
static int look_through(cli_set_s *set, const struct request *request)
{
    int findings = 0;
    if (varno_commands_fill(set) != 0) {
        fputs("the commands could not be added\n", stderr);
        return EXIT_TROUBLE;
    }
    const int32_t errors = cli_set_build(set, request->format ? NULL : show_finding, &findings);
    if (errors < 0) {
        fputs("out of memory\n", stderr);
        return EXIT_TROUBLE;
    }
    if (!request->format) {
        if (findings == 0)
            puts("no findings");
        return findings > 0 ? EXIT_FINDINGS : EXIT_SUCCESS;
    }
    if (errors > 0) {
        fputs("there are errors among the commands: without --format they are told\n", stderr);
        return EXIT_FINDINGS;
    }
    if (cli_set_describe(set, (int32_t) request->level, request->format, request->seed, show_text,
                         NULL) == 0)
        return EXIT_SUCCESS;
    fputs("out of memory\n", stderr);
    return EXIT_TROUBLE;
}

int main(int argc, char **argv)
{
    struct request request = {NULL, CLI_MOST_LEVEL, 1};
    const int read = read_arguments(argc, argv, &request);
    if (read != 0)
        return read > 0 ? EXIT_SUCCESS : EXIT_TROUBLE;
    cli_set_s *set = cli_set_create();
    if (!set) {
        fputs("out of memory\n", stderr);
        return EXIT_TROUBLE;
    }
    int result = look_through(set, &request);
    cli_set_free(set);
    if (fflush(stdout) != 0 || ferror(stdout)) {
        perror("standard output");
        result = EXIT_TROUBLE;
    }
    return result;
}
