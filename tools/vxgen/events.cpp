// Events: true sources along the San Andreas fault system, the picks a
// network would make of them, located origins with error ellipses and
// local magnitudes.
//
// Amplitudes follow the local magnitude scale of southern California
// (Hutton and Boore, 1987): log10 A = ML - 1.11 log10(r/100) - 0.00189 (r -
// 100) - 3.0, with A the Wood-Anderson amplitude in mm at hypocentral
// distance r km; ground displacement is A / 2080 (the Wood-Anderson gain).
// A phase is picked where its peak stands at least kPickSnr times above the
// rms of the station's noise.
#include "generator.h"
#include "rng.h"
#include "toolkit/geo/traveltime.h"

#include "toolkit/base/errors.h"
#include "toolkit/geo/geo.h"
#include "toolkit/base/hltime.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kDeg = M_PI / 180.0;
constexpr double kEarthKm = 6371.0;
constexpr double kKmPerDeg = kEarthKm * kDeg;
constexpr double kPickSnr = 6.0;

// The fault trace events cluster along, south-east to north-west.
const double kFault[][2] = {
    {32.90, -115.55}, {33.35, -116.00}, {33.95, -116.90}, {34.30, -117.50},
    {34.80, -118.85}, {35.30, -119.50}, {35.90, -120.40},
};

double wrap360(double a)
{
    a = std::fmod(a, 360.0);
    return a < 0.0 ? a + 360.0 : a;
}

double wrap180(double a)
{
    a = wrap360(a + 180.0);
    return a - 180.0;
}

// Epicentral distance (degrees), event-to-station and station-to-event
// azimuths (degrees).
void geometry(double elat, double elon, const VxgenStation& s, double* delta_deg, double* esaz, double* seaz)
{
    double del = 0.0, az = 0.0, baz = 0.0;
    geoarc(&del, &az, elat * kDeg, elon * kDeg, s.lat * kDeg, s.lon * kDeg);
    geoarc(nullptr, &baz, s.lat * kDeg, s.lon * kDeg, elat * kDeg, elon * kDeg);
    *delta_deg = del / kDeg;
    *esaz = wrap360(az / kDeg);
    *seaz = wrap360(baz / kDeg);
}

// Ground displacement in nm of the S wave of magnitude ml at hypocentral
// distance r_km, and its inverse.
double ml_amplitude_nm(double ml, double r_km)
{
    r_km = std::max(r_km, 1.0);
    const double log_mm = ml - 1.11 * std::log10(r_km / 100.0) - 0.00189 * (r_km - 100.0) - 3.0;
    return std::pow(10.0, log_mm) * 1e6 / 2080.0;
}

double ml_from_amplitude(double amp_nm, double r_km)
{
    r_km = std::max(r_km, 1.0);
    return std::log10(amp_nm * 2080.0 / 1e6) + 1.11 * std::log10(r_km / 100.0) + 0.00189 * (r_km - 100.0) + 3.0;
}

// A point of the fault zone: along the trace, then up to 25 km off it.
void fault_point(VxgenRandom& rnd, double* lat, double* lon)
{
    const int nseg = static_cast<int>(sizeof kFault / sizeof kFault[0]) - 1;
    const double u = rnd.uniform() * nseg;
    const int i = std::min(static_cast<int>(u), nseg - 1);
    const double f = u - i;
    const double la = kFault[i][0] + f * (kFault[i + 1][0] - kFault[i][0]);
    const double lo = kFault[i][1] + f * (kFault[i + 1][1] - kFault[i][1]);
    double plat = 0.0, plon = 0.0;
    geopointat(&plat, &plon, la * kDeg, lo * kDeg, rnd.uniform(0.0, 25.0) / kEarthKm, rnd.uniform(0.0, 2.0 * M_PI));
    *lat = plat / kDeg;
    *lon = plon / kDeg;
}

// The signal of one phase at a station, and the share of each channel.
VxgenSignal make_signal(VxgenRandom& rnd, char phase, double onset, double amp_nm, double freq, double ml,
                        double dist_km, double emergence_deg, double esaz, double polarity)
{
    VxgenSignal g{};
    g.time = onset;
    g.amp_nm = amp_nm;
    g.freq_hz = freq;
    g.rise_s = 0.25 / freq;
    const double c = std::cos(esaz * kDeg), s = std::sin(esaz * kDeg);
    if (phase == 'P') {
        g.decay_s = 0.8 + 0.4 * ml + dist_km / 150.0;
        const double z = std::cos(emergence_deg * kDeg), r = std::sin(emergence_deg * kDeg);
        g.weight[0] = polarity * z;
        g.weight[1] = polarity * r * c;
        g.weight[2] = polarity * r * s;
    } else {
        g.decay_s = 1.5 + 1.2 * ml + dist_km / 60.0;
        const double z = 0.3, r = 0.5, t = 0.85 * (rnd.uniform() < 0.5 ? -1.0 : 1.0);
        g.weight[0] = z;
        g.weight[1] = r * c - t * s;
        g.weight[2] = r * s + t * c;
    }
    g.phase_rad[0] = 0.0;  // the main partial starts with the first motion
    g.phase_rad[1] = rnd.uniform(0.0, 2.0 * M_PI);
    g.phase_rad[2] = rnd.uniform(0.0, 2.0 * M_PI);
    return g;
}

// The first arrival of phase 'P' or 'S' at delta_deg from a source at
// depth_km, through the library's earth model; negative with a registered
// line.
int first_arrival(char phase, double delta_deg, double depth_km, TtArrival* out)
{
    const char name[2] = {phase, '\0'};
    TtArrival a[TT_MAX_ARRIVALS];
    const int n = tt_compute(depth_km, delta_deg, 0.0, name, 0.0, 0.0, a, TT_MAX_ARRIVALS);
    if (n < 1) {
        hl_register_error(0, "first_arrival: No %c at %g degrees from %g km.\n", phase, delta_deg, depth_km);
        return -1;
    }
    *out = a[0];
    return 0;
}

// Associate the picks with an origin at lat, lon, depth_km, time.
int associate(const VxgenData& data, const VxgenEvent& ev, VxgenOrigin& o, bool p_only)
{
    double sum2 = 0.0;
    for (size_t k = 0; k < ev.picks.size(); k++) {
        const VxgenPick& pk = ev.picks[k];
        if (p_only && pk.phase != 'P')
            continue;
        VxgenAssoc a{};
        a.pick = static_cast<int>(k);
        geometry(o.lat, o.lon, data.stations[static_cast<size_t>(pk.station)], &a.delta_deg, &a.esaz, &a.seaz);
        TtArrival tt{};
        if (first_arrival(pk.phase, a.delta_deg, o.depth_km, &tt) < 0) {
            hl_register_error(0, "associate: No travel time of arrival %ld.\n", pk.arid);
            return -1;
        }
        a.timeres = pk.time - (o.time + tt.time_s);
        a.azres = wrap180(pk.azimuth - a.seaz);
        a.slores = pk.slow_s_deg - tt.slowness_s_deg;
        a.emares = pk.ema - tt.emergence_deg;
        a.wgt = std::min(1.0, 0.05 / pk.deltim);
        a.timedef = "d";
        sum2 += a.timeres * a.timeres;
        o.assocs.push_back(a);
    }
    // the origin time that fits the picks best: no mean residual
    if (!o.assocs.empty()) {
        const double n = static_cast<double>(o.assocs.size());
        double mean = 0.0;
        for (const VxgenAssoc& a : o.assocs)
            mean += a.timeres / n;
        o.time += mean;
        for (VxgenAssoc& a : o.assocs)
            a.timeres -= mean;
        sum2 -= n * mean * mean;
        o.sdobs = std::sqrt(std::max(0.0, sum2 / n));
    } else {
        o.sdobs = -1.0;
    }
    return 0;
}

// Error ellipse from the number of phases; the origin is drawn inside it.
void locate(VxgenRandom& rnd, const VxgenEvent& ev, int nphase, double scale, VxgenOrigin& o)
{
    const double n = std::max(1, nphase);
    o.smajax = scale * (0.6 + 8.0 / std::sqrt(n)) * rnd.uniform(0.8, 1.2);
    o.sminax = o.smajax * rnd.uniform(0.4, 0.9);
    o.strike = rnd.uniform(0.0, 180.0);
    o.sdepth = scale * (1.0 + 6.0 / std::sqrt(n));
    o.stime = scale * (0.05 + 0.6 / std::sqrt(n));
    // 90 per cent ellipse: the axes are 2.146 standard deviations
    const double a = rnd.normal() * o.smajax / 2.146, b = rnd.normal() * o.sminax / 2.146;
    const double east = a * std::sin(o.strike * kDeg) - b * std::cos(o.strike * kDeg);
    const double north = a * std::cos(o.strike * kDeg) + b * std::sin(o.strike * kDeg);
    o.lat = ev.lat + north / kKmPerDeg;
    o.lon = ev.lon + east / (kKmPerDeg * std::cos(ev.lat * kDeg));
    o.depth_km = std::clamp(ev.depth_km + rnd.normal() * o.sdepth / 1.645, 0.5, 30.0);
    o.time = ev.time + rnd.normal() * o.stime / 1.645;
}

int make_event(VxgenData& data, VxgenRandom& rnd, int index, double slot_s)
{
    const VxgenOptions& opt = data.opt;
    VxgenEvent ev;
    ev.evid = ++data.last_evid;
    const double lead = std::min(30.0, 0.1 * slot_s), tail = std::min(200.0, 0.5 * slot_s);
    ev.time = opt.start + index * slot_s + rnd.uniform(lead, slot_s - tail);
    fault_point(rnd, &ev.lat, &ev.lon);
    ev.depth_km = std::clamp(9.0 + 4.0 * rnd.normal(), 1.0, 20.0);
    // Gutenberg-Richter, b = 1, from 2.5 to 5.0
    ev.ml = 2.5 - std::log10(1.0 - rnd.uniform() * (1.0 - std::pow(10.0, -2.5)));
    const double end = opt.start + opt.hours * 3600.0;
    const double nyquist_cap = 0.35 * opt.samprate;
    const double polarity_p = rnd.uniform() < 0.5 ? -1.0 : 1.0;

    for (size_t j = 0; j < data.stations.size(); j++) {
        const VxgenStation& st = data.stations[j];
        double delta = 0.0, esaz = 0.0, seaz = 0.0;
        geometry(ev.lat, ev.lon, st, &delta, &esaz, &seaz);
        const double dist_km = delta * kKmPerDeg;
        const double r_km = std::hypot(dist_km, ev.depth_km);
        TtArrival tp{}, ts{};
        if (first_arrival('P', delta, ev.depth_km, &tp) < 0 || first_arrival('S', delta, ev.depth_km, &ts) < 0) {
            hl_register_error(0, "make_event: No travel times to %s.\n", st.sta);
            return -1;
        }
        const double amp_s = ml_amplitude_nm(ev.ml, r_km) * std::pow(10.0, 0.15 * rnd.normal());
        const double amp_p = amp_s * rnd.uniform(0.25, 0.4);
        const double freq = std::min(nyquist_cap, 8.0 * std::pow(10.0, -0.25 * (ev.ml - 2.0)) * rnd.uniform(0.85, 1.15));
        const double freq_p = std::min(nyquist_cap, 1.4 * freq);
        // a crude radiation pattern: the polarity flips across a nodal azimuth
        const double polarity = std::sin((esaz - 35.0) * 2.0 * kDeg) >= 0.0 ? polarity_p : -polarity_p;
        VxgenSignal gp = make_signal(rnd, 'P', ev.time + tp.time_s, amp_p, freq_p, ev.ml, dist_km, tp.emergence_deg,
                                     esaz, polarity);
        VxgenSignal gs = make_signal(rnd, 'S', ev.time + ts.time_s, amp_s, freq, ev.ml, dist_km, ts.emergence_deg,
                                     esaz, 1.0);
        data.signals[j].push_back(gp);
        data.signals[j].push_back(gs);

        // the carrier's partials rarely line up: the peak is about 0.7 of
        // the nominal amplitude
        const double snr_p = 0.7 * amp_p * std::fabs(gp.weight[0]) / st.noise_nm;
        const int s_chan = std::fabs(gs.weight[1]) >= std::fabs(gs.weight[2]) ? 1 : 2;
        const double snr_s = 0.7 * amp_s * std::fabs(gs.weight[s_chan]) / st.noise_nm;
        const bool p_seen = snr_p >= kPickSnr && gp.time > opt.start + 25.0 && gp.time < end - 5.0;
        const bool s_seen = p_seen && snr_s >= kPickSnr && gs.time < end - 5.0;
        for (int ph = 0; ph < 2; ph++) {
            if (!(ph == 0 ? p_seen : s_seen))
                continue;
            const bool is_p = ph == 0;
            const VxgenSignal& g = is_p ? gp : gs;
            const TtArrival& tt = is_p ? tp : ts;
            const double snr = is_p ? snr_p : snr_s;
            VxgenPick pk{};
            pk.station = static_cast<int>(j);
            pk.phase = is_p ? 'P' : 'S';
            pk.channel = is_p ? 0 : s_chan;
            pk.arid = ++data.last_arid;
            pk.deltim = std::clamp((is_p ? 0.04 : 0.08) + 1.5 / snr, 0.04, 0.5);
            pk.time = g.time + 0.5 * pk.deltim * rnd.normal();
            pk.delaz = std::clamp(5.0 + 80.0 / snr, 5.0, 45.0);
            pk.azimuth = wrap360(seaz + 0.5 * pk.delaz * rnd.normal());
            const double slow = tt.slowness_s_deg;
            pk.delslo = 0.1 * slow + 2.0 / snr;
            pk.slow_s_deg = std::max(0.5, slow + 0.5 * pk.delslo * rnd.normal());
            pk.ema = std::clamp(tt.emergence_deg + 3.0 * rnd.normal(), 1.0, 89.0);
            pk.rect = is_p ? rnd.uniform(0.6, 0.95) : rnd.uniform(0.3, 0.7);
            pk.amp_nm = g.amp_nm;
            pk.per_s = 1.0 / g.freq_hz;
            pk.snr = snr;
            pk.fm = is_p && snr > 15.0 ? (g.weight[0] > 0.0 ? "c." : "d.") : "-";
            pk.qual = snr > 20.0 ? "i" : "e";
            ev.picks.push_back(pk);
        }
    }

    int np = 0, ns = 0;
    for (const VxgenPick& pk : ev.picks)
        (pk.phase == 'P' ? np : ns)++;
    // an automatic solution first, from P alone, for some events
    if (np >= 3 && rnd.uniform() < 0.4) {
        VxgenOrigin a;
        a.orid = ++data.last_orid;
        a.automatic = true;
        a.dtype = "r";
        locate(rnd, ev, np, 3.0, a);
        a.depth_km = 8.0;  // held fixed by the automatic locator
        if (associate(data, ev, a, true) < 0)
            return -1;
        ev.origins.push_back(std::move(a));
    }
    VxgenOrigin o;
    o.orid = ++data.last_orid;
    o.automatic = false;
    o.dtype = "f";
    locate(rnd, ev, np + ns, 1.0, o);
    if (associate(data, ev, o, false) < 0)
        return -1;
    double sum = 0.0, sum2 = 0.0;
    for (const VxgenAssoc& a : o.assocs) {
        const VxgenPick& pk = ev.picks[static_cast<size_t>(a.pick)];
        if (pk.phase != 'S')
            continue;
        const double r_km = std::hypot(a.delta_deg * kKmPerDeg, o.depth_km);
        const double m = ml_from_amplitude(pk.amp_nm, r_km);
        o.stamags.push_back({a.pick, m});
        sum += m;
        sum2 += m * m;
    }
    if (!o.stamags.empty()) {
        const double n = static_cast<double>(o.stamags.size());
        o.mlid = ++data.last_magid;
        o.ml = sum / n;
        o.ml_uncertainty = n > 1 ? std::sqrt(std::max(0.0, sum2 / n - o.ml * o.ml)) : 0.3;
    }
    ev.origins.push_back(std::move(o));
    data.events.push_back(std::move(ev));
    return 0;
}

} // namespace

int vxgen_make_events(VxgenData& data)
{
    VxgenRandom rnd(VxgenRandom::mix(data.opt.seed, 2));
    data.events.clear();
    data.signals.assign(data.stations.size(), {});
    const double slot_s = data.opt.events > 0 ? data.opt.hours * 3600.0 / data.opt.events : 0.0;
    for (int i = 0; i < data.opt.events; i++) {
        if (make_event(data, rnd, i, slot_s) < 0) {
            hl_register_error(0, "vxgen_make_events: Cannot make event %d.\n", i + 1);
            return -1;
        }
    }
    for (auto& list : data.signals)
        std::stable_sort(list.begin(), list.end(),
                         [](const VxgenSignal& a, const VxgenSignal& b) { return a.time < b.time; });
    return 0;
}
