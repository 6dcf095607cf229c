// Every public function, with each request that it makes for memory failing in turn,
// alone or with all later ones: it refuses or goes on as the table says, nothing is
// left behind, and all objects can be used on. Those that ask for no memory succeed
// while there is none at all.

#include "cli/matcher_internal.h"
#include "keys/trie_internal.h"
#include "support/assertion.h"
#include "support/editor.h"
#include "support/failing_allocator.h"
#include "support/left_behind.h"
#include "support/parse_nodes.h"

#include <varno/cli_assist.h>
#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/tsession.h>
#include <varno/varno.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

extern "C" int tgetent(char *buffer, const char *name);

namespace {

using namespace varno_test;

[[noreturn]] void throw_assertion(void *ctx, const char *condition, const char *source, int line)
{
    tsession_assertion_handler(ctx, condition, source, line);
    throw FailedAssertion{condition, source, line};
}

int count_name(prompt_s *, pstate *, const char *, void *, void *)
{
    return 0;
}

int print_nothing(prompt_s *, void *, const char *, ...)
{
    return 0;
}

constexpr mkey_t keys[] = {'a', 'b', 'c', 'd'};
constexpr mkey_t bound_keys[] = {27, 'a', 0};
constexpr prompt_builtin_s one_command[] = {{"one", count_name}, {nullptr, nullptr}};
constexpr prompt_keymap_s one_key[] = {{"old", bound_keys}, {nullptr, nullptr}};
constexpr const char *no_capability[] = {nullptr};

// One object of each kind, in use. A function under test may release one, which is
// NULL then.
struct World {
    World();
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    void expect_usable();
    void set_line(std::string_view marked)
    {
        const pstate line = state_of(marked);
        prompt_set_content(p, &line);
    }

    prompt_s *p = prompt_create();
    pstate *ps = &p->ps;
    prompt_model_s model = {};
    mc_node_s *trie = mc_root_alloc();
    stroker_s *stroker = stroker_create_context();
    telparser_s *telnet = telnet_create_context();
    tsession_s *s = nullptr;
    tsession_s *other = nullptr; // by a function under test
    tsession_shared_s *shared = tsession_shared_create();

    cli_pnode_s end = parse_node(PNODE_EOLS, "end", nullptr);
    cli_pnode_s ip = keyword_node("ip");
    cli_pnode_s show = keyword_node("show");
    cli_pnode_s *dynamic =
        dyn_cli_create_node(PNODE_KEYWORD, "dynamic", "dynamic", "help", this, 1);
    cli_pmatch_s *matches = nullptr;

    // Results of functions under test
    char text[256] = {};
    int32_t number = 0;
    int from = 0;
    int end_at = 0;
    timeval wait = {};
    pstate state = {};
    uint32_t flags = 0;
    cli_pnode_s *node = nullptr;
    cli_assist_completion_s completion = {};
    cli_assist_error_s error = {};
    int lines = 0;
    int delivered = 0;
};

int deliver_data(telparser_s *, void *user, const unsigned char *, int32_t len)
{
    static_cast<World *>(user)->delivered += len;
    return 0;
}

int deliver_keys(stroker_s *, void *user, const mkey_t *, int32_t count)
{
    static_cast<World *>(user)->delivered += count;
    return 0;
}

void count_line(tsession_s *, void *user, const char *, const cli_pnode_s *, cli_pmatch_s *)
{
    static_cast<World *>(user)->lines++;
}

void expect_no_fault(tsession_s *, void *, const tsession_event_s *event)
{
    EXPECT_NE(event->kind, TSESSION_FAULT) << event->text;
}

int produce_row(tsession_s *s, void *, void *, int is_cancelled)
{
    if (!is_cancelled)
        tsession_write(s, "row\n", 4);
    return 0;
}

tsession_config_s config_of(World *w)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.graph = &w->show;
    config.user = w;
    config.shared = w->shared;
    config.line = count_line;
    config.event = expect_no_fault;
    return config;
}

// The session opens without memory: what its calls need is not there yet.
World::World()
{
    prompt_set_print_callback(p, print_nothing, nullptr);
    prompt_util_bind_insert(p);
    prompt_bind_command(p, "old", count_name, nullptr);
    prompt_bind_keys(p, "old", keys + 2, 2, nullptr);
    set_line("older|");
    prompt_history_add(p, 0);
    set_line("show ip|");
    prompt_history_add(p, 0);
    set_line("show i|p");
    prompt_redraw(p);
    mc_addstring(trie, keys, 2, 0, this);
    stroker_set_callback_chars(stroker, deliver_keys, this);
    telnet_set_callback_recv(telnet, deliver_data, this);
    telnet_set_callback_trace(
        telnet, [](telparser_s *, void *, const char *) {}, nullptr);
    show.child = level_of({&ip});
    ip.child = level_of({&end});
    cli_parse(&show, "show", 4, &number, &matches);
    const tsession_config_s config = config_of(this);
    s = tsession_create(&config);
    fail_request(1, Failing::this_and_all_later);
    tsession_start(s);
    tsession_input(s, "sho", 3);
    stop_failing();
}

void release_node(cli_pnode_s *node)
{
    if (!node)
        return;
    for (char *text : {node->own_name, node->own_keyword, node->own_help})
        tracked_free(text, "BYTE");
    tracked_free(node, "cli_pnode_s");
}

World::~World()
{
    if (p) {
        release_history_texts(p);
        prompt_free(p);
    }
    mc_root_free(trie, nullptr, nullptr);
    if (stroker)
        free_decoder(stroker);
    telnet_free_context(telnet);
    tsession_free(s);
    tsession_free(other);
    tsession_shared_free(shared);
    cli_match_free(matches);
    release_node(dynamic);
}

void World::expect_usable()
{
    if (p) {
        prompt_util_bind_insert(p);
        set_line("show i|p");
        prompt_set_dimension(p, 80, 24);
        p->display_offset = 0;
        const mkey_t z = 'z';
        EXPECT_EQ(prompt_consume(p, &z, 1), 1);
        EXPECT_EQ(line_of(p->ps), "show iz|p");
        prompt_finish_output(p);
        prompt_set_print_callback(p, print_nothing, nullptr);
        prompt_redraw(p);
        EXPECT_EQ(p->flags, 0u);
    }
    if (trie) {
        mc_node_s *found = nullptr;
        mc_search_exact(trie, keys, 2, 0, &found, nullptr, nullptr, nullptr, nullptr, nullptr);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->value, this);
    }
    const auto *bytes = reinterpret_cast<const unsigned char *>("hi");
    delivered = 0;
    if (stroker) {
        stroker_set_callback_chars(stroker, deliver_keys, this);
        EXPECT_EQ(stroker_consume(stroker, bytes, 2, &wait), 2);
    }
    if (telnet) {
        telnet_set_callback_recv(telnet, deliver_data, this);
        EXPECT_EQ(telnet_consume(telnet, bytes, 2), 2);
    }
    EXPECT_EQ(delivered, (stroker ? 2 : 0) + (telnet ? 2 : 0));
    EXPECT_EQ(Parsed(&show, "show ip").text(), "MATCHED 7 show=[show]@0+5 ip=[ip]@5+2");
    if (s && !tsession_is_closed(s)) {
        tsession_set_graph(s, &show);
        tsession_input(s, "\x03\x03show ip\r", 10);
        while (tsession_wait(s) == 0)
            tsession_time_out(s);
        EXPECT_GE(lines, 1);
    }
}

// What becomes of a function when a request fails.
enum class Without {
    never,   // it makes none, and does all that it does
    refuses, // it says so, and nothing has changed
    goes_on, // it does what can be done; a session's functions say nothing
    asserts, // some failures are broken preconditions, by contract
};

// The acts say whether the function did what it was called for. A name is one of
// the libraries' symbols; a function may have several rows.
struct Row {
    const char *symbol;
    Without memory;
    bool (*act)(World &w);
};

const unsigned char *bytes_of(const char *text)
{
    return reinterpret_cast<const unsigned char *>(text);
}

constexpr char tag[] = "tag";
constexpr char byte_tag[] = "BYTE";
constexpr char mc_node_tag[] = "mc_node_s";

// Takes a block, and releases it under its tag.
template <auto allocate, const char *block_tag = tag>
bool given_back(World &)
{
    void *block = allocate();
    tracked_free(block, block_tag);
    return block;
}

void *grow_nothing()
{
    return crealloc(nullptr, 1, 0, 1);
}

bool copy_token(World &w)
{
    char *token = nullptr;
    token_copy("word", &token, &w.from);
    const bool is_copied = token;
    tracked_free(token, "BYTE");
    return is_copied;
}

bool fail_assertion(World &)
{
    try {
        assert_fail("condition", "source", 1);
    } catch (const FailedAssertion &) {
        return true;
    }
}

// The trie and the decoder

bool release_trie(World &w)
{
    mc_root_free(std::exchange(w.trie, nullptr), nullptr, nullptr);
    return true;
}

bool add_child(World &w)
{
    mc_node_s *child = mc_root_alloc();
    const bool is_added = child && mc_node_add_key(w.trie, 'q', child);
    if (!is_added)
        mc_root_free(child, nullptr, nullptr);
    return is_added;
}

bool create_stroker(World &w)
{
    stroker_free_context(w.stroker);
    w.stroker = stroker_create_context();
    return w.stroker;
}

bool exchange_delay(World &w)
{
    w.wait = {2, 0};
    stroker_set_escape_delay(w.stroker, &w.wait);
    return w.wait.tv_sec == 1;
}

bool create_telnet(World &w)
{
    telnet_free_context(w.telnet);
    w.telnet = telnet_create_context();
    return w.telnet;
}

// The parser

bool parse(World &w, const char *line)
{
    cli_match_free(std::exchange(w.matches, nullptr));
    const auto len = static_cast<int32_t>(std::strlen(line));
    return cli_parse(&w.show, line, len, &w.number, &w.matches) == PARSE_MATCHED && w.matches &&
           w.number == len;
}

bool parse_one_word(World &w)
{
    return parse(w, "show");
}

bool parse_two_words(World &w)
{
    return parse(w, "show ip");
}

bool assisted_parse(World &w)
{
    cli_match_free(w.matches);
    return cli_assist_parse(&w.show, nullptr, "show ip", &w.matches, &w.error) == &w.end;
}

int candidates(World &w, const cli_assist_filter_s *filter, const char *line)
{
    return cli_assist_candidates(&w.show, filter, line, &w.error, 0, nullptr, nullptr);
}

bool candidates_of_unknown_word(World &w)
{
    w.error = {CLI_ASSIST_UNKNOWN, 5, 1, ""};
    return candidates(w, nullptr, "show x") == 1;
}

bool candidates_of_ambiguous_word(World &w)
{
    w.error = {CLI_ASSIST_AMBIGUOUS, 0, 1, ""};
    return candidates(w, nullptr, "s") == 1;
}

int32_t fit_any(void *, const cli_pnode_s *, const char *, const cli_pmatch_s *, const char **)
{
    return CLI_ASSIST_FIT_TAKES;
}

constexpr cli_assist_filter_s any_word = {sizeof(any_word), nullptr, fit_any, nullptr, 0, 0, 0};

bool filtered_parse(World &w)
{
    cli_match_free(w.matches);
    return cli_assist_parse(&w.show, &any_word, "show ip", &w.matches, &w.error) == &w.end;
}

bool filtered_candidates(World &w)
{
    w.error = {CLI_ASSIST_AMBIGUOUS, 5, 1, ""};
    return candidates(w, &any_word, "show i") == 1;
}

bool format_error(World &w)
{
    w.error = {CLI_ASSIST_UNKNOWN, 5, 1, ""};
    return cli_assist_format_error("show x", &w.error, 80, nullptr, 0) > 0;
}

bool create_node(World &w)
{
    cli_pnode_s *node = dyn_cli_create_node(PNODE_KEYWORD, "n", "n", "h", &w, 0);
    const bool is_whole = node && node->own_name && node->own_keyword && node->own_help;
    release_node(node);
    return is_whole;
}

bool add_node(World &w)
{
    const bool is_added = dyn_cli_add_node(&w.ip, w.dynamic) == 0;
    w.ip.child = level_of({&w.end});
    return is_added;
}

bool delete_node(World &w)
{
    const bool is_deleted = dyn_cli_add_node(&w.ip, w.dynamic) == 0 &&
                            dyn_cli_del_node(&w.ip, std::exchange(w.dynamic, nullptr)) == 0;
    w.ip.child = level_of({&w.end});
    return is_deleted;
}

// The prompt

bool create_prompt(World &)
{
    prompt_s *p = prompt_create();
    if (p)
        prompt_free(p);
    return p;
}

bool free_prompt(World &w)
{
    release_history_texts(w.p);
    prompt_free(std::exchange(w.p, nullptr));
    return true;
}

bool clear_history(World &w)
{
    release_history_texts(w.p);
    prompt_history_clear(w.p);
    w.p->history_count = 0;
    return true;
}

bool check_scroll(World &w)
{
    w.model.text_width = 70;
    return prompt_model_check_cursor_scroll(w.p, &w.model) == 0;
}

bool redraw_model(World &w)
{
    prompt_update_model(w.p, prompt_inactive_model(w.p));
    prompt_redraw_model(w.p);
    return true;
}

bool execute_other_line(World &w)
{
    w.set_line("other|");
    return p_builtin_execute_cb(w.p, w.ps, "execute", nullptr, nullptr) == 0;
}

// Sessions

bool create_shared(World &)
{
    tsession_shared_s *made = tsession_shared_create();
    tsession_shared_free(made);
    return made;
}

bool create_session(World &w)
{
    const tsession_config_s config = config_of(&w);
    w.other = tsession_create(&config);
    return w.other;
}

template <int transport>
bool open_and_close(World &w)
{
    tsession_config_s config = config_of(&w);
    config.transport = transport;
    tsession_s *s = tsession_create(&config);
    if (!s)
        return false;
    tsession_start(s);
    tsession_input(s, "show ip\r", 8);
    tsession_free(s);
    return true;
}

bool time_out_escape(World &w)
{
    tsession_input(w.s, "\033", 1);
    tsession_time_out(w.s);
    return true;
}

void take_entry(tsession_s *, void *, void *, int32_t, const char *) {}

VARNO_PRINTF(2, 3) void vprint(tsession_s *s, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    tsession_vprint(s, format, arguments);
    va_end(arguments);
}

bool vprint_text(World &w)
{
    vprint(w.s, "%2000d\n", 1);
    return true;
}

bool clean_text(World &)
{
    char text[8];
    return std::string_view(tsession_clean(text, sizeof(text), "a\033b")) == "a?b";
}

void answer_line(tsession_s *, void *, void *, const char *) {}
void answer_key(tsession_s *, void *, void *, int) {}

// The rows: an act by itself; a call and what it is to give; a call for its effect; a
// command of the editor.
#define ACT(memory, symbol, ...)                                                                   \
    {                                                                                              \
#symbol, Without::memory, __VA_ARGS__                                                      \
    }
#define GIVES(memory, symbol, ...)                                                                 \
    ACT(memory, symbol, [](World &w) -> bool {                                                     \
        (void) w;                                                                                  \
        return symbol __VA_ARGS__;                                                                 \
    })
#define DOES(memory, symbol, ...)                                                                  \
    ACT(memory, symbol, [](World &w) -> bool {                                                     \
        (void) w;                                                                                  \
        symbol(__VA_ARGS__);                                                                       \
        return true;                                                                               \
    })
#define COMMAND(memory, id, name)                                                                  \
    GIVES(memory, p_builtin_##id##_cb, (w.p, w.ps, name, nullptr, nullptr) == 0)

#define INSERTION(memory, id, count)                                                               \
    GIVES(memory, p_builtin_insert_##id##_cb,                                                      \
          (w.p, w.ps, "insert-character", nullptr, nullptr, keys, count) == 0)

constexpr char size_message[] = "\377\372\037\0P\0\030\377\360";
constexpr char type_message[] = "\377\372\030\0VT100\377\360";

mc_node_s *result;
int32_t result_len;

#define RESULTS &result, &result_len, &result, &result_len, &result, &result_len

// clang-format off
const Row rows[] = {
    // The trie
    ACT  (refuses, mc_root_alloc,         given_back<[] { return mc_root_alloc(); }, mc_node_tag>),
    ACT  (never,   mc_root_free,          release_trie),
    GIVES(refuses, mc_addstring,          (w.trie, keys + 1, 3, 0, &w) == 0),
    ACT  (refuses, mc_node_add_key,       add_child),
    DOES (never,   mc_node_unoptimized,   w.trie),
    GIVES(never,   mc_node_optimized,     (w.trie) == 0),
    GIVES(never,   mc_node_get_exact_key, (w.trie, 'a')),
    GIVES(never,   mc_node_get_any_key,   (w.trie) == nullptr),
    GIVES(never,   mc_node_try_key,       (w.trie, 'a')),
    GIVES(never,   mc_key_compare,        (keys, keys + 1) == -1),
    GIVES(never,   mc_optimize,           (w.trie) == 0),
    GIVES(never,   mc_search_exact,       (w.trie, keys, 2, 0, RESULTS) == 0),
    GIVES(never,   mc_search,             (w.trie, keys, 2, MC_SEARCH_ANY, RESULTS) == -1),
    DOES (never,   mc_search_level,       w.trie, keys, 2, MC_SEARCH_ANY, RESULTS),
    GIVES(never,   mc_node_value,         (w.trie) == nullptr),
    GIVES(never,   mc_nodestrstr,         (w.trie, keys, 2) == 0),

    // The decoder
    ACT  (refuses, stroker_create_context, create_stroker),
    DOES (never,   stroker_free_context,  std::exchange(w.stroker, nullptr)),
    DOES (never,   stroker_set_callback_chars, w.stroker, deliver_keys, &w),
    ACT  (never,   stroker_set_escape_delay, exchange_delay),
    GIVES(refuses, stroker_bind_sequence_to_vkey, (w.stroker, "\033[A", VIRTKEY_UP) == 0),
    GIVES(refuses, stroker_bind_sequence_to_vkeys, (w.stroker, "\033[B", keys, 2) == 0),
    GIVES(never,   stroker_bindings_prepare, (w.stroker) == 0),
    GIVES(never,   stroker_consume,       (w.stroker, bytes_of("a\033"), 2, &w.wait) == 2),
    GIVES(never,   stroker_consume_timedout, (w.stroker, bytes_of("a"), 1) == 1),

    // Terminal capabilities
    GIVES(never,   termkey_get_vkey_desc, (VIRTKEY_UP)),
    GIVES(never,   tcap_get_string,       ("ku", w.text)),
    DOES (never,   tcap_emit_caps,        no_capability, [](int) { return 0; }),

    // Telnet
    ACT  (refuses, telnet_create_context, create_telnet),
    DOES (never,   telnet_free_context,   std::exchange(w.telnet, nullptr)),
    DOES (never,   telnet_set_callback_recv, w.telnet, deliver_data, &w),
    DOES (never,   telnet_set_callback_send, w.telnet, nullptr, nullptr),
    DOES (never,   telnet_set_callback_trace, w.telnet, w.telnet->trace_fn, nullptr),
    DOES (never,   telnet_set_callback_naws, w.telnet, nullptr, nullptr),
    DOES (never,   telnet_set_callback_term, w.telnet, nullptr, nullptr),
    DOES (never,   telnet_set_callback_brk, w.telnet, nullptr, nullptr),
    GIVES(never,   telnet_make_options,   (w.telnet, &w.number)),
    GIVES(never,   telnet_consume,        (w.telnet, bytes_of(size_message), 9) == 9),
    GIVES(never,   telnet_consume,        (w.telnet, bytes_of(type_message), 11) == 11),
    DOES (never,   telnet_trace,          w.telnet, "%s", "text"),
    GIVES(never,   telnet_iac_command_name, (w.telnet, 255)),

    // The parser
    ACT  (asserts, cli_parse,             parse_two_words),
    ACT  (asserts, cli_parse,             parse_one_word),
    GIVES(never,   cli_parse_match_token, (&w.show, "show", &w.node) == PARSE_MATCHED),
    GIVES(never,   cli_strparseres,       (PARSE_EMPTY)),
    DOES (never,   cli_match_free,        std::exchange(w.matches, nullptr)),
    GIVES(never,   cli_match_by_name,     (w.matches, "show")),
    GIVES(never,   cli_match_by_node,     (w.matches, &w.show)),
    GIVES(never,   cli_parse_node_get_executable, (&w.ip)),
    GIVES(never,   cli_parse_node_get_executable_from_match, (w.matches) == nullptr),
    ACT  (refuses, dyn_cli_create_node,   create_node),
    ACT  (never,   dyn_cli_add_node,      add_node),
    GIVES(never,   dyn_cli_set_node,      (w.dynamic, &NONE, 0) == 0),
    ACT  (never,   dyn_cli_del_node,      delete_node),
    GIVES(never,   dyn_cli_lookup_node,   (&w.show, "show") == &w.show),

    // The prompt
    ACT  (refuses, prompt_create,         create_prompt),
    ACT  (never,   prompt_free,           free_prompt),
    DOES (never,   prompt_set_guard_left, w.p, "<"),
    DOES (never,   prompt_set_guard_right, w.p, ">"),
    DOES (never,   prompt_set_prompt_empty, w.p, "# "),
    DOES (never,   prompt_set_prompt_normal, w.p, "# "),
    DOES (never,   prompt_set_dimension,  w.p, 80, 24),
    DOES (never,   prompt_set_print_callback, w.p, nullptr, nullptr),
    DOES (never,   prompt_set_flush_callback, w.p, nullptr, nullptr),
    DOES (never,   prompt_set_putc_callback, w.p, nullptr, nullptr),
    GIVES(never,   prompt_bind_insert,    (w.p, nullptr, nullptr, nullptr, nullptr) == 0),
    GIVES(refuses, prompt_bind_command,   (w.p, "new", count_name, nullptr) == 0),
    GIVES(never,   prompt_get_command,    (w.p, "old")),
    GIVES(refuses, prompt_bind_keys,      (w.p, "old", bound_keys, 2, nullptr) == 0),
    DOES (never,   prompt_init_keys,      w.p),
    DOES (never,   prompt_init_commands,  w.p),
    GIVES(never,   prompt_consume,        (w.p, keys, 4) == 4),
    DOES (never,   prompt_insert_string,  w.p, keys, 4),
    DOES (never,   prompt_insert_char,    w.p, 'x'),
    DOES (never,   prompt_set_content,    w.p, w.ps),
    GIVES(never,   prompt_used,           (w.p) == 7),
    GIVES(never,   prompt_cursor_location, (w.p) == 6),
    GIVES(never,   prompt_command,        (w.p)),
    GIVES(never,   pstate_is_full,        (w.ps) == 0),
    GIVES(never,   prompt_is_full,        (w.p) == 0),
    GIVES(never,   pstate_cursor_is_at_end, (w.ps) == 0),
    GIVES(never,   prompt_cursor_is_at_end, (w.p) == 0),
    DOES (never,   pstate_append_character, w.ps, 'x'),
    DOES (never,   prompt_append_character, w.p, 'x'),
    DOES (never,   prompt_set_dirty,      w.p),
    DOES (never,   pstate_set_cursor_location, w.ps, 2),
    DOES (never,   prompt_set_cursor_location, w.p, 2),
    GIVES(never,   pstate_chop,           (w.ps, 0, 2) == 5),
    GIVES(never,   prompt_chop,           (w.p, 0, 2) == 5),
    DOES (never,   pstate_delete_to_eol,  w.ps),
    DOES (never,   prompt_delete_to_eol,  w.p),
    DOES (never,   prompt_delete_to_bol,  w.p),
    DOES (never,   pstate_delete,         w.ps, 1),
    DOES (never,   prompt_delete,         w.p, 1),
    DOES (never,   prompt_backspace,      w.p, 1),
    DOES (never,   pstate_clear_command,  w.ps),
    DOES (never,   prompt_clear_command,  w.p),
    DOES (never,   pstate_insert_character, w.ps, 0, 'x'),
    DOES (never,   prompt_insert_character, w.p, 0, 'x'),
    DOES (never,   pstate_insert_char_at_cursor, w.ps, 'x'),
    DOES (never,   prompt_insert_char_at_cursor, w.p, 'x'),
    DOES (never,   pstate_insert_char_str, w.ps, "xy", 2),
    DOES (never,   prompt_compact_whitespace, w.p),
    DOES (never,   prompt_word_back,      w.p),
    DOES (never,   prompt_word_forward,   w.p),
    DOES (never,   prompt_delete_word_back, w.p),
    DOES (never,   prompt_delete_word_fwd, w.p),
    GIVES(never,   prompt_word_case,      (w.p, 1) == 0),
    GIVES(never,   prompt_capitalize_word, (w.p) == 0),
    DOES (never,   prompt_contextual_back, w.p),
    DOES (never,   prompt_contextual_fwd, w.p),
    GIVES(never,   prompt_token_extract,  (w.p, 0, w.text, 256, &w.number) == 0),
    DOES (never,   prompt_snapshot,       w.p, &w.state, &w.flags),
    DOES (never,   prompt_snapshot_restore, w.p, w.ps, 0),
    DOES (never,   prompt_start_output,   w.p),
    DOES (never,   prompt_finish_output,  w.p),
    GIVES(never,   prompt_active_model,   (w.p)),
    GIVES(never,   prompt_inactive_model, (w.p)),
    DOES (never,   prompt_swap_models,    w.p),
    DOES (never,   prompt_model_init,     &w.model),
    DOES (never,   prompt_model_set_dimension, w.p, &w.model),
    ACT  (never,   prompt_model_check_cursor_scroll, check_scroll),
    GIVES(never,   prompt_update_model,   (w.p, &w.model) == 0),
    GIVES(never,   prompt_update_model_and_prompt, (w.p, &w.model) == 0),
    DOES (never,   prompt_redraw,         w.p),
    DOES (never,   prompt_draw,           w.p, 1),
    DOES (never,   prompt_print_model,    w.p),
    ACT  (never,   prompt_redraw_model,   redraw_model),
    DOES (never,   prompt_redraw_cursor,  w.p),
    DOES (never,   prompt_move_term_cursor_forward, w.p, 1),
    DOES (never,   prompt_move_term_cursor_back, w.p, 1),
    DOES (never,   prompt_move_term_cursor_to_bol, w.p),
    DOES (never,   prompt_term_whiteout,  w.p, 3),
    GIVES(refuses, prompt_history_add,    (w.p, 0) == 0),
    DOES (never,   prompt_history_previous, w.p, 0),
    DOES (never,   prompt_history_next,   w.p, 0),
    DOES (never,   prompt_history_reset_state, w.p),
    DOES (never,   prompt_history_set_prompt, w.p, w.p->history.cqh_first, 0),
    ACT  (never,   prompt_history_clear,  clear_history),
    GIVES(never,   prompt_util_bind_insert, (w.p) == 0),
    DOES (never,   prompt_util_bind_reset, w.p),
    GIVES(refuses, prompt_util_bind_commands, (w.p, one_command, nullptr) == 0),
    GIVES(refuses, prompt_util_bind_keys, (w.p, one_key, nullptr) == 0),

    // The editor's commands
    COMMAND(never, charback,    "move-character-back"),
    COMMAND(never, charfwd,     "move-character-forward"),
    COMMAND(never, histprev,    "history-previous"),
    COMMAND(never, histnext,    "history-next"),
    COMMAND(never, wordback,    "move-word-back"),
    COMMAND(never, wordfwd,     "move-word-forward"),
    COMMAND(never, bol,         "move-begin"),
    COMMAND(never, eolr,        "move-end"),
    COMMAND(never, delcharback, "delete-character-back"),
    COMMAND(never, delcharfwd,  "delete-character-forward"),
    COMMAND(never, delwordback, "delete-word-back"),
    COMMAND(never, delwordfwd,  "delete-word-forward"),
    COMMAND(never, deleol,      "delete-end"),
    COMMAND(never, delbol,      "delete-begin"),
    COMMAND(never, delall,      "delete-command"),
    COMMAND(never, redisplay,   "redisplay"),
    COMMAND(never, echo,        "echo"),
    COMMAND(never, yank,        "yank-first"),
    COMMAND(never, reyank,      "yank-next"),
    COMMAND(never, capitalize,  "capitalize-word"),
    COMMAND(never, wordupper,   "toupper-word"),
    COMMAND(never, wordlower,   "tolower-word"),
    COMMAND(never, compact,     "compact-whitespace"),
    COMMAND(never, ctxfwd,      "move-context-forward"),
    COMMAND(never, ctxback,     "move-context-back"),
    COMMAND(never, invoke,      "invoke"),
    COMMAND(never, execute_and_restore, "execute-and-restore"),
    COMMAND(never, accept,      "accept-token"),
    COMMAND(never, expand,      "expand-token"),
    COMMAND(never, complete,    "complete-token"),
    ACT  (asserts, p_builtin_execute_cb,  execute_other_line),
    INSERTION(never, char,   1),
    INSERTION(never, string, 4),
    GIVES(never,   varno_trace_init,      () == 0),
    GIVES(never,   varno_version,         ()),

    // Help and completion
    GIVES(never,   cli_assist_in_quotes,  ("'", 1)),
    GIVES(goes_on, cli_assist_help,       (&w.show, nullptr, "show i", 6, nullptr, nullptr) == 1),
    GIVES(goes_on, cli_assist_help,       (&w.show, &any_word, "show i", 6, nullptr, nullptr) == 1),
    GIVES(goes_on, cli_assist_complete,   (&w.show, nullptr, "show i", 6, &w.completion) == 0),
    GIVES(goes_on, cli_assist_complete,   (&w.show, &any_word, "show i", 6, &w.completion) == 0),
    ACT  (refuses, cli_assist_parse,      assisted_parse),
    ACT  (refuses, cli_assist_parse,      filtered_parse),
    GIVES(never,   cli_assist_strreason,  (0)),
    ACT  (goes_on, cli_assist_candidates, candidates_of_unknown_word),
    ACT  (goes_on, cli_assist_candidates, candidates_of_ambiguous_word),
    ACT  (goes_on, cli_assist_candidates, filtered_candidates),
    ACT  (never,   cli_assist_format_error, format_error),

    // Sessions
    ACT  (refuses, tsession_shared_create, create_shared),
    DOES (never,   tsession_shared_free,  nullptr),
    ACT  (refuses, tsession_create,       create_session),
    ACT  (goes_on, tsession_start,        open_and_close<TSESSION_PLAIN>),
    ACT  (goes_on, tsession_start,        open_and_close<TSESSION_TELNET>),
    DOES (goes_on, tsession_free,         std::exchange(w.s, nullptr)),
    DOES (goes_on, tsession_input,        w.s, "w ip\rsh?ow\t\t \rshow x\r", 21),
    GIVES(never,   tsession_wait,         (w.s) == -1),
    ACT  (goes_on, tsession_time_out,     time_out_escape),
    DOES (goes_on, tsession_write,        w.s, "text\n", 5),
    DOES (goes_on, tsession_write_clean,  w.s, "text\n"),
    ACT  (never,   tsession_clean,        clean_text),
    DOES (goes_on, tsession_print,        w.s, "%s\n", "text"),
    GIVES(goes_on, tsession_page,         (w.s, produce_row, nullptr) == 0),
    DOES (never,   tsession_set_writable, w.s, 1), // nothing rests
    GIVES(never,   tsession_has_more,     (w.s) == 0),
    GIVES(goes_on, tsession_ask,          (w.s, "What? ", 1, answer_line, nullptr) == 0),
    GIVES(goes_on, tsession_ask_key,      (w.s, "Sure? ", answer_key, nullptr) == 0),
    DOES (goes_on, tsession_set_prompt,   w.s, "# "),
    DOES (goes_on, tsession_resize,       w.s, 100, 30),
    DOES (goes_on, tsession_set_terminal, w.s, "vt220"),
    DOES (never,   tsession_set_paged,    w.s, 0),
    GIVES(never,   tsession_is_paged,     (w.s) == 1),
    DOES (never,   tsession_set_graph,    w.s, &w.show),
    DOES (goes_on, tsession_close,        w.s),
    GIVES(never,   tsession_is_closed,    (w.s) == 0),
    GIVES(never,   tsession_columns,      (w.s) == 80),
    GIVES(never,   tsession_fit,          ("a text", 3, nullptr) == 3),
    GIVES(never,   tsession_rows,         (w.s) == 24),
    GIVES(never,   tsession_terminal,     (w.s)),
    GIVES(never,   tsession_user,         (w.s) == &w),
    GIVES(never,   tsession_typed,        (w.s) > 0),
    DOES (goes_on, tsession_history,      w.s, take_entry, nullptr),
    GIVES(refuses, tsession_history_add,  (w.s, "another") == 0),
    GIVES(never,   tsession_history_amend, (w.s, nullptr) == -1), // there is none
    GIVES(never,   tsession_is_running_line, (w.s) == 0),
    DOES (never,   tsession_history_clear, w.s),
    DOES (never,   tsession_history_set_limit, w.s, 10),
    GIVES(goes_on, tsession_run_line,     (w.s, "w ip") != -1),
    ACT  (goes_on, tsession_vprint,       vprint_text),
    DOES (never,   tsession_cancel,       w.s), // nothing runs
    DOES (never,   tsession_wake,         w.s),
    GIVES(never,   tsession_wants_input,  (w.s) == 1),
    DOES (never,   tsession_assertion_handler, nullptr, "condition", "source", 1),

    // The platform
    ACT  (never,   assert_fail,           fail_assertion),
    GIVES(never,   spanws,                (" a", 0)),
    GIVES(never,   spanws_back,           ("a ", 1)),
    GIVES(never,   string_check_quotes,   ("'")),
    GIVES(never,   string_get_cursor_token, ("a", 1, 0, &w.from, &w.end_at) == 0),
    GIVES(never,   strlcpy2,              (w.text, "text", 4) == 0),
    GIVES(never,   token_find_bounds,     (" a", &w.from, &w.end_at) == 0),
    ACT  (refuses, token_copy,            copy_token),
    ACT  (refuses, tracked_malloc,        given_back<[] { return tracked_malloc(1, tag); }>),
    ACT  (refuses, tracked_calloc,        given_back<[] { return tracked_calloc(1, 1, tag); }>),
    ACT  (refuses, tracked_strdup,        given_back<[] { return tracked_strdup("text", tag); }>),
    ACT  (refuses, crealloc,              given_back<grow_nothing, byte_tag>),
    DOES (never,   tracked_free,          nullptr, "tag"),
    GIVES(never,   tracked_outstanding,   (nullptr) > 0),
    DOES (never,   tracked_fail_after,    -1),
    DOES (never,   assert_set_handler,    throw_assertion, nullptr),
    DOES (never,   trace_emit,            0, 7, "%s", "text"),
    GIVES(never,   trace_module_wants,    (0, 7) == 0),
    GIVES(never,   trace_register_module, ("test") > 0),
    DOES (never,   trace_set_level,       1, 6),
    DOES (never,   trace_set_sink,        nullptr, nullptr),
};
// clang-format on

struct Outcome {
    long requests;
    bool is_met;
    bool is_done;
    bool is_asserted;
};

// But the arrays of keys that a released decoder leaves, by contract.
size_t live_blocks()
{
    return tracked_outstanding(nullptr) - tracked_outstanding("mkey_t");
}

// Standard output, where some of the editor's commands write, goes nowhere.
class Quiet {
  public:
    Quiet() : kept_(dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    ~Quiet()
    {
        std::fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        close(kept_);
    }
    Quiet(const Quiet &) = delete;
    Quiet &operator=(const Quiet &) = delete;

  private:
    int kept_;
};

// The n-th request of the row's function fails; 0: none does.
Outcome act(const Row &row, long n, Failing form)
{
    const size_t before = live_blocks();
    Outcome outcome = {};
    {
        World w;
        const long requests_before = requests_made();
        fail_request(n, form);
        try {
            const Quiet quiet;
            outcome.is_done = row.act(w);
        } catch (const FailedAssertion &) {
            outcome.is_asserted = true;
        }
        outcome.is_met = stop_failing();
        outcome.requests = requests_made() - requests_before;
        w.expect_usable();
    }
    EXPECT_EQ(live_blocks(), before);
    return outcome;
}

void expect_as_said(const Row &row)
{
    SCOPED_TRACE(row.symbol);
    const Outcome with_memory = act(row, 0, Failing::only_this_one);
    EXPECT_TRUE(with_memory.is_done);
    EXPECT_EQ(with_memory.requests == 0, row.memory == Without::never) << with_memory.requests;
    for (const Failing form : {Failing::only_this_one, Failing::this_and_all_later}) {
        for (long request = 1; request <= with_memory.requests; request++) {
            SCOPED_TRACE("request " + std::to_string(request));
            const Outcome outcome = act(row, request, form);
            EXPECT_TRUE(outcome.is_met);
            EXPECT_TRUE(row.memory != Without::refuses || !outcome.is_done);
            EXPECT_TRUE(row.memory == Without::asserts || !outcome.is_asserted);
        }
    }
}

TEST(EveryFunction, DoesWithoutMemoryWhatItsRowSays)
{
    tgetent(nullptr, "xterm");
    assert_set_handler(throw_assertion, nullptr);
    for (const Row &row : rows)
        expect_as_said(row);
    assert_set_handler(nullptr, nullptr);
}

// The lists of exported symbols, in which data have their size behind them.
std::set<std::string> exported_functions()
{
    std::set<std::string> functions;
    for (const char *library : {"varno", "varno-session", "varno-platform"}) {
        std::ifstream list(std::string(VARNO_SYMBOLS) + "/" + library + ".symbols");
        for (std::string line; std::getline(list, line);) {
            if (line.find(' ') == line.npos)
                functions.insert(line.substr(0, line.find('@')));
        }
    }
    return functions;
}

TEST(EveryFunction, HasARow)
{
    std::set<std::string> without_row = exported_functions();
    EXPECT_GT(without_row.size(), 200u);
    for (const Row &row : rows)
        without_row.erase(row.symbol);
    for (const std::string &symbol : without_row)
        ADD_FAILURE() << symbol;
}

} // namespace
