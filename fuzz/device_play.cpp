#include "device_play.h"

#include <iterator>
#include <utility>

#include "finding.h"
#include "session_check.h"
#include "session_play.h"

#include "session.h"

#include <varno/cli_assist.h>
#include <varno/cli_parse.h>

namespace varno_fuzz {
namespace {

constexpr int rows = 24;
constexpr int widest = 256;

constexpr const char *texts[] = {
    "a",
    "lo",
    "show",
    "up",
    "x",
    "\"two words\"",
    "'quoted \"'",
    "show version",
    "x; y",
    "\"\"",
    "show memory;show routes",
    "back\\ slash",
    "dev# ",
    "eth0",
    "%s%n",
    "no alias a",
};
constexpr const char *numbers[] = {
    "0", "1", "2", "20", "40", "256", "0x18", "-1", "512", "100", "99999999999999999999", "+7",
};
constexpr const char *keys[] = {
    "\r",       "?",        "\t",     "\t\t",
    "\x1b[A",   "\x1b[B",   "\x1b[D", "\x01",
    "\x05",     "\x7f",     "\x03",   "\x15",
    "\x17",     " ",        "q",      "\x1b[200~show\r\x1b[201~",
    "\x1b\x18", "\x1b\x05", "\x04",   "\x0b",
    "\x1b",     "\"",       "\x10",   "\x0c",
};

DevicePlay *playing = nullptr;

// A walk along what help lists. The line is a command, if it is exact: of whole keywords and
// values that are listed, and to the end.
class Walk {
  public:
    std::string line;
    bool is_exact = true;

    Walk(const tsession_s *s, InputReader &in)
    {
        for (int words = 0; words < 12; words++) {
            const std::vector<Choice> listed = choices(s);
            if (listed.empty())
                break;
            const Choice &one = listed[in.byte() % listed.size()];
            if (one.node->type == PNODE_EOLS)
                return;
            add_word(one, in.byte());
        }
        is_exact = false;
    }

  private:
    struct Choice {
        const cli_pnode_s *node;
        std::string text;
    };

    std::vector<Choice> choices(const tsession_s *s) const
    {
        std::vector<Choice> listed;
        const auto note = [](void *user, const cli_pnode_s *node, const char *text, const char *) {
            static_cast<std::vector<Choice> *>(user)->push_back({node, text});
        };
        cli_assist_help(s->graph, s->filter, line.c_str(), static_cast<int32_t>(line.size()), note,
                        &listed);
        return listed;
    }

    void add_word(const Choice &one, size_t choice)
    {
        const bool is_label = one.node->type != PNODE_KEYWORD && one.text == one.node->keyword;
        if (!is_label)
            add_listed(one.text, choice);
        else if (choice % 3 == 0)
            line += numbers[choice % std::size(numbers)];
        else
            line += texts[choice % std::size(texts)];
        is_exact &= !is_label;
        line += choice >= 250 ? "  \t" : " ";
    }

    void add_listed(const std::string &text, size_t choice)
    {
        if (choice < 200) {
            line += text;
            return;
        }
        is_exact = false;
        line += choice < 240 ? text.substr(0, 1 + choice % text.size()) : text + "x";
    }
};

} // namespace

DevicePlay::DevicePlay()
{
    playing = this;
    std::string problem;
    FUZZ_REQUIRE(device::start({"fuzz", "device", "", "", do_later, nullptr}, problem));
    device::first_level = CLI_MOST_LEVEL;
    for (Person &person : people_)
        sit_down(person);
}

DevicePlay::~DevicePlay()
{
    for (Person &person : people_)
        leave(person);
    device::release_thread();
    device::stop();
    playing = nullptr;
}

void DevicePlay::sit_down(Person &person)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.columns = 80;
    config.rows = rows;
    config.terminal_type = "xterm";
    config.shared = process_shared();
    config.user = &person.console;
    config.output = output;
    config.event = take_event;
    person.terminal = std::make_unique<varno_test::Terminal>(rows, widest);
    person.console.host = &person;
    cli_shell_config_s shell = device::shell_config(person.console);
    shell.session = &config;
    person.console.shell = cli_shell_create(&shell);
    FUZZ_REQUIRE(person.console.shell);
    device::attach(person.console, "fuzz\x1b[2J");
    tsession_start(session_of(person));
}

void DevicePlay::leave(Person &person)
{
    std::erase_if(timers_, [&](const auto &timer) { return timer.first == &person.console; });
    device::detach(person.console);
    cli_shell_free(person.console.shell);
    person.console.aliases.clear();
    person.console.is_debugging = false;
    person.console.timers = 0;
}

tsession_s *DevicePlay::session_of(const Person &person)
{
    return cli_shell_session(person.console.shell);
}

void DevicePlay::output(tsession_s *, void *user, const char *bytes, size_t count)
{
    static_cast<Person *>(static_cast<device::Console *>(user)->host)
        ->terminal->feed({bytes, count});
}

void DevicePlay::take_event(tsession_s *, void *user, const tsession_event_s *event)
{
    FUZZ_REQUIRE(event->kind != TSESSION_FAULT);
    device::take_event(*static_cast<device::Console *>(user), *event);
}

bool DevicePlay::do_later(device::Console &console, uint32_t milliseconds, device::Act act)
{
    FUZZ_REQUIRE(milliseconds > 0);
    if (playing->timers_.size() >= 4)
        return false;
    playing->timers_.emplace_back(&console, std::move(act));
    return true;
}

void DevicePlay::timers_run_out()
{
    for (const auto &[console, act] : std::exchange(timers_, {}))
        act();
}

// What a host does: a closed session is freed, and somebody else sits down.
void DevicePlay::input(const std::string &bytes)
{
    device::take_input(person_->console, bytes.data(), bytes.size());
    while (tsession_wait(session_of(*person_)) == 0)
        device::time_out(person_->console);
    for (Person &person : people_) {
        check_record(session_of(person));
        check_row(session_of(person), *person.terminal);
        if (!tsession_is_closed(session_of(person)))
            continue;
        leave(person);
        sit_down(person);
    }
}

void DevicePlay::type_command(InputReader &in)
{
    const Walk walk(session_of(*person_), in);
    cli_shell_check(person_->console.shell, nullptr, nullptr);
    FUZZ_REQUIRE(!walk.is_exact || cli_shell_check(person_->console.shell, walk.line.c_str(),
                                                   nullptr) == CLI_ASSIST_OK);
    input(walk.line + "\r");
}

void DevicePlay::act(InputReader &in)
{
    const int act = in.byte();
    if (act < 140)
        type_command(in);
    else if (act < 200)
        input(keys[static_cast<size_t>(act) % std::size(keys)]);
    else if (act < 220)
        input(std::string(in.take_text(40)));
    else if (act < 230)
        person_ = &people_[act & 1];
    else if (act < 240)
        timers_run_out();
    else if (act < 248)
        tsession_resize(session_of(*person_), in.byte(), rows);
    else
        input(Walk(session_of(*person_), in).line);
}

} // namespace varno_fuzz
