#ifndef VARNO_DEVICE_READING_H
#define VARNO_DEVICE_READING_H

// What commands read from the system: at most once a second, for the sessions of all
// threads together, so that nobody who asks again and again keeps others waiting.

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "device.h"

namespace device {

template <typename Content>
class Reading {
  public:
    // read: returns nothing when the system does not tell.
    explicit Reading(std::optional<Content> (*read)()) : read_(read) {}

    // Returns: what was read within the last second, or is now; NULL when the system does
    //          not tell, which is asked again the next time.
    std::shared_ptr<const Content> get(int64_t now = now_ms())
    {
        const std::lock_guard lock(mutex_);
        if (content_ && now - read_at_ < lasts_ms)
            return content_;
        content_.reset();
        if (std::optional<Content> content = read_())
            content_ = std::make_shared<const Content>(std::move(*content));
        read_at_ = now;
        return content_;
    }

    void forget()
    {
        const std::lock_guard lock(mutex_);
        content_.reset();
    }

  private:
    static constexpr int64_t lasts_ms = 1000;

    std::optional<Content> (*const read_)();
    std::mutex mutex_;
    std::shared_ptr<const Content> content_;
    int64_t read_at_ = 0;
};

} // namespace device

#endif
