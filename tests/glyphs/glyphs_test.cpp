// Glyph sets: where and how large glyphs are drawn (sizes in pixels and
// fractions, longitude copies, the globe), selection with grow and fade,
// and interaction (show, move, callbacks), checked on rendered pixels.
#include "support/testsupport.h"
#include "support/vptest.h"

#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"
#include "viewport/vxevent.h"

#include <gtest/gtest.h>

#include <QMouseEvent>
#include <QTest>

#include <memory>
#include <vector>

namespace {

using vptest::countColor;
using vptest::inkBox;
using vptest::render;

const QColor red(255, 0, 0);

// A context filling with colour and drawing no outline.
VxGraphicsContext fillContext(const QColor& colour)
{
    VXGraphicsContext scratch;
    scratch.setGcItem("fill:color", VX_GC_BRUSH_COLOR, colour, 0);
    scratch.setGcItem("fill:width", VX_GC_PEN_WIDTHF, -1.0, 0);
    return scratch.getGc("fill");
}

// A viewport with a glyph set in it, painted without antialiasing so that
// discs have sharp edges.  The set goes before the viewport.
struct Scene
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXGlyphs> set;

    Scene(int w, int h, std::initializer_list<const char*> config)
    {
        vp = vptest::makeViewport(w, h, config);
        set = std::make_unique<VXGlyphs>(vp.get());
        set->setAntialias(false);
    }
    ~Scene() { set.reset(); }

    VXGlyph* add(double x, double y, double size, const QColor& colour = red, int symbol = VX_SYMBOL_CIRCLE)
    {
        VXGlyph* g = set->addGlyph();
        EXPECT_EQ(g->setGlyph(symbol, {fillContext(colour)}), 0) << takeErrors();
        g->setPosition(x, y);
        g->setSize(size);
        return g;
    }
    QImage image() { return render(vp.get()); }
};

// A mouse event of the given type (1 press, 2 move, 3 release) at pos.
QMouseEvent mouse(int type, QPointF pos)
{
    const QEvent::Type qtype = type == 1 ? QEvent::MouseButtonPress
                               : type == 3 ? QEvent::MouseButtonRelease
                                           : QEvent::MouseMove;
    const Qt::MouseButton button = type == 2 ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held = type == 3 ? Qt::NoButton : Qt::MouseButtons(Qt::LeftButton);
    return QMouseEvent(qtype, pos, pos, button, held, Qt::NoModifier);
}

} // namespace

TEST(GlyphSize, CircleOfTwentyPixelsAtTheCentre)
{
    Scene s(200, 200, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    s.add(50, 50, 20);
    const QImage image = s.image();
    vptest::keep(image, "glyph_circle20");
    const QRect box = inkBox(image);
    EXPECT_NEAR(box.width(), 20, 1);
    EXPECT_NEAR(box.height(), 20, 1);
    EXPECT_NEAR(box.center().x(), 100, 1);
    EXPECT_NEAR(box.center().y(), 100, 1);
    // a disc: about pi r^2 pixels, its centre and not its box corners filled
    EXPECT_NEAR(countColor(image, red), 314, 25);
    EXPECT_EQ(image.pixelColor(100, 100), red);
    EXPECT_NE(image.pixelColor(box.topLeft()), red);
}

TEST(GlyphSize, FractionsOfThePlot)
{
    // a glyph without a size of its own (or with one not above 0) takes the
    // set's default, which may be a fraction of the plot
    // expected: pixels across
    struct Case { const char* name; double size, size_default; int expected; } cases[] = {
        {"pixels", 15, -0.1, 15}, {"a tenth of the height", 0, -0.1, 20}, {"a fifth of the height", 0, -0.2, 40},
        {"all of the height", 0, -1.0, 200}, {"a tenth of the width", 0, -2.1, 30},
        {"a tenth of the larger side", 0, -4.1, 30}, {"a negative size of its own takes the default", -3.0, 12, 12},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // plot area 300 by 200 inside margins
        Scene s(320, 230, {"mleft", "10", "mright", "10", "mtop", "20", "mbottom", "10", "xleft", "0", "xright",
                           "30", "ybottom", "0", "ytop", "20"});
        s.set->setSizeDefault(c.size_default);
        s.add(15, 10, c.size);
        const QRect box = inkBox(s.image());
        EXPECT_NEAR(box.height(), c.expected, 1);
        EXPECT_NEAR(box.width(), c.expected, 1);
        // the plot centre
        EXPECT_NEAR(box.center().x(), 10 + 150, 1);
        EXPECT_NEAR(box.center().y(), 20 + 100, 1);
    }
}

TEST(GlyphSize, ZeroWithZeroDefaultOutsideTheViewOrTransparentDrawsNothing)
{
    Scene s(100, 100, {"xleft", "0", "xright", "10", "ybottom", "0", "ytop", "10"});
    s.set->setSizeDefault(0);
    VXGlyph* g = s.add(5, 5, 0);
    VXGlyph* outside = s.add(12, 5, 10);
    EXPECT_TRUE(inkBox(s.image()).isEmpty());
    EXPECT_EQ(g->vars.skip, 1);
    EXPECT_EQ(outside->vars.visible, 0);
    EXPECT_FALSE(outside->contains(QPointF(99, 50)));
    // a glyph's own opacity multiplies in
    VXGlyph* black = s.add(5, 5, 20, QColor(0, 0, 0));
    black->setOpacity(0.5);
    EXPECT_NEAR(s.image().pixelColor(50, 50).red(), 128, 3);
    black->setOpacity(0.0);
    EXPECT_TRUE(inkBox(s.image()).isEmpty());
}

TEST(GlyphPosition, FractionsOfThePlotArea)
{
    Scene s(200, 100, {"xleft", "1000", "xright", "2000", "ybottom", "-5", "ytop", "5"});
    s.set->setXmodeDefault(2);
    s.set->setYmodeDefault(2);
    s.add(0.25, 0.75, 10);
    const QRect box = inkBox(s.image());
    EXPECT_NEAR(box.center().x(), 50, 1);
    EXPECT_NEAR(box.center().y(), 25, 1);
}

TEST(GlyphMaps, RepeatsAcrossLongitudeWraps)
{
    // columns: pixel columns of the copies
    struct Case {
        const char* name; const char* map; const char* range; double lon; std::vector<int> columns;
    } cases[] = {
        // 360 pixels over 720 degrees from -360: two degrees a pixel
        {"merc 720 degrees", "merc", "720", 100.0, {50, 230}}, {"geog 720 degrees", "geog", "720", 100.0, {50, 230}},
        {"merc far-off longitude", "merc", "720", 100.0 + 360.0 * 7, {50, 230}},
        {"geog 360 degrees", "geog", "360", -100.0, {80}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Scene s(360, 180, {"map", c.map, "lonr", "0", "latr", "0", "range", c.range});
        VXGlyph* g = s.add(c.lon, 0, 10);
        const QImage image = s.image();
        vptest::keep(image, "glyph_wraps");
        EXPECT_EQ(g->vars.plot_paths.size(), static_cast<qsizetype>(c.columns.size()));
        for (int x : c.columns) {
            EXPECT_EQ(image.pixelColor(x, 90), red) << x;
            EXPECT_TRUE(g->contains(QPointF(x, 90))) << x;
        }
        EXPECT_NEAR(countColor(image, red), 78 * static_cast<int>(c.columns.size()), 12 * c.columns.size());
    }
}

TEST(GlyphMaps, GlobeFarSideNeitherDrawnNorHitNearSideOnTheSphere)
{
    Scene s(200, 200, {"map", "globe", "lonr", "0", "latr", "0", "range", "200"});
    VXGlyph* near = s.add(0, 0, 20);
    VXGlyph* far = s.add(180, 0, 20, QColor(0, 0, 255));
    VXGlyph* behind = s.add(-120, 30, 20, QColor(0, 0, 255));
    const QImage image = s.image();
    EXPECT_EQ(countColor(image, QColor(0, 0, 255)), 0);
    EXPECT_GT(countColor(image, red), 250);
    EXPECT_EQ(near->vars.skip, 0);
    EXPECT_EQ(far->vars.skip, 1);
    EXPECT_EQ(behind->vars.skip, 1);
    // nowhere on the widget is the far glyph hit
    for (int y = 0; y < 200; y += 4)
        for (int x = 0; x < 200; x += 4) {
            ASSERT_FALSE(far->contains(QPointF(x, y)));
            ASSERT_FALSE(behind->contains(QPointF(x, y)));
        }
    QMouseEvent at_centre = mouse(2, QPointF(100, 100));
    EXPECT_EQ(s.set->findClosest(&at_centre, -1), near);
    // symbols lie on the sphere: 60 degrees east of the centre the radial
    // direction is horizontal and shortened by cos(60) = 0.5
    s.add(60, 0, 40);
    const QRect box = inkBox(s.image().copy(115, 0, 85, 200));  // right of the near glyph
    EXPECT_NEAR(box.height(), 40, 1.5);
    EXPECT_NEAR(box.width(), 20, 1.5);
}

TEST(GlyphSelection, HoverGrowsOneFadesTheOthersAndTakesTheKeys)
{
    Scene s(200, 200, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    s.set->vars.selection_size_increase_factor = 2.0;
    s.set->vars.selection_opacity_reduction_factor = 0.5;
    s.set->setInteractionMode(1);
    VXGlyph* a = s.add(25, 50, 20);
    s.add(75, 50, 20);
    QImage image = s.image();
    ASSERT_EQ(image.pixelColor(150, 100), red);
    QMouseEvent over_a = mouse(2, QPointF(50, 100));
    EXPECT_EQ(s.set->processEvent(2, &over_a), 1);
    EXPECT_EQ(s.set->selectedGlyph(), a);
    image = s.image();
    vptest::keep(image, "glyph_hover");
    // a: 40 pixels across and opaque
    const QRect left = inkBox(image.copy(0, 0, 100, 200));
    EXPECT_NEAR(left.width(), 40, 1);
    EXPECT_EQ(image.pixelColor(50, 100), red);
    // b: same size, half transparent over white
    const QColor faded = image.pixelColor(150, 100);
    EXPECT_EQ(faded.red(), 255);
    EXPECT_NEAR(faded.green(), 128, 3);
    EXPECT_NEAR(inkBox(image.copy(100, 0, 100, 200)).width(), 20, 1);
    // off both: back to normal
    QMouseEvent away = mouse(2, QPointF(100, 20));
    s.set->processEvent(2, &away);
    EXPECT_EQ(s.set->selectedGlyph(), nullptr);
    image = s.image();
    EXPECT_NEAR(inkBox(image.copy(0, 0, 100, 200)).width(), 20, 1);
    EXPECT_EQ(image.pixelColor(150, 100), red);
    // mode 2 shows the selection without growth
    s.set->setInteractionMode(2);
    s.set->processEvent(2, &over_a);
    ASSERT_EQ(s.set->selectedGlyph(), a);
    EXPECT_NEAR(inkBox(s.image().copy(0, 0, 100, 200)).width(), 20, 1);
    // keys go to the selected glyph only
    std::vector<std::pair<VXGlyph*, int>> seen;
    s.set->addGlyphCallback(
        [&seen](VXGlyph* glyph, VXEvent* e, void*) { seen.push_back({glyph, e->type}); return 1; }, nullptr);
    s.set->setInteractionMode(1);
    s.set->processEvent(2, &away);
    ASSERT_EQ(s.set->selectedGlyph(), nullptr);
    seen.clear();
    QKeyEvent key(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, "a");
    EXPECT_EQ(s.set->processEvent(4, &key), 1);
    EXPECT_TRUE(seen.empty());
    s.set->processEvent(2, &over_a);
    ASSERT_EQ(s.set->selectedGlyph(), a);
    seen.clear();
    s.set->processEvent(4, &key);
    EXPECT_EQ(s.set->selectedGlyph(), a);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], std::make_pair(a, int(VX_EVENT_KEY_PRESS)));
}

TEST(GlyphSelection, TopmostGlyphIsFound)
{
    Scene s(200, 200, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    VXGlyph* under = s.add(50, 50, 40);
    VXGlyph* over = s.add(55, 50, 40);
    s.image();
    QMouseEvent both = mouse(2, QPointF(105, 100));
    EXPECT_EQ(s.set->findClosest(&both, -1), over);
    EXPECT_EQ(s.set->findClosest(&both, 0), under);
    EXPECT_EQ(s.set->items(&both).size(), 2);
    QMouseEvent only_under = mouse(2, QPointF(82, 100));
    EXPECT_EQ(s.set->findClosest(&only_under, -1), under);
    EXPECT_EQ(s.set->findClosest(&only_under, 1), nullptr);
}

TEST(GlyphInteraction, DragMovesAGlyphInMoveModeDirectlyAndThroughQtEvents)
{
    Scene s(200, 200, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    s.set->setInteractionMode(3);
    VXGlyph* g = s.add(50, 50, 20);
    s.image();
    // delivered through the viewport, which hands the grabbed stream to the
    // glyph
    QMouseEvent press = mouse(1, QPointF(100, 100));
    EXPECT_EQ(s.vp->processevent_pvt(1, &press), 2);
    EXPECT_EQ(g->getQEventState(), 2);
    EXPECT_EQ(s.vp->vars.item_grab, g);
    QMouseEvent move = mouse(2, QPointF(140, 60));
    s.vp->processevent_pvt(2, &move);
    double x = 0, y = 0;
    g->getPosition(&x, &y);
    EXPECT_NEAR(x, 70, 0.6);
    EXPECT_NEAR(y, 70, 0.6);
    QMouseEvent release = mouse(3, QPointF(140, 60));
    EXPECT_EQ(s.vp->processevent_pvt(3, &release), 2);
    EXPECT_EQ(g->getQEventState(), 1);
    EXPECT_EQ(s.vp->vars.item_grab, nullptr);
    EXPECT_EQ(s.set->selectedGlyph(), nullptr);
    const QRect box = inkBox(s.image());
    EXPECT_NEAR(box.center().x(), 140, 1);
    EXPECT_NEAR(box.center().y(), 60, 1);
    // the same through Qt's own events, back to the lower left
    s.vp->show();
    QTest::mousePress(s.vp.get(), Qt::LeftButton, Qt::NoModifier, QPoint(140, 60));
    EXPECT_EQ(g->getQEventState(), 2);
    QMouseEvent drag = mouse(2, QPointF(60, 140));  // the button held
    QCoreApplication::sendEvent(s.vp.get(), &drag);
    QTest::mouseRelease(s.vp.get(), Qt::LeftButton, Qt::NoModifier, QPoint(60, 140));
    EXPECT_EQ(g->getQEventState(), 1);
    g->getPosition(&x, &y);
    EXPECT_NEAR(x, 30, 0.6);
    EXPECT_NEAR(y, 30, 0.6);
    EXPECT_EQ(s.vp->vars.xleft, 0.0) << "the viewport did not pan under the drag";
}

TEST(GlyphInteraction, CallbackConsumingThePressKeepsTheGlyphInPlace)
{
    Scene s(200, 200, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    s.set->setInteractionMode(3);
    VXGlyph* g = s.add(50, 50, 20);
    std::vector<int> seen;
    s.set->addGlyphCallback(
        [&seen](VXGlyph*, VXEvent* e, void*) { seen.push_back(e->type); return e->type == VX_EVENT_PRESS ? 2 : 1; },
        nullptr);
    s.image();
    QMouseEvent press = mouse(1, QPointF(100, 100));
    EXPECT_EQ(s.set->processEvent(1, &press), 2);
    EXPECT_EQ(g->getQEventState(), 1);
    QMouseEvent move = mouse(2, QPointF(140, 60));
    s.vp->processevent_pvt(2, &move);
    double x = 0, y = 0;
    g->getPosition(&x, &y);
    EXPECT_EQ(x, 50);
    EXPECT_EQ(y, 50);
    // the first event on the glyph came with an enter; leaving it gave a leave
    const std::vector<int> expected = {VX_EVENT_ENTER, VX_EVENT_PRESS, VX_EVENT_LEAVE};
    EXPECT_EQ(seen, expected);
}

TEST(GlyphInteraction, ModesNoneAndCallbacksOnly)
{
    Scene s(200, 200, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    VXGlyph* a = s.add(25, 50, 20);
    s.add(75, 50, 20);
    std::vector<std::pair<int, int>> seen;  // glyph index, type
    s.set->addGlyphCallback(
        [&seen](VXGlyph* g, VXEvent* e, void*) { seen.push_back({g->getIndex(), e->type}); return 1; }, nullptr);
    s.image();
    QMouseEvent on_a = mouse(2, QPointF(50, 100));
    QMouseEvent on_b = mouse(2, QPointF(150, 100));
    s.set->setInteractionMode(0);
    EXPECT_EQ(s.set->processEvent(2, &on_a), 1);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(s.set->selectedGlyph(), nullptr);
    // mode 4: only events on the selected glyph, only to the callbacks
    s.set->setInteractionMode(4);
    s.set->processEvent(2, &on_a);
    EXPECT_TRUE(seen.empty());
    s.set->selectGlyph(a->getIndex());
    s.set->processEvent(2, &on_b);
    EXPECT_TRUE(seen.empty());
    s.set->processEvent(2, &on_a);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], std::make_pair(0, int(VX_EVENT_MOVE)));
    EXPECT_EQ(s.set->selectedGlyph(), a);
}

TEST(GlyphSetup, ErrorsLeaveTheGlyphAsItWas)
{
    struct Case { const char* name; int symbol; int ncontexts; const char* message; } cases[] = {
        {"unknown symbol", 42, 1, "VXGlyph::setGlyph: Unrecognized symbol type.\n"},
        {"a shape of its own needs the shape", VX_SYMBOL_SHAPE, 1, "VXGlyph::setGlyph: Unrecognized symbol type.\n"},
        {"no context", VX_SYMBOL_SQUARE, 0, "VXGlyph::setGlyph: Need at least one graphics context"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Scene s(100, 100, {"xleft", "0", "xright", "10", "ybottom", "0", "ytop", "10"});
        VXGlyph* g = s.add(5, 5, 10);
        QList<VxGraphicsContext> gcs;
        for (int i = 0; i < c.ncontexts; i++)
            gcs.append(fillContext(Qt::blue));
        EXPECT_EQ(g->setGlyph(c.symbol, gcs), -1);
        EXPECT_NE(takeErrors().find(c.message), std::string::npos);
        EXPECT_GT(countColor(s.image(), red), 50);
    }
    // the default symbol of a set without one
    Scene s(100, 100, {"xleft", "0", "xright", "10", "ybottom", "0", "ytop", "10"});
    s.set->vars.shape_default = nullptr;
    VXGlyph* g = s.set->addGlyph();
    EXPECT_EQ(g->setGlyph(VX_SYMBOL_DEFAULT, {fillContext(red)}), -1);
    EXPECT_EQ(takeErrors(), "VXGlyph::setGlyph: default symbol not defined in parent VXGlyphs.\n");
    VXGlyph alone(nullptr);
    EXPECT_EQ(alone.setGlyph(VX_SYMBOL_DEFAULT, {fillContext(red)}), -1);
    EXPECT_EQ(takeErrors(), "VXGlyph::setGlyph: default symbol needs parent VXGlyphs.\n");
    EXPECT_EQ(alone.setTransformations(nullptr), 0);  // no viewport: nothing to place
}

TEST(GlyphSetup, BeachballHasTwoParts)
{
    Scene s(200, 200, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    VXGlyph* g = s.set->addGlyph();
    const double tensor[6] = {0.0, -1.0, 1.0, 0.0, 0.0, 0.0};  // strike-slip
    EXPECT_EQ(g->setGlyph(VX_SYMBOL_BEACHBALL, {fillContext(Qt::white)}, tensor), -1);
    takeErrors();
    ASSERT_EQ(g->setGlyph(VX_SYMBOL_BEACHBALL, {fillContext(QColor(0, 0, 255)), fillContext(red)}, tensor), 0)
        << takeErrors();
    g->setPosition(50, 50);
    g->setSize(60);
    const QImage image = s.image();
    EXPECT_EQ(g->showPaths().count("brush #ff0000ff"), 1);
    EXPECT_EQ(g->showPaths().count("brush #ffff0000"), 1);
    const int blue = countColor(image, QColor(0, 0, 255)), reds = countColor(image, red);
    // about half of the disc each
    EXPECT_NEAR(blue, reds, 0.25 * (blue + reds));
    EXPECT_NEAR(blue + reds, 2827, 200);
    // an unresolvable tensor falls back to the default shape
    const double zero[6] = {0, 0, 0, 0, 0, 0};
    ASSERT_EQ(g->setGlyph(VX_SYMBOL_BEACHBALL, {fillContext(red), fillContext(red)}, zero), 0);
    EXPECT_NEAR(countColor(s.image(), red), 2827, 200);
}

TEST(GlyphLabels, LabelIsDrawnBesideTheSymbolAndHit)
{
    Scene s(200, 200, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    VXGlyph* g = s.add(50, 50, 20);
    g->setLabel("ABC", 1);
    const QImage image = s.image();
    const QRect box = inkBox(image);
    // the label lies right of the symbol
    EXPECT_GT(box.right(), 115);
    EXPECT_NEAR(box.left(), 90, 1);
    ASSERT_NE(g->vars.label_path, nullptr);
    EXPECT_TRUE(g->contains(QPointF(box.right() - 2, 100)));
    g->setLabel("ABC", 0);
    EXPECT_NEAR(inkBox(s.image()).right(), 109, 1);
    EXPECT_FALSE(g->contains(QPointF(box.right() - 2, 100)));
}

