// cli_parse, then the action of the end of line that the words lead to.

#include "command_acts.h"

#include <varno/cli_parse.h>

#include <cstdio>
#include <cstdlib>
#include <deque>

namespace varno_bench {
namespace {

class ParseAct : public CommandAct {
  public:
    explicit ParseAct(Form form) : CommandAct(form)
    {
        root_.child = &NONE;
        for (const char *verb : words[0])
            add_subjects(add_keyword(&root_, verb), verb);
    }

    ~ParseAct() override
    {
        for (auto link = links_.rbegin(); link != links_.rend(); ++link)
            dyn_cli_del_node(link->parent, link->node);
    }

  protected:
    void run_line(const std::string &line) override
    {
        const auto len = static_cast<int32_t>(line.size());
        int32_t used = 0;
        cli_pmatch_s *matches = nullptr;
        if (cli_parse(root_.child, line.c_str(), len, &used, &matches) == PARSE_MATCHED &&
            used == len) {
            const cli_pnode_s *action = cli_parse_node_get_executable_from_match(matches);
            if (action)
                (*static_cast<Action **>(action->func))(action->aux_text);
        }
        cli_match_free(matches);
    }

  private:
    using Action = void(const char *full_name);
    struct Link {
        cli_pnode_s *parent;
        cli_pnode_s *node;
    };

    cli_pnode_s *add_keyword(cli_pnode_s *parent, const char *word)
    {
        cli_pnode_s *node = dyn_cli_create_node(PNODE_KEYWORD, word, word, nullptr, nullptr, 0);
        if (!node || dyn_cli_add_node(parent, node) != 0) {
            std::fprintf(stderr, "cannot make a keyword\n");
            std::exit(1);
        }
        links_.push_back({parent, node});
        return node;
    }

    void add_subjects(cli_pnode_s *parent, const std::string &verb)
    {
        for (const char *subject : words[1])
            add_aspects(add_keyword(parent, subject), verb + " " + subject);
    }

    void add_aspects(cli_pnode_s *parent, const std::string &beginning)
    {
        for (const char *aspect : words[2])
            end_command(add_keyword(parent, aspect), beginning + " " + aspect);
    }

    void end_command(cli_pnode_s *last, const std::string &full_name)
    {
        names_.push_back(full_name);
        cli_pnode_s &end = ends_.emplace_back();
        end.name = "end";
        end.type = PNODE_EOLS;
        end.child = &NONE;
        end.next = &NONE;
        end.aux_text = names_.back().c_str();
        end.func = &action_;
        dyn_cli_set_node(last, &end, 0);
    }

    Action *action_ = note_command;
    cli_pnode_s root_ = {};
    std::vector<Link> links_;
    std::deque<cli_pnode_s> ends_;
    std::deque<std::string> names_;
};

template <Form form>
std::unique_ptr<Act> act()
{
    return std::make_unique<ParseAct>(form);
}

// clang-format off
constexpr ActRow rows[] = {
    {"command/three_words_of_1000",           act<Form::full>},
    {"command/three_shortened_words_of_1000", act<Form::shortened>},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
