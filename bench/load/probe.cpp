// The time of an echo is from just before the key's bytes are handed to the kernel to
// when the first output after them has been read.

#include "probe.h"

#include "crowd.h"
#include "typing.h"
#include "typist.h"

#include <cstdio>

namespace varno_load {
namespace {

constexpr uint64_t most_ms_to_open = 10'000;

} // namespace

struct Probe::Seat {
    Probe *probe;
    std::unique_ptr<Typist> typist;
    uv_timer_t timer;
    uint64_t typed_at; // 0: no key waits for its echo
};

Probe::Probe(uint16_t port, size_t sessions) : port_(port)
{
    uv_loop_init(&loop_);
    for (size_t i = 0; i < sessions; i++)
        seats_.push_back(std::make_unique<Seat>());
}

// The process ends with its probe; the kernel closes what is open.
Probe::~Probe() = default;

bool Probe::open()
{
    for (auto &seat : seats_) {
        seat->probe = this;
        seat->timer.data = seat.get();
        seat->typist = std::make_unique<Typist>(
            line_begun(static_cast<size_t>(&seat - seats_.data())),
            [this, &seat](bool is_first) { echoed(*seat, is_first); },
            [this](bool, const char *why) {
                if (ended_++ == 0)
                    std::fprintf(stderr, "varno_load: a probe's session ended: %s\n", why);
            });
        uv_timer_init(&loop_, &seat->timer);
        seat->typist->connect(&loop_, port_);
    }
    for (uint64_t waited = 0; open_ < seats_.size() && waited < most_ms_to_open; waited += 50)
        run_for(50);
    run_for(200); // the rest of the dialogue's beginning
    return open_ == seats_.size() && ended_ == 0;
}

void Probe::type(double seconds)
{
    latencies_.clear();
    keys_ = missing_ = 0;
    const auto on_time = [](uv_timer_t *timer) {
        auto &seat = *static_cast<Seat *>(timer->data);
        seat.probe->type_one(seat);
    };
    for (auto &seat : seats_) {
        const auto number = static_cast<size_t>(&seat - seats_.data());
        uv_update_time(&loop_);
        uv_timer_start(&seat->timer, on_time, 1 + number * key_interval_ms / seats_.size(),
                       key_interval_ms);
    }
    run_for(static_cast<uint64_t>(seconds * 1000));
    for (auto &seat : seats_)
        uv_timer_stop(&seat->timer);
}

void Probe::type_one(Seat &seat)
{
    if (seat.typed_at != 0) {
        missing_++;
        return; // and wait for it: a session has one key on its way
    }
    const uint64_t now = uv_hrtime();
    if (!seat.typist->type_next_key())
        return;
    seat.typed_at = now;
    keys_++;
}

void Probe::echoed(Seat &seat, bool is_first)
{
    open_ += is_first ? 1 : 0;
    if (seat.typed_at != 0)
        latencies_.push_back(uv_hrtime() - seat.typed_at);
    seat.typed_at = 0;
}

void Probe::run_for(uint64_t milliseconds)
{
    uv_timer_t end;
    uv_timer_init(&loop_, &end);
    uv_update_time(&loop_);
    uv_timer_start(
        &end, [](uv_timer_t *timer) { uv_stop(timer->loop); }, milliseconds, 0);
    uv_run(&loop_, UV_RUN_DEFAULT);
    uv_close(reinterpret_cast<uv_handle_t *>(&end), nullptr);
    uv_run(&loop_, UV_RUN_NOWAIT);
}

} // namespace varno_load
