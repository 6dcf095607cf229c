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
constexpr size_t slab_span = size_t{16} * 1024;           // a slab begins at a multiple of it
constexpr size_t slab_bytes = slab_span - sizeof(void *); // leaves room for the heap's header

struct slab_list;

// A slab in a list has a block ready, and one without is in no list.
struct alignas(slab_step) slab_s {
    slab_s *next;
    slab_s *previous;
    kept_block *first; // what is ready: released blocks, or a few that were never given
    slab_list *list;
    uint32_t live;
    uint16_t untouched; // the byte where the blocks begin that were never ready
    uint16_t size;      // of a block, in bytes
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

// Where a block's slab begins, if it is in one. Nothing else lies in a slab's span: its last
// bytes are too few for a block of the heap's.
inline slab_s *slab_around(const void *block)
{
    return reinterpret_cast<slab_s *>(reinterpret_cast<uintptr_t>(block) & -slab_span);
}

// Returns NULL for a block of the heap's.
inline slab_s *slab_of(const void *block)
{
    if constexpr (has_small_blocks) {
        slab_s *slab = slab_around(block);
        for (const auto &place : directory[row_of_slab(reinterpret_cast<uintptr_t>(slab))]) {
            if (place.load(std::memory_order_relaxed) == slab)
                return slab;
        }
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

// So many blocks that were never given are made ready at a time.
constexpr int blocks_at_a_time = 4;

// Returns false when there are no such blocks.
inline bool make_blocks_ready(slab_s *slab)
{
    for (int n = 0; n < blocks_at_a_time && slab->untouched + slab->size <= slab_bytes; n++) {
        auto *block =
            reinterpret_cast<kept_block *>(reinterpret_cast<char *>(slab) + slab->untouched);
        block->next = slab->first;
        slab->first = block;
        slab->untouched = static_cast<uint16_t>(slab->untouched + slab->size);
    }
    return slab->first != nullptr;
}

[[gnu::noinline]] inline slab_s *add_slab(slab_list &list)
{
    void *room;
    if (posix_memalign(&room, slab_span, slab_bytes) != 0)
        return nullptr;
    auto *slab = static_cast<slab_s *>(room);
    const auto size =
        static_cast<uint16_t>(static_cast<size_t>(&list - slab_lists + 1) * slab_step);
    *slab = {nullptr, nullptr, nullptr, &list, 0, sizeof(slab_s), size};
    make_blocks_ready(slab);
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

// From here to take_in_slab: within the list's gate.

// Returns whether it was the slab's last live block.
inline bool put_in_slab(slab_s *slab, void *ptr)
{
    if (ptr == slab->first) [[unlikely]]
        std::abort(); // released twice, as the heap would say
    if (!slab->first) [[unlikely]]
        link_slab(*slab->list, slab);
    auto *block = static_cast<kept_block *>(ptr);
    block->next = slab->first;
    slab->first = block;
    return --slab->live == 0;
}

inline void drop_unless_alone(slab_s *slab)
{
    if (slab->next || slab->previous)
        drop_slab(*slab->list, slab);
}

inline void put_returned(slab_list &list)
{
    kept_block *block = list.returned.exchange(nullptr, std::memory_order_acquire);
    while (block) {
        kept_block *next = block->next;
        slab_s *slab = slab_around(block);
        if (put_in_slab(slab, block))
            drop_unless_alone(slab);
        block = next;
    }
}

inline void *take_in_slab(slab_list &list)
{
    if (list.returned.load(std::memory_order_relaxed))
        put_returned(list);
    slab_s *slab = list.first ? list.first : add_slab(list);
    if (!slab)
        return nullptr;
    kept_block *block = slab->first;
    slab->first = block->next;
    slab->live++;
    if (!slab->first && !make_blocks_ready(slab))
        unlink_slab(list, slab);
    return block;
}

// Counted in bytes: an index would be divided for, and multiplied again.
inline slab_list &list_for(size_t bytes)
{
    static_assert(sizeof(slab_list) == 4 * slab_step);
    auto *lists = reinterpret_cast<char *>(slab_lists);
    return *reinterpret_cast<slab_list *>(lists + 4 * ((bytes - 1) & -slab_step));
}

// Returns NULL where the block has to come from the heap.
inline void *take_from_slabs(size_t bytes)
{
    slab_list &list = list_for(bytes);
    if (!list.gate.enter())
        return nullptr;
    void *block = take_in_slab(list);
    list.gate.leave();
    return block;
}

// What most calls come to: the gate is open and nothing changes but the ready blocks.
// Returns NULL otherwise.
inline void *take_at_once(size_t bytes)
{
    slab_list &list = list_for(bytes);
    if (!list.gate.enter()) [[unlikely]]
        return nullptr;
    slab_s *slab = list.first;
    kept_block *block = nullptr;
    if (slab && slab->first->next && !list.returned.load(std::memory_order_relaxed)) [[likely]] {
        block = slab->first;
        slab->first = block->next;
        slab->live++;
    }
    list.gate.leave();
    return block;
}

// For whoever comes in next, since the gate is taken.
[[gnu::noinline]] inline void leave_at_gate(slab_list &list, void *ptr)
{
    auto *block = static_cast<kept_block *>(ptr);
    block->next = list.returned.load(std::memory_order_relaxed);
    while (!list.returned.compare_exchange_weak(block->next, block, std::memory_order_release,
                                                std::memory_order_relaxed)) {
    }
}

[[gnu::noinline]] inline void drop_and_leave(slab_list &list, slab_s *slab)
{
    drop_unless_alone(slab);
    list.gate.leave();
}

inline void give_back_to_slab(slab_s *slab, void *ptr)
{
    slab_list &list = *slab->list;
    if (!list.gate.enter()) [[unlikely]]
        return leave_at_gate(list, ptr);
    if (put_in_slab(slab, ptr)) [[unlikely]]
        return drop_and_leave(list, slab);
    list.gate.leave();
}

} // namespace varno

#endif
