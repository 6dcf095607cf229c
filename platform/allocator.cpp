// The tracked allocator: the C library's heap, a count of live blocks for each tag,
// and failure on demand. A block has no header, since whoever releases it names its
// tag again; nobody here waits for another thread.

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

// A record is published once and lives as long as the process: there are about
// as many as there are different tags.
struct tag_record {
    tag_record *next;
    const char *text; // the record's own
    size_t live;      // blocks, wraps; only through std::atomic_ref
};

constexpr char array_tag[] = "BYTE"; // of what crealloc gives

constinit std::atomic<tag_record *> tags = nullptr;

// Where a tag was found last, by the last byte of its address. Only a hint: equal texts
// have many addresses, and a text may change at its address, so the text is compared.
constinit std::atomic<tag_record *> hints[256] = {};

constinit std::atomic<long> left_to_succeed = -1; // allocations; below 0: no limit

tag_record *find_record(const char *tag)
{
    tag_record *record = tags.load(std::memory_order_acquire);
    while (record && std::strcmp(record->text, tag) != 0)
        record = record->next;
    return record;
}

// Puts a record for the tag at the list's front. Threads that meet a new tag at
// the same moment may each add one: whoever asks for a tag's count adds them up.
tag_record *add_record(const char *tag)
{
    const size_t text_bytes = std::strlen(tag) + 1;
    void *block = std::malloc(sizeof(tag_record) + text_bytes);
    if (!block)
        return nullptr;
    auto *record = static_cast<tag_record *>(block);
    char *text = static_cast<char *>(block) + sizeof(tag_record);
    std::memcpy(text, tag, text_bytes);
    *record = {tags.load(std::memory_order_relaxed), text, 0};
    while (!tags.compare_exchange_weak(record->next, record, std::memory_order_release,
                                       std::memory_order_relaxed)) {
    }
    return record;
}

// Returns the tag's record, made where there is none yet; NULL without memory for it.
tag_record *record_of(const char *tag)
{
    std::atomic<tag_record *> &hint = hints[reinterpret_cast<uintptr_t>(tag) % std::size(hints)];
    tag_record *record = hint.load(std::memory_order_acquire);
    if (record && std::strcmp(record->text, tag) == 0)
        return record;
    record = find_record(tag);
    if (!record)
        record = add_record(tag);
    if (record)
        hint.store(record, std::memory_order_release);
    return record;
}

std::atomic_ref<size_t> live_of(tag_record &record)
{
    return std::atomic_ref<size_t>(record.live);
}

// Counts one allocation down; false when it has to fail.
bool may_succeed()
{
    long left = left_to_succeed.load(std::memory_order_relaxed);
    while (left > 0 &&
           !left_to_succeed.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
    }
    return left != 0;
}

// What does not fit becomes a number of bytes that no heap has.
size_t product(size_t count, size_t size)
{
    size_t bytes;
    return __builtin_mul_overflow(count, size, &bytes) ? SIZE_MAX : bytes;
}

bool is_too_large(size_t bytes)
{
    return bytes > PTRDIFF_MAX;
}

enum class content { any, zero };

// A request for no bytes gets one, so that NULL always means failure.
void *take(size_t bytes, const char *tag, content wanted)
{
    if (!may_succeed() || is_too_large(bytes))
        return nullptr;
    tag_record *record = record_of(tag);
    if (!record)
        return nullptr;
    const size_t room = bytes + (bytes == 0);
    void *block = wanted == content::zero ? std::calloc(1, room) : std::malloc(room);
    if (block)
        live_of(*record).fetch_add(1, std::memory_order_relaxed);
    return block;
}

} // namespace

void *tracked_malloc(size_t size, const char *tag)
{
    return take(size, tag, content::any);
}

void *tracked_calloc(size_t count, size_t size, const char *tag)
{
    return take(product(count, size), tag, content::zero);
}

char *tracked_strdup(const char *text, const char *tag)
{
    const size_t bytes = std::strlen(text) + 1;
    void *copy = take(bytes, tag, content::any);
    return copy ? static_cast<char *>(std::memcpy(copy, text, bytes)) : nullptr;
}

// The books first: the tag may lie inside the block.
void tracked_free(void *ptr, const char *tag)
{
    if (!ptr)
        return;
    if (tag_record *record = record_of(tag))
        live_of(*record).fetch_sub(1, std::memory_order_relaxed);
    std::free(ptr);
}

// An array stays the same block in the books, wherever it moves.
void *crealloc(void *array, size_t element_size, size_t count, size_t added)
{
    size_t total;
    if (__builtin_add_overflow(count, added, &total))
        total = SIZE_MAX;
    const size_t new_bytes = product(total, element_size);
    if (!array)
        return take(new_bytes, array_tag, content::zero);
    if (!may_succeed() || is_too_large(new_bytes))
        return nullptr;
    void *grown = std::realloc(array, new_bytes + (new_bytes == 0));
    if (grown) {
        const size_t old_bytes = count * element_size;
        std::memset(static_cast<char *>(grown) + old_bytes, 0, new_bytes - old_bytes);
    }
    return grown;
}

// Adds up wrapping counts: a block may be released on another record of its tag
// than it was taken on.
size_t tracked_outstanding(const char *tag)
{
    size_t live = 0;
    for (tag_record *record = tags.load(std::memory_order_acquire); record; record = record->next) {
        if (!tag || std::strcmp(record->text, tag) == 0)
            live += live_of(*record).load(std::memory_order_relaxed);
    }
    return live;
}

void tracked_fail_after(long n)
{
    left_to_succeed.store(n >= 1 ? n - 1 : -1, std::memory_order_relaxed);
}
