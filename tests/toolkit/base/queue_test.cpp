// The bounded queue and the thread pool, with real threads.
#include <VX.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

void* tag(long i)
{
    return reinterpret_cast<void*>(i);
}

long untag(void* p)
{
    return reinterpret_cast<long>(p);
}

} // namespace

TEST(Mtqueue, KeepsOrderAcrossThreads)
{
    Mtqueue* q = mtqueue_create(10, 1, 0);
    ASSERT_NE(q, nullptr);
    const long count = 20000;
    std::thread producer([q] {
        for (long i = 1; i <= count; i++)
            ASSERT_EQ(mtqueue_push(q, tag(i)), 0);
    });
    for (long i = 1; i <= count; i++) {
        void* v = nullptr;
        ASSERT_EQ(mtqueue_pop(q, &v), 1);
        ASSERT_EQ(untag(v), i);
    }
    producer.join();
    EXPECT_EQ(mtqueue_data_available(q), 0);
    mtqueue_destroy(q, nullptr);
}

TEST(Mtqueue, BlockingPushWaitsWhileFull)
{
    Mtqueue* q = mtqueue_create(2, 1, 0);
    ASSERT_EQ(mtqueue_push(q, tag(1)), 0);
    ASSERT_EQ(mtqueue_push(q, tag(2)), 0);
    std::atomic<bool> pushed{false};
    std::thread producer([&] {
        mtqueue_push(q, tag(3));
        pushed = true;
    });
    // the third push cannot finish while two entries wait
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(pushed.load());
    EXPECT_EQ(mtqueue_data_available(q), 2);
    void* v = nullptr;
    ASSERT_EQ(mtqueue_pop(q, &v), 1);
    EXPECT_EQ(untag(v), 1);
    producer.join();
    EXPECT_TRUE(pushed.load());
    EXPECT_EQ(mtqueue_data_available(q), 2);
    mtqueue_destroy(q, nullptr);
}

TEST(Mtqueue, NonBlockingQueueRefusesWhenFullAndAnswersZeroWhenEmpty)
{
    Mtqueue* q = mtqueue_create(1, 0, 0);
    void* v = tag(9);
    EXPECT_EQ(mtqueue_pop(q, &v), 0);
    EXPECT_EQ(untag(v), 9);  // untouched
    EXPECT_EQ(mtqueue_push(q, tag(1)), 0);
    EXPECT_LT(mtqueue_push(q, tag(2)), 0);
    EXPECT_EQ(mtqueue_pop(q, &v), 1);
    EXPECT_EQ(untag(v), 1);
    mtqueue_destroy(q, nullptr);
}

TEST(Mtqueue, ReleaseWakesABlockedPopWithZero)
{
    Mtqueue* q = mtqueue_create(10, 1, 0);
    std::atomic<int> result{-5};
    std::thread consumer([&] {
        void* v = nullptr;
        result = mtqueue_pop(q, &v);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(result.load(), -5);
    ASSERT_EQ(mtqueue_release_block(q), 0);
    consumer.join();
    EXPECT_EQ(result.load(), 0);
    mtqueue_destroy(q, nullptr);
}

TEST(Mtqueue, ReleaseBeforePopIsNotLost)
{
    Mtqueue* q = mtqueue_create(10, 1, 0);
    mtqueue_push(q, tag(4));
    mtqueue_release_block(q);
    void* v = nullptr;
    EXPECT_EQ(mtqueue_pop(q, &v), 1);  // what was queued still comes out
    EXPECT_EQ(untag(v), 4);
    EXPECT_EQ(mtqueue_pop(q, &v), 0);
    mtqueue_destroy(q, nullptr);
}

TEST(Mtqueue, DestroyHandsLeftEntriesToTheFreeProc)
{
    static int freed;
    freed = 0;
    Mtqueue* q = mtqueue_create(5, 1, 0);
    for (int i = 0; i < 3; i++)
        mtqueue_push(q, new int(i));
    mtqueue_destroy(q, [](void* p) {
        delete static_cast<int*>(p);
        freed++;
    });
    EXPECT_EQ(freed, 3);
}

TEST(Mtqueue, BadArgumentsFailWithRegisteredErrors)
{
    EXPECT_EQ(mtqueue_create(0, 1, 0), nullptr);
    EXPECT_LT(mtqueue_push(nullptr, nullptr), 0);
    EXPECT_LT(mtqueue_pop(nullptr, nullptr), 0);
    EXPECT_LT(mtqueue_data_available(nullptr), 0);
    EXPECT_EQ(hl_error_count(), 4);
}

TEST(Mtqueue, ManyProducersLoseNothing)
{
    Mtqueue* q = mtqueue_create(10, 1, 0);
    const int producers = 4;
    const long each = 5000;
    std::vector<std::thread> threads;
    for (int p = 0; p < producers; p++)
        threads.emplace_back([q, p] {
            for (long i = 0; i < each; i++)
                mtqueue_push(q, tag(p * each + i + 1));
        });
    std::vector<long> last(producers, 0);
    long sum = 0;
    for (long i = 0; i < producers * each; i++) {
        void* v = nullptr;
        ASSERT_EQ(mtqueue_pop(q, &v), 1);
        long x = untag(v);
        int p = static_cast<int>((x - 1) / each);
        EXPECT_GT(x, last[p]);  // each producer's values come in its order
        last[p] = x;
        sum += x;
    }
    for (auto& t : threads)
        t.join();
    long n = producers * each;
    EXPECT_EQ(sum, n * (n + 1) / 2);
    mtqueue_destroy(q, nullptr);
}

namespace {

struct Cover
{
    std::vector<std::atomic<int>> hits;
    explicit Cover(size_t n) : hits(n) {}
};

void mark(long offset, long number, void* data)
{
    auto* c = static_cast<Cover*>(data);
    for (long i = offset; i < offset + number; i++)
        c->hits[static_cast<size_t>(i)]++;
}

} // namespace

TEST(Mtpool, EveryIndexRunsExactlyOncePerRun)
{
    Mtpool* pool = mtpool_create();
    ASSERT_NE(pool, nullptr);
    Cover cover(1000);
    ASSERT_EQ(mtpool_addthread(pool, mark, 4, 0, &cover), 0);
    EXPECT_EQ(mtpool_threadcount(pool), 4);
    for (int run = 0; run < 50; run++)
        ASSERT_EQ(mtpool_processthreads(pool, 0, 1000), 0);
    for (size_t i = 0; i < 1000; i++)
        ASSERT_EQ(cover.hits[i].load(), 50) << "index " << i;
    // fewer items than workers, and an offset range
    ASSERT_EQ(mtpool_processthreads(pool, 997, 3), 0);
    EXPECT_EQ((std::vector{cover.hits[996].load(), cover.hits[997].load(), cover.hits[999].load()}),
              (std::vector{50, 51, 51}));
    mtpool_destroy(pool);
}

TEST(Mtpool, EmptyPoolAndBadArgumentsFail)
{
    Mtpool* pool = mtpool_create();
    EXPECT_LT(mtpool_processthreads(pool, 0, 10), 0);
    EXPECT_LT(mtpool_addthread(pool, nullptr, 2, 0, nullptr), 0);
    EXPECT_LT(mtpool_addthread(pool, mark, 0, 0, nullptr), 0);
    EXPECT_LT(mtpool_processthreads(nullptr, 0, 10), 0);
    EXPECT_EQ(hl_error_count(), 4);
    mtpool_destroy(pool);
}
