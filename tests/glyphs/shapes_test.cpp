// Shapes: the static outlines, and beachballs rendered and read back by
// pixels, with their cache.
#include "support/testsupport.h"
#include "support/vptest.h"

#include "glyphs/shape.h"
#include "toolkit/geo/hlmoment.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <array>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace {

using Tensor = std::array<double, 6>;  // Mrr, Mtt, Mpp, Mrt, Mrp, Mtp

constexpr int image_size = 201;
constexpr double centre = 100.5;
constexpr double radius = 99.0;

// colours without their alpha, as at() reads them
const QRgb outside_rgb = 0x808080;
const QRgb disc_rgb = 0xffffff;   // first part: dilatational background
const QRgb compr_rgb = 0xdc0000;  // second part: compressional

// The shape's parts, filled (no pen, no antialiasing): the first white, the
// second red, on grey; kept as /tmp/vx_beachball_<name>.png for a look.
QImage render(const VxShape* shape, const char* name)
{
    QImage image(image_size, image_size, QImage::Format_RGB32);
    image.fill(QColor(outside_rgb));
    QPainter painter(&image);
    painter.translate(centre, centre);
    painter.scale(radius, radius);
    painter.setPen(Qt::NoPen);
    const QRgb colours[2] = {disc_rgb, compr_rgb};
    for (qsizetype i = 0; i < shape->paths.size() && i < 2; i++) {
        painter.setBrush(QColor(colours[i]));
        painter.drawPath(*shape->paths[i]);
    }
    painter.end();
    vptest::keep(image, ("vx_beachball_" + std::string(name)).c_str());
    return image;
}

// Colour at the disc point x east, y north.
QRgb at(const QImage& image, double x, double y)
{
    int px = static_cast<int>(std::floor(centre + x * radius));
    int py = static_cast<int>(std::floor(centre - y * radius));
    return image.pixel(px, py) & 0xffffff;
}

// Where colours change along the chord of the disc (radius 0.95) through
// the point at distance offset from the centre, across the row (row true:
// the x values along the row y = offset) or down the column (the y values
// along x = offset), in steps of 0.01.
std::vector<double> changesAlong(const QImage& image, double offset, bool row)
{
    std::vector<double> changes;
    double half = std::sqrt(0.95 * 0.95 - offset * offset);
    int n = static_cast<int>(half * 100.0);
    QRgb last = 0;
    for (int i = -n; i <= n; i++) {
        double t = i / 100.0;
        QRgb c = row ? at(image, t, offset) : at(image, offset, t);
        if (i > -n && c != last)
            changes.push_back(t);
        last = c;
    }
    return changes;
}

} // namespace

TEST(StaticShapes, BoundsAndDistinctShapes)
{
    const double d = 0.8 * M_SQRT2;  // diamond half-diagonal
    // elements: path elements
    struct Case { const char* name; std::function<VxShape*()> get; QRectF bounds; int elements; } cases[] = {
        {"circle", VXShape::getCircle, {-1, -1, 2, 2}, 13}, {"square", VXShape::getSquare, {-1, -1, 2, 2}, 5},
        {"triangle", VXShape::getTriangle, {-1.2 * 0.866025403, -1.2, 2.4 * 0.866025403, 1.8}, 4},
        {"diamond", VXShape::getDiamond, {-d, -d, 2 * d, 2 * d}, 5},
        {"star", VXShape::getStar, {-1.5 * 0.95106, -1.5, 3 * 0.95106, 1.5 * 1.80902}, 11},
        {"point", VXShape::getPoint, {-0.05 * d, -0.05 * d, 0.1 * d, 0.1 * d}, 5},
        {"cross", VXShape::getCross, {-1, -1, 2, 2}, 4},
        {"x", VXShape::getX, {-M_SQRT1_2, -M_SQRT1_2, M_SQRT2, M_SQRT2}, 4},
        {"vertical line", VXShape::getVerticalLine, {0, -1, 0, 2}, 2},
        {"horizontal line", VXShape::getHorizontalLine, {-1, 0, 2, 0}, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VxShape* s = c.get();
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(s->paths.size(), 1);
        ASSERT_NE(s->outline, nullptr);
        EXPECT_EQ(*s->outline, *s->paths[0]);
        QRectF r = s->paths[0]->boundingRect();
        EXPECT_NEAR(r.left(), c.bounds.left(), 1e-6);
        EXPECT_NEAR(r.top(), c.bounds.top(), 1e-6);
        EXPECT_NEAR(r.width(), c.bounds.width(), 1e-6);
        EXPECT_NEAR(r.height(), c.bounds.height(), 1e-6);
        EXPECT_EQ(s->bounding_rect, r);
        EXPECT_EQ(s->paths[0]->elementCount(), c.elements);
        EXPECT_EQ(c.get(), s);  // built once, the same record every time
    }
    EXPECT_NE(VXShape::getCross(), VXShape::getX());
    // the x is the cross turned by 45 degrees: its ends lie on the diagonals
    const QPainterPath& x = *VXShape::getX()->paths[0];
    for (int i = 0; i < x.elementCount(); i++)
        EXPECT_NEAR(std::fabs(x.elementAt(i).x), std::fabs(x.elementAt(i).y), 1e-12);
    // the triangle points up (y grows downward)
    EXPECT_TRUE(VXShape::getTriangle()->paths[0]->contains(QPointF(0, -0.9)));
    EXPECT_FALSE(VXShape::getTriangle()->paths[0]->contains(QPointF(0, 0.9)));
}

TEST(Beachball, StrikeSlipIsAQuarteredDisc)
{
    VxShape* s = VXShape::getBeachball(Tensor{0, 0, 0, 0, 0, -1}.data());  // strike 0, dip 90, rake 0
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->paths.size(), 2);
    QImage img = render(s, "strike_slip");
    // opposite quadrants alike: north-east and south-west compressional
    EXPECT_EQ(at(img, 0.5, 0.5), compr_rgb);
    EXPECT_EQ(at(img, -0.5, -0.5), compr_rgb);
    EXPECT_EQ(at(img, -0.5, 0.5), disc_rgb);
    EXPECT_EQ(at(img, 0.5, -0.5), disc_rgb);
    EXPECT_EQ(at(img, 0.99, 0.99), outside_rgb);
    // the nodal planes are the vertical and the horizontal diameters
    for (bool row : {true, false})
        for (double offset : {0.7, 0.3, -0.3, -0.7}) {
            SCOPED_TRACE(testing::Message() << (row ? "row " : "column ") << offset);
            std::vector<double> c = changesAlong(img, offset, row);
            ASSERT_EQ(c.size(), 1u);
            EXPECT_NEAR(c[0], 0.0, 0.02);
        }
}

TEST(Beachball, DipSlipFaultsHaveACentralBand)
{
    // strike 0, dip 45: the thrust (rake 90) has a compressional band, the
    // normal fault (rake -90) the opposite
    struct Case { const char* name; Tensor tensor; QRgb band, sides; } cases[] = {
        {"thrust", {1, 0, -1, 0, 0, 0}, compr_rgb, disc_rgb}, {"normal", {-1, 0, 1, 0, 0, 0}, disc_rgb, compr_rgb},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VxShape* s = VXShape::getBeachball(c.tensor.data());
        ASSERT_NE(s, nullptr);
        QImage img = render(s, c.name);
        EXPECT_EQ(at(img, 0, 0), c.band);
        EXPECT_EQ(at(img, 0, 0.8), c.band);
        EXPECT_EQ(at(img, 0, -0.8), c.band);
        EXPECT_EQ(at(img, 0.8, 0), c.sides);
        EXPECT_EQ(at(img, -0.8, 0), c.sides);
        // planes dipping 45 degrees cross the east-west diameter where the
        // equal-area radius of a 45 degree ray is, sqrt(1 - cos 45) = 0.541
        std::vector<double> x = changesAlong(img, 0.0, true);
        ASSERT_EQ(x.size(), 2u);
        EXPECT_NEAR(x[0], -0.541, 0.02);
        EXPECT_NEAR(x[1], 0.541, 0.02);
    }
}

TEST(Beachball, PixelsFollowTheRadiationPattern)
{
    struct Case { const char* name; Tensor tensor; } cases[] = {
        {"oblique", {0.35, -0.85, 0.5, -0.4, 0.6, 0.2}}, {"clvd tilted", {0.3, -1.2, 0.9, 0.8, -0.4, 0.5}},
        {"explosion plus dc", {1.5, 1.5, 1.5, 0, 0, -2}}, {"mostly thrust", {0.9, -0.2, -0.7, 0.3, -0.2, 0.1}},
        {"vertical p touching the horizon", {-1, 0.5, 0.5, 0, 0, 0.5}},
        {"explosion: no nodal line", {1, 1, 1, 0, 0, 0}}, {"implosion: no nodal line", {-1, -1, -1, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VxShape* s = VXShape::getBeachball(c.tensor.data());
        ASSERT_NE(s, nullptr);
        QImage img = render(s, c.name);
        HLMoment* m = nullptr;
        ASSERT_EQ(hlmoment_create(c.tensor.data(), &m), 0);
        int wrong = 0, checked = 0;
        for (int iy = -95; iy <= 95; iy += 2) {
            for (int ix = -95; ix <= 95; ix += 2) {
                double x = ix / 100.0, y = iy / 100.0, n[3];
                if (x * x + y * y > 0.96 * 0.96 || hlmoment_disc_to_ray(x, y, n) < 0)
                    continue;
                double q = hlmoment_polarity(m, n);
                if (std::fabs(q) < 0.05)
                    continue;
                checked++;
                if (at(img, x, y) != (q > 0 ? compr_rgb : disc_rgb)) {
                    if (++wrong <= 3)
                        ADD_FAILURE() << "at " << x << " " << y << " polarity " << q;
                }
            }
        }
        hlmoment_destroy(m);
        EXPECT_GT(checked, 4500);
        EXPECT_EQ(wrong, 0);
    }
}

TEST(BeachballCache, SameValuesSameShapeUnresolvableNull)
{
    VXShape::clearBeachballCache();
    Tensor a = {0.2, -0.5, 0.3, 0.1, -0.7, 0.4};
    Tensor b = a;  // another event with the same mechanism
    VxShape* sa = VXShape::getBeachball(a.data());
    ASSERT_NE(sa, nullptr);
    EXPECT_EQ(VXShape::getBeachball(b.data()), sa);
    b[0] += 1e-9;  // below the six digits of the key
    EXPECT_EQ(VXShape::getBeachball(b.data()), sa);
    b[0] = 0.21;
    EXPECT_NE(VXShape::getBeachball(b.data()), sa);
    EXPECT_EQ(VXShape::beachballCacheCount(), 2);
    // the parts: the shared unit circle first, the outline a copy of it
    EXPECT_EQ(sa->paths[0], VXShape::getCircle()->paths[0]);
    EXPECT_EQ(*sa->outline, *VXShape::getCircle()->paths[0]);
    EXPECT_EQ(sa->bounding_rect, QRectF(-1, -1, 2, 2));
    // unresolvable tensors give null, silently
    VXShape::clearBeachballCache();
    hl_register_error(HL_SEVERITY_NORMAL, "earlier: kept.\n");
    struct Case { const char* name; Tensor tensor; } cases[] = {
        {"zero", {0, 0, 0, 0, 0, 0}}, {"nan", {1, NAN, 0, 0, 0, 0}}, {"infinite", {INFINITY, 0, 0, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(VXShape::getBeachball(c.tensor.data()), nullptr);
        EXPECT_EQ(VXShape::getBeachball(c.tensor.data()), nullptr);  // from the cache
    }
    EXPECT_EQ(VXShape::getBeachball(nullptr), nullptr);
    EXPECT_EQ(VXShape::beachballCacheCount(), 3);
    EXPECT_EQ(hl_error_count(), 1);
    EXPECT_EQ(takeErrors(), "earlier: kept.\n");
}

TEST(BeachballCache, FullCacheIsFlushedAndHeldShapesSurvive)
{
    VXShape::clearBeachballCache();
    Tensor first = {0.1, -0.3, 0.2, 0.5, -0.1, 1.0};
    std::shared_ptr<VxShape> held = VXShape::getBeachballShared(first.data());
    ASSERT_TRUE(held);
    QPainterPath before = *held->paths[1];
    for (int i = 1; i < VX_SHAPE_BEACHBALL_CACHE_MAX; i++) {
        Tensor t = {1.0, -1.0, 0.0, 0.0, 0.0, i * 1e-3};
        ASSERT_NE(VXShape::getBeachball(t.data()), nullptr);
    }
    EXPECT_EQ(VXShape::beachballCacheCount(), VX_SHAPE_BEACHBALL_CACHE_MAX);
    EXPECT_EQ(VXShape::getBeachballShared(first.data()), held);  // still cached
    Tensor one_more = {1.0, 0.0, -1.0, 0.0, 0.0, 0.5};
    ASSERT_NE(VXShape::getBeachball(one_more.data()), nullptr);
    EXPECT_EQ(VXShape::beachballCacheCount(), 1);
    // the holder's shape is intact after the flush; the cache makes a new one
    EXPECT_EQ(*held->paths[1], before);
    std::shared_ptr<VxShape> again = VXShape::getBeachballShared(first.data());
    EXPECT_NE(again, held);
    EXPECT_EQ(*again->paths[1], before);
    EXPECT_EQ(VXShape::beachballCacheCount(), 2);
}
