// The trace view: limits and the scroll bar, trace expressions, copy
// numbering, the time window message, and where the traces are painted.
#include "waveform/pixelator_support.h"
#include "waveform/tvsupport.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"

#include <gtest/gtest.h>

#include <QScrollBar>
#include <QTemporaryDir>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace {

// the waveform's yellow, also where a line of one pixel is spread over two rows
bool isTraceInk(QRgb p)
{
    return qRed(p) > 90 && qGreen(p) > 90 && qBlue(p) < qRed(p) - 30;
}

struct View : tvtest::View
{
    using tvtest::View::View;
    MemoryReader reader;

    // resolve, giving the labels or the register's text
    std::string resolve(const char* expr, int copyok = 1)
    {
        QList<VXTrace*> out;
        if (tv->resolveTracesExpressions(QString::fromLatin1(expr), copyok, out, nullptr) < 0)
            return takeErrors();
        return labels(out).join(QLatin1Char(',')).toStdString();
    }
};

} // namespace

TEST(Traceview, MaxTracesFiveOfTwentyGivesAQuarterWindowAndPageStep)
{
    View v;
    for (int i = 0; i < 20; i++)
        v.add(QStringLiteral("S%1 BHZ").arg(i, 2, 10, QLatin1Char('0')));
    ASSERT_EQ(v.tv->configure("max_traces", "5", nullptr), 0);
    EXPECT_EQ(v.tv->layoutTraces(), 1);
    EXPECT_DOUBLE_EQ(v.vp->vars.ytop, 1.0);
    EXPECT_DOUBLE_EQ(v.vp->vars.ytop - v.vp->vars.ybottom, 0.25);
    ASSERT_FALSE(v.tv->scrollbar.isNull());
    EXPECT_FALSE(v.tv->scrollbar->isHidden());
    EXPECT_EQ(v.tv->scrollbar->pageStep(), 2500);
    EXPECT_EQ(v.tv->scrollbar->maximum(), 7500);
    EXPECT_EQ(v.tv->scrollbar->value(), 0);
    // the first trace fills the top twentieth
    EXPECT_DOUBLE_EQ(v.tv->traces_display_list.first()->vars.ytop, 1.0);
    EXPECT_NEAR(v.tv->traces_display_list.first()->vars.ybottom, 0.95, 1e-12);
    // dragging the bar to its end shows the last five traces
    v.vp->show();
    v.tv->scrollbar->setValue(7500);
    EXPECT_NEAR(v.vp->vars.ytop, 0.25, 1e-12);
    EXPECT_NEAR(v.vp->vars.ybottom, 0.0, 1e-12);
    // no limit: the whole view, no bar
    ASSERT_EQ(v.tv->configure("max_traces", "0", nullptr), 0);
    v.tv->zoomY2(0.0, 1.0);
    EXPECT_EQ(v.tv->layoutTraces(), 1);
    EXPECT_TRUE(v.tv->scrollbar->isHidden());
}

TEST(Traceview, ExpressionsSelectTheirTracesInTheirOrderAndSelectedConsumesTheSelection)
{
    View v;
    for (const char* l : {"BBB BHZ", "AAK BHN", "AAK BHZ", "CCC LHZ", "AAK BHZ"})
        v.add(l);
    const struct { const char* name; const char* expr; int copyok; const char* expected; } cases[] = {
        {"all, copies included", "*", 1, "AAK BHN,AAK BHZ,AAK BHZ;1,BBB BHZ,CCC LHZ"},
        {"all, copies left out", "", 0, "AAK BHN,AAK BHZ,BBB BHZ,CCC LHZ"},
        {"station", "AAK", 1, "AAK BHN,AAK BHZ,AAK BHZ;1"}, {"station and copy", "AAK;1", 1, "AAK BHZ;1"},
        {"station and channel", "AAK:BHZ", 1, "AAK BHZ,AAK BHZ;1"},
        {"channel only", ":BHZ", 1, "AAK BHZ,AAK BHZ;1,BBB BHZ"}, {"all three", "AAK:BHZ;1", 1, "AAK BHZ;1"},
        {"station, any channel, copy", "AAK:;1", 1, "AAK BHZ;1"}, {"copies refused", "AAK:BHZ", 0, "AAK BHZ"},
        {"regular expressions matched whole", "A.*:BH.,C", 1, "AAK BHN,AAK BHZ,AAK BHZ;1"},
        {"element order is result order", "CCC,AAK:BHN,.*", 0, "CCC LHZ,AAK BHN,AAK BHZ,BBB BHZ"},
        {"no match", "ZZZ", 1, ""},
        {"two colons", "AAK:BHZ:x", 1,
         "VXTraceview::resolveTracesExpressions: expression AAK:BHZ:x error: contains more than one ':'.\n"},
        {"two semicolons", "AAK;1;2", 1,
         "VXTraceview::resolveTracesExpression: expression AAK;1;2 error: contains more than one ';'.\n"},
        {"selected inside a list", "AAK,selected", 1,
         "VXTraceview::resolveTracesExpression: expression selected error: cannot be 'selected' or 'selected+'.\n"},
        {"bad regular expression", "A(K", 1, "VXTraceview::resolveTrace: strregmatch(BBB,A(K) error.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string got = v.resolve(c.expr, c.copyok);
        if (std::string(c.expected).rfind("VXTraceview", 0) == 0)
            EXPECT_NE(got.find(c.expected), std::string::npos) << got;
        else
            EXPECT_EQ(got, c.expected);
    }
    // "selected+" keeps the selection and "selected" consumes it, both in
    // the order of selecting
    v.trace("CCC LHZ")->selectTrace("yes");
    v.trace("AAK BHN")->selectTrace("yes");
    for (const char* expr : {"selected+", "selected+", "selected"})
        EXPECT_EQ(v.resolve(expr), "CCC LHZ,AAK BHN") << expr;
    EXPECT_EQ(v.resolve("selected"), "");
}

TEST(Traceview, CopiesAreNumberedAfterTheirOriginal)
{
    View v;
    for (int i = 0; i < 3; i++)
        v.add("AAK BHZ");
    ASSERT_EQ(v.tv->numTraces(), 3);
    EXPECT_EQ(v.labels(), QStringList({"AAK BHZ", "AAK BHZ;1", "AAK BHZ;2"}));
    VXTrace* original = v.tv->getTrace(QStringLiteral("AAK BHZ"));
    EXPECT_EQ(original->copies.size(), 2);
    EXPECT_EQ(v.tv->getTrace(QStringLiteral("AAK BHZ;2"))->original, original);

    QString label = QStringLiteral("AAK BHZ;1");
    EXPECT_EQ(v.tv->duplicateTrace(label), 3);
    EXPECT_EQ(label, QStringLiteral("AAK BHZ;3"));
    // a label whose tail is not a number is its own root
    v.add("XYZ BH;Z");
    EXPECT_NE(v.tv->getTrace(QStringLiteral("XYZ BH")), nullptr);

    QString unknown = QStringLiteral("NOPE BHZ");
    EXPECT_EQ(v.tv->duplicateTrace(unknown), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::duplicateTrace: channel_label NOPE BHZ does not exist.\n");
    EXPECT_EQ(v.tv->deleteTrace(17), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::deleteTrace: trace index 17 does not exist.\n");
    EXPECT_EQ(v.tv->deleteTrace(QStringLiteral("NOPE")), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::deleteTrace: trace channel_label 'NOPE' does not exist.\n");

    // the original takes its copies with it
    EXPECT_EQ(v.tv->deleteTrace(QStringLiteral("AAK BHZ")), 0);
    EXPECT_EQ(v.labels(), QStringList({"XYZ BH"}));
}

TEST(Traceview, TimeWindowKeepsValuesAndTellsTheClient)
{
    View v;
    ASSERT_EQ(v.tv->setTimeWindow(100.0, 60.0), 0);
    v.messages.clear();
    ASSERT_EQ(v.tv->setTimeWindow(-2e30, -2e30), 0);
    ASSERT_EQ(v.messages.size(), 1);
    EXPECT_EQ(v.messages.first(), QStringLiteral("type timespan_change\ntime_start 0.000000\ntime_window 60.000000\n"));
    // a negative width ends the window at tleft
    ASSERT_EQ(v.tv->setTimeWindow(50.5, -20.25), 0);
    EXPECT_DOUBLE_EQ(v.tv->tleft, 30.25);
    EXPECT_DOUBLE_EQ(v.tv->tright, 50.5);
    EXPECT_DOUBLE_EQ(v.vp->vars.xleft, 30.25);
    EXPECT_EQ(v.tv->setTimeWindow(10.0, 0.0), -1);
    takeErrors();
    EXPECT_DOUBLE_EQ(v.tv->tleft, 30.25);
    v.tv->setNofeedback(1);
    v.messages.clear();
    v.tv->setTimeWindow(0.0, 10.0);
    EXPECT_TRUE(v.messages.isEmpty());
}

TEST(Traceview, WordSettersAndKeys)
{
    View v;
    EXPECT_EQ(v.tv->setBatch("maybe"), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::setBatch: Unable to parse boolean from 'maybe'.\n");
    EXPECT_EQ(v.tv->setAutoTracesFit("sometimes"), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::setAutoTracesSort: Unable to parse boolean from 'sometimes'.\n");
    EXPECT_EQ(v.tv->setClip("toggle"), 1);
    EXPECT_EQ(v.tv->vars.clip, 1);
    EXPECT_EQ(v.tv->setClip("on"), 0);
    // defaults of the table and the display document
    EXPECT_DOUBLE_EQ(v.tv->vars.xpixel_factor, 2.0);
    EXPECT_EQ(v.tv->vars.units, QStringLiteral("source"));
    EXPECT_EQ(v.tv->vars.predicted_phases, QStringLiteral("P,S"));
    EXPECT_EQ(v.tv->display_parameters.main_display.color_background.color, QColor("#6060ff"));
    EXPECT_EQ(v.tv->display_parameters.edit_display.color_foreground.color, QColor("#d0d0d0"));
    EXPECT_EQ(v.tv->display_parameters.main_display.font_trace_label.font.family(), QStringLiteral("courier"));
    // a bad colour leaves the document in force
    EXPECT_EQ(v.tv->parseDisplayParameters(
                  "traceview_display_parameters &Arr{\nmain_display &Arr{\ncolor_background nocolour\n}\n}\n"),
              -1);
    EXPECT_NE(takeErrors().find("VX_ParseColor('nocolour') error"), std::string::npos);
    EXPECT_EQ(v.tv->display_parameters.main_display.color_background.color, QColor("#6060ff"));

    QString filter, label;
    EXPECT_EQ(v.tv->processFilterString("BW 1.0 4 5.0 4 #teleseism", filter, label), 0);
    EXPECT_EQ(filter, QStringLiteral("BW 1.0 4 5.0 4"));
    EXPECT_EQ(label, QStringLiteral("teleseism"));
}

TEST(Traceview, OnsetsArePaintedWhereTheirTimesFall)
{
    View v(900, 460);
    // three stations, quiet until an onset at 10, 25 and 40 s
    const double onsets[] = {10.0, 25.0, 40.0};
    const char* labels[] = {"AAA BHZ", "BBB BHZ", "CCC BHZ"};
    // the samples are rows of a trace table in the record store
    Rsptr db = rsopen("traceview_onsets", "Trace4.0", RS_READ);
    ASSERT_FALSE(rsisinvalid(db));
    Rsptr tr = rslookup(db, nullptr, "trace", nullptr, "rsSCRATCH");
    for (int i = 0; i < 3; i++) {
        std::vector<float> s(6000, 0.0f);
        for (int k = static_cast<int>(onsets[i] * 100); k < 6000; k++)
            s[k] = static_cast<float>(1000.0 * std::sin(2.0 * M_PI * k / 20.0));
        const QByteArray sta = QByteArray(labels[i]).left(3);
        ASSERT_EQ(rsputv(tr, nullptr, "sta", sta.constData(), "chan", "BHZ", "time", 0.0, "samprate", 100.0, "calib",
                         1.0, "segtype", "V", "data", s.data(), static_cast<long>(s.size()), nullptr),
                  0);
        Rsptr row = tr;
        row.record = rsaddrecord(tr);
        ASSERT_GE(row.record, 0);
        VXTrace* t = v.add(labels[i]);
        EXPECT_EQ(t->setDbtrace(row, -1, 0), 0) << takeErrors();
    }
    ASSERT_EQ(v.tv->setTimeWindow(0.0, 60.0), 0);
    const QImage image = vptest::render(v.vp.get());
    vptest::keep(image, "traceview_onsets");

    const int mleft = v.vp->vars.mleft, mtop = v.vp->vars.mtop;
    const int w = 900 - mleft - v.vp->vars.mright, h = 460 - mtop - v.vp->vars.mbottom;
    for (int i = 0; i < 3; i++) {
        SCOPED_TRACE(labels[i]);
        const int top = mtop + h * i / 3 + 2, bottom = mtop + h * (i + 1) / 3 - 2;
        // the first column whose yellow ink spans more than a few rows
        int first = -1;
        for (int x = mleft; x < mleft + w && first < 0; x++) {
            int y0 = bottom, y1 = top;
            for (int y = top; y <= bottom; y++)
                if (isTraceInk(image.pixel(x, y))) {
                    y0 = std::min(y0, y);
                    y1 = std::max(y1, y);
                }
            if (y1 - y0 > 10)
                first = x;
        }
        const double expected = mleft + onsets[i] / 60.0 * w;
        EXPECT_NEAR(first, expected, 2.0);
        // a quiet stretch before the onset: one flat yellow line
        const int x = mleft + static_cast<int>(onsets[i] / 60.0 * w) - 20;
        int yellow = 0;
        for (int y = top; y <= bottom; y++)
            yellow += isTraceInk(image.pixel(x, y));
        EXPECT_GE(yellow, 1);
        EXPECT_LE(yellow, 3);
    }
    v.tv->clearTraces();
    rsclose(db);
}

TEST(Traceview, WindowMovesAndResizes)
{
    View v;
    for (const char* l : {"AAA BHZ", "BBB BHZ", "CCC BHZ", "DDD BHZ"})
        v.add(l);
    ASSERT_EQ(v.tv->setTimeWindow(100.0, 40.0), 0);
    ASSERT_EQ(v.tv->zoomX(110.0, 2.0), 0);
    EXPECT_DOUBLE_EQ(v.tv->tleft, 105.0);
    EXPECT_DOUBLE_EQ(v.tv->tright, 125.0);
    ASSERT_EQ(v.tv->panX(-5.0), 0);
    EXPECT_DOUBLE_EQ(v.tv->tleft, 100.0);

    ASSERT_EQ(v.tv->layoutTraces(), 1);
    int index = -2;
    EXPECT_EQ(v.tv->getTrace(0.6, &index), v.tv->getTrace(QStringLiteral("BBB BHZ")));
    EXPECT_EQ(index, 1);
    EXPECT_EQ(v.tv->getTrace(1.5, &index), nullptr);
    EXPECT_EQ(index, -1);
    // the second and third traces fill the y window
    ASSERT_EQ(v.tv->zoomY(1, 2), 0);
    EXPECT_DOUBLE_EQ(v.vp->vars.ytop, 0.75);
    EXPECT_DOUBLE_EQ(v.vp->vars.ybottom, 0.25);
    EXPECT_EQ(v.tv->scrollbar->pageStep(), 5000);
    EXPECT_EQ(v.tv->scrollbar->value(), 2500);
    EXPECT_EQ(v.tv->panY(9), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::panY: trace index 9 does not exist.\n");
    ASSERT_EQ(v.tv->panY(3), 0);  // held inside 0 to 1
    EXPECT_DOUBLE_EQ(v.vp->vars.ybottom, 0.0);
    EXPECT_DOUBLE_EQ(v.vp->vars.ytop, 0.5);

    // a resize keeps the time window; a view of one pixel draws nothing and survives
    v.vp->resize(1000, 600);
    vptest::render(v.vp.get());
    EXPECT_DOUBLE_EQ(v.tv->tleft, 100.0);
    EXPECT_DOUBLE_EQ(v.tv->tright, 120.0);
    v.vp->resize(1, 1);
    const QImage tiny = vptest::render(v.vp.get());
    EXPECT_EQ(tiny.size(), QSize(1, 1));
    EXPECT_DOUBLE_EQ(v.tv->tright - v.tv->tleft, 20.0);
}

TEST(Traceview, AnOverlayRepaintReusesTheImage)
{
    View v(600, 300);
    v.reader.addRow(0.0, 100.0, sine(3000, 100.0, 0.5, 1.0), 1.0, QStringLiteral("traceview_test_overlay"));
    VXTrace* t = v.add("AAA BHZ");
    t->setReader(&v.reader, 0, -1);
    ASSERT_EQ(v.tv->setTimeWindow(0.0, 30.0), 0);
    const QImage full = vptest::render(v.vp.get());
    const QRect plot(v.vp->vars.mleft, v.vp->vars.mtop, 600 - v.vp->vars.mleft - v.vp->vars.mright,
                     300 - v.vp->vars.mtop - v.vp->vars.mbottom);
    int ink = 0;
    for (int y = plot.top(); y <= plot.bottom(); y++)
        ink += isTraceInk(full.pixel(plot.center().x(), y));
    ASSERT_GT(ink, 5);
    // hidden without a refresh: an overlay-only repaint still shows the cached waveform
    t->vars.visible = 0;
    v.tv->skip_render = -1;
    v.tv->setItemStale();
    const QImage overlay = vptest::render(v.vp.get());
    // (the amplitude tics of the label reach a few pixels into the plot)
    const QRect inner = plot.adjusted(8, 0, 0, 0);
    EXPECT_EQ(overlay.copy(inner), full.copy(inner));
    EXPECT_EQ(v.tv->skip_render, 0);
    // a full repaint then lays the traces out again: nothing is visible
    v.tv->refresh(0);
    const QImage none = vptest::render(v.vp.get());
    int left = 0;
    for (int y = plot.top(); y <= plot.bottom(); y++)
        left += isTraceInk(none.pixel(plot.center().x(), y));
    EXPECT_EQ(left, 0);
}

TEST(Traceview, NaturalAndDistanceOrders)
{
    View v;
    // lat, lon: the station's
    const struct { const char* label; double lat, lon; } stations[] = {
        {"AAA BHZ", 0.0, 30.0}, {"BBB BHZ", 0.0, 10.0}, {"CCC BHZ", -999.0, -999.0}, {"DDD BHZ", 0.0, 10.0},
        {"EEE BHZ", 0.0, 20.0}};
    for (const auto& s : stations) {
        VXTrace* t = v.add(s.label);
        t->lat = s.lat;
        t->lon = s.lon;
    }
    auto shown = [&]() {
        EXPECT_EQ(v.tv->layoutTraces(), 1);
        return v.labels(v.tv->traces_display_list).join(QLatin1Char(',')).toStdString();
    };
    EXPECT_EQ(shown(), "AAA BHZ,BBB BHZ,CCC BHZ,DDD BHZ,EEE BHZ");

    ASSERT_EQ(v.tv->setNaturalSortOrderExpr("EEE,DDD,CCC,BBB,AAA"), 0);
    EXPECT_EQ(shown(), "EEE BHZ,DDD BHZ,CCC BHZ,BBB BHZ,AAA BHZ");
    EXPECT_EQ(v.tv->setNaturalSortOrderExpr("A:B:C"), -1);
    EXPECT_NE(takeErrors().find("VXTraceview::setNaturalSortOrderExpr: VXTraceview::checkTracesExpressions() error.\n"),
              std::string::npos);

    // by distance from an origin at (0, 0); equal distances keep the
    // natural order, an unknown station comes last
    v.tv->defaults.olat = 0.0;
    v.tv->defaults.olon = 0.0;
    v.tv->need_distance_sort = 1;
    ASSERT_EQ(v.tv->setAutoDistanceSort("yes"), 1);
    EXPECT_EQ(shown(), "DDD BHZ,BBB BHZ,EEE BHZ,AAA BHZ,CCC BHZ");
    EXPECT_NEAR(v.tv->getTrace(QStringLiteral("AAA BHZ"))->distance, 30.0, 1e-9);
    EXPECT_EQ(v.tv->getTrace(QStringLiteral("CCC BHZ"))->distance, 999.0);
}

TEST(Traceview, TheTimeNowLineStandsAtThePresent)
{
    View v(600, 300);
    v.add("AAA BHZ");
    ASSERT_EQ(v.tv->setTimeWindow(timenow() - 50.0, 100.0), 0);
    vptest::render(v.vp.get());
    EXPECT_FALSE(v.tv->now_time->isShown());
    ASSERT_EQ(v.tv->configure("color_time_now", "red", nullptr), 0);
    v.tv->refresh(0);
    const QImage image = vptest::render(v.vp.get());
    vptest::keep(image, "traceview_now");
    EXPECT_TRUE(v.tv->now_time->isShown());
    // the line stands about the middle of the plot (a run of the test takes well under 10 s)
    const int mleft = v.vp->vars.mleft, w = 600 - mleft - v.vp->vars.mright;
    int column = -1, best = 0;
    for (int x = 0; x < w; x++) {
        int n = 0;
        for (int y = 0; y < 300; y++)
            n += qRed(image.pixel(mleft + x, y)) > 150 && qBlue(image.pixel(mleft + x, y)) < 150;
        if (n > best) {
            best = n;
            column = x;
        }
    }
    EXPECT_GT(best, 100);
    EXPECT_NEAR(column, w / 2, w / 10);
}

TEST(Traceview, CommandsAliasesAndHotkeys)
{
    View v;
    QStringList lines;
    v.tv->command_processor = [&](const QString& command, QString& output) {
        if (command.startsWith(QLatin1String("bad"))) {
            hl_register_error(0, "commands: unknown word.\n");
            return -1;
        }
        lines.append(command);
        output = QStringLiteral("done");
        return 0;
    };
    QString output;
    EXPECT_EQ(v.tv->sendCommand("traces:* zoom", &output, 1, -1), 0);
    EXPECT_EQ(output, QStringLiteral("done"));
    EXPECT_EQ(v.messages, QStringList({"type command\ncommand traces:* zoom\n"}));
    EXPECT_EQ(v.tv->sendCommand("bad word", &output, 0, -1), -1);
    EXPECT_EQ(output, QStringLiteral("commands: unknown word.\n"));
    EXPECT_EQ(takeErrors(), "");

    v.messages.clear();
    lines.clear();
    ASSERT_EQ(v.tv->parseAliases("aliases &Arr{\nzz traces:* zoom\nboth &Tbl{\nfilter BW 1 4 5 4\nrefresh\n}\n}\n"), 0);
    EXPECT_EQ(lines, QStringList({"alias zz traces:* zoom", "alias both filter BW 1 4 5 4\\nrefresh"}));
    EXPECT_TRUE(v.messages.isEmpty());
    EXPECT_EQ(v.tv->nofeedback, 0);
    ASSERT_EQ(v.tv->parseHotkeys("hotkeys &Arr{\nCtrl+Z traces:* zoom\n}\n"), 0);
    EXPECT_EQ(lines.last(), QStringLiteral("hotkey Ctrl+Z traces:* zoom"));

    EXPECT_EQ(v.tv->parseAliases("aliases &Arr{\nx &Arr{\na b\n}\n}\n"), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::parseAliases: Illegal kv type for alias x.\n");
    EXPECT_EQ(v.tv->parseHotkeys("nothing here\n"), -1);
    EXPECT_NE(takeErrors().find("VXTraceview::parseHotkeys: kvparam(hotkeys) error.\n"), std::string::npos);
}

TEST(Traceview, NoVisibleTraceLaysOutNothingAndTheViewOutlivesItsViewport)
{
    View v;
    EXPECT_EQ(v.tv->layoutTraces(), 0);
    v.add("AAK BHZ")->showTrace("no");
    EXPECT_EQ(v.tv->layoutTraces(), 0);
    EXPECT_TRUE(v.tv->traces_display_list.isEmpty());
    v.add("AAA BHZ");
    v.add("AAA BHZ");
    v.tv->setTimeWindow(0.0, 10.0);
    vptest::render(v.vp.get());
    v.vp.reset();
    EXPECT_TRUE(v.tv->scrollbar.isNull());
    EXPECT_EQ(v.tv->drawViewportItem(nullptr), 0);
    v.tv.reset();
}

// Traces from a database through its event server: one per accepted
// channel, made once, on the channels' time span, with their samples.
TEST(Traceview, TracesOfADatabaseReadThroughItsEventServer)
{
    QTemporaryDir dir;
    const QString base = tvtest::writeSineDatabase(dir.path());
    View v(600, 300);
    ASSERT_EQ(v.tv->createTraces(v.tv->openDatabase(base), "", "DEF:.*"), 0) << takeErrors();
    ASSERT_EQ(v.tv->createTraces(v.tv->openDatabase(base), "", ""), 0) << takeErrors();  // adds DEF only
    QStringList labels = v.labels();
    labels.sort();
    EXPECT_EQ(labels, QStringList({"ABC BHN", "ABC BHZ", "DEF BHZ"}));
    double tleft = 0.0, twin = 0.0;
    v.tv->timeWindow(tleft, twin);
    EXPECT_DOUBLE_EQ(tleft, 1000.0);
    EXPECT_NEAR(twin, 9.99, 1e-9);

    const QImage image = vptest::render(v.vp.get());
    vptest::keep(image, "traceview_database");
    for (int i = 0; i < 3; i++) {
        SCOPED_TRACE(i);
        const int mtop = v.vp->vars.mtop, h = 300 - mtop - v.vp->vars.mbottom;
        const int mleft = v.vp->vars.mleft, right = 600 - v.vp->vars.mright;
        int rows = 0;  // rows of the band that the sine reaches
        for (int y = mtop + h * i / 3; y < mtop + h * (i + 1) / 3; y++) {
            int ink = 0;
            for (int x = mleft; x < right; x++)
                ink += isTraceInk(image.pixel(x, y));
            rows += ink > 0;
        }
        EXPECT_GT(rows, h / 3 / 2);
    }

    EXPECT_EQ(v.tv->createTraces(nullptr, "", ""), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::createTraces: registerQKServer() error.\n");
}
