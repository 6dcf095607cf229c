#ifndef VARNO_BENCH_COMMAND_ACTS_H
#define VARNO_BENCH_COMMAND_ACTS_H

// 1,000 commands of three words, ten words on each level, and each of them once as a
// line: matched, and its action called. An operation is one line.

#include "../acts.h"

#include <string>
#include <vector>

namespace varno_bench {

// Words in full, or all but the last letter of each, which is still unique.
enum class Form { full, shortened };

class CommandAct : public Act {
  public:
    static constexpr int words_a_level = 10;
    static const char *const words[3][words_a_level];

    explicit CommandAct(Form form);

    void run() override;
    const char *problem() override;

  protected:
    virtual void run_line(const std::string &line) = 0;

    // For the actions: the command of these three words was run. Kept for the check only.
    static void note_command(const char *full_name);

  private:
    std::vector<std::string> lines_;
    std::vector<std::string> commands_;
};

} // namespace varno_bench

#endif
