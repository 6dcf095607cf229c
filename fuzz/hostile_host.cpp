#include "hostile_host.h"

#include <string>
#include <utility>

#include "finding.h"
#include "session_check.h"
#include "session_play.h"

#include <varno/varno.h>

namespace varno_fuzz {
namespace {

constexpr int most_depth = 6;

// What people type, a byte each.
constexpr const char *typed[] = {
    "show version\r",
    "show long\r",
    "login\r",
    "sure\r",
    "x",
    "\r",
    "\x03",
    "q",
    " ",
    "?",
    "\t",
    "\x1b[A",
    "\x1b",
    "\x04",
    "fault\r",
    "\xff\xf6",
    "\xff\xf4",
    "\xff\xf3",
    "\xff\xfa\x1f",
    "\xff\xf0",
    "abcdefghijklmnopqrstuvwxyz",
    "\x1b[200~",
    "width 20\r",
    "\"",
};

} // namespace

HostileHost::HostileHost(InputReader in)
    : in_(in), slots_{{.host = this, .dialogues = {}}, {.host = this, .dialogues = {}}}
{
    handle_assertions();
    for (Slot &slot : slots_)
        open(slot);
}

HostileHost::~HostileHost()
{
    in_ = InputReader(nullptr, 0);
    for (Slot &slot : slots_) {
        if (slot.session)
            call(slot, [&] { free(slot); });
        FUZZ_REQUIRE(slot.is_gone);
        check_dialogues(slot);
    }
}

void HostileHost::run()
{
    while (!in_.is_empty()) {
        act();
        for (Slot &slot : slots_) {
            if (!slot.session)
                open(slot);
            else
                check_record(slot.session);
        }
    }
}

// A call from anywhere. What callbacks throw goes through the sessions, to the outermost.
template <typename Call>
void HostileHost::call(Slot &slot, Call call)
{
    slot.calls++;
    bool is_thrown = false;
    try {
        call();
    } catch (const Thrown &) {
        is_thrown = true;
    } catch (...) { // a fault, on its way to the session whose callback this is
        slot.calls--;
        throw;
    }
    slot.is_gone = --slot.calls == 0 && !slot.session;
    if (is_thrown && depth_ > 0)
        throw Thrown{};
}

void HostileHost::open(Slot &slot)
{
    FUZZ_REQUIRE(slot.calls == 0);
    check_dialogues(slot);
    const int kind = in_.byte();
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = kind & 1 ? TSESSION_TELNET : TSESSION_PLAIN;
    config.is_unpaged = kind & 2;
    config.columns = 60;
    config.rows = 12;
    config.graph = kind & 4 ? nullptr : varno_test::SessionHost::graph();
    config.shared = process_shared();
    config.user = &slot;
    config.output = output;
    config.line = line;
    config.event = event;
    slot.session = tsession_create(&config);
    slot.is_gone = false;
    slot.is_over = false;
    call(slot, [&] { tsession_start(slot.session); });
}

// Something is told of a session that is there; then the host does as it likes.
void HostileHost::told(Slot &slot)
{
    FUZZ_REQUIRE(slot.calls > 0 && !slot.is_gone);
    if (depth_ >= most_depth)
        return;
    depth_++;
    try {
        for (int acts = in_.below(4); acts > 0; acts--)
            act();
    } catch (...) {
        depth_--;
        throw;
    }
    depth_--;
}

void HostileHost::act()
{
    const int kind = in_.byte();
    Slot &slot = slots_[kind & 1];
    if (slot.session)
        call(slot, [&] { act_on(slot, kind / 2); });
}

void HostileHost::act_on(Slot &slot, int kind)
{
    tsession_s *s = slot.session;
    switch (kind % 16) {
    default: {
        const std::string bytes = typed[static_cast<size_t>(in_.byte()) % std::size(typed)];
        return tsession_input(s, bytes.data(), bytes.size());
    }
    case 5:
    case 6:
    case 7:
        return ask(slot, kind % 16, (kind & 16) != 0);
    case 8:
    case 9:
        return write(slot, in_.byte());
    case 10:
    case 11:
        return change(slot, in_.byte());
    case 12:
        return tsession_set_writable(s, kind & 16);
    case 13:
        if (kind & 16)
            return free(slot);
        return tsession_close(s);
    case 14:
        if (depth_ > 0)
            cli_match_by_node(nullptr, nullptr); // the callback's fault
        return;
    case 15:
        if (depth_ > 0)
            throw Thrown{};
        return tsession_time_out(s);
    }
}

void HostileHost::ask(Slot &slot, int kind, bool is_secret)
{
    Dialogue &dialogue = slot.dialogues.emplace_back();
    if (kind == 5)
        dialogue.result = tsession_page(slot.session, produce, &dialogue);
    else if (kind == 6)
        dialogue.result = tsession_ask(slot.session, "Name: ", is_secret, answer, &dialogue);
    else
        dialogue.result = tsession_ask_key(slot.session, "Sure? ", key_answer, &dialogue);
}

// Once the session is gone.
void HostileHost::check_dialogues(Slot &slot)
{
    for (const Dialogue &dialogue : slot.dialogues) {
        FUZZ_REQUIRE(dialogue.result != 0 || dialogue.ended == 1);
        FUZZ_REQUIRE(dialogue.result != -1 || dialogue.ended == 0);
        FUZZ_REQUIRE(dialogue.ended <= 1);
    }
    slot.dialogues.clear();
}

void HostileHost::write(Slot &slot, int kind)
{
    tsession_s *s = slot.session;
    const std::string much(static_cast<size_t>(kind) * 300, kind & 1 ? 'm' : '\xff');
    if (kind < 128)
        tsession_print(s, "%d\n", kind);
    else if (kind < 192)
        tsession_write_clean(s, "a line\nand \x1b more");
    else
        tsession_write(s, much.data(), much.size());
}

void HostileHost::change(Slot &slot, int kind)
{
    tsession_s *s = slot.session;
    switch (kind % 6) {
    case 0:
        return tsession_resize(s, kind, kind / 4);
    case 1:
        return tsession_set_prompt(s, kind & 8 ? "another> " : nullptr);
    case 2:
        return tsession_set_terminal(s, kind & 8 ? "linux" : "vt220");
    case 3:
        return tsession_set_paged(s, kind & 8);
    case 4:
        return tsession_set_graph(s, kind & 8 ? varno_test::SessionHost::graph() : nullptr);
    default:
        return tsession_history(
            s,
            [](tsession_s *writer, void *, void *, int32_t, const char *line) {
                tsession_write_clean(writer, line);
            },
            nullptr);
    }
}

void HostileHost::free(Slot &slot)
{
    tsession_free(std::exchange(slot.session, nullptr));
}

HostileHost::Slot &HostileHost::slot_of(tsession_s *s, void *user)
{
    auto &slot = *static_cast<Slot *>(user);
    FUZZ_REQUIRE(!slot.session || slot.session == s || slot.calls == 0);
    FUZZ_REQUIRE(!slot.is_over);
    return slot;
}

void HostileHost::output(tsession_s *s, void *user, const char *, size_t count)
{
    FUZZ_REQUIRE(count > 0 && count <= 65536);
    Slot &slot = slot_of(s, user);
    FUZZ_REQUIRE(slot.session); // none once it is freed
    slot.host->told(slot);
}

void HostileHost::line(tsession_s *s, void *user, const char *, const cli_pnode_s *, cli_pmatch_s *)
{
    slot_of(s, user).host->told(slot_of(s, user));
}

void HostileHost::event(tsession_s *s, void *user, const tsession_event_s *event)
{
    Slot &slot = slot_of(s, user);
    slot.is_over = event->kind == TSESSION_CLOSED;
    if (slot.is_over)
        return;
    FUZZ_REQUIRE(slot.session);
    slot.host->told(slot);
}

int HostileHost::produce(tsession_s *s, void *user, void *ctx, int is_cancelled)
{
    Slot &slot = slot_of(s, user);
    auto &dialogue = *static_cast<Dialogue *>(ctx);
    FUZZ_REQUIRE(dialogue.ended == 0);
    dialogue.ended += is_cancelled != 0;
    slot.host->told(slot);
    if (is_cancelled)
        return 1;
    const int kind = slot.host->in_.byte();
    if (kind & 1 && slot.session)
        tsession_print(s, "row\n");
    dialogue.ended += kind < 64;
    return kind >= 64;
}

void HostileHost::answer(tsession_s *s, void *user, void *ctx, const char *)
{
    static_cast<Dialogue *>(ctx)->ended++;
    slot_of(s, user).host->told(slot_of(s, user));
}

void HostileHost::key_answer(tsession_s *s, void *user, void *ctx, int key)
{
    FUZZ_REQUIRE(key == -1 || key == 13 || (key >= 32 && key < 127));
    static_cast<Dialogue *>(ctx)->ended++;
    slot_of(s, user).host->told(slot_of(s, user));
}

} // namespace varno_fuzz
