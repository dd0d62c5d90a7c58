// Input: delivery of Qt's events through the display list to the event
// callbacks, and the viewport's own interactions (pan, rubber-band zoom,
// map reference drag, key and wheel zoom).
//
// Gestures run as a state machine on qevent_state: a press starts one and
// grabs the event stream for the viewport, the release ends it.  Pans and
// wheel zooms are coalesced by single-shot timers holding a copy of the
// event; events arriving while a timer waits are dropped, not queued.
#include "map/projection/longitude_p.h"
#include "map/projection/projections.h"
#include "viewport/viewport.h"
#include "viewport/vxqkclient.h"

#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>
#include <QRubberBand>
#include <QSet>
#include <QTimer>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// A handler that keeps changing the display list restarts the walk at most
// this often; after that the walk goes on downwards.
constexpr int max_restarts = 64;

// The wheel zoom waits this long, dropping further wheel events.
constexpr int wheel_delay_ms = 100;

// Zoom factors of the keys and the limits of a wheel step.
constexpr double key_zoom_in = 0.8333333333333334;
constexpr double key_zoom_out = 1.2;
constexpr double key_zoom_in_fast = 0.5;
constexpr double key_zoom_out_fast = 2.0;
constexpr double wheel_factor_min = 0.6666666666666666;
constexpr double wheel_factor_max = 1.5;

// Half away from zero, kept inside int.
int roundPixel(double v)
{
    if (!std::isfinite(v))
        return 0;
    if (v > 1e9)
        return 1000000000;
    if (v < -1e9)
        return -1000000000;
    return static_cast<int>(v < 0.0 ? v - 0.5 : v + 0.5);
}

// The rubber band between two pixel positions, corners included.
QRect boxOf(QPointF start, QPointF pos)
{
    const int x0 = roundPixel(start.x()), y0 = roundPixel(start.y());
    const int x1 = roundPixel(pos.x()), y1 = roundPixel(pos.y());
    return QRect(QPoint(std::min(x0, x1), std::min(y0, y1)), QPoint(std::max(x0, x1), std::max(y0, y1)));
}

bool isPlane(int map_tran)
{
    return map_tran == VX_MAP_EDP || map_tran == VX_MAP_GLOBE;
}

bool isFlatMap(int map_tran)
{
    return map_tran == VX_MAP_MERC || map_tran == VX_MAP_GEOG;
}

// A longitude difference taken the short way round, in (-180, 180].
double lonDifference(double d)
{
    d = map_lon_near(d, 0.0);
    return d == -180.0 ? 180.0 : d;
}

} // namespace

// --- delivery ---

int VXViewport::processevent_pvt(int type, QEvent* event)
{
    QPointer<VXViewport> self(this);
    if (VXViewportItem* grab = vars.item_grab) {
        const int result = grab->processEvent(type, event);
        if (!self)
            return 0;
        if (result == 2)
            return 2;
    } else {
        // Top of the list downwards.  When a handler changes the size of
        // the list the walk starts again from its new end, passing over the
        // items that already had this event (known by creation number, as
        // an address may be reused by a new item).
        std::vector<int> offered;
        QSet<int> offered_set;
        int restarts = 0;
        qsizetype i = vars.display_list.size() - 1;
        while (i >= 0) {
            if (i >= vars.display_list.size()) {
                i = vars.display_list.size() - 1;
                continue;
            }
            VXViewportItem* item = vars.display_list[i];
            if (!item || !item->item_process_pvt || (restarts && offered_set.contains(item->order))) {
                i--;
                continue;
            }
            if (restarts)
                offered_set.insert(item->order);
            else
                offered.push_back(item->order);
            const qsizetype size = vars.display_list.size();
            const int result = item->processEvent(type, event);
            if (!self)
                return result == 2 ? 2 : 0;
            if (result == 2)
                return 2;
            if (vars.display_list.size() != size && restarts < max_restarts) {
                if (!restarts)
                    offered_set = QSet<int>(offered.begin(), offered.end());
                restarts++;
                i = vars.display_list.size() - 1;
                continue;
            }
            i--;
        }
    }
    eventCallback(type, event);
    return self ? 1 : 0;
}

void VXViewport::eventCallback(int type, QEvent* event)
{
    // a callback may add or remove callbacks, or delete the viewport
    const QList<VxViewportEventCallback> list = vars.event_callbacks;
    QPointer<VXViewport> self(this);
    for (const VxViewportEventCallback& record : list) {
        if (!record.callback_proc)
            continue;
        VXEvent vxevent(type, event, this);
        record.callback_proc(record.item, &vxevent, record.client_data);
        if (!self)
            return;
    }
}

void VXViewport::grabEventStream(VXViewportItem* item)
{
    vars.item_grab = item;
}

void VXViewport::ungrabEventStream()
{
    vars.item_grab = nullptr;
}

bool VXViewport::event(QEvent* event)
{
    // of() first: it tells the thread sanitizer that a notice posted by a
    // service thread came through Qt's queue, before anything of it is read
    VXQKClientEvent::of(event);
    if (event && event->type() == VXQKCallbackEvent::eventType()) {
        auto* notice = static_cast<VXQKCallbackEvent*>(event);
        // a receiver destroyed since the notice was posted is passed over;
        // the first may destroy the second
        if (VXQKCallbackReceiver::isLive(notice->vxme))
            notice->vxme->processQKCallback(notice);
        if (VXQKCallbackReceiver::isLive(notice->vxtr))
            notice->vxtr->processQKCallback(notice);
        return true;
    }
    return QWidget::event(event);
}

void VXViewport::mousePressEvent(QMouseEvent* event)
{
    processevent_pvt(VX_EVENT_PRESS, event);
}

void VXViewport::mouseMoveEvent(QMouseEvent* event)
{
    processevent_pvt(VX_EVENT_MOVE, event);
}

void VXViewport::mouseReleaseEvent(QMouseEvent* event)
{
    processevent_pvt(VX_EVENT_RELEASE, event);
}

void VXViewport::keyPressEvent(QKeyEvent* event)
{
    processevent_pvt(VX_EVENT_KEY_PRESS, event);
}

void VXViewport::keyReleaseEvent(QKeyEvent* event)
{
    processevent_pvt(VX_EVENT_KEY_RELEASE, event);
}

void VXViewport::wheelEvent(QWheelEvent* event)
{
    processevent_pvt(VX_EVENT_WHEEL, event);
}

void VXViewport::enterEvent(QEnterEvent* /*event*/)
{
    setFocus();
}

void VXViewport::leaveEvent(QEvent* /*event*/)
{
    releaseKeyboard();
}

// --- the default interactions ---

int VXViewport::processEvent(int type, QEvent* event)
{
    if (!vars.default_event_processing || !event)
        return 1;
    auto* mouse = dynamic_cast<QMouseEvent*>(event);
    const bool mouse_type = type == VX_EVENT_PRESS || type == VX_EVENT_MOVE || type == VX_EVENT_RELEASE;
    if (mouse_type && !mouse)
        return 1;  // a mouse type must come with a mouse event

    switch (vars.qevent_state) {
    case 1:
        if (type == VX_EVENT_PRESS) {
            pressIdle(VXEvent(type, event, this), mouse->button());
        } else if (type == VX_EVENT_KEY_PRESS) {
            if (auto* key = dynamic_cast<QKeyEvent*>(event))
                keyIdle(key->text());
        } else if (type == VX_EVENT_WHEEL) {
            if (vars.default_event_processing != 2 && vars.wheel_timer_event == 0 && dynamic_cast<QWheelEvent*>(event)) {
                wheel_pending = std::make_unique<VXEvent>(VX_EVENT_WHEEL, event, nullptr);
                vars.wheel_timer_event = 1;
                QTimer::singleShot(wheel_delay_ms, this, [this] { fireWheel(); });
            }
        }
        break;
    case 2:
        if (type == VX_EVENT_MOVE) {
            if (vars.mouse_timer_event == 0) {
                pan_pending = std::make_unique<VXEvent>(type, event, this);
                vars.mouse_timer_event = 1;
                // at most one pan per pass of the event loop
                QTimer::singleShot(0, this, [this] { flushPan(); });
            }
        } else if (type == VX_EVENT_RELEASE) {
            releasePan(VXEvent(type, event, this));
        }
        break;
    case 3:
    case 4:
        if (type == VX_EVENT_MOVE) {
            if (vars.rubberband)
                vars.rubberband->setGeometry(boxOf(vars.mouse_start, mouse->position()));
        } else if (type == VX_EVENT_RELEASE) {
            releaseBox(VXEvent(type, event, this));
        }
        break;
    case 5:
        if (type == VX_EVENT_MOVE) {
            double xw = 0.0, yw = 0.0;
            if (getWcoords(mouse->position().x(), mouse->position().y(), &xw, &yw, 0, 0, 0) == 0) {
                vars.lonr = xw;
                vars.latr = yw;
            }
            setStale();
            update();
        } else if (type == VX_EVENT_RELEASE) {
            // the grab stays on the viewport until another gesture ends
            vars.qevent_state = 1;
            setDefaultCursor(0);
            setStale();
            update();
        }
        break;
    default:
        // an unknown state falls back to idle
        vars.qevent_state = 1;
        break;
    }
    return 1;
}

void VXViewport::pressIdle(const VXEvent& press, int qt_button)
{
    const int modifiers = press.modifiers;
    if ((qt_button == Qt::LeftButton || qt_button == Qt::RightButton) && modifiers == Qt::ShiftModifier) {
        vars.qevent_state = qt_button == Qt::LeftButton ? 3 : 4;
        vars.mouse_start = press.pt;
        grabEventStream(this);
        if (!vars.rubberband)
            vars.rubberband = new QRubberBand(QRubberBand::Rectangle, this);
        vars.rubberband->setGeometry(QRect(roundPixel(press.pt.x()), roundPixel(press.pt.y()), 1, 1));
        vars.rubberband->show();
        setCursor(Qt::BlankCursor);
        return;
    }
    if (qt_button != Qt::LeftButton)
        return;
    double xw = 0.0, yw = 0.0;
    const bool have_world = getWcoords(press.pt.x(), press.pt.y(), &xw, &yw, 0, 0, 0) == 0;
    if (isPlane(vars.map_tran) && modifiers == Qt::ControlModifier) {
        vars.qevent_state = 5;
        if (have_world) {
            vars.lonr = xw;
            vars.latr = yw;
        }
        grabEventStream(this);
        setCursor(Qt::ClosedHandCursor);
        setStale();
        update();
        return;
    }
    vars.qevent_state = 2;
    vars.mouse_start = press.pt;
    // without a world position the pan measures from the unchanged view
    vars.mouse_start_wc = have_world ? QPointF(xw, yw) : QPointF(vars.lonr, vars.latr);
    grabEventStream(this);
    setCursor(Qt::ClosedHandCursor);
}

void VXViewport::keyIdle(const QString& text)
{
    double factor = 0.0;
    if (text == QLatin1String("+") || text == QLatin1String("i"))
        factor = key_zoom_in;
    else if (text == QLatin1String("-") || text == QLatin1String("o"))
        factor = key_zoom_out;
    else if (text == QLatin1String("I"))
        factor = key_zoom_in_fast;
    else if (text == QLatin1String("O"))
        factor = key_zoom_out_fast;
    else if (text != QLatin1String("c"))
        return;

    const QPointF pos = QPointF(mapFromGlobal(QCursor::pos()));
    double xw = 0.0, yw = 0.0;
    const bool have_world = getWcoords(pos.x(), pos.y(), &xw, &yw, 0, 0, 0) == 0;
    if (factor == 0.0) {
        if (!have_world)
            return;
        center(xw, yw);
        translateAndGain();
        setStale();
        update();
        return;
    }
    if (isPlane(vars.map_tran)) {
        xw = vars.lonr;
        yw = vars.latr;
    } else if (!have_world) {
        return;
    }
    zoom(xw, yw, factor, factor);
}

int VXViewport::planeReference(QPointF pt, double* latr, double* lonr)
{
    double x = 0.0, y = 0.0;
    if (getWcoords(pt.x(), pt.y(), &x, &y, 1, 0, 0) < 0)
        return -1;
    double lat = vars.latr, lon = vars.lonr;
    if (vars.map_tran == VX_MAP_EDP)
        VX_edp2latlonr(vars.mouse_start_wc.y(), vars.mouse_start_wc.x(), x, y, &lat, &lon);
    else
        VX_globe2latlonr(vars.mouse_start_wc.y(), vars.mouse_start_wc.x(), x, y, &lat, &lon);
    if (!std::isfinite(lat) || !std::isfinite(lon))
        return -1;
    *latr = lat;
    *lonr = lon;
    return 0;
}

void VXViewport::panTo(const VXEvent& move)
{
    if (isPlane(vars.map_tran)) {
        double lat, lon;
        if (planeReference(move.pt, &lat, &lon) == 0) {
            vars.latr = lat;
            vars.lonr = lon;
        }
    } else {
        vars.xoffset = roundPixel(vars.mouse_start.x() - move.pt.x());
        vars.yoffset = roundPixel(vars.mouse_start.y() - move.pt.y());
    }
}

void VXViewport::flushPan()
{
    std::unique_ptr<VXEvent> move = std::move(pan_pending);
    vars.mouse_timer_event = 0;
    if (!move || vars.qevent_state != 2)
        return;
    panTo(*move);
    translateAndGain();
    setStale();
    update();
}

void VXViewport::releasePan(const VXEvent& release)
{
    // a move still waiting for its timer is applied first, so that the
    // view ends where the last move put it and no late pan follows
    flushPan();
    if (isPlane(vars.map_tran)) {
        double lat, lon;
        if (planeReference(release.pt, &lat, &lon) == 0) {
            vars.latr = lat;
            vars.lonr = lon;
        }
    } else if (isFlatMap(vars.map_tran)) {
        vars.lonr = 0.5 * (vars.xleft + vars.xright);
        const double mid = 0.5 * (vars.ybottom + vars.ytop);
        vars.latr = vars.map_tran == VX_MAP_MERC ? VX_mercator_lat(mid) : mid;
        vars.xoffset = 0;
        vars.yoffset = 0;
        setScales();
    } else {
        vars.spc_xleft = vars.xleft;
        vars.spc_xright = vars.xright;
        vars.spc_ybottom = vars.ybottom;
        vars.spc_ytop = vars.ytop;
        vars.xoffset = 0;
        vars.yoffset = 0;
    }
    vars.qevent_state = 1;
    ungrabEventStream();
    setDefaultCursor(0);
    setStale();
    update();
}

void VXViewport::releaseBox(const VXEvent& release)
{
    const int state = vars.qevent_state;
    vars.qevent_state = 1;
    if (vars.rubberband)
        vars.rubberband->hide();
    ungrabEventStream();
    setDefaultCursor(0);
    const QRect box = boxOf(vars.mouse_start, release.pt);
    if (box.width() < 5 || box.height() <= 4)
        return;  // too small: a cancelled gesture

    // the corners, and the centre between them
    const double left = box.left(), top = box.top();
    const double right = left + box.width() - 1, bottom = top + box.height() - 1;
    double x1, y1, x2, y2;
    if (isPlane(vars.map_tran)) {
        double xc, yc;
        if (getWcoords(0.5 * (left + right), 0.5 * (top + bottom), &xc, &yc, 0, 0, 0) < 0
            || getWcoords(right, bottom, &x2, &y2, 0, 0, 0) < 0)
            return;
        x1 = xc;
        const double dx = lonDifference(x2 - x1);
        const double range = state == 3 ? dx : vars.range / dx * vars.range;
        vars.lonr = xc;
        vars.latr = yc;
        if (std::isfinite(range) && range > 0.0)
            vars.range = range;
        setScales();
    } else {
        if (getWcoords(left, top, &x1, &y1, 0, 0, 0) < 0 || getWcoords(right, bottom, &x2, &y2, 0, 0, 0) < 0)
            return;
        if (isFlatMap(vars.map_tran)) {
            const double range = state == 3 ? x2 - x1 : vars.range / (x2 - x1) * vars.range;
            if (std::isfinite(range) && range > 0.0)
                vars.range = range;
            vars.lonr = 0.5 * (x1 + x2);
            vars.latr = 0.5 * (y1 + y2);
        } else if (state == 3) {
            vars.spc_xleft = x1;
            vars.spc_ytop = y1;
            vars.spc_xright = x2;
            vars.spc_ybottom = y2;
        } else {
            double e = vars.xright - vars.xleft;
            double f = e / (x2 - x1);
            if (std::isfinite(f)) {
                vars.spc_xleft = vars.xleft - (x1 - vars.xleft) * f;
                vars.spc_xright = vars.spc_xleft + e * f;
            }
            e = vars.ybottom - vars.ytop;
            f = e / (y2 - y1);
            if (std::isfinite(f)) {
                vars.spc_ytop = vars.ytop - (y1 - vars.ytop) * f;
                vars.spc_ybottom = vars.spc_ytop + e * f;
            }
        }
        setScales();
    }
    setStale();
    update();
}

void VXViewport::fireWheel()
{
    std::unique_ptr<VXEvent> wheel = std::move(wheel_pending);
    vars.wheel_timer_event = 0;
    if (!wheel)
        return;
    double factor = 1.0 - 0.01 * wheel->delta;
    if (factor == 1.0 || !std::isfinite(factor))
        return;
    if (factor < wheel_factor_min)
        factor = wheel_factor_min;
    else if (factor > wheel_factor_max)
        factor = wheel_factor_max;
    double xw = 0.0, yw = 0.0;
    if (isPlane(vars.map_tran)) {
        xw = vars.lonr;
        yw = vars.latr;
    } else if (getWcoords(wheel->pt.x(), wheel->pt.y(), &xw, &yw, 0, 0, 0) < 0) {
        return;
    }
    zoom(xw, yw, factor, factor);
}
