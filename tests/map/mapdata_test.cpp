// Map data files and their drawing: the reader on good and bad files,
// resolution choice, colours of the raster, the tile cache, vector areas
// across the date line, round a pole and round the antipode, and the real
// coastlines where the build made them.
#include "map/mapdata_support.h"
#include "support/testsupport.h"
#include "support/vptest.h"

#include "viewport/polydraw.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>

#include <arpa/inet.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>

using namespace mdtest;

namespace {

std::unique_ptr<VXViewport> mapView(int w, int h, const char* map, const char* range, const char* lonr = "0",
                                    const char* latr = "0")
{
    auto vp = vptest::makeViewport(w, h, {"map", map, "range", range, "lonr", lonr, "latr", latr});
    vp->computeMapBB();
    return vp;
}

// Draw the vector data of md into an image of the viewport's size, land
// red, water blue, lines black at width 1 when outline is set.
QImage drawVectors(VXMapData& md, VXViewport* vp, bool outline_only = false)
{
    QImage image(vp->vars.w, vp->vars.h, QImage::Format_ARGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    VX_Color outline, water, land;
    VX_ParseColor("black", outline);
    if (!outline_only) {
        VX_ParseColor("blue", water);
        VX_ParseColor("red", land);
    }
    md.drawVector(painter, &vp->vars, {}, {}, outline_only ? 1.0 : -1.0, outline, water, land);
    return image;
}

// Expect the colour of each geographic point.
struct Spot { double lon, lat; Qt::GlobalColor colour; };
void expectSpots(const QImage& image, VXViewport* vp, std::initializer_list<Spot> spots)
{
    for (const Spot& s : spots)
        EXPECT_EQ(image.pixelColor(pixelOf(vp, s.lon, s.lat)), QColor(s.colour)) << s.lon << " " << s.lat;
}

QByteArray vectorFile(std::vector<HLMapDataWriterSegment> segments)
{
    HLMapDataWriter writer;
    HLMapDataWriterVector v;
    v.resolution = "test";
    v.segments = std::move(segments);
    writer.addVector(v);
    return writer.bytes();
}

} // namespace

TEST(MapDataFile, WrittenFileReadsBackFieldByField)
{
    HLMapDataWriter writer;
    HLMapDataWriterVector coarse;
    coarse.name = "squares";
    coarse.resolution = "c";
    coarse.degrees_per_pixel = 0.2;
    coarse.segments = {ring(1, 1, {0, 0, 10, 0, 10, 10, 0, 10}), ring(2, 1, {2, 2, 4, 2, 4, 4, 2, 4})};
    writer.addVector(coarse);
    const QByteArray bytes = writer.bytes();
    HLMapData md;
    ASSERT_EQ(setBytes(md, bytes, "t.xmd"), 0) << takeErrors();
    EXPECT_EQ(memcmp(md.frame.magic, HL_MAPDATA_MAGIC, 8), 0);
    ASSERT_EQ(md.frame.nresolutions, 1);
    const HLMapDataResolution& r = md.frame.resolutions[0];
    EXPECT_STREQ(r.name, "squares");
    EXPECT_STREQ(r.resolution, "c");
    EXPECT_EQ(r.data_type, 4);
    EXPECT_EQ(r.map_type, HL_MAPDATA_VECTOR);
    EXPECT_EQ(r.degrees_per_pixel, 0.2);
    const HLMapDataVectorTile& tile = static_cast<HLMapDataVector*>(r.data)->tiles[0];
    ASSERT_EQ(tile.nsegments, 2);
    EXPECT_EQ(tile.fill, 1);
    const HLMapDataVectorSegment& s = tile.segments[1];
    EXPECT_EQ(s.level, 2);
    EXPECT_EQ(s.npts, 5);
    EXPECT_EQ(s.lonmin, 2000000);
    EXPECT_EQ(s.latmax, 4000000);
    // points stay in network order inside the file
    EXPECT_EQ(ntohl(static_cast<uint32_t>(s.pts[1].lon_microdegrees)), 4000000u);
}

TEST(MapDataFile, BadFilesAreRefusedAndTheEarlierFileKept)
{
    const QByteArray good = globalGrid(10.0, 6, 1, [](double, double) { return 100; });
    auto patched = [&](qsizetype offset, std::initializer_list<unsigned char> with) {
        QByteArray b = good;
        qsizetype i = offset;
        for (unsigned char c : with)
            b[i++] = static_cast<char>(c);
        return b;
    };
    struct Case { const char* name; QByteArray bytes; const char* message; } cases[] = {
        {"empty", QByteArray(), "file shorter than its header at byte 0"},
        {"wrong magic", patched(0, {'X'}), "wrong magic number at byte 0"},
        {"truncated", good.left(good.size() - 8), "stored size differs at byte 16"},
        {"no resolutions", patched(12, {0}), "resolution count out of range at byte 12"},
        {"resolution table beyond the end", patched(24, {0xff, 0xff, 0xff}), "resolution table outside the file"},
        {"tile count", patched(64 + 840, {7}), "tile counts out of range at byte 888"},
        {"unknown map type", patched(64 + 584, {9}), "unknown map type at byte 648"},
    };
    HLMapData md;
    ASSERT_EQ(setBytes(md, good, "good.xmd"), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_LT(setBytes(md, c.bytes, "bad.xmd"), 0);
        const std::string errors = takeErrors();
        EXPECT_NE(errors.find("HLMapData::setInput: bad.xmd: "), std::string::npos) << errors;
        EXPECT_NE(errors.find(c.message), std::string::npos) << errors;
        EXPECT_STREQ(md.fileName(), "good.xmd");
        EXPECT_EQ(md.frame.nresolutions, 1);
    }
    // a tile index out of range, and a tile that does not inflate
    unsigned char* buf = nullptr;
    EXPECT_LT(md.getTileGrid(0, 999, &buf), 0);
    EXPECT_NE(takeErrors().find("good.xmd: tile 999 of resolution 0 not a grid tile"), std::string::npos);
    HLMapDataGridTile& tile = static_cast<HLMapDataGrid*>(md.frame.resolutions[0].data)->tiles[0];
    QByteArray broken = good;
    const qsizetype at = reinterpret_cast<const char*>(tile.buf) - good.constData();
    broken[at + 6] = static_cast<char>(broken[at + 6] ^ 0x55);
    HLMapData md2;
    ASSERT_EQ(setBytes(md2, broken, "z.xmd"), 0);
    EXPECT_LT(md2.getTileGrid(0, 0, &buf), 0);
    EXPECT_NE(takeErrors().find("z.xmd: tile 0 of resolution 0 does not inflate"), std::string::npos);
    // the constructor on a missing file
    EXPECT_THROW(VXMapData("/nonexistent/x.xmd", 1), const char*);
    EXPECT_NE(takeErrors().find("VXMapData::VXMapData: setInput() error."), std::string::npos);
}

TEST(MapData, ResolutionChoice)
{
    const QByteArray bytes = globalGrid(2.0, 30, 1, [](double, double) { return 0; }, 3);
    VXMapData md(1);
    ASSERT_EQ(setBytes(md, bytes, "r"), 0);
    // degrees per pixel 8, 4, 2 from coarse to fine
    struct Case { double dpp; int index; } cases[] = {{1e9, 0}, {4.01, 0}, {3.9, 1}, {2.01, 1}, {1.5, 2}, {1e-9, 2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.dpp);
        EXPECT_EQ(md.setResolution(c.dpp), c.index);
        EXPECT_EQ(md.resolution, c.index);
    }
    EXPECT_EQ(md.setResolution(3), -1);
    EXPECT_EQ(takeErrors(), "VXMapData::setResolution: resolution 3 outside of range.\n");
    EXPECT_EQ(md.resolution, 2);
}

TEST(MapData, ColoursFollowTheTableAndItsEnds)
{
    vxmapdata_make_cpt();
    ASSERT_EQ(vxmapdata_ecpt, -3125);
    ASSERT_EQ(vxmapdata_ncpt, 4687 + 3125 + 1);
    // z in grid units: exact rows, between rows, the two rows on 0, both ends
    struct Case { const char* name; int z; int r, g, b; } cases[] = {
        {"first row", -3125, 44, 53, 99}, {"row -2000 m", -1250, 124, 131, 170},
        {"0 and 1 m both land on 0, 0 wins", 0, 197, 197, 206}, {"between 1 m and 833 m", 260, 26, 168, 27},
        {"last row", 4687, 255, 255, 255}, {"below the table", -30000, 44, 53, 99},
        {"above the table", 30000, 255, 255, 255},
    };
    // one pixel per case: a 1-degree grid whose columns hold the cases
    const QByteArray bytes = globalGrid(1.0, 64, 1, [&](double lon, double) {
        const int i = static_cast<int>(std::floor(lon + 180.0));
        return static_cast<int16_t>(i < 7 ? cases[i].z : 0);
    });
    VXMapData md(1);
    ASSERT_EQ(load(md, bytes, "c"), 0);
    // a geog window over the first seven pixel centres of the equator row
    QImage* image = md.drawImage(7, 1, VX_MAP_GEOG, -179.5, -173.5, 0.5, 0.5, 0, 0, 1.0, 0.0);
    ASSERT_NE(image, nullptr);
    for (int i = 0; i < 7; i++) {
        SCOPED_TRACE(cases[i].name);
        EXPECT_EQ(image->pixel(i, 0), qRgba(cases[i].r, cases[i].g, cases[i].b, 255));
    }
    // lightness: lightmin 2 acts as 1, so every pixel has lightness 255
    // with its chroma offsets; gamma 0 acts as 1
    image = md.drawImage(7, 1, VX_MAP_GEOG, -179.5, -173.5, 0.5, 0.5, 0, 0, 0.0, 2.0);
    EXPECT_EQ(image->pixel(0, 0), qRgba(228, 237, 255, 255));  // 44,53,99: mid 71, offsets -27,-18,28, clamped
    EXPECT_EQ(image->pixel(3, 0), qRgba(184, 255, 185, 255));  // 26,168,27: mid 97
    EXPECT_EQ(md.gamma, 1.0);
}

TEST(MapData, CoverageAndTheGlobe)
{
    // a grid over [0, 20] x [0, 20] only
    std::vector<int16_t> z(20 * 20, 1000);
    HLMapDataWriter writer;
    HLMapDataWriterGrid g;
    g.lon_start = 0.5;
    g.lat_start = 0.5;
    g.nlon = g.nlat = 20;
    g.pixels = reinterpret_cast<const unsigned char*>(z.data());
    g.nlon_per_tile = g.nlat_per_tile = 8;
    writer.addGrid(g);
    const QByteArray bytes = writer.bytes();
    VXMapData md(0);
    ASSERT_EQ(load(md, bytes, "p"), 0);
    // no fill threads at all: the raster stays blank
    QImage* image = md.drawImage(40, 40, VX_MAP_GEOG, -20, 20, -20, 20, 0, 0, 1, 0);
    EXPECT_EQ(image->pixel(30, 10), 0u);
    VXMapData one(1);
    ASSERT_EQ(load(one, bytes, "p"), 0);
    image = one.drawImage(41, 41, VX_MAP_GEOG, -20, 20, -20, 20, 0, 0, 1, 0);
    EXPECT_EQ(qAlpha(image->pixel(30, 10)), 255);   // lon 10, lat 10
    EXPECT_EQ(image->pixel(10, 10), 0u);            // lon -10: no data, transparent
    EXPECT_EQ(image->pixel(30, 30), 0u);            // lat -10
    // the globe: outside the disc opaque black, the far side of the data
    // transparent
    image = one.drawImage(101, 101, VX_MAP_GLOBE, -60, 60, -60, 60, 10, 10, 1, 0);
    EXPECT_EQ(image->pixel(0, 0), qRgba(0, 0, 0, 255));
    EXPECT_EQ(qAlpha(image->pixel(50, 50)), 255);
    EXPECT_EQ(image->pixel(20, 50), 0u);
}

TEST(MapData, CacheStaysWithinItsLimitAfterAFill)
{
    const QByteArray bytes = globalGrid(1.0, 16, 1, [](double lon, double) { return lon; });
    VXMapData md(1);
    ASSERT_EQ(load(md, bytes, "k"), 0);
    md.drawImage(360, 180, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, 1, 0);
    const long tile_bytes = 16 * 16 * 2;
    EXPECT_EQ(md.cacheSize(), tile_bytes * 23 * 12);  // every tile touched once
    const long limit = 10 * tile_bytes + 1;
    EXPECT_LT(md.cleanCache(limit, 0), limit);
    EXPECT_LE(md.cacheSize(), 10 * tile_bytes);
    // the evicted tiles come back on the next fill
    QImage* image = md.drawImage(360, 180, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, 1, 0);
    EXPECT_EQ(qAlpha(image->pixel(0, 0)), 255);
}

TEST(MapData, DateLinePolygonIsContinuousInGeog)
{
    // land from 170 E to 170 W across the date line, written with the jump
    const QByteArray bytes = vectorFile({ring(1, 1, {170, -10, -170, -10, -170, 10, 170, 10})});
    VXMapData md(1);
    ASSERT_EQ(load(md, bytes, "d"), 0);
    auto vp = mapView(360, 180, "geog", "360");
    const QImage image = drawVectors(md, vp.get());
    // no band across the whole map
    expectSpots(image, vp.get(), {{175, 0, Qt::red}, {-175, 0, Qt::red}, {0, 0, Qt::white}, {160, 0, Qt::white}});
}

TEST(MapData, LevelParityAndTheSouthPolarCap)
{
    // an ice cap ringing the pole at 82 S (open: it goes round the pole),
    // land with a lake in it
    HLMapDataWriterSegment cap;
    cap.level = 1;
    cap.fill = 1;
    for (int lon = -180; lon <= 180; lon += 10)
        cap.pts.push_back({lon * 1000000, -82000000});
    const QByteArray bytes = vectorFile({cap, ring(1, 1, {0, 0, 40, 0, 40, 40, 0, 40}),
                                         ring(2, 1, {10, 10, 30, 10, 30, 30, 10, 30})});
    VXMapData md(1);
    ASSERT_EQ(load(md, bytes, "s"), 0);
    auto vp = mapView(360, 180, "geog", "360");
    const QImage image = drawVectors(md, vp.get());
    // the lake's even level: water
    expectSpots(image, vp.get(), {{5, 5, Qt::red}, {20, 20, Qt::blue}, {100, -87, Qt::red}, {-100, -87, Qt::red},
                                  {100, -70, Qt::white}});
}

TEST(MapData, AreaHoldingTheAntipodeIsInvertedInEdp)
{
    struct Case { const char* name; HLMapDataWriterSegment ring; bool centre, rim; } cases[] = {
        {"square round the antipode", ring(1, 1, {170, -10, -170, -10, -170, 10, 170, 10}), false, true},
        {"square round the centre", ring(1, 1, {-10, -10, 10, -10, 10, 10, -10, 10}), true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QByteArray bytes = vectorFile({c.ring});
        VXMapData md(1);
        ASSERT_EQ(load(md, bytes, "a"), 0);
        auto vp = mapView(400, 400, "edp", "400");
        const QImage image = drawVectors(md, vp.get());
        const QPoint centre(200, 200);
        // 175 degrees from the centre: within 10 degrees of the antipode
        const int rim = static_cast<int>(std::lround(175.0 * 400 / 400.0));
        EXPECT_EQ(image.pixelColor(centre) == QColor(Qt::red), c.centre);
        EXPECT_EQ(image.pixelColor(centre + QPoint(rim, 0)) == QColor(Qt::red), c.rim);
        EXPECT_EQ(image.pixelColor(centre + QPoint(100, 0)), QColor(Qt::white));
    }
}

TEST(MapData, PointInPolygonOnTheSphere)
{
    const double lats[] = {-10, -10, 10, 10}, lons[] = {170, -170, -170, 170};
    struct Case { double lat, lon; int inside; } cases[] = {
        {0, 180, 1}, {0, -180, 1}, {0, 175, 1}, {0, 0, 0}, {20, 180, 0}, {-20, 180, 0}, {0, 165, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.lat << " " << c.lon);
        EXPECT_EQ(VXMapData::isInside(c.lat, c.lon, 4, lats, lons), c.inside);
    }
}

TEST(MapData, RealCoastlinesWhereTheyBelong)
{
    if (!haveCoasts())
        GTEST_SKIP() << "coasts.vector.xmd not built (world-atlas not installed by scripts/setup.sh)";
    VXMapData md(coastsFile(), 1);
    ASSERT_EQ(md.frame.nresolutions, 2);
    EXPECT_STREQ(md.frame.resolutions[0].resolution, "110m");
    EXPECT_STREQ(md.frame.resolutions[1].resolution, "50m");
    md.setResolution(1);
    auto vp = mapView(1440, 720, "geog", "360");
    const QImage outline = drawVectors(md, vp.get(), true);
    // coastal points of Africa and South America carry lines, open ocean none
    expectInk(outline, vp.get(),
              {{20.0, -34.83, 2, true}, {-17.5, 14.7, 2, true}, {51.27, 10.4, 2, true}, {32.3, 31.3, 2, true},
               {-34.8, -7.15, 2, true}, {-81.3, -4.7, 2, true}, {-67.3, -55.9, 2, true}, {-71.6, 12.4, 2, true},
               {-30, 0, 3, false}, {-20, -30, 3, false}, {0, -40, 3, false}, {-100, -20, 3, false},
               {60, -20, 3, false}});
    const QImage filled = drawVectors(md, vp.get());
    expectSpots(filled, vp.get(), {{20, 5, Qt::red}, {-60, -10, Qt::red}, {-30, 0, Qt::white}});
    // the whole world in edp about Africa: land at the centre, the antipode
    // in the Pacific stays water
    auto edp = mapView(720, 720, "edp", "360", "20", "0");
    md.setResolution(0);
    const QImage world = drawVectors(md, edp.get());
    EXPECT_EQ(world.pixelColor(360, 360), QColor(Qt::red));
    EXPECT_EQ(world.pixelColor(pixelOf(edp.get(), -160, 0)), QColor(Qt::white));
    const QImage edp_lines = drawVectors(md, edp.get(), true);
    expectInk(edp_lines, edp.get(), {{20.0, -34.83, 2, true}, {-34.8, -7.15, 2, true}, {-20, -30, 3, false}});
    if (const char* folder = getenv("VX_MAPDATA_PNG")) {
        filled.save(QString("%1/coasts_geog.png").arg(folder));
        world.save(QString("%1/coasts_edp.png").arg(folder));
    }
}

// Strokes what a VXPolyDraw pumps, as drawVector strokes lines.
class Stroker : public VXPolyDrawSink
{
public:
    explicit Stroker(QPainter* p) : painter(p) {}
    ~Stroker() override { flush(); }
    void moveTo(double x, double y) override
    {
        flush();
        run = {QPointF(x, y)};
    }
    void lineTo(double x, double y) override { run.push_back(QPointF(x, y)); }
    void flush()
    {
        for (size_t i = 0; i + 1 < run.size(); i += 999)
            painter->drawPolyline(run.data() + i, static_cast<int>(std::min<size_t>(1000, run.size() - i)));
    }
    QPainter* painter;
    std::vector<QPointF> run;
};

TEST(MapData, EdpLinesLieWhereThePointPumpPutsThem)
{
    // long steps that the pump cuts into pixels, some passing near the
    // antipode, and a ring round the centre
    HLMapDataWriterSegment wide;
    wide.level = 1;
    for (int lon = -180; lon <= 180; lon += 45)
        wide.pts.push_back({lon * 1000000, (lon % 90 == 0 ? 30 : -50) * 1000000});
    const std::vector<HLMapDataWriterSegment> segments = {
        wide, ring(1, 0, {150, -5, -150, -5, -150, 5, 150, 5}), ring(1, 0, {10, 10, 40, 10, 40, 35})};
    const QByteArray bytes = vectorFile(segments);
    VXMapData md(1);
    ASSERT_EQ(load(md, bytes, "e"), 0);
    for (const char* lonr : {"30", "-150"}) {
        SCOPED_TRACE(lonr);
        auto vp = mapView(400, 400, "edp", "360", lonr, "20");
        const QImage drawn = drawVectors(md, vp.get(), true);
        QImage expected(400, 400, QImage::Format_ARGB32);
        expected.fill(Qt::white);
        {
            QPainter painter(&expected);
            VX_Color black;
            VX_ParseColor("black", black);
            VX_setup_line(&painter, &black, 1.0, 1, 128, -1);
            painter.translate(vp->vars.mleft, vp->vars.mtop);
            painter.setClipRect(0, 0, vp->vars.w - vp->vars.mleft - vp->vars.mright,
                                vp->vars.h - vp->vars.mtop - vp->vars.mbottom);
            for (auto it = segments.rbegin(); it != segments.rend(); ++it) {
                std::vector<double> x, y;
                for (const auto& p : it->pts) {
                    x.push_back(std::remainder(p.lon_microdegrees * 1e-6, 360.0));
                    y.push_back(p.lat_microdegrees * 1e-6);
                }
                VXPolyDraw pump(&vp->vars, 0, 1.0, 1.0, 0, 0);
                Stroker stroker(&painter);
                pump.sink = &stroker;
                QPainterPath unused;
                pump.addPoints(&unused, static_cast<int>(x.size()), x.data(), y.data(), 1, 0);
            }
        }
        EXPECT_GT(std::count_if(reinterpret_cast<const QRgb*>(drawn.constBits()),
                                reinterpret_cast<const QRgb*>(drawn.constBits()) + 400 * 400,
                                [](QRgb c) { return qGray(c) < 128; }),
                  1000);
        EXPECT_TRUE(drawn == expected);
    }
}

TEST(MapData, AnotherFileInTheSameViewDrawsItsOwnLines)
{
    const QByteArray a = vectorFile({ring(1, 0, {0, 0, 40, 0, 40, 40, 0, 40})});
    const QByteArray b = vectorFile({ring(1, 0, {-100, -20, -60, -20, -60, 20})});
    for (const char* map : {"edp", "geog"}) {
        SCOPED_TRACE(map);
        auto vp = mapView(400, 400, map, "360");
        VXMapData kept(1), fresh(1);
        ASSERT_EQ(load(kept, a, "a"), 0);
        const QImage first = drawVectors(kept, vp.get(), true);
        ASSERT_EQ(load(kept, b, "b"), 0);
        ASSERT_EQ(load(fresh, b, "b"), 0);
        const QImage second = drawVectors(kept, vp.get(), true);
        EXPECT_FALSE(second == first);
        EXPECT_TRUE(second == drawVectors(fresh, vp.get(), true));
    }
}

TEST(MapData, RedrawsAndChangedViewsDrawAsAFreshObjectDoes)
{
    // real coastlines when built, else a few synthetic areas; the object
    // drawn again and again keeps what it projected for a view
    QByteArray bytes;
    const QString path = coastsFile();
    if (path.isEmpty())
        bytes = vectorFile({ring(1, 1, {170, -10, -170, -10, -170, 10, 170, 10}),
                            ring(1, 1, {0, 0, 40, 0, 40, 40, 0, 40}),
                            ring(2, 1, {10, 10, 30, 10, 30, 30, 10, 30})});
    auto open = [&] {
        auto md = path.isEmpty() ? std::make_unique<VXMapData>(1) : std::make_unique<VXMapData>(path, 1);
        if (path.isEmpty())
            load(*md, bytes, "r");
        else
            md->setResolution(1);
        return md;
    };
    std::unique_ptr<VXMapData> kept = open();
    struct View { const char* map; const char* range; const char* lonr; const char* latr; bool lines; } views[] = {
        {"edp", "360", "20", "0", true},  {"edp", "360", "20", "0", true},   {"edp", "360", "20", "0", false},
        {"edp", "90", "-60", "-20", true}, {"globe", "180", "140", "30", true}, {"geog", "360", "0", "0", true},
        {"geog", "360", "0", "0", false},  {"edp", "360", "20", "0", true},
    };
    int i = 0;
    for (const View& v : views) {
        SCOPED_TRACE(testing::Message() << "view " << i);
        auto vp = mapView(500, 400, v.map, v.range, v.lonr, v.latr);
        const QImage again = drawVectors(*kept, vp.get(), v.lines);
        auto fresh = open();
        const QImage once = drawVectors(*fresh, vp.get(), v.lines);
        EXPECT_TRUE(again == once);
        if (const char* folder = getenv("VX_MAPDATA_PNG"))
            once.save(QString("%1/redraw_%2.png").arg(folder).arg(i));
        i++;
    }
}

#ifdef VXMAPDATA_PATH
TEST(MapDataTool, TopoJsonAndGridInputs)
{
    QTemporaryDir dir;
    auto run = [&](const QStringList& args, QString* err) {
        QProcess p;
        p.start(VXMAPDATA_PATH, args);
        p.waitForFinished(60000);
        *err = QString::fromLocal8Bit(p.readAllStandardError());
        return p.exitCode();
    };
    auto write = [&](const char* name, const QByteArray& text) {
        EXPECT_TRUE(writeFile(dir.filePath(name), text));
        return dir.filePath(name);
    };
    // a quantized square of land with a hole, the arcs delta-encoded
    const QString topo = write("t.json",
        R"({"type":"Topology","transform":{"scale":[0.5,0.5],"translate":[-10,-10]},)"
        R"("objects":{"land":{"type":"GeometryCollection","geometries":[{"type":"Polygon","arcs":[[0],[-2]]}]}},)"
        R"("arcs":[[[0,0],[40,0],[0,40],[-40,0],[0,-40]],[[10,10],[0,20],[20,0],[0,-20],[-20,0]]]})");
    QString err;
    const QString out = dir.filePath("t.xmd");
    ASSERT_EQ(run({"vector", out, "c", "0.2", topo}, &err), 0) << err.toStdString();
    HLMapData md;
    ASSERT_EQ(md.setInput(out.toLocal8Bit().constData(), 0, nullptr), 0) << takeErrors();
    const HLMapDataVectorTile& tile = static_cast<HLMapDataVector*>(md.frame.resolutions[0].data)->tiles[0];
    ASSERT_EQ(tile.nsegments, 4);  // land and lake as areas, then as lines
    EXPECT_EQ(tile.segments[0].level, 1);
    EXPECT_EQ(tile.segments[0].lonmin, -10000000);
    EXPECT_EQ(tile.segments[0].latmax, 10000000);
    EXPECT_EQ(tile.segments[1].level, 2);
    EXPECT_EQ(tile.segments[1].lonmin, -5000000);
    EXPECT_EQ(tile.segments[2].fill, 0);
    // bad inputs: a message naming the file and the place, no output
    struct Case { const char* name; QByteArray text; const char* message; } cases[] = {
        {"not JSON", "{\"type\":", "not JSON"},
        {"not a topology", R"({"type":"FeatureCollection"})", "not a TopoJSON topology"},
        {"arc index", R"({"type":"Topology","objects":{"land":{"type":"Polygon","arcs":[[3]]}},"arcs":[]})",
         "arc index 3 out of range"},
        {"position", R"({"type":"Topology","objects":{"land":{"type":"Polygon","arcs":[[0]]}},"arcs":[[[1]]]})",
         "arc 0, position 0 is not a pair of numbers"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QString bad = write("bad.json", c.text);
        EXPECT_EQ(run({"vector", dir.filePath("bad.xmd"), "c", "0.2", bad}, &err), 1);
        EXPECT_TRUE(err.contains("bad.json")) << err.toStdString();
        EXPECT_TRUE(err.contains(c.message)) << err.toStdString();
        EXPECT_FALSE(QFile::exists(dir.filePath("bad.xmd")));
    }
    // a grid of known heights: 4 by 2, rows southward
    QByteArray grid = "VXGRID 1\ncontent int16\nnlon 4\nnlat 2\nlon_start 0.5\ndlon 1\nlat_start 1.5\ndlat -1\ndata\n";
    for (int16_t z : {0, 100, 200, 300, 400, 500, 600, 700})
        grid.append(reinterpret_cast<const char*>(&z), 2);
    ASSERT_EQ(run({"grid", dir.filePath("g.xmd"), "--tile", "3", "--resolutions", "2",
                   write("g.grid", grid)}, &err), 0) << err.toStdString();
    VXMapData g(dir.filePath("g.xmd"), 1);
    ASSERT_EQ(g.frame.nresolutions, 2);
    g.setResolution(1);
    unsigned char* buf;
    ASSERT_EQ(g.getTileGrid(1, 1, &buf), 0);  // second tile of the first row: column 3
    int16_t z;
    memcpy(&z, buf, 2);
    EXPECT_EQ(z, 300);
    EXPECT_EQ(run({"grid", dir.filePath("g2.xmd"), write("short.grid", grid.left(grid.size() - 1))}, &err), 1);
    EXPECT_TRUE(err.contains("short.grid: line 9: 16 bytes of pixels expected")) << err.toStdString();
}
#endif
