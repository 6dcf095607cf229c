// Line to matched command: cli_parse and cli_match_free, an operation is one line. One
// graph has 1,000 commands of three words, ten words on each level; the others have a
// single level of 10 to 10,000 keywords. Each token costs two blocks, its copy and its
// record.

#include "acts.h"
#include "host.h"

#include <varno/cli_parse.h>

#include <cstring>
#include <string>
#include <vector>

namespace varno_bench {
namespace {

void run_command() {}

// Nodes of one graph below a root that is no part of it. Released in reverse, since
// only a node without children of its own may go.
class Graph {
  public:
    Graph()
    {
        root_.child = &NONE;
        end_.type = PNODE_EOLS;
        end_.next = &NONE;
        end_.func = reinterpret_cast<void *>(run_command);
    }

    ~Graph()
    {
        for (auto link = links_.rbegin(); link != links_.rend(); ++link)
            dyn_cli_del_node(link->parent, link->node);
    }

    cli_pnode_s *add_keyword(cli_pnode_s *parent, const std::string &word)
    {
        cli_pnode_s *node =
            dyn_cli_create_node(PNODE_KEYWORD, word.c_str(), word.c_str(), nullptr, nullptr, 0);
        if (!node || dyn_cli_add_node(parent, node) != 0)
            give_up("a keyword");
        links_.push_back({parent, node});
        return node;
    }

    // The end of line is the same for all commands and stays the program's.
    void end_command(cli_pnode_s *last) { dyn_cli_set_node(last, &end_, 0); }

    cli_pnode_s *top() const { return root_.child; }
    cli_pnode_s *root() { return &root_; }

  private:
    struct Link {
        cli_pnode_s *parent;
        cli_pnode_s *node;
    };

    cli_pnode_s root_ = {};
    cli_pnode_s end_ = {};
    std::vector<Link> links_;
};

class ParseAct : public Act {
  public:
    ParseAct() { allocates = true; }

    void run() override
    {
        for (const std::string &line : lines_) {
            cli_pmatch_s *matches = nullptr;
            parse(line, &matches);
            cli_match_free(matches);
        }
    }

    const char *problem() override
    {
        for (size_t i = 0; i < lines_.size(); i++) {
            cli_pmatch_s *matches = nullptr;
            const bool is_found = parse(lines_[i], &matches) && spelled(matches) == commands_[i] &&
                                  cli_parse_node_get_executable_from_match(matches);
            cli_match_free(matches);
            if (!is_found)
                return "a line did not match its command";
        }
        return nullptr;
    }

  protected:
    // A line, and the command in full that it stands for.
    void add_line(const std::string &line, const std::string &command)
    {
        lines_.push_back(line);
        commands_.push_back(command);
        operations = static_cast<int64_t>(lines_.size());
        bytes += static_cast<int64_t>(line.size());
    }

    Graph graph_;

  private:
    bool parse(const std::string &line, cli_pmatch_s **matches)
    {
        const auto len = static_cast<int32_t>(line.size());
        int32_t consumed = 0;
        const uint32_t result = cli_parse(graph_.top(), line.c_str(), len, &consumed, matches);
        return result == PARSE_MATCHED && consumed == len;
    }

    static std::string spelled(const cli_pmatch_s *matches)
    {
        std::string words;
        for (const cli_pmatch_s *match = matches; match; match = match->next)
            words.append(words.empty() ? "" : " ").append(match->node->keyword);
        return words;
    }

    std::vector<std::string> lines_;
    std::vector<std::string> commands_;
};

constexpr const char *verbs[10] = {"show", "clear",  "debug", "ping",   "set",
                                   "test", "delete", "copy",  "enable", "reload"};
constexpr const char *subjects[10] = {"interface", "route",  "vlan",  "port",   "system",
                                      "user",      "access", "queue", "mirror", "neighbor"};
constexpr const char *aspects[10] = {"status",  "counters", "detail", "summary", "errors",
                                     "history", "limits",   "timers", "address", "brief"};

// All 1,000 commands, each once.
class CommandsAct : public ParseAct {
  public:
    CommandsAct()
    {
        for (const char *verb : verbs)
            add_subjects(verb, graph_.add_keyword(graph_.root(), verb));
    }

  private:
    void add_subjects(const std::string &words, cli_pnode_s *parent)
    {
        for (const char *subject : subjects)
            add_aspects(words + " " + subject, graph_.add_keyword(parent, subject));
    }

    void add_aspects(const std::string &words, cli_pnode_s *parent)
    {
        for (const char *aspect : aspects) {
            graph_.end_command(graph_.add_keyword(parent, aspect));
            const std::string command = words + " " + aspect;
            add_line(command, command);
        }
    }
};

// The digits of a number as syllables, the last first: words that differ early, as
// real ones do, all of one length, so that each is known by all but its last letter.
std::string word_of(int number, int count)
{
    constexpr const char *syllables[10] = {"ba", "ce", "di", "fo", "gu",
                                           "ha", "je", "ki", "lo", "mu"};
    std::string word;
    for (int rest = count; rest > 1; rest /= 10, number /= 10)
        word.append(syllables[number % 10]);
    return word;
}

enum class Form { exact, shortened };

// A single level of `count` words. The lines are ten of them, evenly spread.
class LevelAct : public ParseAct {
  public:
    LevelAct(int count, Form form)
    {
        for (int number = 0; number < count; number++)
            graph_.end_command(graph_.add_keyword(graph_.root(), word_of(number, count)));
        for (int number = 0; number < count; number += count / 10) {
            const std::string word = word_of(number, count);
            add_line(form == Form::exact ? word : word.substr(0, word.size() - 1), word);
        }
    }
};

std::unique_ptr<Act> commands_1000()
{
    return std::make_unique<CommandsAct>();
}

template <int count, Form form>
std::unique_ptr<Act> level()
{
    return std::make_unique<LevelAct>(count, form);
}

// clang-format off
constexpr ActRow rows[] = {
    {"cli_parse/three_words_of_1000_commands", commands_1000},
    {"cli_parse/exact_of_10",                  level<10, Form::exact>},
    {"cli_parse/exact_of_100",                 level<100, Form::exact>},
    {"cli_parse/exact_of_1000",                level<1000, Form::exact>},
    {"cli_parse/exact_of_10000",               level<10000, Form::exact>},
    {"cli_parse/shortened_of_10",              level<10, Form::shortened>},
    {"cli_parse/shortened_of_100",             level<100, Form::shortened>},
    {"cli_parse/shortened_of_1000",            level<1000, Form::shortened>},
    {"cli_parse/shortened_of_10000",           level<10000, Form::shortened>},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
