#ifndef VARNO_BENCH_DEFINITIONS_H
#define VARNO_BENCH_DEFINITIONS_H

// Definitions as a large product has them: 69 groups that share their first words; of 100
// definitions 31 are plain words, 42 have [ ], 32 < >, 3 a { } of up to nine, 3 words to the
// end; of 100 arguments 63 are typed. They are the same in each run.

#include <varno/commands.h>

#include <deque>
#include <random>
#include <string>
#include <vector>

namespace varno_bench {

class Definitions {
  public:
    Definitions(int count, cli_run_fn run)
    {
        for (int i = 0; i < count; i++) {
            syntaxes_.push_back("group" + std::to_string(i % 69) + " item" +
                                std::to_string(i / 69 / 4) + " part" + std::to_string(i / 69 % 4) +
                                rest());
            cli_command_s row = {};
            row.syntax = syntaxes_.back().c_str();
            row.help = "one of many";
            row.run = run;
            rows_.push_back(row);
        }
    }

    const std::vector<cli_command_s> &rows() const { return rows_; }

  private:
    int below(unsigned limit) { return static_cast<int>(random_() % limit); }
    bool is_one_of_100(int share) { return below(100) < share; }

    std::string rest()
    {
        arguments_ = 0;
        if (is_one_of_100(31))
            return is_one_of_100(50) ? " plain words" : " word";
        std::string text;
        const bool has_set = is_one_of_100(4);
        const bool has_option = is_one_of_100(61);
        const bool has_choice = (!has_option && !has_set) || is_one_of_100(18);
        for (int words = below(3); words > 0; words--)
            text += " with" + std::to_string(words) + " " + argument();
        if (has_choice)
            text += " <alpha|beta " + argument() + "|" + argument() + ">";
        if (has_set)
            text += set();
        if (has_option)
            text += " [name " + argument() + (is_one_of_100(50) ? "|brief]" : "]");
        return text + (is_one_of_100(4) ? " to TEXT..." : "");
    }

    std::string set()
    {
        std::string text = " {quiet";
        for (int options = 1 + below(8); options > 0; options--)
            text += "|option" + std::to_string(options) + " " + argument();
        return text + "}";
    }

    std::string argument()
    {
        static const char *const types[] = {"(1-4094)", "(0-65535)", "(ipv4)", "(ip/)",
                                            "(mac)",    "(ipv6)",    "(hex)"};
        const std::string name = "ARG" + std::to_string(arguments_++);
        return is_one_of_100(63) ? name + types[below(std::size(types))] : name;
    }

    std::mt19937 random_{4400};
    int arguments_ = 0;
    std::deque<std::string> syntaxes_;
    std::vector<cli_command_s> rows_;
};

} // namespace varno_bench

#endif
