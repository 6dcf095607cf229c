#ifndef VARNO_RESERVE_H
#define VARNO_RESERVE_H

// Released blocks that the allocator keeps for those who come next. For allocator.cpp
// alone.

#include <cstddef>
#include <cstdlib>

#include "slabs.h"

namespace varno {

// The reserve: released blocks of some sizes above a slab's, at most 64 KiB of each,
// 1.1 MiB in all. What is released beyond that goes back to the heap, so that nothing
// grows.
constexpr size_t least_kept = 72; // the heap's own steps: 72, 88, 104...
constexpr size_t kept_step = 16;
constexpr size_t kept_sizes = 17;
constexpr size_t most_kept_bytes = size_t{64} * 1024;

static_assert(least_kept - kept_step < largest_in_slab);

// The blocks of one size. A thread that finds it taken goes to the heap instead.
struct alignas(64) reserve_s {
    Gate gate;
    kept_block *first;
    size_t count;
};

inline constinit reserve_s reserves[kept_sizes] = {};

constexpr size_t bytes_of(size_t size)
{
    return least_kept + size * kept_step;
}

constexpr size_t largest_kept = bytes_of(kept_sizes - 1);

// Which size serves a request of at most largest_kept bytes.
inline size_t size_for(size_t bytes)
{
    return bytes <= least_kept ? 0 : (bytes - least_kept + kept_step - 1) / kept_step;
}

// Returns a block with room for more bytes than a slab's and at most largest_kept; NULL
// when none is kept.
inline void *take_from_reserve(size_t bytes)
{
    reserve_s &reserve = reserves[size_for(bytes)];
    if (!reserve.gate.enter())
        return nullptr;
    kept_block *block = reserve.first;
    if (block) {
        reserve.first = block->next;
        reserve.count--;
    }
    reserve.gate.leave();
    return block;
}

// Keeps a block of the heap's under the largest size that it has room for; false when it does not.
inline bool keep(void *ptr)
{
    const size_t room = room_of(ptr);
    if (room < least_kept || room >= largest_kept + kept_step)
        return false;
    const size_t size = (room - least_kept) / kept_step;
    reserve_s &reserve = reserves[size];
    if (!reserve.gate.enter())
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
    reserve.gate.leave();
    return has_room;
}

} // namespace varno

#endif
