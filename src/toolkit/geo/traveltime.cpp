#include "toolkit/geo/traveltime.h"

#include "toolkit/base/errors.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kRadToDeg = 180.0 / M_PI;

const TtLayer kHadleyKanamori[] = {
    {0.0, 5.5, 5.5 / 1.73},
    {5.5, 6.3, 6.3 / 1.73},
    {16.0, 6.7, 6.7 / 1.73},
    {32.0, 7.8, 7.8 / 1.73},
};

// A leg of a ray: a thickness of one layer crossed once, and its velocity.
struct Leg
{
    double h_km;
    double v_km_s;
};

// Horizontal distance and travel time of the legs for ray parameter p.
void legs_distance(const Leg* legs, int n, double p, double* x_km, double* tau_s)
{
    double x = 0.0, tau = 0.0;
    for (int i = 0; i < n; i++) {
        const double pv = p * legs[i].v_km_s;
        const double c = std::sqrt(std::max(0.0, 1.0 - pv * pv));
        x += c > 0.0 ? legs[i].h_km * pv / c : HUGE_VAL;
        tau += legs[i].h_km * c / legs[i].v_km_s;  // h * sqrt(1/v^2 - p^2)
    }
    *x_km = x;
    *tau_s = tau;
}

double angle_deg(double p, double v)
{
    return std::asin(std::clamp(p * v, 0.0, 1.0)) * kRadToDeg;
}

} // namespace

const TtLayer* tt_default_model(int* nlayers)
{
    if (nlayers)
        *nlayers = static_cast<int>(sizeof kHadleyKanamori / sizeof kHadleyKanamori[0]);
    return kHadleyKanamori;
}

int tt_layered_first_arrival(const TtLayer* layers, int nlayers, char phase, double distance_km, double depth_km,
                             TtArrival* out)
{
    constexpr int kMaxLayers = 64;
    if (!layers || nlayers < 1 || nlayers > kMaxLayers || layers[0].top_km != 0.0) {
        hl_register_error(0, "tt_layered_first_arrival: Bad model of %d layers.\n", nlayers);
        return -1;
    }
    if (phase != 'P' && phase != 'S') {
        hl_register_error(0, "tt_layered_first_arrival: Unknown phase '%c'.\n", phase);
        return -1;
    }
    if (!(distance_km >= 0.0 && distance_km <= 20000.0) || !(depth_km >= 0.0 && depth_km <= 700.0) || !out) {
        hl_register_error(0, "tt_layered_first_arrival: Bad distance %g km or depth %g km.\n", distance_km, depth_km);
        return -1;
    }
    double v[kMaxLayers];
    for (int i = 0; i < nlayers; i++) {
        v[i] = phase == 'P' ? layers[i].vp_km_s : layers[i].vs_km_s;
        const bool rising = i == 0 || layers[i].top_km > layers[i - 1].top_km;
        if (!(v[i] > 0.0 && v[i] < 1e3) || !rising || !std::isfinite(layers[i].top_km)) {
            hl_register_error(0, "tt_layered_first_arrival: Bad layer %d of the model.\n", i);
            return -1;
        }
    }
    int s = 0;  // the layer of the source
    while (s + 1 < nlayers && layers[s + 1].top_km <= depth_km)
        s++;
    const double x = distance_km;

    // the direct ray, from the source up through the layers above it
    Leg up[kMaxLayers];
    int nup = 0;
    double vmax = 0.0;
    for (int i = 0; i <= s; i++) {
        const double bottom = i == s ? depth_km : layers[i + 1].top_km;
        const double h = bottom - layers[i].top_km;
        if (h > 0.0) {
            up[nup++] = {h, v[i]};
            vmax = std::max(vmax, v[i]);
        }
    }
    TtArrival best{};
    if (nup == 0) {
        // a source at the surface: along the surface in the top layer
        best = {x / v[0], 1.0 / v[0], 90.0, 90.0, -1};
    } else {
        const double pmax = 1.0 / vmax;
        double lo = 0.0, hi = pmax * (1.0 - 1e-12), xd = 0.0, tau = 0.0;
        legs_distance(up, nup, hi, &xd, &tau);
        double p = hi;
        if (xd > x) {
            for (int it = 0; it < 200 && hi - lo > 1e-15 * pmax; it++) {
                const double mid = 0.5 * (lo + hi);
                legs_distance(up, nup, mid, &xd, &tau);
                (xd < x ? lo : hi) = mid;
            }
            p = 0.5 * (lo + hi);
        }
        legs_distance(up, nup, p, &xd, &tau);
        best = {p * x + tau, p, angle_deg(p, v[0]), 180.0 - angle_deg(p, v[s]), -1};
    }

    // head waves along the top of every layer below the source that is
    // faster than all the layers above it
    for (int k = s + 1; k < nlayers; k++) {
        bool fastest = true;
        for (int i = 0; i < k; i++)
            fastest = fastest && v[k] > v[i];
        if (!fastest)
            continue;
        const double p = 1.0 / v[k];
        Leg legs[2 * kMaxLayers];
        int n = 0;
        // up from the refractor through the whole column, and down to it
        // from the source
        for (int i = 0; i < k; i++)
            legs[n++] = {layers[i + 1].top_km - layers[i].top_km, v[i]};
        for (int i = s; i < k; i++) {
            const double top = i == s ? depth_km : layers[i].top_km;
            const double h = layers[i + 1].top_km - top;
            if (h > 0.0)
                legs[n++] = {h, v[i]};
        }
        double xmin = 0.0, tau = 0.0;
        legs_distance(legs, n, p, &xmin, &tau);
        if (x < xmin)
            continue;
        const double t = p * x + tau;
        if (t < best.time_s)
            best = {t, p, angle_deg(p, v[0]), angle_deg(p, v[s]), k};
    }
    *out = best;
    return 0;
}

int tt_first_arrival(char phase, double distance_km, double depth_km, TtArrival* out)
{
    int n = 0;
    const TtLayer* model = tt_default_model(&n);
    if (tt_layered_first_arrival(model, n, phase, distance_km, depth_km, out) < 0) {
        hl_register_error(0, "tt_first_arrival: No %c time at %g km for depth %g km.\n", phase, distance_km,
                          depth_km);
        return -1;
    }
    return 0;
}
