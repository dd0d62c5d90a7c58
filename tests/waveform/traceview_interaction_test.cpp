// The pointer and the keys on a trace view: bands, drags, the wheel, label
// selection, hot keys, picks, the animated window, and selecting events
// and origins of a database.  Events are synthetic, sent to an offscreen
// viewport of 800 by 500 pixels whose plot spans x 150 to 790 (100 s, so
// 6.4 pixels a second) and y 40 to 460 (four traces of 105 pixels).
#include "waveform/pixelator_support.h"
#include "waveform/tvsupport.h"

#include "items/text.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/events/qkclient.h"
#include "viewport/vxevent.h"
#include "waveform/traceviewqkclient.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>
#include <QWheelEvent>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr double plot_left = 150.0, plot_top = 40.0, px_per_s = 6.4, px_per_trace = 105.0;

// A view of ntraces traces of a sine, 100 s shown and painted; messages
// are kept from then on.
struct View : tvtest::View
{
    MemoryReader reader;

    explicit View(int ntraces = 4)
    {
        // 0.05 radians a sample
        reader.addRow(0.0, 100.0, sine(10000, 100.0, 0.4 * M_PI, 100.0), 1.0,
                      QStringLiteral("traceview_interaction_test"));
        for (int i = 0; i < ntraces; i++)
            add(QStringLiteral("S%1 BHZ").arg(i, 2, 10, QLatin1Char('0')))->setReader(&reader, 0, -1);
        tv->setTimeWindow(0.0, 100.0);
        vptest::render(vp.get());
        messages.clear();
    }

    void wheel(QPoint pixels)
    {
        const QPointF pos(400, 200);
        QWheelEvent e(pos, QPointF(vp->mapToGlobal(pos.toPoint())), pixels, QPoint(), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(vp.get(), &e);
    }
    double yview(int which) const { return which ? vp->vars.ytop : vp->vars.ybottom; }
};

// the pixel of time t and of world y
QPointF at(double t, double y = 0.5)
{
    return QPointF(plot_left + t * px_per_s, plot_top + (1.0 - y) * 4 * px_per_trace);
}

} // namespace

// A band is drawn from a press, ended by a second press of its button;
// a middle press cancels it and other presses are ignored.
TEST(TraceviewInteraction, BandsZoomToTheirEnds)
{
    const struct {
        const char* name; Qt::MouseButton button; Qt::KeyboardModifiers mods; QPointF from, to; Qt::MouseButton end;
        double tleft, tright, ybottom, ytop;
    } cases[] = {
        {"time band", Qt::LeftButton, Qt::ShiftModifier, at(10), at(50), Qt::LeftButton, 10, 50, 0, 1},
        {"time band drawn backwards", Qt::LeftButton, Qt::ShiftModifier, at(50), at(10), Qt::LeftButton, 10, 50, 0, 1},
        // w = 100, d = 20, start 10 at a tenth: w' = 500 from 10 - 50
        {"time band zooming out", Qt::RightButton, Qt::ShiftModifier, at(10), at(30), Qt::RightButton, -40, 460, 0, 1},
        {"middle cancels", Qt::LeftButton, Qt::ShiftModifier, at(10), at(50), Qt::MiddleButton, 0, 100, 0, 1},
        {"zero width does nothing", Qt::LeftButton, Qt::ShiftModifier, at(10), at(10), Qt::LeftButton, 0, 100, 0, 1},
        {"y band", Qt::LeftButton, Qt::ControlModifier, at(20, 0.75), at(60, 0.25), Qt::LeftButton, 0, 100, 0.25, 0.75},
        // h = 1, d = 0.25 from 0.5: h' = 4, clamped to the traces
        {"y band zooming out", Qt::RightButton, Qt::ControlModifier, at(20, 0.5), at(20, 0.75), Qt::RightButton, 0,
         100, 0, 1},
        {"box", Qt::LeftButton, Qt::AltModifier, at(20, 0.5), at(40, 1.0), Qt::LeftButton, 20, 40, 0.5, 1.0},
        {"box zooming out", Qt::RightButton, Qt::AltModifier, at(0, 0.5), at(50, 1.0), Qt::RightButton, 0, 200, 0, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        View v;
        v.press(c.from, c.button, c.mods);
        v.release(c.from, c.button, c.mods);
        EXPECT_NE(v.tv->interaction_mode, 0);
        ASSERT_FALSE(v.tv->rubberband.isNull());
        EXPECT_TRUE(v.tv->rubberband->isVisibleTo(v.vp.get()));
        v.move(c.to);
        // another button leaves the band alone
        v.press(c.to, c.button == Qt::LeftButton ? Qt::RightButton : Qt::LeftButton);
        EXPECT_NE(v.tv->interaction_mode, 0);
        v.press(c.to, c.end);
        v.release(c.to, c.end);
        EXPECT_EQ(v.tv->interaction_mode, 0);
        EXPECT_FALSE(v.tv->rubberband->isVisibleTo(v.vp.get()));
        EXPECT_NEAR(v.tv->tleft, c.tleft, 1e-6);
        EXPECT_NEAR(v.tv->tright, c.tright, 1e-6);
        EXPECT_NEAR(v.yview(0), c.ybottom, 1e-6);
        EXPECT_NEAR(v.yview(1), c.ytop, 1e-6);
        EXPECT_EQ(v.messages.size(), c.tleft != 0.0 || c.tright != 100.0 ? 1 : 0);
    }
}

// A middle drag slides the cached image and pans once, at the release.
TEST(TraceviewInteraction, DragSlidesTheImageAndPansAtTheRelease)
{
    View v;
    v.press(at(50), Qt::MiddleButton);
    v.move(at(60), Qt::MiddleButton);
    EXPECT_EQ(v.tv->interaction_mode, 3);
    EXPECT_EQ(v.tv->skip_render, 1);
    EXPECT_EQ(v.tv->image_xshift, 64);
    EXPECT_NEAR(v.vp->vars.xleft, -10.0, 1e-6);
    EXPECT_DOUBLE_EQ(v.tv->tleft, 0.0);  // no new columns yet
    const QImage during = vptest::render(v.vp.get());
    vptest::keep(during, "traceview_drag");
    // off the widget and back
    v.move(QPointF(-5000, 99999), Qt::MiddleButton);
    v.move(at(60), Qt::MiddleButton);
    EXPECT_TRUE(v.messages.isEmpty());
    v.release(at(60), Qt::MiddleButton);
    EXPECT_EQ(v.tv->interaction_mode, 0);
    EXPECT_EQ(v.tv->skip_render, 0);
    EXPECT_EQ(v.tv->image_xshift, 0);
    EXPECT_NEAR(v.tv->tleft, -10.0, 1e-6);
    EXPECT_NEAR(v.tv->tright, 90.0, 1e-6);
    EXPECT_EQ(v.messages.size(), 1);

    // a release where the press was leaves the window alone
    v.messages.clear();
    v.click(at(30), Qt::MiddleButton);
    EXPECT_NEAR(v.tv->tleft, -10.0, 1e-6);
    EXPECT_TRUE(v.messages.isEmpty());

    // control: in y, a drag down the plot's height brings the upper half
    // into view, and no further
    v.tv->zoomY2(0.0, 0.5);
    v.press(at(30, 1.0), Qt::MiddleButton, Qt::ControlModifier);
    v.move(at(30, 0.0), Qt::MiddleButton);
    EXPECT_EQ(v.tv->interaction_mode, 4);
    EXPECT_EQ(v.tv->image_yshift, 420);
    v.move(QPointF(300, 2000), Qt::MiddleButton);
    EXPECT_EQ(v.tv->image_yshift, 420);
    EXPECT_NEAR(v.tv->tleft, -10.0, 1e-6);
    v.release(at(30, 0.0), Qt::MiddleButton, Qt::ControlModifier);
    EXPECT_NEAR(v.yview(1), 1.0, 1e-6);
    EXPECT_NEAR(v.yview(0), 0.5, 1e-6);
    EXPECT_EQ(v.tv->image_yshift, 0);
}

// A drag move shows the picture slid: the traces and the time lines in the
// plot, the times below it, with nothing drawn anew.  After the release the
// picture is the one a view made at the new window shows.
TEST(TraceviewInteraction, ADragSlidesThePictureAndTheReleaseRedrawsIt)
{
    View v;
    ASSERT_EQ(v.tv->configure("show_crosshairs", "no", "show_coordinates_status", "no", nullptr), 0);
    const QImage before = vptest::render(v.vp.get());
    v.press(at(50), Qt::MiddleButton);
    vptest::render(v.vp.get());  // the paint the press asks for
    v.move(at(40), Qt::MiddleButton);
    const QImage during = vptest::render(v.vp.get());
    vptest::keep(during, "traceview_drag_slid");
    const int dx = -64, mbottom = 500 - 460;
    // (the amplitude brackets of the labels reach a few pixels into the plot
    // and below it, and stay)
    const QRect plot(static_cast<int>(plot_left) + 8, static_cast<int>(plot_top), 640 - 8, 420);
    const QRect below(0, 500 - mbottom + 2, 800, mbottom - 2);
    int compared = 0, differing = 0;
    for (const QRect& r : {plot, below})
        for (int y = r.top(); y <= r.bottom(); y++)
            for (int x = r.left(); x <= r.right() + dx; x++, compared++)
                differing += during.pixel(x, y) != before.pixel(x - dx, y);
    EXPECT_GT(compared, 100000);
    EXPECT_EQ(differing, 0);
    EXPECT_NE(during.copy(plot), before.copy(plot));

    v.release(at(40), Qt::MiddleButton);
    View fresh;
    ASSERT_EQ(fresh.tv->setTimeWindow(10.0, 100.0), 0);
    const QImage after = vptest::render(v.vp.get());
    EXPECT_TRUE(after == vptest::render(fresh.vp.get()));
}

TEST(TraceviewInteraction, PlainClicksBringTheirTimeToAnEdgeAndTheWheelMovesAtMostOneWindowAStep)
{
    View v;
    v.click(at(25));
    EXPECT_NEAR(v.tv->tleft, 25.0, 1e-6);
    v.click(at(50), Qt::RightButton);  // 75 s, halfway through the window 25 to 125
    EXPECT_NEAR(v.tv->tright, 75.0, 1e-6);
    EXPECT_NEAR(v.tv->tleft, -25.0, 1e-6);

    ASSERT_EQ(v.tv->setTimeWindow(0.0, 100.0), 0);
    v.wheel(QPoint(0, 120));
    EXPECT_DOUBLE_EQ(v.tv->tleft, 0.0);  // use_wheel is off
    ASSERT_EQ(v.tv->configure("use_wheel", "yes", nullptr), 0);
    v.wheel(QPoint(64, 0));  // ten seconds earlier
    EXPECT_NEAR(v.tv->tleft, -10.0, 1e-6);
    v.wheel(QPoint(-100000000, 0));
    EXPECT_NEAR(v.tv->tleft, 90.0, 1e-6);
    v.tv->zoomY2(0.0, 0.25);
    v.wheel(QPoint(0, 100000000));
    EXPECT_NEAR(v.yview(1), 0.5, 1e-6);
    for (int i = 0; i < 10000; i++)
        v.wheel(QPoint(i % 7 - 3, (i % 2 ? 1 : -1) * 1000000));
    EXPECT_NEAR(v.tv->tright - v.tv->tleft, 100.0, 1e-6);
    EXPECT_GE(v.yview(0), 0.0);
    EXPECT_LE(v.yview(1), 1.0);
}

TEST(TraceviewInteraction, LabelClicksSelectAndDeselect)
{
    View v;
    const QList<VXTrace*> shown = v.tv->traces_display_list;
    ASSERT_EQ(shown.size(), 4);
    auto label = [](int i) { return QPointF(60, plot_top + (i + 0.5) * px_per_trace); };
    auto orders = [&]() {
        QString s;
        for (VXTrace* t : shown)
            s += QString::number(t->select_order);
        return s.toStdString();
    };
    v.click(label(1));
    EXPECT_EQ(orders(), "0100");
    v.click(label(1));
    EXPECT_EQ(orders(), "0000");
    v.click(label(0));
    v.click(label(2), Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_EQ(orders(), "1230");
    v.click(label(3), Qt::MiddleButton);
    EXPECT_EQ(orders(), "0001");
    v.click(label(3), Qt::RightButton);  // falls through
    EXPECT_EQ(orders(), "0001");
    EXPECT_DOUBLE_EQ(v.tv->tleft, 0.0);
}

TEST(TraceviewInteraction, AnimationPutsTheRightEdgeAtNowPlusToffset)
{
    View v;
    double now = 1.0e9;
    v.tv->animate_clock = [&now]() { return now; };
    ASSERT_EQ(v.tv->setAnimateInterval(QStringLiteral("5")), 0);
    EXPECT_DOUBLE_EQ(v.tv->tright, now + 10.0);
    EXPECT_NEAR(v.tv->tright - v.tv->tleft, 100.0, 1e-6);
    now += 3.0;  // before 0.9 of an interval: no move
    v.tv->animateUpdate();
    EXPECT_DOUBLE_EQ(v.tv->tright, 1.0e9 + 10.0);
    now += 2.0;
    ASSERT_EQ(v.tv->setAnimateToffset(QStringLiteral("-2.5")), 0);
    v.tv->animateUpdate();
    EXPECT_DOUBLE_EQ(v.tv->tright, now - 2.5);
    ASSERT_EQ(v.tv->setAnimateInterval(0.0), 0);
    EXPECT_FALSE(v.tv->animate_timer->isActive());
    EXPECT_EQ(v.tv->setAnimateInterval(QStringLiteral("x")), -1);
    EXPECT_EQ(v.tv->setAnimateToffset(QStringLiteral("")), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::setAnimateInterval: Unable to parse 'x'.\n"
                            "VXTraceview::setAnimateToffset: Unable to parse ''.\n");
}

// Hot keys run through the command language without client messages; "R"
// refreshes; "a" in edit mode picks at the pointer.
TEST(TraceviewInteraction, KeysRunHotkeysRefreshAndPick)
{
    View v;
    QStringList ran;
    v.tv->command_processor = [&ran](const QString& command, QString& output) {
        ran.append(command);
        output.clear();
        return 0;
    };
    v.tv->process_hotkeys = [](VXEvent* event, QString& command) {
        if (event->key != QLatin1String("z") || event->modifiers != Qt::ControlModifier)
            return 0;
        command = QStringLiteral("display time_zoom 0.5 %1").arg(event->pt.x());
        return 1;
    };
    v.move(at(50, 0.6));
    v.key(Qt::Key_Z, QStringLiteral("\x1a"), Qt::ControlModifier);
    EXPECT_EQ(ran, QStringList({QStringLiteral("display time_zoom 0.5 %1").arg(at(50).x())}));
    EXPECT_EQ(v.tv->nofeedback, 0);
    EXPECT_TRUE(v.messages.isEmpty());

    for (VXTrace* t : v.tv->traces)
        t->force = 0;
    v.key(Qt::Key_R, QStringLiteral("R"), Qt::ShiftModifier);
    for (VXTrace* t : v.tv->traces)
        EXPECT_EQ(t->force, 1);

    // the pick goes to the trace under the pointer, at the pointer's time
    v.key(Qt::Key_A, QStringLiteral("a"));
    EXPECT_FALSE(v.tv->arrival_text->isShown());  // not in edit mode
    v.tv->edit_mode = 1;
    v.key(Qt::Key_A, QStringLiteral("a"));
    ASSERT_TRUE(v.tv->arrival_text->isShown());
    EXPECT_STREQ(v.tv->arrival_text->vars.text,
                 "VXTraceview::pickArrival: Unable to add an arrival at 50.000000 on 'S01 BHZ'.");
    EXPECT_EQ(takeErrors(), "");
}

// Whatever comes, a view with no traces, or a locked view, changes nothing.
TEST(TraceviewInteraction, StrayInputChangesNothing)
{
    for (int ntraces : {0, 3}) {
        SCOPED_TRACE(ntraces);
        View v(ntraces);
        const Qt::KeyboardModifiers mods[] = {
            Qt::NoModifier, Qt::ShiftModifier, Qt::ControlModifier, Qt::AltModifier, Qt::MetaModifier,
            Qt::ShiftModifier | Qt::ControlModifier, Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier,
            Qt::KeypadModifier};
        for (Qt::KeyboardModifiers m : mods) {
            for (int k = Qt::Key_0; k <= Qt::Key_Z; k++)
                v.key(k, QString(QChar(k)).toLower(), m);
            for (int k : {Qt::Key_Left, Qt::Key_Up, Qt::Key_Delete, Qt::Key_Escape, Qt::Key_F1})
                v.key(k, QString(), m);
            if (ntraces)
                continue;
            for (Qt::MouseButton b : {Qt::LeftButton, Qt::RightButton, Qt::MiddleButton}) {
                v.press(at(30), b, m);
                v.move(QPointF(-100000, 1e7), b);
                v.release(QPointF(1e9, -1e9), b, m);
                v.click(QPointF(10, 10), b, m);
            }
        }
        EXPECT_DOUBLE_EQ(v.tv->tleft, 0.0);
        EXPECT_DOUBLE_EQ(v.tv->tright, 100.0);
        EXPECT_EQ(v.tv->interaction_mode, 0);
        EXPECT_TRUE(v.messages.isEmpty());
    }

    View v;
    EXPECT_EQ(v.tv->setInteraction(QStringLiteral("sometimes")), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::setInteraction: Illegal value 'sometimes'.\n");
    ASSERT_EQ(v.tv->setInteraction(QStringLiteral("none")), 0);
    v.click(at(30));
    v.click(at(30), Qt::LeftButton, Qt::ShiftModifier);
    v.move(at(40, 0.3));
    EXPECT_DOUBLE_EQ(v.tv->tleft, 0.0);
    EXPECT_EQ(v.tv->interaction_mode, 12);
    EXPECT_TRUE(v.tv->crosshairs1->isShown());  // the crosshairs still follow
    EXPECT_NEAR(v.tv->x_crosshairs, 40.0, 1e-6);
    ASSERT_EQ(v.tv->setInteraction(QStringLiteral("normal")), 0);
    v.click(at(30));
    EXPECT_NEAR(v.tv->tleft, 30.0, 1e-6);
}

namespace {

// A database of two events: evid 1 (one origin, orid 10) and evid 2 (orids
// 20, preferred, and 21), an hour apart.
std::string writeEvents(const QString& dir)
{
    const std::string base = (dir + "/db").toStdString();
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr ev = rslookup(db, nullptr, "event", nullptr, "rsSCRATCH");
    Rsptr orig = rslookup(db, nullptr, "origin", nullptr, "rsSCRATCH");
    const struct { long evid, orid; double time, lat, lon, depth, ml; long nass, ndef; } origins[] = {
        {1, 10, 1.0e9, 10.5, 20.25, 5.0, 3.1, 4, 3}, {2, 20, 1.0e9 + 3600.0, -30.0, 140.0, 33.0, 4.2, 12, 10},
        {2, 21, 1.0e9 + 3601.0, -30.5, 140.5, 10.0, -999.0, 6, 5},
    };
    for (const auto& o : origins) {
        char* lddate = timeformat(o.time + 65.0, "%Y-%m-%dT%H%M%S");
        EXPECT_EQ(rsputv(orig, nullptr, "lat", o.lat, "lon", o.lon, "depth", o.depth, "time", o.time, "orid", o.orid,
                         "evid", o.evid, "nass", o.nass, "ndef", o.ndef, "ml", o.ml, "auth", "test",
                         "lddate", lddate, nullptr),
                  0)
            << takeErrors();
        free(lddate);
        EXPECT_GE(rsaddrecord(orig), 0);
    }
    for (long evid : {1L, 2L}) {
        EXPECT_EQ(rsputv(ev, nullptr, "evid", evid, "prefor", evid * 10, "auth", "test", nullptr), 0);
        EXPECT_GE(rsaddrecord(ev), 0);
    }
    rsclose(db);
    return base;
}

} // namespace

TEST(TraceviewInteraction, EventsAndOriginsByEveryWordForm)
{
    View v;
    QString out;
    EXPECT_EQ(v.tv->getEvent(QStringLiteral("0"), out), -1);
    EXPECT_EQ(out, "No QK specified");
    EXPECT_EQ(takeErrors(), "VXTraceview::getEvent: No QK specified\n");

    QTemporaryDir dir;
    const std::string base = writeEvents(dir.path());
    v.tv->registerQKServer(v.tv->openDatabase(QString::fromStdString(base)));
    ASSERT_NE(v.tv->selected_ev.qkclient, nullptr);
    v.tv->selected_ev.qkclient->refreshEvents(1);
    hl_clear_register(HL_CLEAR_QUIET);

    // evid, orid: selected afterwards; message: the last client message, or the register's text
    const struct { const char* word; int result; long evid, orid; const char* message; } cases[] = {
        {"0", 0, 1, 10, "type select_origin\norid 10\n"}, {"+1", 0, 2, 20, "type select_origin\norid 20\n"},
        {"+5", 0, 2, 20, "type select_origin\norid 20\n"}, {"-9", 0, 1, 10, "type select_origin\norid 10\n"},
        {"e2", 0, 2, 20, "type select_origin\norid 20\n"},
        {"e99", -1, 2, 20, "VXTraceview::getEvent: Cannot find evid 99\n"},
        {"mostrecent", 0, 2, 20, "type select_origin\norid 20\n"},
        {"lastmodified", 0, -99, -99, "type select_origin\norid"},
        {"dw", -1, -99, -99, "VXTraceview::getEvent: Cannot find event in display window\n"},
        {"soon", -1, -99, -99, "VXTraceview::getEvent: Cannot parse event 'soon'\n"},
        {"noev", 0, -1, -99, "type select_event\nevid -1\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.word);
        v.messages.clear();
        EXPECT_EQ(v.tv->getEvent(QString::fromLatin1(c.word), out), c.result);
        const std::string said = c.result < 0 ? takeErrors() : v.messages.value(v.messages.size() - 1).toStdString();
        EXPECT_EQ(said.substr(0, strlen(c.message)), c.message);
        if (c.evid != -99) {
            EXPECT_EQ(v.tv->current_event.evid, c.evid);
        }
        if (c.orid != -99 && c.result == 0) {
            EXPECT_EQ(v.messages.value(0).toStdString(), "type select_event\nevid " + std::to_string(c.evid) + "\n");
        }
    }
    EXPECT_EQ(out, "No event selected");

    v.messages.clear();
    ASSERT_EQ(v.tv->getEvent(QStringLiteral("e2"), out), 0);
    EXPECT_EQ(out.section('\n', 0, 0), "evid = 2, prefor = 20, norigins = 2, mag = 4.20 ml");
    EXPECT_EQ(out.section('\n', 1, 1), "latency = 00:01:05, orid = 20, nass = 12, ndef = 10, mag = 4.20 ml, "
                                       "time = 2001252:02:46:40, lat = -30.0000, lon = 140.0000, depth = 33.00, "
                                       "auth = test");
    EXPECT_STREQ(v.tv->origin_text->vars.text, out.section('\n', 1, 1).toUtf8().constData());
    EXPECT_DOUBLE_EQ(v.tv->defaults.otime, 1.0e9 + 3600.0);
    EXPECT_DOUBLE_EQ(v.tv->defaults.olat, -30.0);
    EXPECT_DOUBLE_EQ(v.tv->defaults.olon, 140.0);
    EXPECT_DOUBLE_EQ(v.tv->defaults.odepth, 33.0);
    EXPECT_EQ(v.tv->need_distance_sort, 1);

    ASSERT_EQ(v.tv->getOrigin(QStringLiteral("o21"), out, 1), 0);
    EXPECT_EQ(v.messages.last(), "type select_origin\norid 21\n");
    EXPECT_DOUBLE_EQ(v.tv->defaults.olat, -30.5);
    EXPECT_EQ(v.tv->getOrigin(QStringLiteral("o99"), out, 1), -1);
    EXPECT_EQ(v.tv->getOrigin(QStringLiteral("pref"), out, 0), 0);
    EXPECT_DOUBLE_EQ(v.tv->defaults.olat, -30.0);
    EXPECT_EQ(takeErrors(), "VXTraceview::getOrigin: Cannot find orid 99 with evid 2\n");
    EXPECT_STREQ(v.tv->origin_text->vars.text, out.trimmed().toUtf8().constData());

    EXPECT_EQ(v.tv->setAutoSelectEvent(QStringLiteral("yes")), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::setAutoSelectEvent: Illegal value 'yes'.\n");
    ASSERT_EQ(v.tv->getEvent(QStringLiteral("0"), out), 0);
    ASSERT_EQ(v.tv->setAutoSelectEvent(QStringLiteral("mostrecent")), 0);
    EXPECT_EQ(v.tv->current_event.evid, 2);
}
