// Counting sessions.

#include "limits.h"

namespace telnetd {

const char *Limits::enter(const std::string &group)
{
    const std::lock_guard lock(mutex_);
    if (sessions_ >= settings_.max_sessions)
        return "Too many sessions, try again later";
    const auto found = by_group_.find(group);
    if (found != by_group_.end() && found->second >= settings_.max_per_address)
        return "Too many sessions from your address";
    by_group_[group]++;
    sessions_++;
    return nullptr;
}

void Limits::leave(const std::string &group)
{
    const std::lock_guard lock(mutex_);
    const auto found = by_group_.find(group);
    if (--found->second == 0)
        by_group_.erase(found);
    sessions_--;
}

unsigned Limits::sessions()
{
    const std::lock_guard lock(mutex_);
    return sessions_;
}

} // namespace telnetd
