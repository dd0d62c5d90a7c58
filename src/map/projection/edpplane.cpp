// The equidistant plane over arrays of points.
//
// Built with -fno-math-errno and -fno-trapping-math (src/map/CMakeLists.txt):
// a square root that may set errno is a call the vectoriser cannot pass,
// and a select whose sides may raise a floating-point flag stays a branch.
// Nothing here reads errno or the flags.
#include "map/projection/edpplane_p.h"

#include "map/projection/maptransform.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double pi = 3.141592653589793;
constexpr double half_pi = 1.5707963267948966;
constexpr double quarter_pi = 0.7853981633974483;
// what quarter_pi lacks of pi/4, added apart to keep the last bit
constexpr double quarter_pi_lo = 3.061616997868383e-17;

// The angle of the point (c, s) seen from the origin, s >= 0 and the point
// not the origin: atan2(s, c) in [0, pi].  The octant is folded onto
// [0, pi/4] by the smaller over the larger component, and that part onto
// |t| <= 0.66 by the tangent of a difference with pi/4; the arc tangent of
// t is then t + t^3 P(t^2)/Q(t^2), with the coefficients of the Cephes
// library's atan (relative error about 1e-16 there).  Written with selects
// only, so that a loop of it vectorises.
inline double angleOf(double s, double c)
{
    constexpr double P0 = -8.750608600031904122785e-1, P1 = -1.615753718733365076637e1,
                     P2 = -7.500855792314704667340e1, P3 = -1.228866684490136173410e2,
                     P4 = -6.485021904942025371773e1;
    constexpr double Q0 = 2.485846490142306297962e1, Q1 = 1.650270098316988542046e2,
                     Q2 = 4.328810604912902668951e2, Q3 = 4.853903996359136964868e2,
                     Q4 = 1.945506571482613964425e2;
    const double ac = std::fabs(c);
    const double lo = std::min(s, ac), hi = std::max(s, ac);
    // lo/hi above 0.66: atan(lo/hi) = pi/4 + atan((lo - hi)/(lo + hi))
    const bool shifted = lo > 0.66 * hi;
    const double t = (shifted ? lo - hi : lo) / (shifted ? lo + hi : hi);
    const double z = t * t;
    const double p = (((P0 * z + P1) * z + P2) * z + P3) * z + P4;
    const double q = ((((z + Q0) * z + Q1) * z + Q2) * z + Q3) * z + Q4;
    double a = t + t * (z * p / q);
    a = shifted ? (quarter_pi + (quarter_pi_lo + a)) : a;
    a = s > ac ? half_pi - a : a;
    return c < 0.0 ? pi - a : a;
}

} // namespace

HLEdpPlane::HLEdpPlane(double latr, double lonr)
    : slatr(std::sin(HLMapTransform::d2r * latr)), clatr(std::cos(HLMapTransform::d2r * latr)),
      slonr(std::sin(HLMapTransform::d2r * lonr)), clonr(std::cos(HLMapTransform::d2r * lonr))
{
}

// On x86-64, one build of project() for the processors of the last
// decade's instruction set (four lanes, fused multiply-adds), chosen at
// load time, and one for any other (GCC's form of the attribute).  Not in
// sanitized builds: the resolver would run before the sanitizer's runtime.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(VX_SANITIZED)
#define VX_EDP_CLONES __attribute__((target_clones("arch=x86-64-v3", "default")))
#else
#define VX_EDP_CLONES
#endif

VX_EDP_CLONES void HLEdpPlane::project(long n, const double* __restrict slat, const double* __restrict clat,
                         const double* __restrict slon, const double* __restrict clon, double* __restrict delx,
                         double* __restrict dely) const
{
    constexpr double r2d = HLMapTransform::r2d;
    const double sr = slatr, cr = clatr, slr = slonr, clr = clonr;
    for (long i = 0; i < n; i++) {
        // the chord from the centre to the point in the centre's frame, as
        // in HLMapTransform::edpLatlon2delxy(), with the sine and cosine of
        // lon - lonr from those of lon and lonr
        const double sarg = slon[i] * clr - clon[i] * slr, carg = clon[i] * clr + slon[i] * slr;
        const double ypp = clat[i] * sarg;
        const double x = clat[i] * carg - cr;
        const double z = slat[i] - sr;
        const double xpp = x * cr + z * sr;
        const double zpp = -x * sr + z * cr;
        // the point is (1 + xpp, ypp, zpp): cosine and sine of the distance
        const double s2 = ypp * ypp + zpp * zpp;
        const double r = std::sqrt(s2);
        const double del = r2d * angleOf(r, 1.0 + xpp);
        const bool on_axis = !(s2 > 0.0);  // the centre or its antipode
        const double k = del / (on_axis ? 1.0 : r);
        delx[i] = on_axis ? 0.0 : k * ypp;
        dely[i] = on_axis ? del : k * zpp;
    }
}
