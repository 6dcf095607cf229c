// The tracked allocator: the C library's heap, a count of live blocks for each
// tag, failure on demand, and a reserve of small blocks, so that a session that
// begins takes what an earlier one gave back. A block has no header, since whoever
// releases it names its tag again; nobody here waits for another thread.

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

// The reserve needs a heap that tells a block's size; and a sanitizer has to see each
// block come and go.
#if defined(__SANITIZE_ADDRESS__)
#define VARNO_HAS_RESERVE 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VARNO_HAS_RESERVE 0
#endif
#endif
#if !defined(VARNO_HAS_RESERVE) && defined(__linux__)
#define VARNO_HAS_RESERVE 1
#include <malloc.h>
#else
#undef VARNO_HAS_RESERVE
#define VARNO_HAS_RESERVE 0
#endif

namespace {

constexpr bool has_reserve = VARNO_HAS_RESERVE;

// The room of a block of the heap's, which is what was asked for or more.
size_t room_of(void *block)
{
#if VARNO_HAS_RESERVE
    return malloc_usable_size(block);
#else
    static_cast<void>(block);
    return 0;
#endif
}

// A record is published once and lives as long as the process: there are about
// as many as there are different tags.
struct tag_record {
    tag_record *next;
    const char *text; // a copy, behind the record
    size_t live;      // blocks, wraps; only through std::atomic_ref
};

constexpr char array_tag[] = "BYTE";
constexpr size_t no_size = SIZE_MAX; // stands for a number of bytes that overflowed
constexpr size_t largest_size = PTRDIFF_MAX;

constinit std::atomic<tag_record *> tags = nullptr;

// Where a tag was found last, by its address. Only a hint: equal texts have many
// addresses, and a text may change at its address, so the text is compared.
constinit std::atomic<tag_record *> hints[64] = {};

constinit std::atomic<long> left_to_succeed = -1; // allocations; below 0: no limit

std::atomic<tag_record *> &hint_of(const char *tag)
{
    const auto address = reinterpret_cast<uintptr_t>(tag);
    return hints[(address ^ (address >> 6)) % std::size(hints)];
}

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

[[gnu::noinline]] tag_record *look_up(const char *tag)
{
    tag_record *record = find_record(tag);
    if (!record)
        record = add_record(tag);
    if (record)
        hint_of(tag).store(record, std::memory_order_release);
    return record;
}

// Returns the tag's record, made on first use; NULL without memory for it.
inline tag_record *record_of(const char *tag)
{
    tag_record *record = hint_of(tag).load(std::memory_order_acquire);
    if (record && std::strcmp(record->text, tag) == 0) [[likely]]
        return record;
    return look_up(tag);
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

size_t product(size_t count, size_t size)
{
    size_t bytes;
    return __builtin_mul_overflow(count, size, &bytes) ? no_size : bytes;
}

// The reserve: released blocks of a few sizes, at most 64 KiB of each, 1.25 MiB in all.
// What is released beyond that goes back to the heap, so that nothing grows.
constexpr size_t least_kept = 24; // the heap's own steps: 24, 40, 56...
constexpr size_t kept_step = 16;
constexpr size_t kept_sizes = 20;
constexpr size_t most_kept_bytes = 64 * 1024;

struct kept_block {
    kept_block *next;
};

// The blocks of one size. A thread that finds it taken goes to the heap instead.
struct alignas(64) reserve_s {
    std::atomic<bool> is_taken;
    kept_block *first;
    size_t count;
};

constinit reserve_s reserves[kept_sizes] = {};

constexpr size_t bytes_of(size_t size)
{
    return least_kept + size * kept_step;
}

constexpr size_t largest_kept = bytes_of(kept_sizes - 1);

bool enter(reserve_s &reserve)
{
    return !reserve.is_taken.exchange(true, std::memory_order_acquire);
}

void leave(reserve_s &reserve)
{
    reserve.is_taken.store(false, std::memory_order_release);
}

// Which size serves a request of at most largest_kept bytes.
size_t size_for(size_t bytes)
{
    return bytes <= least_kept ? 0 : (bytes - least_kept + kept_step - 1) / kept_step;
}

// Returns a block with room for so many bytes; NULL when none is kept.
void *take_kept(size_t bytes)
{
    if (!has_reserve || bytes > largest_kept)
        return nullptr;
    reserve_s &reserve = reserves[size_for(bytes)];
    if (!enter(reserve))
        return nullptr;
    kept_block *block = reserve.first;
    if (block) {
        reserve.first = block->next;
        reserve.count--;
    }
    leave(reserve);
    return block;
}

// Keeps a block under the largest size that it has room for; false when it does not.
bool keep(void *ptr)
{
    const size_t room = room_of(ptr);
    if (room < least_kept || room >= largest_kept + kept_step)
        return false;
    const size_t size = (room - least_kept) / kept_step;
    reserve_s &reserve = reserves[size];
    if (!enter(reserve))
        return false;
    if (ptr == reserve.first) [[unlikely]]
        std::abort(); // released twice, as the heap would say
    const bool has_room = (reserve.count + 1) * bytes_of(size) <= most_kept_bytes;
    if (has_room) {
        auto *block = static_cast<kept_block *>(ptr);
        block->next = reserve.first;
        reserve.first = block;
        reserve.count++;
    }
    leave(reserve);
    return has_room;
}

void give_back(void *ptr)
{
    if (!has_reserve || !keep(ptr))
        std::free(ptr);
}

enum class content { any, zero };

// A block out of the reserve or, when that has none, the heap.
void *block_of(size_t bytes, content wanted)
{
    void *kept = take_kept(bytes);
    if (kept)
        return wanted == content::zero ? std::memset(kept, 0, bytes) : kept;
    return wanted == content::zero ? std::calloc(1, bytes) : std::malloc(bytes);
}

// A block of at least one byte, so that NULL always means failure.
void *take(size_t bytes, const char *tag, content wanted)
{
    if (!may_succeed() || bytes > largest_size)
        return nullptr;
    tag_record *record = record_of(tag);
    if (!record)
        return nullptr;
    void *block = block_of(bytes + (bytes == 0), wanted);
    if (block)
        live_of(*record).fetch_add(1, std::memory_order_relaxed);
    return block;
}

// An array that has grown large grows on: it is moved once for several elements.
constexpr size_t growth_step = 64;

// The array with room for so many bytes. Where the heap has given more than was asked
// for, that room is used first.
void *moved(void *array, size_t bytes)
{
    if (has_reserve && bytes <= room_of(array))
        return array;
    const bool goes_on = has_reserve && bytes > growth_step && bytes < largest_size - growth_step;
    return std::realloc(array, goes_on ? (bytes + growth_step - 1) & -growth_step : bytes);
}

// The block stays the same one in the books, wherever it moves.
void *regrow(void *array, size_t old_bytes, size_t new_bytes)
{
    if (!may_succeed() || new_bytes > largest_size)
        return nullptr;
    void *grown = moved(array, new_bytes + (new_bytes == 0));
    if (grown)
        std::memset(static_cast<char *>(grown) + old_bytes, 0, new_bytes - old_bytes);
    return grown;
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

void tracked_free(void *ptr, const char *tag)
{
    if (!ptr)
        return;
    // The books first: the tag may lie inside the block.
    if (tag_record *record = record_of(tag))
        live_of(*record).fetch_sub(1, std::memory_order_relaxed);
    give_back(ptr);
}

void *crealloc(void *array, size_t element_size, size_t count, size_t added)
{
    size_t total;
    if (__builtin_add_overflow(count, added, &total))
        total = no_size;
    const size_t new_bytes = product(total, element_size);
    if (!array)
        return take(new_bytes, array_tag, content::zero);
    return regrow(array, product(count, element_size), new_bytes);
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
