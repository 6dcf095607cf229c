// Counting sessions.

#include "limits.h"

namespace varno {

const char *Limits::enter(const std::string &address)
{
    const std::lock_guard lock(mutex_);
    if (sessions_ >= most_)
        return "Too many sessions, try again later";
    const auto found = by_address_.find(address);
    if (found != by_address_.end() && found->second >= most_per_address_)
        return "Too many sessions from your address";
    by_address_[address]++;
    sessions_++;
    return nullptr;
}

void Limits::leave(const std::string &address)
{
    const std::lock_guard lock(mutex_);
    const auto found = by_address_.find(address);
    if (--found->second == 0)
        by_address_.erase(found);
    sessions_--;
}

uint64_t Limits::sessions()
{
    const std::lock_guard lock(mutex_);
    return sessions_;
}

} // namespace varno
