#ifndef VARNO_FUZZ_HOSTILE_HOST_H
#define VARNO_FUZZ_HOSTILE_HOST_H

// A host of two sessions whose callbacks do whatever the next bytes of the input say, on
// either session: give it input, write, ask, close or free it, fail an assertion, leave
// by an exception. Every long output must come to one end, every question to one answer,
// and nothing may be told of a session that is gone.

#include <deque>

#include "input_reader.h"

#include <varno/tsession.h>

namespace varno_fuzz {

class HostileHost {
  public:
    explicit HostileHost(InputReader in);
    ~HostileHost();
    HostileHost(const HostileHost &) = delete;
    HostileHost &operator=(const HostileHost &) = delete;

    // From outside of all sessions, to the end of the input.
    void run();

  private:
    // A long output or a question.
    struct Dialogue {
        int result = -2; // of the call that asked; -2: it was left by an exception
        int ended = 0;
    };
    struct Slot {
        HostileHost *host;
        tsession_s *session = nullptr; // NULL: freed, and not to be called any more
        int calls = 0;                 // on it that have not returned
        bool is_gone = true;
        bool is_over = false; // TSESSION_CLOSED was told: nothing else is any more
        std::deque<Dialogue> dialogues;
    };
    struct Thrown {};

    template <typename Call>
    void call(Slot &slot, Call call);
    void open(Slot &slot);
    void act();
    void act_on(Slot &slot, int kind);
    void write(Slot &slot, int kind);
    void change(Slot &slot, int kind);
    void free(Slot &slot);
    void ask(Slot &slot, int kind, bool is_secret);
    static void check_dialogues(Slot &slot);
    void told(Slot &slot);

    static Slot &slot_of(tsession_s *s, void *user);
    static void output(tsession_s *s, void *user, const char *bytes, size_t count);
    static void line(tsession_s *s, void *user, const char *line, const cli_pnode_s *action,
                     cli_pmatch_s *matches);
    static void event(tsession_s *s, void *user, const tsession_event_s *event);
    static int produce(tsession_s *s, void *user, void *ctx, int is_cancelled);
    static void answer(tsession_s *s, void *user, void *ctx, const char *answer);
    static void key_answer(tsession_s *s, void *user, void *ctx, int key);

    InputReader in_;
    Slot slots_[2];
    int depth_ = 0; // callbacks that have not returned
};

} // namespace varno_fuzz

#endif
