#ifndef VARNO_FUZZ_SESSION_PLAY_H
#define VARNO_FUZZ_SESSION_PLAY_H

// Plays the bytes of an input to a session on an emulated terminal: the first few say
// how it is set up, those from 0x80 to 0x8f are acts of its host, and all others come
// from the terminal. After each call the session must keep to its bounds, and its row
// must be what its model is.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "input_reader.h"
#include "support/session_host.h"

#include <varno/tsession.h>

namespace varno_fuzz {

// What sessions of the process share: made with the first one, and never freed.
tsession_shared_s *process_shared();

// The host's command "fault" fails an assertion by itself; any other is a finding.
void handle_assertions();

class SessionPlay {
  public:
    // transport: TSESSION_PLAIN or TSESSION_TELNET.
    SessionPlay(int transport, InputReader &in);

    // The rest of the input, its stream in parts of so many bytes at most.
    void run(InputReader in, size_t part);

    // All that was told to the host.
    const std::vector<std::string> &events() const { return events_; }
    std::string screen() const;
    // False: how far the line was scrolled, or memory, depended on the cuts.
    bool is_screen_comparable() const { return is_screen_comparable_; }
    bool are_events_comparable() const { return are_events_comparable_; }

  private:
    void input(std::string_view bytes);
    void by_host(int act, InputReader &in);
    void change(int act, InputReader &in);
    void after_call(size_t bytes_in);
    void check_output(size_t bytes_in);
    void page();
    void drain();
    static int produce(tsession_s *s, void *user, void *ctx, int is_cancelled);

    std::unique_ptr<varno_test::SessionHost> host_;
    int columns_;
    bool is_wide_; // the terminal, so that a size that changes does not break rows
    bool is_writable_ = true;
    bool is_without_memory_ = false;
    bool is_screen_comparable_ = true;
    bool has_echoed_ = false; // the client
    bool are_events_comparable_ = true;
    int produced_ = 0;
    int producing_ = 0; // long outputs that have begun and not ended
    std::vector<std::string> events_;
};

// The same stream whole and cut: nothing that can be told from outside differs.
void play_whole_and_cut(int transport, const uint8_t *data, size_t size);

} // namespace varno_fuzz

#endif
