#ifndef VARNO_FUZZ_DEVICE_PLAY_H
#define VARNO_FUZZ_DEVICE_PLAY_H

// People at the demo device, two sessions of it. What they type is led by the parse graph
// of its commands: words that fit, in full, shortened or with a slip, and
// the keys of an editor in between.

#include <memory>
#include <string>
#include <vector>

#include "hosts/device/device.h"
#include "input_reader.h"
#include "support/terminal.h"

#include <varno/tsession.h>

namespace varno_fuzz {

class DevicePlay {
  public:
    DevicePlay();
    ~DevicePlay();
    DevicePlay(const DevicePlay &) = delete;
    DevicePlay &operator=(const DevicePlay &) = delete;

    void act(InputReader &in);

  private:
    struct Person {
        device::Console console;
        std::unique_ptr<varno_test::Terminal> terminal;
    };

    static void output(tsession_s *s, void *user, const char *bytes, size_t count);
    static void take_event(tsession_s *s, void *user, const tsession_event_s *event);
    static tsession_s *session_of(const Person &person);
    static bool do_later(device::Console &console, uint32_t milliseconds, device::Act act);

    void sit_down(Person &person);
    void leave(Person &person);
    void input(const std::string &bytes);
    void type_command(InputReader &in);
    void timers_run_out();

    Person people_[2] = {};
    Person *person_ = people_; // who types
    std::vector<std::pair<device::Console *, device::Act>> timers_;
};

} // namespace varno_fuzz

#endif
