// Synthetic seismograms and wfdisc.
//
// Layout: one file per station and UTC day, "wf/<sta>.<yyyyddd>.w" beside
// the database, holding the segments of BHZ, BHN and BHE of that day one
// after the other (foff 0, nsamp * 4, 2 * nsamp * 4), as 4-byte big-endian
// integers ("s4").  A recording that crosses midnight is cut there into
// segments of their own, each with its own wfdisc row.
//
// Every channel is background noise (an ocean microseism near 6 s and a
// broadband part, each from the channel's own random stream, carried over
// from one day to the next) plus, for every event, a wavelet at the P and at
// the S onset: three partials around the dominant frequency under an
// envelope that rises within a quarter period and decays exponentially.
#include "generator.h"
#include "rng.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

constexpr long kBlock = 1 << 16;  // samples made and written at a time
constexpr double kCalper = 1.0;

// The noise of one channel.
class Noise
{
public:
    Noise(uint64_t seed, double rms_nm, double samprate) : rnd_(seed)
    {
        // microseism: a resonance at 0.17 Hz, 0.05 Hz wide, 60 per cent of
        // the variance
        const double r = std::exp(-M_PI * 0.05 / samprate);
        a1_ = 2.0 * r * std::cos(2.0 * M_PI * 0.17 / samprate);
        a2_ = -r * r;
        const double var2 = (1.0 - a2_) / ((1.0 + a2_) * ((1.0 - a2_) * (1.0 - a2_) - a1_ * a1_));
        g2_ = rms_nm * std::sqrt(0.6 / var2);
        // the rest: white noise through a low pass at 5 Hz
        b_ = std::exp(-2.0 * M_PI * std::min(5.0, 0.4 * samprate) / samprate);
        g1_ = rms_nm * std::sqrt(0.4 * (1.0 - b_ * b_));
        // settle the filters for a minute before the first sample
        for (long i = 0, n = static_cast<long>(60.0 * samprate); i < n; i++)
            next();
    }

    double next()
    {
        const double m = a1_ * m1_ + a2_ * m2_ + g2_ * rnd_.quick_normal();
        m2_ = m1_;
        m1_ = m;
        h_ = b_ * h_ + g1_ * rnd_.quick_normal();
        return m + h_;
    }

private:
    VxgenRandom rnd_;
    double a1_ = 0, a2_ = 0, g2_ = 0, m1_ = 0, m2_ = 0;
    double b_ = 0, g1_ = 0, h_ = 0;
};

// Add the signals of channel c to samples [k0, k0 + n) (nm) of a recording
// that starts at start.
void add_signals(const std::vector<VxgenSignal>& signals, int c, double start, double samprate, double noise_nm,
                 long k0, long n, double* nm)
{
    for (const VxgenSignal& g : signals) {
        const double w = g.amp_nm * g.weight[c];
        // a wavelet ends where it sinks below a fiftieth of the noise
        const double above_noise = std::fabs(w) / (0.02 * noise_nm);
        if (above_noise <= 1.0)
            continue;
        const double duration = 5.0 * g.rise_s + std::min(7.0, std::log(above_noise)) * g.decay_s;
        const double off = (g.time - start) * samprate;  // onset, in samples
        const long first = std::max(k0, static_cast<long>(std::ceil(off)));
        const long last = std::min(k0 + n, static_cast<long>(std::floor(off + duration * samprate)) + 1);
        if (first >= last)
            continue;
        const double peak_t = g.rise_s * std::log(1.0 + g.decay_s / g.rise_s);
        const double env_max = (1.0 - std::exp(-peak_t / g.rise_s)) * std::exp(-peak_t / g.decay_s);
        const double f = 2.0 * M_PI * g.freq_hz;
        for (long k = first; k < last; k++) {
            const double tau = (static_cast<double>(k) - off) / samprate;
            const double env = (1.0 - std::exp(-tau / g.rise_s)) * std::exp(-tau / g.decay_s) / env_max;
            const double carrier = (std::sin(f * tau + g.phase_rad[0]) + 0.5 * std::sin(0.7 * f * tau + g.phase_rad[1]) +
                                    0.4 * std::sin(1.25 * f * tau + g.phase_rad[2])) /
                                   1.9;
            nm[k - k0] += w * env * carrier;
        }
    }
}

// Write samples [k0, k1) of channel c of station st to the open file.
// Sets *clipped when a count had to be cut to the 32-bit range.
int write_segment(FILE* fp, const char* path, const VxgenData& data, size_t st, int c, Noise& noise, long k0, long k1,
                  bool* clipped)
{
    const VxgenStation& s = data.stations[st];
    std::vector<double> nm(static_cast<size_t>(kBlock));
    std::vector<unsigned char> bytes(static_cast<size_t>(kBlock) * 4);
    for (long b = k0; b < k1; b += kBlock) {
        const long n = std::min(kBlock, k1 - b);
        for (long i = 0; i < n; i++)
            nm[static_cast<size_t>(i)] = noise.next();
        add_signals(data.signals[st], c, data.opt.start, data.opt.samprate, s.noise_nm, b, n, nm.data());
        for (long i = 0; i < n; i++) {
            double counts = std::nearbyint(nm[static_cast<size_t>(i)] / s.calib);
            if (counts > INT32_MAX || counts < -static_cast<double>(INT32_MAX)) {
                counts = std::clamp(counts, -static_cast<double>(INT32_MAX), static_cast<double>(INT32_MAX));
                *clipped = true;
            }
            const auto v = static_cast<uint32_t>(static_cast<int32_t>(counts));
            unsigned char* p = &bytes[static_cast<size_t>(i) * 4];
            p[0] = static_cast<unsigned char>(v >> 24);
            p[1] = static_cast<unsigned char>(v >> 16);
            p[2] = static_cast<unsigned char>(v >> 8);
            p[3] = static_cast<unsigned char>(v);
        }
        if (fwrite(bytes.data(), 4, static_cast<size_t>(n), fp) != static_cast<size_t>(n)) {
            hl_register_error(0, "write_segment: Cannot write %s: %s.\n", path, strerror(errno));
            return -1;
        }
    }
    return 0;
}

} // namespace

int vxgen_write_waveforms(VxgenData& data, Rsptr db)
{
    const VxgenOptions& opt = data.opt;
    const double sr = opt.samprate;
    const long total = std::lround(opt.hours * 3600.0 * sr);
    // the segments: [k0, k1) within one UTC day each
    std::vector<std::pair<long, long>> segments;
    for (long k = 0; k < total;) {
        const double t = opt.start + static_cast<double>(k) / sr;
        const double midnight = (std::floor(t / 86400.0) + 1.0) * 86400.0;
        long end = std::min(total, static_cast<long>(std::ceil((midnight - opt.start) * sr - 1e-6)));
        if (end <= k)
            end = k + 1;
        segments.emplace_back(k, end);
        k = end;
    }
    const std::string base_dir = opt.outbase.find('/') == std::string::npos
                                     ? std::string(".")
                                     : opt.outbase.substr(0, opt.outbase.find_last_of('/'));
    for (size_t st = 0; st < data.stations.size(); st++) {
        const VxgenStation& s = data.stations[st];
        std::vector<Noise> noise;
        for (int c = 0; c < 3; c++)
            noise.emplace_back(VxgenRandom::mix(opt.seed, 3, st * 3 + static_cast<uint64_t>(c)), s.noise_nm, sr);
        for (const auto& [k0, k1] : segments) {
            const double t0 = opt.start + static_cast<double>(k0) / sr;
            char dfile[40], path[4096];
            snprintf(dfile, sizeof dfile, "%s.%07d.w", s.sta, timejdate(t0));
            snprintf(path, sizeof path, "%s/wf/%s", base_dir.c_str(), dfile);
            FILE* fp = fopen(path, "wb");
            if (!fp) {
                hl_register_error(0, "vxgen_write_waveforms: Cannot create %s: %s.\n", path, strerror(errno));
                return -1;
            }
            const long nsamp = k1 - k0;
            for (int c = 0; c < 3; c++) {
                bool clipped = false;
                if (write_segment(fp, path, data, st, c, noise[static_cast<size_t>(c)], k0, k1, &clipped) < 0) {
                    fclose(fp);
                    hl_register_error(0, "vxgen_write_waveforms: Cannot write %s %s.\n", s.sta, kVxgenChannels[c]);
                    return -1;
                }
                Rsptr w = vxgen_scratch(db, "wfdisc");
                if (rsisinvalid(w) ||
                    rsputv(w, nullptr, "sta", s.sta, "chan", kVxgenChannels[c], "time", t0, "wfid", ++data.last_wfid,
                           "chanid", s.chanid[c], "jdate", static_cast<long>(timejdate(t0)), "endtime",
                           opt.start + static_cast<double>(k1 - 1) / sr, "nsamp", nsamp, "samprate", sr, "calib",
                           s.calib, "calper", kCalper, "instype", "STS-2", "segtype", "o", "datatype", "s4", "clip",
                           clipped ? "c" : "n", "dir", "wf", "dfile", dfile, "foff", c * nsamp * 4L, nullptr) < 0 ||
                    vxgen_add(w, data.lddate) < 0) {
                    fclose(fp);
                    hl_register_error(0, "vxgen_write_waveforms: Cannot write the wfdisc of %s %s.\n", s.sta,
                                      kVxgenChannels[c]);
                    return -1;
                }
            }
            if (fclose(fp) != 0) {
                hl_register_error(0, "vxgen_write_waveforms: Cannot close %s: %s.\n", path, strerror(errno));
                return -1;
            }
        }
    }
    return 0;
}
