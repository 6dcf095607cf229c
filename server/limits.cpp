// Counting sessions. What is reserved for an address and not in use counts as taken for
// everybody else; nothing else holds back who takes it.

#include "limits.h"

#include <algorithm>

namespace varno {
namespace {

constexpr uint64_t minute_ms = 60000;
constexpr size_t most_addresses = 65536; // whose rate is known at a time
constexpr uint64_t forget_ms = 1000;

} // namespace

// An address that cannot be counted is let in: by then there are more of them than
// sessions.
bool ConnectRate::admits(const std::string &address, uint64_t ms)
{
    if (a_minute_ == 0)
        return true;
    if (free_at_.size() >= most_addresses)
        forget_old(ms);
    const auto known = free_at_.find(address);
    if (known == free_at_.end() && free_at_.size() >= most_addresses)
        return true;
    const uint64_t share_ms = std::max<uint64_t>(minute_ms / a_minute_, 1);
    const uint64_t free_at = std::max(known == free_at_.end() ? 0 : known->second, ms) + share_ms;
    if (free_at > ms + share_ms * a_minute_)
        return false;
    free_at_[address] = free_at;
    return true;
}

void ConnectRate::forget_old(uint64_t ms)
{
    if (ms - forgot_at_ < forget_ms)
        return;
    forgot_at_ = ms;
    std::erase_if(free_at_, [ms](const auto &one) { return one.second <= ms; });
}

bool Limits::reserve(const std::string &address, unsigned count)
{
    const std::lock_guard lock(mutex_);
    if (count > most_ - std::min(most_, sessions_ + kept_) || reserved_.contains(address))
        return false;
    reserved_[address] = count;
    kept_ += count;
    return true;
}

const char *Limits::look_for_room(const std::string &address, unsigned own, uint64_t ms)
{
    if (sessions_ + kept_ >= most_)
        return "Too many sessions, try again later";
    if (own >= most_per_address_)
        return "Too many sessions from your address";
    if (!rate_.admits(address, ms))
        return "Too many connections from your address, try again later";
    return nullptr;
}

const char *Limits::enter(const std::string &address, uint64_t ms)
{
    const std::lock_guard lock(mutex_);
    const auto found = by_address_.find(address);
    const unsigned own = found == by_address_.end() ? 0 : found->second;
    const auto reserved = reserved_.find(address);
    const bool has_place = reserved != reserved_.end() && own < reserved->second;
    const char *why = has_place ? nullptr : look_for_room(address, own, ms);
    if (why)
        return why;
    by_address_[address] = own + 1;
    sessions_++;
    kept_ -= has_place ? 1 : 0;
    return nullptr;
}

void Limits::leave(const std::string &address)
{
    const std::lock_guard lock(mutex_);
    const auto found = by_address_.find(address);
    const auto reserved = reserved_.find(address);
    if (reserved != reserved_.end() && found->second <= reserved->second)
        kept_++;
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
