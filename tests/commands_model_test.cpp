// Random devices and lines against a plain interpreter of definitions: it backtracks over
// the notation and shares no code with the library. The same command with the same
// arguments, or the same reason at the same place; what help lists is what may be typed.

#include "shell.h"
#include "support/command_model.h"
#include "support/long_tests.h"

#include <varno/commands.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace varno_test;

// The library's side.

std::string words_of(const cli_pmatch_s *first, const cli_pmatch_s *end)
{
    std::string text;
    for (const cli_pmatch_s *word = first; word != end; word = word->next) {
        text += " " + std::string(word->node->keyword);
        if (word->node->type == PNODE_STRING)
            text += "=" + std::string(word->token);
    }
    return text;
}

int32_t write_call(cli_call_s *call, void *user)
{
    cli_print(call, "%d:%s", *static_cast<const int *>(user),
              words_of(call->words, call->end_word).c_str());
    return CLI_DONE;
}

class Library {
  public:
    explicit Library(const std::vector<std::string> &definitions) : definitions_(definitions)
    {
        numbers_.resize(definitions_.size());
        for (size_t i = 0; i < definitions_.size(); i++) {
            numbers_[i] = static_cast<int>(i);
            rows_.push_back({definitions_[i].c_str(), "help", write_call, nullptr, 0, CLI_UNPIPED,
                             &numbers_[i]});
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

    // The nodes of what may come next.
    std::vector<const cli_pnode_s *> next(const std::string &line) const
    {
        std::vector<const cli_pnode_s *> nodes;
        cli_assist_help(
            root(), &shell_->filter, line.c_str(), static_cast<int32_t>(line.size()),
            [](void *user, const cli_pnode_s *node, const char *, const char *) {
                static_cast<std::vector<const cli_pnode_s *> *>(user)->push_back(node);
            },
            &nodes);
        return nodes;
    }

    const varno::commands::ArgumentType &type_of(const cli_pnode_s &node) const
    {
        return shell_->snapshot->graph.types[static_cast<size_t>(node.aux_int)];
    }

    std::string completed(const std::string &line) const
    {
        cli_assist_completion_s completion;
        cli_assist_complete(root(), &shell_->filter, line.c_str(),
                            static_cast<int32_t>(line.size()), &completion);
        return line + completion.insert;
    }

    // The command that cli_parse alone takes; empty: none.
    std::string run_alone(const std::string &line) const
    {
        cli_pmatch_s *matches = nullptr;
        int32_t consumed = 0;
        const uint32_t result = cli_parse(const_cast<cli_pnode_s *>(root()), line.c_str(),
                                          static_cast<int32_t>(line.size()), &consumed, &matches);
        const cli_pnode_s *end =
            result == PARSE_MATCHED ? cli_parse_node_get_executable_from_match(matches) : nullptr;
        std::string text;
        if (end) {
            const auto *command = static_cast<const varno::commands::End *>(end->func);
            text = std::to_string(command->definition) + ":" + words_of(matches, nullptr);
        }
        cli_match_free(matches);
        return text;
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

// A walk along the model, checking at each word what help lists and Tab makes.
std::vector<std::string> walk(Author &author, const Model &model, const Library &library)
{
    std::vector<std::string> words;
    std::vector<Thread> threads = model.start();
    for (int steps = 0; steps < 12; steps++) {
        const std::string before = joined(words) + (words.empty() ? "" : " ");
        EXPECT_EQ(library.choices(before), model.choices(threads)) << before;
        const std::vector<Next> all = model.next(threads);
        const std::vector<Next> possible = Model::possible(all);
        if (possible.empty())
            break; // it went on by an option that was given
        const Next &one = possible[static_cast<size_t>(author.below(possible.size()))];
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

// Whole devices, printed from the graph and from the model: each way from the first word to
// the end of a command, a definition of its own without brackets.

// A word that may come next, in notation; empty: a command ends. And what it leads to.
template <typename Place>
struct Way {
    std::string word;
    int definition;
    Place to;
};

std::vector<Way<std::string>> ways_of(const Library &library, const std::string &line)
{
    std::vector<Way<std::string>> ways;
    for (const cli_pnode_s *node : library.next(line)) {
        if (node->type == PNODE_EOLS) {
            const auto *end = static_cast<const varno::commands::End *>(node->func);
            ways.push_back({"", end->definition, ""});
            continue;
        }
        std::string word = node->keyword;
        std::string typed = word;
        if (node->type == PNODE_STRING) {
            const varno::commands::ArgumentType &type = library.type_of(*node);
            const std::string range = std::to_string(type.least) + "-" + std::to_string(type.most);
            const bool is_hex = type.kind == varno::commands::TypeKind::hex;
            const bool is_range = type.kind == varno::commands::TypeKind::range;
            word += is_hex ? "(hex)" : is_range ? "(" + range + ")" : "";
            typed = is_hex ? "0xbeef" : is_range ? std::to_string(type.most) : "free";
        }
        ways.push_back({word, -1, line + typed + " "});
    }
    return ways;
}

std::vector<Way<std::vector<Thread>>> ways_of(const Model &, const std::vector<Thread> &threads)
{
    std::vector<Way<std::vector<Thread>>> ways;
    const std::vector<Next> all = Model::next(threads);
    for (const Next &one : Model::possible(all)) {
        if (!one.word) {
            ways.push_back({"", one.thread.definition, {}});
            continue;
        }
        const std::string type = one.word->type.empty() ? "" : "(" + one.word->type + ")";
        ways.push_back({one.word->text + type, -1, Model::follow(all, key_of(*one.word), "")});
    }
    return ways;
}

using Rows = std::set<std::pair<int, std::string>>;

// Too many, of sets with many options, are as good as none.
constexpr size_t most_rows = 1500;

// An argument that may come again is the last one, with as many words as are typed.
template <typename Device, typename Place>
void print_all(const Device &device, const Place &from, const std::vector<std::string> &words,
               Rows &out_rows)
{
    const auto ways = ways_of(device, from);
    const auto comes_again = [&](const Way<Place> &way) {
        return !words.empty() && way.word == words.back() && way.word[0] >= 'A' &&
               way.word[0] <= 'Z';
    };
    const bool is_repeated = std::any_of(ways.begin(), ways.end(), comes_again);
    for (const Way<Place> &way : ways) {
        if (out_rows.size() > most_rows)
            return;
        if (way.word.empty()) {
            out_rows.insert({way.definition, joined(words) + (is_repeated ? "..." : "")});
            continue;
        }
        if (comes_again(way)) {
            for (const Way<Place> &more : ways_of(device, way.to))
                EXPECT_TRUE(more.word.empty() || comes_again(more)) << joined(words);
            continue;
        }
        std::vector<std::string> longer = words;
        longer.push_back(way.word);
        print_all(device, way.to, longer, out_rows);
    }
}

Rows rows_of(const Library &library)
{
    Rows rows;
    print_all(library, std::string(), {}, rows);
    return rows;
}

Rows rows_of(const Model &model)
{
    Rows rows;
    print_all(model, model.start(), {}, rows);
    return rows;
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

// Neither a filter of the one nor, alone, a command with less.
TEST(CommandsModel, TheRestOfALineIsNoFilterToCliParseAlone)
{
    cli_set_s *set = cli_set_create();
    const cli_command_s row = {"say TEXT(line)", "say it", write_call, nullptr, 0, 0, nullptr};
    EXPECT_EQ(cli_set_add(set, nullptr, nullptr, &row, 1), 0);
    EXPECT_EQ(cli_set_build(set, nullptr, nullptr), 0);
    cli_pnode_s *root = const_cast<cli_pnode_s *>(varno::commands::root_of(set->current, 0, 0));
    for (const std::string line : {"say it", "say it | count", "say it twice"}) {
        cli_pmatch_s *matches = nullptr;
        int32_t consumed = 0;
        EXPECT_EQ(
            cli_parse(root, line.c_str(), static_cast<int32_t>(line.size()), &consumed, &matches),
            line == "say it" ? PARSE_MATCHED : PARSE_NO_MATCH)
            << line;
        cli_match_free(matches);
    }
    cli_set_free(set);
}

TEST(CommandsModel, AgreesOnRandomDevicesAndLines)
{
    Author author(20);
    int run = 0;
    int refused = 0;
    int alone = 0;
    const int devices = 60 * varno_test::long_tests_factor();
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
            // cli_parse alone takes the same command with the same arguments, or none.
            const std::string taken = model.run_alone(words);
            EXPECT_EQ(library.run_alone(line), taken) << line;
            if (is_run && !taken.empty()) {
                EXPECT_EQ(taken, expected) << line << "\n" << testing::PrintToString(definitions);
                alone++;
            }
        }
    }
    EXPECT_GT(run, devices * 10);
    EXPECT_GT(refused, devices * 10);
    EXPECT_GT(alone, devices * 2);
    std::printf("%d run, %d by cli_parse alone, too, %d refused\n", run, alone, refused);
}

// Devices that have the same rows take the same lines for the same commands: they are one
// automaton, however their graphs share states.
TEST(CommandsModel, AGraphThatIsPrintedAndCompiledAgainIsTheSame)
{
    Author author(31);
    size_t printed = 0;
    int compared = 0;
    const int devices = 40 * varno_test::long_tests_factor();
    for (int d = 0; d < devices && !testing::Test::HasFailure(); d++) {
        const std::vector<std::string> definitions = device(author);
        const Rows expected = rows_of(Model(definitions));
        if (expected.empty() || expected.size() > most_rows)
            continue;
        const Rows rows = rows_of(Library(definitions));
        EXPECT_EQ(rows, expected) << testing::PrintToString(definitions);
        std::vector<std::string> again;
        Rows expected_again;
        for (const auto &[definition, row] : rows) {
            expected_again.insert({static_cast<int>(again.size()), row});
            again.push_back(row);
        }
        const Library second(again);
        EXPECT_EQ(second.errors(), 0) << testing::PrintToString(second.wrong());
        EXPECT_EQ(rows_of(second), expected_again) << testing::PrintToString(definitions);
        printed += rows.size();
        compared++;
    }
    EXPECT_GT(compared, devices / 2);
    std::printf("%d devices, %zu rows\n", compared, printed);
}

} // namespace
