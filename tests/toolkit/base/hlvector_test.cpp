// Point sets by handle: making, reading back, histories that roll over,
// family checks, bad handles, and use from several threads.
#include "support/testsupport.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hlvector.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Points
{
    std::vector<double> x, y;
    int size_x = -1, size_y = -1;
};

// The points of a getter as vectors; false when it failed.
template <typename Get>
bool fetch(Get get, Points* out)
{
    double *x = nullptr, *y = nullptr;
    int n = -1;
    if (get(&x, &y, &n, &out->size_x, &out->size_y) < 0)
        return false;
    out->x.assign(x, x + n);
    out->y.assign(y, y + n);
    free(x);
    free(y);
    return true;
}

} // namespace

TEST(PointSets, VectorReadsBackAsCopies)
{
    double x[] = {1.0, 2.0, 3.0}, y[] = {4.0, 5.0, 6.0};
    ASSERT_EQ(hlvector_create("hv_a", 3, x, y), 0);
    x[0] = 99.0;  // the set holds its own copy
    EXPECT_EQ(hlvector_get_vector("hv_a"), 0);
    Points p;
    ASSERT_TRUE(fetch([](auto... a) { return hlvector_get_points("hv_a", a...); }, &p));
    EXPECT_EQ(p.x, (std::vector<double>{1.0, 2.0, 3.0}));
    EXPECT_EQ(p.y, (std::vector<double>{4.0, 5.0, 6.0}));
    EXPECT_EQ((std::vector{p.size_x, p.size_y}), (std::vector{3, 3}));
    EXPECT_EQ(hlvector_delete("hv_a"), 0);
    EXPECT_EQ(hlvector_get_vector("hv_a"), -1);
    EXPECT_EQ(takeErrors(), "hlvector_get_vector: Cannot find hlvector 'hv_a'.\n");
}

TEST(PointSets, TwoComponentSetsByComponent)
{
    const double x[] = {1.0, 2.0}, y0[] = {10.0, 20.0}, y1[] = {-1.0, -2.0};
    ASSERT_EQ(hlvector2_create("hv_b", 2, x, y0, y1), 0);
    EXPECT_EQ(hlvector2_get_vector("hv_b"), 0);
    // a two-component set is not a one-component one
    EXPECT_EQ(hlvector_get_vector("hv_b"), -1);
    takeErrors();
    Points p0, p1;
    ASSERT_TRUE(fetch([](auto... a) { return hlvector2_get_points("hv_b", 0, a...); }, &p0));
    ASSERT_TRUE(fetch([](auto... a) { return hlvector2_get_points("hv_b", 1, a...); }, &p1));
    EXPECT_EQ(p0.y, (std::vector<double>{10.0, 20.0}));
    EXPECT_EQ(p1.y, (std::vector<double>{-1.0, -2.0}));
    EXPECT_EQ(p1.x, (std::vector<double>{1.0, 2.0}));
    Points bad;
    EXPECT_FALSE(fetch([](auto... a) { return hlvector2_get_points("hv_b", 2, a...); }, &bad));
    EXPECT_EQ(takeErrors(), "hlvector2_get_points: no component 2 in 'hv_b'.\n");
    // replacing by another family
    ASSERT_EQ(hlvector_create("hv_b", 1, x, y0), 0);
    EXPECT_EQ(hlvector_get_vector("hv_b"), 0);
    EXPECT_EQ(hlvector2_get_vector("hv_b"), -1);
    EXPECT_EQ(takeErrors(), "hlvector2_get_vector: Cannot find hlvector2 'hv_b'.\n");
    hlvector_delete("hv_b");
}

TEST(PointSets, HistoryKeepsTheNewestOldestFirst)
{
    ASSERT_EQ(hlhistory_create("hv_h", 3), 0);
    // appends: samples i = 1..appends appended as (i, 10 i) so far
    struct Case { const char* name; int appends; std::vector<double> x; } cases[] = {
        {"empty", 0, {}}, {"partly filled", 2, {1.0, 2.0}}, {"full", 3, {1.0, 2.0, 3.0}},
        {"rolled over once", 4, {2.0, 3.0, 4.0}}, {"rolled over past the capacity", 8, {6.0, 7.0, 8.0}},
    };
    int done = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        for (; done < c.appends; done++)
            ASSERT_EQ(hlhistory_append("hv_h", done + 1.0, 10.0 * (done + 1)), 0);
        Points p;
        ASSERT_TRUE(fetch([](auto... a) { return hlhistory_get_points("hv_h", a...); }, &p));
        EXPECT_EQ(p.x, c.x);
        for (size_t i = 0; i < p.x.size(); i++)
            EXPECT_EQ(p.y[i], 10.0 * p.x[i]);
    }
    hlvector_delete("hv_h");
}

TEST(PointSets, BadInputIsRefused)
{
    const double v[] = {1.0};
    const std::string long_handle(HLVECTOR_MAX_HANDLE + 1, 'h');
    struct Case { const char* name; int ret; const char* message; } cases[] = {
        {"empty handle", hlvector_create("", 1, v, v), "hlvector_create: empty handle.\n"},
        {"null handle", hlvector_create(nullptr, 1, v, v), "hlvector_create: empty handle.\n"},
        {"colon in handle", hlvector_create("a:b", 1, v, v), "hlvector_create: handle 'a:b' holds ':'.\n"},
        {"long handle", hlvector_create(long_handle.c_str(), 1, v, v),
         "hlvector_create: handle longer than 255 characters.\n"},
        {"negative count", hlvector_create("hv_x", -1, v, v), "hlvector_create: bad point count -1.\n"},
        {"count over the cap", hlvector2_create("hv_x", HLVECTOR_MAX_POINTS + 1, v, v, v),
         "hlvector2_create: bad point count 67108865.\n"},
        {"null points", hlvector_create("hv_x", 2, v, nullptr), "hlvector_create: null points.\n"},
        {"null component", hlvector2_create("hv_x", 1, v, v, nullptr), "hlvector2_create: null points.\n"},
        {"zero capacity", hlhistory_create("hv_x", 0), "hlhistory_create: bad capacity 0.\n"},
        {"append to unknown", hlhistory_append("hv_none", 1.0, 1.0),
         "hlhistory_append: Cannot find hlhistory 'hv_none'.\n"},
        {"delete unknown", hlvector_delete("hv_none"), "hlvector_delete: Cannot find handle 'hv_none'.\n"},
    };
    // the cases ran in order: each left exactly its own line
    std::string expected;
    for (const Case& c : cases) {
        EXPECT_EQ(c.ret, -1) << c.name;
        expected += c.message;
    }
    EXPECT_EQ(takeErrors(), expected);
    EXPECT_EQ(hlvector_get_vector("hv_x"), -1);
}

TEST(PointSets, HistoriesFromSeveralThreads)
{
    ASSERT_EQ(hlhistory_create("hv_t", 500), 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([t] {
            for (int i = 0; i < 1000; i++)
                hlhistory_append("hv_t", t, i);
            double *x = nullptr, *y = nullptr;
            int n = 0, sx = 0, sy = 0;
            if (hlhistory_get_points("hv_t", &x, &y, &n, &sx, &sy) == 0) {
                free(x);
                free(y);
            }
        });
    for (auto& th : threads)
        th.join();
    Points p;
    ASSERT_TRUE(fetch([](auto... a) { return hlhistory_get_points("hv_t", a...); }, &p));
    EXPECT_EQ(p.x.size(), 500u);
    // within each thread the samples kept are in order
    std::vector<double> last(4, -1.0);
    for (size_t i = 0; i < p.x.size(); i++) {
        const int t = static_cast<int>(p.x[i]);
        ASSERT_GE(t, 0);
        ASSERT_LT(t, 4);
        EXPECT_GT(p.y[i], last[t]);
        last[t] = p.y[i];
    }
    hlvector_delete("hv_t");
}
