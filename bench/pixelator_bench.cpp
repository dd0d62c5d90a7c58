// The pixelator on a day of one channel at 100 Hz, from the s4 files of the
// sample-data generator (made once into a temporary folder).
//
// Baselines in this binary:
// - Reduce/minmax_element: std::minmax_element over the same floats, column
//   by column, against Reduce/pixelator (samples per second into columns),
//   Index/build (the sample cache's min/max index of the day) and
//   Index/runs (the runs between gap markers);
// - Read/cold (and Read/cold_uncached, the sample cache off) against
//   Read/pan_warm and Read/zoom_warm: a one-hour window moved by 10% or
//   zoomed by 2 with the cache warm;
// - Memory/day against Memory/hour: bytes of columns per trace, cache empty.
#include "toolkit/base/errors.h"
#include "toolkit/store/recordstore.h"
#include "waveform/pixelator.h"
#include "waveform/samplecache_p.h"

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// Rows of a CSS 3.0 wfdisc table whose files are s4, loaded by the reader's
// rules, reading only the samples asked for from the file.
class S4Reader : public VXPixelatorReader
{
public:
    struct Row
    {
        VxPixelatorRecord rec;
        QString path;
        long foff = 0;
    };
    std::vector<Row> rows;
    long loads = 0;

    int open(const QString& base, const char* chan)
    {
        Rsptr db = rsopen(base.toUtf8().constData(), "css3.0", RS_READ);
        if (rsisinvalid(db))
            return -1;
        Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, nullptr);
        long count = 0;
        rsquery(wf, RS_RECORD_COUNT, &count);
        for (long r = 0; r < count; r++) {
            wf.record = r;
            char c[RS_STRSZ], sta[RS_STRSZ], segtype[RS_STRSZ], line[RS_STRSZ], path[RS_STRSZ];
            Row row;
            long foff = 0;
            rsgetv(wf, nullptr, "sta", sta, "chan", c, "time", &row.rec.time, "endtime", &row.rec.endtime, "nsamp",
                   &row.rec.nsamp, "samprate", &row.rec.samprate, "calib", &row.rec.calib, "calper",
                   &row.rec.calper, "segtype", segtype, "foff", &foff, nullptr);
            if (strcmp(c, chan) != 0 || rsextfile(wf, nullptr, path) <= 0)
                continue;
            rsget(Rsptr{wf.database, wf.table, RS_ALL, r}, line);
            row.rec.key = QString::fromUtf8(line);
            memcpy(row.rec.segtype, segtype, std::min<size_t>(strlen(segtype), 7));
            row.path = QString::fromUtf8(path);
            row.foff = foff;
            rows.push_back(row);
        }
        rsclose(db);
        return static_cast<int>(rows.size());
    }

    int getWfdiscs(const QString&, const QString&, double t0, double t1, int, QList<VxPixelatorRecord>& out) override
    {
        out.clear();
        for (const Row& row : rows)
            if (row.rec.endtime >= t0 && row.rec.time <= t1)
                out.append(row.rec);
        return 0;
    }

    int load(const VxPixelatorRecord& rec, double t0, double t1, float** data, double* ts, double* te,
             long* nsamp) override
    {
        loads++;
        for (const Row& row : rows) {
            if (row.rec.key != rec.key)
                continue;
            const long i0 = firstIndexAt(row.rec, t0);
            const long i1 = std::max(i0, firstIndexAt(row.rec, t1));
            QFile file(row.path);
            if (!file.open(QIODevice::ReadOnly) || !file.seek(row.foff + i0 * 4))
                return -1;
            const QByteArray bytes = file.read((i1 - i0) * 4);
            const long got = bytes.size() / 4;
            auto* out = static_cast<float*>(malloc(sizeof(float) * static_cast<size_t>(std::max(1L, got))));
            const auto* s4 = reinterpret_cast<const uchar*>(bytes.constData());
            for (long i = 0; i < got; i++)
                out[i] = static_cast<float>(qFromBigEndian<qint32>(s4 + 4 * i));
            *data = out;
            *nsamp = got;
            *ts = sampleTime(row.rec, i0);
            *te = sampleTime(row.rec, i0 + got - 1);
            return 0;
        }
        return -1;
    }
};

struct Day
{
    QTemporaryDir dir;
    S4Reader reader;
    std::vector<float> samples;  // the whole day of the channel
    double t0 = 0.0;
    bool ok = false;
};

Day& day()
{
    static Day* d = [] {
        auto* made = new Day;
        const QString base = made->dir.path() + "/day";
        const QString cmd = QStringLiteral("'%1' --stations 1 --events 0 --hours 24 --samprate 100 '%2'")
                                .arg(QStringLiteral(VXGEN_PATH), base);
        if (std::system(cmd.toUtf8().constData()) != 0 || made->reader.open(base, "BHZ") < 1)
            return made;
        const S4Reader::Row& row = made->reader.rows.front();
        float* data = nullptr;
        double ts = 0, te = 0;
        long n = 0;
        if (made->reader.load(row.rec, row.rec.time, row.rec.endtime + 0.01, &data, &ts, &te, &n) < 0)
            return made;
        made->samples.assign(data, data + n);
        free(data);
        made->t0 = row.rec.time;
        made->ok = n > 8000000;
        made->reader.loads = 0;
        return made;
    }();
    return *d;
}

class BenchPixelator : public VXPixelator
{
public:
    using VXPixelator::addSegment;
    size_t columnBytes() const
    {
        size_t bytes = 0;
        for (VxPixelatorSource* source : sources)
            for (long j = 0; j < source->segments.max(); j++)
                bytes += sizeof(VxPixelatorSegment) +
                         source->segments.get(j).pixels.capacity() * sizeof(VxPixelatorPixel);
        return bytes;
    }
};

constexpr int kColumns = 1000;

void Reduce_pixelator(benchmark::State& state)
{
    Day& d = day();
    if (!d.ok) {
        state.SkipWithError("no sample data");
        return;
    }
    BenchPixelator px;
    VxTraceviewTIDE tide;
    int index = -1;
    VxPixelatorSource* source = px.setTIDE(tide, index, 0)->source;
    const long n = static_cast<long>(d.samples.size());
    px.setPixels(d.t0, 0.01 * n / kColumns, kColumns, 1, 0.0);
    for (auto _ : state) {
        source->segments.clear();
        px.addSegment(source, d.t0, static_cast<int>(n), 0.01, 1.0, "o", d.samples.data(), 0);
        benchmark::DoNotOptimize(source->segments.get(0).pixels.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void Reduce_minmax_element(benchmark::State& state)
{
    Day& d = day();
    if (!d.ok) {
        state.SkipWithError("no sample data");
        return;
    }
    const long n = static_cast<long>(d.samples.size());
    std::vector<VxPixelatorPixel> out(kColumns);
    for (auto _ : state) {
        for (long c = 0; c < kColumns; c++) {
            const float* a = d.samples.data() + c * n / kColumns;
            const float* b = d.samples.data() + (c + 1) * n / kColumns;
            const auto [mn, mx] = std::minmax_element(a, b);
            out[static_cast<size_t>(c)] = {static_cast<int>(b - a), *mn, *mx};
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// What the sample cache does to a row once, before any column: the min/max
// index and the runs between gap markers, over the same floats.
void Index_build(benchmark::State& state)
{
    Day& d = day();
    if (!d.ok) {
        state.SkipWithError("no sample data");
        return;
    }
    const long n = static_cast<long>(d.samples.size());
    for (auto _ : state) {
        VxSampleIndex index;
        index.build(d.samples.data(), n);
        benchmark::DoNotOptimize(index.mins[0].data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void Index_runs(benchmark::State& state)
{
    Day& d = day();
    if (!d.ok) {
        state.SkipWithError("no sample data");
        return;
    }
    VXPixelator px;
    for (auto _ : state) {
        const auto runs = px.ungapTraceDataArray(static_cast<int>(d.samples.size()), d.samples.data());
        benchmark::DoNotOptimize(runs.constData());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(d.samples.size()));
}

// A one-hour window at noon, kColumns wide.
constexpr double kHour = 3600.0;

void Read_cold(benchmark::State& state, size_t budget)
{
    Day& d = day();
    if (!d.ok) {
        state.SkipWithError("no sample data");
        return;
    }
    VxSampleCache::instance().setBudget(budget);
    VXPixelator px;
    px.setReader(&d.reader, 0, -1);
    for (auto _ : state) {
        VxSampleCache::instance().clear();
        px.setPixels(d.t0 + 12 * kHour, kHour / kColumns, kColumns, 1, 0.0);
    }
    VxSampleCache::instance().setBudget(VxSampleCache::default_budget);
}

void Read_warm(benchmark::State& state, bool zoom)
{
    Day& d = day();
    if (!d.ok) {
        state.SkipWithError("no sample data");
        return;
    }
    VxSampleCache::instance().setBudget(VxSampleCache::default_budget);
    VXPixelator px;
    px.setReader(&d.reader, 0, -1);
    const double left = d.t0 + 12 * kHour;
    px.setPixels(left, kHour / kColumns, kColumns, 1, 0.0);
    const long loads = d.reader.loads;
    bool flip = false;
    for (auto _ : state) {
        flip = !flip;
        if (zoom)
            px.setPixels(flip ? left + kHour / 4 : left, (flip ? kHour / 2 : kHour) / kColumns, kColumns, 0, 0.0);
        else
            px.setPixels(flip ? left + kHour / 10 : left, kHour / kColumns, kColumns, 0, 0.0);
    }
    if (d.reader.loads != loads)
        state.SkipWithError("the warm cache read the disk");
}

void Memory(benchmark::State& state, double window)
{
    Day& d = day();
    if (!d.ok) {
        state.SkipWithError("no sample data");
        return;
    }
    VxSampleCache::instance().setBudget(0);
    size_t bytes = 0;
    for (auto _ : state) {
        BenchPixelator px;
        px.setReader(&d.reader, 0, -1);
        px.setPixels(d.t0, window / kColumns, kColumns, 1, 0.0);
        bytes = px.columnBytes();
    }
    state.counters["bytes_per_trace"] = static_cast<double>(bytes);
    VxSampleCache::instance().setBudget(VxSampleCache::default_budget);
}

} // namespace

BENCHMARK(Reduce_pixelator)->Unit(benchmark::kMillisecond);
BENCHMARK(Reduce_minmax_element)->Unit(benchmark::kMillisecond);
BENCHMARK(Index_build)->Unit(benchmark::kMillisecond);
BENCHMARK(Index_runs)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_cold, cached, VxSampleCache::default_budget)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_cold, uncached, size_t(0))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_warm, pan_10pc, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_warm, zoom_2, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memory, day, 86400.0)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(Memory, hour, kHour)->Unit(benchmark::kMillisecond)->Iterations(1);

BENCHMARK_MAIN();
