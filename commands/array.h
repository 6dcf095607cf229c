#ifndef VARNO_COMMANDS_ARRAY_H
#define VARNO_COMMANDS_ARRAY_H

// A growing array of plain records in the platform's tracked memory. Running out of memory
// is noted and asked about once, when all is done: add then keeps nothing.

#include <varno/platform.h>

#include <algorithm>
#include <cstddef>
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
        if (used == room && !grow())
            return nullptr;
        items[used] = copy;
        return &items[used++];
    }

    // Room for just so many more, which then come without a move. Returns: false without memory.
    bool reserve(size_t more) { return used + more <= room || grow_by(used + more - room); }

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
    bool grow() { return grow_by(room == 0 ? 16 : room); }

    bool grow_by(size_t added)
    {
        auto *grown =
            is_short ? nullptr : static_cast<Item *>(crealloc(items, sizeof(Item), room, added));
        is_short = !grown;
        if (!grown)
            return false;
        items = grown;
        room += added;
        return true;
    }
};

} // namespace varno::commands

#endif
