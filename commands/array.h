#ifndef VARNO_COMMANDS_ARRAY_H
#define VARNO_COMMANDS_ARRAY_H

// A growing array of plain records in the platform's tracked memory. Running out of memory
// is noted and asked about once, when all is done: add then keeps nothing.

#include <varno/platform.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace varno::commands {

template <typename Item>
struct Array {
    static_assert(std::is_trivially_copyable_v<Item>);

    Item *items = nullptr;
    size_t used = 0;
    size_t room = 0;
    bool is_short = false; // of memory

    // Returns: the new item, a copy of the one given; NULL without memory.
    Item *add(const Item &item)
    {
        const Item copy = item; // it may be one of ours
        if (used == room && !make_room(1))
            return nullptr;
        items[used] = copy;
        return &items[used++];
    }

    // Copies of items that are not ours. Returns: false without memory.
    bool append(const Item *from, size_t count)
    {
        if (!make_room(count))
            return false;
        std::copy_n(from, count, end());
        used += count;
        return true;
    }

    // So many of an item that is not ours. Returns: false without memory.
    bool add_copies(size_t count, const Item &item)
    {
        if (!make_room(count))
            return false;
        std::fill_n(end(), count, item);
        used += count;
        return true;
    }

    // Room for so many more, which then come without a move. Returns: false without memory.
    bool make_room(size_t more)
    {
        return more <= room - used || move_to(std::max({used + more, 2 * room, size_t{16}}));
    }

    // The same for what does not grow any more after that.
    bool reserve(size_t more) { return more <= room - used || move_to(used + more); }

    // Gives back the room that is not used. The items move; without memory they stay.
    void trim()
    {
        Array exact = {};
        if (used == room || !exact.reserve(used))
            return;
        std::copy(begin(), end(), exact.items);
        exact.used = used;
        release();
        *this = exact;
    }

    Item &operator[](size_t i) { return items[i]; }
    const Item &operator[](size_t i) const { return items[i]; }
    Item *begin() { return items; }
    Item *end() { return items + used; }
    const Item *begin() const { return items; }
    const Item *end() const { return items + used; }

    void release()
    {
        tracked_free(items, "BYTE");
        *this = {};
    }

  private:
    // Not by crealloc, which clears what is about to be written.
    bool move_to(size_t wanted)
    {
        constexpr size_t size =
            sizeof(Item); // NOLINT(bugprone-sizeof-expression): of pointers, too
        void *block = is_short || wanted > PTRDIFF_MAX / size
                          ? nullptr
                          : tracked_malloc(wanted * size, "BYTE");
        is_short = !block;
        if (!block)
            return false;
        auto *moved = static_cast<Item *>(block);
        std::copy_n(items, used, moved);
        tracked_free(items, "BYTE");
        items = moved;
        room = wanted;
        return true;
    }
};

} // namespace varno::commands

#endif
