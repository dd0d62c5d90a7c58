// Input on a viewport: the VXEvent record, delivery through grabs, items and
// callbacks (also while handlers change the display list), and the default
// interactions (box zoom, pan, reference drag, keys, the coalesced wheel).
// Events are synthetic and sent straight to offscreen viewports.
#include "support/vptest.h"

#include "viewport/viewport.h"
#include "viewport/vxevent.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QRubberBand>
#include <QTest>
#include <QWheelEvent>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using vptest::makeViewport;

namespace {

void sendMouse(VXViewport* vp, QEvent::Type type, QPointF pos, Qt::MouseButton button, Qt::MouseButtons buttons,
               Qt::KeyboardModifiers mods)
{
    QMouseEvent e(type, pos, QPointF(vp->mapToGlobal(pos.toPoint())), button, buttons, mods);
    QCoreApplication::sendEvent(vp, &e);
}

void press(VXViewport* vp, QPointF pos, Qt::MouseButton b = Qt::LeftButton, Qt::KeyboardModifiers m = {})
{
    sendMouse(vp, QEvent::MouseButtonPress, pos, b, b, m);
}

void move(VXViewport* vp, QPointF pos, Qt::MouseButtons held = Qt::LeftButton, Qt::KeyboardModifiers m = {})
{
    sendMouse(vp, QEvent::MouseMove, pos, Qt::NoButton, held, m);
}

void release(VXViewport* vp, QPointF pos, Qt::MouseButton b = Qt::LeftButton, Qt::KeyboardModifiers m = {})
{
    sendMouse(vp, QEvent::MouseButtonRelease, pos, b, Qt::NoButton, m);
}

// Press, move and release, letting the event loop run after the move.
void drag(VXViewport* vp, QPointF from, QPointF to, Qt::MouseButton b = Qt::LeftButton, Qt::KeyboardModifiers m = {})
{
    press(vp, from, b, m);
    move(vp, to, b, m);
    QCoreApplication::processEvents();
    release(vp, to, b, m);
}

void wheel(VXViewport* vp, QPointF pos, int angle_y, QPoint pixels = QPoint())
{
    QWheelEvent e(pos, QPointF(vp->mapToGlobal(pos.toPoint())), pixels, QPoint(0, angle_y), Qt::NoButton,
                  Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(vp, &e);
}

void key(VXViewport* vp, int qt_key, const char* text)
{
    QKeyEvent e(QEvent::KeyPress, qt_key, {}, QString::fromLatin1(text));
    QCoreApplication::sendEvent(vp, &e);
}

// Let the event loop run until the wheel timer has fired (bounded).
bool waitForWheel(VXViewport* vp)
{
    for (int i = 0; i < 200 && vp->vars.wheel_timer_event; i++)
        QTest::qWait(10);
    return vp->vars.wheel_timer_event == 0;
}

QPointF world(VXViewport* vp, QPointF px)
{
    double x = 0.0, y = 0.0;
    EXPECT_EQ(vp->getWcoords(px.x(), px.y(), &x, &y, 0, 0, 0), 0);
    return QPointF(x, y);
}

// A plain 400 by 300 view of 0..400 by 0..300.
std::unique_ptr<VXViewport> plainViewport(std::initializer_list<const char*> extra = {})
{
    return makeViewport(400, 300, {"xleft", "0", "xright", "400", "ybottom", "0", "ytop", "300"}, extra);
}

std::unique_ptr<VXViewport> quietViewport()
{
    return plainViewport({"default_event_interaction", "0"});
}

std::unique_ptr<VXViewport> mapViewport(const char* map, const char* range, const char* lonr, const char* latr)
{
    return makeViewport(400, 300, {"map", map, "range", range, "lonr", lonr, "latr", latr});
}

bool hasDefaultCursor(VXViewport* vp)
{
    return vp->cursor().shape() == Qt::BitmapCursor;
}

// No gesture under way: no state, no grab, the default cursor back.
void expectIdle(VXViewport* vp)
{
    EXPECT_EQ(vp->vars.qevent_state, 1);
    EXPECT_EQ(vp->vars.item_grab, nullptr);
    EXPECT_TRUE(hasDefaultCursor(vp));
}

double width(VXViewport* vp)
{
    return vp->vars.xright - vp->vars.xleft;
}

double height(VXViewport* vp)
{
    return vp->vars.ytop - vp->vars.ybottom;
}

// The view's width and height are factor times w and h.
void expectScaled(VXViewport* vp, double w, double h, double factor)
{
    EXPECT_NEAR(width(vp) / w, factor, 1e-12);
    EXPECT_NEAR(height(vp) / h, factor, 1e-12);
}

void expectPoint(QPointF got, QPointF expected, double tolerance)
{
    EXPECT_NEAR(got.x(), expected.x(), tolerance);
    EXPECT_NEAR(got.y(), expected.y(), tolerance);
}

// An item that logs the events offered to it and runs a hook.
class LogItem : public VXViewportItem
{
public:
    LogItem(VXViewport* vp, const char* name, std::string* log)
        : VXViewportItem(vp, nullptr, "LogItem", 1), log_(log)
    {
        setItemName(name);
    }
    int processEvent(int type, QEvent*) override
    {
        *log_ += (log_->empty() ? "" : ",") + item_name.toStdString();
        int result = type == consume_type ? 2 : 1;
        if (hook)
            hook();  // may delete this item: nothing after it
        return result;
    }
    int consume_type = 0;
    std::function<void()> hook;

private:
    std::string* log_;
};

void logCallbacks(VXViewport* vp, std::string* log)
{
    vp->setEventCallback([log](void*, VXEvent*, void*) { *log += ",cb"; }, nullptr, nullptr);
}

} // namespace

// --- the record ---

TEST(VXEventRecord, PrintForm)
{
    using M = Qt::KeyboardModifiers;
    using E = std::shared_ptr<QEvent>;
    const QPointF p(10, 20);
    auto mouseEvent = [&p](QEvent::Type t, Qt::MouseButton b, Qt::MouseButtons held, M m) -> E {
        return std::make_shared<QMouseEvent>(t, p, p, b, held, m);
    };
    auto keyEvent = [](QEvent::Type t, int k, M m, const char* text) -> E { return std::make_shared<QKeyEvent>(t, k, m, text); };
    const E left_press = mouseEvent(QEvent::MouseButtonPress, Qt::LeftButton, Qt::LeftButton, M());
    const E shifted_a = keyEvent(QEvent::KeyPress, Qt::Key_A, Qt::ShiftModifier, "A");
    struct Case { const char* name; int type; E event; const char *etype, *button, *key, *mods; } cases[] = {
        {"left press", 1, left_press, "mousepress", "left", "none", "none"},
        {"right held, shift", 2, mouseEvent(QEvent::MouseMove, Qt::NoButton, Qt::RightButton, Qt::ShiftModifier), "mousemove", "right", "none", "shift"},
        {"middle held, control", 2, mouseEvent(QEvent::MouseMove, Qt::NoButton, Qt::MiddleButton, Qt::ControlModifier), "mousemove", "middle", "none", "control"},
        {"two buttons, two modifiers", 2, mouseEvent(QEvent::MouseMove, Qt::NoButton, Qt::LeftButton | Qt::RightButton, Qt::ShiftModifier | Qt::ControlModifier), "mousemove", "unknown", "none", "unknown"},
        {"release holds nothing", 3, mouseEvent(QEvent::MouseButtonRelease, Qt::LeftButton, Qt::NoButton, M()), "mouserelease", "none", "none", "none"},
        {"shifted letter in lower case", 4, shifted_a, "keypress", "none", "a", "shift"},
        {"digit", 5, keyEvent(QEvent::KeyRelease, Qt::Key_7, M(), "7"), "keyrelease", "none", "7", "none"},
        {"arrow", 4, keyEvent(QEvent::KeyPress, Qt::Key_Up, M(), ""), "keypress", "none", "up", "none"},
        {"delete", 4, keyEvent(QEvent::KeyPress, Qt::Key_Delete, M(), "\x7f"), "keypress", "none", "delete", "none"},
        {"other keys by their text", 4, keyEvent(QEvent::KeyPress, Qt::Key_Plus, M(), "+"), "keypress", "none", "+", "none"},
        {"key without text", 4, keyEvent(QEvent::KeyPress, Qt::Key_F1, Qt::ShiftModifier, ""), "keypress", "none", "none", "shift"},
        {"wheel", 6, std::make_shared<QWheelEvent>(p, p, QPoint(), QPoint(0, 120), Qt::NoButton, M(), Qt::NoScrollPhase, false), "wheel", "none", "none", "none"},
        {"enter", 7, nullptr, "enter", "none", "none", "none"},
        {"paint", 10, nullptr, "paint", "none", "none", "none"},
        {"unknown type", 11, nullptr, "unknown", "none", "none", "none"},
        {"type that does not fit the event", 1, shifted_a, "mousepress", "none", "none", "none"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXEvent e(c.type, c.event.get(), nullptr);
        EXPECT_EQ(e.printString().toStdString(), std::string("vxevent.type ") + c.etype + "\nvxevent.button "
                                                     + c.button + "\nvxevent.key " + c.key + "\nvxevent.modifiers "
                                                     + c.mods + "\n");
    }
    VXEvent e(1, left_press.get(), nullptr);
    EXPECT_EQ(vptest::captureStdout([&] { e.print(); }), e.printString().toStdString());
}

TEST(VXEventRecord, PositionsAndWheelAmounts)
{
    QMouseEvent m(QEvent::MouseMove, QPointF(3.5, 4), QPointF(103.5, 204), Qt::NoButton, Qt::NoButton, {});
    VXEvent me(2, &m, nullptr);
    EXPECT_EQ(std::make_pair(me.pt, me.gpt), std::make_pair(QPointF(3.5, 4), QPointF(103.5, 204)));

    struct Case { const char* name; QPoint pixels, angle; double delta, deltax; } cases[] = {
        {"degrees from eighths", QPoint(), QPoint(-240, 120), 15.0, -30.0},
        {"pixels first", QPoint(4, -7), QPoint(0, 120), -7.0, 4.0},
        {"nothing", QPoint(), QPoint(), 0.0, 0.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QWheelEvent w(QPointF(5, 6), QPointF(50, 60), c.pixels, c.angle, Qt::NoButton, {}, Qt::NoScrollPhase, false);
        VXEvent we(6, &w, nullptr);
        EXPECT_EQ(std::make_pair(we.delta, we.deltax), std::make_pair(c.delta, c.deltax));
        EXPECT_EQ(std::make_pair(we.pt, we.gpt), std::make_pair(QPointF(5, 6), QPointF(50, 60)));
    }

    // key events stand at the cursor, mapped into the widget
    auto vp = plainViewport();
    QKeyEvent k(QEvent::KeyPress, Qt::Key_X, {}, "x");
    VXEvent ke(4, &k, vp.get());
    EXPECT_EQ(ke.gpt, QPointF(QCursor::pos()));
    EXPECT_EQ(ke.pt, QPointF(vp->mapFromGlobal(QCursor::pos())));
}

// --- delivery ---

TEST(EventDelivery, TopItemFirstThenCallbacks)
{
    auto vp = quietViewport();
    std::string log;
    LogItem a(vp.get(), "a", &log), b(vp.get(), "b", &log), c(vp.get(), "c", &log);
    std::vector<VXEvent> seen;
    vp->setEventCallback([&](void*, VXEvent* e, void*) { log += ",cb"; seen.push_back(*e); }, nullptr, nullptr);

    press(vp.get(), QPointF(10, 10));
    EXPECT_EQ(log, "c,b,a,cb");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(std::make_pair(seen[0].type, seen[0].pt), std::make_pair(1, QPointF(10, 10)));

    // an item left out of the walk, a consumed event
    log.clear();
    b.ignoreItem();
    a.consume_type = 3;
    release(vp.get(), QPointF(10, 10));
    EXPECT_EQ(log, "c,a");
    log.clear();
    key(vp.get(), Qt::Key_K, "k");
    EXPECT_EQ(log, "c,a,cb");
    EXPECT_EQ(seen.back().key, "k");
}

TEST(EventDelivery, ConsumedPressReachesNeitherViewportNorCallbacks)
{
    auto vp = plainViewport();
    std::string log;
    LogItem a(vp.get(), "a", &log);
    a.consume_type = 1;
    int calls = 0;
    vp->setEventCallback([&](void*, VXEvent*, void*) { calls++; }, nullptr, nullptr);
    press(vp.get(), QPointF(50, 50));
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(vp->vars.qevent_state, 1);  // no pan began
    EXPECT_EQ(vp->vars.item_grab, nullptr);
    a.consume_type = 0;
    press(vp.get(), QPointF(50, 50));
    EXPECT_EQ(std::make_pair(calls, vp->vars.qevent_state), std::make_pair(1, 2));
}

TEST(EventDelivery, GrabTakesTheStream)
{
    auto vp = quietViewport();
    std::string log;
    LogItem a(vp.get(), "a", &log), b(vp.get(), "b", &log);
    logCallbacks(vp.get(), &log);
    vp->grabEventStream(&a);
    move(vp.get(), QPointF(1, 1));
    EXPECT_EQ(log, "a,cb");
    log.clear();
    a.consume_type = 2;
    move(vp.get(), QPointF(2, 2));
    EXPECT_EQ(log, "a");
    vp->ungrabEventStream();
    log.clear();
    move(vp.get(), QPointF(3, 3));
    EXPECT_EQ(log, "b,a");

    // a grabbing item that goes away releases the stream
    {
        LogItem gone(vp.get(), "gone", &log);
        vp->grabEventStream(&gone);
    }
    EXPECT_EQ(vp->vars.item_grab, nullptr);
    log.clear();
    a.consume_type = 0;
    move(vp.get(), QPointF(4, 4));
    EXPECT_EQ(log, "b,a,cb");
}

TEST(EventDelivery, HandlersChangingTheDisplayList)
{
    // list bottom to top: vp, a, b, c; the handler named deletes the victim
    // or, for "new", adds an item d on top
    struct Case { const char *name, *handler, *victim, *expected; } cases[] = {
        {"top deletes the bottom item", "c", "a", "c,b,cb"},
        {"top deletes the one below it", "c", "b", "c,a,cb"},
        {"top deletes itself", "c", "c", "c,b,a,cb"},
        {"middle deletes the top, already offered", "b", "c", "c,b,a,cb"},
        {"middle deletes itself", "b", "b", "c,b,a,cb"},
        {"middle adds an item on top", "b", "new", "c,b,d,a,cb"},
        {"bottom adds an item on top", "a", "new", "c,b,a,d,cb"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = quietViewport();
        std::string log;
        std::map<std::string, std::unique_ptr<LogItem>> items;
        for (const char* n : {"a", "b", "c"})
            items[n] = std::make_unique<LogItem>(vp.get(), n, &log);
        logCallbacks(vp.get(), &log);
        const std::string victim = c.victim;
        items[c.handler]->hook = [&items, &log, &vp, victim] {
            if (victim != "new")
                items[victim].reset();
            else if (!items.count("d"))
                items["d"] = std::make_unique<LogItem>(vp.get(), "d", &log);
        };
        press(vp.get(), QPointF(5, 5));
        EXPECT_EQ(log, c.expected);
        // the next event sees the list as it now is, with the hook gone
        for (auto& [name, item] : items)
            if (item)
                item->hook = nullptr;
        log.clear();
        release(vp.get(), QPointF(5, 5));
        EXPECT_NE(log.find("cb"), std::string::npos);
    }
}

TEST(EventDelivery, HandlerAddingItemsAtEveryTurnEnds)
{
    auto vp = quietViewport();
    std::string log;
    std::vector<std::unique_ptr<LogItem>> items;
    std::function<void()> grow = [&] {
        items.push_back(std::make_unique<LogItem>(vp.get(), "x", &log));
        items.back()->hook = grow;
    };
    grow();
    int calls = 0;
    vp->setEventCallback([&](void*, VXEvent*, void*) { calls++; }, nullptr, nullptr);
    press(vp.get(), QPointF(5, 5));
    EXPECT_EQ(calls, 1);
    EXPECT_LT(items.size(), 1000u);
}

TEST(EventDelivery, CallbacksDeletingItemsAndTheViewport)
{
    auto vp = quietViewport();
    std::string log;
    auto a = std::make_unique<LogItem>(vp.get(), "a", &log);
    int late = 0;
    // the first callback deletes an item and adds a callback; the list in
    // use is a copy, so the new one runs from the next event on
    vp->setEventCallback(
        [&](void*, VXEvent*, void*) {
            a.reset();
            vp->setEventCallback([&](void*, VXEvent*, void*) { late++; }, nullptr, nullptr);
        },
        nullptr, nullptr);
    press(vp.get(), QPointF(5, 5));
    EXPECT_EQ(std::make_pair(log, late), std::make_pair(std::string("a"), 0));
    release(vp.get(), QPointF(5, 5));
    EXPECT_EQ(late, 1);

    // a callback that deletes the viewport ends the delivery
    VXViewport* raw = quietViewport().release();
    int after = 0;
    raw->setEventCallback([&](void*, VXEvent*, void*) { delete raw; }, nullptr, nullptr);
    raw->setEventCallback([&](void*, VXEvent*, void*) { after++; }, nullptr, nullptr);
    QMouseEvent e(QEvent::MouseMove, QPointF(1, 1), QPointF(1, 1), Qt::NoButton, Qt::NoButton, {});
    EXPECT_EQ(std::make_pair(raw->processevent_pvt(2, &e), after), std::make_pair(0, 0));
}

TEST(EventDelivery, ItemsComingAndGoingUnderAStreamOfEvents)
{
    auto vp = plainViewport();
    std::string log;
    std::vector<std::unique_ptr<LogItem>> items;
    unsigned seed = 7;
    auto next = [&seed] {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 16) & 0x7fff;
    };
    int callbacks = 0;
    vp->setEventCallback(
        [&](void*, VXEvent*, void*) {
            callbacks++;
            if (!items.empty() && next() % 3 == 0)
                items.erase(items.begin() + next() % items.size());
        },
        nullptr, nullptr);
    const int sent = 400;
    for (int i = 0; i < sent; i++) {
        if (next() % 2 || items.empty()) {
            items.push_back(std::make_unique<LogItem>(vp.get(), "i", &log));
            if (next() % 4 == 0)  // some delete a neighbour while handling
                items.back()->hook = [&items, &next] {
                    if (items.size() > 1)
                        items.erase(items.begin() + next() % items.size());
                };
        }
        const QPointF p(next() % 400, next() % 300);
        if (i % 4 == 0)
            press(vp.get(), p);
        else if (i % 4 < 3)
            move(vp.get(), p);
        else {
            release(vp.get(), p);
            QCoreApplication::processEvents();
        }
        if (items.size() > 40)
            items.resize(20);
    }
    EXPECT_EQ(std::make_pair(callbacks, vp->vars.qevent_state), std::make_pair(sent, 1));
}

namespace {

class CountingReceiver : public VXQKCallbackReceiver
{
public:
    void processQKCallback(VXQKCallbackEvent* event) override
    {
        calls++;
        if (on_call)
            on_call(event);
    }
    int calls = 0;
    std::function<void(VXQKCallbackEvent*)> on_call;
};

void postNotice(VXViewport* vp, VXQKCallbackReceiver* me, VXQKCallbackReceiver* tr)
{
    auto* notice = new VXQKCallbackEvent;
    notice->vxme = me;
    notice->vxtr = tr;
    EXPECT_EQ(notice->type(), VXQKCallbackEvent::eventType());
    QCoreApplication::postEvent(vp, notice);
}

} // namespace

TEST(EventDelivery, ServiceNoticesReachTheirReceivers)
{
    auto vp = plainViewport();
    CountingReceiver map_events, trace_view;
    EXPECT_GT(static_cast<int>(VXQKCallbackEvent::eventType()), static_cast<int>(QEvent::User));
    postNotice(vp.get(), &map_events, &trace_view);
    EXPECT_EQ(map_events.calls, 0);  // posted: nothing happens before the loop runs
    QCoreApplication::processEvents();
    EXPECT_EQ(std::make_pair(map_events.calls, trace_view.calls), std::make_pair(1, 1));

    // a receiver gone before delivery, or by the hand of the first
    auto* gone = new CountingReceiver;
    auto* second = new CountingReceiver;
    postNotice(vp.get(), gone, &trace_view);
    delete gone;
    postNotice(vp.get(), &map_events, second);
    map_events.on_call = [&second](VXQKCallbackEvent*) {
        delete second;
        second = nullptr;
    };
    QCoreApplication::processEvents();
    EXPECT_EQ(std::make_pair(map_events.calls, trace_view.calls), std::make_pair(2, 2));
    EXPECT_EQ(second, nullptr);
}

// --- the default interactions ---

TEST(ViewportInteraction, ShiftDragBoxGivesTheWorldBoxOfItsCorners)
{
    struct Case { const char* name; QPointF from, to; } cases[] = {
        {"down and right", QPointF(100, 80), QPointF(300, 220)},
        {"up and left", QPointF(300, 220), QPointF(100, 80)},
        {"fractional pixels round half away", QPointF(99.5, 80.4), QPointF(300.2, 219.6)},
        {"five by five", QPointF(10, 10), QPointF(14, 14)},
    };
    const auto shift = Qt::ShiftModifier;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = plainViewport();
        const QPoint from = c.from.toPoint(), to = c.to.toPoint();  // rounds half away from zero
        const QPoint tl(std::min(from.x(), to.x()), std::min(from.y(), to.y()));
        const QPoint br(std::max(from.x(), to.x()), std::max(from.y(), to.y()));
        const QPointF w1 = world(vp.get(), tl), w2 = world(vp.get(), br);

        press(vp.get(), c.from, Qt::LeftButton, shift);
        EXPECT_EQ(vp->vars.qevent_state, 3);
        EXPECT_EQ(vp->vars.item_grab, static_cast<VXViewportItem*>(vp.get()));
        ASSERT_NE(vp->vars.rubberband, nullptr);
        EXPECT_TRUE(vp->vars.rubberband->isVisibleTo(vp.get()));
        EXPECT_EQ(vp->cursor().shape(), Qt::BlankCursor);
        move(vp.get(), c.to, Qt::LeftButton, shift);
        EXPECT_EQ(vp->vars.rubberband->geometry(), QRect(tl, br));
        release(vp.get(), c.to, Qt::LeftButton, shift);

        expectPoint(QPointF(vp->vars.spc_xleft, vp->vars.spc_ytop), w1, 1e-9);
        expectPoint(QPointF(vp->vars.spc_xright, vp->vars.spc_ybottom), w2, 1e-9);
        expectIdle(vp.get());
        EXPECT_FALSE(vp->vars.rubberband->isVisibleTo(vp.get()));
    }
}

TEST(ViewportInteraction, BoxUnderFivePixelsChangesNothing)
{
    struct Case { const char* name; QPointF to; Qt::MouseButton button; } cases[] = {  // from 100, 100
        {"four wide", QPointF(103, 200), Qt::LeftButton},
        {"four high", QPointF(200, 103), Qt::LeftButton},
        {"a click", QPointF(100, 100), Qt::LeftButton},
        {"four wide, zooming out", QPointF(97, 200), Qt::RightButton},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = plainViewport();
        const VxViewport before = vp->vars;
        press(vp.get(), QPointF(100, 100), c.button, Qt::ShiftModifier);
        EXPECT_EQ(vp->vars.qevent_state, c.button == Qt::LeftButton ? 3 : 4);
        move(vp.get(), c.to, c.button, Qt::ShiftModifier);
        release(vp.get(), c.to, c.button, Qt::ShiftModifier);
        EXPECT_EQ(std::tie(vp->vars.spc_xleft, vp->vars.spc_xright, vp->vars.spc_ybottom, vp->vars.spc_ytop),
                  std::tie(before.spc_xleft, before.spc_xright, before.spc_ybottom, before.spc_ytop));
        expectIdle(vp.get());
    }
}

TEST(ViewportInteraction, ShiftRightDragZoomsOut)
{
    auto vp = plainViewport();
    const VxViewport v = vp->vars;
    const QPointF w1 = world(vp.get(), QPointF(100, 50)), w2 = world(vp.get(), QPointF(299, 149));
    drag(vp.get(), QPointF(100, 50), QPointF(299, 149), Qt::RightButton, Qt::ShiftModifier);
    // the view grows by its width over the box's
    const double fx = (v.xright - v.xleft) / (w2.x() - w1.x());
    const double fy = (v.ybottom - v.ytop) / (w2.y() - w1.y());
    expectPoint(QPointF(vp->vars.spc_xleft, vp->vars.spc_ytop),
                QPointF(v.xleft - (w1.x() - v.xleft) * fx, v.ytop - (w1.y() - v.ytop) * fy), 1e-9);
    expectPoint(QPointF(vp->vars.spc_xright - vp->vars.spc_xleft, vp->vars.spc_ybottom - vp->vars.spc_ytop),
                QPointF((v.xright - v.xleft) * fx, (v.ybottom - v.ytop) * fy), 1e-9);
    EXPECT_GT(width(vp.get()), 1.9 * (v.xright - v.xleft));
}

TEST(ViewportInteraction, WheelZoomsOnceAfterTheDelayWithinLimits)
{
    struct Case { const char* name; int angle; QPoint pixels; double factor; } cases[] = {
        {"one step in", 120, QPoint(), 0.85},                   {"one step out", -120, QPoint(), 1.15},
        {"huge step in", 120000, QPoint(), 0.6666666666666666}, {"huge step out", -120000, QPoint(), 1.5},
        {"pixels", 0, QPoint(0, 10), 0.9},                      {"nothing", 0, QPoint(), 1.0},
    };
    const QPointF at(100, 100);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = plainViewport();
        const double w = width(vp.get()), h = height(vp.get());
        const QPointF under = world(vp.get(), at);
        wheel(vp.get(), at, c.angle, c.pixels);
        EXPECT_EQ(vp->vars.wheel_timer_event, 1);
        // more steps while the timer runs are dropped
        for (int i = 0; i < 5; i++)
            wheel(vp.get(), at, 120);
        EXPECT_EQ(width(vp.get()), w);
        ASSERT_TRUE(waitForWheel(vp.get()));
        expectScaled(vp.get(), w, h, c.factor);
        expectPoint(world(vp.get(), at), under, 1e-9);  // the point under the wheel stays
    }
}

TEST(ViewportInteraction, SwitchingInteractionsOff)
{
    struct Case { const char* value; bool wheel, keys, press; } cases[] = {
        {"1", true, true, true},        {"nowheel", false, true, true}, {"0", false, false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        auto vp = plainViewport({"default_event_interaction", c.value});
        double w = width(vp.get());
        wheel(vp.get(), QPointF(100, 100), 120);
        EXPECT_EQ(vp->vars.wheel_timer_event, c.wheel ? 1 : 0);
        QTest::qWait(150);
        ASSERT_TRUE(waitForWheel(vp.get()));
        EXPECT_EQ(width(vp.get()) != w, c.wheel);
        w = width(vp.get());
        key(vp.get(), Qt::Key_I, "i");
        EXPECT_EQ(width(vp.get()) != w, c.keys);
        press(vp.get(), QPointF(100, 100));
        EXPECT_EQ(vp->vars.qevent_state, c.press ? 2 : 1);
        release(vp.get(), QPointF(100, 100));
    }
}

TEST(ViewportInteraction, KeysZoom)
{
    struct Case { const char* name; int qt_key; const char* text; double factor; } cases[] = {
        {"i", Qt::Key_I, "i", 0.8333333333333334},
        {"plus zooms as i does", Qt::Key_Plus, "+", 0.8333333333333334},
        {"capital I zooms faster", Qt::Key_I, "I", 0.5},
        {"o", Qt::Key_O, "o", 1.2},
        {"minus", Qt::Key_Minus, "-", 1.2},
        {"capital O", Qt::Key_O, "O", 2.0},
        {"other keys do nothing", Qt::Key_X, "x", 1.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = plainViewport();
        const double w = width(vp.get()), h = height(vp.get());
        key(vp.get(), c.qt_key, c.text);
        expectScaled(vp.get(), w, h, c.factor);
    }
}

TEST(ViewportInteraction, KeyCCentresOnTheCursor)
{
    auto vp = plainViewport();
    QCursor::setPos(vp->mapToGlobal(QPoint(120, 90)));
    const QPointF target = world(vp.get(), QPointF(vp->mapFromGlobal(QCursor::pos())));
    key(vp.get(), Qt::Key_C, "c");
    expectPoint(QPointF(0.5 * (vp->vars.xleft + vp->vars.xright), 0.5 * (vp->vars.ybottom + vp->vars.ytop)), target,
                1e-9);
    EXPECT_NEAR(width(vp.get()), 400.0, 1e-9);
}

TEST(ViewportInteraction, PanMovesTheLimitsByItsPixels)
{
    auto vp = plainViewport({"xleft", "0", "xright", "800", "ybottom", "0", "ytop", "150"});
    const VxViewport v = vp->vars;
    const double xunits = (v.xright - v.xleft) / 400.0, yunits = (v.ytop - v.ybottom) / 300.0;
    press(vp.get(), QPointF(200, 150));
    EXPECT_EQ(std::make_pair(vp->vars.qevent_state, vp->cursor().shape()), std::make_pair(2, Qt::ClosedHandCursor));
    move(vp.get(), QPointF(250, 130));
    // coalesced: nothing before the event loop runs
    EXPECT_EQ(std::make_pair(vp->vars.mouse_timer_event, vp->vars.xleft), std::make_pair(1, v.xleft));
    QCoreApplication::processEvents();
    EXPECT_EQ(std::make_tuple(vp->vars.mouse_timer_event, vp->vars.xoffset, vp->vars.yoffset), std::make_tuple(0, -50, 20));
    expectPoint(QPointF(vp->vars.xleft, vp->vars.ytop), QPointF(v.xleft - 50 * xunits, v.ytop - 20 * yunits), 1e-9);
    release(vp.get(), QPointF(250, 130));
    // folded into the specified limits
    EXPECT_EQ(QPoint(vp->vars.xoffset, vp->vars.yoffset), QPoint(0, 0));
    expectPoint(QPointF(vp->vars.spc_xleft, vp->vars.spc_xright), QPointF(v.xleft, v.xright) - QPointF(50, 50) * xunits, 1e-9);
    EXPECT_NEAR(vp->vars.spc_ybottom, v.ybottom - 20 * yunits, 1e-9);
    expectIdle(vp.get());
}

TEST(ViewportInteraction, PanCoalescesMovesAndEndsWhereReleased)
{
    auto vp = plainViewport();
    const VxViewport v = vp->vars;
    press(vp.get(), QPointF(200, 150));
    // moves in one pass of the loop: the first is kept, the rest dropped
    for (int dx = 10; dx <= 100; dx += 10)
        move(vp.get(), QPointF(200 + dx, 150));
    QCoreApplication::processEvents();
    EXPECT_EQ(vp->vars.xoffset, -10);
    // a move still waiting at the release is applied first, and nothing
    // moves afterwards
    move(vp.get(), QPointF(240, 150));
    release(vp.get(), QPointF(240, 150));
    EXPECT_EQ(vp->vars.xoffset, 0);
    EXPECT_NEAR(vp->vars.spc_xleft, v.xleft - 40.0, 1e-9);
    QCoreApplication::processEvents();
    EXPECT_EQ(vp->vars.xoffset, 0);
    EXPECT_NEAR(vp->vars.xleft, v.xleft - 40.0, 1e-9);
}

TEST(ViewportInteraction, PanOnFlatMapsMovesTheReference)
{
    for (const char* map : {"geog", "merc"}) {
        SCOPED_TRACE(map);
        auto vp = mapViewport(map, "40", "10", "0");
        const double lonr = vp->vars.lonr;
        drag(vp.get(), QPointF(200, 150), QPointF(250, 150));
        EXPECT_NEAR(vp->vars.lonr, lonr - 50 * 40.0 / 400.0, 1e-6);
        EXPECT_NEAR(vp->vars.latr, 0.0, 1e-3);
        EXPECT_EQ(vp->vars.xoffset, 0);
    }
}

TEST(ViewportInteraction, PlaneMapsDragTheStartPointUnderThePointer)
{
    for (const char* map : {"edp", "globe"}) {
        SCOPED_TRACE(map);
        auto vp = mapViewport(map, "60", "10", "20");
        const QPointF start = world(vp.get(), QPointF(200, 150));
        press(vp.get(), QPointF(200, 150));
        move(vp.get(), QPointF(240, 120));
        QCoreApplication::processEvents();
        vp->setScales();
        expectPoint(world(vp.get(), QPointF(240, 120)), start, 1e-6);
        release(vp.get(), QPointF(260, 120));
        vp->setScales();
        expectPoint(world(vp.get(), QPointF(260, 120)), start, 1e-6);
        EXPECT_EQ(vp->vars.item_grab, nullptr);
    }
}

TEST(ViewportInteraction, ReferenceDragKeepsTheGrab)
{
    auto vp = mapViewport("edp", "60", "10", "20");
    std::string log;
    LogItem a(vp.get(), "a", &log);
    press(vp.get(), QPointF(200, 150), Qt::LeftButton, Qt::ControlModifier);
    EXPECT_EQ(std::make_pair(vp->vars.qevent_state, vp->cursor().shape()), std::make_pair(5, Qt::ClosedHandCursor));
    const QPointF target = world(vp.get(), QPointF(300, 100));
    move(vp.get(), QPointF(300, 100), Qt::LeftButton, Qt::ControlModifier);
    expectPoint(QPointF(vp->vars.lonr, vp->vars.latr), target, 1e-9);
    release(vp.get(), QPointF(300, 100), Qt::LeftButton, Qt::ControlModifier);
    EXPECT_EQ(std::make_pair(vp->vars.qevent_state, hasDefaultCursor(vp.get())), std::make_pair(1, true));
    // the viewport holds the stream until another gesture ends
    EXPECT_EQ(vp->vars.item_grab, static_cast<VXViewportItem*>(vp.get()));
    EXPECT_EQ(log, "a");  // the press, before the grab
    log.clear();
    move(vp.get(), QPointF(10, 10), Qt::NoButton);
    EXPECT_EQ(log, "");
    drag(vp.get(), QPointF(100, 100), QPointF(110, 100));
    EXPECT_EQ(vp->vars.item_grab, nullptr);
    EXPECT_EQ(log, "");
    move(vp.get(), QPointF(10, 10), Qt::NoButton);
    EXPECT_EQ(log, "a");
}

TEST(ViewportInteraction, BoxZoomOnMaps)
{
    auto geog = mapViewport("geog", "40", "10", "0");
    const QPointF w1 = world(geog.get(), QPointF(100, 100)), w2 = world(geog.get(), QPointF(199, 179));
    drag(geog.get(), QPointF(100, 100), QPointF(199, 179), Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_NEAR(geog->vars.range, w2.x() - w1.x(), 1e-9);
    expectPoint(QPointF(geog->vars.lonr, geog->vars.latr), 0.5 * (w1 + w2), 1e-9);

    auto edp = mapViewport("edp", "60", "10", "20");
    const QPointF centre = world(edp.get(), QPointF(150, 125));
    drag(edp.get(), QPointF(100, 100), QPointF(200, 150), Qt::LeftButton, Qt::ShiftModifier);
    expectPoint(QPointF(edp->vars.lonr, edp->vars.latr), centre, 1e-9);
    EXPECT_TRUE(edp->vars.range > 0.0 && edp->vars.range < 60.0) << edp->vars.range;
}

TEST(ViewportInteraction, PaintsAndTeardownDuringGestures)
{
    auto vp = plainViewport();
    auto item = std::make_unique<VXViewportItem>(vp.get(), nullptr, "Plain", 1);
    vp->show();
    press(vp.get(), QPointF(100, 100), Qt::LeftButton, Qt::ShiftModifier);
    move(vp.get(), QPointF(150, 160), Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_FALSE(vptest::render(vp.get()).isNull());
    item.reset();  // an item going away mid-gesture
    release(vp.get(), QPointF(150, 160), Qt::LeftButton, Qt::ShiftModifier);
    press(vp.get(), QPointF(100, 100));
    move(vp.get(), QPointF(150, 160));
    vp->repaint();
    QCoreApplication::processEvents();
    release(vp.get(), QPointF(150, 160));
    // a viewport destroyed while its timers wait
    wheel(vp.get(), QPointF(100, 100), 120);
    press(vp.get(), QPointF(100, 100));
    move(vp.get(), QPointF(120, 100));
    vp.reset();
    QTest::qWait(150);
}

TEST(ViewportInteraction, DefaultCursorIsAThinCross)
{
    auto vp = plainViewport();
    const QCursor c = vp->cursor();
    ASSERT_EQ(c.shape(), Qt::BitmapCursor);
    const QImage image = c.pixmap().toImage().convertToFormat(QImage::Format_ARGB32);
    ASSERT_EQ(image.size(), QSize(31, 31));
    // (alpha, red) at points of the cross and off it
    const auto at = [&image](int x, int y) { return std::make_pair(qAlpha(image.pixel(x, y)), qRed(image.pixel(x, y))); };
    EXPECT_EQ(std::make_pair(at(15, 3), at(3, 14)), std::make_pair(std::make_pair(0x80, 0), std::make_pair(0x80, 255)));
    EXPECT_EQ(std::make_pair(at(14, 14).first, at(5, 5).first), std::make_pair(0x80, 0));
}
