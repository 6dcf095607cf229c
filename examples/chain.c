/* The library by itself: one telnet client, from its socket to a parsed command and
 * back. `chain PORT` listens on the loopback, serves the first client, and ends with
 * it.
 *
 *     socket -> telnet parser -> decoder -> line editor -> "execute" -> command parser
 *
 * Each consumer says how much it has used; what is left stays with the program, which
 * presents it again with what comes next. The parser, the decoder and the editor trust
 * whoever feeds them: a server for clients that nobody knows uses varno/tsession.h,
 * which stands on the same editor and parser and takes any bytes. */
#include <varno/platform.h>
#include <varno/varno.h>

#include <arpa/inet.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <termcap.h>
#include <unistd.h>

enum { longest_sequence = 32, decoder_room = 2048 };

/* One client. */
typedef struct chain_s {
    telparser_s *telnet;
    stroker_s *decoder;
    prompt_s *prompt;
    unsigned char raw[4096 + 1]; /* from the socket; the parser may look at one byte more */
    int32_t raw_count;
    int32_t raw_owed;                 /* bytes that the parser has used before they came */
    unsigned char data[decoder_room]; /* for the decoder */
    int32_t data_count;
    struct timeval wait;                          /* for the rest of an escape sequence */
    mkey_t keys[decoder_room + longest_sequence]; /* for the editor */
    int key_count;
    int is_after_cr;
    int is_begun; /* the terminal is set up, and the prompt is shown */
    int is_over;
} chain_s;

/* The termcap interface knows one terminal and calls without a context. */
static int client = -1;

/* Output: what the client is to see. 255 begins a command of telnet's, so that as data
 * it is doubled. */

static void send_raw(const void *bytes, size_t count)
{
    const char *next = bytes;
    while (count > 0) {
        const ssize_t sent = send(client, next, count, MSG_NOSIGNAL);
        if (sent <= 0)
            return; /* the next read sees the end */
        next += sent;
        count -= (size_t) sent;
    }
}

static void send_text(const char *text)
{
    for (const char *iac; (iac = strchr(text, TN_NVT_IAC)) != NULL; text = iac + 1) {
        send_raw(text, (size_t) (iac - text));
        send_raw("\xff\xff", 2);
    }
    send_raw(text, strlen(text));
}

static int send_character(int c)
{
    const char text[] = {(char) c, '\0'};
    send_text(text);
    return c;
}

static int print(prompt_s *p, void *ctx, const char *format, ...)
{
    char text[512]; /* no print is longer than a row */
    va_list values;
    (void) p;
    (void) ctx;
    va_start(values, format);
    const int len = vsnprintf(text, sizeof text, format, values);
    va_end(values);
    send_text(text);
    return len;
}

/* The commands: "greet WHO" and "exit". */

static cli_pnode_s end = {.name = "end", .type = PNODE_EOLS, .child = &NONE, .next = &NONE};
static cli_pnode_s who = {"who", "WHO", "a name", PNODE_STRING, .child = &end, .next = &NONE};
static cli_pnode_s leave = {"exit", "exit", "", PNODE_KEYWORD, .child = &end, .next = &NONE};
static cli_pnode_s root = {"greet", "greet", "", PNODE_KEYWORD, .child = &who, .next = &leave};

/* Enter: runs the line with its output apart from the row, then remembers it, ends the
 * browsing of the history, and empties the line. */
static int execute(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument)
{
    chain_s *chain = ctx;
    char *line = prompt_command(p);
    const int32_t len = (int32_t) strlen(line);
    int32_t used;
    cli_pmatch_s *words;
    (void) ps;
    (void) invoked;
    (void) argument;
    cli_parse(&root, line, len, &used, &words);
    const int is_whole = words != NULL && used == len; /* what else it reports runs nothing */
    const cli_pmatch_s *name = is_whole ? cli_match_by_name(words, "who") : NULL;
    chain->is_over = is_whole && cli_match_by_name(words, "exit") != NULL;
    prompt_start_output(p);
    if (name)
        print(p, NULL, "Hello, %s\r\n", name->token);
    else
        send_text(chain->is_over ? "Bye\r\n" : "Usage: greet WHO, exit\r\n");
    prompt_finish_output(p);
    cli_match_free(words);
    prompt_history_add(p, 1);
    prompt_history_reset_state(p);
    prompt_clear_command(p);
    return 0;
}

/* The editor. */

/* What Backspace keys send besides DEL: what the terminal's entry says, and Ctrl-H. */
static const mkey_t backspace[] = {VIRTKEY_BACKSPACE, 0};
static const mkey_t ctrl_h[] = {8, 0};
static const prompt_keymap_s more_keys[] = {
    {"delete-character-back", backspace},
    {"delete-character-back", ctrl_h},
    {NULL, NULL},
};

static prompt_s *make_prompt(chain_s *chain)
{
    prompt_s *p = prompt_create();
    prompt_set_print_callback(p, print, NULL);
    prompt_util_bind_insert(p);
    prompt_util_bind_commands(p, prompt_builtins, NULL);
    prompt_bind_command(p, "execute", execute, chain);
    prompt_util_bind_keys(p, ostra_keys + 3, NULL); /* from "execute" on: no token commands here */
    prompt_util_bind_keys(p, more_keys, NULL);
    return p;
}

/* prompt_free leaves the texts of the history to the host. */
static void free_prompt(prompt_s *p)
{
    const void *head = &p->history;
    for (prompt_history_s *t = p->history.cqh_first; (const void *) t != head; t = t->next)
        tracked_free(t->command, "BYTE*");
    prompt_free(p);
}

/* Draws what the keys have changed. The amount by which the row scrolls is settled
 * first: a guard that appears takes a column from the text, and a row that still
 * wants to scroll cannot be drawn. A row that has only grown is drawn up to the cursor;
 * when text stands after it, the row is drawn whole. */
static void redraw(prompt_s *p)
{
    const prompt_model_s *before = prompt_active_model(p);
    prompt_model_s scratch;
    for (int i = 0, amount = 1; i < 4 && amount != 0; i++) {
        prompt_model_init(&scratch);
        prompt_model_set_dimension(p, &scratch);
        amount = prompt_update_model(p, &scratch);
        p->display_offset += amount;
        if (amount != 0)
            prompt_set_dirty(p);
    }
    prompt_redraw(p);
    const prompt_model_s *now = prompt_active_model(p);
    if (before != now && before->buf_len < now->buf_len && now->virtual_cursor < now->buf_len)
        prompt_draw(p, 0);
}

/* Keys from the decoder. The editor runs one command a call and keeps nothing: the
 * beginning of a sequence is presented again with the key that follows. */
static int take_keys(stroker_s *decoder, void *user, const mkey_t *keys, int32_t count)
{
    chain_s *chain = user;
    (void) decoder;
    memcpy(chain->keys + chain->key_count, keys, (size_t) count * sizeof keys[0]);
    chain->key_count += count;
    while (chain->key_count > 0 && !chain->is_over) {
        const int used = prompt_consume(chain->prompt, chain->keys, chain->key_count);
        if (used == 0)
            break;
        chain->key_count -= used;
        memmove(chain->keys, chain->keys + used, (size_t) chain->key_count * sizeof keys[0]);
        if (!chain->is_over)
            redraw(chain->prompt);
    }
    return 0;
}

/* The terminal. */

/* Types whose entries are known to be sound: other ones may have strings that are too
 * long, the same string for two keys, or delays of seconds. A decoder depends on its
 * type alone and is kept: freeing it leaves an array behind for each binding. */
static struct {
    const char *type;
    stroker_s *decoder;
} terminals[] = {
    {"vt100", NULL}, {"vt220", NULL}, {"xterm", NULL}, {"linux", NULL}, {"screen", NULL},
};

static stroker_s *make_decoder(void)
{
    stroker_s *decoder = stroker_create_context();
    struct timeval delay = {0, 500000};
    char text[128];
    stroker_set_escape_delay(decoder, &delay);
    for (const termkey_desc_s *key = basic_keys; key->capability; key++) {
        if (tcap_get_string(key->capability, text) && text[0] != '\0')
            stroker_bind_sequence_to_vkey(decoder, text, (mkey_t) key->code);
    }
    stroker_bindings_prepare(decoder);
    return decoder;
}

static void begin_terminal(chain_s *chain, size_t i)
{
    chain->is_begun = 1;
    tgetent(NULL, terminals[i].type);
    tcap_emit_caps(term_init_caps, send_character);
    tcap_emit_caps(term_keys_caps, send_character);
    if (!terminals[i].decoder)
        terminals[i].decoder = make_decoder();
    chain->decoder = terminals[i].decoder;
    stroker_set_callback_chars(chain->decoder, take_keys, chain);
    redraw(chain->prompt);
}

/* Hands the decoder what there is for it; it keeps back the beginning of a sequence. */
static void decode(chain_s *chain)
{
    const int32_t used =
        stroker_consume(chain->decoder, chain->data, chain->data_count, &chain->wait);
    chain->data_count -= used;
    memmove(chain->data, chain->data + used, (size_t) chain->data_count);
}

/* The rest of a sequence has not come in time: what there is are plain keys. */
static void decode_as_plain(chain_s *chain)
{
    stroker_consume_timedout(chain->decoder, chain->data, chain->data_count);
    chain->data_count = 0;
}

/* Telnet. */

/* Enter is CR NUL or CR LF on the wire, and one key. */
static int take_data(telparser_s *telnet, void *user, const unsigned char *bytes, int32_t count)
{
    chain_s *chain = user;
    (void) telnet;
    if (!chain->is_begun)
        begin_terminal(chain, 0);
    for (int32_t i = 0; i < count && !chain->is_over; i++) {
        const int is_second = chain->is_after_cr && (bytes[i] == '\0' || bytes[i] == '\n');
        chain->is_after_cr = bytes[i] == '\r';
        if (!is_second)
            chain->data[chain->data_count++] = bytes[i];
        if (chain->data_count == decoder_room)
            decode(chain);
    }
    if (chain->data_count > 0 && !chain->is_over)
        decode(chain);
    return 0;
}

static void take_size(telparser_s *telnet, void *user, int columns, int rows)
{
    chain_s *chain = user;
    (void) telnet;
    columns = columns == 0 ? 80 : columns < 20 ? 20 : columns > 256 ? 256 : columns;
    prompt_set_dimension(chain->prompt, columns, rows == 0 ? 24 : rows);
}

/* "xterm-256color" is an xterm; one that is not known is served as the first row. */
static void take_type(telparser_s *telnet, void *user, const char *name, int32_t len)
{
    chain_s *chain = user;
    size_t i = sizeof terminals / sizeof terminals[0] - 1;
    (void) telnet;
    (void) len;
    for (; i > 0; i--) {
        const size_t base = strlen(terminals[i].type);
        if (strncmp(name, terminals[i].type, base) == 0 && strchr("-", name[base]))
            break;
    }
    if (!chain->is_begun)
        begin_terminal(chain, i);
}

/* Break and nothing else: an empty line. */
static void take_break(telparser_s *telnet, void *user)
{
    chain_s *chain = user;
    (void) telnet;
    prompt_clear_command(chain->prompt);
    if (chain->is_begun)
        redraw(chain->prompt);
}

static void take_trace(telparser_s *telnet, void *user, const char *text)
{
    (void) telnet;
    (void) user;
    (void) text;
}

/* Presents what there is until nothing more is used: data after a command takes a call
 * of its own. A result beyond the end speaks of a byte that is still to come. */
static void parse_telnet(chain_s *chain)
{
    while (chain->raw_count > 0 && !chain->is_over) {
        int32_t used = telnet_consume(chain->telnet, chain->raw, chain->raw_count);
        if (used == 0)
            return;
        if (used > chain->raw_count) {
            chain->raw_owed = used - chain->raw_count;
            used = chain->raw_count;
        }
        chain->raw_count -= used;
        memmove(chain->raw, chain->raw + used, (size_t) chain->raw_count);
    }
}

/* The host: reads, waits for the rest of a sequence, and ends what does not end. */

static void read_client(chain_s *chain)
{
    const size_t room = sizeof chain->raw - 1 - (size_t) chain->raw_count;
    const ssize_t count = room > 0 ? read(client, chain->raw + chain->raw_count, room) : 0;
    if (count <= 0) { /* the client has gone, or its command never ends */
        chain->is_over = 1;
        return;
    }
    chain->raw_count += (int32_t) count;
    if (chain->raw_owed > 0) {
        chain->raw_owed = 0;
        memmove(chain->raw, chain->raw + 1, (size_t) --chain->raw_count);
    }
    parse_telnet(chain);
}

/* For the client's answer to the opening, which names the terminal, or for the rest of
 * a sequence; else for as long as it takes. */
static int wait_ms(const chain_s *chain)
{
    if (!chain->is_begun)
        return 1000;
    if (chain->data_count == 0)
        return -1;
    return (int) (chain->wait.tv_sec * 1000 + chain->wait.tv_usec / 1000);
}

static void serve(void)
{
    chain_s chain = {.telnet = telnet_create_context()};
    int32_t count;
    telnet_set_callback_recv(chain.telnet, take_data, &chain);
    telnet_set_callback_naws(chain.telnet, take_size, &chain);
    telnet_set_callback_term(chain.telnet, take_type, &chain);
    telnet_set_callback_brk(chain.telnet, take_break, &chain);
    telnet_set_callback_trace(chain.telnet, take_trace, NULL);
    const unsigned char *opening = telnet_make_options(chain.telnet, &count);
    send_raw(opening, (size_t) count);
    chain.prompt = make_prompt(&chain);
    while (!chain.is_over) {
        struct pollfd input = {.fd = client, .events = POLLIN};
        if (poll(&input, 1, wait_ms(&chain)) > 0)
            read_client(&chain);
        else if (!chain.is_begun)
            begin_terminal(&chain, 0);
        else
            decode_as_plain(&chain);
    }
    if (chain.is_begun)
        tcap_emit_caps(term_reset_caps, send_character);
    free_prompt(chain.prompt);
    telnet_free_context(chain.telnet);
}

int main(int argc, char **argv)
{
    struct sockaddr_in address = {.sin_family = AF_INET};
    socklen_t size = sizeof address;
    const int yes = 1;
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    address.sin_port = htons((uint16_t) (argc > 1 ? atoi(argv[1]) : 0)); /* 0: any that is free */
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (bind(listener, (struct sockaddr *) &address, size) != 0 || listen(listener, 1) != 0) {
        perror("chain");
        return 1;
    }
    getsockname(listener, (struct sockaddr *) &address, &size);
    printf("port %d\n", ntohs(address.sin_port));
    fflush(stdout);
    client = accept(listener, NULL, NULL);
    close(listener);
    serve();
    shutdown(client, SHUT_RDWR);
    close(client);
    return 0;
}
