#ifndef VARNO_TESTS_COMMAND_MODEL_H
#define VARNO_TESTS_COMMAND_MODEL_H

// A plain interpreter of definitions, which backtracks over the notation and shares no code
// with the library; and an author of random definitions and of lines for them.

#include <varno/cli_assist.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace varno_test {

// The model: a definition as a tree, and what is left of it after some words.

struct Part {
    char kind; // 'k'eyword, 'a'rgument, 's'equence, '<', '[', '{', '!'
    std::string text;
    std::string type; // of an argument: "", "hex", "5-20"
    bool repeats = false;
    std::vector<std::shared_ptr<Part>> parts;
};

using PartRef = std::shared_ptr<Part>;

// What is still to come; of a set the options that were given. A repeated argument may
// come again, or not.
struct Rest {
    PartRef part;
    unsigned given = 0;
    bool is_optional = false;
};

using Rests = std::vector<Rest>;

class Parser {
  public:
    explicit Parser(std::string text) : text_(std::move(text)) {}

    PartRef read()
    {
        auto sequence = std::make_shared<Part>(Part{'s', "", "", false, {}});
        while (at_ < text_.size() && std::strchr("|>]}", text_[at_]) == nullptr) {
            if (text_[at_] == ' ')
                at_++;
            else
                sequence->parts.push_back(read_part());
        }
        return sequence;
    }

  private:
    PartRef read_part()
    {
        auto part = std::make_shared<Part>();
        if (text_[at_] == '!')
            at_++;
        if (std::strchr("<[{", text_[at_])) {
            part->kind = text_[at_ - (at_ > 0)] == '!' ? '!' : text_[at_];
            do {
                at_++;
                part->parts.push_back(read());
            } while (text_[at_] == '|');
            at_++;
            return part;
        }
        while (at_ < text_.size() && std::strchr(" |>]}(.", text_[at_]) == nullptr)
            part->text += text_[at_++];
        part->kind = part->text[0] >= 'A' && part->text[0] <= 'Z' ? 'a' : 'k';
        if (text_[at_] == '(') {
            const size_t close = text_.find(')', at_);
            part->type = text_.substr(at_ + 1, close - at_ - 1);
            at_ = close + 1;
        }
        if (text_.compare(at_, 3, "...") == 0) {
            part->repeats = true;
            at_ += 3;
        }
        return part;
    }

    std::string text_;
    size_t at_ = 0;
};

// One way to have read some words. A set's option that is given again ends the command, but
// not what the words could be: it is still that option, and nothing else.
struct Thread {
    int definition;
    bool is_negated;
    Rests rest; // the next one last
    std::string arguments;
    bool is_done_here = false; // by "do": the mode stays, if it enters none
    bool is_over = false;      // an option was given again
};

struct Next {
    const Part *word; // NULL: the definition may end
    Thread thread;    // after it

    bool is_possible() const { return !thread.is_over; }
};

inline void expand(Thread thread, std::vector<Next> &out)
{
    if (thread.rest.empty()) {
        out.push_back({nullptr, std::move(thread)});
        return;
    }
    const Rest rest = thread.rest.back();
    thread.rest.pop_back();
    const Part &part = *rest.part;
    const bool may_go = rest.is_optional || part.kind == '[' || rest.given != 0 ||
                        (part.kind == '!' && thread.is_negated);
    if (may_go)
        expand(thread, out);
    if (part.kind == 'k' || part.kind == 'a') {
        if (part.repeats)
            thread.rest.push_back({rest.part, 0, true});
        out.push_back({&part, std::move(thread)});
    } else if (part.kind == 's') {
        for (auto one = part.parts.rbegin(); one != part.parts.rend(); ++one)
            thread.rest.push_back({*one});
        expand(std::move(thread), out);
    } else {
        for (size_t i = 0; i < part.parts.size(); i++) {
            const bool is_given = (rest.given >> i & 1) != 0;
            Thread inside = thread;
            inside.is_over |= is_given;
            if (part.kind == '{')
                inside.rest.push_back({rest.part, rest.given | 1U << i});
            inside.rest.push_back({part.parts[i]});
            expand(std::move(inside), out);
        }
    }
}

enum Fit { no, begins, takes, typed };

inline Fit fit_of(const std::string &type, const std::string &word)
{
    if (type.empty() || type == "pattern")
        return takes;
    if (type == "hex") {
        const std::string digits = word.compare(0, 2, "0x") == 0 ? word.substr(2) : word;
        if (digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos || digits.size() > 16)
            return no;
        return digits.empty() ? begins : typed;
    }
    const int least = std::atoi(type.c_str());
    const int most = std::atoi(type.c_str() + type.find('-') + 1);
    if (word.empty())
        return begins;
    if (word.find_first_not_of("0123456789") != word.npos)
        return no;
    const std::string digits = word.substr(std::min(word.find_first_not_of('0'), word.size()));
    Fit best = digits.empty() ? begins : no; // zeros, and more to come
    for (int number = least; number <= most; number++) {
        const std::string text = number == 0 ? "" : std::to_string(number);
        if (text == digits)
            return typed;
        if (text.compare(0, digits.size(), digits) == 0)
            best = begins;
    }
    return best;
}

inline std::string key_of(const Part &word)
{
    return word.kind == 'k' ? word.text : word.text + "(" + word.type + ")";
}

class Model {
  public:
    explicit Model(const std::vector<std::string> &definitions)
    {
        for (size_t i = 0; i < definitions.size(); i++) {
            const bool is_negatable = definitions[i].compare(0, 5, "[no] ") == 0;
            const PartRef part = Parser(definitions[i].substr(is_negatable ? 5 : 0)).read();
            start_.push_back({static_cast<int>(i), false, {{part}}, ""});
            if (!is_negatable)
                continue;
            const auto no_word = std::make_shared<Part>(Part{'k', "no", "", false, {}});
            start_.push_back({static_cast<int>(i), true, {{part}, {no_word}}, ""});
        }
    }

    static std::vector<Next> next(const std::vector<Thread> &threads)
    {
        std::vector<Next> all;
        for (const Thread &thread : threads)
            expand(thread, all);
        return all;
    }

    static std::vector<Next> possible(std::vector<Next> all)
    {
        std::erase_if(all, [](const Next &one) { return !one.is_possible(); });
        return all;
    }

    const std::vector<Thread> &start() const { return start_; }

    // What a word is: the key of the alternative; else CLI_ASSIST_UNKNOWN or AMBIGUOUS.
    static int decide(const std::vector<Next> &all, const std::string &word, std::string &out_key)
    {
        std::set<std::string> keywords;
        std::map<std::string, Fit> values;
        bool is_refused = false;
        for (const Next &one : all) {
            if (!one.word)
                continue;
            const std::string key = key_of(*one.word);
            if (!one.is_possible())
                is_refused |= one.word->kind == 'k' && one.word->text == word;
            else if (one.word->kind == 'a')
                values[key] = fit_of(one.word->type, word);
            else if (one.word->text.compare(0, word.size(), word) == 0)
                keywords.insert(key);
        }
        if (keywords.count(word) > 0) {
            out_key = word;
            return CLI_ASSIST_OK;
        }
        if (is_refused)
            return CLI_ASSIST_UNKNOWN;
        Fit best = no;
        for (const auto &[key, fit] : values)
            best = std::max(best, fit);
        std::set<std::string> left = keywords;
        for (const auto &[key, fit] : values) {
            if (fit == best && best > (keywords.empty() ? begins : no))
                left.insert(key);
        }
        if (left.size() == 1)
            out_key = *left.begin();
        return left.size() == 1 ? CLI_ASSIST_OK
               : left.empty()   ? CLI_ASSIST_UNKNOWN
                                : CLI_ASSIST_AMBIGUOUS;
    }

    // What it is to cli_parse alone: any word is a value.
    static int decide_alone(const std::vector<Next> &all, const std::string &word,
                            std::string &out_key)
    {
        std::set<std::string> fits;
        for (const Next &one : all) {
            if (!one.word)
                continue;
            out_key = key_of(*one.word);
            if (one.word->kind == 'k' && one.word->text == word)
                return CLI_ASSIST_OK;
            if (one.word->kind == 'a' || one.word->text.compare(0, word.size(), word) == 0)
                fits.insert(out_key);
        }
        if (fits.size() == 1)
            out_key = *fits.begin();
        return fits.size() == 1 ? CLI_ASSIST_OK
               : fits.empty()   ? CLI_ASSIST_UNKNOWN
                                : CLI_ASSIST_AMBIGUOUS;
    }

    static std::vector<Thread> follow(const std::vector<Next> &all, const std::string &key,
                                      const std::string &word)
    {
        std::vector<Thread> after;
        for (const Next &one : all) {
            if (!one.word || key_of(*one.word) != key)
                continue;
            after.push_back(one.thread);
            after.back().arguments +=
                " " + (one.word->kind == 'a' ? one.word->text + "=" + word : one.word->text);
        }
        return after;
    }

    // "definition: words", or "reason at index".
    std::string run(const std::vector<std::string> &words) const
    {
        std::vector<Thread> threads = start_;
        size_t at = 0;
        for (const std::string &word : words) {
            const std::vector<Next> all = next(threads);
            std::string key;
            const int reason = decide(all, word, key);
            if (reason != CLI_ASSIST_OK)
                return std::to_string(reason) + " at " + std::to_string(at);
            threads = follow(all, key, word);
            at += word.size() + 1;
        }
        for (const Next &one : possible(next(threads))) {
            if (!one.word)
                return std::to_string(one.thread.definition) + ":" + one.thread.arguments;
        }
        return std::to_string(CLI_ASSIST_INCOMPLETE) + " at " + std::to_string(at - 1);
    }

    // "definition: words" where cli_parse alone takes the words, which knows of no option that it
    // was given; else empty.
    std::string run_alone(const std::vector<std::string> &words) const
    {
        std::vector<Thread> threads = start_;
        for (const std::string &word : words) {
            const std::vector<Next> all = next(threads);
            std::string key;
            if (decide_alone(all, word, key) != CLI_ASSIST_OK)
                return "";
            threads = follow(all, key, word);
        }
        for (const Next &one : next(threads)) {
            if (!one.word)
                return std::to_string(one.thread.definition) + ":" + one.thread.arguments;
        }
        return "";
    }

    // What may come after some words that match: keywords, names and "<cr>".
    static std::set<std::string> choices(const std::vector<Thread> &threads)
    {
        std::set<std::string> texts;
        for (const Next &one : possible(next(threads)))
            texts.insert(one.word ? one.word->text : "<cr>");
        return texts;
    }

  private:
    std::vector<Thread> start_;
};

class Author {
  public:
    explicit Author(unsigned seed) : next_(std::mt19937(seed)) {}
    // next gives the numbers that all choices are made by.
    explicit Author(std::function<size_t()> next) : next_(std::move(next)) {}

    int below(size_t limit) { return static_cast<int>(next_() % limit); }

    std::string definition()
    {
        names_ = below(3);
        std::string text = below(6) == 0 ? "[no] " + keyword() : keyword();
        for (int parts = below(4); parts > 0; parts--)
            text += " " + part(2);
        if (text[0] == '[' && below(2))
            text += " ![" + part(0) + "]";
        if (below(8) == 0)
            text += " " + name() + "...";
        return text;
    }

    // A word that fits, or nearly.
    std::string word_for(const Part &part)
    {
        if (part.kind == 'k')
            return below(3) ? part.text
                            : part.text.substr(0, 1 + static_cast<size_t>(below(part.text.size())));
        if (part.type.empty())
            return below(2) ? "free" : keyword();
        return part.type == "hex" && below(2) ? "0xbeef" : std::to_string(below(40));
    }

    std::string keyword()
    {
        static const char *const words[] = {"a", "ab", "abc", "set", "show", "show1", "no", "7"};
        return words[below(std::size(words))];
    }

  private:
    std::string name() { return "A" + std::to_string(names_++); }

    std::string part(int depth)
    {
        static const char *const types[] = {"", "", "(hex)", "(0-9)", "(10-30)"};
        switch (below(depth > 0 ? 7 : 3)) {
        case 0:
        case 1:
            return keyword();
        case 2:
            return name() + types[below(std::size(types))];
        case 3:
            return "[" + alternatives(depth - 1) + "]";
        case 4:
            return "<" + alternatives(depth - 1) + ">";
        case 5:
            return "{" + alternatives(depth - 1) + "}";
        default:
            return part(depth - 1) + " " + part(depth - 1);
        }
    }

    std::string alternatives(int depth)
    {
        std::string text = part(depth);
        for (int more = below(4); more > 0; more--)
            text += "|" + part(depth);
        return text;
    }

    std::function<size_t()> next_;
    int names_ = 0;
};

inline std::string joined(const std::vector<std::string> &words)
{
    std::string line;
    for (const std::string &word : words)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

inline void mutate(Author &author, std::vector<std::string> &words)
{
    if (words.empty())
        return;
    const auto at = author.below(words.size());
    switch (author.below(4)) {
    case 0:
        words.erase(words.begin() + at);
        return;
    case 1:
        words.insert(words.begin() + at, words[static_cast<size_t>(author.below(words.size()))]);
        return;
    case 2:
        std::swap(words[static_cast<size_t>(at)],
                  words[static_cast<size_t>(author.below(words.size()))]);
        return;
    default:
        words[static_cast<size_t>(at)] =
            author.below(2) ? author.keyword() : std::to_string(author.below(40));
    }
}

} // namespace varno_test

#endif
