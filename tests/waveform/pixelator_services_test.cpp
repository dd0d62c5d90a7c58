// The pixelator through the real services: filters, and waveform rows read
// through an event-service client from s4 files.  Skipped where those
// services are not part of the build.
#include "waveform/pixelator_support.h"
#include "waveform/tvsupport.h"

#include "toolkit/base/errors.h"
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkserver.h"
#include "waveform/pixelator_services_p.h"
#include "waveform/samplecache_p.h"
#include "waveform/traceviewqkclient.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include <vector>

namespace {

TEST(PixelatorFilter, DemeanAndTheHookOfAFeed)
{
    TestPixelator px;
    px.setPixels(0.0, 0.1, 1000, 1, 0.0);
    px.filter_string = "DEMEAN";
    VxPixelatorSource* source = px.feed();
    const std::vector<float> flat(100, 5.0f);
    px.addSegment(source, 0.0, 100, 0.01, 1.0, "V", flat.data(), 0);
    ASSERT_EQ(source->segments.max(), 1);
    for (const VxPixelatorPixel& p : source->segments.get(0).pixels) {
        EXPECT_EQ(p.min, 0.0f);
        EXPECT_EQ(p.max, 0.0f);
    }
    EXPECT_EQ(source->filter_hook, nullptr);  // the bulk path carries no state
    // a feed: the first packet of a segment makes the state, appending ones pass none
    px.filter_string = "BW 1 4 0 0";
    px.addSegment(source, 20.0, 100, 0.01, 1.0, "V", flat.data(), 1);
    Hook* hook = source->filter_hook;
    EXPECT_NE(hook, nullptr);
    px.addSegment(source, source->next_time, 100, 0.01, 1.0, "V", flat.data(), 1);
    EXPECT_EQ(source->filter_hook, hook);
    EXPECT_EQ(source->segments.max(), 2);
    // a filter that does not parse drops the batch and leaves no message
    px.filter_string = "XYZ 1";
    px.addSegment(source, 40.0, 100, 0.01, 1.0, "V", flat.data(), 0);
    EXPECT_EQ(source->segments.max(), 2);
    EXPECT_EQ(hl_error_count(), 0);
}

// A trace of station ABC, channel BHZ, reading through the client.
class QkPixelator : public TestPixelator
{
protected:
    QString pixelatorStation() const override { return "ABC"; }
    QString pixelatorChannel() const override { return "BHZ"; }
};

// A database with one wfdisc row: 1000 samples of a ramp at 100 Hz from
// time 1000, in wf/dfile; the file wf/ramp.w holds file_samples samples.
QString make_database(const QTemporaryDir& dir, long file_samples, const char* dfile)
{
    QDir(dir.path()).mkdir("wf");
    tvtest::writeS4(dir.path() + "/wf/ramp.w", file_samples, [](long i) { return static_cast<double>(i); });
    return tvtest::writeWfdiscs(dir.path() + "/db", {"ABC BHZ"}, 1000, "wf", dfile);
}

TEST(PixelatorEventClient, RowsFromS4Files)
{
    // "recycled": the cache is full of other rows, whose memory the load reuses
    struct Case { const char* name; long file_samples; const char* dfile; size_t budget; long segments; } cases[] = {
        {"cached", 1000, "ramp.w", size_t(64) << 20, 1}, {"plain", 1000, "ramp.w", 0, 1},
        {"recycled", 1000, "ramp.w", 24000, 1},
        {"missing file", 1000, "none.w", size_t(64) << 20, 0}, {"short file, plain", 500, "ramp.w", 0, 0},
        {"short file, cached", 500, "ramp.w", size_t(64) << 20, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QTemporaryDir dir;
        const QString base = make_database(dir, c.file_samples, c.dfile);
        VxSampleCache::instance().clear();
        VxSampleCache::instance().setBudget(c.budget);
        for (int k = 0; c.budget == 24000 && k < 4; k++) {
            auto other = VxSampleCache::instance().newRecord();
            other->key = QString::number(k);
            const std::vector<float> v(1050, -5.0f);
            other->samples.append(v.data(), v.size());
            other->index.build(other->samples.data(), 1050);
            VxSampleCache::instance().insert(other);
        }
        QKServer server(base.toStdString(), 0, 0, 1000, QK_NO_INOTIFY);
        VXTraceviewQKClient client(&server, nullptr, nullptr, nullptr);
        QkPixelator px;
        px.setPixels(1000.0, 1.0, 10, 1, 0.0);
        px.setQk(&client, 1, -1, 0);
        EXPECT_TRUE(px.allocations.isEmpty());
        EXPECT_EQ(hl_error_count(), 0) << hl_errlog_string(0);
        ASSERT_EQ(px.sources[0]->segments.max(), c.segments);
        if (c.budget == 24000) {
            EXPECT_EQ(VxSampleCache::instance().count(), 4);  // one row made room
        }
        if (c.segments == 0)
            continue;
        const VxPixelatorSegment& seg = px.sources[0]->segments.get(0);
        ASSERT_EQ(seg.pixels.size(), 10);
        for (int col = 0; col < 10; col++) {
            EXPECT_EQ(seg.pixels[col].npoints, 100);
            EXPECT_EQ(seg.pixels[col].min, 100.0f * col);
            EXPECT_EQ(seg.pixels[col].max, 100.0f * col + 99.0f);
        }
    }
    VxSampleCache::instance().setBudget(VxSampleCache::default_budget);
}

} // namespace
