// Random devices and lines against a plain interpreter of definitions: it backtracks over
// the notation and shares no code with the library. The same command with the same
// arguments, or the same reason at the same place; what help lists is what may be typed.

#include "shell.h"
#include "support/long_tests.h"

#include <varno/commands.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

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

// One way to have read some words.
struct Thread {
    int definition;
    bool is_negated;
    Rests rest; // the next one last
    std::string arguments;
};

struct Next {
    const Part *word; // NULL: the definition may end
    Thread thread;    // after it
};

void expand(Thread thread, std::vector<Next> &out)
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
            if ((rest.given >> i & 1) != 0)
                continue;
            Thread inside = thread;
            if (part.kind == '{')
                inside.rest.push_back({rest.part, rest.given | 1U << i});
            inside.rest.push_back({part.parts[i]});
            expand(std::move(inside), out);
        }
    }
}

enum Fit { no, begins, takes, typed };

Fit fit_of(const std::string &type, const std::string &word)
{
    if (type.empty())
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

std::string key_of(const Part &word)
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

    std::vector<Next> next(const std::vector<Thread> &threads) const
    {
        std::vector<Next> all;
        for (const Thread &thread : threads)
            expand(thread, all);
        return all;
    }

    const std::vector<Thread> &start() const { return start_; }

    // What a word is: the key of the alternative; else CLI_ASSIST_UNKNOWN or AMBIGUOUS.
    static int decide(const std::vector<Next> &all, const std::string &word, std::string &out_key)
    {
        std::set<std::string> keywords;
        std::map<std::string, Fit> values;
        for (const Next &one : all) {
            if (!one.word)
                continue;
            const std::string key = key_of(*one.word);
            if (one.word->kind == 'a')
                values[key] = fit_of(one.word->type, word);
            else if (one.word->text.compare(0, word.size(), word) == 0)
                keywords.insert(key);
        }
        if (keywords.count(word) > 0) {
            out_key = word;
            return CLI_ASSIST_OK;
        }
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
        for (const Next &one : next(threads)) {
            if (!one.word)
                return std::to_string(one.thread.definition) + ":" + one.thread.arguments;
        }
        return std::to_string(CLI_ASSIST_INCOMPLETE) + " at " + std::to_string(at - 1);
    }

    // What may come after some words that match: keywords, names, "<cr>", a filter before that.
    std::set<std::string> choices(const std::vector<Thread> &threads) const
    {
        std::set<std::string> texts;
        for (const Next &one : next(threads))
            texts.insert(one.word ? one.word->text : "<cr>");
        if (texts.contains("<cr>"))
            texts.insert("|");
        return texts;
    }

  private:
    std::vector<Thread> start_;
};

// The library's side.

int32_t write_call(cli_call_s *call, void *user)
{
    std::string text = std::to_string(*static_cast<const int *>(user)) + ":";
    for (const cli_pmatch_s *word = call->words; word != call->end_word; word = word->next) {
        text += " " + std::string(word->node->keyword);
        if (word->node->type == PNODE_STRING)
            text += "=" + std::string(word->token);
    }
    cli_print(call, "%s", text.c_str());
    return CLI_DONE;
}

class Library {
  public:
    explicit Library(const std::vector<std::string> &definitions) : definitions_(definitions)
    {
        numbers_.resize(definitions_.size());
        for (size_t i = 0; i < definitions_.size(); i++) {
            numbers_[i] = static_cast<int>(i);
            rows_.push_back(
                {definitions_[i].c_str(), "help", write_call, nullptr, 0, 0, &numbers_[i]});
        }
        set_ = cli_set_create();
        cli_set_add(set_, nullptr, nullptr, rows_.data(), rows_.size());
        errors_ = cli_set_build(set_, note, &wrong_);
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.user = &written_;
        config.output = [](void *user, const char *bytes, size_t count) {
            static_cast<std::string *>(user)->append(bytes, count);
        };
        shell_ = cli_shell_create(&config);
    }

    ~Library()
    {
        cli_shell_free(shell_);
        cli_set_free(set_);
    }

    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    int errors() const { return errors_; }
    const std::set<std::string> &wrong() const { return wrong_; }
    const cli_pnode_s *root() const { return varno::commands::root_of(shell_->snapshot, 0, 0); }

    std::string run(const std::string &line)
    {
        written_.clear();
        cli_assist_error_s error;
        if (cli_shell_check(shell_, line.c_str(), &error) != CLI_ASSIST_OK)
            return std::to_string(error.reason) + " at " + std::to_string(error.at);
        cli_shell_run(shell_, line.c_str());
        return written_;
    }

    std::set<std::string> choices(const std::string &line) const
    {
        std::set<std::string> texts;
        cli_assist_help(
            root(), &shell_->filter, line.c_str(), static_cast<int32_t>(line.size()),
            [](void *user, const cli_pnode_s *, const char *text, const char *) {
                static_cast<std::set<std::string> *>(user)->insert(text);
            },
            &texts);
        return texts;
    }

    std::string completed(const std::string &line) const
    {
        cli_assist_completion_s completion;
        cli_assist_complete(root(), &shell_->filter, line.c_str(),
                            static_cast<int32_t>(line.size()), &completion);
        return line + completion.insert;
    }

    // The number of the command that cli_parse alone takes, and its words; -1: none.
    int plain(const std::string &line, std::vector<std::string> &out_words) const
    {
        cli_pmatch_s *matches = nullptr;
        int32_t consumed = 0;
        const uint32_t result = cli_parse(const_cast<cli_pnode_s *>(root()), line.c_str(),
                                          static_cast<int32_t>(line.size()), &consumed, &matches);
        const cli_pnode_s *end =
            result == PARSE_MATCHED ? cli_parse_node_get_executable_from_match(matches) : nullptr;
        for (const cli_pmatch_s *one = matches; one; one = one->next)
            out_words.push_back(one->node->type == PNODE_EOLS ? "" : one->node->keyword);
        cli_match_free(matches);
        return end ? static_cast<const varno::commands::End *>(end->func)->definition : -1;
    }

  private:
    static void note(void *ctx, const cli_finding_s *finding)
    {
        if (finding->is_error)
            static_cast<std::set<std::string> *>(ctx)->insert(finding->syntax);
    }

    std::vector<std::string> definitions_;
    std::vector<int> numbers_;
    std::vector<cli_command_s> rows_;
    cli_set_s *set_;
    cli_shell_s *shell_;
    std::set<std::string> wrong_;
    std::string written_;
    int errors_;
};

class Author {
  public:
    explicit Author(unsigned seed) : random_(seed) {}

    int below(size_t limit) { return static_cast<int>(random_() % limit); }

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

    std::mt19937 random_;
    int names_ = 0;
};

// Definitions that can stand together: what the library finds wrong is left out.
std::vector<std::string> device(Author &author)
{
    std::vector<std::string> definitions;
    for (int i = 0; i < 7; i++) {
        definitions.push_back(author.definition());
        const Library library(definitions);
        if (library.errors() > 0)
            definitions.pop_back();
    }
    return definitions;
}

std::string joined(const std::vector<std::string> &words)
{
    std::string line;
    for (const std::string &word : words)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

// A walk along the model, checking at each word what help lists and Tab makes.
std::vector<std::string> walk(Author &author, const Model &model, const Library &library)
{
    std::vector<std::string> words;
    std::vector<Thread> threads = model.start();
    for (int steps = 0; steps < 12; steps++) {
        const std::string before = joined(words) + (words.empty() ? "" : " ");
        EXPECT_EQ(library.choices(before), model.choices(threads)) << before;
        const std::vector<Next> all = model.next(threads);
        const Next &one = all[static_cast<size_t>(author.below(all.size()))];
        if (!one.word)
            break;
        const std::string word = author.word_for(*one.word);
        const std::string tabbed = library.completed(before + word);
        const std::string in_full = tabbed.substr(0, tabbed.find_last_not_of(' ') + 1);
        words.push_back(word);
        std::string key;
        if (Model::decide(all, word, key) != CLI_ASSIST_OK)
            break;
        // A word that is taken is taken in full, too, whatever it is completed to.
        const std::string last = in_full.substr(before.size());
        std::string key_in_full;
        if (last != word && tabbed.back() == ' ') {
            EXPECT_EQ(Model::decide(all, last, key_in_full), CLI_ASSIST_OK) << in_full;
            EXPECT_EQ(key_in_full, key) << in_full;
        }
        threads = Model::follow(all, key, word);
    }
    return words;
}

void mutate(Author &author, std::vector<std::string> &words)
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

// Where cli_parse alone, which knows of no options that were given, parts from the model it
// takes one a second time.
bool has_option_twice(const Model &model, const std::vector<std::string> &words,
                      const std::vector<std::string> &taken)
{
    std::vector<Thread> threads = model.start();
    for (size_t i = 0; i < words.size(); i++) {
        const std::vector<Next> all = model.next(threads);
        std::string key;
        if (Model::decide(all, words[i], key) != CLI_ASSIST_OK)
            return false;
        if (key.substr(0, key.find('(')) != taken[i])
            return model.choices(threads).count(taken[i]) == 0;
        threads = Model::follow(all, key, words[i]);
    }
    return false;
}

struct Once {
    std::vector<std::string> definitions;
    std::vector<std::string> words;
    const char *outcome;
};

// clang-format off
const Once once[] = {
    {{"x {a} [b]", "x a a b c"}, {"x", "a", "a", "b"},      "4 at 7"},
    {{"x {a} [b]", "x a a b c"}, {"x", "a", "a", "b", "c"}, "1: x a a b c"},
    {{"x {a} [b]", "x a a b c"}, {"x", "a", "b"},           "0: x a b"},
};
// clang-format on

TEST(CommandsModel, AgreesWhereItOnceDisagreed)
{
    for (const Once &one : once) {
        Library library(one.definitions);
        EXPECT_EQ(library.errors(), 0);
        EXPECT_EQ(Model(one.definitions).run(one.words), one.outcome) << joined(one.words);
        EXPECT_EQ(library.run(joined(one.words)), one.outcome) << joined(one.words);
    }
}

TEST(CommandsModel, AgreesOnRandomDevicesAndLines)
{
    Author author(20);
    int run = 0;
    int refused = 0;
    int plain = 0;
    int twice = 0;
    const int devices = 150 * varno_test::long_tests_factor();
    for (int d = 0; d < devices && !testing::Test::HasFailure(); d++) {
        const std::vector<std::string> definitions = device(author);
        if (definitions.empty())
            continue;
        const Model model(definitions);
        Library library(definitions);
        ASSERT_EQ(library.errors(), 0);
        for (int i = 0; i < 80; i++) {
            std::vector<std::string> words = walk(author, model, library);
            if (i % 2 == 1)
                mutate(author, words);
            if (words.empty())
                continue;
            const std::string line = joined(words);
            const std::string expected = model.run(words);
            EXPECT_EQ(library.run(line), expected) << line << "\n"
                                                   << testing::PrintToString(definitions);
            const bool is_run = expected.find(':') != expected.npos;
            (is_run ? run : refused)++;
            std::vector<std::string> taken;
            const int alone = is_run ? library.plain(line, taken) : -1;
            plain += alone >= 0 ? 1 : 0;
            if (alone >= 0 && alone != std::atoi(expected.c_str())) {
                EXPECT_TRUE(has_option_twice(model, words, taken))
                    << line << "\n"
                    << testing::PrintToString(definitions);
                twice++;
            }
        }
    }
    EXPECT_GT(run, devices * 10);
    EXPECT_GT(refused, devices * 10);
    EXPECT_GT(plain, devices * 2);
    std::printf("%d run, %d by cli_parse alone, %d of them others, %d refused\n", run, plain, twice,
                refused);
}

} // namespace
