// The tracked allocator: its books, failure on demand, sizes that overflow, and
// all of it from several threads.

#include "support/memory.h"

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <array>
#include <atomic>
#include <barrier>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

class Allocator : public ::testing::Test {
  protected:
    void SetUp() override { before = tracked_outstanding(nullptr); }

    void TearDown() override
    {
        tracked_fail_after(-1);
        EXPECT_EQ(tracked_outstanding(nullptr), before) << "a test did not release its blocks";
    }

    size_t before;
};

// The four ways to take a new block, each under the tag "BYTE".
struct Way {
    const char *name;
    void *(*take)();
};

const Way ways[] = {
    {"tracked_malloc", [] { return tracked_malloc(8, "BYTE"); }},
    {"tracked_calloc", [] { return tracked_calloc(2, 4, "BYTE"); }},
    {"tracked_strdup", [] { return static_cast<void *>(tracked_strdup("text", "BYTE")); }},
    {"crealloc", [] { return crealloc(nullptr, 4, 0, 2); }},
};

TEST_F(Allocator, ABlockCountsUnderItsTagUntilItIsReleased)
{
    void *first = tracked_malloc(10, "prompt_s");
    void *second = tracked_calloc(1, 10, "prompt_s");
    void *other = tracked_malloc(10, "stroker_s");
    EXPECT_EQ(tracked_outstanding("prompt_s"), 2u);
    EXPECT_EQ(tracked_outstanding("stroker_s"), 1u);
    EXPECT_EQ(tracked_outstanding("prompt_"), 0u);
    EXPECT_EQ(tracked_outstanding("never used"), 0u);
    EXPECT_EQ(tracked_outstanding(nullptr), before + 3);
    tracked_free(first, "prompt_s");
    tracked_free(other, "stroker_s");
    EXPECT_EQ(tracked_outstanding("prompt_s"), 1u);
    EXPECT_EQ(tracked_outstanding("stroker_s"), 0u);
    tracked_free(second, "prompt_s");
    EXPECT_EQ(tracked_outstanding("prompt_s"), 0u);
}

TEST_F(Allocator, EveryWayToTakeABlockCountsOne)
{
    for (const Way &way : ways) {
        void *block = way.take();
        ASSERT_NE(block, nullptr) << way.name;
        EXPECT_EQ(tracked_outstanding("BYTE"), 1u) << way.name;
        tracked_free(block, "BYTE");
        EXPECT_EQ(tracked_outstanding("BYTE"), 0u) << way.name;
    }
}

TEST_F(Allocator, TagsAreTextsAndNotPlacesInMemory)
{
    char tag[] = "first";
    void *first = tracked_malloc(1, tag);
    std::memcpy(tag, "other", sizeof(tag));
    void *other = tracked_malloc(1, tag);
    EXPECT_EQ(tracked_outstanding("first"), 1u);
    EXPECT_EQ(tracked_outstanding("other"), 1u);
    tracked_free(first, std::string("first").c_str());
    EXPECT_EQ(tracked_outstanding("first"), 0u);
    EXPECT_EQ(tracked_outstanding("other"), 1u);
    tracked_free(other, tag);
    EXPECT_EQ(tracked_outstanding("other"), 0u);
}

TEST_F(Allocator, AnyNumberAndLengthOfTagsIsToldApart)
{
    std::vector<std::string> tags{"", " ", std::string(5000, 'x'), std::string(5001, 'x')};
    for (int i = 0; i < 500; i++)
        tags.push_back("tag " + std::to_string(i));
    std::vector<void *> blocks;
    for (const std::string &tag : tags)
        blocks.push_back(tracked_malloc(1, tag.c_str()));
    for (const std::string &tag : tags)
        EXPECT_EQ(tracked_outstanding(tag.c_str()), 1u) << tag;
    for (size_t i = 0; i < tags.size(); i++)
        tracked_free(blocks[i], tags[i].c_str());
    for (const std::string &tag : tags)
        EXPECT_EQ(tracked_outstanding(tag.c_str()), 0u) << tag;
}

// Each tag lies in a block of exactly its size, so that a sanitizer sees a read past it.
TEST_F(Allocator, TagsThatBeginAlikeAreToldApart)
{
    const char *const texts[] = {"", "B", "BY", "BYT", "BYTE", "BYTES", "BYTe", "YTE", "BYTE*"};
    std::vector<std::pair<std::unique_ptr<char[]>, void *>> taken;
    for (const char *text : texts) {
        const size_t size = std::strlen(text) + 1;
        auto tag = std::make_unique<char[]>(size);
        std::memcpy(tag.get(), text, size);
        void *block = tracked_malloc(1, tag.get());
        taken.emplace_back(std::move(tag), block);
    }
    for (const auto &[tag, block] : taken) {
        EXPECT_EQ(tracked_outstanding(tag.get()), 1u) << tag.get();
        tracked_free(block, tag.get());
        EXPECT_EQ(tracked_outstanding(tag.get()), 0u) << tag.get();
    }
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

TEST_F(Allocator, ATagMayTurnIntoAnyOtherAtItsPlace)
{
    char tag[] = "BYTE";
    for (const char *text : {"byte", "BYTE", "BY", "BYTE", ""}) {
        std::strcpy(tag, text);
        void *block = tracked_calloc(1, 16, tag);
        EXPECT_EQ(tracked_outstanding(text), 1u) << text;
        tracked_free(block, std::string(text).c_str());
        EXPECT_EQ(tracked_outstanding(text), 0u) << text;
    }
}

TEST_F(Allocator, ReleasingNothingIsAllowed)
{
    tracked_free(nullptr, "BYTE");
    tracked_free(nullptr, nullptr);
    EXPECT_EQ(tracked_outstanding("BYTE"), 0u);
}

TEST_F(Allocator, ClearedBlocksAreClearedAlsoWhereOthersWere)
{
    for (size_t size = 1; size <= 400; size++) {
        void *used = tracked_malloc(size, "BYTE");
        std::memset(used, 0xa5, size);
        tracked_free(used, "BYTE");
        for (const char *tag : {"BYTE", "prompt_s"}) {
            auto *block = static_cast<unsigned char *>(tracked_calloc(size, 1, tag));
            EXPECT_EQ(std::string(block, block + size), std::string(size, '\0')) << size;
            std::memset(block, 0xa5, size);
            tracked_free(block, tag);
        }
    }
}

TEST_F(Allocator, CopiesOfTextsAreEqualAndApart)
{
    for (const std::string text : {"", "x", "show ip route"}) {
        char *copy = tracked_strdup(text.c_str(), "BYTE*");
        EXPECT_EQ(copy, text);
        EXPECT_NE(copy, text.c_str());
        tracked_free(copy, "BYTE*");
    }
}

TEST_F(Allocator, NoBytesAreABlockOfTheirOwn)
{
    void *blocks[] = {tracked_malloc(0, "BYTE"), tracked_calloc(0, 8, "BYTE"),
                      tracked_calloc(8, 0, "BYTE"), crealloc(nullptr, 8, 0, 0),
                      crealloc(nullptr, 0, 0, 8)};
    EXPECT_EQ(tracked_outstanding("BYTE"), std::size(blocks));
    for (void *&block : blocks) {
        EXPECT_NE(block, nullptr);
        block = crealloc(block, 0, 0, 0);
        EXPECT_NE(block, nullptr);
    }
    EXPECT_EQ(tracked_outstanding("BYTE"), std::size(blocks));
    for (void *block : blocks)
        tracked_free(block, "BYTE");
}

TEST_F(Allocator, AnArrayGrowsByZeroedElementsAndKeepsItsOld)
{
    uint32_t *array = nullptr;
    size_t count = 0;
    for (const size_t added : {1u, 0u, 2u, 1u, 100u, 5000u}) {
        array = static_cast<uint32_t *>(crealloc(array, sizeof(uint32_t), count, added));
        ASSERT_NE(array, nullptr);
        EXPECT_EQ(tracked_outstanding("BYTE"), 1u);
        for (size_t i = 0; i < count; i++)
            ASSERT_EQ(array[i], 7 * i + 1);
        for (size_t i = count; i < count + added; i++)
            ASSERT_EQ(array[i], 0u);
        count += added;
        for (size_t i = 0; i < count; i++)
            array[i] = static_cast<uint32_t>(7 * i + 1);
    }
    tracked_free(array, "BYTE");
}

constexpr size_t half = SIZE_MAX / 2;

TEST_F(Allocator, ASizeThatOverflowsFails)
{
    EXPECT_EQ(tracked_malloc(SIZE_MAX, "BYTE"), nullptr);
    EXPECT_EQ(tracked_malloc(half + 1, "BYTE"), nullptr);
    EXPECT_EQ(tracked_calloc(SIZE_MAX, 1, "BYTE"), nullptr);
    EXPECT_EQ(tracked_calloc(2, half + 1, "BYTE"), nullptr);
    EXPECT_EQ(tracked_calloc(half + 2, 2, "BYTE"), nullptr);
    EXPECT_EQ(tracked_calloc(SIZE_MAX, SIZE_MAX, "BYTE"), nullptr);
    EXPECT_EQ(crealloc(nullptr, 16, 0, SIZE_MAX / 8), nullptr);
    EXPECT_EQ(crealloc(nullptr, SIZE_MAX, 0, 1), nullptr);
    EXPECT_EQ(tracked_outstanding("BYTE"), 0u);
}

TEST_F(Allocator, AnArrayThatCannotGrowIsAsItWas)
{
    auto *array = static_cast<char *>(crealloc(nullptr, 4, 0, 3));
    std::memcpy(array, "hello world", 12);
    EXPECT_EQ(crealloc(array, 4, 3, SIZE_MAX), nullptr);
    EXPECT_EQ(crealloc(array, 4, 3, SIZE_MAX - 3), nullptr);
    EXPECT_EQ(crealloc(array, 4, 3, SIZE_MAX / 4), nullptr);
    EXPECT_EQ(crealloc(array, 4, 3, half / 4), nullptr);
    tracked_fail_after(1);
    EXPECT_EQ(crealloc(array, 4, 3, 1), nullptr);
    EXPECT_EQ(crealloc(array, 4, 3, 0), nullptr);
    tracked_fail_after(-1);
    EXPECT_STREQ(array, "hello world");
    EXPECT_EQ(tracked_outstanding("BYTE"), 1u);
    tracked_free(array, "BYTE");
}

TEST_F(Allocator, TheChosenAllocationAndAllLaterOnesFail)
{
    for (const Way &way : ways) {
        for (const long n : {1, 2, 5}) {
            tracked_fail_after(n);
            for (long i = 1; i <= n + 3; i++) {
                void *block = way.take();
                EXPECT_EQ(block != nullptr, i < n) << way.name << " " << i << " of " << n;
                tracked_free(block, "BYTE");
            }
        }
    }
}

TEST_F(Allocator, FailureOnDemandEndsWithMinusOne)
{
    tracked_fail_after(1);
    EXPECT_EQ(tracked_malloc(1, "BYTE"), nullptr);
    tracked_fail_after(-1);
    for (int i = 0; i < 10; i++)
        tracked_free(tracked_malloc(1, "BYTE"), "BYTE");
    void *block = tracked_malloc(1, "BYTE");
    EXPECT_NE(block, nullptr);
    tracked_free(block, "BYTE");
}

TEST_F(Allocator, EveryCallCountsAsOneAllocationAlsoAFailedOneAndAGrowth)
{
    void *array = crealloc(nullptr, 1, 0, 1);
    tracked_fail_after(5);
    EXPECT_EQ(tracked_malloc(SIZE_MAX, "BYTE"), nullptr);
    EXPECT_EQ(crealloc(array, 1, 1, SIZE_MAX), nullptr);
    array = crealloc(array, 1, 1, 100);
    tracked_free(nullptr, "BYTE");
    void *last = tracked_malloc(1, "BYTE");
    EXPECT_NE(last, nullptr);
    tracked_free(last, "BYTE");
    EXPECT_EQ(tracked_malloc(1, "BYTE"), nullptr);
    tracked_free(array, "BYTE");
}

TEST_F(Allocator, FailingEachAllocationInTurnMeetsThemAll)
{
    const int failed = varno_test::fail_each_allocation([](const auto &fail_from_here) {
        fail_from_here();
        std::vector<void *> blocks;
        for (const Way &way : ways)
            blocks.push_back(way.take());
        bool all = true;
        for (void *block : blocks) {
            all = all && block;
            tracked_free(block, "BYTE");
        }
        return all;
    });
    EXPECT_EQ(failed, static_cast<int>(std::size(ways)));
}

constexpr size_t nthreads = 4;

void on_each_thread(const std::function<void(size_t)> &act)
{
    std::vector<std::thread> threads;
    for (size_t i = 0; i < nthreads; i++)
        threads.emplace_back(act, i);
    for (std::thread &thread : threads)
        thread.join();
}

// Blocks of every small size, each filled with its own byte.
class SmallBlocks {
  public:
    void take(size_t bytes)
    {
        const auto filling = static_cast<unsigned char>(blocks_.size() * 7 + bytes);
        auto *block = static_cast<unsigned char *>(tracked_malloc(bytes, "small"));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0u) << bytes;
        std::memset(block, filling, bytes);
        blocks_.push_back({block, bytes, filling});
    }

    // Lets go of a block, and says whether it was as it was filled.
    bool release(size_t which)
    {
        const Block block = blocks_[which];
        blocks_[which] = blocks_.back();
        blocks_.pop_back();
        const std::vector<unsigned char> wanted(block.count, block.filling);
        const bool is_whole = std::memcmp(block.bytes, wanted.data(), block.count) == 0;
        tracked_free(block.bytes, "small");
        return is_whole;
    }

    size_t size() const { return blocks_.size(); }

  private:
    struct Block {
        unsigned char *bytes;
        size_t count;
        unsigned char filling;
    };

    std::vector<Block> blocks_;
};

// Takes and releases in no order, down to none at all.
void play_small_blocks(size_t seed)
{
    std::minstd_rand random(static_cast<std::minstd_rand::result_type>(seed + 1));
    SmallBlocks blocks;
    for (int step = 0; step < 20000; step++) {
        if (blocks.size() == 0 || random() % 5 < 3)
            blocks.take(1 + random() % 80);
        else
            ASSERT_TRUE(blocks.release(random() % blocks.size()));
    }
    while (blocks.size() > 0)
        ASSERT_TRUE(blocks.release(random() % blocks.size()));
}

TEST_F(Allocator, SmallBlocksLieApartAndAreAlignedForEveryType)
{
    for (size_t seed = 0; seed < 4; seed++)
        play_small_blocks(seed);
}

TEST_F(Allocator, SmallBlocksOfSeveralThreadsLieApart)
{
    on_each_thread(play_small_blocks);
}

TEST_F(Allocator, AnArrayGrowsOutOfEverySmallSize)
{
    unsigned char *array = nullptr;
    for (size_t count = 0; count < 100; count++) {
        array = static_cast<unsigned char *>(crealloc(array, 1, count, 1));
        ASSERT_NE(array, nullptr);
        ASSERT_EQ(array[count], 0);
        array[count] = static_cast<unsigned char>(count + 1);
        for (size_t i = 0; i <= count; i++)
            ASSERT_EQ(array[i], i + 1) << count;
    }
    tracked_free(array, "BYTE");
}

// Each thread releases what the one before it has taken, all at once.
TEST_F(Allocator, ABlockMayBeReleasedByAnotherThread)
{
    std::array<std::vector<void *>, nthreads> taken;
    for (int pass = 0; pass < 20; pass++) {
        on_each_thread([&](size_t i) {
            for (size_t n = 0; n < 2000; n++)
                taken[i].push_back(tracked_calloc(1, 1 + n % 64, "small"));
        });
        on_each_thread([&](size_t i) {
            for (void *block : taken[(i + 1) % nthreads])
                tracked_free(block, "small");
            taken[(i + 1) % nthreads].clear();
        });
    }
    EXPECT_EQ(tracked_outstanding("small"), 0u);
}

TEST_F(Allocator, ThreadsShareTheBooks)
{
    constexpr size_t ntags = 1000; // new ones, and all threads meet before each use
    constexpr size_t kept = 3;
    std::vector<std::vector<void *>> blocks(nthreads);
    std::barrier meet(nthreads);
    const auto tag_of = [](size_t i) { return "shared " + std::to_string(i % ntags); };
    on_each_thread([&](size_t thread) {
        for (size_t i = 0; i < ntags * kept; i++) {
            const std::string tag = tag_of(i);
            meet.arrive_and_wait();
            blocks[thread].push_back(tracked_malloc(1, tag.c_str()));
            tracked_free(tracked_malloc(1, "BYTE"), "BYTE");
        }
    });
    EXPECT_EQ(tracked_outstanding("BYTE"), 0u);
    EXPECT_EQ(tracked_outstanding(nullptr), before + nthreads * ntags * kept);
    for (size_t i = 0; i < ntags; i++)
        EXPECT_EQ(tracked_outstanding(tag_of(i).c_str()), nthreads * kept);
    on_each_thread([&](size_t thread) {
        for (size_t i = 0; i < ntags * kept; i++)
            tracked_free(blocks[(thread + 1) % nthreads][i], tag_of(i).c_str());
    });
    for (size_t i = 0; i < ntags; i++)
        EXPECT_EQ(tracked_outstanding(tag_of(i).c_str()), 0u);
}

TEST_F(Allocator, ThreadsShareTheCountOfAllocationsThatSucceed)
{
    std::atomic<int> succeeded = 0;
    tracked_fail_after(1001);
    on_each_thread([&](size_t) {
        for (int i = 0; i < 500; i++) {
            void *block = tracked_malloc(1, "BYTE");
            succeeded += block != nullptr;
            tracked_free(block, "BYTE");
        }
    });
    EXPECT_EQ(succeeded, 1000);
}

} // namespace
