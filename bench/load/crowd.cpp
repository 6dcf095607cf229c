// A clock of one millisecond goes round 200 slots, and every session types when the
// clock is at its slot: one timer for all, and every session at a phase of its own.

#include "crowd.h"

#include "typing.h"
#include "typist.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <uv.h>

namespace varno_load {
namespace {

constexpr uint64_t ns_per_ms = 1'000'000;
constexpr size_t most_unanswered = 256; // sessions that wait for their first output

class Crowd {
  public:
    Crowd(uint16_t port, size_t sessions, unsigned opened_per_second, Progress &progress)
        : port_(port), wanted_(sessions), opened_per_second_(opened_per_second),
          progress_(progress), slots_(key_interval_ms)
    {
        uv_loop_init(&loop_);
    }

    void run()
    {
        uv_timer_t clock;
        uv_timer_init(&loop_, &clock);
        clock.data = this;
        started_at_ = uv_hrtime();
        const auto on_tick = [](uv_timer_t *timer) { static_cast<Crowd *>(timer->data)->tick(); };
        uv_timer_start(&clock, on_tick, 1, 1);
        uv_run(&loop_, UV_RUN_DEFAULT);
    }

  private:
    uint64_t milliseconds() const { return (uv_hrtime() - started_at_) / ns_per_ms; }

    void tick()
    {
        if (typists_.size() < wanted_)
            open_some();
        if (progress_.may_type)
            type_what_is_due();
        else
            typed_until_ = milliseconds();
    }

    void open_some()
    {
        const uint64_t due = milliseconds() * opened_per_second_ / 1000;
        while (typists_.size() < std::min<uint64_t>(due, wanted_) && unanswered_ < most_unanswered)
            open_one();
    }

    void open_one()
    {
        const size_t number = typists_.size();
        auto typist = std::make_unique<Typist>(
            number % keys_typed(), [this](bool is_first) { opened(is_first); },
            [this](bool was_open, const char *why) { ended(was_open, why); });
        slots_[number * key_interval_ms / wanted_].push_back(typist.get());
        typists_.push_back(std::move(typist));
        unanswered_++;
        typists_.back()->connect(&loop_, port_);
    }

    void opened(bool is_first)
    {
        unanswered_ -= is_first ? 1 : 0;
        progress_.open += is_first ? 1 : 0;
    }

    void ended(bool was_open, const char *why)
    {
        unanswered_ -= was_open ? 0 : 1;
        if (progress_.ended++ == 0)
            std::fprintf(stderr, "varno_load: a session ended: %s\n", why);
    }

    // Whoever is so late that a session's next key is due leaves keys out.
    void type_what_is_due()
    {
        const uint64_t now = milliseconds();
        const auto late = static_cast<long>(now - typed_until_);
        progress_.latest_ms = std::max(progress_.latest_ms.load(), late);
        uint64_t slot = std::max(typed_until_, now - std::min<uint64_t>(now, key_interval_ms));
        for (; slot < now; slot++) {
            for (Typist *typist : slots_[slot % key_interval_ms])
                progress_.keys += typist->type_next_key() ? 1 : 0;
        }
        typed_until_ = now;
    }

    uint16_t port_;
    size_t wanted_;
    unsigned opened_per_second_;
    Progress &progress_;
    uv_loop_t loop_;
    uint64_t started_at_ = 0;
    uint64_t typed_until_ = 0; // milliseconds
    size_t unanswered_ = 0;
    std::vector<std::unique_ptr<Typist>> typists_;
    std::vector<std::vector<Typist *>> slots_;
};

} // namespace

void run_crowd(uint16_t port, size_t sessions, unsigned opened_per_second, Progress &progress)
{
    Crowd(port, sessions, opened_per_second, progress).run();
    std::abort(); // the clock never stops
}

} // namespace varno_load
