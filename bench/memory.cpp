// Prints four numbers: the heap that an idle telnet session holds, in bytes and in the
// library's blocks, and how often the library asks for memory for a line of three words
// and for a key. The program's own functions of these names count, and call the platform's.

#include <cstdio>
#include <cstdlib>
#include <iterator>

#include <varno/cli_parse.h>
#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <dlfcn.h>
#include <malloc.h>

namespace {

constexpr int session_count = 2000;
constexpr char sizes_and_type[] = "\xff\xfb\x1f\xff\xfa\x1f\0\x50\0\x18\xff\xf0"
                                  "\xff\xfb\x18\xff\xfa\x18\0vt100\xff\xf0";

long requests = 0;

template <typename Function>
Function next(const char *name)
{
    requests++;
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void drop(tsession_s *, void *, const char *, size_t) {}

tsession_s *open_session(tsession_shared_s *shared)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = TSESSION_TELNET;
    config.shared = shared;
    config.output = drop;
    tsession_s *s = tsession_create(&config);
    if (!s)
        std::abort();
    tsession_start(s);
    tsession_input(s, sizes_and_type, sizeof(sizes_and_type) - 1);
    return s;
}

// Those of the first half take what others left behind; the second half is counted.
void print_idle_session(tsession_shared_s *shared)
{
    static tsession_s *sessions[2 * session_count];
    size_t bytes = 0;
    size_t blocks = 0;
    for (int i = 0; i < 2 * session_count; i++) {
        if (i == session_count) {
            bytes = mallinfo2().uordblks;
            blocks = tracked_outstanding(nullptr);
        }
        sessions[i] = open_session(shared);
    }
    std::printf("%g %g ", static_cast<double>(mallinfo2().uordblks - bytes) / session_count,
                static_cast<double>(tracked_outstanding(nullptr) - blocks) / session_count);
    for (tsession_s *s : sessions)
        tsession_free(s);
}

void set_node(cli_pnode_s &node, uint32_t type, const char *word, cli_pnode_s *child,
              cli_pnode_s *other)
{
    node = {};
    node.name = node.keyword = word;
    node.type = type;
    node.child = child;
    node.next = other;
}

// Ten words on each of three levels: a thousand commands.
cli_pnode_s nodes[3][10];

cli_pnode_s *open_graph()
{
    static const char *const words[] = {"alpha",   "bravo", "charlie", "delta", "echo",
                                        "foxtrot", "golf",  "hotel",   "india", "juliet"};
    static cli_pnode_s end = {};
    set_node(end, PNODE_EOLS, "end", &NONE, &NONE);
    for (int level = 0; level < 3; level++) {
        for (int i = 0; i < 10; i++) {
            cli_pnode_s *child = level == 2 ? &end : nodes[level + 1];
            cli_pnode_s *other = i == 9 ? &NONE : &nodes[level][i + 1];
            set_node(nodes[level][i], PNODE_KEYWORD, words[i], child, other);
        }
    }
    return nodes[0];
}

void print_line()
{
    char line[] = "echo foxtrot juliet";
    int32_t consumed = 0;
    cli_pmatch_s *matches = nullptr;
    cli_pnode_s *graph = open_graph();
    requests = 0;
    if (cli_parse(graph, line, std::size(line) - 1, &consumed, &matches) != PARSE_MATCHED)
        std::abort();
    std::printf("%ld ", requests);
    cli_match_free(matches);
}

void print_key(tsession_shared_s *shared)
{
    tsession_s *s = open_session(shared);
    requests = 0;
    for (int i = 0; i < 100; i++)
        tsession_input(s, i % 3 ? "a" : "\x1b[D", i % 3 ? 1 : 3);
    std::printf("%g\n", static_cast<double>(requests) / 100);
    tsession_free(s);
}

} // namespace

extern "C" {

void *tracked_malloc(size_t size, const char *tag)
{
    return next<decltype(&tracked_malloc)>("tracked_malloc")(size, tag);
}

void *tracked_calloc(size_t n, size_t size, const char *tag)
{
    return next<decltype(&tracked_calloc)>("tracked_calloc")(n, size, tag);
}

char *tracked_strdup(const char *s, const char *tag)
{
    return next<decltype(&tracked_strdup)>("tracked_strdup")(s, tag);
}

void *crealloc(void *array, size_t element_size, size_t count, size_t added)
{
    return next<decltype(&crealloc)>("crealloc")(array, element_size, count, added);
}
}

int main()
{
    tsession_shared_s *shared = tsession_shared_create();
    print_idle_session(shared);
    print_line();
    print_key(shared);
    tsession_shared_free(shared);
}
