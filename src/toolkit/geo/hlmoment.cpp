#include "toolkit/geo/hlmoment.h"

#include "toolkit/base/errors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>

namespace {

using Vec3 = std::array<double, 3>;

constexpr double pi = 3.14159265358979323846;

// Eigenvalues of the normalised tensor (largest magnitude 1) that are
// closer to zero than this count as zero: rounding noise of a double couple
// must not make it a tiny CLVD of either sign.
constexpr double sign_tolerance = 1e-9;

// Rays this close below the horizon count as on it.
constexpr double horizon_tolerance = 1e-12;

// Samples of the nodal cone, one per 2 degrees of azimuth about its axis:
// far below a pixel at any symbol size, and small enough for a large cache.
constexpr int cone_samples = 180;

// Step of the horizon arcs and of the full circle, radians (3 degrees).
constexpr double arc_step = 3.0 * pi / 180.0;

double dot(const Vec3& a, const Vec3& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double quadratic(const double m[3][3], const Vec3& n)
{
    double q = 0.0;
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            q += n[i] * m[i][j] * n[j];
    return q;
}

// Lower-hemisphere ray (down component clamped to 0 to 1) to the disc.
HLMomentPoint project(const Vec3& n)
{
    double down = std::clamp(n[2], 0.0, 1.0);
    double h = std::hypot(n[0], n[1]);
    if (h < 1e-15)
        return {0.0, 0.0};
    double r = std::sqrt(1.0 - down);
    return {r * n[1] / h, r * n[0] / h};
}

// The horizontal unit vector at azimuth az (radians from north).
Vec3 horizon(double az)
{
    return {std::cos(az), std::sin(az), 0.0};
}

double azimuth(const Vec3& n)
{
    return std::atan2(n[1], n[0]);
}

// Where the segment from a (on the lower hemisphere) to b (above the
// horizon) meets the horizon, as a horizontal unit vector.
Vec3 horizonCrossing(const Vec3& a, const Vec3& b)
{
    double t = a[2] / (a[2] - b[2]);  // a[2] >= -tol > b[2]: denominator > 0
    t = std::clamp(t, 0.0, 1.0);
    Vec3 p = {a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1]), 0.0};
    double h = std::hypot(p[0], p[1]);
    if (h < 1e-15)  // a vertical pair cannot straddle the horizon; be safe
        return {1.0, 0.0, 0.0};
    return {p[0] / h, p[1] / h, 0.0};
}

// Points strictly between e and f along the horizon, on the side that lies
// inside the cap about the axis odd (region where odd_sign * n.M.n >= 0 and
// n.odd > 0).
void horizonArc(const double m[3][3], const Vec3& odd, double odd_sign, const Vec3& e, const Vec3& f,
                std::vector<Vec3>& out)
{
    double ae = azimuth(e);
    double d = std::remainder(azimuth(f) - ae, 2.0 * pi);  // short way, in [-pi, pi]
    double candidates[2] = {d, d >= 0.0 ? d - 2.0 * pi : d + 2.0 * pi};
    double best = candidates[0];
    double best_score = -HUGE_VAL;
    for (double c : candidates) {
        Vec3 mid = horizon(ae + 0.5 * c);
        // inside this cap first (the antipodal cap has the same polarity),
        // then the stronger polarity
        double side = dot(mid, odd);
        double score = odd_sign * quadratic(m, mid) + (side > horizon_tolerance ? 10.0 : 0.0) + 1e-3 * side;
        if (score > best_score) {
            best_score = score;
            best = c;
        }
    }
    int steps = static_cast<int>(std::ceil(std::fabs(best) / arc_step));
    for (int k = 1; k < steps; k++)
        out.push_back(horizon(ae + best * k / steps));
}

// The part of the closed spherical loop (a convex cap about odd) on the
// lower hemisphere, with horizon arcs where the loop leaves and re-enters,
// projected on the disc.
std::vector<HLMomentPoint> clipLoop(const double m[3][3], const Vec3& odd, double odd_sign,
                                    const std::vector<Vec3>& loop)
{
    const int n = static_cast<int>(loop.size());
    auto inside = [&](int i) { return loop[i][2] >= -horizon_tolerance; };
    int start = -1;
    int count_inside = 0;
    double deepest = -1.0;
    for (int i = 0; i < n; i++) {
        if (inside(i)) {
            count_inside++;
            deepest = std::max(deepest, loop[i][2]);
            if (!inside((i + n - 1) % n))
                start = i;
        }
    }
    // a cap above the horizon that only touches it (at the null axis of a
    // double couple with a vertical P or T axis) has nothing below
    if (count_inside < n && deepest <= 1e-9)
        return {};
    std::vector<Vec3> kept;
    if (count_inside == n) {
        kept = loop;
    } else if (count_inside > 0) {
        int k = 0;
        while (k < n) {
            int i = (start + k) % n;
            int next = (i + 1) % n;
            kept.push_back(loop[i]);
            k++;
            if (inside(next))
                continue;
            // leave the hemisphere: find where the loop comes back
            Vec3 exit = horizonCrossing(loop[i], loop[next]);
            int back = next;
            while (!inside(back)) {
                back = (back + 1) % n;
                k++;
            }
            Vec3 entry = horizonCrossing(loop[back], loop[(back + n - 1) % n]);
            kept.push_back(exit);
            horizonArc(m, odd, odd_sign, exit, entry, kept);
            kept.push_back(entry);
        }
    }

    std::vector<HLMomentPoint> out;
    out.reserve(kept.size());
    for (const Vec3& v : kept) {
        HLMomentPoint p = project(v);
        if (!out.empty() && std::fabs(p.x - out.back().x) < 1e-12 && std::fabs(p.y - out.back().y) < 1e-12)
            continue;
        out.push_back(p);
    }
    while (out.size() > 1 && std::fabs(out.front().x - out.back().x) < 1e-12 &&
           std::fabs(out.front().y - out.back().y) < 1e-12)
        out.pop_back();
    if (out.size() < 3)
        out.clear();  // a sliver touching the horizon: nothing to fill
    return out;
}

void fullCircle(std::vector<HLMomentPoint>& out)
{
    int steps = static_cast<int>(std::lround(2.0 * pi / arc_step));
    out.clear();
    for (int k = 0; k < steps; k++) {
        double a = 2.0 * pi * k / steps;
        out.push_back({std::sin(a), std::cos(a)});
    }
}

} // namespace

int hlmoment_eigen_symmetric(const double a_in[3][3], double values[3], double vectors[3][3])
{
    double a[3][3];
    double v[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            if (!std::isfinite(a_in[i][j]))
                return -1;
            // use the mean of the two triangles: the input need not be exact
            a[i][j] = 0.5 * (a_in[i][j] + a_in[j][i]);
        }
    }

    // cyclic Jacobi: each rotation zeroes one off-diagonal pair; the sum of
    // their squares falls quadratically once small
    for (int sweep = 0; sweep < 64; sweep++) {
        double off = std::fabs(a[0][1]) + std::fabs(a[0][2]) + std::fabs(a[1][2]);
        double diag = std::fabs(a[0][0]) + std::fabs(a[1][1]) + std::fabs(a[2][2]);
        if (off == 0.0 || off <= 1e-17 * diag)
            break;
        for (int p = 0; p < 2; p++) {
            for (int q = p + 1; q < 3; q++) {
                if (a[p][q] == 0.0)
                    continue;
                double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
                double t = std::isfinite(theta * theta)
                               ? std::copysign(1.0, theta) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0))
                               : 0.5 / theta;
                double c = 1.0 / std::sqrt(t * t + 1.0);
                double s = t * c;
                for (int k = 0; k < 3; k++) {
                    double akp = a[k][p], akq = a[k][q];
                    a[k][p] = c * akp - s * akq;
                    a[k][q] = s * akp + c * akq;
                }
                for (int k = 0; k < 3; k++) {
                    double apk = a[p][k], aqk = a[q][k];
                    a[p][k] = c * apk - s * aqk;
                    a[q][k] = s * apk + c * aqk;
                }
                a[p][q] = a[q][p] = 0.0;
                for (int k = 0; k < 3; k++) {
                    double vkp = v[k][p], vkq = v[k][q];
                    v[k][p] = c * vkp - s * vkq;
                    v[k][q] = s * vkp + c * vkq;
                }
            }
        }
    }

    int order[3] = {0, 1, 2};
    std::sort(order, order + 3, [&](int x, int y) { return a[x][x] > a[y][y]; });
    for (int k = 0; k < 3; k++) {
        values[k] = a[order[k]][order[k]];
        for (int i = 0; i < 3; i++)
            vectors[k][i] = v[i][order[k]];
    }
    // right-handed: T x B = P
    Vec3 t = {vectors[0][0], vectors[0][1], vectors[0][2]};
    Vec3 b = {vectors[1][0], vectors[1][1], vectors[1][2]};
    Vec3 cross = {t[1] * b[2] - t[2] * b[1], t[2] * b[0] - t[0] * b[2], t[0] * b[1] - t[1] * b[0]};
    if (cross[0] * vectors[2][0] + cross[1] * vectors[2][1] + cross[2] * vectors[2][2] < 0.0)
        for (int i = 0; i < 3; i++)
            vectors[1][i] = -vectors[1][i];
    return 0;
}

int hlmoment_create(const double* tensor, HLMoment** moment)
{
    if (!tensor || !moment) {
        hl_register_error(HL_SEVERITY_NORMAL, "hlmoment_create: null argument.\n");
        return -1;
    }
    double scale = 0.0;
    for (int i = 0; i < 6; i++) {
        if (!std::isfinite(tensor[i])) {
            hl_register_error(HL_SEVERITY_NORMAL, "hlmoment_create: tensor value %d is not finite.\n", i + 1);
            return -1;
        }
        scale = std::max(scale, std::fabs(tensor[i]));
    }
    if (scale == 0.0) {
        hl_register_error(HL_SEVERITY_NORMAL, "hlmoment_create: zero tensor.\n");
        return -1;
    }

    // Mrr, Mtt, Mpp, Mrt, Mrp, Mtp (up, south, east) to north, east, down
    const double rr = tensor[0] / scale, tt = tensor[1] / scale, pp = tensor[2] / scale;
    const double rt = tensor[3] / scale, rp = tensor[4] / scale, tp = tensor[5] / scale;
    HLMoment* m = new (std::nothrow) HLMoment;
    if (!m) {
        hl_register_error(HL_SEVERITY_SYSTEM, "hlmoment_create: out of memory.\n");
        return -1;
    }
    m->scale = scale;
    m->m[0][0] = tt;
    m->m[1][1] = pp;
    m->m[2][2] = rr;
    m->m[0][1] = m->m[1][0] = -tp;
    m->m[0][2] = m->m[2][0] = rt;
    m->m[1][2] = m->m[2][1] = -rp;
    if (hlmoment_eigen_symmetric(m->m, m->values, m->axes) < 0) {
        delete m;
        hl_register_error(HL_SEVERITY_NORMAL, "hlmoment_create: eigen decomposition failed.\n");
        return -1;
    }
    *moment = m;
    return 0;
}

void hlmoment_destroy(HLMoment* moment)
{
    delete moment;
}

void hlmoment_clear_bb_points(HLMomentCurve curves[2])
{
    if (!curves)
        return;
    for (int i = 0; i < 2; i++) {
        curves[i].circle = 0;
        curves[i].points.clear();
    }
}

double hlmoment_polarity(const HLMoment* moment, const double n[3])
{
    if (!moment || !n)
        return 0.0;
    return quadratic(moment->m, {n[0], n[1], n[2]});
}

int hlmoment_disc_to_ray(double x, double y, double n[3])
{
    double r2 = x * x + y * y;
    if (!(r2 <= 1.0 + 1e-12))
        return -1;
    double down = std::max(0.0, 1.0 - r2);
    double r = std::sqrt(r2);
    if (r == 0.0) {
        n[0] = n[1] = 0.0;
        n[2] = 1.0;
        return 0;
    }
    double h = std::sqrt(std::max(0.0, 1.0 - down * down));
    n[0] = h * y / r;
    n[1] = h * x / r;
    n[2] = down;
    return 0;
}

int hlmoment_compute_bb_points(const HLMoment* moment, HLMomentCurve curves[2])
{
    if (!moment || !curves) {
        hl_register_error(HL_SEVERITY_NORMAL, "hlmoment_compute_bb_points: null argument.\n");
        return -1;
    }
    hlmoment_clear_bb_points(curves);

    const double* l = moment->values;
    int positive = 0, negative = 0;
    for (int k = 0; k < 3; k++) {
        positive += l[k] > sign_tolerance;
        negative += l[k] < -sign_tolerance;
    }
    if (negative == 0 && positive > 0) {
        // explosion (or a single positive dipole): compressional everywhere
        fullCircle(curves[0].points);
        return 1;
    }
    if (positive == 0)
        return 0;  // implosion: nothing compressional

    // The odd axis is the one whose sign the other two don't share.  With
    // the middle value zero (a double couple) either end will do: take P.
    int o = l[1] < -sign_tolerance ? 0 : 2;
    int ia = o == 0 ? 1 : 0;
    int ib = o == 0 ? 2 : 1;
    const double odd_sign = l[o] > 0.0 ? 1.0 : -1.0;
    const Vec3 axis_o = {moment->axes[o][0], moment->axes[o][1], moment->axes[o][2]};
    const Vec3 axis_a = {moment->axes[ia][0], moment->axes[ia][1], moment->axes[ia][2]};
    const Vec3 axis_b = {moment->axes[ib][0], moment->axes[ib][1], moment->axes[ib][2]};

    // The nodal cone about the odd axis: at azimuth phi about it the ray
    // sin(th) (cos(phi) a + sin(phi) b) + cos(th) o has
    // la sin^2 cos^2 + lb sin^2 sin^2 + lo cos^2 = 0, so
    // tan^2(th) = -lo / (la cos^2(phi) + lb sin^2(phi)); a zero denominator
    // (the null axis of a double couple) is th = 90 degrees.
    std::vector<Vec3> loop(cone_samples);
    std::vector<Vec3> antiloop(cone_samples);
    for (int k = 0; k < cone_samples; k++) {
        double phi = 2.0 * pi * k / cone_samples;
        double c = std::cos(phi), s = std::sin(phi);
        double den = std::max(0.0, -odd_sign * (l[ia] * c * c + l[ib] * s * s));
        double th = std::atan2(std::sqrt(std::fabs(l[o])), std::sqrt(den));
        double st = std::sin(th), ct = std::cos(th);
        for (int i = 0; i < 3; i++) {
            loop[k][i] = st * (c * axis_a[i] + s * axis_b[i]) + ct * axis_o[i];
            antiloop[k][i] = -loop[k][i];
        }
    }
    const Vec3 anti_o = {-axis_o[0], -axis_o[1], -axis_o[2]};
    curves[0].points = clipLoop(moment->m, axis_o, odd_sign, loop);
    curves[1].points = clipLoop(moment->m, anti_o, odd_sign, antiloop);

    int found = !curves[0].points.empty() + !curves[1].points.empty();
    if (odd_sign < 0.0) {
        // the caps are dilatational: the compressional part is the disc
        // without them, so the first contour brings the circle in
        if (found == 0) {
            fullCircle(curves[0].points);
            return 1;
        }
        (curves[0].points.empty() ? curves[1] : curves[0]).circle = 1;
    }
    return found;
}
