// What becomes of a broken precondition. Aborting is watched in process: the
// signal's handler jumps back, as abort() allows. An end by exit() would count as a
// passed test, so it is made a failed one.

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

sigjmp_buf before_abort;
std::jmp_buf before_failure;
bool watching = false; // the process may end by abort() only

void jump_back(int)
{
    siglongjmp(before_abort, 1);
}

void refuse_exit()
{
    if (!watching)
        return;
    std::puts("a failed assertion ended in exit()");
    std::fflush(stdout);
    _exit(1);
}

// Fails an assertion; comes back only if that ended in abort().
void fail_and_abort(const char *condition, const char *source, int line)
{
    using signal_handler = void (*)(int);
    static signal_handler previous;
    static const int registered = std::atexit(refuse_exit);
    ASSERT_EQ(registered, 0);
    previous = std::signal(SIGABRT, jump_back);
    watching = true;
    if (sigsetjmp(before_abort, 1) == 0)
        assert_fail(condition, source, line);
    watching = false;
    std::signal(SIGABRT, previous);
}

struct Failure {
    std::string condition, source;
    int line = 0;
    int calls = 0;
};

void keep(void *ctx, const char *condition, const char *source, int line)
{
    auto *failure = static_cast<Failure *>(ctx);
    failure->condition = condition;
    failure->source = source;
    failure->line = line;
    failure->calls++;
}

void keep_and_throw(void *ctx, const char *condition, const char *source, int line)
{
    keep(ctx, condition, source, line);
    throw std::runtime_error("failed");
}

void keep_and_jump(void *ctx, const char *condition, const char *source, int line)
{
    keep(ctx, condition, source, line);
    std::longjmp(before_failure, 1);
}

class AssertionService : public ::testing::Test {
  protected:
    void TearDown() override { assert_set_handler(nullptr, nullptr); }

    void expect_kept() const
    {
        EXPECT_EQ(failure.condition, "p && len > 0");
        EXPECT_EQ(failure.source, "prompt");
        EXPECT_EQ(failure.line, 42);
        EXPECT_EQ(failure.calls, 1);
    }

    Failure failure;
};

TEST_F(AssertionService, WithoutAHandlerSaysWhatFailedAndAborts)
{
    ::testing::internal::CaptureStderr();
    fail_and_abort("p && len > 0", "prompt", 42);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "assertion failed: p && len > 0 (prompt:42)\n");
}

TEST_F(AssertionService, AConditionIsPrintedAsItIs)
{
    ::testing::internal::CaptureStderr();
    fail_and_abort("a % b == 0 && \"%s%n\"", "mckeys", 1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "assertion failed: a % b == 0 && \"%s%n\" (mckeys:1)\n");
}

TEST_F(AssertionService, AHandlerMayLeaveByAnException)
{
    assert_set_handler(keep_and_throw, &failure);
    EXPECT_THROW(assert_fail("p && len > 0", "prompt", 42), std::runtime_error);
    expect_kept();
}

TEST_F(AssertionService, AHandlerMayLeaveByALongJump)
{
    assert_set_handler(keep_and_jump, &failure);
    if (setjmp(before_failure) == 0)
        assert_fail("p && len > 0", "prompt", 42);
    expect_kept();
}

TEST_F(AssertionService, AHandlerThatReturnsIsFollowedByAbortWithoutAWord)
{
    assert_set_handler(keep, &failure);
    ::testing::internal::CaptureStderr();
    fail_and_abort("p && len > 0", "prompt", 42);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    expect_kept();
}

TEST_F(AssertionService, AHandlerServesUntilItIsReplacedOrTakenAway)
{
    Failure second;
    assert_set_handler(keep_and_throw, &failure);
    assert_set_handler(keep_and_throw, &second);
    EXPECT_THROW(assert_fail("x", "prompt", 1), std::runtime_error);
    EXPECT_THROW(assert_fail("y", "prompt", 2), std::runtime_error);
    EXPECT_EQ(failure.calls, 0);
    EXPECT_EQ(second.calls, 2);

    assert_set_handler(nullptr, nullptr);
    ::testing::internal::CaptureStderr();
    fail_and_abort("z", "stroker", 3);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "assertion failed: z (stroker:3)\n");
    EXPECT_EQ(second.calls, 2);
}

} // namespace
