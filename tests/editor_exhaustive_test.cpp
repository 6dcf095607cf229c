// Every line of up to six characters over a letter, white space, a quote and a
// backslash, with the cursor at every place, through every editing command: against
// a model of each command that is written from its description alone. Lines of seven:
// VARNO_LONG_TESTS=2 editor_exhaustive_test

#include "support/editor.h"
#include "support/long_tests.h"

#include <varno/prompt.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

using varno_test::Editor;

constexpr std::string_view alphabet = "a \t\"\\";
constexpr int32_t offset_before = 3;

constexpr std::string_view white_space = " \t";
constexpr size_t none = std::string::npos;

// What a command is to make of the prompt.
struct Model {
    std::string line;
    size_t cursor;
    uint32_t flags = 0;
    int32_t offset = offset_before;
    std::string output = {}; // to standard output

    bool is_at_end() const { return cursor == line.size(); }
    void mark() { flags |= PROMPT_FLAG_DIRTY; }
    void say(const std::string &text)
    {
        output += text;
        flags |= PROMPT_FLAG_REDRAW;
    }
    void set(std::string text, size_t at)
    {
        line = std::move(text);
        cursor = at;
        mark();
    }
    void clear()
    {
        set("", 0);
        offset = 0;
    }
};

// Words

void to_word_before(Model &m)
{
    const size_t last = m.cursor > 0 ? m.line.find_last_not_of(white_space, m.cursor - 1) : none;
    if (last != none)
        m.cursor = m.line.find_last_of(white_space, last) + 1;
}

void past_next_word(Model &m)
{
    const size_t first = m.line.find_first_not_of(white_space, m.cursor);
    if (first != none)
        m.cursor = std::min(m.line.find_first_of(white_space, first), m.line.size() - 1) + 1;
}

void delete_before(Model &m)
{
    if (m.cursor > 0)
        m.set(m.line.substr(m.cursor), 0);
}

void delete_to_end(Model &m)
{
    m.set(m.line.substr(0, m.cursor), m.cursor);
}

// The character at the cursor counts as one of the word: at a word's beginning only
// the white space before it goes.
void delete_word_before(Model &m)
{
    if (m.cursor == 0)
        return;
    const size_t last = m.line.find_last_not_of(white_space, m.cursor);
    if (last == none)
        return delete_before(m);
    const size_t space = m.line.find_last_of(white_space, last);
    const size_t start = space == none ? 0 : space;
    if (start < m.cursor)
        m.set(m.line.substr(0, start) + m.line.substr(m.cursor), start);
}

void delete_next_word(Model &m)
{
    if (m.is_at_end())
        return;
    const size_t first = m.line.find_first_not_of(white_space, m.cursor);
    const size_t space = first == none ? none : m.line.find_first_of(white_space, first);
    const size_t next = space == none ? none : m.line.find_first_not_of(white_space, space);
    const std::string before = m.line.substr(0, first == none ? m.cursor : first);
    m.set(before + (next == none ? "" : m.line.substr(next)), m.cursor);
}

// Changes the first `most` characters of the word that the cursor touches.
void change_case(Model &m, size_t most, int (*map)(int))
{
    size_t from = m.cursor;
    while (from > 0 && !std::isspace(m.line[from - 1]))
        from--;
    const size_t end = std::min(m.line.find_first_of(white_space, m.cursor), m.line.size());
    if (from == end)
        return;
    for (size_t i = from; i < end && i - from < most; i++)
        m.line[i] = static_cast<char>(map(m.line[i]));
    m.mark();
}

void compact(Model &m)
{
    std::string kept;
    for (size_t i = 0; i < m.line.size(); i++) {
        const bool is_first = i == 0 || std::isspace(m.line[i - 1]);
        if (!std::isspace(m.line[i]) ||
            (!is_first && m.line.find_first_not_of(white_space, i) != none))
            kept += m.line[i];
    }
    m.set(kept, std::min(m.cursor, kept.size()));
}

// Single characters

void move_back(Model &m)
{
    if (m.cursor > 0)
        m.set(m.line, m.cursor - 1);
}

void move_forward(Model &m)
{
    if (!m.is_at_end())
        m.set(m.line, m.cursor + 1);
}

template <size_t count>
void remove(Model &m)
{
    if (!m.is_at_end())
        m.set(std::string(m.line).erase(m.cursor, count), m.cursor);
}

// Marks also where there is nothing to erase.
template <size_t count>
void backspace(Model &m)
{
    const size_t from = m.cursor - std::min(count, m.cursor);
    m.set(std::string(m.line).erase(from, m.cursor - from), from);
}

void insert(Model &m, std::string_view text)
{
    m.line.insert(m.cursor, text);
    m.cursor += text.size();
    m.mark();
}

// Tokens, and commands that are run by name

struct Token {
    size_t first, end; // none: no token
    size_t open_quote; // of the whole line; none: balanced
};

Token first_token(const std::string &line)
{
    Token token = {line.find_first_not_of(white_space), none, none};
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] == '\\' && i + 1 < line.size())
            i++;
        else if (line[i] == '"')
            token.open_quote = token.open_quote == none ? i : none;
        else if (std::isspace(line[i]) && token.open_quote == none && i > token.first)
            token.end = std::min(token.end, i);
    }
    token.end = std::min(token.end, line.size());
    return token;
}

void take_token(Model &m)
{
    const size_t end = first_token(m.line).end;
    if (m.line.find_first_not_of(white_space) != none)
        m.set(m.line.substr(end), m.cursor > end ? m.cursor - end : 0);
}

// The two commands of the test that short lines can name.
constexpr const char *inserting = "a";
constexpr const char *clearing = "\"a\"";

void invoke(Model &m)
{
    const Token token = first_token(m.line);
    if (m.line.empty())
        return m.say("Cannot invoke empty command\n\r");
    if (token.open_quote != none)
        return m.say("Unmatched opening \" at column " + std::to_string(token.open_quote) + "\n\r");
    if (token.first == none)
        return m.say("No tokens in command\n\r");
    const std::string name = m.line.substr(token.first, token.end - token.first);
    take_token(m);
    if (name == inserting)
        return insert(m, "x");
    m.clear();
    if (name != clearing)
        m.say("No command for [" + name + "]\t\n\r");
}

void echo(Model &m)
{
    m.say(std::string(m.line).insert(m.cursor, "<>") + "\n\r");
}

void execute(Model &m)
{
    m.say("Foobie:\r\n    FOO: 1, BAR: 2, XXX: 3\r\n    FOO: 1, BAR: 2, XXX: 3\r\n"
          "By the way, the command was [" +
          m.line + "]\n\r");
    m.clear();
}

void execute_and_restore(Model &m)
{
    Model copy = m;
    invoke(copy);
    m.output = copy.output;
    m.flags |= copy.flags & PROMPT_FLAG_REDRAW;
    m.offset = copy.offset;
}

// The history of every case, oldest first.
constexpr const char *remembered[] = {"oldest", "older one", " last\t"};

// What is done to the prompt, and what that means.
struct Command {
    const char *name; // registered, or what the act is
    void (*act)(prompt_s *p);
    void (*model)(Model &m);
};

int insert_x(prompt_s *p, pstate *, const char *, void *, void *)
{
    prompt_insert_char_at_cursor(p, 'x');
    return 0;
}

int clear_line(prompt_s *p, pstate *, const char *, void *, void *)
{
    prompt_clear_command(p);
    return 0;
}

void run(prompt_s *p, const char *name)
{
    const prompt_command_s *command = prompt_get_command(p, name);
    command->inv.callback(p, &p->ps, command->inv.invoke_name, command->inv.context, nullptr);
}

void to_capitals(char *from, char *end)
{
    std::replace(from, end, 'a', 'A');
}

void lower_capitals(prompt_s *p)
{
    to_capitals(p->ps.buf, p->ps.buf + p->ps.buf_used);
    run(p, "tolower-word");
}

void in_lower_case(Model &m)
{
    to_capitals(m.line.data(), m.line.data() + m.line.size());
    change_case(m, none, std::tolower);
}

// To the oldest line, where another step changes nothing, and to the next newer one.
void browse(prompt_s *p)
{
    for (int i = 0; i < 4; i++)
        prompt_history_previous(p, 1);
    prompt_history_next(p, 1);
}

void insert_key(prompt_s *p)
{
    constexpr mkey_t key = 'x';
    prompt_consume(p, &key, 1);
}

void insert_keys(prompt_s *p)
{
    constexpr mkey_t keys[] = {'x', VIRTKEY_UP, 7, 'y'};
    prompt_insert_string(p, keys, 4);
}

void insert_bytes(prompt_s *p)
{
    pstate_insert_char_str(&p->ps, "xyz", 2);
}

template <int count>
void erase(prompt_s *p)
{
    prompt_backspace(p, count);
}

void erase_ahead(prompt_s *p)
{
    prompt_delete(p, 2);
}

void append_x(prompt_s *p)
{
    prompt_append_character(p, 'x');
}

void put_x_before(prompt_s *p)
{
    prompt_insert_character(p, 0, 'x');
}

void extract_token(prompt_s *p)
{
    char token[256];
    int len = 0;
    prompt_token_extract(p, 0, token, sizeof(token), &len);
}

void nothing(Model &) {}

// A registered command where there is no act.
// clang-format off
const Command commands[] = {
    {"move-character-back",      nullptr, move_back},
    {"move-character-forward",   nullptr, move_forward},
    {"history-previous",         nullptr, [](Model &m) { m.set(" last\t", 6); }},
    {"history-next",             nullptr, nothing},
    {"move-word-back",           nullptr, to_word_before},
    {"move-word-forward",        nullptr, past_next_word},
    {"move-begin",               nullptr, [](Model &m) { m.set(m.line, 0); }},
    {"move-end",                 nullptr, [](Model &m) { m.set(m.line, m.line.size()); }},
    {"delete-character-back",    nullptr, [](Model &m) { if (m.cursor > 0) backspace<1>(m); }},
    {"delete-character-forward", nullptr, remove<1>},
    {"delete-word-back",         nullptr, delete_word_before},
    {"delete-word-forward",      nullptr, delete_next_word},
    {"delete-end",               nullptr, delete_to_end},
    {"delete-begin",             nullptr, delete_before},
    {"delete-command",           nullptr, [](Model &m) { m.clear(); }},
    {"redisplay",                nullptr, [](Model &m) { m.say("\n\r"); }},
    {"echo",                     nullptr, echo},
    {"yank-first",               nullptr, nothing},
    {"yank-next",                nullptr, nothing},
    {"capitalize-word",          nullptr, [](Model &m) { change_case(m, 1, std::toupper); }},
    {"toupper-word",             nullptr, [](Model &m) { change_case(m, none, std::toupper); }},
    {"tolower-word",             nullptr, [](Model &m) { change_case(m, none, std::tolower); }},
    {"compact-whitespace",       nullptr, compact},
    {"move-context-forward",     nullptr, nothing},
    {"move-context-back",        nullptr, nothing},
    {"invoke",                   nullptr, invoke},
    {"execute-and-restore",      nullptr, execute_and_restore},
    {"accept-token",             nullptr, [](Model &m) { insert(m, " "); }},
    {"expand-token",             nullptr, nothing},
    {"complete-token",           nullptr, nothing},
    {"execute",                  nullptr, execute},

    {"tolower-word of capitals", lower_capitals, in_lower_case},
    {"history there and back",   browse,         [](Model &m) { m.set("older one", 2); }},
    {"an inserted key",          insert_key,     [](Model &m) { insert(m, "x"); }},
    {"inserted keys",            insert_keys,    [](Model &m) { insert(m, "xy"); }},
    {"inserted bytes",           insert_bytes,   [](Model &m) { insert(m, "xy"); m.flags = 0; }},
    {"backspace of two",         erase<2>,       backspace<2>},
    {"backspace of all",         erase<9>,       backspace<9>},
    {"delete of two",            erase_ahead,    remove<2>},
    {"appended character",       append_x,       [](Model &m) { m.set(m.line + "x", m.cursor); }},
    {"character before",         put_x_before, [](Model &m) { m.set("x" + m.line, m.cursor); }},
    {"first token taken",        extract_token,  take_token},
};
// clang-format on

// One command, and the editor that it is tried on.
class Trial {
  public:
    explicit Trial(const Command &command) : command_(command)
    {
        remember();
        prompt_bind_command(editor_.p(), inserting, insert_x, nullptr);
        prompt_bind_command(editor_.p(), clearing, clear_line, nullptr);
    }

    Editor &editor() { return editor_; }
    const std::string &wanted_output() const { return wanted_output_; }

    void set(const std::string &line, size_t cursor)
    {
        prompt_s *p = editor_.p();
        std::memcpy(p->ps.buf, line.c_str(), line.size() + 1);
        p->ps.buf_used = static_cast<int32_t>(line.size());
        p->ps.cursor_location = static_cast<int32_t>(cursor);
    }

    void act()
    {
        if (command_.act)
            command_.act(editor_.p());
        else
            run(editor_.p(), command_.name);
    }

    // Whether the command makes of the line what its model does; gathers the output.
    bool is_as_modelled(const std::string &line, size_t cursor)
    {
        prompt_s *p = editor_.p();
        set(line, cursor);
        p->flags = 0;
        p->display_offset = offset_before;
        prompt_history_reset_state(p);
        act();
        Model m = {.line = line, .cursor = cursor};
        command_.model(m);
        wanted_output_ += m.output;
        return static_cast<size_t>(p->ps.buf_used) == m.line.size() &&
               std::memcmp(p->ps.buf, m.line.c_str(), m.line.size() + 1) == 0 &&
               static_cast<size_t>(p->ps.cursor_location) == m.cursor && p->flags == m.flags &&
               p->display_offset == m.offset;
    }

    std::string state()
    {
        const prompt_s *p = editor_.p();
        return editor_.line() + " flags " + std::to_string(p->flags) + " offset " +
               std::to_string(p->display_offset);
    }

  private:
    // The history is the same in every case but those of "execute", which add to it.
    void remember()
    {
        for (const char *line : remembered) {
            set(line, 2);
            prompt_history_add(editor_.p(), 0);
        }
    }

    const Command &command_;
    Editor editor_;
    std::string wanted_output_;
};

void for_each_line(size_t most, const std::function<bool(const std::string &, size_t)> &visit)
{
    size_t count = 1;
    for (size_t length = 0; length <= most; length++, count *= alphabet.size()) {
        for (size_t number = 0; number < count; number++) {
            std::string line;
            for (size_t rest = number, i = 0; i < length; i++, rest /= alphabet.size())
                line += alphabet[rest % alphabet.size()];
            for (size_t cursor = 0; cursor <= length; cursor++) {
                if (!visit(line, cursor))
                    return;
            }
        }
    }
}

void try_on_every_line(const Command &command)
{
    SCOPED_TRACE(command.name);
    Trial trial(command);
    const size_t longest = varno_test::long_tests_factor() > 1 ? 7 : 6;
    size_t cases = 0;
    testing::internal::CaptureStdout();
    for_each_line(longest, [&](const std::string &line, size_t cursor) {
        cases++;
        const bool is_right = trial.is_as_modelled(line, cursor);
        EXPECT_TRUE(is_right) << "[" << std::string(line).insert(cursor, "|") << "] became ["
                              << trial.state();
        return is_right;
    });
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(output == trial.wanted_output()) << output.substr(0, 1000);
    EXPECT_EQ(cases, longest == 6 ? 131836u : 756836u) << "lines and cursors";
}

TEST(EditorCommands, MakeOfEveryShortLineWhatTheySay)
{
    for (const Command &command : commands)
        try_on_every_line(command);
}

// Commands that leave the row, and edits that mark nothing, are not drawn in place.
bool is_drawn_in_place(const Command &command)
{
    static const std::set<std::string_view> others = {"redisplay",
                                                      "echo",
                                                      "invoke",
                                                      "execute-and-restore",
                                                      "execute",
                                                      "inserted bytes",
                                                      "tolower-word of capitals"};
    return !others.contains(command.name);
}

// The editor checks the terminal's row by itself.
void try_on_the_row(const Command &command)
{
    SCOPED_TRACE(command.name);
    Trial trial(command);
    prompt_s *p = trial.editor().p();
    prompt_set_prompt_normal(p, "# ");
    for_each_line(3, [&](const std::string &line, size_t cursor) {
        std::string shown = line; // a row has one column for a tab
        std::replace(shown.begin(), shown.end(), '\t', '.');
        trial.set(shown, cursor);
        trial.editor().heal_row();
        trial.editor().redraw();
        trial.act();
        std::replace(p->ps.buf, p->ps.buf + p->ps.buf_used, '\t', '.');
        trial.editor().redraw();
        return !testing::Test::HasFailure();
    });
}

TEST(EditorCommands, BringTheRowUpToDate)
{
    for (const Command &command : commands) {
        if (is_drawn_in_place(command))
            try_on_the_row(command);
    }
}

TEST(EditorCommands, AreAllOfTheTables)
{
    std::map<std::string, int> rows;
    for (const Command &command : commands)
        rows[command.name]++;
    for (const prompt_builtin_s *table : {prompt_builtins, prompt_builtins_test}) {
        for (; table->name; table++)
            EXPECT_EQ(rows[table->name], 1) << table->name;
    }
}

} // namespace
