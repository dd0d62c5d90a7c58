// The sample cache: columns from memory equal a plain scan, panning inside
// cached data reads nothing, eviction keeps the budget and hands over the
// memory of a row nobody holds.
#include "waveform/pixelator_support.h"

#include "toolkit/waveio/wfgap.h"
#include "waveform/samplecache_p.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

bool same_bits(const VxPixelatorPixel& a, const VxPixelatorPixel& b)
{
    return a.npoints == b.npoints && std::memcmp(&a.min, &b.min, sizeof(float)) == 0 &&
           std::memcmp(&a.max, &b.max, sizeof(float)) == 0;
}

// The rule itself, sample by sample: a column starts from its first
// sample, NaN extremes give way to the next sample, and strict < and >
// keep the first of equal extremes.
void reference_fold(const std::vector<float>& v, long a, long b, VxPixelatorPixel& px)
{
    for (long i = a; i < b; i++) {
        const float x = v[static_cast<size_t>(i)];
        if (px.npoints <= 0 || std::isnan(px.min)) {
            px.min = px.max = x;
        } else {
            if (x < px.min)
                px.min = x;
            if (x > px.max)
                px.max = x;
        }
        px.npoints = std::max(px.npoints, 0) + 1;
    }
}

// The samples a to b of v as the index reduces them and as the fold does,
// each the same to the bit as the rule itself.
bool sameAsTheRule(const std::vector<float>& v, VxSampleIndex& index, long a, long b)
{
    VxPixelatorPixel plain, fast, folded;
    reference_fold(v, a, b, plain);
    index.reduce(a, b, fast);
    vx_fold_samples(v.data(), a, b, folded);
    return same_bits(plain, fast) && same_bits(plain, folded);
}

TEST(SampleIndex, RangesEqualPlainScan)
{
    const std::vector<float> v = awkward(100000, 1);
    VxSampleIndex index;
    ASSERT_EQ(index.build(v.data(), static_cast<long>(v.size())), 0);
    std::mt19937 rng(2);
    for (int k = 0; k < 2000; k++) {
        long a = static_cast<long>(rng() % v.size());
        long b = a + static_cast<long>(rng() % (k % 2 ? 70000 : 300));
        b = std::min<long>(b, static_cast<long>(v.size()));
        ASSERT_TRUE(sameAsTheRule(v, index, a, b)) << a << " " << b;
    }
}

TEST(SampleIndex, WholeBlocksOfNanZerosAndInfinities)
{
    // blocks where the extremes are a zero of either sign, an infinity, or
    // missing altogether, at every level of the index
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    // pattern: repeated to fill the samples
    struct Case { const char* name; std::vector<float> pattern; } cases[] = {
        {"zeros, plus first", {0.0f, -0.0f, 0.0f, -0.0f}}, {"zeros, minus first", {-0.0f, 0.0f}},
        {"NaN runs", {nan, nan, nan, nan, nan, nan, nan, nan, nan, 3.0f, nan, nan, nan, nan, nan, nan, nan}},
        {"only NaN", {nan}}, {"infinities", {inf, nan, -inf, 2.0f, inf, inf}},
        {"zero then positive", {0.0f, 1.0f, -0.0f, 2.0f, 0.0f}},
        {"plus zeros only", {0.0f, 3.0f, 1.0f, -2.0f, 0.0f, 0.0f, 5.0f, 0.0f, 0.0f, 0.0f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<float> v(40000);
        for (size_t i = 0; i < v.size(); i++)
            v[i] = c.pattern[(i * 7 / 5) % c.pattern.size()];
        VxSampleIndex index;
        ASSERT_EQ(index.build(v.data(), static_cast<long>(v.size())), 0);
        for (long a : {0L, 1L, 7L, 8L, 63L, 512L, 4095L})
            for (long b : {9L, 64L, 4096L, 33000L, 40000L})
                ASSERT_TRUE(b <= a || sameAsTheRule(v, index, a, b)) << a << " " << b;
    }
}

TEST(SampleRuns, GapMarkersWhereverTheyFall)
{
    // markers on either side of the chunk edges the scan works by, alone and
    // in runs, and NaN, which is a sample
    struct Case { const char* name; int n; std::vector<int> gaps; } cases[] = {
        {"no gap", 200, {}}, {"first sample", 200, {0}}, {"last sample", 200, {199}},
        {"chunk edges", 200, {31, 32, 63, 64, 65}}, {"a run across an edge", 200, {60, 61, 62, 63, 64, 65, 66, 67}},
        {"all gap", 40, {}}, {"short array", 5, {2}}, {"every other", 70, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<float> v(static_cast<size_t>(c.n), 1.0f);
        v[static_cast<size_t>(c.n / 2)] = std::numeric_limits<float>::quiet_NaN();
        for (int g : c.gaps)
            v[static_cast<size_t>(g)] = WF_GAP_VALUE;
        if (std::string(c.name) == "all gap")
            std::fill(v.begin(), v.end(), WF_GAP_VALUE);
        if (std::string(c.name) == "every other")
            for (size_t i = 0; i < v.size(); i += 2)
                v[i] = WF_GAP_VALUE;
        VXPixelator px;
        EXPECT_EQ(px.ungapTraceDataArray(c.n, v.data()), plain_runs(v));
    }
}

std::vector<VxPixelatorSegment> segments_of(const VXPixelator& px)
{
    std::vector<VxPixelatorSegment> out;
    for (VxPixelatorSource* source : px.sources)
        for (long j = 0; j < source->segments.max(); j++)
            out.push_back(source->segments.get(j));
    return out;
}

TEST(SampleCache, ColumnsEqualPlainScanOverRandomGrids)
{
    MemoryReader reader;
    reader.addRow(1000.0, 100.0, awkward(30000, 3));
    reader.addRow(1310.0, 100.0, awkward(20000, 4));  // after a gap of 10 s
    reader.addRow(1510.0, 40.0, awkward(8000, 5), 2.0);
    MemoryReader plain_reader = reader;
    plain_reader.hide_counts = true;
    VxSampleCache& cache = VxSampleCache::instance();
    cache.clear();
    cache.setBudget(size_t(64) << 20);
    VXPixelator cached, plain;
    cached.setReader(&reader, 0, -1);
    plain.setReader(&plain_reader, 0, -1);
    std::mt19937 rng(6);
    std::uniform_real_distribution<double> left(950.0, 1700.0);
    std::uniform_real_distribution<double> width(0.05, 800.0);
    long segments_seen = 0;
    for (int k = 0; k < 1000; k++) {
        const double tl = left(rng);
        const int npixels = 1 + static_cast<int>(rng() % 1500);
        const double dtpp = width(rng) / npixels;
        const double tbuf = (rng() % 2) ? 0.0 : 3.0;
        // the cache keeps what earlier grids read: hits, ranges joined and new rows
        ASSERT_GE(plain.setPixels(tl, dtpp, npixels, 1, tbuf), 0);
        ASSERT_GE(cached.setPixels(tl, dtpp, npixels, 1, tbuf), 0);
        const auto a = segments_of(cached);
        const auto b = segments_of(plain);
        ASSERT_EQ(a.size(), b.size()) << k;
        for (size_t s = 0; s < a.size(); s++) {
            ASSERT_EQ(a[s].time_first_pixel, b[s].time_first_pixel) << k;
            ASSERT_EQ(a[s].npixels_used, b[s].npixels_used);
            ASSERT_EQ(a[s].nsamp_total, b[s].nsamp_total);
            ASSERT_EQ(a[s].pixels.size(), b[s].pixels.size()) << k;
            for (qsizetype c = 0; c < a[s].pixels.size(); c++)
                ASSERT_TRUE(same_bits(a[s].pixels[c], b[s].pixels[c])) << k << " " << s << " " << c;
        }
        EXPECT_EQ(cached.amin, plain.amin);
        EXPECT_EQ(cached.amax, plain.amax);
        segments_seen += static_cast<long>(a.size());
    }
    EXPECT_GT(segments_seen, 1000);  // most grids saw data
    EXPECT_EQ(cache.count(), 3);
    EXPECT_LT(reader.samples_loaded, plain_reader.samples_loaded / 10);
    cache.setBudget(VxSampleCache::default_budget);
}

TEST(SampleCache, PanAndZoomInsideCachedDataReadNothing)
{
    VxSampleCache& cache = VxSampleCache::instance();
    cache.clear();
    cache.setBudget(size_t(64) << 20);
    MemoryReader reader;
    reader.addRow(0.0, 100.0, awkward(360000, 7));  // one hour
    VXPixelator px;
    px.setReader(&reader, 0, -1);
    px.setPixels(600.0, 0.6, 1000, 1, 0.0);
    EXPECT_EQ(reader.loads, 1);
    struct Move { const char* name; double tleft; double dtpp; } moves[] = {
        {"pan 10%", 660.0, 0.6}, {"zoom in by 2", 810.0, 0.3}, {"zoom out by 2", 300.0, 1.2}};
    for (const Move& m : moves) {
        SCOPED_TRACE(m.name);
        EXPECT_EQ(px.setPixels(m.tleft, m.dtpp, 1000, 0, 0.0), 1);
        EXPECT_EQ(reader.loads, 1);
        EXPECT_GT(px.nsamp_total, 0);
    }
    cache.setBudget(VxSampleCache::default_budget);
}

TEST(SampleCache, EvictionKeepsTheBudget)
{
    VxSampleCache& cache = VxSampleCache::instance();
    cache.clear();
    MemoryReader reader;
    for (int r = 0; r < 6; r++)
        reader.addRow(r * 1000.0, 100.0, awkward(90000, 10 + r));  // 15 min each, about 470 KB cached
    const size_t budget = size_t(2) << 20;  // rows of up to 512 KB are kept: about four fit
    cache.setBudget(budget);
    VXPixelator px;
    px.setReader(&reader, 0, -1);
    for (int r = 0; r < 6; r++) {
        px.setPixels(r * 1000.0, 1.0, 900, 1, 0.0);
        EXPECT_LE(cache.bytes(), budget);
        EXPECT_GT(cache.bytes(), 0u);
    }
    EXPECT_EQ(reader.loads, 6);
    EXPECT_LT(cache.count(), 6);
    // the most recent row is still there, the first is gone
    px.setPixels(5000.0, 1.0, 900, 1, 0.0);
    EXPECT_EQ(reader.loads, 6);
    px.setPixels(0.0, 1.0, 900, 1, 0.0);
    EXPECT_EQ(reader.loads, 7);
    cache.setBudget(VxSampleCache::default_budget);
}

TEST(SampleCache, RoomIsMadeFromRowsNobodyHolds)
{
    VxSampleCache& cache = VxSampleCache::instance();
    cache.clear();
    const std::vector<float> v = awkward(100000, 1);
    auto row = [&](const char* key) {
        auto r = cache.newRecord();
        r->key = key;
        r->samples.append(v.data(), v.size());
        r->index.build(r->samples.data(), static_cast<long>(v.size()));
        return r;
    };
    const size_t each = row("x")->bytes();
    cache.setBudget(4 * each + each / 2);  // four rows fit
    cache.clear();                         // and the memory of "x" goes
    auto held = cache.insert(row("a"));
    for (const char* key : {"b", "c", "d"})
        cache.insert(row(key));
    // too large to be kept: nothing is evicted for it
    EXPECT_EQ(cache.makeRoom(2 * each), nullptr);
    EXPECT_EQ(cache.count(), 4);
    // the least recent row is evicted, but someone holds it
    EXPECT_EQ(cache.makeRoom(each), nullptr);
    EXPECT_EQ(cache.count(), 3);
    EXPECT_EQ(cache.find("a"), nullptr);
    EXPECT_EQ(held->samples.size(), v.size());
    cache.insert(row("e"));
    auto spare = cache.makeRoom(each);
    ASSERT_NE(spare, nullptr);
    EXPECT_EQ(spare->key, "b");
    EXPECT_EQ(spare->samples.size(), v.size());
    EXPECT_EQ(cache.find("b"), nullptr);
    EXPECT_LE(cache.bytes() + each, cache.budget());
    // a row held while evicted gives its memory when let go
    held.reset();
    spare = cache.makeRoom(0);
    ASSERT_NE(spare, nullptr);
    EXPECT_EQ(spare->key, "a");
    EXPECT_EQ(cache.count(), 3);
    // of two rows let go, the memory of the larger is kept
    const auto taken = cache.makeRoom(0);  // "b", let go when "a" was taken
    cache.newRecord().reset();
    spare.reset();
    spare = cache.makeRoom(0);
    ASSERT_NE(spare, nullptr);
    EXPECT_EQ(spare->key, "a");
    EXPECT_EQ(taken->key, "b");
    cache.setBudget(VxSampleCache::default_budget);
}

} // namespace
