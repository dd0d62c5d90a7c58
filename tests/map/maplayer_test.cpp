// Map layers: definitions, width lists, the shade veil, a missing file.
#include "map/mapdata_support.h"
#include "support/vptest.h"

#include "map/maplayer.h"
#include "map/mapitem.h"
#include "viewport/layer.h"

#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QTemporaryDir>

#include <cmath>

namespace {

// A file in dir with one square continent from -10 to 10 degrees.
QString writeSquare(const QTemporaryDir& dir)
{
    HLMapDataWriterVector v;
    v.name = "square";
    v.resolution = "fine";
    v.segments.push_back(mdtest::ring(1, 1, {-10, -10, 10, -10, 10, 10, -10, 10}));
    HLMapDataWriter writer;
    writer.addVector(v);
    const QString path = dir.filePath("square.vector.xmd");
    EXPECT_EQ(writer.write(path.toUtf8().constData()), 0) << takeErrors();
    return path;
}

std::string definition(const std::string& body)
{
    return "definition &Arr{\n" + body + "}\n";
}

struct Fixture
{
    QTemporaryDir dir;
    std::unique_ptr<VXViewport> vp = vptest::makeViewport(200, 200, {"map", "geog", "range", "40"});
    std::unique_ptr<VXMap> map = std::make_unique<VXMap>(vp.get(), 0, 0, nullptr);
    std::unique_ptr<VXMapLayer> layer = std::make_unique<VXMapLayer>(vp.get(), map.get());
    // Configure the layer's definition from the lines of body.
    int define(const std::string& body) { return layer->configure("definition", definition(body).c_str(), nullptr); }
    // The square continent's file as a definition line.
    std::string squareLine() { return "mapdata_source_file " + writeSquare(dir).toStdString() + "\n"; }
};

} // namespace

TEST(MapLayer, NeedsItsMap)
{
    auto vp = vptest::makeViewport(50, 50);
    try {
        VXMapLayer layer(vp.get(), nullptr);
        FAIL() << "made without a map";
    } catch (const char* text) {
        EXPECT_STREQ(text, "VXMapLayer::VXMapLayer: Need non-NULL VXMap pointer.");
    }
}

TEST(MapLayer, BadDefinitionsAreRefusedWholeWithTheirMessages)
{
    Fixture f;
    const std::string file = f.squareLine();
    ASSERT_EQ(f.define("type vector\nvx_layer good\noutline_color red\n" + file), 0) << takeErrors();
    struct Case { const char* name; std::string body; std::vector<std::string> messages; } cases[] = {
        {"no type", "vx_layer x\n", {"maplayer_parse_definition: kvparam(type) error.\n"}},
        {"unknown type", "type raster\nvx_layer x\n", {"maplayer_parse_definition: type = raster not recognized.\n"}},
        {"no file", "type vector\nvx_layer x\n", {"maplayer_parse_definition: kvparam(mapdata_source_file) error.\n"}},
        {"absent file", "type grid\nvx_layer x\nmapdata_source_file nosuch.grid.xmd\n",
         {"maplayer_parse_definitions: Problem with map source file 'nosuch.grid.xmd'.\n"}},
        {"bad proj", "type shade\nvx_layer x\nproj geog,polar\n",
         {"maplayer_parse_definition: Unrecognized proj 'polar'.\n"}},
        {"no layer", "type shade\nproj geog\n", {"maplayer_parse_definition: kvparam(vx_layer) error.\n"}},
        {"bad opacity", "type shade\nproj geog\nvx_layer x\nopacity half\n",
         {"maplayer_parse_definition: kvparam(opacity) error.\n"}},
        {"bad colour", "type vector\nvx_layer x\noutline_color nocolour\n" + file,
         {"map_get_color: Illegal color specification \"nocolour\"\n",
          "maplayer_parse_definition: map_get_color(nocolour) error.\n"}},
        {"single width later", "type vector\nvx_layer x\n" + file + "levels &Tbl{\n1:2 red 0\n}\n",
         {"VXMapLayer::parseLinewidth: subsequent fields must have x and y values seperated by ','.\n",
          "maplayer_parse_definition: VXMapLayer::parseLinewidths(1:2) error.\n"}},
        {"three parts", "type vector\nvx_layer x\n" + file + "levels &Tbl{\n1,2,3 red 0\n}\n",
         {"VXMapLayer::parseLinewidths: Unrecognized field '1,2,3'.\n"}},
        {"bad index", "type vector\nvx_layer x\n" + file + "levels &Tbl{\n1 red x\n}\n",
         {"maplayer_parse_definition: strtol(x) error.\n"}},
        {"bad scale", "type vector\nvx_layer x\n" + file + "levels &Tbl{\n1 red 1.x\n}\n",
         {"maplayer_parse_definition: strtod(1.x) error.\n"}},
        {"too many words", "type vector\nvx_layer x\n" + file + "resolution_map &Tbl{\na b c d e f\n}\n",
         {"maplayer_parse_definition: Too many fields for resolution_map.\n"}},
        {"not compiled", "}\n", {"maplayer_parse_definition: VX_kvcompile("}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string text = std::string(c.name) == "not compiled" ? c.body : definition(c.body);
        EXPECT_LT(f.layer->configure("definition", text.c_str(), nullptr), 0);
        const std::string errors = takeErrors();
        for (const std::string& m : c.messages)
            EXPECT_NE(errors.find(m), std::string::npos) << errors;
        // the earlier definition stands
        EXPECT_EQ(f.layer->vars.type, VX_MAPLAYER_VECTOR);
        EXPECT_EQ(f.layer->getLayerName(), QStringLiteral("good"));
        EXPECT_EQ(f.layer->vars.outline_color.color, QColor(Qt::red));
    }
    // an empty definition changes nothing and leaves no message
    hl_register_error(0, "earlier\n");
    EXPECT_EQ(f.layer->configure("definition", "definition &Arr{\n}\n", nullptr), 0);
    EXPECT_EQ(takeErrors(), "");
    EXPECT_EQ(f.layer->vars.type, VX_MAPLAYER_VECTOR);
}

TEST(MapLayer, WidthLists)
{
    // rows: scale, width
    struct Case { const char* text; std::vector<std::pair<double, double>> rows; } cases[] = {
        {"2", {{-1.0, 2.0}}}, {"0,1:10,2.5", {{0.0, 1.0}, {10.0, 2.5}}}, {"1:10,2", {{-1.0, 1.0}, {10.0, 2.0}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        QList<VxMapLayerLevelLinewidth> out;
        ASSERT_EQ(VXMapLayer::parseLinewidths(c.text, out), 0);
        ASSERT_EQ(out.size(), static_cast<qsizetype>(c.rows.size()));
        for (size_t i = 0; i < c.rows.size(); i++) {
            EXPECT_EQ(out[i].pixels_per_degree_min, c.rows[i].first);
            EXPECT_EQ(out[i].linewidth, c.rows[i].second);
        }
    }
}

TEST(MapLayer, LevelsInheritWhatTheRowBeforeSetAndSkipNoNumber)
{
    Fixture f;
    f.map->configure("fill_water", "#0000ff", nullptr);
    const std::string body = "type vector\nvx_layer v\n" + f.squareLine() +
                             "levels &Tbl{\n1.0 red 2\n\\# a comment row\n0,1:20,3 $FILL_WATER 4.5\n3.0\n}\n"
                             "resolution_map &Tbl{\nfine\n\ncoarse fine\n}\n";
    ASSERT_EQ(f.define(body), 0) << takeErrors();
    const auto& levels = f.layer->vars.levels;
    ASSERT_EQ(levels.size(), 3);
    EXPECT_EQ(levels[1].index_min, 2);
    EXPECT_EQ(levels[1].pixels_per_degree_min, -1.0);
    EXPECT_EQ(levels[1].outline.color, QColor(Qt::red));
    // the scale row keeps the index of the row before
    EXPECT_EQ(levels[2].index_min, 2);
    EXPECT_EQ(levels[2].pixels_per_degree_min, 4.5);
    EXPECT_EQ(levels[2].outline.color, QColor(Qt::blue));
    EXPECT_EQ(levels[2].linewidths.size(), 2);
    // one field: index 0, the outline of the row before
    EXPECT_EQ(levels[3].index_min, 0);
    EXPECT_EQ(levels[3].pixels_per_degree_min, 4.5);
    EXPECT_EQ(levels[3].outline.color, QColor(Qt::blue));
    ASSERT_EQ(f.layer->vars.map_resolutions.size(), 2);
    EXPECT_EQ(f.layer->vars.map_resolutions[1], (QList<QString>{"coarse", "fine"}));
}

TEST(MapLayer, ShadeIsClearAtTheCentreAndDarkFarAway)
{
    Fixture f;
    // geog: one pixel per degree, the centre of light at 0, 0
    QImage* image = f.layer->drawShadeImage(361, 181, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, 0, 0);
    ASSERT_TRUE(image);
    struct Case { double lon, lat; int alpha; } cases[] = {
        {0, 0, 0}, {60, 0, 127}, {0, -60, 127}, {78.0, 0, 201}, {79.0, 0, 204}, {150, 45, 204}
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.lon << " " << c.lat);
        const QRgb p = image->pixel(static_cast<int>(c.lon + 180), static_cast<int>(90 - c.lat));
        EXPECT_EQ(qAlpha(p), c.alpha);
        EXPECT_EQ(qRed(p) + qGreen(p) + qBlue(p), 0);
    }
    // beyond the globe's disc: opaque
    image = f.layer->drawShadeImage(101, 101, VX_MAP_GLOBE, -70, 70, -70, 70, 0, 0, 0, 0);
    EXPECT_EQ(qAlpha(image->pixel(0, 0)), 255);
    EXPECT_EQ(qAlpha(image->pixel(50, 50)), 0);
    EXPECT_EQ(f.layer->drawShadeImage(0, 10, VX_MAP_GEOG, 0, 1, 0, 1, 0, 0, 0, 0), nullptr);
}

TEST(MapLayer, ShadeOutsideItsProjectionsAndOpacityZeroDrawNothing)
{
    Fixture f;
    f.vp->configure("map", "globe", "range", "130", nullptr);
    f.vp->setScales();
    ASSERT_EQ(f.define("type shade\nproj edp,geog\nvx_layer s\n"), 0) << takeErrors();
    QImage image = vptest::blank(200, 200);
    {
        QPainter p(&image);
        EXPECT_EQ(f.layer->draw(&p), 0);
    }
    // not even the black rim
    EXPECT_EQ(vptest::inkBox(image), QRect());
    ASSERT_EQ(f.define("type vector_fill\nvx_layer s\nopacity 0\n" + f.squareLine()), 0) << takeErrors();
    {
        QPainter p(&image);
        EXPECT_EQ(f.layer->draw(&p), 0);
    }
    EXPECT_EQ(f.layer->vars.mapdata, nullptr);
}

TEST(MapLayer, AMissingFileShowsOneMessageAndTheLayerDropsOut)
{
    Fixture f;
    const QString path = writeSquare(f.dir);
    f.layer->setItemName(QStringLiteral("land"));
    const std::string file = "mapdata_source_file " + path.toStdString() + "\n";
    ASSERT_EQ(f.define("type vector_fill\nvx_layer m\nfill_color red\n" + file), 0) << takeErrors();
    ASSERT_TRUE(QFile::remove(path));
    auto boxes = [] {
        QList<QMessageBox*> list;
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* b = qobject_cast<QMessageBox*>(w); b && b->isVisible())
                list.append(b);
        return list;
    };
    const qsizetype before = boxes().size();
    QImage image = vptest::blank(200, 200);
    for (int i = 0; i < 2; i++) {
        QPainter p(&image);
        EXPECT_EQ(f.layer->draw(&p), 1);
    }
    EXPECT_EQ(vptest::inkBox(image), QRect());
    EXPECT_EQ(f.layer->vars.nodata, 1);
    EXPECT_EQ(f.layer->item_process_pvt, 0);
    EXPECT_EQ(takeErrors(), "");
    const QList<QMessageBox*> shown = boxes();
    ASSERT_EQ(shown.size(), before + 1);
    EXPECT_EQ(shown.last()->text(), QStringLiteral("Cannot find layer land map file %1\nDownload using ...").arg(path));
    EXPECT_FALSE(shown.last()->isModal());
    shown.last()->close();
}

TEST(MapLayer, RasterLayersBlendAgainstWhiteAndTheRimIsBlack)
{
    QTemporaryDir dir;
    // heights rising to the east: the colour table makes them greens and browns
    const QByteArray grid = mdtest::globalGrid(1.0, 90, 1, [](double lon, double) {
        return static_cast<int16_t>(100 + 10 * (lon + 180));
    });
    const QString path = dir.filePath("test.grid.xmd");
    ASSERT_TRUE(mdtest::writeFile(path, grid));
    Fixture f;
    f.map->configure("nthreads", "2", nullptr);
    auto colourAt = [&](const char* opacity, const char* projection, QPoint p) {
        const std::string body = "type grid\nvx_layer r\nopacity " + std::string(opacity) +
                                 "\nmapdata_source_file " + path.toStdString() + "\n";
        EXPECT_EQ(f.define(body), 0) << takeErrors();
        f.vp->configure("map", projection, "range", "400", nullptr);
        f.vp->setScales();
        QImage image = vptest::blank(200, 200, Qt::blue);
        QPainter painter(&image);
        EXPECT_EQ(f.layer->draw(&painter), 1);
        painter.end();
        return image.pixelColor(p);
    };
    const QColor opaque = colourAt("1.0", "geog", QPoint(100, 100));
    const QColor half = colourAt("0.5", "geog", QPoint(100, 100));
    EXPECT_EQ(opaque.alpha(), 255);
    EXPECT_NE(opaque, QColor(Qt::blue));
    // half way to white, not to the blue beneath
    EXPECT_NEAR(half.red(), (opaque.red() + 255) / 2, 3);
    EXPECT_NEAR(half.blue(), (opaque.blue() + 255) / 2, 3);
    // edp: the earth is the disc of radius 180 degrees, the corners are black
    EXPECT_EQ(colourAt("1.0", "edp", QPoint(2, 2)), QColor(Qt::black));
    EXPECT_NE(colourAt("1.0", "edp", QPoint(100, 100)), QColor(Qt::black));
}
