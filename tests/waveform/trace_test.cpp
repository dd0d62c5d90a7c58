// The trace: where its path lies, the path elements of hand-made columns,
// amplitude modes and units, labels, selection numbers, P alignment, and
// refused keys.
#include "waveform/pixelator_support.h"

#include "support/configsupport.h"
#include "support/vptest.h"

#include "toolkit/base/errors.h"
#include "toolkit/geo/traveltime.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"

#include <gtest/gtest.h>

#include <QPainter>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

using vptest::blank;
using vptest::keep;
using vptest::makeViewport;

namespace {

// A view of one or more traces: plot area 400 by 200 at (50, 10), world y
// 0 to 1, a grid of 400 columns of 0.05 s from time 0.
struct View
{
    std::unique_ptr<VXViewport> vp;
    VxTraceviewDefaults d;
    MemoryReader reader;

    // with a wider margin and a taller plot for a look at the labels
    explicit View(bool wide = false)
    {
        vp = makeViewport(wide ? 600 : 460, wide ? 320 : 220, {"mleft", wide ? "190" : "50", "mright", "10", "mtop",
                          "10", "mbottom", "10", "xleft", "0", "xright", "1", "ybottom", "0", "ytop", "1"});
        d.viewport = vp.get();
        d.tleft = 0.0;
        d.dtperpixel = 0.05;
        d.npixels = 400;
        const std::pair<const char*, VX_Color*> colours[] = {
            {"black", &d.color_foreground}, {"#000080", &d.color_traces_background}, {"black", &d.color_trace_label},
            {"#808080", &d.color_trace_amp_label}, {"blue", &d.color_trace_filter_label},
            {"lightblue", &d.color_trace_select_background}, {"black", &d.color_trace_select_order_label}};
        for (const auto& [text, colour] : colours)
            VX_ParseColor(text, *colour);
        VX_ParseFont("courier,14,Normal", d.font_trace_label);
        for (VX_Font* font : {&d.font_trace_amp_label, &d.font_trace_filter_label, &d.font_trace_select_order_label})
            VX_ParseFont("courier,12,Normal", *font);
    }

    // A row of samples under a key of its own: the process's sample cache
    // knows rows by key.
    void add(MemoryReader& r, std::vector<float> samples, double calib = 1.0)
    {
        static int serial = 0;
        r.addRow(0.0, 100.0, std::move(samples), calib, QStringLiteral("trace_test_row%1").arg(serial++));
    }
    void add(std::vector<float> samples, double calib = 1.0) { add(reader, std::move(samples), calib); }

    // A trace in the band ybottom to ytop reading reader's rows.
    std::unique_ptr<VXTrace> trace(double ybottom = 0.25, double ytop = 0.75)
    {
        auto t = std::make_unique<VXTrace>(&d);
        t->vars.ybottom = ybottom;
        t->vars.ytop = ytop;
        t->setReader(&reader, 0, -1);
        return t;
    }
};

// Noise, then a P and an S wave train; deterministic.
std::vector<float> seismogram(int n, double samprate)
{
    std::vector<float> v(static_cast<size_t>(n));
    unsigned seed = 12345;
    for (int i = 0; i < n; i++) {
        seed = seed * 1103515245u + 12345u;
        const double t = i / samprate;
        double x = 200.0 + 30.0 * ((seed >> 16) % 1000 / 500.0 - 1.0);  // an offset the filter removes
        if (t > 4.0)
            x += 800.0 * std::exp(-(t - 4.0) / 1.5) * std::sin(2.0 * M_PI * 3.0 * (t - 4.0));
        if (t > 11.0)
            x += 1500.0 * std::exp(-(t - 11.0) / 3.0) * std::sin(2.0 * M_PI * 1.2 * (t - 11.0));
        v[i] = static_cast<float>(x);
    }
    return v;
}

QImage drawTrace(VXTrace* t, QList<double>* end_points_out = nullptr, bool background = false)
{
    QImage image = blank(460, 220);
    QPainter painter(&image);
    QList<double> end_points;
    const QPainterPath path = t->makePath(end_points, 1);
    if (background)
        t->drawTraceBackground(&painter, end_points);
    t->drawPath(&painter, path);
    painter.end();
    if (end_points_out)
        *end_points_out = end_points;
    return image;
}

struct Element { bool move; double x, y; };

} // namespace

TEST(Trace, SineInksEveryColumnOfItsBandAndNothingElse)
{
    View v;
    v.add(sine(2000, 100.0, 4.0, 1000.0));
    auto t = v.trace();
    const QImage image = drawTrace(t.get());
    keep(image, "trace_sine");
    // the band 0.25 to 0.75 of a 200 pixel plot starting at row 10
    const int top = 10 + 50, bottom = 10 + 150;
    for (int x = 50; x < 450; x++) {
        int ink_in = 0, ink_out = 0;
        for (int y = 0; y < image.height(); y++) {
            if (image.pixel(x, y) == QColor(Qt::white).rgba())
                continue;
            (y >= top - 1 && y <= bottom + 1 ? ink_in : ink_out)++;
        }
        ASSERT_GT(ink_in, 0) << "column " << x;
        ASSERT_EQ(ink_out, 0) << "column " << x;
    }
    EXPECT_EQ(vptest::inkOutside(image, QRect(50, top - 1, 400, bottom - top + 3)), 0);
}

TEST(Trace, HandMadeColumnsGiveThePathElements)
{
    auto vp = makeViewport(10, 100, {"mleft", "0", "mright", "0", "mtop", "0", "mbottom", "0", "xleft", "0", "xright",
                                     "1", "ybottom", "0", "ytop", "1"});
    VxTraceviewDefaults d;
    d.viewport = vp.get();
    VXTrace t(&d);
    t.tleft = 0.0;
    t.dtperpixel = 1.0;
    t.npixels = 10;
    t.vars.abottom = 0.0;
    t.vars.atop = 100.0;
    t.vars.gain = 1.0;
    VxPixelatorSegment seg;
    seg.dtperpixel = 1.0;
    // pixel row = 100 - value
    seg.pixels = {{3, 10, 20}, {0, 0, 0}, {2, 50, 60}, {1, 30, 30}, {1, 35, 35}, {4, 36, 38}, {-1, 0, 0}};
    QPainterPath path;
    qreal xfirst = -1, xlast = -1;
    t.makeSegmentPath(path, xfirst, xlast, seg);
    // a busy column: one vertical; the next, not overlapping it: joined; single
    // samples: lines from the last point; busy again, joined to the single sample
    const QList<Element> expected = {
        {true, 0, 80}, {false, 0, 90}, {true, 2, 80}, {false, 2, 50}, {true, 2, 40}, {false, 2, 50}, {true, 2, 50},
        {false, 3, 70}, {true, 3, 70}, {false, 4, 65}, {true, 5, 65}, {false, 5, 64}, {true, 5, 62}, {false, 5, 64},
    };
    QList<Element> got;
    for (int i = 0; i < path.elementCount(); i++) {
        const QPainterPath::Element e = path.elementAt(i);
        got.append({e.isMoveTo(), e.x, e.y});
    }
    ASSERT_EQ(got.size(), expected.size());
    for (qsizetype i = 0; i < got.size(); i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(got[i].move, expected[i].move);
        EXPECT_DOUBLE_EQ(got[i].x, expected[i].x);
        EXPECT_DOUBLE_EQ(got[i].y, expected[i].y);
    }
    EXPECT_EQ(xfirst, 0.0);
    EXPECT_EQ(xlast, 5.0);

    // a segment of holes adds nothing
    seg.pixels = {{-1, 0, 0}, {0, 0, 0}, {-1, 0, 0}};
    QPainterPath empty;
    t.makeSegmentPath(empty, xfirst, xlast, seg);
    EXPECT_EQ(empty.elementCount(), 0);
}

TEST(Trace, NothingToDrawGivesNoPathAndNoBand)
{
    struct Case { const char* name; std::vector<float> samples; const char* mode; } cases[] = {
        {"flat in auto", std::vector<float>(2000, 5.0f), "auto"},
        {"flat in autop at zero", std::vector<float>(2000, 0.0f), "autop"},
        {"all NaN", std::vector<float>(2000, NAN), "auto"}, {"empty", {}, "auto"},
        {"fixed window of zero height", sine(2000, 100.0, 4.0, 10.0), "fixed"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        View v;
        if (!c.samples.empty())
            v.add(c.samples);
        auto t = v.trace();
        ASSERT_EQ(t->configure("ampscale_mode", c.mode, nullptr), 0);
        QList<double> end_points;
        const QImage image = drawTrace(t.get(), &end_points, true);
        EXPECT_TRUE(end_points.isEmpty());
        EXPECT_TRUE(vptest::inkBox(image).isEmpty());
    }
}

TEST(Trace, AmplitudeModes)
{
    struct Case { const char* mode; double abottom, atop; } cases[] = {
        {"auto", -300, 500}, {"auto0", -500, 500}, {"autop", 0, 500}, {"auton", 0, 500}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mode);
        View v;
        v.add({-300.0f, 100.0f, 500.0f, 0.0f});
        auto t = v.trace();
        ASSERT_EQ(t->configure("ampscale_mode", c.mode, nullptr), 0);
        QList<double> end_points;
        EXPECT_FALSE(t->makePath(end_points, 1).isEmpty());
        EXPECT_EQ(t->vars.abottom, c.abottom);
        EXPECT_EQ(t->vars.atop, c.atop);
        // the band covers the data's columns only
        EXPECT_EQ(end_points, (QList<double>{0.0, 0.0}));
    }
    // gain zooms about the middle of the window
    View v;
    v.add({-300.0f, 500.0f});
    auto t = v.trace();
    t->configure("ampscale_mode", "auto", "gain", "4", nullptr);
    QList<double> end_points;
    t->makePath(end_points, 1);
    double ab, at, yb, yt, pb, pt;
    ASSERT_EQ(t->getAmpScales(ab, at, yb, yt, pb, pt), 0);
    EXPECT_DOUBLE_EQ(ab, 0.0);
    EXPECT_DOUBLE_EQ(at, 200.0);
    EXPECT_DOUBLE_EQ(pt, 60.0);
    EXPECT_DOUBLE_EQ(pb, 160.0);
    // a fixed window is given in display units and kept in counts
    EXPECT_EQ(t->setScale("fixed", 10.0, 20.0), 1);
    EXPECT_EQ(t->setScale("fixed", 99.0, 99.0), 0);
    EXPECT_EQ(t->vars.atop, 20.0);
    EXPECT_EQ(t->setScale("sideways", 0, 1), -1);
    EXPECT_EQ(takeErrors(), "VXTrace::setScale: Illegal ampscale_mode 'sideways'.\n");
}

TEST(Trace, UnitsBySegmentTypeAndCalibration)
{
    // trace_units null: none of its own
    struct Case {
        const char* name; const char* view_units; const char* trace_units; const char* segtype; double calib;
        const char* units; double scale;
    } cases[] = {
        {"velocity", "source", nullptr, "V", 2.0, "nm/sec", 2.0},
        {"acceleration", "source", nullptr, "A", 3.0, "nm/sec**2", 3.0},
        {"displacement", "source", nullptr, "D", 0.5, "nm", 0.5},
        {"unknown type", "source", nullptr, "X", 5.0, "cts", 1.0}, {"counts", "counts", nullptr, "V", 2.0, "cts", 1.0},
        {"trace counts over view source", "source", "counts", "V", 2.0, "cts", 1.0},
        {"strong motion A", "sm", nullptr, "A", 1.0, "mg", 1.01972e-7},
        {"strong motion V", "sm", nullptr, "V", 2.0, "cm/sec", 2e7}, {"calib 0", "source", nullptr, "V", 0.0, "cts", 1.0},
        {"huge calib", "source", nullptr, "V", 1e30, "nm/sec", 1e30},
        {"tiny calib", "source", nullptr, "V", 1e-30, "nm/sec", 1e-30},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        View v;
        v.d.units = c.view_units;
        v.add(sine(2000, 100.0, 4.0, 100.0), c.calib);
        strcpy(v.reader.rows.last().rec.segtype, c.segtype);
        auto t = v.trace();
        if (c.trace_units) {
            ASSERT_EQ(t->configure("units", c.trace_units, nullptr), 0);
        }
        QList<double> end_points;
        t->makePath(end_points, 1);
        EXPECT_EQ(t->units, c.units);
        EXPECT_DOUBLE_EQ(t->units_scale, c.scale);
        QImage image = blank(460, 220);
        QPainter painter(&image);
        t->drawLabel(&painter);  // must cope with every scale
    }
    // with calib 2 the fixed window is given doubled
    View v;
    v.add(sine(2000, 100.0, 4.0, 100.0), 2.0);
    auto t = v.trace();
    QList<double> end_points;
    t->makePath(end_points, 1);
    ASSERT_EQ(t->units, "nm/sec");
    ASSERT_EQ(t->setScale("fixed", -200.0, 200.0), 1);
    EXPECT_EQ(t->vars.abottom, -100.0);
    EXPECT_EQ(t->vars.atop, 100.0);
}

TEST(Trace, NiceNumbersAndTheirText)
{
    struct Nice { double start, end; int maxvals; int istart, iend; double ninc; } nice[] = {
        {0, 10, 6, 0, 2, 4.0}, {-5, 5, 3, 0, 0, 10.0}, {-1000, 1000, 5, -1, 1, 1000.0}, {0.1, 0.9, 5, 1, 2, 0.4},
        {-0.95, 0.35, 4, -1, 0, 0.5}};
    for (const Nice& c : nice) {
        SCOPED_TRACE(c.start);
        int istart = 99, iend = 99;
        double ninc = -1;
        trace_get_nice_fvals(c.start, c.end, c.maxvals, &istart, &iend, &ninc);
        EXPECT_DOUBLE_EQ(ninc, c.ninc);
        EXPECT_EQ(istart, c.istart);
        EXPECT_EQ(iend, c.iend);
    }
    int i0 = 7, i1 = 8;
    double ninc = 1;
    trace_get_nice_fvals(3, 3, 5, &i0, &i1, &ninc);
    EXPECT_EQ(ninc, 0.0);
    EXPECT_EQ(i0, 7);
    trace_get_nice_fvals(1e20, 1e20 + 1e6, 5, &i0, &i1, &ninc);  // a large offset: no ticks
    EXPECT_EQ(ninc, 0.0);

    struct Text { double v; const char* text; } texts[] = {
        {1234.5, "1235"}, {-2000.5, "-2001"}, {12.34, "12.3"}, {1.234, "1.23"}, {0.1234, "0.123"}, {0.01234, "0.0123"},
        {0.001234, "0.00123"}, {0.0001234, "0.000123"}, {0, "0"}};
    for (const Text& c : texts)
        EXPECT_EQ(trace_amplitude_text(c.v), c.text) << c.v;
}

TEST(Trace, DeselectingRenumbersTheTracesAfterIt)
{
    View v;
    auto a = v.trace(), b = v.trace(), c = v.trace();
    for (VXTrace* t : {a.get(), b.get(), c.get()}) {
        v.d.selection.traces.append(t);
        v.d.selection.display_list.append(t);
    }
    int repaints = 0;
    v.d.repaint = [&] { repaints++; };
    // the selection numbers of a, b and c
    auto orders = [&] { return QList<int>{a->select_order, b->select_order, c->select_order}; };
    EXPECT_EQ(a->selectTrace("yes"), 1);
    EXPECT_EQ(b->selectTrace("toggle"), 1);
    EXPECT_EQ(c->selectTrace("on"), 1);
    EXPECT_EQ(c->selectTrace("yes"), 0);
    EXPECT_EQ(orders(), (QList<int>{1, 2, 3}));
    EXPECT_EQ(a->selectTrace("no"), 1);
    EXPECT_EQ(orders(), (QList<int>{0, 1, 2}));
    // a trace above the one deselected keeps its number, even a higher one
    EXPECT_EQ(a->selectTrace("toggle"), 1);
    EXPECT_EQ(a->select_order, 3);
    EXPECT_EQ(b->selectTrace("toggle"), 1);
    EXPECT_EQ(orders(), (QList<int>{3, 0, 1}));
    EXPECT_EQ(v.d.selection.last_trace_selected, b.get());
    EXPECT_EQ(repaints, 6);
    EXPECT_EQ(a->selectTrace("perhaps"), -1);
    EXPECT_EQ(takeErrors(), "VXTrace::selectTrace: Unable to parse boolean from 'perhaps'.\n");
    EXPECT_EQ(a->showTrace("maybe"), -1);
    EXPECT_EQ(takeErrors(), "VXTrace::showTrace: Unable to parse boolean from 'maybe'.\n");

    // the selected trace's number and bar in the margin
    QImage image = blank(460, 220);
    QPainter painter(&image);
    a->drawLabel(&painter);
    painter.end();
    EXPECT_GT(vptest::countColor(image, QColor("lightblue"), QRect(20, 60, 20, 100)), 500);
}

TEST(Trace, SegmentsOfAnEarlierGridVanishAndColumnsAreCounted)
{
    struct FedTrace : VXTrace { using VXTrace::VXTrace; using VXPixelator::addSegment; };
    View v;
    FedTrace t(&v.d);
    ASSERT_EQ(t.setPixels(v.d.tleft, v.d.dtperpixel, v.d.npixels, 1, 0.0), 1);
    VxTraceviewTIDE tide;
    int index = -1;
    VxPixelatorSource* source = t.setTIDE(tide, index, 0)->source;
    const std::vector<float> data = sine(500, 100.0, 1.0, 10.0);  // 5 s: columns 0 to 99
    ASSERT_EQ(t.addSegment(source, 0.0, 500, 0.01, 1.0, "V", data.data(), 0), 0);
    EXPECT_EQ(t.numberPixels(), 100);
    EXPECT_EQ(t.getVisibility(), 1);
    v.d.hide_noarrivals = 1;
    EXPECT_EQ(t.getVisibility(), 0);
    t.narrivals = 2;
    EXPECT_EQ(t.getVisibility(), 1);
    // a new grid: the real-time segment is not read again, and goes
    v.d.dtperpixel = 0.1;
    QList<double> end_points;
    EXPECT_TRUE(t.makePath(end_points, 0).isEmpty());
    EXPECT_EQ(source->segments.max(), 0);
    v.d.hide_nowaveforms = 1;
    EXPECT_EQ(t.getVisibility(), 0);
    EXPECT_EQ(t.showTrace("no"), 1);
    EXPECT_EQ(t.showTrace("off"), 0);
}

TEST(Trace, AlignsOnTheSecondTimeBeyondTheDiffractedP)
{
    // which: the arrival taken
    struct Case { const char* name; double distance_deg; int which; } cases[] = {
        {"direct P", 60.0, 0}, {"Pdiff at 110 degrees", 110.0, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        View v;
        v.d.palign = 1;
        v.d.olat = 0.0;
        v.d.olon = 0.0;
        v.d.odepth = 10.0;
        auto t = v.trace();
        t->lat = 0.0;
        t->lon = c.distance_deg;
        t->elev = 0.0;
        TtArrival times[TT_MAX_ARRIVALS];
        const int n = tt_compute(10.0, c.distance_deg, 0.0, "P", 5.0, 3.0, times, TT_MAX_ARRIVALS);
        ASSERT_GT(n, c.which);
        if (c.which == 1) {
            ASSERT_STREQ(times[0].phase, "Pdiff");
        }
        t->setToffset();
        EXPECT_NEAR(t->toffset, times[c.which].time_s, 1e-6);
        EXPECT_EQ(t->force, 1);
        // no origin: no shift
        v.d.olon = -999.0;
        t->setToffset();
        EXPECT_EQ(t->toffset, 0.0);
    }
}

TEST(Trace, RefusedKeysSayWhy)
{
    struct Case { const char* key; const char* value; const char* message; } cases[] = {
        {"show_arrivals", "sometimes", "trace_parse_booleans: VX_ParseBoolean(sometimes) error.\n"},
        {"ampscale_visible", "x", "trace_parse_ampscale: VX_ParseBoolean(x) error.\n"},
        {"ampscale_mode", "wild", "trace_parse_ampscale: Illegal ampscale_mode 'wild'.\n"},
        {"clip", "halfway", "trace_parse_clip: VX_ParseBoolean(halfway) error.\n"},
        {"filter_string", "XX 1 2", "trace_parse_filter_string: processFilterString() error.\n"}, {"gain", "loud", ""},
    };
    View v;
    auto t = v.trace();
    ASSERT_EQ(t->configure("ampscale_mode", "autop", "clip", "yes", "filter_string", "BW 1 4 0 0 # hp 1", nullptr), 0)
        << takeErrors();
    EXPECT_EQ(t->vars.filter_string, "BW 1 4 0 0");
    EXPECT_EQ(t->vars.filter_label, "hp 1");
    EXPECT_EQ(t->filter_string, "BW 1 4 0 0");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.key);
        const std::string before = configText(t, c.key);
        expectConfigureRefused(t, c.key, c.value, c.message);
        EXPECT_EQ(configText(t, c.key), before);
    }
    EXPECT_LT(t->configure("no_such_key", "1", nullptr), 0);
    EXPECT_FALSE(takeErrors().empty());
    // a bad units word empties the units, so that the view's apply
    ASSERT_EQ(t->configure("units", "counts", nullptr), 0);
    EXPECT_LT(t->configure("units", "furlongs", nullptr), 0);
    EXPECT_EQ(takeErrors().rfind("trace_parse_units_string: Unrecognized units value 'furlongs'.\n", 0), 0u);
    EXPECT_EQ(t->vars.units, "");
    EXPECT_EQ(t->vars.units_scale, 0.0);
}

TEST(Trace, RendersASineAndAFilteredSeismogram)
{
    View v(true);
    MemoryReader quake;
    v.add(sine(2000, 100.0, 4.0, 1000.0));
    v.add(quake, seismogram(2000, 100.0), 2.0);
    auto top = v.trace(0.5, 1.0);
    top->setChannelLabel("PAS BHZ");
    auto bottom = std::make_unique<VXTrace>(&v.d);
    bottom->vars.ybottom = 0.0;
    bottom->vars.ytop = 0.5;
    bottom->setChannelLabel("ANMO BHZ");
    ASSERT_EQ(bottom->configure("filter_string", "BW 1 4 0 0 # hp 1 Hz", "color_foreground", "yellow", nullptr), 0)
        << takeErrors();
    bottom->takeFilter();
    bottom->setReader(&quake, 0, -1);
    v.d.selection.traces = {top.get(), bottom.get()};
    v.d.selection.display_list = v.d.selection.traces;
    ASSERT_EQ(bottom->selectTrace("yes"), 1);
    VX_ParseColor("yellow", v.d.color_foreground);
    QImage image = blank(600, 320, QColor("#6060ff"));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    for (VXTrace* t : {top.get(), bottom.get()}) {
        QList<double> end_points;
        const QPainterPath path = t->makePath(end_points, 1);
        t->drawTraceBackground(&painter, end_points);
        t->drawPath(&painter, path);
        t->drawLabel(&painter);
    }
    painter.end();
    keep(image, "trace_render");
    EXPECT_EQ(bottom->units, "nm/sec");
    EXPECT_EQ(bottom->filter_label, "hp 1 Hz");
    // the filter takes the offset away: the bottom trace is centred
    EXPECT_LT(std::fabs(bottom->amax + bottom->amin), 0.5 * (bottom->amax - bottom->amin));
    // bands of the traces' background colour and labels in the margin
    EXPECT_GT(vptest::countColor(image, QColor("#000080")), 20000);
    EXPECT_GT(vptest::inkBox(image.copy(0, 0, 190, 320), QColor("#6060ff")).height(), 200);
    // the selection bar of the lower trace, the filter label on it, and the
    // amplitude numbers
    EXPECT_GT(vptest::countColor(image, QColor("lightblue"), QRect(20, 160, 160, 150)), 15000);
    EXPECT_GT(vptest::inkBox(image.copy(100, 245, 80, 15), QColor("lightblue")).width(), 30);
    EXPECT_GT(vptest::inkBox(image.copy(0, 300, 180, 20), QColor("lightblue")).width(), 60);
}
