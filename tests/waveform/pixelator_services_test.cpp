// The pixelator through the real services: filters, and waveform rows read
// through an event-service client from s4 files.  Skipped where those
// services are not part of the build.
#include "waveform/pixelator_support.h"

#include "toolkit/base/errors.h"
#include "waveform/pixelator_services_p.h"
#include "waveform/samplecache_p.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

#include <vector>

#include "toolkit/events/qkclient.h"
#include "waveform/traceviewqkclient.h"
#include "toolkit/events/qkserver.h"

namespace {

[[maybe_unused]] VxPixelatorSource* feed(TestPixelator& px)
{
    VxTraceviewTIDE tide;
    int index = -1;
    return px.setTIDE(tide, index, 0)->source;
}

TEST(PixelatorFilter, DemeanAndTheHookOfAFeed)
{
    TestPixelator px;
    px.setPixels(0.0, 0.1, 1000, 1, 0.0);
    px.filter_string = "DEMEAN";
    VxPixelatorSource* source = feed(px);
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
// time 1000, in an s4 file of file_samples samples.
QString make_database(const QTemporaryDir& dir, long file_samples, const char* dfile)
{
    const QString base = dir.path() + "/db";
    Rsptr db = rsopen(base.toUtf8().constData(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, "rsSCRATCH");
    EXPECT_EQ(rsputv(wf, nullptr, "sta", "ABC", "chan", "BHZ", "time", 1000.0, "endtime", 1009.99, "nsamp", 1000L,
                     "samprate", 100.0, "calib", 1.0, "calper", 1.0, "segtype", "V", "datatype", "s4", "dir", "wf",
                     "dfile", dfile, "foff", 0L, "wfid", 1L, "chanid", 1L, "jdate", 1970001L, nullptr),
              0)
        << hl_errlog_string(0);
    EXPECT_GE(rsaddrecord(wf), 0);
    rsclose(db);
    QDir(dir.path()).mkdir("wf");
    QFile file(dir.path() + "/wf/ramp.w");
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    for (long i = 0; i < file_samples; i++) {
        uchar s4[4];
        qToBigEndian<qint32>(static_cast<qint32>(i), s4);
        file.write(reinterpret_cast<const char*>(s4), 4);
    }
    return base;
}

TEST(PixelatorEventClient, RowsFromS4Files)
{

    struct Case
    {
        const char* name;
        long file_samples;
        const char* dfile;
        size_t budget;
        long segments;
    } cases[] = {
        {"cached", 1000, "ramp.w", size_t(64) << 20, 1},
        {"plain", 1000, "ramp.w", 0, 1},
        {"missing file", 1000, "none.w", size_t(64) << 20, 0},
        {"short file, plain", 500, "ramp.w", 0, 0},
        {"short file, cached", 500, "ramp.w", size_t(64) << 20, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QTemporaryDir dir;
        const QString base = make_database(dir, c.file_samples, c.dfile);
        VxSampleCache::instance().clear();
        VxSampleCache::instance().setBudget(c.budget);
        QKServer server(base.toStdString(), 0, 0, 1000, QK_NO_INOTIFY);
        VXTraceviewQKClient client(&server, nullptr, nullptr, nullptr);
        QkPixelator px;
        px.setPixels(1000.0, 1.0, 10, 1, 0.0);
        px.setQk(&client, 1, -1, 0);
        EXPECT_TRUE(px.allocations.isEmpty());
        EXPECT_EQ(hl_error_count(), 0) << hl_errlog_string(0);
        ASSERT_EQ(px.sources[0]->segments.max(), c.segments);
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
