// The travel-time service from several threads at once: each thread asks
// for its own depths, so that tables are built, cached and dropped while
// others read them, and every answer equals the one of a single thread.
#include "toolkit/base/errors.h"
#include "toolkit/geo/traveltime.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

double p_time(double depth_km, double deg)
{
    TtArrival a[TT_MAX_ARRIVALS];
    return tt_compute(depth_km, deg, 0.0, "P", 5.0, 3.0, a, TT_MAX_ARRIVALS) > 0 ? a[0].time_s : -1.0;
}

} // namespace

TEST(TravelTimeThreads, ConcurrentDepthsAgreeWithOneThread)
{
    constexpr int kThreads = 4, kDepths = 12;  // 48 depths: more than the cache keeps
    std::vector<double> expected(kThreads * kDepths);
    for (int i = 0; i < kThreads * kDepths; i++)
        expected[static_cast<size_t>(i)] = p_time(5.0 + 10.0 * i, 40.0);
    std::vector<double> got(expected.size(), 0.0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&got, t] {
            for (int round = 0; round < 2; round++)
                for (int k = 0; k < kDepths; k++) {
                    const int i = k * kThreads + t;
                    got[static_cast<size_t>(i)] = p_time(5.0 + 10.0 * i, 40.0);
                }
        });
    }
    for (std::thread& th : threads)
        th.join();
    for (size_t i = 0; i < got.size(); i++) {
        EXPECT_GT(expected[i], 0.0);
        EXPECT_EQ(got[i], expected[i]) << "depth " << 5.0 + 10.0 * static_cast<double>(i);
    }
}
