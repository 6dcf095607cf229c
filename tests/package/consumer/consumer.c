/* A session in C11: keys edit a line in the prompt, Enter parses it, and what the
 * prompt draws is gathered. Ends with 0 when all came out as it should. */
#include <varno/varno.h>

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

static cli_pnode_s end = {.name = "end", .type = PNODE_EOLS, .child = &NONE, .next = &NONE};
static cli_pnode_s unit = {
    .name = "unit", .keyword = "UNIT", .type = PNODE_INT32, .child = &end, .next = &NONE};
static cli_pnode_s show = {
    .name = "show", .keyword = "show", .type = PNODE_KEYWORD, .child = &unit, .next = &NONE};
static cli_pnode_s shutdown = {
    .name = "shutdown", .keyword = "shutdown", .type = PNODE_KEYWORD, .child = &end, .next = &show};

struct session {
    char screen[512];
    size_t drawn;
    uint32_t result;
    char unit[16];
    int complete;
};

static int failures = 0;

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            fprintf(stderr, "consumer.c:%d: %s\n", __LINE__, #condition);                          \
            failures++;                                                                            \
        }                                                                                          \
    } while (0)

static int draw(prompt_s *p, void *ctx, const char *format, ...)
{
    struct session *session = ctx;
    va_list values;
    int count;
    (void) p;
    va_start(values, format);
    count = vsnprintf(session->screen + session->drawn, sizeof(session->screen) - session->drawn,
                      format, values);
    va_end(values);
    session->drawn += (size_t) count;
    return count;
}

static int execute(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument)
{
    struct session *session = ctx;
    int32_t consumed = 0;
    cli_pmatch_s *matches = NULL;
    cli_pmatch_s *number;
    CHECK(strcmp(invoked, "execute") == 0 && argument == session);
    session->result = cli_parse(&shutdown, ps->buf, ps->buf_used, &consumed, &matches);
    number = cli_match_by_name(matches, "unit");
    session->complete = cli_parse_node_get_executable_from_match(matches) == &end;
    strncpy(session->unit, number ? number->token : "", sizeof(session->unit) - 1);
    cli_match_free(matches);
    prompt_clear_command(p);
    return 0;
}

static void type(prompt_s *p, const char *text)
{
    mkey_t keys[64];
    int held = 0, used = 1;
    for (; *text; text++)
        keys[held++] = (unsigned char) *text;
    while (held > 0 && used > 0) {
        used = prompt_consume(p, keys, held);
        held -= used;
        memmove(keys, keys + used, (size_t) held * sizeof(keys[0]));
    }
    CHECK(held == 0);
    prompt_redraw(p);
}

static prompt_s *start(struct session *session)
{
    static const prompt_builtin_s tokens[] = {{"accept-token", p_builtin_accept_cb},
                                              {"expand-token", p_builtin_expand_cb},
                                              {"complete-token", p_builtin_complete_cb},
                                              {NULL, NULL}};
    prompt_s *p = prompt_create();
    prompt_set_print_callback(p, draw, session);
    prompt_set_prompt_empty(p, "$ ");
    prompt_set_prompt_normal(p, "$ ");
    prompt_util_bind_reset(p);
    CHECK(prompt_util_bind_insert(p) == 0);
    CHECK(prompt_util_bind_commands(p, prompt_builtins, NULL) == 0);
    CHECK(prompt_util_bind_commands(p, tokens, NULL) == 0);
    CHECK(prompt_bind_command(p, "execute", execute, session) == 0);
    CHECK(prompt_util_bind_keys(p, ostra_keys, session) == 0);
    prompt_redraw(p);
    return p;
}

int main(void)
{
    struct session session = {.result = 99};
    prompt_s *p = start(&session);

    CHECK(varno_trace_init() == 0 && g_varno_trace_module_id > 0);
    char version[32];
    snprintf(version, sizeof(version), "%d.%d.%d", VARNO_VERSION_MAJOR, VARNO_VERSION_MINOR,
             VARNO_VERSION_PATCH);
    CHECK(strcmp(varno_version(), version) == 0);
    type(p, "shou 0x1f");
    CHECK(strcmp(prompt_command(p), "shou 0x1f") == 0);
    type(p, "\001\006\006\006\004w");
    CHECK(strcmp(prompt_command(p), "show 0x1f") == 0);
    CHECK(prompt_cursor_location(p) == 4);
    CHECK(strcmp(prompt_active_model(p)->buf, "$ show 0x1f") == 0);
    CHECK(strstr(session.screen, "$ shou 0x1f") != NULL);
    type(p, "\r");
    CHECK(session.result == PARSE_MATCHED && session.complete);
    CHECK(strcmp(session.unit, "0x1f") == 0);
    CHECK(prompt_used(p) == 0);
    type(p, "sh 1\r");
    CHECK(session.result == PARSE_AMBIGUOUS && !session.complete);
    type(p, "show\r");
    CHECK(session.result == PARSE_MATCHED && !session.complete);
    prompt_free(p);
    return failures != 0;
}
