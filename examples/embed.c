/* A command line in thirty lines: the bytes of standard input edit a line, and
 * Enter runs it through a graph of one command, "greet WHO". */
#include <varno/varno.h>

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

static cli_pnode_s end = {.name = "end", .type = PNODE_EOLS, .child = &NONE, .next = &NONE};
static cli_pnode_s who = {"who", "WHO", "a name", PNODE_STRING, .child = &end, .next = &NONE};
static cli_pnode_s root = {"greet", "greet", "", PNODE_KEYWORD, .child = &who, .next = &NONE};

/* What the line editor draws goes to the terminal. */
static int print(prompt_s *p, void *ctx, const char *format, ...)
{
    va_list values;
    va_start(values, format);
    vprintf(format, values);
    va_end(values);
    return fflush(stdout);
}

/* The command that Enter is bound to. */
static int execute(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument)
{
    int32_t used;
    cli_pmatch_s *words;
    cli_parse(&root, ps->buf, ps->buf_used, &used, &words);
    const cli_pmatch_s *name = used == ps->buf_used ? cli_match_by_name(words, "who") : NULL;
    prompt_start_output(p);
    printf("%s %s\r\n", name ? "Hello," : "Usage:", name ? name->token : "greet WHO");
    prompt_finish_output(p);
    cli_match_free(words);
    prompt_clear_command(p);
    return 0;
}

int main(void)
{
    prompt_s *p = prompt_create();
    prompt_set_print_callback(p, print, NULL);
    prompt_util_bind_insert(p);
    prompt_util_bind_commands(p, prompt_builtins, NULL);
    prompt_bind_command(p, "execute", execute, NULL);
    prompt_util_bind_keys(p, ostra_keys + 3, NULL); /* from "execute" on: no token commands here */
    mkey_t keys[32];                                /* the longest sequence, kept until complete */
    for (int c, used, held = 0; prompt_redraw(p), (c = getchar()) != EOF;) {
        keys[held++] = (mkey_t) c;
        while (held > 0 && (used = prompt_consume(p, keys, held)) > 0)
            memmove(keys, keys + used, (size_t) (held -= used) * sizeof(keys[0]));
    }
    prompt_free(p);
}
