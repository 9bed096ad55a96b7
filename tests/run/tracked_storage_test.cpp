#include "optdoe/run/tracked_storage.h"

#include "tests/support/failing_storage.h"
#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace {

const host_exception unknown_free{"java/lang/RuntimeException",
                                  "Attempt made to free() unknown storage in Optimal Latin Hypercube plugin."};
const host_exception unknown_realloc{"java/lang/RuntimeException",
                                     "Attempt made to realloc() unknown storage in Optimal Latin Hypercube plugin."};
const host_exception malloc_failed{"java/lang/OutOfMemoryError",
                                   "Storage exhausted by malloc() in Optimal Latin Hypercube plugin."};
const host_exception realloc_failed{"java/lang/OutOfMemoryError",
                                    "Storage exhausted by realloc() in Optimal Latin Hypercube plugin."};

int chunk_count(const run_context* ctx)
{
    int count = 0;
    for (const allocation_chunk* chunk = ctx->globals->chunks; chunk != nullptr; chunk = chunk->next)
        ++count;
    return count;
}

} // namespace

TEST(trackedstorage, live_entries_are_packed_at_the_front)
{
    test_run run;
    void* blocks[4];
    for (void*& block : blocks)
        block = tracked_alloc(run.ctx(), 16);
    const allocation_chunk* chunk = run->globals->chunks;
    ASSERT_EQ(chunk->count, 5); // the status word comes first
    EXPECT_EQ(chunk->blocks[1], blocks[0]);
    tracked_free(run.ctx(), blocks[1]);
    EXPECT_EQ(chunk->count, 4);
    EXPECT_EQ(chunk->blocks[2], blocks[3]);
    EXPECT_EQ(chunk->blocks[3], blocks[2]);
    for (int i = chunk->count; i < chunk_capacity; ++i)
        ASSERT_EQ(chunk->blocks[i], nullptr);
}

TEST(trackedstorage, the_1001st_block_opens_a_chunk_that_becomes_the_head)
{
    test_run run;
    const allocation_chunk* first = run->globals->chunks;
    void* block_of_first = tracked_alloc(run.ctx(), 1);
    for (int i = 2; i < chunk_capacity; ++i)
        tracked_alloc(run.ctx(), 1);
    EXPECT_EQ(chunk_count(run.ctx()), 1);
    tracked_alloc(run.ctx(), 1);
    EXPECT_EQ(chunk_count(run.ctx()), 2);
    EXPECT_NE(run->globals->chunks, first);
    EXPECT_EQ(run->globals->chunks->next, first);
    EXPECT_EQ(run->globals->chunks->count, 1);
    ASSERT_TRUE(run.completes([&] { tracked_free(run.ctx(), block_of_first); }));
    EXPECT_EQ(first->count, chunk_capacity - 1);

    // The head has room too and comes first.
    tracked_alloc(run.ctx(), 1);
    EXPECT_EQ(run->globals->chunks->count, 2);
    EXPECT_EQ(first->count, chunk_capacity - 1);
}

TEST(trackedstorage, an_emptied_chunk_stays)
{
    test_run run;
    std::vector<void*> blocks;
    for (int i = 0; i < 2500; ++i)
        blocks.push_back(tracked_alloc(run.ctx(), 1));
    EXPECT_EQ(chunk_count(run.ctx()), 3);
    for (void* block : blocks)
        tracked_free(run.ctx(), block);
    EXPECT_EQ(chunk_count(run.ctx()), 3);
    EXPECT_EQ(run.live_blocks(), 0);
}

TEST(trackedstorage, freeing_a_block_twice_raises_and_leaves)
{
    test_run run;
    void* block = tracked_alloc(run.ctx(), 8);
    EXPECT_TRUE(run.completes([&] { tracked_free(run.ctx(), block); }));
    EXPECT_FALSE(run.completes([&] { tracked_free(run.ctx(), block); }));
    EXPECT_EQ(run.host.pending(), unknown_free);
}

TEST(trackedstorage, freeing_null_raises_and_leaves)
{
    test_run run;
    EXPECT_FALSE(run.completes([&] { tracked_free(run.ctx(), nullptr); }));
    EXPECT_EQ(run.host.pending(), unknown_free);
    EXPECT_TRUE(run.host.violations().empty());
}

TEST(trackedstorage, try_free_tells_whether_the_block_was_listed)
{
    test_run run;
    void* block = tracked_alloc(run.ctx(), 8);
    EXPECT_FALSE(tracked_try_free(run->globals, &run));
    EXPECT_TRUE(tracked_try_free(run->globals, block));
    EXPECT_EQ(run.host.pending(), std::nullopt);
}

TEST(trackedstorage, a_failed_allocation_raises_and_leaves)
{
    test_run run;
    failing_storage::watch(0);
    const bool completed = run.completes([&] { tracked_alloc(run.ctx(), 8); });
    failing_storage::stop();
    EXPECT_FALSE(completed);
    EXPECT_EQ(run.host.pending(), malloc_failed);
    EXPECT_EQ(run.live_blocks(), 0);
}

TEST(trackedstorage, a_chunk_linked_before_its_first_block_fails_stays_empty)
{
    test_run run;
    for (int i = 1; i < chunk_capacity; ++i)
        tracked_alloc(run.ctx(), 1);
    failing_storage::watch(1);
    const bool completed = run.completes([&] { tracked_alloc(run.ctx(), 8); });
    failing_storage::stop();
    EXPECT_FALSE(completed);
    EXPECT_EQ(chunk_count(run.ctx()), 2);
    EXPECT_EQ(run->globals->chunks->count, 0);
}

TEST(trackedstorage, a_failed_chunk_raises_and_leaves)
{
    test_run run;
    for (int i = 1; i < chunk_capacity; ++i)
        tracked_alloc(run.ctx(), 1);
    failing_storage::watch(0);
    const bool completed = run.completes([&] { tracked_alloc(run.ctx(), 8); });
    failing_storage::stop();
    EXPECT_FALSE(completed);
    EXPECT_EQ(run.host.pending(), malloc_failed);
    EXPECT_EQ(chunk_count(run.ctx()), 1);
}

TEST(trackedstorage, try_alloc_returns_null_and_raises_nothing)
{
    test_run run;
    failing_storage::watch(0);
    EXPECT_EQ(tracked_try_alloc(run->globals, 8), nullptr);
    failing_storage::stop();
    EXPECT_EQ(run.host.pending(), std::nullopt);
}

TEST(trackedstorage, realloc_keeps_the_place_and_the_contents)
{
    test_run run;
    auto* block = static_cast<char*>(tracked_alloc(run.ctx(), 4));
    tracked_alloc(run.ctx(), 4);
    std::memcpy(block, "abc", 4);
    auto* resized = static_cast<char*>(tracked_realloc(run.ctx(), block, 100000));
    EXPECT_STREQ(resized, "abc");
    EXPECT_EQ(run->globals->chunks->blocks[1], resized);
    EXPECT_EQ(run.live_blocks(), 2);
}

TEST(trackedstorage, a_failed_realloc_returns_null_and_drops_the_block)
{
    test_run run;
    void* block = tracked_alloc(run.ctx(), 4);
    void* other = tracked_alloc(run.ctx(), 4);
    void* resized = block;
    failing_storage::watch(0);
    const bool completed = run.completes([&] { resized = tracked_realloc(run.ctx(), block, 100); });
    failing_storage::stop();
    EXPECT_TRUE(completed);
    EXPECT_EQ(resized, nullptr);
    EXPECT_EQ(run.host.pending(), realloc_failed);
    EXPECT_EQ(run.live_blocks(), 1);
    EXPECT_EQ(run->globals->chunks->blocks[1], other);
    EXPECT_EQ(run->globals->chunks->blocks[2], nullptr);
    std::free(block); // ours now
}

TEST(trackedstorage, realloc_of_an_unknown_block_raises_and_leaves)
{
    test_run run;
    int local = 0;
    EXPECT_FALSE(run.completes([&] { tracked_realloc(run.ctx(), &local, 8); }));
    EXPECT_EQ(run.host.pending(), unknown_realloc);
}

TEST(trackedstorage, an_index_vector_is_addressed_by_its_bounds)
{
    test_run run;
    for (const std::int32_t lo : {1, 0, -3, 7}) {
        const std::int32_t hi = lo + 9;
        std::int32_t* v = index_vector_alloc(run.ctx(), lo, hi);
        EXPECT_EQ(run->globals->chunks->blocks[1], v + lo - 1);
        for (std::int32_t i = lo; i <= hi; ++i)
            v[i] = i;
        EXPECT_EQ(v[hi], hi);
        EXPECT_TRUE(run.completes([&] { index_vector_free(run.ctx(), v, lo); }));
        EXPECT_EQ(run.live_blocks(), 0);
    }
}

TEST(trackedstorage, release_all_frees_blocks_and_chunks)
{
    test_run run;
    failing_storage::watch();
    for (int i = 0; i < 1500; ++i)
        tracked_alloc(run.ctx(), 32);
    EXPECT_EQ(failing_storage::live_blocks(), 1501);
    tracked_release_all(run->globals);
    // The status word and the first chunk were there before the count began.
    EXPECT_EQ(failing_storage::live_blocks(), -2);
    failing_storage::stop();
    EXPECT_EQ(run->globals->chunks, nullptr);
}

TEST(trackedstorage, raise_runtime_error_throws_its_message_and_leaves)
{
    test_run run;
    EXPECT_FALSE(run.completes([&] { raise_runtime_error(run.ctx(), "a message of the caller"); }));
    EXPECT_EQ(run.host.pending(), (host_exception{"java/lang/RuntimeException", "a message of the caller"}));
}

TEST(trackedstorage, nothing_is_thrown_over_a_pending_exception)
{
    test_run run;
    EXPECT_FALSE(run.completes([&] { raise_runtime_error(run.ctx(), "first"); }));
    EXPECT_FALSE(run.completes([&] { raise_out_of_memory(run.ctx()); }));
    EXPECT_EQ(run.host.pending()->message, "first");
    EXPECT_TRUE(run.host.violations().empty());
}

TEST(trackedstorage, a_missing_exception_class_leaves_its_own_exception_pending)
{
    test_run run;
    run.host.faults.no_class = true;
    EXPECT_FALSE(run.completes([&] { raise_out_of_memory(run.ctx()); }));
    EXPECT_EQ(run.host.pending()->class_name, "java/lang/NoClassDefFoundError");
    EXPECT_TRUE(run.host.violations().empty());
}
