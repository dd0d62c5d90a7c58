// Polylines: where the points land, each source, gaps, clipping, modes,
// maps, and the errors of bad keys and values.
#include "support/configsupport.h"
#include "support/vptest.h"

#include "items/polyline.h"
#include "toolkit/base/hlvector.h"
#include "toolkit/store/recordstore.h"
#include "toolkit/waveio/wfgap.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QPainter>
#include <QPainterPath>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

using vptest::blank;
using vptest::inkBox;
using vptest::inkOutside;
using vptest::keep;
using vptest::makeViewport;

namespace {

// 200 by 150 pixels, plot area 160 by 100 at (20, 10): x 0 to 16 and y 0
// to 10, ten pixels a unit.  World (x, y) is pixel (20 + 10x, 110 - 10y).
std::unique_ptr<VXViewport> plotViewport(std::initializer_list<const char*> extra = {})
{
    return makeViewport(200, 150, {"mleft", "20", "mright", "20", "mtop", "10", "mbottom", "40", "xleft", "0",
                                   "xright", "16", "ybottom", "0", "ytop", "10"}, extra);
}

const QRect plot_area(20, 10, 160, 100);

std::unique_ptr<VXPolyline> redLine(VXViewport* vp)
{
    auto line = std::make_unique<VXPolyline>(vp);
    line->setAntialias(false);
    EXPECT_EQ(line->configure("color_outline", "red", nullptr), 0) << takeErrors();
    return line;
}

// Draw the line alone into a white image; *ret gets draw's result.
QImage drawLine(VXPolyline* line, int* ret = nullptr)
{
    QImage image = blank(200, 150);
    QPainter painter(&image);
    const int r = line->draw(&painter);
    painter.end();
    if (ret)
        *ret = r;
    return image;
}

// A red line in a plot viewport (extra view keys given), configured with
// the key pairs given in order.
struct Scene
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXPolyline> line;
    explicit Scene(const std::vector<const char*>& keys, std::initializer_list<const char*> view = {})
        : vp(plotViewport(view)), line(redLine(vp.get()))
    {
        vptest::configureAll(line.get(), keys);
    }
};

// The box is within one pixel of expected on every side.
void expectBox(const QRect& box, const QRect& e)
{
    const int got[] = {box.left(), box.top(), box.right(), box.bottom()};
    const int want[] = {e.left(), e.top(), e.right(), e.bottom()};
    for (int i = 0; i < 4; i++)
        EXPECT_NEAR(got[i], want[i], 1) << "side " << i << " of the box " << got[0] << "," << got[1] << " to "
                                        << got[2] << "," << got[3];
}

bool inkAt(const QImage& image, int x, int y)
{
    return image.pixel(x, y) != QColor(Qt::white).rgba();
}

std::string pointerText(const void* p)
{
    char buf[32];
    snprintf(buf, sizeof buf, "%p", p);
    return buf;
}

} // namespace

TEST(PolylineDraw, PointsLandOnTheirPixels)
{
    Scene s({"points", "2 5\n14 5\n14 8"});
    int ret = 0;
    const QImage image = drawLine(s.line.get(), &ret);
    keep(image, "polyline_points");
    EXPECT_EQ(ret, 1);
    // (2,5) -> (40,60), (14,5) -> (160,60), (14,8) -> (160,30)
    expectBox(inkBox(image), QRect(QPoint(40, 30), QPoint(160, 60)));
    EXPECT_TRUE(inkAt(image, 160, 45));
    EXPECT_FALSE(inkAt(image, 100, 45));
    EXPECT_EQ(image.pixel(100, 60), QColor(Qt::red).rgba());
}

TEST(PolylineDraw, DrawnByThePaintLoop)
{
    Scene s({"points", "2 5\n14 5"});
    const QImage image = vptest::render(s.vp.get());
    keep(image, "polyline_paint_loop");
    expectBox(inkBox(image), QRect(QPoint(40, 60), QPoint(160, 60)));
}

TEST(PolylineSources, EachSourceGivesItsPoints)
{
    hl_clear_register(0);
    const double vx[] = {2.0, 14.0}, vy[] = {5.0, 5.0}, v2y1[] = {8.0, 8.0};
    ASSERT_EQ(hlvector_create("pl_vec", 2, vx, vy), 0);
    ASSERT_EQ(hlvector2_create("pl_vec2", 2, vx, vy, v2y1), 0);
    ASSERT_EQ(hlhistory_create("pl_hist", 2), 0);
    // the oldest sample falls out of a full history
    ASSERT_EQ(hlhistory_append("pl_hist", 0.0, 0.0), 0);
    ASSERT_EQ(hlhistory_append("pl_hist", 4.0, 2.0), 0);
    ASSERT_EQ(hlhistory_append("pl_hist", 8.0, 2.0), 0);
    QList<VX_XY> list = {{6.0, 1.0}, {6.0, 9.0}};
    auto* path = new VXPolylinePath;  // the line takes it
    path->path = new QPainterPath(QPointF(4.0, 2.0));
    path->path->lineTo(4.0, 6.0);

    struct Case { const char *name, *key; std::string value; QRect expected; } cases[] = {
        {"vector", "vector", "pl_vec", QRect(QPoint(40, 60), QPoint(160, 60))},
        {"vector of a two-component set takes its index", "vector", "pl_vec2:1", QRect(QPoint(40, 30), QPoint(160, 30))},
        {"vector2 component 0", "vector2", "pl_vec2:0", QRect(QPoint(40, 60), QPoint(160, 60))},
        {"thistory", "thistory", "pl_hist", QRect(QPoint(60, 90), QPoint(100, 90))},
        {"qlist", "qlist", pointerText(&list), QRect(QPoint(80, 20), QPoint(80, 100))},
        {"points", "points", "0 1, 16 1", QRect(QPoint(20, 100), QPoint(180, 100))},
        {"plpath", "plpath", pointerText(path), QRect(QPoint(60, 50), QPoint(60, 90))},
        // flat to x 1, then a sine decaying from amplitude 1 over x 1 to 10
        {"test", "test", "yes", QRect()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // y from -5 to 5 for the test curve
        auto vp = c.expected.isNull() ? plotViewport({"ybottom", "-5", "ytop", "5"}) : plotViewport();
        auto line = redLine(vp.get());
        EXPECT_EQ(line->configure(c.key, c.value.c_str(), nullptr), 0) << takeErrors();
        int ret = 0;
        const QImage image = drawLine(line.get(), &ret);
        EXPECT_EQ(ret, 1);
        const QRect box = inkBox(image);
        if (!c.expected.isNull()) {
            expectBox(box, c.expected);
            continue;
        }
        // the flat part on y 0, the first crest near y 1 / 1.25
        EXPECT_EQ(std::make_pair(box.left(), box.right()), std::make_pair(20, 119));
        EXPECT_TRUE(inkAt(image, 25, 60));
        EXPECT_NEAR(box.top(), 60 - 10 * 0.8, 2);
    }
    hlvector_delete("pl_vec");
    hlvector_delete("pl_vec2");
    hlvector_delete("pl_hist");
}

TEST(PolylineSources, EmptySourcesDrawNothing)
{
    ASSERT_EQ(hlvector_create("pl_empty", 0, nullptr, nullptr), 0);
    QList<VX_XY> empty;
    const std::string empty_text = pointerText(&empty);
    struct Case { const char* key; const char* value; } cases[] = {
        {"vector", "pl_empty"},        {"qlist", empty_text.c_str()}, {"qlist", "0"},
        {"points", ""},                {"plpath", "0"},               {"no source at all", nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.key);
        Scene s({});
        if (c.value) {
            ASSERT_EQ(s.line->configure("points", "2 5\n14 5", nullptr), 0);
            EXPECT_EQ(s.line->configure(c.key, c.value, nullptr), 0) << takeErrors();
        }
        int ret = -1;
        const QImage image = drawLine(s.line.get(), &ret);
        EXPECT_EQ(ret, 0);
        EXPECT_TRUE(inkBox(image).isEmpty());
    }
    hlvector_delete("pl_empty");
}

TEST(PolylineDraw, GapValueBreaksTheLine)
{
    Scene s({"gap_value", "-999", "points", "1 5\n6 5\n-999 -999\n10 5\n15 5"});
    const QImage image = drawLine(s.line.get());
    keep(image, "polyline_gap");
    // at x 3, at x 8 inside the gap, at x 13
    EXPECT_EQ(std::make_tuple(inkAt(image, 50, 60), inkAt(image, 100, 60), inkAt(image, 150, 60)), std::make_tuple(true, false, true));
    expectBox(inkBox(image), QRect(QPoint(30, 60), QPoint(170, 60)));

    // the same points with the gap value left at its default join up
    // through the far point: the line leaves the plot area
    Scene joined({"points", "1 5\n6 5\n10 5\n15 5"});
    EXPECT_TRUE(inkAt(drawLine(joined.line.get()), 100, 60));
}

TEST(PolylineDraw, ClippedToThePlotArea)
{
    Scene s({"linewidth", "3", "points", "-10 5\n30 5\n30 -20"});
    const QImage image = drawLine(s.line.get());
    keep(image, "polyline_clip");
    EXPECT_EQ(inkOutside(image, plot_area), 0);
    const QRect box = inkBox(image);
    EXPECT_EQ(std::make_pair(box.left(), box.right()), std::make_pair(20, 179));
    EXPECT_NEAR(box.center().y(), 60, 1);
}

TEST(PolylineDraw, ViewportModeIgnoresTheView)
{
    const char* views[][4] = {{"0", "16", "0", "10"}, {"-500", "3", "1e6", "2e6"}};
    for (auto& v : views) {
        SCOPED_TRACE(v[0]);
        const std::initializer_list<const char*> view = {"xleft", v[0], "xright", v[1], "ybottom", v[2], "ytop", v[3]};
        Scene across({"xmode", "viewport", "ymode", "viewport", "points", "0.25 0.75\n0.75 0.75"}, view);
        // y counts from the bottom: 0.75 is a quarter below the top edge
        expectBox(inkBox(drawLine(across.line.get())), QRect(QPoint(60, 35), QPoint(140, 35)));
        Scene centre({"xmode", "viewport", "ymode", "viewport", "points", "0.5 0.4\n0.5 0.6"}, view);
        expectBox(inkBox(drawLine(centre.line.get())), QRect(QPoint(100, 50), QPoint(100, 70)));
    }
}

TEST(PolylineDraw, GainScalesTheInput)
{
    Scene s({"xgain", "2", "ygain", "0.5", "points", "1 10\n4 10"});
    expectBox(inkBox(drawLine(s.line.get())), QRect(QPoint(40, 60), QPoint(100, 60)));
    EXPECT_EQ(configText(s.line, "xgain"), "2");
}

TEST(PolylineDraw, FillPaintsTheInside)
{
    Scene s({"color_fill", "blue", "points", "2 2\n8 2\n8 8\n2 8\n2 2"});
    const QImage image = drawLine(s.line.get());
    EXPECT_EQ(image.pixel(70, 60), QColor(Qt::blue).rgba());
    EXPECT_EQ(image.pixel(120, 60), QColor(Qt::white).rgba());
    expectBox(inkBox(image), QRect(QPoint(40, 30), QPoint(100, 90)));
}

TEST(PolylineDraw, GraphicsContextTakesThePlaceOfColours)
{
    Scene s({"points", "2 5\n14 5"});
    VXGraphicsContext contexts;
    ASSERT_NE(contexts.setGcItem("pl_gc:pen", VX_GC_PEN_COLOR, "green", 1), nullptr) << takeErrors();
    s.line->setGc(contexts.getGc("pl_gc"));
    const QImage image = drawLine(s.line.get());
    EXPECT_EQ(image.pixel(100, 60), QColor("green").rgba());
}

TEST(PolylineMaps, GlobeBlacksOutTheSpaceAroundTheDisc)
{
    Scene s({"points", "-20 0\n20 0"}, {"map", "globe", "range", "160"});
    // drawn over yellow
    auto draw = [&s] {
        QImage image = blank(200, 150, Qt::yellow);
        QPainter painter(&image);
        EXPECT_EQ(s.line->draw(&painter), 1);
        return image;
    };
    const QImage image = draw();
    keep(image, "polyline_globe");
    // the plot corners are outside the disc, the centre inside
    // (the last point, outside the plot area, untouched)
    const QPoint at[] = {{22, 12}, {177, 107}, {100, 40}, {100, 60}, {5, 5}};
    const QColor want[] = {Qt::black, Qt::black, Qt::yellow, Qt::red, Qt::yellow};
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(image.pixelColor(at[i]), want[i]) << i;

    // no fill_black: no mask
    ASSERT_EQ(s.line->configure("fill_black", "", nullptr), 0) << takeErrors();
    EXPECT_EQ(draw().pixel(22, 12), QColor(Qt::yellow).rgba());
}

TEST(PolylineMaps, LongitudesRepeatInGeographicViews)
{
    // a view 720 degrees wide shows every longitude twice
    Scene s({"points", "10 -30\n10 30\n30 30\n30 -30\n10 -30"}, {"map", "geog", "range", "720"});
    int ret = 0;
    const QImage image = drawLine(s.line.get(), &ret);
    keep(image, "polyline_geog");
    EXPECT_EQ(ret, 1);
    // runs of ink along the middle row of the drawing: two edges per copy
    const QRect box = inkBox(image);
    ASSERT_FALSE(box.isEmpty());
    const int row = box.center().y();
    std::vector<int> starts;
    for (int x = 0; x < image.width(); x++)
        if (inkAt(image, x, row) && (x == 0 || !inkAt(image, x - 1, row)))
            starts.push_back(x);
    ASSERT_EQ(starts.size(), 4u);
    // the copies are 360 degrees apart, the edges 20
    const double px_per_degree = 160.0 / 720.0;
    EXPECT_NEAR(starts[2] - starts[0], 360.0 * px_per_degree, 1.5);
    EXPECT_NEAR(starts[1] - starts[0], 20.0 * px_per_degree, 1.5);
}

TEST(PolylineConfig, BadValuesKeepTheEarlierState)
{
    const double vx[] = {2.0, 14.0}, vy[] = {5.0, 5.0};
    ASSERT_EQ(hlvector_create("pl_keep", 2, vx, vy), 0);
    // message: a line the register holds after the failure
    struct Case { const char* name; const char* key; const char* value; const char* message; } cases[] = {
        {"gain not a number", "xgain", "abc", "polyline_parse_gain: strtod(abc) error.\n"},
        {"gain with trailing text", "ygain", "2x", "polyline_parse_gain: strtod(2x) error.\n"},
        {"unknown mode", "xmode", "pixels", "polyline_parse_mode: unrecognized mode value 'pixels'.\n"},
        {"unknown vector", "vector", "nosuch:1", "polyline_parse_vector: Cannot find hlvector or hlvector2 corresponding to handle 'nosuch'.\n"},
        {"unknown vector2", "vector2", "nosuch:0", "polyline_parse_vector2: hlvector2_get_points(nosuch:0) error.\n"},
        {"unknown history", "thistory", "nosuch", "polyline_parse_thistory: hlhistory_get_points(nosuch) error.\n"},
        {"bad pointer", "qlist", "zz", "polyline_parse_pointer: bad pointer value 'zz'.\n"},
        {"unknown key", "nosuch", "1", "Unknown key 'nosuch'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Scene s({});
        ASSERT_EQ(s.line->configure("vector", "pl_keep", nullptr), 0);
        takeErrors();
        expectConfigureRefused(s.line, c.key, c.value, c.message);
        EXPECT_EQ(std::make_tuple(s.line->vars.xgain, s.line->vars.ygain, s.line->vars.xmode), std::make_tuple(1.0, 1.0, 0));
        EXPECT_STREQ(s.line->vars.vechandle, "pl_keep");
        expectBox(inkBox(drawLine(s.line.get())), QRect(QPoint(40, 60), QPoint(160, 60)));
    }
    hlvector_delete("pl_keep");
}

TEST(PolylineConfig, BadPointEntriesAreDropped)
{
    struct Case { const char* name; const char* text; const char* message; } cases[] = {
        {"one number", "2 5\n7\n14 5", "polyline_parse_point: Not enough fields.\n"},
        {"bad x", "2 5\nabc 3\n14 5", "polyline_parse_point: error parsing x 'abc 3'.\n"},
        {"bad y", "2 5\n3 abc\n14 5", "polyline_parse_point: error parsing y 'abc'.\n"},
        {"long entry", nullptr, "polyline_parse_point: entry longer than 8191 characters.\n"},
    };
    const std::string long_text = "2 5\n" + std::string(9000, '1') + " 3\n14 5";
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Scene s({});
        expectConfigureRefused(s.line, "points", c.text ? c.text : long_text.c_str(), c.message);
        EXPECT_EQ(s.line->vars.npts, 2);
        expectBox(inkBox(drawLine(s.line.get())), QRect(QPoint(40, 60), QPoint(160, 60)));
    }
}

TEST(PolylineConfig, PrintersAndDefaults)
{
    const double vx[] = {1.0};
    ASSERT_EQ(hlvector2_create("pl_print", 1, vx, vx, vx), 0);
    auto vp = plotViewport();
    VXPolyline line(vp.get());
    // value: set first, or null
    struct Case { const char* key; const char* value; const char* printed; } cases[] = {
        {"xmode", nullptr, "world"},            {"ymode", "viewport", "viewport"},
        {"xmode", "", "world"},                 {"xgain", nullptr, "1"},
        {"linewidth", nullptr, "1"},            {"fill_black", nullptr, "black"},
        {"vector", "pl_print:1", "pl_print:1"}, {"test", "1", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.key);
        if (c.value) {
            ASSERT_EQ(line.configure(c.key, c.value, nullptr), 0) << takeErrors();
        }
        EXPECT_EQ(configText(line, c.key), c.printed);
    }
    EXPECT_EQ(std::make_pair(line.vars.linestyle, line.vars.gap_value), std::make_pair(1, 2.12345e30));
    EXPECT_EQ(line.class_name, "VXPolyline");
    EXPECT_TRUE(vp->vars.display_list.contains(&line));
    EXPECT_TRUE(line.hasConfigureKey("trace"));
    EXPECT_EQ(line.setSourceHlgrid("grid0"), 0);
    hlvector_delete("pl_print");
}

// ---- the trace source --------------------------------------------------

namespace {

// A "Trace4.0" database in memory with the rows given as (time, samprate,
// samples), all in one bundle or each in its own.  Closed by the caller.
Rsptr traceTable(const char* name, const std::vector<std::tuple<double, double, std::vector<float>>>& rows,
                 bool bundle = true)
{
    Rsptr db = rsopen(name, "Trace4.0", RS_READ);
    EXPECT_FALSE(rsisinvalid(db)) << takeErrors();
    Rsptr tr = rslookup(db, nullptr, "trace", nullptr, "rsSCRATCH");
    const long n = static_cast<long>(rows.size());
    long i = 0;
    for (const auto& [time, samprate, samples] : rows) {
        EXPECT_EQ(rsputv(tr, nullptr, "sta", "FUR", "chan", "BHZ", "time", time, "samprate", samprate, "data",
                         samples.data(), static_cast<long>(samples.size()), "bundle", bundle ? 0L : i, bundle ? n : i + 1, nullptr),
                  0)
            << takeErrors();
        EXPECT_EQ(rsaddrecord(tr), i++) << takeErrors();
    }
    tr.record = 0;
    return tr;
}

std::string rsptrText(Rsptr p)
{
    char buf[RS_PTR_TEXT];
    rsptr_print(p, buf);
    return buf;
}

} // namespace

TEST(PolylineTrace, SamplesLandAtTheirTimesWithAGapBetweenRows)
{
    // two rows of 4 samples at 1 sample/s: x 1..4 and 9..12, y as given
    Rsptr tr = traceTable("trace_gap", {{1.0, 1.0, {2, 4, 6, 8}}, {9.0, 1.0, {8, 6, 4, 2}}});
    Scene s({});
    ASSERT_EQ(s.line->configure("trace", rsptrText(tr).c_str(), nullptr), 0) << takeErrors();
    ASSERT_EQ(s.line->vars.npts, 9);
    EXPECT_EQ(std::make_tuple(s.line->vars.xpts[1], s.line->vars.ypts[1], s.line->vars.xpts[5]), std::make_tuple(2.0, 4.0, 9.0));
    EXPECT_EQ(s.line->vars.gap_value, static_cast<double>(WF_GAP_VALUE));
    EXPECT_EQ(s.line->vars.xpts[4], s.line->vars.gap_value);
    EXPECT_EQ(std::make_pair(s.line->vars.xmax, s.line->vars.ymax), std::make_pair(12.0, 8.0));  // bounds leave the gap out

    const QImage image = drawLine(s.line.get());
    keep(image, "polyline_trace");
    // (2, 4): x 20 + 10*2, y 110 - 10*4; (9, 8), the second row's first sample; x 6, between the rows: no
    // stroke joins them
    EXPECT_EQ(std::make_tuple(inkAt(image, 40, 70), inkAt(image, 110, 30), inkAt(image, 80, 30)), std::make_tuple(true, true, false));
    rsclose(tr);
}

TEST(PolylineTrace, ABundleOfOneRowGivesThatRow)
{
    Rsptr tr = traceTable("trace_single", {{0.0, 2.0, {1, 2, 3}}, {5.0, 2.0, {4, 5}}}, false);
    tr.record = 1;
    VXPolyline line(nullptr);
    ASSERT_EQ(line.setSourceTrace(tr), 0) << takeErrors();
    ASSERT_EQ(line.vars.npts, 2);
    EXPECT_EQ(std::make_pair(line.vars.xpts[1], line.vars.ypts[1]), std::make_pair(5.5, 5.0));  // 2 samples a second
    rsclose(tr);
}

TEST(PolylineTrace, FailuresClearTheSourceWithTheirMessage)
{
    hl_clear_register(0);
    Rsptr tr = traceTable("trace_bad", {{0.0, 1.0, {1, 2, 3}}});
    Rsptr empty = tr;
    ASSERT_GE(empty.record = rsaddnull(tr), 0);  // no data, nsamp null

    VXPolyline line(nullptr);
    ASSERT_EQ(line.setSourceTrace(tr), 0);
    ASSERT_EQ(line.vars.npts, 3);
    // a row whose samples are missing although it counts some
    ASSERT_EQ(rsputv(empty, nullptr, "nsamp", 5L, nullptr), 0) << takeErrors();
    EXPECT_EQ(line.setSourceTrace(empty), -1);
    EXPECT_EQ(takeErrors(), "VXPolyline::setSourceTrace: NULL data.\n");
    EXPECT_EQ(line.vars.npts, 0);

    EXPECT_EQ(line.configure("trace", "1 2 three 4", nullptr), -1);
    EXPECT_NE(takeErrors().find("polyline_parse_trace: Cannot parse Rsptr '1 2 three 4'.\n"), std::string::npos);
    rsclose(tr);
}
