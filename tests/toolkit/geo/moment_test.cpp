// Moment tensors: eigen-decomposition, principal axes of known mechanisms,
// and the compressional contours on the lower hemisphere checked point by
// point against the radiation pattern.
#include "support/testsupport.h"

#include "toolkit/geo/hlmoment.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

using Tensor = std::array<double, 6>;  // Mrr, Mtt, Mpp, Mrt, Mrp, Mtp

// Tensor of a double couple from strike, dip and rake (degrees), by the
// north-east-down formulas of the standard texts, in the r, t, p order.
Tensor doubleCouple(double strike, double dip, double rake)
{
    const double d2r = M_PI / 180.0;
    double f = strike * d2r, d = dip * d2r, l = rake * d2r;
    double mxx =
        -(std::sin(d) * std::cos(l) * std::sin(2 * f) + std::sin(2 * d) * std::sin(l) * std::sin(f) * std::sin(f));
    double mxy = std::sin(d) * std::cos(l) * std::cos(2 * f) + 0.5 * std::sin(2 * d) * std::sin(l) * std::sin(2 * f);
    double mxz = -(std::cos(d) * std::cos(l) * std::cos(f) + std::cos(2 * d) * std::sin(l) * std::sin(f));
    double myy =
        std::sin(d) * std::cos(l) * std::sin(2 * f) - std::sin(2 * d) * std::sin(l) * std::cos(f) * std::cos(f);
    double myz = -(std::cos(d) * std::cos(l) * std::sin(f) - std::cos(2 * d) * std::sin(l) * std::cos(f));
    double mzz = std::sin(2 * d) * std::sin(l);
    return {mzz, mxx, myy, mxz, -myz, -mxy};
}

// Even-odd inside test of a point against all contours of a result, the
// unit circle counting once for a contour that asks for it.
bool insideContours(const HLMomentCurve curves[2], double x, double y)
{
    bool inside = false;
    for (int c = 0; c < 2; c++) {
        const std::vector<HLMomentPoint>& p = curves[c].points;
        if (p.empty())
            continue;
        if (curves[c].circle && x * x + y * y < 1.0)
            inside = !inside;
        for (size_t i = 0, j = p.size() - 1; i < p.size(); j = i++) {
            if ((p[i].y > y) != (p[j].y > y) && x < (p[j].x - p[i].x) * (y - p[i].y) / (p[j].y - p[i].y) + p[i].x)
                inside = !inside;
        }
    }
    return inside;
}

struct Mechanism { const char* name; Tensor tensor; };

std::vector<Mechanism> mechanisms()
{
    return {
        {"vertical strike-slip", {0, 0, 0, 0, 0, -1}}, {"pure thrust", {1, 0, -1, 0, 0, 0}},
        {"pure normal", {-1, 0, 1, 0, 0, 0}}, {"oblique 30/60/45", doubleCouple(30, 60, 45)},
        {"oblique 200/20/-120", doubleCouple(200, 20, -120)}, {"steep 10/85/170", doubleCouple(10, 85, 170)},
        {"vertical dip-slip", doubleCouple(45, 90, 90)}, {"shallow thrust 0/5/90", doubleCouple(0, 5, 90)},
        {"CLVD T vertical", {2, -1, -1, 0, 0, 0}}, {"CLVD P vertical", {-2, 1, 1, 0, 0, 0}},
        {"CLVD tilted", {0.3, -1.2, 0.9, 0.8, -0.4, 0.5}}, {"explosion plus DC", {1.5, 1.5, 1.5, 0, 0, -2}},
        {"implosion plus DC", {-1.5, -1.5, -1.5, 0, 0, -2}},
        // a cap above the horizon touching it at the null axis only
        {"P vertical, B horizontal, unequal", {-0.5, 0.5, 0.5, 0, 0, 0.5}},
        {"T vertical, B horizontal, unequal", {0.5, -0.5, -0.5, 0, 0, -0.5}},
        {"GCMT-like values", {-3.51e25, 1.86e25, 1.65e25, 2.18e25, -1.72e25, -0.11e25}},
    };
}

} // namespace

TEST(MomentEigen, KnownMatricesAndNotFinite)
{
    struct Case { const char* name; double a[3][3]; double values[3]; } cases[] = {
        {"diagonal unsorted", {{1, 0, 0}, {0, 3, 0}, {0, 0, 2}}, {3, 2, 1}},
        {"plane pair", {{0, 1, 0}, {1, 0, 0}, {0, 0, 0}}, {1, 0, -1}},
        {"repeated", {{2, 0, 0}, {0, 2, 0}, {0, 0, 2}}, {2, 2, 2}},
        {"full", {{2, -1, 0}, {-1, 2, -1}, {0, -1, 2}}, {2 + M_SQRT2, 2, 2 - M_SQRT2}},
        {"zero", {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double values[3], vectors[3][3];
        ASSERT_EQ(hlmoment_eigen_symmetric(c.a, values, vectors), 0);
        for (int k = 0; k < 3; k++)
            EXPECT_NEAR(values[k], c.values[k], 1e-12);
    }
    double a[3][3] = {{1, 0, 0}, {0, NAN, 0}, {0, 0, 1}}, values[3], vectors[3][3];
    EXPECT_EQ(hlmoment_eigen_symmetric(a, values, vectors), -1);
}

TEST(MomentEigen, RandomMatricesDecompose)
{
    std::mt19937 rng(1234);
    std::uniform_real_distribution<double> u(-5.0, 5.0);
    for (int trial = 0; trial < 200; trial++) {
        SCOPED_TRACE(trial);
        double a[3][3];
        for (int i = 0; i < 3; i++)
            for (int j = i; j < 3; j++)
                a[i][j] = a[j][i] = u(rng);
        double values[3], v[3][3];
        ASSERT_EQ(hlmoment_eigen_symmetric(a, values, v), 0);
        EXPECT_GE(values[0], values[1]);
        EXPECT_GE(values[1], values[2]);
        for (int k = 0; k < 3; k++) {
            for (int i = 0; i < 3; i++) {  // A v = lambda v
                double av = a[i][0] * v[k][0] + a[i][1] * v[k][1] + a[i][2] * v[k][2];
                EXPECT_NEAR(av, values[k] * v[k][i], 1e-10);
            }
            for (int l = 0; l < 3; l++) {  // orthonormal
                double d = v[k][0] * v[l][0] + v[k][1] * v[l][1] + v[k][2] * v[l][2];
                EXPECT_NEAR(d, k == l ? 1.0 : 0.0, 1e-12);
            }
        }
        // right-handed: (v0 x v1) . v2 = 1
        double cx = v[0][1] * v[1][2] - v[0][2] * v[1][1];
        double cy = v[0][2] * v[1][0] - v[0][0] * v[1][2];
        double cz = v[0][0] * v[1][1] - v[0][1] * v[1][0];
        EXPECT_NEAR(cx * v[2][0] + cy * v[2][1] + cz * v[2][2], 1.0, 1e-12);
    }
}

TEST(MomentCreate, BadTensorsRefused)
{
    struct Case { const char* name; Tensor tensor; const char* error; } cases[] = {
        {"all zero", {0, 0, 0, 0, 0, 0}, "hlmoment_create: zero tensor.\n"},
        {"nan", {1, 0, NAN, 0, 0, 0}, "hlmoment_create: tensor value 3 is not finite.\n"},
        {"infinite", {1, 0, 0, 0, 0, -INFINITY}, "hlmoment_create: tensor value 6 is not finite.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HLMoment* sentinel = reinterpret_cast<HLMoment*>(0x1);
        HLMoment* m = sentinel;
        EXPECT_EQ(hlmoment_create(c.tensor.data(), &m), -1);
        EXPECT_EQ(m, sentinel);
        EXPECT_EQ(takeErrors(), c.error);
    }
    HLMoment* m = nullptr;
    EXPECT_EQ(hlmoment_create(nullptr, &m), -1);
    EXPECT_EQ(takeErrors(), "hlmoment_create: null argument.\n");
    HLMomentCurve curves[2];
    EXPECT_EQ(hlmoment_compute_bb_points(nullptr, curves), -1);
    EXPECT_EQ(takeErrors(), "hlmoment_compute_bb_points: null argument.\n");
}

TEST(MomentCreate, AxesOfKnownMechanisms)
{
    // t_axis: north, east, down, up to sign; p_axis: all zero: not checked (degenerate)
    struct Case { const char* name; Tensor tensor; std::array<double, 3> t_axis, p_axis; } cases[] = {
        {"strike-slip: T north-east, P north-west", {0, 0, 0, 0, 0, -1}, {M_SQRT1_2, M_SQRT1_2, 0},
         {M_SQRT1_2, -M_SQRT1_2, 0}},
        {"thrust: T vertical, P east", {1, 0, -1, 0, 0, 0}, {0, 0, 1}, {0, 1, 0}},
        {"normal: T east, P vertical", {-1, 0, 1, 0, 0, 0}, {0, 1, 0}, {0, 0, 1}},
        {"Mtt only: T north-south", {0, 1, 0, 0, 0, 0}, {1, 0, 0}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HLMoment* m = nullptr;
        ASSERT_EQ(hlmoment_create(c.tensor.data(), &m), 0);
        double dt = 0, dp = 0;
        for (int i = 0; i < 3; i++) {
            dt += m->axes[0][i] * c.t_axis[i];
            dp += m->axes[2][i] * c.p_axis[i];
        }
        EXPECT_NEAR(std::fabs(dt), 1.0, 1e-12);
        EXPECT_NEAR((c.p_axis == std::array<double, 3>{0, 0, 0} ? 1.0 : std::fabs(dp)), 1.0, 1e-12);
        hlmoment_destroy(m);
    }
}

// Inside the contours exactly where the polarity is positive; the contour
// points on nodal lines or the horizon.
TEST(MomentContours, AgreeWithRadiationPatternAndNodalLines)
{
    for (const Mechanism& mech : mechanisms()) {
        SCOPED_TRACE(mech.name);
        HLMoment* m = nullptr;
        ASSERT_EQ(hlmoment_create(mech.tensor.data(), &m), 0);
        HLMomentCurve curves[2];
        int found = hlmoment_compute_bb_points(m, curves);
        ASSERT_GE(found, 0);
        EXPECT_LE(curves[0].circle + curves[1].circle, 1);
        int checked = 0, wrong = 0;
        for (int iy = -40; iy <= 40; iy++) {
            for (int ix = -40; ix <= 40; ix++) {
                double x = ix / 40.5, y = iy / 40.5, n[3];
                // the contours follow the rim by chords: keep off it
                if (x * x + y * y > 0.98 * 0.98 || hlmoment_disc_to_ray(x, y, n) < 0)
                    continue;
                double q = hlmoment_polarity(m, n);
                if (std::fabs(q) < 0.03)
                    continue;  // too close to a nodal line for a polygon
                checked++;
                if (insideContours(curves, x, y) != (q > 0)) {
                    if (++wrong <= 3)
                        ADD_FAILURE() << "at " << x << " " << y << " polarity " << q;
                }
            }
        }
        EXPECT_GT(checked, 2500);
        EXPECT_EQ(wrong, 0);
        for (const HLMomentCurve& c : curves) {
            for (const HLMomentPoint& p : c.points) {
                double r = std::hypot(p.x, p.y), n[3];
                ASSERT_LE(r, 1.0 + 1e-9);
                if (r > 1.0 - 1e-9)
                    continue;  // on the horizon
                ASSERT_EQ(hlmoment_disc_to_ray(p.x, p.y, n), 0);
                EXPECT_NEAR(hlmoment_polarity(m, n), 0.0, 1e-6) << p.x << " " << p.y;
            }
        }
        hlmoment_destroy(m);
    }
}

TEST(MomentContours, IsotropicAndDegenerateTensors)
{
    struct Case { const char* name; Tensor tensor; int found; bool full_circle; } cases[] = {
        {"explosion", {1, 1, 1, 0, 0, 0}, 1, true}, {"implosion", {-1, -1, -1, 0, 0, 0}, 0, false},
        {"single positive dipole", {1, 0, 0, 0, 0, 0}, 1, true},
        {"single negative dipole", {-1, 0, 0, 0, 0, 0}, 0, false},
        {"explosion with rounding noise", {1, 1, 1, 1e-14, 0, -1e-14}, 1, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HLMoment* m = nullptr;
        ASSERT_EQ(hlmoment_create(c.tensor.data(), &m), 0);
        HLMomentCurve curves[2];
        EXPECT_EQ(hlmoment_compute_bb_points(m, curves), c.found);
        EXPECT_EQ(curves[0].circle, 0);
        EXPECT_TRUE(curves[1].points.empty());
        EXPECT_EQ(curves[0].points.size() > 60u, c.full_circle);
        EXPECT_TRUE(c.full_circle || curves[0].points.empty());
        for (const HLMomentPoint& p : curves[0].points)  // the whole horizon
            EXPECT_NEAR(std::hypot(p.x, p.y), 1.0, 1e-12);
        hlmoment_destroy(m);
    }
}

TEST(MomentContours, ScaleDoesNotMatter)
{
    Tensor unit = doubleCouple(30, 60, 45);
    Tensor big = unit;
    for (double& v : big)
        v *= 3.7e24;
    HLMoment *a = nullptr, *b = nullptr;
    ASSERT_EQ(hlmoment_create(unit.data(), &a), 0);
    ASSERT_EQ(hlmoment_create(big.data(), &b), 0);
    HLMomentCurve ca[2], cb[2];
    ASSERT_EQ(hlmoment_compute_bb_points(a, ca), hlmoment_compute_bb_points(b, cb));
    for (int i = 0; i < 2; i++) {
        ASSERT_EQ(ca[i].points.size(), cb[i].points.size());
        EXPECT_EQ(ca[i].circle, cb[i].circle);
        for (size_t k = 0; k < ca[i].points.size(); k++) {
            EXPECT_NEAR(ca[i].points[k].x, cb[i].points[k].x, 1e-7);
            EXPECT_NEAR(ca[i].points[k].y, cb[i].points[k].y, 1e-7);
        }
    }
    hlmoment_destroy(a);
    hlmoment_destroy(b);
}

TEST(MomentProjection, DiscToRay)
{
    // ray: north, east, down
    struct Case { const char* name; double x, y; std::array<double, 3> ray; } cases[] = {
        {"centre is straight down", 0, 0, {0, 0, 1}}, {"east edge", 1, 0, {0, 1, 0}}, {"north edge", 0, 1, {1, 0, 0}},
        // equal area: radius sqrt(1 - cos 60) at 60 degrees from the vertical
        {"60 degrees south", 0, -std::sqrt(0.5), {-std::sin(M_PI / 3), 0, 0.5}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double n[3];
        ASSERT_EQ(hlmoment_disc_to_ray(c.x, c.y, n), 0);
        for (int i = 0; i < 3; i++)
            EXPECT_NEAR(n[i], c.ray[i], 1e-12);
    }
    double n[3];
    EXPECT_EQ(hlmoment_disc_to_ray(0.8, 0.8, n), -1);
    EXPECT_EQ(hlmoment_disc_to_ray(NAN, 0, n), -1);
}
