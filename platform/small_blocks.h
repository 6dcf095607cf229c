#ifndef VARNO_SMALL_BLOCKS_H
#define VARNO_SMALL_BLOCKS_H

// What slabs and reserve share: whether there are any, and who may touch them.

#include <atomic>
#include <cstddef>

// They need a heap that tells a block's size; and a sanitizer has to see each block come
// and go.
#if defined(__SANITIZE_ADDRESS__)
#define VARNO_HAS_SMALL_BLOCKS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VARNO_HAS_SMALL_BLOCKS 0
#endif
#endif
#if !defined(VARNO_HAS_SMALL_BLOCKS) && defined(__linux__)
#define VARNO_HAS_SMALL_BLOCKS 1
#include <malloc.h>
#else
#undef VARNO_HAS_SMALL_BLOCKS
#define VARNO_HAS_SMALL_BLOCKS 0
#endif

namespace varno {

constexpr bool has_small_blocks = VARNO_HAS_SMALL_BLOCKS;

// The room of a block of the heap's, which is what was asked for or more.
inline size_t room_of(void *block)
{
#if VARNO_HAS_SMALL_BLOCKS
    return malloc_usable_size(block);
#else
    static_cast<void>(block);
    return 0;
#endif
}

// A released block, while it is kept.
struct kept_block {
    kept_block *next;
};

// Whoever finds it taken does something else instead of waiting.
class Gate {
  public:
    bool enter() { return !is_taken_.exchange(true, std::memory_order_acquire); }
    void leave() { is_taken_.store(false, std::memory_order_release); }

  private:
    std::atomic<bool> is_taken_ = false;
};

} // namespace varno

#endif
