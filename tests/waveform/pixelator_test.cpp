// The pixelator against hand-computed columns.
#include "waveform/pixelator_support.h"

#include "support/testsupport.h"

#include "toolkit/base/errors.h"
#include "toolkit/store/recordstore.h"
#include "toolkit/waveio/wfgap.h"
#include "waveform/samplecache_p.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

namespace {

std::vector<float> ramp(int n)
{
    std::vector<float> v(static_cast<size_t>(n));
    std::iota(v.begin(), v.end(), 0.0f);
    return v;
}

TEST(PixelatorGrid, ColumnIndexRule)
{
    struct Case { const char* name; double x; long expected; } cases[] = {
        {"zero", 0.0, 0}, {"inside first", 0.99, 0}, {"whole", 3.0, 3}, {"half below", -0.5, -1},
        {"whole negative -1", -1.0, -2}, {"whole negative -2", -2.0, -3}, {"fraction negative", -1.5, -2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(vx_pixel_index(100.0 + c.x * 0.5, 100.0, 0.5), c.expected);
    }
    EXPECT_EQ(vx_pixel_index(std::nan(""), 0.0, 1.0), -1000000000000001L);
}

TEST(PixelatorGrid, TenThousandSamplesMakeAThousandColumns)
{
    TestPixelator px;
    ASSERT_EQ(px.setPixels(0.0, 0.1, 1000, 1, 0.0), 1);
    VxPixelatorSource* source = px.feed();
    const std::vector<float> data = ramp(10000);
    ASSERT_EQ(px.addSegment(source, 0.0, 10000, 0.01, 1.0, "V", data.data(), 0), 0);
    ASSERT_EQ(source->segments.max(), 1);
    const VxPixelatorSegment& seg = source->segments.get(0);
    ASSERT_EQ(seg.pixels.size(), 1000);
    EXPECT_EQ(seg.npixels_used, 999);
    EXPECT_EQ(seg.nsamp_total, 10000);
    // each column holds the samples the rule puts there, in a run
    int next = 0;
    for (int c = 0; c < 1000; c++) {
        const VxPixelatorPixel& p = seg.pixels[c];
        ASSERT_GE(p.npoints, 9) << c;
        ASSERT_LE(p.npoints, 11) << c;
        EXPECT_EQ(p.min, static_cast<float>(next)) << c;
        EXPECT_EQ(p.max, static_cast<float>(next + p.npoints - 1)) << c;
        EXPECT_EQ(vx_pixel_index(next * 0.01, 0.0, 0.1), c);
        next += p.npoints;
    }
    EXPECT_EQ(next, 10000);
    px.setStats();
    int nsamp = 0, npix = 0;
    px.getUtilization(nsamp, npix);
    EXPECT_EQ(nsamp, 10000);
    EXPECT_EQ(npix, 999);
    EXPECT_EQ(px.amin, 0.0);
    EXPECT_EQ(px.amax, 9999.0);
}

TEST(PixelatorSegments, AppendRules)
{
    // offset_dt: start of the second packet after next_time, in sample
    // intervals; calib: of the second packet, the first has 100
    struct Case { const char* name; double offset_dt; double calib; const char* segtype; long segments; } cases[] = {
        {"0.09 interval late appends", 0.09, 100.0, "V", 1}, {"0.11 interval late starts anew", 0.11, 100.0, "V", 2},
        {"calib 1% off appends", 0.0, 101.0, "V", 1}, {"calib 1.5% off starts anew", 0.0, 101.5, "V", 2},
        {"segtype change starts anew", 0.0, 100.0, "A", 2},
    };
    const std::vector<float> data = ramp(100);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestPixelator px;
        px.setPixels(0.0, 0.05, 1000, 1, 0.0);
        VxPixelatorSource* source = px.feed();
        px.addSegment(source, 10.0, 100, 0.01, 100.0, "V", data.data(), 1);
        const double t = source->next_time + c.offset_dt * 0.01;
        px.addSegment(source, t, 100, 0.01, c.calib, c.segtype, data.data(), 1);
        EXPECT_EQ(source->segments.max(), c.segments);
        if (c.segments == 1) {
            // one run of 200 samples at 5 per column: 40 columns
            EXPECT_EQ(source->segments.get(0).nsamp_total, 200);
            EXPECT_EQ(source->segments.get(0).pixels.size(), 40);
        }
    }
    // a negative calibration never appends
    TestPixelator px;
    px.setPixels(0.0, 0.05, 1000, 1, 0.0);
    VxPixelatorSource* source = px.feed();
    px.addSegment(source, 10.0, 100, 0.01, -1.0, "V", data.data(), 1);
    px.addSegment(source, source->next_time, 100, 0.01, -1.0, "V", data.data(), 1);
    EXPECT_EQ(source->segments.max(), 2);
}

TEST(PixelatorSegments, NanNeverPoisonsExtremesAndOneSampleIsOneColumnUncounted)
{
    TestPixelator px;
    px.setPixels(0.0, 1.0, 10, 1, 0.0);
    VxPixelatorSource* source = px.feed();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float data[] = {nan, 3.0f, -2.0f, nan, nan, nan};  // 3 per column
    for (int accumulate : {0, 1}) {
        SCOPED_TRACE(accumulate);
        source->segments.clear();
        px.addSegment(source, 0.0, 6, 1.0 / 3.0, 1.0, "V", data, accumulate);
        ASSERT_EQ(source->segments.max(), 1);
        const VxPixelatorSegment& seg = source->segments.get(0);
        ASSERT_EQ(seg.pixels.size(), 2);
        EXPECT_EQ(seg.pixels[0].npoints, 3);
        EXPECT_EQ(seg.pixels[0].min, -2.0f);
        EXPECT_EQ(seg.pixels[0].max, 3.0f);
        EXPECT_TRUE(std::isnan(seg.pixels[1].min));  // nothing but NaN: no extremes
        px.setStats();
        EXPECT_EQ(px.amin, -2.0);
        EXPECT_EQ(px.amax, 3.0);
        source->segments.clear();
        px.addSegment(source, 2.0, 1, 0.5, 1.0, "V", data + 1, accumulate);
        ASSERT_EQ(source->segments.max(), 1);
        EXPECT_EQ(source->segments.get(0).pixels.size(), 1);
        EXPECT_EQ(source->segments.get(0).npixels_used, 0);
    }
}

TEST(PixelatorSegments, HolesBetweenSparseSamples)
{
    TestPixelator px;
    px.setPixels(0.0, 0.25, 100, 1, 0.0);
    VxPixelatorSource* source = px.feed();
    const float data[] = {1.0f, 2.0f, 3.0f};
    px.addSegment(source, 0.0, 3, 1.0, 1.0, "V", data, 0);
    const VxPixelatorSegment& seg = source->segments.get(0);
    ASSERT_EQ(seg.pixels.size(), 9);  // columns 0, 4 and 8 hold samples
    EXPECT_EQ(seg.npixels_used, 8);
    for (int c = 0; c < 9; c++)
        EXPECT_EQ(seg.pixels[c].npoints, c % 4 == 0 ? 1 : -1) << c;
}

TEST(PixelatorSegments, ClippedToTheBuffer)
{
    // a day at 100 Hz seen through 1000 columns of 1 ms: the columns of the
    // buffer only, as the whole record would have them
    TestPixelator px;
    const double day0 = 0.0;
    const int n = 8640000;
    std::vector<float> data(static_cast<size_t>(n));
    for (int i = 0; i < n; i++)
        data[static_cast<size_t>(i)] = static_cast<float>(i % 1000);
    ASSERT_EQ(px.setPixels(43200.0, 0.001, 1000, 1, 0.5), 1);
    VxPixelatorSource* source = px.feed();
    px.addSegment(source, day0, n, 0.01, 1.0, "V", data.data(), 0);
    ASSERT_EQ(source->segments.max(), 1);
    const VxPixelatorSegment& seg = source->segments.get(0);
    EXPECT_LE(seg.pixels.size(), px.npixels_total + 1);
    EXPECT_GE(seg.time_first_pixel, px.tstart - 0.001);
    EXPECT_LE(seg.time_first_pixel, px.tstart + 0.01);
    EXPECT_EQ(seg.pixels[0].npoints, 1);
    EXPECT_EQ(seg.pixels[0].min, data[static_cast<size_t>(std::lround(seg.time_first_pixel / 0.01))]);
    // a real-time feed of sparse samples splits rather than fill holes past the buffer
    VxPixelatorSource* rt = px.feed();
    const float sparse[] = {1.0f, 2.0f, 3.0f};
    px.addSegment(rt, 43200.0, 3, 2.0, 1.0, "V", sparse, 1);
    long columns = 0;
    for (long j = 0; j < rt->segments.max(); j++)
        columns += rt->segments.get(j).pixels.size();
    EXPECT_LE(columns, 3);
}

TEST(PixelatorSegments, BadInput)
{
    struct Case { const char* name; double t0; double dt; int nsamp; int ret; const char* message; } cases[] = {
        {"NaN time", std::nan(""), 0.01, 10, -1, "VXPixelator::addSegment: Bad start time"},
        {"NaN interval", 0.0, std::nan(""), 10, -1, "VXPixelator::addSegment: Bad start time"},
        {"negative interval", 0.0, -0.01, 10, -1, "VXPixelator::addSegment: Bad start time"},
        {"no samples", 0.0, 0.01, 0, 0, ""},
    };
    const std::vector<float> data = ramp(10);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestPixelator px;
        px.setPixels(0.0, 0.1, 100, 1, 0.0);
        VxPixelatorSource* source = px.feed();
        EXPECT_EQ(px.addSegment(source, c.t0, c.nsamp, c.dt, 1.0, "V", data.data(), 0), c.ret);
        EXPECT_EQ(source->segments.max(), 0);
        const std::string errors = takeErrors();
        EXPECT_NE(errors.find(c.message), std::string::npos) << errors;
    }
    TestPixelator px;
    EXPECT_EQ(px.setPixels(0.0, 1e-6, 10000000, 1, 0.0), -1);
    EXPECT_NE(takeErrors().find("VXPixelator::setPixels: 10000000 columns asked for"), std::string::npos);
    EXPECT_EQ(px.npixels_total, 0);  // the grid is unchanged
    EXPECT_EQ(px.setPixels(0.0, std::nan(""), 10, 1, 0.0), -1);
    takeErrors();
    // zero width and no columns read nothing
    EXPECT_EQ(px.setPixels(0.0, 0.0, 10, 1, 0.0), 1);
    EXPECT_EQ(px.setPixels(0.0, 0.1, 0, 1, 0.0), 1);
    VxPixelatorSource* source = px.feed();
    px.addSegment(source, 0.0, 10, 0.01, 1.0, "V", data.data(), 1);
    EXPECT_EQ(source->segments.max(), 0);
}

TEST(PixelatorSegments, TrimAndRemove)
{
    TestPixelator px;
    px.setPixels(0.0, 1.0, 100, 1, 0.0);
    VxPixelatorSource* source = px.feed();
    const std::vector<float> data = ramp(10);
    px.addSegment(source, 0.0, 10, 1.0, 1.0, "V", data.data(), 0);   // columns 0-9
    px.addSegment(source, 20.0, 10, 1.0, 1.0, "V", data.data(), 0);  // columns 20-29
    px.trimSegments(25.0);  // the first lies wholly before, the second straddles: kept whole
    ASSERT_EQ(source->segments.max(), 1);
    EXPECT_EQ(source->segments.get(0).time_first_pixel, 20.0);
    EXPECT_EQ(source->segments.get(0).pixels.size(), 10);
    px.removeSegment(source, 5);  // out of range: nothing
    EXPECT_EQ(source->segments.max(), 1);
    px.removeSegment(source, 0);
    EXPECT_EQ(source->segments.max(), 0);
}

TEST(PixelatorStats, SpikeInTheBufferLeavesScaleAlone)
{
    TestPixelator px;
    px.setPixels(10.0, 0.1, 100, 1, 5.0);  // buffer 5 s to 10 s, visible 10 s to 20 s
    ASSERT_EQ(px.tstart, 5.0);
    VxPixelatorSource* source = px.feed();
    std::vector<float> data(1500, 1.0f);
    data[200] = 1e6f;  // at 7 s, in the buffer
    data[800] = -3.0f;  // at 13 s
    px.addSegment(source, 5.0, 1500, 0.01, 1.0, "V", data.data(), 0);
    px.setStats();
    EXPECT_EQ(px.amax, 1.0);
    EXPECT_EQ(px.amin, -3.0);
}

// ---- the record store (type 0)

class PixelatorDbtrace : public ::testing::Test
{
protected:
    void SetUp() override
    {
        db = rsopen("pixtraces", "Trace4.0", RS_READ);
        ASSERT_FALSE(rsisinvalid(db));
        tr = rslookup(db, nullptr, "trace", nullptr, "rsSCRATCH");
    }
    void TearDown() override { rsclose(db); }
    long addRow(double time, const std::vector<float>& samples)
    {
        EXPECT_EQ(rsputv(tr, nullptr, "sta", "ABC", "chan", "BHZ", "time", time, "samprate", 100.0, "calib", 1.0,
                         "segtype", "V", "data", samples.data(), static_cast<long>(samples.size()), nullptr),
                  0);
        return rsaddrecord(tr);
    }
    Rsptr db{};
    Rsptr tr{};
};

TEST_F(PixelatorDbtrace, GapsSplitAndAllGapIsNothing)
{
    float gap = 0.0f;
    wffill_gap(&gap, 1);
    std::vector<float> middle = ramp(100);
    for (int i = 40; i < 50; i++)
        middle[static_cast<size_t>(i)] = gap;
    const long r0 = addRow(100.0, middle);
    const long r1 = addRow(200.0, std::vector<float>(50, gap));
    struct Case { const char* name; long record; long segments; } cases[] = {
        {"gap in the middle", r0, 2}, {"all gap", r1, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXPixelator px;
        px.setPixels(c.record == r0 ? 100.0 : 200.0, 0.1, 100, 1, 0.0);
        Rsptr row = tr;
        row.record = c.record;
        EXPECT_EQ(px.setDbtrace(row, -1, 0), 0);
        ASSERT_EQ(px.sources.size(), 1);
        EXPECT_EQ(px.sources[0]->segments.max(), c.segments);
    }
}

TEST_F(PixelatorDbtrace, RefusedRecords)
{
    VXPixelator px;
    Rsptr row = tr;
    row.record = 7;
    EXPECT_THROW(px.setDbtrace(row, -1, 0), const char*);
    EXPECT_NE(takeErrors().find("VXPixelator::setDbtrace: Input database record 7 outside range"), std::string::npos);
    Rsptr css = rsopen("pixcss", "css3.0", RS_MEMORY);
    Rsptr wf = rslookup(css, nullptr, "wfdisc", nullptr, nullptr);
    EXPECT_THROW(px.setDbtrace(wf, -1, 0), const char*);
    EXPECT_NE(takeErrors().find("VXPixelator::setDbtrace: Input database schema 'css3.0' not 'Trace4.0' or 'Trace4.1'"),
              std::string::npos);
    rsclose(css);
    EXPECT_TRUE(px.sources.isEmpty());
}

// ---- the event service's rows (type 1)

TEST(PixelatorRows, RepeatedGridReadsNothingAndFreesSamples)
{
    for (size_t budget : {size_t(0), size_t(64) << 20}) {
        SCOPED_TRACE(budget);
        VxSampleCache::instance().clear();
        VxSampleCache::instance().setBudget(budget);
        MemoryReader reader;
        reader.addRow(1000.0, 100.0, ramp(6000));
        VXPixelator px;
        px.setPixels(1000.0, 0.1, 300, 1, 0.0);
        px.setReader(&reader, 0, -1);
        EXPECT_TRUE(px.allocations.isEmpty());
        const int loads = reader.loads;
        EXPECT_EQ(loads, 1);
        EXPECT_EQ(px.setPixels(1000.0, 0.1, 300, 0, 0.0), 0);
        EXPECT_EQ(reader.loads, loads);
        ASSERT_EQ(px.sources[0]->segments.max(), 1);
        // the read runs a tenth of a sample past the buffer's end: the
        // sample at 1030 s opens column 300
        EXPECT_EQ(px.sources[0]->segments.get(0).pixels.size(), 301);
        EXPECT_EQ(px.amax, 3000.0);
    }
    VxSampleCache::instance().setBudget(VxSampleCache::default_budget);
}

} // namespace
