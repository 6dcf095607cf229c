// Answers to questions are nowhere once they are given: not in memory that was released,
// not in what the session still holds, and not on the stack that it ran on.

#include <varno/platform.h>
#include <varno/tsession.h>

#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>

#include <gtest/gtest.h>

namespace {

constexpr std::string_view secret = "Tr0ub4dor";

// What is looked at is nobody's any more, as far as a sanitizer knows.
__attribute__((no_sanitize("address"))) bool holds_secret(const void *block, size_t size)
{
    const auto *bytes = static_cast<const char *>(block);
    size_t same = 0;
    for (size_t at = 0; at < size && same < secret.size(); at++)
        same = bytes[at] == secret[same] ? same + 1 : bytes[at] == secret[0];
    return same == secret.size();
}

// Blocks of the library's, and how large they are.
std::map<const void *, size_t> &blocks()
{
    static std::map<const void *, size_t> blocks;
    return blocks;
}

int released_with_secret = 0;

void *noted(void *block, size_t size)
{
    if (block)
        blocks()[block] = size;
    return block;
}

template <typename Function>
Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

void *tracked_malloc(size_t size, const char *tag)
{
    static const auto next = real<decltype(tracked_malloc)>("tracked_malloc");
    return noted(next(size, tag), size);
}

void *tracked_calloc(size_t count, size_t size, const char *tag)
{
    static const auto next = real<decltype(tracked_calloc)>("tracked_calloc");
    return noted(next(count, size, tag), count * size);
}

void tracked_free(void *block, const char *tag)
{
    static const auto next = real<decltype(tracked_free)>("tracked_free");
    const auto found = blocks().find(block);
    if (found != blocks().end()) {
        released_with_secret += holds_secret(block, found->second);
        blocks().erase(found);
    }
    next(block, tag);
}

namespace {

int kept_with_secret()
{
    int count = 0;
    for (const auto &[block, size] : blocks())
        count += holds_secret(block, size);
    return count;
}

// How a question for a secret ends, and what is told then.
struct Ending {
    const char *name;
    std::string typed;
    bool is_answered;
    bool is_typed_ahead; // while the host takes no output, so that it is kept
    bool is_closed;
};

void PrintTo(const Ending &ending, std::ostream *out)
{
    *out << ending.name;
}

struct Asking {
    const Ending *ending;
    bool was_told = false;
    int kept = -1;
};

void take_answer(tsession_s *, void *user, void *, const char *answer)
{
    auto *asking = static_cast<Asking *>(user);
    asking->was_told = answer && answer == secret;
}

void *ask(void *argument)
{
    auto *asking = static_cast<Asking *>(argument);
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.user = asking;
    tsession_s *s = tsession_create(&config);
    tsession_start(s);
    tsession_ask(s, "Password: ", 1, take_answer, nullptr);
    tsession_set_writable(s, !asking->ending->is_typed_ahead);
    tsession_input(s, asking->ending->typed.data(), asking->ending->typed.size());
    tsession_set_writable(s, 1);
    while (tsession_wait(s) == 0)
        tsession_time_out(s);
    if (asking->ending->is_closed)
        tsession_close(s);
    return s; // whoever frees it does so on another stack
}

// Runs it on a stack that can be looked at afterwards. Returns whether that has the secret.
bool leaves_secret_on_the_stack(Asking &asking)
{
    constexpr size_t size = 1 << 20;
    void *stack = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, size);
    pthread_t thread;
    EXPECT_EQ(pthread_create(&thread, &attributes, ask, &asking), 0);
    void *session = nullptr;
    pthread_join(thread, &session);
    pthread_attr_destroy(&attributes);
    asking.kept = kept_with_secret();
    tsession_free(static_cast<tsession_s *>(session));
    const bool is_left = holds_secret(stack, size);
    munmap(stack, size);
    return is_left;
}

class Secrets : public testing::TestWithParam<Ending> {};

// The same with an answer that is no secret: when a function is called for the first time,
// the loader leaves on the stack what registers hold.
void load_functions(const Ending &ending)
{
    Ending harmless = ending;
    harmless.typed.replace(0, secret.size(), secret.size(), 'x');
    Asking asking = {&harmless};
    leaves_secret_on_the_stack(asking);
}

TEST_P(Secrets, AreNowhereOnceTheQuestionHasEnded)
{
    load_functions(GetParam());
    released_with_secret = 0;
    Asking asking = {&GetParam()};
    EXPECT_FALSE(leaves_secret_on_the_stack(asking));
    EXPECT_EQ(asking.was_told, GetParam().is_answered);
    EXPECT_EQ(asking.kept, 0);
    EXPECT_EQ(released_with_secret, 0);
}

const std::string typed(secret);

const Ending endings[] = {
    {"Answered", typed + "\r", true, false, false},
    {"TypedAhead", typed + "\r", true, true, false},
    {"Cancelled", typed + "\x03", false, false, false},
    {"Emptied", typed + "\x15\r", false, false, false},
    {"Erased", typed + std::string(typed.size(), '\x7f') + "\r", false, false, false},
    {"TooLong", typed + std::string(130, 'a') + "\r\r", false, false, false},
    {"Closed", typed, false, false, true},
};

INSTANTIATE_TEST_SUITE_P(Endings, Secrets, testing::ValuesIn(endings),
                         [](const auto &about) { return about.param.name; });

} // namespace
