// A random walk of whole sessions on an emulated terminal: after each step the row, what was
// told, and whether something waits are what an independent model of a session says. So each
// line that was typed has been run once, in order, or has been refused or dropped as the
// model does it. A walk that fails is shrunk and printed as a script.
// VARNO_LONG_TESTS=30 session_walk_test goes on longer.

#include "support/long_tests.h"
#include "support/row_reference.h"
#include "support/session_host.h"
#include "support/spelling.h"

#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
using varno_test::Key;
using varno_test::long_tests_factor;
using varno_test::Press;
using varno_test::RowReference;
using varno_test::SessionHost;
using varno_test::spell;

// What is pressed: the bytes of an xterm, and what the key is. Text, pastes and what else
// has no key of its own is rows of characters.
struct Pressing {
    std::string_view bytes;
    Key key;
};

// clang-format off
constexpr Pressing pressings[] = {
    {"s",               Key::character},
    {"l",               Key::character},
    {"x",               Key::character},
    {"q",               Key::character},
    {"!",               Key::character},
    {"?",               Key::character},
    {" ",               Key::character},
    {"sho",             Key::character},
    {"show ",           Key::character},
    {"show ver",        Key::character},
    {"version ",        Key::character},
    {"sure",            Key::character},
    {"some words  and more", Key::character},
    {"a-word-that-is-longer-than-a-row-of-the-least-width-has-columns", Key::character},
    {"show long\r\n",   Key::character},
    {"show version\r\n", Key::character},
    {"login\r\n",       Key::character},
    {"name\r\n",        Key::character},
    {"sure\r\n",        Key::character},
    {"\r\n",            Key::enter},
    {"\r\n",            Key::enter},
    {"\r\n",            Key::enter},
    {"\t",              Key::tab},
    {"\t",              Key::tab},
    {"\t\t",            Key::tab},
    {"\x1b[D",          Key::left},
    {"\x02",            Key::left},
    {"\x1bOD",          Key::left},
    {"\x1b[C",          Key::right},
    {"\x06",            Key::right},
    {"\x01",            Key::home},
    {"\x1b[H",          Key::home},
    {"\x05",            Key::end},
    {"\x1b[F",          Key::end},
    {"\x1b" "b",        Key::word_back},
    {"\x1b[1;5D",       Key::word_back},
    {"\x1b" "f",        Key::word_forward},
    {"\x7f",            Key::delete_back},
    {"\x7f",            Key::delete_back},
    {"\x08",            Key::delete_back},
    {"\x1b[3~",         Key::delete_forward},
    {"\x04",            Key::end_of_input},
    {"\x17",            Key::kill_word_back},
    {"\x1b\x7f",        Key::kill_word_back},
    {"\x1b" "d",        Key::kill_word_forward},
    {"\x15",            Key::kill_begin},
    {"\x0b",            Key::kill_end},
    {"\x1b\x17",        Key::kill_all},
    {"\x19",            Key::yank},
    {"\x14",            Key::transpose},
    {"\x1b\x10",        Key::compact},
    {"\x1b[A",          Key::older},
    {"\x1b[A",          Key::older},
    {"\x10",            Key::older},
    {"\x1b[B",          Key::newer},
    {"\x0e",            Key::newer},
    {"\x12",            Key::search},
    {"\x12",            Key::search},
    {"\x07",            Key::give_up},
    {"\x0c",            Key::redisplay},
    {"\x1b" "e",        Key::redisplay},
    {"\x0f",            Key::nothing},
    {"\x1b[5~",         Key::swallowed},
    {"\x1b[200~pasted\x1b[201~",                        Key::pasted_character},
    {"\x1b[200~show ver\rno exit\r\x1b[201~",           Key::pasted_character},
    {"\x1b[200~ q?\x1b[201~",                           Key::pasted_character},
};
// clang-format on

constexpr size_t interrupt_pressing = std::size(pressings);

std::string_view bytes_of_pressing(size_t index)
{
    return index == interrupt_pressing ? "\x03" : pressings[index].bytes;
}

void add_characters(std::vector<Press> &presses, std::string_view text)
{
    for (const char c : text) {
        if (c == '\r')
            presses.push_back({Key::enter});
        else if (c == '\n')
            presses.push_back({Key::line_feed});
        else
            presses.push_back({Key::character, c});
    }
}

void add_pasted(std::vector<Press> &presses, std::string_view bytes)
{
    constexpr size_t mark = 6;
    for (const char c : bytes.substr(mark, bytes.size() - 2 * mark))
        presses.push_back(c == '\r' ? Press{Key::pasted_enter} : Press{Key::pasted_character, c});
}

void add_presses(std::vector<Press> &presses, size_t index)
{
    if (index == interrupt_pressing) {
        presses.push_back({Key::interrupt});
        return;
    }
    const Pressing &row = pressings[index];
    if (row.key == Key::character || row.key == Key::enter)
        add_characters(presses, row.bytes);
    else if (row.key == Key::pasted_character)
        add_pasted(presses, row.bytes);
    else
        presses.insert(presses.end(), row.bytes == "\t\t" ? 2 : 1, {row.key});
}

// One step of a walk. A size is of columns and rows.
enum class Verb {
    input,     // typed, cut anywhere, each piece worked off
    once,      // typed at one go, and kept as far as a call does not take it
    work,      // what waits is done
    telnet,    // typed, a telnet command, typed
    resize,    // by the host
    write,     // a message
    prompt,    //
    writable,  // is 0 or 1
    late,      // is 0 or 1: a long output has nothing yet
    wake,      //
    paged,     // is 0 or 1
    long_rows, // of a long output
    page,      // a long output that the host begins
    ask,       // for a line, by the host
    ask_key,   //
    close,     //
};

enum class Command { nothing, presence, size, interrupt, brk };

struct Step {
    Verb verb;
    std::vector<size_t> pressings = {};
    std::vector<size_t> pressings_after = {}; // telnet's command
    Command command = Command::nothing;
    int columns = 0, rows = 0;
    int number = 0;
    std::string text = {};
};

std::string bytes_of(const std::vector<size_t> &indexes)
{
    std::string bytes;
    for (const size_t index : indexes)
        bytes += bytes_of_pressing(index);
    return bytes;
}

std::vector<Press> presses_of(const std::vector<size_t> &indexes)
{
    std::vector<Press> presses;
    for (const size_t index : indexes)
        add_presses(presses, index);
    return presses;
}

std::string wire_size(int columns, int rows)
{
    std::string bytes = "\xff\xfa\x1f";
    for (const int part : {columns / 256, columns % 256, rows / 256, rows % 256})
        bytes.append(part == 255 ? 2 : 1, static_cast<char>(part));
    return bytes + "\xff\xf0";
}

std::string command_of(const Step &step)
{
    switch (step.command) {
    case Command::presence:
        return "\xff\xf6";
    case Command::size:
        return wire_size(step.columns, step.rows);
    case Command::interrupt:
        return "\xff\xf4";
    case Command::brk:
        return "\xff\xf3";
    default:
        return "\xff\xf1";
    }
}

std::string hex(std::string_view bytes)
{
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += text.empty() ? "" : " ";
        text += "0123456789abcdef"[byte / 16];
        text += "0123456789abcdef"[byte % 16];
    }
    return text;
}

// As the scripts of sessions spell it.
std::string script_of(const Step &step)
{
    const std::string number = std::to_string(step.number);
    const std::string size = std::to_string(step.columns) + " " + std::to_string(step.rows);
    switch (step.verb) {
    case Verb::input:
        return "INPUT " + spell(bytes_of(step.pressings)) + "  # cut by " + number;
    case Verb::once:
        return "ONCE " + spell(bytes_of(step.pressings));
    case Verb::work:
        return "WORK";
    case Verb::telnet:
        return "HEX " +
               hex(bytes_of(step.pressings) + command_of(step) + bytes_of(step.pressings_after));
    case Verb::resize:
        return "RESIZE " + size;
    case Verb::write:
        return "WRITE " + spell(step.text);
    case Verb::prompt:
        return "PROMPT " + spell(step.text);
    case Verb::writable:
        return "WRITABLE " + number;
    case Verb::late:
        return "LATER " + number;
    case Verb::wake:
        return "WAKE";
    case Verb::paged:
        return step.number == 0 ? "UNPAGED" : "PAGED";
    case Verb::long_rows:
        return "ROWS " + number;
    case Verb::page:
        return "PAGE";
    case Verb::ask:
        return "ASK " + spell(step.text);
    case Verb::ask_key:
        return "ASK_KEY " + spell(step.text);
    case Verb::close:
        return "CLOSE";
    }
    return "";
}

struct Walk {
    int transport;
    std::vector<Step> steps;
};

std::string script_of(const Walk &walk)
{
    std::string text = std::string("SESSION ") +
                       (walk.transport == TSESSION_TELNET ? "telnet" : "plain") + " 80 xterm\n";
    for (const Step &step : walk.steps)
        text += script_of(step) + "\n";
    return text;
}

// Buffers and keys, for all sessions of the program.
tsession_shared_s *shared()
{
    static tsession_shared_s *const made = tsession_shared_create();
    return made;
}

constexpr int first_columns = 80;
constexpr int first_rows = 12;

tsession_config_s config_of(int transport)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = transport;
    config.terminal_type = "xterm";
    config.columns = first_columns;
    config.rows = first_rows;
    config.graph = SessionHost::graph();
    config.shared = shared();
    return config;
}

// A session and its model, step by step.
class Pair {
  public:
    explicit Pair(int transport)
        : host_(config_of(transport)), model_(first_columns, first_rows, 100)
    {
        if (tsession_wait(host_.session()) > 0)
            tsession_time_out(host_.session()); // what the client answers to the opening
        host_.take_events();
    }

    // Returns what is wrong after the step, or nothing.
    std::string take(const Step &step)
    {
        act(step);
        return fault();
    }

    bool is_over() const { return model_.is_closed(); }

  private:
    void act(const Step &step)
    {
        tsession_s *s = host_.session();
        const bool is_on = step.number != 0;
        switch (step.verb) {
        case Verb::input:
            return input(bytes_of(step.pressings), presses_of(step.pressings), step.number);
        case Verb::once:
            host_.hand_over(bytes_of(step.pressings));
            model_.begin_input();
            model_.add(presses_of(step.pressings));
            return model_.end_input();
        case Verb::work:
            host_.work();
            return model_.work();
        case Verb::telnet:
            return telnet(step);
        case Verb::resize:
            host_.terminal().resize(step.rows, step.columns);
            tsession_resize(s, step.columns, step.rows);
            model_.begin_input();
            model_.resize(step.columns, step.rows);
            return model_.end_input();
        case Verb::write:
            tsession_write(s, step.text.data(), step.text.size());
            return model_.message(step.text);
        case Verb::prompt:
            tsession_set_prompt(s, step.text.c_str());
            return model_.set_prompt(step.text);
        case Verb::writable:
            tsession_set_writable(s, is_on);
            return model_.set_writable(is_on);
        case Verb::late:
            host_.is_late = is_on;
            return model_.set_late(is_on);
        case Verb::wake:
            tsession_wake(s);
            return model_.wake();
        case Verb::paged:
            tsession_set_paged(s, is_on);
            return model_.set_paged(is_on);
        case Verb::long_rows:
            host_.long_rows = model_.long_rows = step.number;
            return;
        case Verb::close:
            tsession_close(s);
            return model_.close();
        case Verb::page:
        case Verb::ask:
        case Verb::ask_key:
            return begin(step);
        }
    }

    // Only at the line may a host begin something.
    void begin(const Step &step)
    {
        if (!model_.is_at_line())
            return;
        if (step.verb == Verb::page) {
            host_.begin_long();
            model_.begin_long();
        } else {
            const bool is_for_a_key = step.verb == Verb::ask_key;
            host_.ask(step.text.c_str(), is_for_a_key);
            model_.ask(step.text, false, is_for_a_key);
        }
    }

    void input(std::string_view bytes, const std::vector<Press> &presses, int seed)
    {
        std::mt19937 random(static_cast<unsigned>(seed));
        const size_t longest = 1 + random() % 20;
        while (!bytes.empty()) {
            const std::string_view piece = bytes.substr(0, 1 + random() % longest);
            host_.hand_over(piece);
            if (random() % 2 == 0)
                host_.work();
            bytes.remove_prefix(piece.size());
        }
        host_.work();
        model_.begin_input();
        model_.add(presses);
        model_.end_input();
        model_.work();
    }

    // In one call: the command stands between what is typed.
    void telnet(const Step &step)
    {
        if (step.command == Command::size)
            host_.terminal().resize(step.rows, step.columns);
        host_.hand_over(bytes_of(step.pressings) + command_of(step) +
                        bytes_of(step.pressings_after));
        model_.begin_input();
        model_.add(presses_of(step.pressings));
        if (!model_.is_closed() && step.command == Command::presence)
            model_.telnet_presence();
        else if (step.command == Command::size)
            model_.telnet_size(step.columns, step.rows);
        else if (step.command == Command::interrupt)
            model_.telnet_interrupt("interrupt");
        else if (step.command == Command::brk)
            model_.telnet_interrupt("break");
        model_.add(presses_of(step.pressings_after));
        model_.end_input();
    }

    std::string fault()
    {
        std::string text = fault_of_events();
        if (!text.empty() || model_.is_closed())
            return text;
        const int wait = tsession_wait(host_.session());
        if (wait != (model_.has_work() ? 0 : -1))
            text = "waits " + std::to_string(wait) + "\n";
        const auto &terminal = host_.terminal();
        const std::string wrong =
            model_.fault_of(terminal.row(terminal.cursor_row()), terminal.cursor_column());
        if (!wrong.empty())
            text += "row '" + host_.row() + "', " + wrong + "\n";
        return text;
    }

    std::string fault_of_events()
    {
        const std::vector<std::string> told = host_.take_events();
        const std::vector<std::string> wanted = model_.take_events();
        if (told == wanted)
            return "";
        std::string text = "told:";
        for (const std::string &event : told)
            text += " '" + event + "'";
        text += "\nwanted:";
        for (const std::string &event : wanted)
            text += " '" + event + "'";
        return text + "\n";
    }

    SessionHost host_;
    RowReference model_;
};

// Returns what is wrong with the walk, or nothing.
std::string fault_of(const Walk &walk, size_t *out_steps)
{
    Pair pair(walk.transport);
    *out_steps = 0;
    for (const Step &step : walk.steps) {
        ++*out_steps;
        std::string wrong = pair.take(step);
        if (!wrong.empty())
            return wrong;
        if (pair.is_over())
            break;
    }
    return "";
}

// Takes away from the walk what it fails without, steps first, then what is pressed.
void shrink(Walk &walk)
{
    size_t taken;
    const auto still_fails = [&](const Walk &smaller) {
        if (fault_of(smaller, &taken).empty())
            return false;
        walk = smaller;
        walk.steps.resize(taken);
        return true;
    };
    still_fails(Walk(walk));
    for (size_t part = walk.steps.size() / 2; part > 0; part /= 2) {
        for (size_t at = 0; at + part <= walk.steps.size();) {
            Walk smaller = walk;
            const auto from = smaller.steps.begin() + static_cast<long>(at);
            smaller.steps.erase(from, from + static_cast<long>(part));
            at += still_fails(smaller) ? 0 : part;
        }
    }
    for (size_t at = 0; at < walk.steps.size(); at++) {
        for (size_t i = 0; at < walk.steps.size() && i < walk.steps[at].pressings.size();) {
            Walk smaller = walk;
            auto &indexes = smaller.steps[at].pressings;
            indexes.erase(indexes.begin() + static_cast<long>(i));
            i += still_fails(smaller) ? 0 : 1;
        }
    }
}

class RandomWalk : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    RandomWalk() { assert_set_handler(tsession_assertion_handler, nullptr); }
    ~RandomWalk() override { assert_set_handler(nullptr, nullptr); }

    int transport() const { return std::get<0>(GetParam()); }

    Walk walk(unsigned seed)
    {
        random_.seed(seed);
        Walk walk = {transport(), {}};
        walk.steps.push_back(sized({Verb::resize}));
        for (int i = 0; i < steps_of_a_walk; i++)
            walk.steps.push_back(step());
        return walk;
    }

    static constexpr int steps_of_a_walk = 100;

  private:
    size_t below(size_t bound) { return random_() % bound; }

    template <typename Value, size_t count>
    const Value &one_of(const Value (&values)[count])
    {
        return values[below(count)];
    }

    std::vector<size_t> typed(size_t most)
    {
        std::vector<size_t> typed;
        for (size_t count = 1 + below(most); count > 0; count--)
            typed.push_back(below(std::size(pressings)));
        return typed;
    }

    // Often the least, and often near the one before.
    Step sized(Step step)
    {
        constexpr int widths[] = {20, 20, 21, 25, 30, 40, 60, 80, 132, 200};
        constexpr int heights[] = {4, 4, 5, 8, 12, 24, 50};
        step.columns = one_of(widths);
        step.rows = one_of(heights);
        return step;
    }

    Step telnet_step()
    {
        constexpr Command commands[] = {Command::nothing, Command::presence,  Command::size,
                                        Command::size,    Command::interrupt, Command::brk};
        Step step = sized({Verb::telnet, typed(3), typed(3)});
        step.command = one_of(commands);
        return step;
    }

    Step step_of_the_host()
    {
        const std::string messages[] = {"news\n", "half", "one\ntwo\n"};
        const std::string prompts[] = {"> ", "", "device# ", "device(config-interface-range)# "};
        const std::string questions[] = {"Sure? ", "",
                                         "Which of them is it to be (all, some, none)? ",
                                         "a-question-without-a-blank-wider-than-it-all? "};
        constexpr int rows[] = {1, 3, 11, 30, 100};
        switch (below(12)) {
        case 0:
        case 1:
            return sized({Verb::resize});
        case 2:
        case 3:
            return {.verb = Verb::write, .text = one_of(messages)};
        case 4:
            return {.verb = Verb::prompt, .text = one_of(prompts)};
        case 5:
            return {.verb = Verb::writable, .number = below(3) > 0};
        case 6:
            return {.verb = Verb::late, .number = below(3) == 0};
        case 7:
            return {.verb = Verb::wake};
        case 8:
            return {.verb = Verb::paged, .number = below(4) > 0};
        case 9:
            return {.verb = Verb::long_rows, .number = one_of(rows)};
        case 10:
            return {.verb = Verb::page};
        default:
            return {.verb = below(2) ? Verb::ask : Verb::ask_key, .text = one_of(questions)};
        }
    }

    Step step()
    {
        const size_t choice = below(100);
        if (choice < 55)
            return {.verb = Verb::input,
                    .pressings = typed(6),
                    .number = static_cast<int>(below(1000))};
        if (choice < 62)
            return {.verb = Verb::once, .pressings = typed(6)};
        if (choice < 65)
            return {.verb = Verb::once, .pressings = {interrupt_pressing}};
        if (choice < 70)
            return {.verb = Verb::work};
        if (choice < 76 && transport() == TSESSION_TELNET)
            return telnet_step();
        if (choice < 79) // what a host does that can write, and whose outputs are not late
            return {.verb = below(2) ? Verb::writable : Verb::wake, .number = 1};
        return step_of_the_host();
    }

    std::mt19937 random_;
};

TEST_P(RandomWalk, ShowsAndTellsWhatTheModelDoes)
{
    constexpr size_t steps_of_a_share = 12500;
    const size_t wanted = steps_of_a_share * static_cast<size_t>(long_tests_factor());
    const int share = std::get<1>(GetParam());
    unsigned seed = static_cast<unsigned>(share) * 1000000;
    for (size_t steps = 0; steps < wanted;) {
        Walk found = walk(++seed);
        size_t taken;
        if (!fault_of(found, &taken).empty()) {
            shrink(found);
            FAIL() << "seed " << seed << "\n" << script_of(found) << fault_of(found, &taken);
        }
        steps += taken;
    }
}

INSTANTIATE_TEST_SUITE_P(Shares, RandomWalk,
                         testing::Combine(testing::Values(TSESSION_PLAIN, TSESSION_TELNET),
                                          testing::Values(1, 2, 3, 4)));

} // namespace
