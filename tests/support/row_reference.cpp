#include "row_reference.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace varno_test {
namespace {

constexpr size_t longest_line = 255;
constexpr size_t longest_answer = 127;
constexpr size_t longest_pattern = 63;
constexpr size_t longest_prompt = 30;

// The device's commands, in the order that they are listed.
struct Word {
    std::string name;
    std::string help;
    std::vector<Word> next; // none: the command ends here
};

// clang-format off
const std::vector<Word> device = {
    {"show",  "what there is",     {{"long",    "many rows",   {}},
                                    {"version", "the version", {}}}},
    {"login", "ask for a password", {}},
    {"name",  "ask for a name",     {}},
    {"sure",  "ask for a key",      {}},
    {"width", "set the width",      {{"COLUMNS", "a number",   {}}}},
    {"exit",  "end",                {}},
    {"free",  "free the session",   {}},
    {"fault", "fail an assertion",  {}},
};
// clang-format on

// No number is ever typed here.
bool is_number(const Word &word)
{
    return word.name == "COLUMNS";
}

std::vector<const Word *> words_beginning(const std::vector<Word> &level, const std::string &begun)
{
    std::vector<const Word *> found;
    for (const Word &word : level) {
        if (is_number(word) ? begun.empty() : word.name.starts_with(begun))
            found.push_back(&word);
    }
    return found;
}

struct Place {
    const std::vector<Word> *level = &device; // NULL: after a word that is refused
    bool is_end = false;                      // a command is complete here
    const Word *last = nullptr;
};

Place after_words(const std::vector<std::string> &words)
{
    Place place;
    for (const std::string &word : words) {
        const auto found = words_beginning(*place.level, word);
        if (place.is_end || found.size() != 1 || is_number(*found[0]))
            return {nullptr, false, nullptr};
        place = {&found[0]->next, found[0]->next.empty(), found[0]};
    }
    return place;
}

std::vector<std::string> words_of(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

// The words before the one that is being typed, and that one.
std::pair<Place, std::string> place_of(const std::string &text)
{
    std::vector<std::string> words = words_of(text);
    std::string begun;
    if (!text.empty() && text.back() != ' ' && !words.empty()) {
        begun = words.back();
        words.pop_back();
    }
    return {after_words(words), begun};
}

} // namespace

RowReference::RowReference(int columns, int rows, size_t history_limit)
    : columns_(static_cast<size_t>(columns)), rows_(rows), history_limit_(history_limit)
{}

std::vector<std::string> RowReference::take_events()
{
    return std::exchange(events_, {});
}

// Input

void RowReference::begin_input()
{
    begin_call();
}

void RowReference::end_input()
{
    end_call();
}

void RowReference::add(const std::vector<Press> &presses)
{
    if (is_closed_ || presses.empty())
        return;
    queue_.insert(queue_.end(), presses.begin(), presses.end());
    take();
}

bool RowReference::takes_keys() const
{
    return is_writable_ && !is_resting();
}

bool RowReference::has_work() const
{
    if (!is_writable_ || is_closed_)
        return false;
    return is_resting() ? !pager_.is_late : !queue_.empty();
}

void RowReference::work()
{
    while (has_work()) {
        begin_call();
        take_interrupt();
        if (!is_turn_over_ && is_resting())
            run_pager();
        else if (!is_turn_over_)
            take();
        end_call();
    }
}

void RowReference::take()
{
    while (!queue_.empty() && takes_keys() && !is_turn_over_ && !is_closed_) {
        const Press next = queue_.front();
        queue_.pop_front();
        press(next);
    }
    if (!is_closed_)
        take_interrupt();
}

// The last Ctrl-C of what is kept drops all before it.
void RowReference::take_interrupt()
{
    const auto last = std::find_if(queue_.rbegin(), queue_.rend(),
                                   [](const Press &p) { return p.key == Key::interrupt; });
    if (last == queue_.rend())
        return;
    queue_.erase(queue_.begin(), last.base());
    interrupt("interrupt");
}

void RowReference::telnet_interrupt(const std::string &event)
{
    if (is_closed_)
        return;
    queue_.clear();
    interrupt(event);
}

void RowReference::telnet_size(int columns, int rows)
{
    if (is_closed_)
        return;
    resize(columns, rows);
    events_.push_back("size " + std::to_string(columns) + " " + std::to_string(rows));
}

void RowReference::interrupt(const std::string &event)
{
    is_turn_over_ = true;
    if (mode_ == Mode::search)
        mode_ = Mode::line;
    const bool is_told = mode_ == Mode::line || event == "break";
    if (mode_ == Mode::line)
        begin_line();
    else
        cancel_dialog();
    if (is_told)
        events_.push_back(event);
}

void RowReference::press(Press p)
{
    if (p.key == Key::line_feed || p.key == Key::swallowed)
        return;
    const bool is_pasted = p.key == Key::pasted_character || p.key == Key::pasted_enter;
    if (is_pasted && (mode_ == Mode::pager || mode_ == Mode::key_question))
        cancel_dialog();
    switch (mode_) {
    case Mode::line:
        return line_key(p);
    case Mode::search:
        return search_key(p);
    case Mode::pager:
        return pager_key(p);
    case Mode::question:
    case Mode::key_question:
        return question_key(p);
    }
}

// The line

void RowReference::line_key(Press p)
{
    const bool is_tab = p.key == Key::tab;
    if (!is_tab)
        after_tab_.reset();
    if (p.key == Key::interrupt) {
        interrupt("interrupt");
    } else if (p.key == Key::end_of_input && line_.text.empty()) {
        is_turn_over_ = true;
        events_.push_back("end");
    } else if (p.key == Key::enter || p.key == Key::pasted_enter) {
        run_line();
    } else {
        edit(p);
        if (line_.text.empty())
            line_.is_overlong = false;
    }
}

void RowReference::edit(Press p)
{
    const size_t at = line_.cursor;
    const size_t used = line_.text.size();
    switch (p.key) {
    case Key::character:
        return p.character == '?' ? list_choices() : insert(p.character);
    case Key::pasted_character:
        return insert(p.character);
    case Key::tab:
        return complete();
    case Key::left:
        line_.cursor -= at > 0;
        return;
    case Key::right:
        line_.cursor += at < used;
        return;
    case Key::home:
        line_.cursor = 0;
        return;
    case Key::end:
        line_.cursor = used;
        return;
    case Key::word_back:
        return go_word_back();
    case Key::word_forward:
        return go_word_forward();
    case Key::delete_back:
        return erase(at - (at > 0), at);
    case Key::delete_forward:
    case Key::end_of_input:
        return erase(at, std::min(at + 1, used));
    case Key::kill_word_back:
        return kill(word_before(blanks_before(at)), at);
    case Key::kill_word_forward:
        return kill_word_forward();
    case Key::kill_begin:
        return kill(0, at);
    case Key::kill_end:
        return kill(at, used);
    case Key::kill_all:
        return kill(0, used);
    case Key::yank:
        if (used + killed_.size() <= longest_line)
            insert(killed_);
        return;
    case Key::transpose:
        return transpose();
    case Key::compact:
        return compact();
    case Key::older:
        return go_older();
    case Key::newer:
        return go_newer();
    case Key::search:
        before_search_ = line_;
        browsed_before_search_ = browsed_;
        pattern_.clear();
        found_ = 0;
        mode_ = Mode::search;
        return;
    default:
        return;
    }
}

void RowReference::insert(char c)
{
    if (line_.text.size() == longest_line)
        line_.is_overlong = true;
    else
        line_.text.insert(line_.cursor++, 1, c);
}

void RowReference::insert(const std::string &text)
{
    for (const char c : text)
        insert(c);
}

void RowReference::erase(size_t from, size_t to)
{
    line_.text.erase(from, to - from);
    if (line_.cursor > from)
        line_.cursor = from;
}

void RowReference::kill(size_t from, size_t to)
{
    if (from < to)
        killed_ = line_.text.substr(from, to - from);
    erase(from, to);
}

size_t RowReference::blanks_after(size_t at) const
{
    return std::min(line_.text.find_first_not_of(' ', at), line_.text.size());
}

size_t RowReference::word_after(size_t at) const
{
    return std::min(line_.text.find(' ', at), line_.text.size());
}

size_t RowReference::blanks_before(size_t at) const
{
    while (at > 0 && line_.text[at - 1] == ' ')
        at--;
    return at;
}

size_t RowReference::word_before(size_t at) const
{
    while (at > 0 && line_.text[at - 1] != ' ')
        at--;
    return at;
}

// Where there are only blanks, a move by a word goes nowhere.
void RowReference::go_word_back()
{
    if (const size_t word_end = blanks_before(line_.cursor); word_end > 0)
        line_.cursor = word_before(word_end);
}

// To the place after the blank after the word.
void RowReference::go_word_forward()
{
    const size_t word = blanks_after(line_.cursor);
    if (word < line_.text.size())
        line_.cursor = std::min(word_after(word) + 1, line_.text.size());
}

// The blanks before the word stay, those after it go.
void RowReference::kill_word_forward()
{
    const size_t word = blanks_after(line_.cursor);
    if (word == line_.text.size())
        kill(line_.cursor, word);
    else
        kill(word, blanks_after(word_after(word)));
}

void RowReference::transpose()
{
    if (line_.text.size() < 2 || line_.cursor == 0)
        return;
    const size_t second = std::min(line_.cursor, line_.text.size() - 1);
    std::swap(line_.text[second - 1], line_.text[second]);
    line_.cursor = second + 1;
}

// One blank between words, none at either end. The cursor keeps its index.
void RowReference::compact()
{
    std::string text;
    for (const std::string &word : words_of(line_.text))
        text += (text.empty() ? "" : " ") + word;
    line_.text = text;
    line_.cursor = std::min(line_.cursor, text.size());
}

void RowReference::complete()
{
    const bool is_second = after_tab_ == line_.text.size();
    const auto [place, begun] = place_of(line_.text.substr(0, line_.cursor));
    std::vector<const Word *> found;
    if (place.level && !place.is_end)
        found = words_beginning(*place.level, begun);
    if (!found.empty() && !is_number(*found[0])) {
        std::string all = found[0]->name;
        for (const Word *word : found) {
            const auto differ =
                std::mismatch(all.begin(), all.end(), word->name.begin(), word->name.end());
            all.erase(differ.first, all.end());
        }
        all = all.substr(begun.size()) + (found.size() == 1 ? " " : "");
        if (line_.text.size() + all.size() <= longest_line)
            insert(all);
    }
    if (is_second && after_tab_ == line_.text.size())
        list_choices();
    after_tab_ = line_.text.size();
}

void RowReference::begin_line()
{
    line_ = {};
    browsed_.reset();
    after_tab_.reset();
}

// The history

void RowReference::load(const std::string &text)
{
    line_ = {text, text.size(), false};
}

void RowReference::go_older()
{
    if (history_.empty() || browsed_ == history_.size() - 1)
        return;
    if (!browsed_)
        typed_ = line_;
    browsed_ = browsed_ ? *browsed_ + 1 : 0;
    load(history_[*browsed_]);
}

void RowReference::go_newer()
{
    if (!browsed_)
        return;
    if (*browsed_ == 0) {
        browsed_.reset();
        line_ = typed_;
    } else {
        browsed_ = *browsed_ - 1;
        load(history_[*browsed_]);
    }
}

void RowReference::remember(const std::string &text)
{
    if (text.find_first_not_of(' ') == text.npos || (!history_.empty() && history_[0] == text))
        return;
    history_.push_front(text);
    if (history_.size() > history_limit_)
        history_.pop_back();
}

void RowReference::look_for(size_t from)
{
    for (size_t number = from + 1; number <= history_.size(); number++) {
        const std::string &entry = history_[number - 1];
        if (const size_t at = entry.find(pattern_); at != entry.npos) {
            line_ = {entry, at, line_.is_overlong};
            found_ = number;
            return;
        }
    }
}

void RowReference::search_key(Press p)
{
    if (p.key == Key::give_up) {
        mode_ = Mode::line;
        line_ = before_search_;
        browsed_ = browsed_before_search_;
    } else if (p.key == Key::character || p.key == Key::pasted_character) {
        if (pattern_.size() == longest_pattern)
            return;
        pattern_ += p.character;
        look_for(found_ > 0 ? found_ - 1 : 0);
    } else if (p.key == Key::delete_back) {
        if (!pattern_.empty())
            pattern_.pop_back();
        if (!pattern_.empty())
            look_for(0);
    } else if (p.key == Key::search) {
        if (!pattern_.empty())
            look_for(found_);
    } else {
        mode_ = Mode::line;
        if (found_ > 0)
            line_.is_overlong = false;
        line_key(p);
    }
}

// Lines

void RowReference::run_line()
{
    const Line line = line_;
    is_turn_over_ = true;
    begin_line();
    if (line.is_overlong)
        return;
    run(line.text);
    remember(line.text);
}

void RowReference::run(const std::string &text)
{
    const size_t first = text.find_first_not_of(' ');
    if (first == text.npos || text[first] == '!' || text[first] == '#')
        return;
    const Place place = after_words(words_of(text));
    if (!place.is_end)
        return;
    events_.push_back("line " + text.substr(first));
    const std::string &name = place.last->name;
    if (name == "long")
        begin_pager({});
    else if (name == "login")
        begin_question("Password: ", true, Mode::question);
    else if (name == "name")
        begin_question("Name?: ", false, Mode::question);
    else if (name == "sure")
        begin_question("Sure? ", false, Mode::key_question);
    else if (name == "exit")
        close();
    run_pager();
}

void RowReference::close()
{
    is_closed_ = true;
    cancel_dialog();
    events_.push_back("over");
}

// Long outputs

void RowReference::begin_pager(const Pager &pager)
{
    mode_ = Mode::pager;
    pager_ = pager;
    pager_.page = is_paged_ ? rows_ - 1 : INT_MAX;
    pager_.rows_left = pager_.page;
    message_.clear();
}

void RowReference::begin_long()
{
    begin_call();
    begin_pager({});
    run_pager();
    end_call();
}

void RowReference::list_choices()
{
    const auto [place, begun] = place_of(line_.text.substr(0, line_.cursor));
    Pager pager;
    pager.is_list = true;
    constexpr size_t help_column = 20;
    if (place.is_end && begun.empty())
        pager.list.push_back(1);
    else if (place.level && !place.is_end) {
        for (const Word *word : words_beginning(*place.level, begun))
            pager.list.push_back(
                static_cast<int>((help_column + word->help.size() + columns_ - 1) / columns_));
    }
    begin_pager(pager);
    run_pager();
}

void RowReference::take_rows(int count)
{
    pager_.rows_left = std::max(pager_.rows_left - count, 0);
}

void RowReference::run_pager()
{
    if (!is_resting() || pager_.is_late || !is_writable_ || is_closed_)
        return;
    is_turn_over_ = true;
    do {
        pager_.is_waiting = pager_.rows_left == 0;
    } while (!pager_.is_waiting && produce());
}

// One row, or one choice. Returns whether it can go on.
bool RowReference::produce()
{
    if (!std::exchange(message_, {}).empty())
        take_rows(1);
    if (pager_.is_list) {
        if (pager_.listed < pager_.list.size())
            take_rows(pager_.list[pager_.listed++]);
        if (pager_.listed == pager_.list.size())
            mode_ = Mode::line;
    } else if (is_late_) {
        pager_.is_late = true;
        return false;
    } else {
        take_rows(1);
        if (++pager_.produced >= long_rows)
            mode_ = Mode::line;
    }
    return mode_ == Mode::pager;
}

void RowReference::pager_key(Press p)
{
    const bool is_space = p.key == Key::character && p.character == ' ';
    if (is_space || p.key == Key::enter) {
        pager_.is_waiting = false;
        pager_.shows_keys = false;
        pager_.rows_left = is_space ? pager_.page : 1;
        run_pager();
    } else if (p.key == Key::character && p.character == '?') {
        pager_.shows_keys = true;
    } else {
        cancel_pager();
        if (p.key != Key::interrupt && !(p.key == Key::character && p.character == 'q'))
            line_key(p);
    }
}

void RowReference::cancel_pager()
{
    mode_ = Mode::line;
    if (!pager_.is_list)
        events_.push_back("cancelled after " + std::to_string(pager_.produced));
}

// Questions

void RowReference::begin_question(const std::string &text, bool is_secret, Mode mode)
{
    mode_ = mode;
    question_ = {text, "", is_secret, false};
}

void RowReference::ask(const std::string &text, bool is_secret, bool is_for_a_key)
{
    begin_question(text, is_secret, is_for_a_key ? Mode::key_question : Mode::question);
    settle_question();
}

size_t RowReference::answer_columns() const
{
    return columns_ - 1 - std::min(question_.text.size(), columns_ - 1);
}

// What leaves no room for an answer stands above, wrapped at blanks.
void RowReference::settle_question()
{
    constexpr size_t least = 8;
    const bool is_asked = mode_ == Mode::question || mode_ == Mode::key_question;
    while (is_asked && answer_columns() < least) {
        const std::string row = question_.text.substr(0, columns_ - 1);
        const size_t blank = row.rfind(' ');
        const bool is_whole = row.size() == question_.text.size() || blank == row.npos;
        question_.text.erase(0, is_whole ? row.size() : blank + 1);
    }
}

void RowReference::question_key(Press p)
{
    settle_question();
    const bool is_character = p.key == Key::character || p.key == Key::pasted_character;
    const bool is_enter = p.key == Key::enter || p.key == Key::pasted_enter;
    if (p.key == Key::interrupt)
        return cancel_question();
    if (mode_ == Mode::key_question) {
        if (is_character || is_enter)
            end_question("key " + std::to_string(is_enter ? 13 : p.character));
        return;
    }
    std::string &answer = question_.answer;
    if (is_enter && question_.is_overlong) {
        answer.clear();
        question_.is_overlong = false;
    } else if (is_enter) {
        end_question("answer " + answer);
    } else if (is_character && answer.size() == longest_answer) {
        question_.is_overlong = true;
    } else if (is_character) {
        answer += p.character;
    } else if (p.key == Key::delete_back && !answer.empty()) {
        answer.pop_back();
    } else if (p.key == Key::kill_begin) {
        answer.clear();
    }
    if (answer.empty())
        question_.is_overlong = false;
}

void RowReference::end_question(const std::string &event)
{
    mode_ = Mode::line;
    is_turn_over_ = true;
    events_.push_back(event);
}

void RowReference::cancel_question()
{
    end_question(mode_ == Mode::key_question ? "key -1" : "answer (none)");
}

void RowReference::cancel_dialog()
{
    if (mode_ == Mode::pager)
        cancel_pager();
    else if (mode_ == Mode::question || mode_ == Mode::key_question)
        cancel_question();
    mode_ = Mode::line;
}

// The terminal

void RowReference::resize(int columns, int rows)
{
    columns_ = static_cast<size_t>(columns);
    rows_ = rows;
    if (mode_ == Mode::pager && pager_.page != INT_MAX) {
        pager_.page = rows - 1;
        pager_.rows_left = std::min(pager_.rows_left, pager_.page);
    }
}

// While an output rests its page goes on after the message.
void RowReference::message(const std::string &text)
{
    if (!is_resting())
        return;
    if (!message_.empty())
        take_rows(1);
    take_rows(static_cast<int>(std::count(text.begin(), text.end(), '\n')));
    message_ = text.substr(text.rfind('\n') + 1);
}

void RowReference::set_prompt(const std::string &prompt)
{
    prompt_ = prompt.substr(prompt.size() - std::min(prompt.size(), longest_prompt));
}

// Twelve columns are left to edit in.
std::string RowReference::fitted_prompt() const
{
    return prompt_.substr(prompt_.size() - std::min(prompt_.size(), columns_ - 12));
}

// Rows

std::string RowReference::fault_of(const std::string &row, int cursor) const
{
    const auto at = static_cast<size_t>(cursor);
    if (row.size() != columns_)
        return "the terminal is " + std::to_string(row.size()) + " columns wide";
    std::string wanted;
    if (mode_ == Mode::line)
        return fault_of_line(row, at);
    if (mode_ == Mode::search)
        return fault_of_search(row, at);
    if (is_resting())
        wanted = message_;
    else if (mode_ == Mode::pager)
        wanted = pager_.shows_keys ? "space: page, Enter: row, q: quit" : "--More--";
    else if (question_.is_secret)
        wanted = question_.text;
    else
        wanted = question_.text +
                 question_.answer.substr(question_.answer.size() -
                                         std::min(question_.answer.size(), answer_columns()));
    wanted = wanted.substr(0, columns_ - 1);
    const std::string padded = wanted + std::string(columns_ - wanted.size(), ' ');
    return row == padded && at == wanted.size() ? "" : "wanted is '" + wanted + "|'";
}

// A line that fits shows whole. Of a longer one a part shows, with the cursor in it, and a
// guard stands where something is hidden; which part that is depends on where it was.
std::string RowReference::fault_of_line(const std::string &row, size_t cursor) const
{
    const std::string prompt = fitted_prompt();
    const std::string &text = line_.text;
    const std::string wanted =
        "wanted is '" + prompt + text + "', cursor " + std::to_string(prompt.size() + line_.cursor);
    const size_t room = columns_ - 1 - prompt.size();
    const size_t shown_cursor = cursor - prompt.size();
    if (cursor < prompt.size() || shown_cursor > line_.cursor || !row.starts_with(prompt))
        return wanted;
    const size_t hidden = line_.cursor - shown_cursor; // characters before the row's first
    if (hidden > 0 && text.size() < room)
        return wanted + ", which has room";
    const size_t rest = text.size() - std::min(hidden, text.size());
    const bool is_cut = rest > room;
    if ((hidden > 0 && shown_cursor == 0) || shown_cursor > room - 1 - is_cut)
        return wanted + ", the cursor is on a guard";
    std::string shown = text.substr(hidden, room);
    if (hidden > 0)
        shown[0] = '$';
    if (is_cut)
        shown[room - 1] = '$';
    shown.resize(room + 1, ' ');
    std::string guarded = shown; // the guard may stand where just the last character is
    if (rest == room)
        guarded[room - 1] = '$';
    const std::string row_of_line = row.substr(prompt.size());
    return row_of_line == shown || row_of_line == guarded ? "" : wanted + ", shown " + shown;
}

// (search)'pattern': line. What is too long for the row shows the end of the pattern and a
// part of the line with the place that was found.
std::string RowReference::fault_of_search(const std::string &row, size_t cursor) const
{
    const std::string whole = "(search)'" + pattern_ + "': " + line_.text;
    const std::string wanted = "wanted is '" + whole + "|'";
    const std::string shown = row.substr(0, cursor);
    if (row.find_first_not_of(' ', cursor) != row.npos || cursor >= columns_)
        return wanted + ", and nothing after the cursor";
    if (whole.size() < columns_ &&
        pattern_.size() <= std::min<size_t>(std::max<size_t>(columns_, 22) - 21, 20))
        return shown == whole ? "" : wanted;
    const size_t end = shown.find("': ");
    if (!shown.starts_with("(search)'") || end == shown.npos)
        return wanted;
    const std::string pattern = shown.substr(9, end - 9);
    const std::string line = shown.substr(end + 3);
    const bool is_right = pattern_.ends_with(pattern) && line_.text.find(line) != line.npos;
    return is_right ? "" : wanted;
}

} // namespace varno_test
