#ifndef VARNO_TESTS_TRACES_H
#define VARNO_TESTS_TRACES_H

// Listens to the library's debug traces for as long as it lives. The library is
// registered with the trace service once per test process.

#include <string>
#include <vector>

namespace varno_test {

class Traces {
  public:
    Traces();
    ~Traces();
    Traces(const Traces &) = delete;
    Traces &operator=(const Traces &) = delete;

    // What was traced since the last call, in order.
    std::vector<std::string> take();

  private:
    static void keep(void *ctx, int module_id, int level, const char *text);

    std::vector<std::string> texts_;
};

} // namespace varno_test

#endif
