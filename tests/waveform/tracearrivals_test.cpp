// Arrivals, detections and predicted phases on the traces, read from a
// database written here: the phase filter, the colour classes, the status
// line, glyph sizes, predictions at their pixel columns, selection and tags.
#include "waveform/tvsupport.h"

#include "support/configsupport.h"

#include "items/polypoint.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/events/qkserver.h"
#include "toolkit/geo/traveltime.h"
#include "waveform/traceviewqkclient.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

// 2020-01-01 00:00:00
constexpr double kT0 = 1577836800.0;

// One row appended to table from the scratch row; fields set by set().
template <typename F>
void addRow(Rsptr db, const char* table, F set)
{
    Rsptr t = rslookup(db, nullptr, table, nullptr, "rsNULL");
    ASSERT_FALSE(rsisinvalid(t)) << table;
    ASSERT_EQ(rsload_scratch(t), 0);
    t.field = RS_ALL;
    t.record = RS_SCRATCH;
    ASSERT_EQ(set(t), 0) << takeErrors();
    ASSERT_GE(rsaddrecord(t), 0) << takeErrors();
}

void addArrival(Rsptr db, long arid, const char* sta, double time, const char* phase)
{
    addRow(db, "arrival", [&](Rsptr t) {
        return rsputv(t, nullptr, "sta", sta, "chan", "BHZ", "arid", arid, "time", time, "iphase", phase, "deltim",
                      0.05, "fm", "c.", "auth", "tester", "jdate", 2020001L, nullptr);
    });
}

// A database of two stations in southern California, arrivals on STA1
// (arid 1 P and associated, 2 S, 3 deleted) and a detection.
std::string writeDatabase(const QTemporaryDir& dir)
{
    const std::string base = dir.path().toStdString() + "/db";
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_WRITE);
    EXPECT_FALSE(rsisinvalid(db));
    struct Site { const char* sta; double lat, lon; } sites[] = {{"STA1", 34.0, -117.0}, {"STA2", 35.0, -116.0}};
    for (const Site& s : sites)
        addRow(db, "site", [&](Rsptr t) {
            return rsputv(t, nullptr, "sta", s.sta, "ondate", 1990001L, "lat", s.lat, "lon", s.lon, "elev", 0.0,
                          nullptr);
        });
    addArrival(db, 1, "STA1", kT0 + 10.0, "P");
    addArrival(db, 2, "STA1", kT0 + 20.0, "S");
    addArrival(db, 3, "STA1", kT0 + 15.0, "del");
    addRow(db, "assoc", [&](Rsptr t) {
        return rsputv(t, nullptr, "arid", 1L, "orid", 1L, "sta", "STA1", "phase", "P", "timedef", "d", "timeres",
                      0.25, nullptr);
    });
    addRow(db, "detection", [&](Rsptr t) {
        return rsputv(t, nullptr, "arid", 9L, "sta", "STA1", "chan", "BHZ", "time", kT0 + 30.0, "bmtyp", "coh",
                      nullptr);
    });
    rsclose(db);
    return base;
}

// A trace view over the database, showing STA1 BHZ from kT0 for 60 s.
struct View : tvtest::View
{
    QTemporaryDir dir;
    VXTrace* trace = nullptr;

    explicit View(int plot_height = 200, bool database = true) : tvtest::View(800, 100)
    {
        vp->resize(800, plot_height + vp->vars.mtop + vp->vars.mbottom);
        vp->setScales();
        if (!database)
            return;
        const std::string base = writeDatabase(dir);
        VxTraceviewQK ev = tv->registerQKServer(tv->openDatabase(QString::fromStdString(base)));
        QString label = QStringLiteral("STA1 BHZ");
        trace = tv->getTrace(tv->createTraceQk(label, ev.qkclient, 1, -1, 0));
        tv->getStaCoords(trace);
        hl_clear_register(HL_CLEAR_QUIET);
        tv->setTimeWindow(kT0, 60.0);
    }
    QImage render() { return vptest::render(vp.get()); }

    QList<long> shownArids()
    {
        QList<long> arids = tv->arrivals_hash.keys();
        std::sort(arids.begin(), arids.end());
        return arids;
    }
};

// A display document whose classes all have fills of their own: fill
// "#0000NN" for class number NN, outline "#NN0000".
const char* const kClasses[] = {"arrival_normal", "arrival_defining", "arrival_nondefining", "arrival_magnitude",
                                "arrival_nonassociated", "arrival_selected", "arrival_defining_tag",
                                "arrival_nondefining_tag"};

QString distinctDocument()
{
    QString mode;
    for (int i = 0; i < 8; i++) {
        const QString c = QLatin1String(kClasses[i]), nn = QStringLiteral("%1").arg(i + 10, 2, 16, QLatin1Char('0'));
        mode += QStringLiteral("color_") + c + QStringLiteral("_fill \\#0000") + nn + QStringLiteral("\ncolor_") + c +
                QStringLiteral("_outline \\#") + nn + QStringLiteral("0000\nlinewidth_") + c + QLatin1Char(' ') +
                QString::number(i + 1) + QLatin1Char('\n');
    }
    return QStringLiteral("traceview_display_parameters &Arr{\nmain_display &Arr{\n%1}\nedit_display &Arr{\n%1}\n}\n")
        .arg(mode);
}

} // namespace

TEST(TraceArrivals, ColourClassAndOrderFollowAssociationMagnitudeModeSelectionAndTags)
{
    View v(200, false);
    ASSERT_EQ(v.tv->configure("traceview_display_parameters", distinctDocument().toUtf8().constData(), nullptr), 0)
        << takeErrors();
    QKAssociation defining, nondefining;
    defining.arid = 10;
    defining.defining = 1;
    nondefining.arid = 11;
    QKStamag stamag;
    stamag.arid = 12;
    // arid 13 shown and selected; 14 tagged "defining", 15 tagged "late"
    VxTraceArrival selected;
    selected.arid = 13;
    selected.selected = 1;
    v.tv->arrivals_hash[13].append(selected);
    v.tv->setTags(14, QStringLiteral("defining"), 1);
    v.tv->setTags(15, QStringLiteral("late"), 1);
    const struct {
        const char* name; int edit_mode, with_associations; long arid; int associated; const char* expected; long order;
    } cases[] = {
        {"main, defining", 0, 1, 10, 1, "arrival_defining", 2},
        {"main, nondefining", 0, 1, 11, 1, "arrival_nondefining", 0},
        {"main, station magnitude", 0, 1, 12, 1, "arrival_magnitude", 0},
        {"main, associated elsewhere", 0, 1, 20, 1, "arrival_normal", 0},
        {"main, not associated", 0, 1, 20, 0, "arrival_nonassociated", 0},
        {"main, no association table", 0, 0, 10, 1, "arrival_normal", 0},
        {"main, no table, not associated", 0, 0, 10, 0, "arrival_nonassociated", 0},
        {"main, selection has no class", 0, 1, 13, 0, "arrival_nonassociated", 0},
        {"edit, selected", 1, 1, 13, 0, "arrival_selected", 1}, {"edit, defining", 1, 1, 10, 1, "arrival_defining", 2},
        {"edit, nondefining", 1, 1, 11, 1, "arrival_nondefining", 1},
        {"edit, defining tag", 1, 1, 14, 0, "arrival_defining_tag", 2},
        {"edit, other tag", 1, 1, 15, 1, "arrival_nondefining_tag", 1},
        {"edit, associated, no table", 1, 0, 10, 1, "arrival_normal", 0},
        {"edit, not associated", 1, 1, 20, 0, "arrival_nonassociated", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        v.tv->edit_mode = c.edit_mode;
        v.tv->vars.show_associations = 1;
        v.tv->current_associations = Table<QKAssociation>();
        v.tv->current_stamags = Table<QKStamag>();
        if (c.with_associations) {
            v.tv->current_associations.push(defining);
            v.tv->current_associations.push(nondefining);
            v.tv->current_stamags.push(stamag);
        }
        VX_Color outline, text, fill;
        double linewidth = 0.0;
        EXPECT_EQ(v.tv->getArrivalColors(c.arid, c.associated, outline, text, fill, linewidth), c.order);
        int k = 0;
        while (strcmp(kClasses[k], c.expected))
            k++;
        EXPECT_EQ(fill.color, QColor(0, 0, k + 10));
        EXPECT_EQ(outline.color, QColor(k + 10, 0, 0));
        EXPECT_DOUBLE_EQ(linewidth, k + 1);
    }
}

TEST(TraceArrivals, DeletedArrivalsAreHiddenInBothModesDetectionsShownAndNoOriginPredictsNothing)
{
    View v;
    v.render();
    EXPECT_EQ(v.trace->predicted_arrivals->count(), 0);
    EXPECT_FALSE(v.trace->predicted_arrivals->isShown());
    EXPECT_EQ(v.trace->ndetections, 1);
    ASSERT_EQ(v.trace->detections->count(), 1);
    EXPECT_TRUE(v.trace->detections->isShown());
    EXPECT_EQ(v.trace->detections->glyph(0)->vars.label, QStringLiteral("coh"));
    for (int mode : {0, 1}) {
        SCOPED_TRACE(mode);
        v.tv->edit_mode = mode;
        v.tv->refresh(0);
        v.render();
        EXPECT_EQ(v.shownArids(), (QList<long>{1, 2}));
        EXPECT_EQ(v.trace->narrivals, 3);  // fetched all, shown two
        EXPECT_EQ(v.tv->getArrivalShow("del"), 0);
    }
    EXPECT_EQ(v.trace->arrivals->count(), 2);
    EXPECT_TRUE(v.trace->arrivals->isShown());
    ASSERT_EQ(v.trace->showDetections(QStringLiteral("no")), 1);
    v.render();
    EXPECT_FALSE(v.trace->detections->isShown());
}

TEST(TraceArrivals, SelectAndRejectExpressionsFilterPhases)
{
    View v(200, false);
    const struct {
        const char* name; const char* select; const char* reject; const char* phase; int expected; const char* error;
    } cases[] = {
        {"no expressions", "", "", "Pn", 1, ""}, {"select matches whole", "P.*", "", "Pn", 1, ""},
        {"select misses", "P.*", "", "Sn", 0, ""}, {"reject matches", "", "S.*", "Sn", 0, ""},
        {"reject misses", "", "S.*", "Pg", 1, ""}, {"del never", "d.*", "", "del", 0, ""},
        {"bad select", "P(", "", "P", -1, "VXTraceview::getArrivalShow: strregmatch(P() error.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        v.tv->display_parameters.arrival_select_expr = QString::fromLatin1(c.select);
        v.tv->display_parameters.arrival_reject_expr = QString::fromLatin1(c.reject);
        EXPECT_EQ(v.tv->getArrivalShow(c.phase), c.expected);
        const std::string errors = takeErrors();
        EXPECT_NE(errors.find(c.error), std::string::npos) << errors;
    }
}

TEST(TraceArrivals, StatusLineByDefaultByFormatsAndTheirFaults)
{
    View v;
    v.render();
    ASSERT_TRUE(v.tv->arrivals_hash.contains(1));
    EXPECT_EQ(v.tv->arrivals_hash.value(1).first().status_msg.toStdString(),
              "2020001:00:00:10 STA1 BHZ arid=1 phase=P deltim=0.05 fm=c. auth=tester");
    VXTraceviewQKClient* client = v.tv->selected_ev.qkclient;
    ASSERT_NE(client, nullptr);
    QKArrival record = v.tv->arrivals_hash.value(2).first().arrival;
    Rsptr row;
    ASSERT_EQ(client->getRsptr(&record, &row), 0);
    using Args = QList<QPair<QString, QString>>;
    // expected: the message, or the register's text
    const struct { const char* name; const char* format; Args arguments; const char* expected; int ret; } cases[] = {
        {"width and number formats", "[%-4s] %s%%", Args{{"iphase", "%s"}, {"deltim*100", "%d"}}, "[S   ] 5%", 0},
        {"integer printed as real", "%s", Args{{"arid", "%.1f"}}, "2.0", 0},
        {"not text", "%d", Args{{"arid", "%ld"}}, "VXTraceview::parseArrivalStatusMsg: Illegal format '%d'.\n", -1},
        {"too few", "%s %s", Args{{"arid", "%ld"}},
         "VXTraceview::parseArrivalStatusMsg: Too few arguments to match format '%s %s'\n.", -1},
        {"argument format", "%s", Args{{"arid", "%n"}}, "VXTraceview::parseArrivalStatusMsg: Illegal format '%n'.\n",
         -1},
        {"bad expression", "%s", Args{{"nosuchfield", "%s"}},
         "VXTraceview::parseArrivalStatusMsg: QKClient::getValueFromRsptr() error.\n", -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QString message;
        EXPECT_EQ(v.tv->parseArrivalStatusMsg(client, row, QString::fromLatin1(c.format), c.arguments, message),
                  c.ret);
        const std::string errors = takeErrors();
        if (c.ret == 0)
            EXPECT_EQ(message.toStdString(), c.expected);
        else
            EXPECT_NE(errors.find(c.expected), std::string::npos) << errors;
    }
}

TEST(TraceArrivals, GlyphsTakeTheTraceHeightAndAFontOfSixToTwelve)
{
    const struct { int plot_height; const char* font; } cases[] = {{10, "Helvetica,6"}, {60, "Helvetica,12"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.plot_height);
        View v(c.plot_height);
        v.render();
        ASSERT_EQ(v.trace->arrivals->count(), 2);
        EXPECT_EQ(configText(v.trace->arrivals, "font"), c.font);
        EXPECT_EQ(v.trace->arrivals->vars.size_default, v.trace->heightPixels());
    }
}

TEST(TraceArrivals, PredictedPAndSLandInTheColumnsOfTheirTimes)
{
    View v;
    ASSERT_NE(v.trace->lat, -999.0);
    // an origin 1.5 degrees from STA1, 10 km deep, at the window's start
    v.tv->defaults.otime = kT0 + 2.0;
    v.tv->defaults.olat = 34.0;
    v.tv->defaults.olon = -118.5;
    v.tv->defaults.odepth = 10.0;
    v.tv->refresh(0);
    const QImage image = v.render();
    vptest::keep(image, "tracearrivals_predicted");
    TtArrival times[TT_MAX_ARRIVALS];
    ttp_grab_mutex();
    ttp_set_phases("P,S");
    ttp_set_event_depth(10.0);
    const int n = ttp_compute(34.0, -118.5, v.trace->lat, v.trace->lon, 0.0, 5.0, 3.0, times, TT_MAX_ARRIVALS);
    ttp_release_mutex();
    ASSERT_GE(n, 2);
    ASSERT_EQ(v.trace->predicted_arrivals->count(), n);
    EXPECT_TRUE(v.trace->predicted_arrivals->isShown());
    double ytop = 0.0, ybottom = 0.0;
    v.vp->getPcoordY(v.trace->vars.ytop, &ytop);
    v.vp->getPcoordY(v.trace->vars.ybottom, &ybottom);
    const int row = static_cast<int>(0.5 * (ytop + ybottom));
    for (int i = 0; i < n; i++) {
        SCOPED_TRACE(times[i].phase);
        EXPECT_EQ(v.trace->predicted_arrivals->glyph(i)->vars.label, QStringLiteral("+") + times[i].phase);
        double x = 0.0;
        v.vp->getPcoordX(kT0 + 2.0 + times[i].time_s, &x);
        const int column = static_cast<int>(std::lround(x));
        // the line of the prediction (light blue) at its column, not 4 px away
        bool here = false;
        for (int dx = -1; dx <= 1; dx++)
            here |= vptest::isColor(image.pixel(column + dx, row), QColor(173, 216, 230));
        EXPECT_TRUE(here) << column;
        EXPECT_FALSE(vptest::isColor(image.pixel(column + 4, row + 20), QColor(173, 216, 230))) << column;
    }
}

TEST(TraceArrivals, SelectionTogglesSurvivesARedrawAndTagsAreListed)
{
    View v;
    v.render();
    EXPECT_EQ(v.tv->setSelectedArrival(1, QStringLiteral("toggle")), 1);
    EXPECT_TRUE(v.tv->arrivalIsSelected(1));
    EXPECT_EQ(v.tv->setSelectedArrival(1, QStringLiteral("yes")), 0);
    EXPECT_EQ(v.tv->setSelectedArrival(1, QStringLiteral("perhaps")), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::setSelectedArrival: Unable to parse boolean from 'perhaps'.\n");
    EXPECT_EQ(v.tv->setSelectedArrival(77, QStringLiteral("yes")), 0);  // not shown: logged only
    v.tv->refresh(0);
    v.render();
    EXPECT_TRUE(v.tv->arrivalIsSelected(1));
    EXPECT_FALSE(v.tv->arrivalIsSelected(2));
    QString out;
    v.tv->outputSelectedArrivals(out);
    EXPECT_EQ(out.toStdString(), "1 1\n");
    EXPECT_EQ(v.tv->setSelectedArrival(1, QStringLiteral("toggle")), 1);
    v.tv->outputSelectedArrivals(out);
    EXPECT_EQ(out.toStdString(), "");

    EXPECT_EQ(v.tv->setTags(2, QStringLiteral("late"), 1), 0);
    EXPECT_EQ(v.tv->setTags(1, QStringLiteral("defining"), 1), 0);
    EXPECT_EQ(v.tv->setTags(1, QString(), 1), -1);
    takeErrors();
    v.tv->outputTaggedArrivals(out);
    EXPECT_EQ(out.toStdString(), "1 1\n2 0\n");
    v.tv->clearTags(2);
    v.tv->outputTaggedArrivals(out);
    EXPECT_EQ(out.toStdString(), "1 1\n");
}

TEST(TraceArrivals, MenusAreParsedPerButton)
{
    View v(200, false);
    VXTrace trace(&v.tv->defaults, v.tv.get());
    VxTraceArrivalMenus menus;
    const QString good = QStringLiteral(
        "arrivals_menus &Arr{\nleft &Tbl{\n&Arr{\nlabel Delete\ncommand arrivals edit phase del\n}\n}\n"
        "right &Tbl{\n&Arr{\nlabel P\ncommand arrivals edit phase P\n}\n&Arr{\nlabel S\ncommand arrivals edit phase S\n}\n}\n}\n");
    ASSERT_EQ(trace.parseArrivalsMenus(good, menus), 0) << takeErrors();
    EXPECT_EQ(menus.value(QStringLiteral("left")).size(), 1);
    EXPECT_EQ(menus.value(QStringLiteral("right")).at(1).command, QStringLiteral("arrivals edit phase S"));
    EXPECT_TRUE(menus.value(QStringLiteral("middle")).isEmpty());
    const struct { const char* text; const char* error; } bad[] = {
        {"other 1\n", "VXTrace::parseArrivalsMenus: kvparam(arrivals_menus) error.\n"},
        {"arrivals_menus &Arr{\nleft x\n}\n", "VXTrace::parseArrivalsMenus: kvparam(arrivals_menu{left}) error.\n"},
        {"arrivals_menus &Arr{\nleft &Tbl{\nrow\n}\n}\n",
         "VXTrace::parseArrivalsMenus: kvparam(arrivals_menu{left}[0]) error.\n"},
        {"arrivals_menus &Arr{\nmiddle &Tbl{\n&Arr{\ncommand x\n}\n}\n}\n",
         "VXTrace::parseArrivalsMenus: kvparam(arrivals_menu{middle}[0]{label}) error.\n"},
    };
    for (const auto& c : bad) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(trace.parseArrivalsMenus(QString::fromLatin1(c.text), menus), -1);
        const std::string errors = takeErrors();
        EXPECT_NE(errors.find(c.error), std::string::npos) << errors;
        EXPECT_EQ(menus.value(QStringLiteral("right")).size(), 2);  // unchanged
    }
}

// A generated event over its waveforms: the look of the whole display.
// With VX_TEST_SAVE_IMAGES set the picture goes to /tmp.
TEST(TraceArrivals, GeneratedEventShowsPicksPredictionsAndDetections)
{
#ifndef VXGEN_PATH
    GTEST_SKIP() << "built without the sample-data generator";
#else
    QTemporaryDir dir;
    const std::string base = dir.path().toStdString() + "/db";
    const std::string command =
        std::string(VXGEN_PATH) + " --seed 3 --stations 5 --events 1 --hours 0.1 " + base + " >/dev/null 2>&1";
    ASSERT_EQ(system(command.c_str()), 0);
    // a detection 35 s after the preferred origin, which is written last
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_WRITE);
    Rsptr origins = rslookup(db, nullptr, "origin", nullptr, nullptr);
    long first = 0, last = 0;
    ASSERT_EQ(rsget_range(origins, &first, &last), 0);
    ASSERT_GT(last, first);
    origins.record = last - 1;
    double otime = 0;
    ASSERT_EQ(rsgetv(origins, nullptr, "time", &otime, nullptr), 0);
    addRow(db, "detection", [&](Rsptr t) {
        return rsputv(t, nullptr, "arid", 99L, "sta", "PAS", "chan", "BHZ", "time", otime + 35.0, "bmtyp", "sta",
                      nullptr);
    });
    rsclose(db);

    tvtest::View v(900, 500);
    VXTraceview& tv = *v.tv;
    ASSERT_EQ(tv.createTraces(tv.openDatabase(QString::fromStdString(base)), QStringLiteral(".*:BHZ"), QString()), 0)
        << takeErrors();
    // the event selected: its preferred origin and associations, from the event service
    tv.selected_ev.qkclient->refreshEvents(1);
    QString out;
    ASSERT_EQ(tv.getEvent(QStringLiteral("0"), out), 0) << takeErrors();
    EXPECT_DOUBLE_EQ(tv.defaults.otime, otime);
    EXPECT_GE(tv.current_associations.max(), 5);
    tv.setTimeWindow(otime - 5.0, 60.0);
    tv.vars.show_associations = 1;
    tv.refresh(1);
    const QImage image = vptest::render(v.vp.get());
    vptest::keep(image, "tracearrivals_event");
    int picks = 0, predictions = 0, detections = 0;
    for (VXTrace* t : std::as_const(tv.traces)) {
        picks += t->arrivals->count();
        predictions += t->predicted_arrivals->count();
        detections += t->detections->count();
    }
    EXPECT_GE(picks, 5);
    EXPECT_GE(predictions, 5);
    EXPECT_EQ(detections, 1);
    // the defining picks are drawn last on their traces
    for (VXTrace* t : std::as_const(tv.traces))
        for (int i = 1; i < t->arrival_list.size(); i++)
            EXPECT_LE(t->arrival_list.at(i - 1).order, t->arrival_list.at(i).order);
#endif
}

TEST(TraceArrivals, ResidualBarsShowInEditModeFromPredictedToObservedTime)
{
    View v;
    // the association of arid 1 as the event service gives it: its row's text
    const std::string base = v.dir.path().toStdString() + "/db";
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_READ);
    Rsptr row = rslookup(db, nullptr, "assoc", nullptr, "0");
    QKAssociation a;
    a.arid = 1;
    a.defining = 1;
    char text[RS_STRSZ] = "";
    ASSERT_EQ(rsget(row, text), 0);
    rsclose(db);
    ASSERT_LT(strlen(text), sizeof a.record_assoc);
    strcpy(a.record_assoc, text);
    v.tv->current_associations.push(a);
    v.tv->vars.show_associations = 1;
    for (int mode : {0, 1}) {
        SCOPED_TRACE(mode);
        v.tv->edit_mode = mode;
        v.tv->refresh(0);
        v.render();
        ASSERT_EQ(v.trace->residuals->count(), mode);
        EXPECT_EQ(v.trace->residuals->isShown(), mode == 1);
    }
    double x = 0.0, y = 0.0;
    v.trace->residuals->glyph(0)->getPosition(&x, &y);
    EXPECT_DOUBLE_EQ(x, kT0 + 10.0 - 0.125);
    EXPECT_EQ(v.trace->residuals->glyph(0)->vars.label, QStringLiteral("0.250"));
}
