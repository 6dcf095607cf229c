/* The session library in C11: a line is typed into a session on plain bytes, its
 * command runs, and the session's output is gathered. Ends with 0 when all came out
 * as it should. */
#include <varno/cli_parse.h>
#include <varno/tsession.h>

#include <stdio.h>
#include <string.h>

static cli_pnode_s end = {.name = "end", .type = PNODE_EOLS};
static cli_pnode_s unit = {"unit", "UNIT", "a number", PNODE_INT32, .child = &end};
static cli_pnode_s show = {"show", "show", "what there is", PNODE_KEYWORD, .child = &unit};

static int failures = 0;

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            fprintf(stderr, "session.c:%d: %s\n", __LINE__, #condition);                           \
            failures++;                                                                            \
        }                                                                                          \
    } while (0)

struct screen {
    char bytes[1024];
    size_t used;
};

static void gather(tsession_s *s, void *user, const char *bytes, size_t count)
{
    struct screen *screen = user;
    CHECK(user == tsession_user(s));
    if (count >= sizeof(screen->bytes) - screen->used)
        count = sizeof(screen->bytes) - screen->used - 1;
    memcpy(screen->bytes + screen->used, bytes, count);
    screen->used += count;
    screen->bytes[screen->used] = '\0';
}

static void run(tsession_s *s, void *user, const char *line, const cli_pnode_s *action,
                cli_pmatch_s *words)
{
    (void) user;
    CHECK(action == &end && strcmp(line, "show 0x1f") == 0);
    tsession_print(s, "unit %s\n", cli_match_by_name(words, "unit")->token);
}

/* Types a text, then looks at all that the session has sent since it was last looked. */
static void expect(tsession_s *s, const char *typed, const char *sent)
{
    struct screen *screen = tsession_user(s);
    tsession_input(s, typed, strlen(typed));
    CHECK(strcmp(screen->bytes, sent) == 0);
    screen->used = 0;
    screen->bytes[0] = '\0';
}

int main(void)
{
    struct screen screen = {.used = 0};
    const tsession_config_s config = {.size = sizeof(config), .prompt = "$ ", .graph = &show,
                                      .user = &screen, .output = gather, .line = run};
    tsession_s *s = tsession_create(&config);
    CHECK(s != NULL);
    if (!s)
        return 1;
    CHECK(strcmp(tsession_terminal(s), "vt100") == 0 && tsession_columns(s) == 80);

    tsession_start(s);
    expect(s, "", "\r$ ");
    expect(s, "sh\t", "show ");
    expect(s, "0x1f\r", "0x1f\r\nunit 0x1f\r\n$ ");
    expect(s, "hide\r",
           "hide\r\n  hide\r\n  ^\r\n% unknown word\r\n"
           "  show              what there is\r\n$ ");
    tsession_close(s);
    CHECK(tsession_is_closed(s) && tsession_wait(s) == -1);
    tsession_free(s);
    return failures != 0;
}
