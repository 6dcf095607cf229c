// The tracked allocator: the C library's heap, a count of live blocks for each
// tag, failure on demand, slabs of the smallest blocks, and a reserve of small ones,
// so that a session that begins takes what an earlier one gave back. A block has no
// header, since whoever releases it names its tag again; nobody here waits for another
// thread.

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "reserve.h"
#include "slabs.h"
#include "small_blocks.h"

namespace {

using namespace varno;

// A record is published once and lives as long as the process: there are about
// as many as there are different tags.
struct tag_record {
    tag_record *next;
    const char *text; // the record's own
    size_t live;      // blocks, wraps; only through std::atomic_ref
};

constexpr size_t no_size = SIZE_MAX; // stands for a number of bytes that overflowed
constexpr size_t largest_size = PTRDIFF_MAX;

// Copies of texts and arrays that grow: many blocks have this tag, and its record is
// known without a look-up.
constexpr char array_tag[] = "BYTE";
constinit tag_record array_record = {nullptr, array_tag, 0};

constinit std::atomic<tag_record *> tags = &array_record;

// Where a tag was found last, by the last byte of its address. Only a hint: equal texts
// have many addresses, and a text may change at its address, so the text is compared.
constinit std::atomic<tag_record *> hints[256] = {};

constinit std::atomic<long> left_to_succeed = -1; // allocations; below 0: no limit

std::atomic<tag_record *> &hint_of(const char *tag)
{
    return hints[reinterpret_cast<uintptr_t>(tag) % std::size(hints)];
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

// Reads no character behind the one that tells the two apart.
inline bool is_array_tag(const char *tag)
{
    static_assert(std::size(array_tag) == 5);
    return tag[0] == array_tag[0] && tag[1] == array_tag[1] && tag[2] == array_tag[2] &&
           tag[3] == array_tag[3] && tag[4] == array_tag[4];
}

// Returns the tag's record where a hint leads to it at once; else NULL.
inline tag_record *hinted_record(const char *tag)
{
    tag_record *record = hint_of(tag).load(std::memory_order_acquire);
    if (record && std::strcmp(record->text, tag) == 0) [[likely]]
        return record;
    return nullptr;
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

// Returns a block with room for so many bytes, at least one; NULL where the heap has to
// give it.
inline void *take_small(size_t bytes)
{
    if (!has_small_blocks || bytes > largest_kept)
        return nullptr;
    return bytes <= largest_in_slab ? take_from_slabs(bytes) : take_from_reserve(bytes);
}

[[gnu::noinline]] void give_back_to_heap(void *ptr)
{
    if (!has_small_blocks || !keep(ptr))
        std::free(ptr);
}

inline void give_back(void *ptr)
{
    slab_s *slab = slab_of(ptr);
    if (!slab)
        return give_back_to_heap(ptr);
    give_back_to_slab(slab, ptr);
}

enum class content { any, zero };

// A block out of slabs or reserve or, when these have none, the heap.
void *block_of(size_t bytes, content wanted)
{
    void *small = take_small(bytes);
    if (small)
        return wanted == content::zero ? std::memset(small, 0, bytes) : small;
    return wanted == content::zero ? std::calloc(1, bytes) : std::malloc(bytes);
}

// A block of at least one byte, so that NULL always means failure.
[[gnu::noinline]] void *take_slowly(size_t bytes, tag_record &record, content wanted)
{
    if (!may_succeed() || bytes > largest_size)
        return nullptr;
    void *block = block_of(bytes + (bytes == 0), wanted);
    if (block)
        live_of(record).fetch_add(1, std::memory_order_relaxed);
    return block;
}

[[gnu::noinline]] void *take_unhinted(size_t bytes, const char *tag, content wanted)
{
    tag_record *record = look_up(tag);
    return record ? take_slowly(bytes, *record, wanted) : nullptr;
}

// Clears a slab's block, the steps of it that are used: a call would cost more.
inline void clear_steps(void *block, size_t bytes)
{
    static_assert(slab_sizes == 4);
    auto *at = static_cast<char *>(block);
    std::memset(at, 0, slab_step);
    if (bytes > slab_step)
        std::memset(at + slab_step, 0, slab_step);
    if (bytes > 2 * slab_step)
        std::memset(at + 2 * slab_step, 0, slab_step);
    if (bytes > 3 * slab_step)
        std::memset(at + 3 * slab_step, 0, slab_step);
}

// A block that a slab has ready is taken in a straight line. What that does not serve, and
// each request that a limit counts, goes the slow way from its beginning.
template <content wanted>
[[gnu::always_inline]] inline void *take_for(size_t bytes, tag_record &record)
{
    const bool is_plain =
        bytes - 1 < largest_in_slab && left_to_succeed.load(std::memory_order_relaxed) < 0;
    void *block = has_small_blocks && is_plain ? take_at_once(bytes) : nullptr;
    if (!block) [[unlikely]]
        return take_slowly(bytes, record, wanted);
    if constexpr (wanted == content::zero)
        clear_steps(block, bytes);
    live_of(record).fetch_add(1, std::memory_order_relaxed);
    return block;
}

template <content wanted>
[[gnu::noinline]] void *take_tagged(size_t bytes, const char *tag)
{
    if (tag_record *record = hinted_record(tag)) [[likely]]
        return take_for<wanted>(bytes, *record);
    return take_unhinted(bytes, tag, wanted);
}

template <content wanted>
inline void *take(size_t bytes, const char *tag)
{
    return is_array_tag(tag) ? take_for<wanted>(bytes, array_record)
                             : take_tagged<wanted>(bytes, tag);
}

// An array that has grown large grows on: it is moved once for several elements.
constexpr size_t growth_step = 64;

// An array that is to outgrow its slab's block.
[[gnu::noinline]] void *moved_out_of(const slab_s *slab, void *array, size_t bytes)
{
    const size_t room = slab->size;
    void *grown = block_of(bytes, content::any);
    if (grown) {
        std::memcpy(grown, array, room);
        give_back(array);
    }
    return grown;
}

// Where the heap has given more than was asked for, that room is used first.
[[gnu::noinline]] void *moved_by_heap(void *array, size_t bytes)
{
    if (has_small_blocks && bytes <= room_of(array))
        return array;
    const bool goes_on =
        has_small_blocks && bytes > growth_step && bytes < largest_size - growth_step;
    return std::realloc(array, goes_on ? (bytes + growth_step - 1) & -growth_step : bytes);
}

// The array with room for so many bytes. One that has outgrown the slabs is in none.
void *moved(void *array, size_t old_bytes, size_t bytes)
{
    const slab_s *slab = old_bytes > largest_in_slab ? nullptr : slab_of(array);
    if (!slab)
        return moved_by_heap(array, bytes);
    return bytes <= slab->size ? array : moved_out_of(slab, array, bytes);
}

// The books first: the tag may lie inside the block.
[[gnu::noinline]] void free_tagged(void *ptr, const char *tag)
{
    tag_record *record = hinted_record(tag);
    if (!record) [[unlikely]]
        record = look_up(tag);
    if (record)
        live_of(*record).fetch_sub(1, std::memory_order_relaxed);
    give_back(ptr);
}

// The block stays the same one in the books, wherever it moves.
void *regrow(void *array, size_t old_bytes, size_t new_bytes)
{
    if (!may_succeed() || new_bytes > largest_size)
        return nullptr;
    void *grown = moved(array, old_bytes, new_bytes + (new_bytes == 0));
    if (grown)
        std::memset(static_cast<char *>(grown) + old_bytes, 0, new_bytes - old_bytes);
    return grown;
}

} // namespace

void *tracked_malloc(size_t size, const char *tag)
{
    return take<content::any>(size, tag);
}

void *tracked_calloc(size_t count, size_t size, const char *tag)
{
    return take<content::zero>(product(count, size), tag);
}

char *tracked_strdup(const char *text, const char *tag)
{
    const size_t bytes = std::strlen(text) + 1;
    void *copy = take<content::any>(bytes, tag);
    return copy ? static_cast<char *>(std::memcpy(copy, text, bytes)) : nullptr;
}

void tracked_free(void *ptr, const char *tag)
{
    if (!ptr)
        return;
    if (!is_array_tag(tag))
        return free_tagged(ptr, tag);
    live_of(array_record).fetch_sub(1, std::memory_order_relaxed);
    give_back(ptr);
}

void *crealloc(void *array, size_t element_size, size_t count, size_t added)
{
    size_t total;
    if (__builtin_add_overflow(count, added, &total))
        total = no_size;
    const size_t new_bytes = product(total, element_size);
    if (!array)
        return take_for<content::zero>(new_bytes, array_record);
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
