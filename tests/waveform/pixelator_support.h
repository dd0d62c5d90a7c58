// Helpers of the pixelator tests: a pixelator that opens its protected
// operations, and a reader of synthetic waveform rows that counts its loads.
#pragma once

#include "toolkit/waveio/wfgap.h"
#include "waveform/pixelator.h"

#include <QList>
#include <QString>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <random>
#include <utility>
#include <vector>

class TestPixelator : public VXPixelator
{
public:
    using VXPixelator::addSegment;
    using VXPixelator::copyFrom;
    using VXPixelator::removeSegment;
    using VXPixelator::setStats;
    using VXPixelator::trimSegments;

    // A source to feed by hand (type 2), owned by the pixelator.
    VxPixelatorSource* feed()
    {
        VxTraceviewTIDE tide;
        int index = -1;
        return setTIDE(tide, index, 0)->source;
    }
};

// n samples at samprate of a sine of period seconds and amplitude, 0 at the first.
inline std::vector<float> sine(int n, double samprate, double period, double amplitude)
{
    std::vector<float> v(static_cast<size_t>(n));
    for (int i = 0; i < n; i++)
        v[static_cast<size_t>(i)] = static_cast<float>(amplitude * std::sin(2.0 * M_PI * i / samprate / period));
    return v;
}

// n samples with the awkward cases in them (signed zeros, NaN, spikes),
// and gap markers over the given ranges.
inline std::vector<float> awkward(long n, unsigned seed, std::initializer_list<std::pair<long, long>> gaps)
{
    std::mt19937 rng(seed);
    std::vector<float> v(static_cast<size_t>(n));
    for (long i = 0; i < n; i++) {
        const unsigned r = rng() % 1000;
        float x = static_cast<float>(static_cast<int>(rng() % 201) - 100);
        if (r < 20)
            x = (r & 1) ? 0.0f : -0.0f;
        else if (r < 25)
            x = std::numeric_limits<float>::quiet_NaN();
        else if (r == 25)
            x = 1e6f;
        v[static_cast<size_t>(i)] = x;
    }
    for (const auto& [a, b] : gaps)
        for (long i = a; i < b && i < n; i++)
            v[static_cast<size_t>(i)] = WF_GAP_VALUE;
    return v;
}

// n awkward samples with a gap of 500 a third of the way in.
inline std::vector<float> awkward(long n, unsigned seed)
{
    return awkward(n, seed, {{n / 3, n / 3 + 500}});
}

// The runs of samples between gap markers, by the plainest scan there is.
inline QList<std::pair<int, int>> plain_runs(const std::vector<float>& v)
{
    QList<std::pair<int, int>> runs;
    int start = -1;
    for (int i = 0; i <= static_cast<int>(v.size()); i++) {
        const bool good = i < static_cast<int>(v.size()) && v[static_cast<size_t>(i)] != WF_GAP_VALUE;
        if (good && start < 0)
            start = i;
        if (!good && start >= 0) {
            runs.append({start, i});
            start = -1;
        }
    }
    return runs;
}

// Rows of samples held in memory, loaded by the reader's rules.
class MemoryReader : public VXPixelatorReader
{
public:
    struct Row { VxPixelatorRecord rec; std::vector<float> samples; };
    QList<Row> rows;
    int loads = 0;
    long samples_loaded = 0;
    bool hide_counts = false;  // rows without a sample count: read plain, never cached

    // A row of samples from time; key: the key the process's sample cache
    // knows it by, "row" and its number when empty.
    void addRow(double time, double samprate, std::vector<float> samples, double calib = 1.0, const QString& key = {})
    {
        Row row;
        row.rec.key = key.isEmpty() ? QStringLiteral("row%1").arg(rows.size()) : key;
        row.rec.time = time;
        row.rec.samprate = samprate;
        row.rec.nsamp = static_cast<long>(samples.size());
        row.rec.endtime = time + (row.rec.nsamp - 1) / samprate;
        row.rec.calib = calib;
        strcpy(row.rec.segtype, "V");
        row.samples = std::move(samples);
        rows.append(row);
    }

    int getWfdiscs(const QString&, const QString&, double t0, double t1, int, QList<VxPixelatorRecord>& out) override
    {
        out.clear();
        for (const Row& row : rows)
            if (row.rec.endtime >= t0 && row.rec.time <= t1) {
                out.append(row.rec);
                if (hide_counts)
                    out.last().nsamp = 0;
            }
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
            *nsamp = i1 - i0;
            samples_loaded += *nsamp;
            *data = static_cast<float*>(malloc(sizeof(float) * static_cast<size_t>(std::max(1L, *nsamp))));
            if (*nsamp > 0)
                memcpy(*data, row.samples.data() + i0, sizeof(float) * static_cast<size_t>(*nsamp));
            *ts = sampleTime(row.rec, i0);
            *te = sampleTime(row.rec, i1 - 1);
            return 0;
        }
        return -1;
    }
};
