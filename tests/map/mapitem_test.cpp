// The map item: maps in each projection, keys, stacks and templates, the
// display order of layers, the defaults and the task bar.
#include "map/mapdata_support.h"
#include "support/serversupport.h"
#include "support/vptest.h"

#include "items/axes.h"
#include "items/taskbar.h"
#include "map/maplayer.h"
#include "map/mapitem.h"
#include "viewport/layer.h"

#include <QCoreApplication>
#include <QFile>
#include <QMouseEvent>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdlib>

using namespace mdtest;

namespace {

// Shade layers need no file: stacks and orders are made of them.
const char* const shade_definitions = "maplayer_definitions &Arr{\n"
                                      "  a &Arr{\n type shade\n proj geog\n vx_layer g1\n }\n"
                                      "  b &Arr{\n type shade\n proj geog\n vx_layer g1\n }\n"
                                      "  c &Arr{\n type shade\n proj geog\n vx_layer g2\n }\n"
                                      "}\n";

std::unique_ptr<VXViewport> mapViewport()
{
    return vptest::makeViewport(360, 180, {"map", "geog", "range", "360", "fill", "white"});
}

} // namespace

TEST(Map, CoastsInEveryProjection)
{
    if (!haveCoasts())
        GTEST_SKIP() << "coasts.vector.xmd not built (world-atlas not installed by scripts/setup.sh)";
    // mask_radius: 0: no rim
    struct Case { const char* projection; const char* range; double mask_radius; } cases[] = {
        {"geog", "200", 0}, {"merc", "200", 0}, {"edp", "400", 180.0}, {"globe", "130", 57.29577951308232}
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.projection);
        auto vp = vptest::makeViewport(500, 500, {"map", c.projection, "latr", "0", "lonr", "-20", "range", c.range});
        VXMap map(vp.get(), 0, 0, nullptr);
        ASSERT_EQ(map.setDefaults(), 0) << takeErrors();
        ASSERT_EQ(map.vars.vector_only, 1);
        vp->setScales();
        const QImage image = vptest::render(vp.get(), Qt::white);
        vptest::keep(image, (std::string("map_") + c.projection).c_str());
        const QColor land = map.vars.fill_land.color, water = map.vars.fill_water.color;
        // lon, lat: inland Africa and South America, open Atlantic
        for (auto [lon, lat] : {std::pair{22.0, 7.0}, {-58.0, -12.0}})
            EXPECT_EQ(image.pixelColor(pixelOf(vp.get(), lon, lat)), land) << lon << " " << lat;
        for (auto [lon, lat] : {std::pair{-32.0, -2.0}, {-22.0, -32.0}})
            EXPECT_EQ(image.pixelColor(pixelOf(vp.get(), lon, lat)), water) << lon << " " << lat;
        // coastal points carry the coastline (ink darker than the fills), open water none
        expectInk(image, vp.get(), {{20.0, -34.83, 2, true}, {-17.5, 14.7, 2, true}, {-34.8, -7.15, 2, true},
                                    {-25.0, -20.0, 3, false}}, 140);
        if (c.mask_radius > 0) {
            // black just beyond the rim of the projected earth, none inside
            const QPoint centre = pixelOf(vp.get(), -20.0, 0.0);
            const double ppd = 500.0 / atof(c.range);
            const int out = static_cast<int>((c.mask_radius + 2.0) * ppd);
            const int in = static_cast<int>((c.mask_radius - 2.0) * ppd);
            EXPECT_EQ(image.pixelColor(centre + QPoint(out, 0)), QColor(Qt::black));
            EXPECT_EQ(image.pixelColor(centre - QPoint(0, out)), QColor(Qt::black));
            EXPECT_NE(image.pixelColor(centre + QPoint(in, 0)), QColor(Qt::black));
        } else {
            for (QPoint corner : {QPoint(1, 1), QPoint(1, 498), QPoint(498, 498)})
                EXPECT_NE(image.pixelColor(corner), QColor(Qt::black));
        }
    }
}

TEST(Map, DefaultsFallBackToVectorsAndBuildTheTaskbar)
{
    if (!haveCoasts())
        GTEST_SKIP() << "coasts.vector.xmd not built";
    auto vp = mapViewport();
    const double lonr = vp->vars.lonr;
    VXMap map(vp.get(), 1, 1, nullptr);
    ASSERT_EQ(map.setDefaults(), 0) << takeErrors();
    EXPECT_EQ(takeErrors(), "");
    EXPECT_EQ(map.vars.vector_only, 1);
    EXPECT_EQ(map.vars.maplayers, (QList<QString>{"land", "coasts"}));
    // each new layer moves the reference longitude a little
    EXPECT_NEAR(vp->vars.lonr - lonr, 0.0002, 1e-9);
    ASSERT_TRUE(map.getTaskbar());
    EXPECT_EQ(map.getTaskbar()->vars.buttons_list.size(), 4);
    // a button's action reaches the map
    EXPECT_EQ(map.getTaskbar()->setState(QStringLiteral("proj:globe")), 0) << takeErrors();
    EXPECT_EQ(vp->vars.map_tran, VX_MAP_GLOBE);
    EXPECT_EQ(map.configure("map_taskbar_set_state", "layers:off", nullptr), 0) << takeErrors();
    EXPECT_EQ(map.vars.maplayer_definitions.value("coasts")->item_process_pvt, 0);
}

TEST(Map, BadKeysKeepTheState)
{
    auto vp = mapViewport();
    VXMap map(vp.get(), 0, 0, nullptr);
    struct Case { const char* key; const char* value; const char* message; } cases[] = {
        {"projection", "polar", "map_parse_projection: projection 'polar' not recognized.\n"},
        {"zoom", "0", "map_parse_zoom: Error parsing '0'\n"}, {"zoom", "-2", "map_parse_zoom: Error parsing '-2'\n"},
        {"zoom", "much", "map_parse_zoom: Error parsing 'much'\n"},
        {"nthreads", "0", "map_parse_nthreads: nthreads must be a whole number from 1, not '0'.\n"},
        {"cache_maxsize", "-1", "map_parse_cache_maxsize: cache_maxsize must be a whole number from 0, not '-1'.\n"},
        {"map_taskbar_buttons", "map_buttons &Tbl{\n}\n",
         "map_parse_buttons: Must define taskbar object with taskbar_buttons_definitions configuration first\n"},
        {"map_taskbar_set_state", "proj:edp",
         "map_parse_set_state: Must define taskbar object with taskbar_buttons_definitions configuration first\n"},
        {"maplayer_definitions", "maplayers &Tbl{\n}\n",
         "map_parse_maplayer_definitions: kvparam(maplayer_definitions) error.\n"},
        {"maplayers_template", "nosuch",
         "map_parse_maplayers_template: Cannot find maplayers template for 'nosuch'.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.key << " " << c.value);
        expectConfigureRefused(&map, c.key, c.value, c.message);
        EXPECT_EQ(vp->vars.map_tran, VX_MAP_GEOG);
        EXPECT_EQ(vp->vars.range, 360.0);
        EXPECT_EQ(map.vars.nthreads, 16);
        EXPECT_EQ(map.vars.cache_maxsize, 500000000);
    }
}

TEST(Map, ZoomTwoHalvesTheRange)
{
    auto vp = mapViewport();
    VXMap map(vp.get(), 0, 0, nullptr);
    ASSERT_EQ(map.configure("zoom", "1", nullptr), 0);
    EXPECT_EQ(vp->vars.range, 360.0);
    ASSERT_EQ(map.configure("zoom", "2", nullptr), 0) << takeErrors();
    EXPECT_DOUBLE_EQ(vp->vars.range, 180.0);
    vp->setScales();
    EXPECT_NEAR(vp->vars.xright - vp->vars.xleft, 180.0, 1e-6);
    ASSERT_EQ(map.configure("zoom", "0.25", nullptr), 0);
    EXPECT_DOUBLE_EQ(vp->vars.range, 720.0);
}

TEST(Map, AnUndefinedLayerEndsTheStackAndKeepsTheLayersBefore)
{
    auto vp = mapViewport();
    VXMap map(vp.get(), 0, 0, nullptr);
    ASSERT_EQ(map.configure("maplayer_definitions", shade_definitions, nullptr), 0) << takeErrors();
    const std::string errors = expectConfigureRefused(&map, "maplayers", "maplayers &Tbl{\n a\n nosuch\n b\n}\n",
                                                      "VXMap::makeMaplayer: maplayer 'nosuch' not defined.\n");
    EXPECT_NE(errors.find("map_parse_maplayers: makeMaplayer error.\n"), std::string::npos);
    EXPECT_EQ(map.vars.maplayers, QList<QString>{"a"});
    // templates: one from the whole set, then loaded
    ASSERT_EQ(map.configure("define_maplayers_templates",
                            "maplayers_templates &Arr{\n both &Arr{\n maplayers &Tbl{\n a\n c\n }\n }\n}\n", nullptr),
              0) << takeErrors();
    ASSERT_EQ(map.configure("maplayers_template", "both", nullptr), 0) << takeErrors();
    EXPECT_EQ(map.vars.maplayers, (QList<QString>{"a", "c"}));
    // an unknown name for show or hide is passed over
    EXPECT_EQ(map.configure("maplayer_hide", "nosuch", nullptr), 0);
    EXPECT_EQ(takeErrors(), "");
    // new definitions drop the made layers; the names stay in the stack
    ASSERT_EQ(map.configure("maplayer_definitions", "maplayer_definitions &Arr{\n}\n", nullptr), 0);
    EXPECT_TRUE(map.vars.maplayer_definitions.isEmpty());
    EXPECT_EQ(map.vars.maplayers.size(), 2);
    vptest::render(vp.get());
}

TEST(Map, PaintOrdersLayersGroupsGraticuleAndTaskbar)
{
    auto vp = mapViewport();
    VXMap map(vp.get(), 0, 1, nullptr);
    ASSERT_EQ(map.configure("maplayer_definitions", shade_definitions, "maplayers", "maplayers &Tbl{\n a\n b\n c\n}\n",
                            "map_taskbar_buttons_definitions",
                            "map_buttons_definitions &Arr{\n p &Arr{\n states &Arr{\n s &Arr{\n label P\n"
                            " action configure zoom 2\n }\n }\n }\n}\n",
                            nullptr),
              0) << takeErrors();
    // an item made later keeps its place above the map's own
    VXAxes late(vp.get());
    VXMapLayer* a = map.vars.maplayer_definitions.value("a");
    VXMapLayer* b = map.vars.maplayer_definitions.value("b");
    VXMapLayer* c = map.vars.maplayer_definitions.value("c");
    VXLayer* g1 = a->getLayer();
    VXLayer* g2 = c->getLayer();
    ASSERT_TRUE(g1 && g2 && g1 == b->getLayer());
    auto order = [&] {
        vptest::render(vp.get());
        return vp->vars.display_list;
    };
    QList<VXViewportItem*> list = order();
    const QList<VXViewportItem*> stack{&map, a, b, g1, c, g2, map.vars.grids};
    ASSERT_GE(list.size(), stack.size() + 1);
    EXPECT_EQ(list.mid(1, stack.size()), stack);
    EXPECT_EQ(list.last(), map.getTaskbar());
    // the graticule's own cache right behind it
    EXPECT_EQ(list.value(stack.size() + 1), map.vars.grids->getLayer());
    EXPECT_GT(list.indexOf(&late), list.indexOf(map.vars.grids));
    // the printed list says the same
    const std::string printed = vptest::captureStdout([&] { vp->showDisplayList(nullptr); });
    const size_t pa = printed.find("VXMapLayer: a"), pb = printed.find("VXMapLayer: b"),
                 pg = printed.find("VXLayer: g1:"), pc = printed.find("VXMapLayer: c");
    EXPECT_TRUE(pa < pb && pb < pg && pg < pc && pc != std::string::npos) << printed;

    // b hidden: g1 after a; c hidden: g2 leaves with it
    ASSERT_EQ(map.configure("maplayer_hide", "b", "maplayer_visibility_toggle", "c", nullptr), 0);
    list = order();
    EXPECT_EQ(list.mid(1, 4), (QList<VXViewportItem*>{&map, a, g1, map.vars.grids}));
    EXPECT_FALSE(list.contains(b));
    EXPECT_FALSE(list.contains(c));
    EXPECT_FALSE(list.contains(g2));
    ASSERT_EQ(map.configure("maplayer_show", "b", nullptr), 0);
    list = order();
    EXPECT_EQ(list.mid(1, 5), (QList<VXViewportItem*>{&map, a, b, g1, map.vars.grids}));
}

TEST(Map, SolarPositionAtAnEquinox)
{
    double lat = 0, lon = 0;
    // 2024-03-20 03:06 UTC: the March equinox; with the equation of time
    // (-7.6 minutes) the sun stands over 135.4 E
    VXMap::solarPosition(timeparse("2024-03-20 03:06:00"), &lat, &lon);
    EXPECT_NEAR(lat, 0.0, 0.1);
    double wrapped = fmod(lon, 360.0);
    if (wrapped > 180.0)
        wrapped -= 360.0;
    if (wrapped < -180.0)
        wrapped += 360.0;
    EXPECT_NEAR(wrapped, 135.4, 0.5);
}

TEST(MapCommands, MapDefaultsAndOneHandleForItsTaskbar)
{
    if (!haveCoasts())
        GTEST_SKIP() << "coasts.vector.xmd not built";
    PlotSession session;
    const QString viewport = session.viewport;
    const Reply map = vx_send("map", viewport);
    ASSERT_EQ(map.code, 0) << map.handle.toStdString();
    EXPECT_TRUE(map.handle.startsWith("map:"));
    // the task bar exists once the defaults made it
    EXPECT_NE(vx_send("map_gettaskbar", map.handle).code, 0);
    takeErrors();
    ASSERT_EQ(vx_send("map_setdefaults", map.handle).code, 0);
    const Reply first = vx_send("map_gettaskbar", map.handle), second = vx_send("map_gettaskbar", map.handle);
    EXPECT_TRUE(first.handle.startsWith("taskbar:"));
    EXPECT_EQ(first.handle, second.handle);
    // map keys through the task bar's handle, and a wrong target refused
    EXPECT_EQ(vx_send("configure", first.handle, {}, {"projection edp"}).code, 0);
    const Reply wrong = vx_send("map_setdefaults", viewport);
    EXPECT_NE(wrong.code, 0);
    EXPECT_NE(wrong.handle.indexOf("not a map item"), -1) << wrong.handle.toStdString();
    takeErrors();
    vx_send("delete", map.handle);
}

TEST(Map, AnUnchangedViewRedrawsNoLayer)
{
    auto vp = mapViewport();
    VXMap map(vp.get(), 0, 1, nullptr);
    ASSERT_EQ(map.configure("maplayer_definitions", shade_definitions, "maplayers", "maplayers &Tbl{\n a\n}\n",
                            nullptr),
              0) << takeErrors();
    vptest::render(vp.get());
    VXLayer* g1 = map.vars.maplayer_definitions.value("a")->getLayer();
    ASSERT_TRUE(g1 && g1->getPixmap());
    // a mark in the cache survives a paint that only composites it
    g1->getPixmap()->fill(Qt::red);
    const QImage image = vptest::render(vp.get());
    EXPECT_EQ(image.pixelColor(5, 5), QColor(Qt::red));
    // a pan redraws it
    ASSERT_EQ(map.configure("lonr", "10", nullptr), 0);
    EXPECT_NE(vptest::render(vp.get()).pixelColor(5, 5), QColor(Qt::red));
}

namespace {

void mouse(VXViewport* vp, QEvent::Type type, QPoint pos, Qt::MouseButtons held)
{
    QMouseEvent e(type, QPointF(pos), QPointF(pos), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, held,
                  Qt::NoModifier);
    QCoreApplication::sendEvent(vp, &e);
}

// Pixels of a that differ from b moved by (dx, dy), over the part of a that
// b covers, below the strip of the task bar.
int differingMoved(const QImage& a, const QImage& b, int dx, int dy)
{
    constexpr int taskbar_strip = 40;
    int n = 0;
    for (int y = std::max(taskbar_strip, dy); y < std::min(a.height(), b.height() + dy); y++)
        for (int x = std::max(0, dx); x < std::min(a.width(), b.width() + dx); x++)
            if (a.pixel(x, y) != b.pixel(x - dx, y - dy))
                n++;
    return n;
}

} // namespace

TEST(Map, PanFramesMoveThePictureAndThePanEndsOnAFreshRender)
{
    if (!haveCoasts())
        GTEST_SKIP() << "coasts.vector.xmd not built (world-atlas not installed by scripts/setup.sh)";
    const std::initializer_list<const char*> view = {"map", "geog", "lonr", "10", "latr", "5", "range", "240"};
    auto vp = vptest::makeViewport(400, 260, view);
    VXMap map(vp.get(), 0, 1, nullptr);
    ASSERT_EQ(map.setDefaults(), 0) << takeErrors();
    const QImage before = vptest::render(vp.get());
    vptest::keep(before, "map_pan_before");

    const QPoint start(200, 130);
    mouse(vp.get(), QEvent::MouseButtonPress, start, Qt::LeftButton);
    // (dx, dy): within the margin (a quarter of the plot), then beyond it
    for (QPoint d : {QPoint(-30, 12), QPoint(-150, -70)}) {
        SCOPED_TRACE(d.x());
        mouse(vp.get(), QEvent::MouseMove, start + d, Qt::LeftButton);
        QCoreApplication::processEvents();
        const QImage during = vptest::render(vp.get());
        vptest::keep(during, d.x() == -30 ? "map_pan_near" : "map_pan_far");
        // the map moved with the pointer
        const int covered = (400 - std::abs(d.x())) * (260 - 40 - std::abs(d.y()));
        EXPECT_LT(differingMoved(during, before, d.x(), d.y()), covered / 50);
        EXPECT_GT(differingMoved(during, before, 0, 0), covered / 10);
    }
    mouse(vp.get(), QEvent::MouseButtonRelease, start + QPoint(-150, -70), Qt::NoButton);
    const QImage after = vptest::render(vp.get());
    vptest::keep(after, "map_pan_after");

    // a map made afresh at the centre the pan ended on
    auto fresh_vp = vptest::makeViewport(400, 260, view);
    VXMap fresh(fresh_vp.get(), 0, 1, nullptr);
    ASSERT_EQ(fresh.setDefaults(), 0) << takeErrors();
    fresh_vp->vars.lonr = vp->vars.lonr;
    fresh_vp->vars.latr = vp->vars.latr;
    const QImage expected = vptest::render(fresh_vp.get());
    vptest::keep(expected, "map_pan_fresh");
    EXPECT_EQ(differingMoved(after, expected, 0, 0), 0);
    // and it shows another part of the world than before
    EXPECT_GT(differingMoved(after, before, 0, 0), 400 * 220 / 10);
}

#ifdef VXSH_PATH
TEST(Map, WorldMapExampleDrawsLandAndWater)
{
    if (!haveCoasts())
        GTEST_SKIP() << "coasts.vector.xmd not built";
    QTemporaryDir dir;
    const QString picture = dir.filePath("worldmap.png");
    QProcess shell;
    shell.start(VXSH_PATH, {"--snapshot", picture, VX_TEST_SOURCE_DIR "/../examples/worldmap.vxs"});
    ASSERT_TRUE(shell.waitForFinished(120000));
    ASSERT_EQ(shell.exitCode(), 0) << shell.readAllStandardError().toStdString();
    const QImage image(picture);
    ASSERT_FALSE(image.isNull());
    const int all = image.width() * image.height();
    // about 30% of a geog world is land, the rest water; graticule lines
    // and coasts take their share of both
    EXPECT_GT(vptest::countColor(image, QColor(0xff, 0xf2, 0xe5)), all / 6);
    EXPECT_GT(vptest::countColor(image, QColor(0xe0, 0xe0, 0xff)), all / 3);
}
#endif

TEST(Map, DefaultsTakeTheRasterWhenItsFileIsThere)
{
    if (!haveCoasts())
        GTEST_SKIP() << "coasts.vector.xmd not built";
    QTemporaryDir dir;
    const QByteArray grid = globalGrid(2.0, 90, 1, [](double, double lat) { return static_cast<int16_t>(50 * lat); });
    ASSERT_TRUE(writeFile(dir.filePath("bluemarble.grid.xmd"), grid));
    const QByteArray saved = qgetenv("VXPLOT_MAPDATA_PATH");
    qputenv("VXPLOT_MAPDATA_PATH", dir.path().toUtf8());
    auto vp = mapViewport();
    VXMap map(vp.get(), 1, 0, nullptr);
    EXPECT_EQ(map.setDefaults(), 0) << takeErrors();
    if (saved.isNull())
        qunsetenv("VXPLOT_MAPDATA_PATH");
    else
        qputenv("VXPLOT_MAPDATA_PATH", saved);
    EXPECT_EQ(map.vars.vector_only, 0);
    EXPECT_EQ(map.vars.maplayers, (QList<QString>{"bluemarble", "coasts"}));
    // the layers button hides the raster
    EXPECT_EQ(map.configure("map_taskbar_set_state", "layers:off", nullptr), 0) << takeErrors();
    EXPECT_EQ(map.vars.maplayer_definitions.value("bluemarble")->item_process_pvt, 0);
    vptest::render(vp.get());
}
