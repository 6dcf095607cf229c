#ifndef VARNO_SLABS_H
#define VARNO_SLABS_H

// Where the allocator's smallest blocks come from. For allocator.cpp alone.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "small_blocks.h"

namespace varno {

// Slabs: blocks of one size side by side, which saves the heap's header of each: of a
// session's blocks most are of 16 to 64 bytes. A slab goes back to the heap with its last
// live block, but for one empty slab of each size; one live block keeps it. While a thread
// finds the slabs of a size taken, it takes its block from the heap; what it gives back is
// left for the next thread that comes in.
constexpr size_t slab_step = 16; // the heap's alignment
constexpr size_t slab_sizes = 4;
constexpr size_t largest_in_slab = slab_sizes * slab_step;
constexpr size_t slab_span = size_t{16} * 1024;      // a slab begins at a multiple of it
constexpr size_t slab_bytes = slab_span - slab_step; // leaves room for the heap's header

struct alignas(slab_step) slab_s {
    slab_s *next; // in the list of slabs that have a block to give
    slab_s *previous;
    kept_block *first; // released blocks
    uint16_t live;
    uint16_t untouched; // where the blocks begin that were never given, in steps
    uint16_t size;      // of a block, in steps
    uint16_t capacity;  // in blocks
};

// The slabs of one size. ORDER by size
struct alignas(64) slab_list {
    Gate gate;
    slab_s *first;
    std::atomic<kept_block *> returned; // by threads that found the gate taken
};

inline constinit slab_list slab_lists[slab_sizes] = {};

// Where each slab is, so that a block is known for one by its address. There is room
// for 128 MiB of slabs; one that finds its row full is not used.
constexpr size_t directory_rows = 2048;
inline constinit std::atomic<slab_s *> directory[directory_rows][4] = {};

inline size_t row_of_slab(uintptr_t address)
{
    return address / slab_span % directory_rows;
}

// Returns NULL for a block of the heap's.
inline slab_s *slab_of(const void *block)
{
    const auto address = reinterpret_cast<uintptr_t>(block);
    if (!has_small_blocks || address % slab_span >= slab_bytes)
        return nullptr;
    for (const auto &place : directory[row_of_slab(address)]) {
        slab_s *slab = place.load(std::memory_order_relaxed);
        if (reinterpret_cast<uintptr_t>(slab) == address - address % slab_span)
            return slab;
    }
    return nullptr;
}

inline bool enter_in_directory(slab_s *slab)
{
    for (auto &place : directory[row_of_slab(reinterpret_cast<uintptr_t>(slab))]) {
        slab_s *empty = nullptr;
        if (place.compare_exchange_strong(empty, slab, std::memory_order_relaxed))
            return true;
    }
    return false;
}

inline void remove_from_directory(slab_s *slab)
{
    for (auto &place : directory[row_of_slab(reinterpret_cast<uintptr_t>(slab))]) {
        if (place.load(std::memory_order_relaxed) == slab)
            place.store(nullptr, std::memory_order_relaxed);
    }
}

inline void link_slab(slab_list &list, slab_s *slab)
{
    slab->previous = nullptr;
    slab->next = list.first;
    if (slab->next)
        slab->next->previous = slab;
    list.first = slab;
}

inline void unlink_slab(slab_list &list, slab_s *slab)
{
    (slab->previous ? slab->previous->next : list.first) = slab->next;
    if (slab->next)
        slab->next->previous = slab->previous;
}

inline bool is_full(const slab_s *slab)
{
    return slab->live == slab->capacity;
}

constexpr size_t first_block = sizeof(slab_s) / slab_step;

[[gnu::noinline]] inline slab_s *add_slab(slab_list &list)
{
    void *room;
    if (posix_memalign(&room, slab_span, slab_bytes) != 0)
        return nullptr;
    auto *slab = static_cast<slab_s *>(room);
    const auto size = static_cast<uint16_t>(&list - slab_lists + 1);
    const auto capacity = (slab_bytes / slab_step - first_block) / size;
    *slab = {nullptr, nullptr, nullptr, 0, first_block, size, static_cast<uint16_t>(capacity)};
    if (!enter_in_directory(slab)) {
        std::free(slab);
        return nullptr;
    }
    link_slab(list, slab);
    return slab;
}

[[gnu::noinline]] inline void drop_slab(slab_list &list, slab_s *slab)
{
    unlink_slab(list, slab);
    remove_from_directory(slab);
    std::free(slab);
}

// These two within the list's gate.

inline void put_in_slab(slab_list &list, slab_s *slab, void *ptr)
{
    if (ptr == slab->first) [[unlikely]]
        std::abort(); // released twice, as the heap would say
    if (is_full(slab)) [[unlikely]]
        link_slab(list, slab);
    auto *block = static_cast<kept_block *>(ptr);
    block->next = slab->first;
    slab->first = block;
    if (--slab->live == 0 && (slab->next || slab->previous)) [[unlikely]]
        drop_slab(list, slab);
}

inline void put_returned(slab_list &list)
{
    kept_block *block = list.returned.exchange(nullptr, std::memory_order_acquire);
    while (block) {
        kept_block *next = block->next;
        put_in_slab(list, slab_of(block), block);
        block = next;
    }
}

inline void *take_in_slab(slab_list &list)
{
    if (list.returned.load(std::memory_order_relaxed)) [[unlikely]]
        put_returned(list);
    slab_s *slab = list.first ? list.first : add_slab(list);
    if (!slab) [[unlikely]]
        return nullptr;
    void *block = slab->first;
    if (block) {
        slab->first = slab->first->next;
    } else {
        block = reinterpret_cast<char *>(slab) + slab->untouched * slab_step;
        slab->untouched = static_cast<uint16_t>(slab->untouched + slab->size);
    }
    slab->live++;
    if (is_full(slab)) [[unlikely]]
        unlink_slab(list, slab);
    return block;
}

// Returns NULL where the block has to come from the heap.
inline void *take_from_slabs(size_t bytes)
{
    slab_list &list = slab_lists[(bytes - 1) / slab_step];
    if (!list.gate.enter()) [[unlikely]]
        return nullptr;
    void *block = take_in_slab(list);
    list.gate.leave();
    return block;
}

inline void give_back_to_slab(slab_s *slab, void *ptr)
{
    slab_list &list = slab_lists[slab->size - 1];
    if (list.gate.enter()) [[likely]] {
        put_in_slab(list, slab, ptr);
        list.gate.leave();
        return;
    }
    auto *block = static_cast<kept_block *>(ptr);
    block->next = list.returned.load(std::memory_order_relaxed);
    while (!list.returned.compare_exchange_weak(block->next, block, std::memory_order_release,
                                                std::memory_order_relaxed)) {
    }
}

} // namespace varno

#endif
