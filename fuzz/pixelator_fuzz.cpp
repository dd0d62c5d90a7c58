// libFuzzer target for the pixelator's folding of samples from a file or a
// peer: a grid, then batches of samples with their start time, interval,
// calibration and segment type, some appended as a real-time feed.  Checks
// that columns stay within the buffer's bounds, holes are empty, counts add
// up, and the indexed reduction equals the plain scan.
//
// Input: tleft, dtperpixel (doubles), npixels (int32), tbuffer (double);
// then per batch: tstart, dt, calib (doubles), accumulate and segtype (one
// byte each), a sample count (uint16) and that many floats (as many as
// remain).
#include "toolkit/base/errors.h"
#include "waveform/pixelator.h"
#include "waveform/samplecache_p.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

class FuzzPixelator : public VXPixelator
{
public:
    using VXPixelator::addSegment;
    using VXPixelator::setStats;
};

template <class T>
bool take(const uint8_t*& p, const uint8_t* end, T* value)
{
    if (static_cast<size_t>(end - p) < sizeof(T))
        return false;
    memcpy(value, p, sizeof(T));
    p += sizeof(T);
    return true;
}

bool same_bits(const VxPixelatorPixel& a, const VxPixelatorPixel& b)
{
    return a.npoints == b.npoints && memcmp(&a.min, &b.min, sizeof(float)) == 0 &&
           memcmp(&a.max, &b.max, sizeof(float)) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const uint8_t* p = data;
    const uint8_t* end = data + std::min<size_t>(size, 1 << 16);
    double tleft = 0, dtpp = 0, tbuffer = 0;
    int32_t npixels = 0;
    if (!take(p, end, &tleft) || !take(p, end, &dtpp) || !take(p, end, &npixels) || !take(p, end, &tbuffer))
        return 0;
    FuzzPixelator px;
    // a grid of at most 100000 columns keeps the fuzzer's memory small
    if (px.setPixels(tleft, dtpp, npixels % 100000, 1, tbuffer) < 0 || px.npixels_total > 100000) {
        hl_clear_register(0);
        return 0;
    }
    VxTraceviewTIDE tide;
    int index = -1;
    VxPixelatorSource* source = px.setTIDE(tide, index, 0)->source;
    std::vector<float> samples;
    while (p < end) {
        double t0 = 0, dt = 0, calib = 0;
        uint8_t accumulate = 0, segtype = 0;
        uint16_t n = 0;
        if (!take(p, end, &t0) || !take(p, end, &dt) || !take(p, end, &calib) || !take(p, end, &accumulate) ||
            !take(p, end, &segtype) || !take(p, end, &n))
            break;
        const size_t have = std::min<size_t>(n, static_cast<size_t>(end - p) / sizeof(float));
        samples.resize(have);
        if (have)
            memcpy(samples.data(), p, have * sizeof(float));
        p += have * sizeof(float);
        const char code[2] = {static_cast<char>(segtype % 4 + 'A'), 0};
        if (px.addSegment(source, t0, static_cast<int>(have), dt, calib, code, samples.data(), accumulate & 1) < 0)
            hl_clear_register(0);
        // the indexed reduction of the batch equals the plain scan
        if (have) {
            VxSampleIndex idx;
            idx.build(samples.data(), static_cast<long>(have));
            const long a = static_cast<long>(segtype) % static_cast<long>(have);
            VxPixelatorPixel plain, fast;
            vx_fold_samples(samples.data(), a, static_cast<long>(have), plain);
            idx.reduce(a, static_cast<long>(have), fast);
            if (!same_bits(plain, fast))
                abort();
        }
    }
    px.setStats();
    long counted = 0;
    for (long j = 0; j < source->segments.max(); j++) {
        const VxPixelatorSegment& seg = source->segments.get(j);
        // a segment never holds more than the buffer, its run-ahead and one
        // hole run of the buffer's width
        if (seg.pixels.size() > 3L * px.npixels_total + 3)
            abort();
        for (const VxPixelatorPixel& c : seg.pixels) {
            if (c.npoints < -1 || c.npoints == 0)
                abort();
            if (c.npoints == -1 && (c.min != 0.0f || c.max != 0.0f))
                abort();
            if (c.npoints > 0)
                counted += c.npoints;
        }
    }
    if (counted != px.nsamp_total)
        abort();
    hl_clear_register(0);
    return 0;
}
