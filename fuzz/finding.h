#ifndef VARNO_FUZZ_FINDING_H
#define VARNO_FUZZ_FINDING_H

// What makes an input a finding, beside what sanitizers see: a requirement of a target
// that does not hold, an assertion of the library, a failed expectation of the test
// support, memory that stays behind. Each says what it is and aborts.

#include <cstddef>
#include <cstdint>

#define FUZZ_REQUIRE(condition)                                                                    \
    ((condition) ? void() : ::varno_fuzz::found(#condition, __FILE__, __LINE__))

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace varno_fuzz {

[[noreturn]] void found(const char *condition, const char *file, int line);

// What a run has allocated is released by its end.
class Books {
  public:
    Books();
    ~Books();
    Books(const Books &) = delete;
    Books &operator=(const Books &) = delete;

  private:
    size_t blocks_;
};

// The library's debug traces are formatted, and dropped, for as long as this lives.
class Traced {
  public:
    explicit Traced(bool is_on);
    ~Traced();
    Traced(const Traced &) = delete;
    Traced &operator=(const Traced &) = delete;
};

} // namespace varno_fuzz

#endif
