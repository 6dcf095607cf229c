#ifndef VARNO_TESTS_ASSERTION_H
#define VARNO_TESTS_ASSERTION_H

// Turns a failed assertion of the library into something a test can expect: the
// condition's text and the module that reported it.

#include <functional>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace varno_test {

struct FailedAssertion {
    std::string condition;
    std::string source;
    int line;
};

// Runs the act; returns the assertion that ended it, if one did.
std::optional<FailedAssertion> assertion_of(const std::function<void()> &act);

} // namespace varno_test

// The statement must end in the assertion with this text, reported by this module.
#define EXPECT_ASSERTION(statement, text, module)                                                  \
    do {                                                                                           \
        const auto failed_ = ::varno_test::assertion_of([&] { statement; });                       \
        ASSERT_TRUE(failed_.has_value()) << #statement << " did not fail its assertion";           \
        EXPECT_EQ(failed_->condition, text);                                                       \
        EXPECT_EQ(failed_->source, module);                                                        \
        EXPECT_GT(failed_->line, 0);                                                               \
    } while (0)

#endif
