// The pointer and the keys on a trace view.
//
// Every viewport event reaches eventCallback() after the items had their
// turn (an arrival glyph that takes an event keeps it from the view).  The
// view runs a small state machine on interaction_mode:
//
//   press        none          shift     control             alt
//   left         pan: left     1 time    5 y band            8 box
//                edge here     band      (edit: 10, deselect)
//                (edit: 10)
//   right        pan: right    2 time    6 y band out        9 box out
//                edge here     band out  (edit: 10, deselect)
//                (edit: 10)
//   middle       3 drag x      7 drag xy 4 drag y
//
// A band (modes 1, 2, 5, 6, 8, 9) follows the pointer from its press and
// is ended by a second press: of the same button to apply it, of the
// middle button without modifiers to cancel it; other presses are ignored.
// The zoom-out bands widen the window by w * w / d about the band's start,
// where w is the window and d the band.  A drag (modes 3, 4, 7) slides the
// cached image of the traces (skip_render) and, on a layer of their own
// while it lasts, the axes; it draws the labels again only for a move in
// y, and pans at the release.  Mode 10 selects the arrivals under a band
// while a button is held.  Modifiers other than shift, control and alt
// are not looked at; a press with more than one of those, or with more
// than one button, does nothing.
#include "waveform/traceview.h"

#include "glyphs/glyph.h"
#include "items/axes.h"
#include "items/polypoint.h"
#include "items/text.h"
#include "toolkit/base/errors.h"
#include "waveform/traceview_image_p.h"
#include "waveform/traceview_interaction_p.h"
#include "toolkit/base/hltime.h"
#include "viewport/viewport.h"
#include "viewport/vxevent.h"
#include "waveform/trace.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int modifier_mask = Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier;
constexpr double no_position = 2e30;

// Pixels kept in a range where int arithmetic is safe (drags far off the widget).
double boundPixel(double v)
{
    return std::isfinite(v) ? std::clamp(v, -1e6, 1e6) : 0.0;
}

QRectF plotRect(const VXViewport* vp)
{
    return QRectF(vp->vars.mleft, vp->vars.mtop, vp->vars.w - vp->vars.mleft - vp->vars.mright,
                  vp->vars.h - vp->vars.mtop - vp->vars.mbottom);
}

bool isBand(int mode)
{
    return mode == 1 || mode == 2 || mode == 5 || mode == 6 || mode == 8 || mode == 9;
}

bool isDrag(int mode)
{
    return mode == 3 || mode == 4 || mode == 7;
}

// The window [lo, lo + w] that widens w by w * w / d about start, keeping
// start at the same fraction of the window; d > 0.
void zoomOut(double lo, double w, double start, double d, double& new_lo, double& new_w)
{
    const double rel = (start - lo) / w;
    new_w = w * w / d;
    new_lo = start - rel * new_w;
}

} // namespace

int VXTraceview::setInteraction(QString word)
{
    if (word != QLatin1String("none") && word != QLatin1String("normal")) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setInteraction: Illegal value '%s'.\n",
                          word.toUtf8().constData());
        return -1;
    }
    if (word == QLatin1String("none")) {
        if (interaction_mode != 12) {
            backToIdle();
            interaction_mode = 12;
        }
    } else if (interaction_mode == 12) {
        interaction_mode = 0;
    }
    vars.interaction = word;
    return 0;
}

void VXTraceview::eventCallback(void* item, VXEvent* event, HL_ClientData)
{
    if (item && event)
        static_cast<VXTraceview*>(item)->processPointerEvent(event);
}

void VXTraceview::processPointerEvent(VXEvent* event)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    const int type = event->type;
    const bool mouse = type == VX_EVENT_PRESS || type == VX_EVENT_MOVE || type == VX_EVENT_RELEASE;
    if (!vp || !(mouse || type == VX_EVENT_KEY_PRESS || type == VX_EVENT_WHEEL))
        return;
    // A key event's position comes from the cursor, which not every window
    // system reports: the last mouse position stands for it when known.
    if (mouse || type == VX_EVENT_WHEEL) {
        pointer_pt = QPointF(boundPixel(event->pt.x()), boundPixel(event->pt.y()));
        pointer_known = 1;
    }
    const QPointF pt = pointer_known ? pointer_pt : event->pt;
    const bool locked = interaction_mode == 12 || vars.interaction == QLatin1String("none");
    if (type == VX_EVENT_MOVE && !locked && !cursor_in_arrival)
        moveGesture(pt);  // first: a drag moves the world under the pointer
    double xw = 0.0, yw = 0.0;
    if (vp->getWcoords(pt.x(), pt.y(), &xw, &yw, 0, 0, 0) == 0) {
        x_crosshairs = xw;
        y_crosshairs = yw;
    } else {
        x_crosshairs = y_crosshairs = no_position;
    }
    if (cursor_in_arrival)
        return;  // the glyph has the event

    if (locked && type == VX_EVENT_KEY_PRESS && x_crosshairs != no_position) {
        processKey(event, pt, xw, yw);  // a lock stops the pointer only
        return;
    }
    if (type == VX_EVENT_MOVE || locked) {
        drawCrosshairs();
        drawCoordinatesStatus();
        return;
    }
    if (x_crosshairs == no_position)
        return;  // no plot to act on
    switch (type) {
    case VX_EVENT_KEY_PRESS: processKey(event, pt, xw, yw); return;
    case VX_EVENT_WHEEL: processWheel(event); return;
    case VX_EVENT_RELEASE:
        if (isDrag(interaction_mode) || interaction_mode == 10)
            releaseDrag(pt);
        return;
    default: break;
    }
    // a press
    if (isBand(interaction_mode)) {
        const int mods = event->modifiers & modifier_mask;
        if (event->button == rubberband_button)
            endRubberBand(xw, yw);
        else if (event->button == Qt::MiddleButton && mods == 0)
            backToIdle();
        return;
    }
    if (interaction_mode == 11) {
        if (event->button == Qt::LeftButton && edit_mode == 1 && plotRect(vp).contains(pt)) {
            int counter = 0;
            pickArrival(xw, yw, counter);
        } else if (event->button != Qt::LeftButton) {
            setAddArrivalsMode(QStringLiteral("off"));
        }
        return;
    }
    if (interaction_mode != 0 || traces_display_list.isEmpty())
        return;  // nothing shown: nothing to act on
    if (pt.x() < vp->vars.mleft && pt.y() >= plotRect(vp).top() && pt.y() <= plotRect(vp).bottom()) {
        // the label area is for selection
        if (VXTrace* trace = getTrace(yw, nullptr))
            pressLabel(event, trace);
        return;
    }
    if (plotRect(vp).contains(pt))
        pressIdle(event, pt, xw, yw);
}

void VXTraceview::pressLabel(VXEvent* event, VXTrace* trace)
{
    const int mods = event->modifiers & modifier_mask;
    if (event->button == Qt::LeftButton && mods == 0) {
        trace->selectTrace(QStringLiteral("toggle"));
    } else if (event->button == Qt::LeftButton && mods == Qt::ShiftModifier) {
        // the range from the last trace selected to this one, in display order
        VXTrace* last = defaults.selection.last_trace_selected;
        const int from = last ? static_cast<int>(traces_display_list.indexOf(last)) : -1;
        const int to = static_cast<int>(traces_display_list.indexOf(trace));
        if (from < 0 || to < 0) {
            trace->selectTrace(QStringLiteral("yes"));
        } else {
            const int step = to >= from ? 1 : -1;
            for (int i = from; i != to + step; i += step)
                traces_display_list.at(i)->selectTrace(QStringLiteral("yes"));
        }
    } else if (event->button == Qt::MiddleButton) {
        for (VXTrace* t : std::as_const(traces))
            if (t != trace && t->select_order > 0)
                t->selectTrace(QStringLiteral("no"));
        trace->selectTrace(QStringLiteral("yes"));
    } else {
        return;
    }
    last_trace_selected = defaults.selection.last_trace_selected;
    refresh(1);
}

void VXTraceview::pressIdle(VXEvent* event, QPointF pt, double xw, double yw)
{
    const int mods = event->modifiers & modifier_mask;
    const int button = event->button;
    const bool edit = edit_mode == 1;
    const bool left = button == Qt::LeftButton, right = button == Qt::RightButton;
    if (button == Qt::MiddleButton) {
        if (mods == 0)
            startGesture(3, event, pt, xw, yw);
        else if (mods == Qt::ShiftModifier)
            startGesture(7, event, pt, xw, yw);
        else if (mods == Qt::ControlModifier)
            startGesture(4, event, pt, xw, yw);
        return;
    }
    if (!left && !right)
        return;
    if (mods == 0) {
        if (edit) {
            rubberband_select = 1;
            startGesture(10, event, pt, xw, yw);
        } else if (tright > tleft) {
            // a click brings its time to the left edge (right button: the right edge)
            panX(xw - (left ? tleft : tright));
        }
    } else if (mods == Qt::ShiftModifier) {
        startGesture(left ? 1 : 2, event, pt, xw, yw);
    } else if (mods == Qt::ControlModifier) {
        if (edit) {
            rubberband_select = 0;
            startGesture(10, event, pt, xw, yw);
        } else {
            startGesture(left ? 5 : 6, event, pt, xw, yw);
        }
    } else if (mods == Qt::AltModifier) {
        startGesture(left ? 8 : 9, event, pt, xw, yw);
    }
}

void VXTraceview::startGesture(int mode, VXEvent* event, QPointF pt, double xw, double yw)
{
    VXViewport* vp = getViewportParent();
    if ((isDrag(mode) && (!(tright > tleft) || image.isNull())) || !vp)
        return;  // nothing drawn yet to slide
    interaction_mode = mode;
    rubberband_button = event->button;
    rubberband_pt = pt;
    rubberband_xstart = xw;
    rubberband_ystart = yw;
    rubberband_xleft = tleft;
    rubberband_ybottom = vp->vars.ybottom;
    rubberband_ytop = vp->vars.ytop;
    // the items get nothing until the gesture ends
    vp->grabEventStream(this);
    if (isDrag(mode)) {
        ybottom_view_hold = vp->vars.ybottom;
        ytop_view_hold = vp->vars.ytop;
        vp->setCursor(Qt::ClosedHandCursor);
        skip_render = 1;  // the image stands; the layers change hands
        setSliding(true);
        vp->update();
        return;
    }
    if (!rubberband)
        rubberband = new QRubberBand(QRubberBand::Rectangle, vp);
    vp->setCursor(Qt::CrossCursor);
    showRubberBand(pt);
    rubberband->show();
}

// The band from its start to pt, inside the plot: the plot's height for a
// time band, its width for a y band.
void VXTraceview::showRubberBand(QPointF pt)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !rubberband)
        return;
    const QRectF plot = plotRect(vp);
    const double x = std::clamp(pt.x(), plot.left(), plot.right());
    const double y = std::clamp(pt.y(), plot.top(), plot.bottom());
    QRectF box(QPointF(std::min(x, rubberband_pt.x()), std::min(y, rubberband_pt.y())),
               QPointF(std::max(x, rubberband_pt.x()), std::max(y, rubberband_pt.y())));
    if (interaction_mode == 1 || interaction_mode == 2) {
        box.setTop(plot.top());
        box.setBottom(plot.bottom());
    } else if (interaction_mode == 5 || interaction_mode == 6) {
        box.setLeft(plot.left());
        box.setRight(plot.right());
    }
    rubberband->setGeometry(box.toAlignedRect());
}

void VXTraceview::moveGesture(QPointF pt)
{
    VXViewport* vp = getViewportParent();
    if (!vp)
        return;
    if (isBand(interaction_mode)) {
        showRubberBand(pt);
        return;
    }
    if (interaction_mode == 10) {
        showRubberBand(pt);
        selectArrivalsInBand(pt);
        return;
    }
    if (!isDrag(interaction_mode))
        return;
    const QRectF plot = plotRect(vp);
    if (plot.width() < 1.0 || plot.height() < 1.0)
        return;
    // the image slides; no column is made until the release
    const int mode = interaction_mode;
    if (mode == 3 || mode == 7) {
        const int dx = static_cast<int>(std::lround(pt.x() - rubberband_pt.x()));
        const double seconds_per_pixel = (tright - tleft) / plot.width();
        image_xshift = dx;
        // The world moves under the pointer (the crosshairs and the status
        // line read it) while the layers keep their pictures: setWcoordsX()
        // would invalidate every layer, and the slid ones show the new
        // window as they are.
        vp->vars.spc_xleft = tleft - dx * seconds_per_pixel;
        vp->vars.spc_xright = tright - dx * seconds_per_pixel;
        vp->translateAndGain();
    }
    if (mode == 4 || mode == 7) {
        const double height = ytop_view_hold - ybottom_view_hold;
        const double y_per_pixel = height / plot.height();
        if (!(y_per_pixel > 0.0))
            return;
        const int dy = static_cast<int>(std::lround(pt.y() - rubberband_pt.y()));
        // dragging down brings the traces above into view; not past the ends
        const double ytop = std::clamp(ytop_view_hold + dy * y_per_pixel, std::min(height, 1.0), 1.0);
        setScroll(ytop, ytop - height, 1);
        image_yshift = static_cast<int>(std::lround((vp->vars.ytop - ytop_view_hold) / y_per_pixel));
    }
    // The image item copies the image at its new shift and slides the axes'
    // layer with it; the labels follow only a move in y.
    skip_render = 1;
    if (mode == 4 || mode == 7)
        setItemStale();
    vp->update();
}

void VXTraceview::releaseDrag(QPointF pt)
{
    VXViewport* vp = getViewportParent();
    const int mode = interaction_mode;
    if (mode == 10) {
        showRubberBand(pt);
        selectArrivalsInBand(pt);
        backToIdle();
        return;
    }
    moveGesture(pt);
    const int dx = image_xshift, dy = image_yshift;
    const double seconds_per_pixel = vp ? (tright - tleft) / std::max(1.0, plotRect(vp).width()) : 0.0;
    backToIdle();
    if (!vp)
        return;
    if (dy != 0)
        panY(vp->vars.ytop);  // the window the drag left; now laid out afresh
    if (dx != 0) {
        panX(-dx * seconds_per_pixel);
    } else if (vp->vars.xleft != tleft || vp->vars.xright != tright) {
        vp->setWcoordsX(tleft, tright);
    }
    refresh(0);
}

void VXTraceview::endRubberBand(double xw, double yw)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    const int mode = interaction_mode;
    backToIdle();
    if (!vp)
        return;
    // what is applied is what the band showed: inside the plot
    xw = std::clamp(xw, std::min(vp->vars.xleft, vp->vars.xright), std::max(vp->vars.xleft, vp->vars.xright));
    yw = std::clamp(yw, std::min(vp->vars.ybottom, vp->vars.ytop), std::max(vp->vars.ybottom, vp->vars.ytop));
    const bool in_x = mode == 1 || mode == 2 || mode == 8 || mode == 9;
    const bool in_y = mode == 5 || mode == 6 || mode == 8 || mode == 9;
    const bool out = mode == 2 || mode == 6 || mode == 9;
    double x0 = rubberband_xstart, dx = xw - rubberband_xstart;
    double y0 = rubberband_ystart, dy = yw - rubberband_ystart;
    if ((in_x && dx == 0.0) || (in_y && dy == 0.0))
        return;  // an empty band changes nothing
    if (dx < 0.0) {
        x0 = xw;
        dx = -dx;
    }
    if (dy < 0.0) {
        y0 = yw;
        dy = -dy;
    }
    if (in_y) {
        double b = y0, h = dy;
        if (out)
            zoomOut(vp->vars.ybottom, vp->vars.ytop - vp->vars.ybottom, y0, dy, b, h);
        zoomY2(b, b + h);
    }
    if (in_x) {
        double l = x0, w = dx;
        if (out)
            zoomOut(tleft, tright - tleft, x0, dx, l, w);
        setTimeWindow(l, w);
    }
}

void VXTraceview::selectArrivalsInBand(QPointF pt)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    if (!vp)
        return;
    double x0, y0, x1, y1;
    if (vp->getWcoords(rubberband_pt.x(), rubberband_pt.y(), &x0, &y0, 0, 0, 0) < 0
        || vp->getWcoords(pt.x(), pt.y(), &x1, &y1, 0, 0, 0) < 0)
        return;
    const QRectF box = QRectF(QPointF(x0, y0), QPointF(x1, y1)).normalized();
    const QString answer = rubberband_select ? QStringLiteral("yes") : QStringLiteral("no");
    QList<long> inside;
    for (auto it = arrivals_hash.cbegin(); it != arrivals_hash.cend(); ++it)
        for (const VxTraceArrival& a : it.value())
            if (a.point.x >= box.left() && a.point.x <= box.right() && a.point.y >= box.top()
                && a.point.y <= box.bottom()) {
                inside.append(it.key());
                break;
            }
    for (long arid : std::as_const(inside))
        setSelectedArrival(arid, answer);
    if (!inside.isEmpty()) {
        setItemStale();
        vp->update();
    }
}

void VXTraceview::setSliding(bool on)
{
    if (!image_item || !axes)
        return;
    // Joining moves a layer's entry behind the item: the image item rejoins
    // first, so that the layer again follows the axes, the last of the three.
    const QString layer = getLayerName();
    image_item->setLayer(on ? QString() : layer);
    axes->setLayer(on ? QStringLiteral("traceview_axes") : layer);
    axes->setItemStale();  // a layer just joined holds nothing of them yet
    setItemStale();        // the view's layer gains or loses them
}

void VXTraceview::backToIdle()
{
    VXViewport* vp = getViewportParent();
    const bool dragged = skip_render || image_xshift || image_yshift;
    if (isDrag(interaction_mode))
        setSliding(false);
    if (interaction_mode != 11 && interaction_mode != 12)
        interaction_mode = 0;
    skip_render = 0;
    image_xshift = image_yshift = 0;
    rubberband_button = 0;
    if (rubberband)
        rubberband->hide();
    if (!vp)
        return;
    if (vp->vars.item_grab == static_cast<VXViewportItem*>(this))
        vp->ungrabEventStream();
    vp->setDefaultCursor(0);
    if (dragged) {
        setItemStale();
        vp->update();
    }
}

void VXTraceview::processKey(VXEvent* event, QPointF pt, double xw, double yw)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    if (interaction_mode != 0 && interaction_mode < 11)
        return;  // not in the middle of a gesture
    QString command;
    VXEvent at_pointer = *event;
    at_pointer.pt = pt;
    if (process_hotkeys && process_hotkeys(&at_pointer, command) == 1) {
        // a hot key sends no client message; the view's own setting stays
        const int saved = nofeedback;
        QString output;
        sendCommand(command, &output, 0, 1);
        nofeedback = saved;
        return;
    }
    const int mods = event->modifiers & modifier_mask;
    if (event->key == QLatin1String("r") && mods == Qt::ShiftModifier) {
        refresh(1);  // "R"
    } else if (event->key == QLatin1String("a") && mods == 0 && edit_mode == 1 && !vars.disable_edits
               && interaction_mode != 12 && vars.interaction != QLatin1String("none")) {
        int counter = 0;
        pickArrival(xw, yw, counter);
    }
}

// An arrival at the pointer's time on the trace under it, through the
// trace's editing (one new entry of the undo queue).  Its failure goes to
// the arrival status line.
int VXTraceview::pickArrival(double xw, double yw, int& queue_counter)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    VXTrace* trace = getTrace(yw, nullptr);
    if (!vp || !trace || xw < std::min(vp->vars.xleft, vp->vars.xright)
        || xw > std::max(vp->vars.xleft, vp->vars.xright))
        return 0;
    // the trace is drawn shifted by toffset: its own time is that much later
    const double time = xw + trace->toffset;
    if (trace->addArrival(time, queue_counter) >= 0) {
        refresh(0);
        return 1;
    }
    // the key has no caller to answer: the reason goes to the status line
    const QString text = QString::asprintf("VXTraceview::pickArrival: Unable to add an arrival at %.6f on '%s'.",
                                           time, trace->channel_label.toUtf8().constData());
    if (arrival_text && vars.show_arrival_status) {
        arrival_text->configure("text", text.toUtf8().constData(), nullptr);
        arrival_text->showItem();
        vp->update();
    }
    return -1;
}

void VXTraceview::processWheel(VXEvent* event)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    if (!vars.use_wheel || !vp || interaction_mode != 0)
        return;
    const QRectF plot = plotRect(vp);
    if (plot.width() < 1.0 || plot.height() < 1.0)
        return;
    const double width = tright - tleft, height = vp->vars.ytop - vp->vars.ybottom;
    // each capped at one whole window either way
    const double dx = std::isfinite(event->deltax) ? std::clamp(event->deltax * width / plot.width(), -width, width)
                                                   : 0.0;
    const double dy = std::isfinite(event->delta) ? std::clamp(event->delta * height / plot.height(), -height, height)
                                                  : 0.0;
    if (dx != 0.0 && width > 0.0)
        panX(-dx);
    if (dy != 0.0 && height > 0.0)
        panY(vp->vars.ytop + dy);
    drawCrosshairs();
    drawCoordinatesStatus();
}

void VXTraceview::drawCrosshairs()
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    if (!vp || !crosshairs1 || !crosshairs2)
        return;
    const bool inside = x_crosshairs != no_position && x_crosshairs >= std::min(vp->vars.xleft, vp->vars.xright)
                        && x_crosshairs <= std::max(vp->vars.xleft, vp->vars.xright)
                        && y_crosshairs >= std::min(vp->vars.ybottom, vp->vars.ytop)
                        && y_crosshairs <= std::max(vp->vars.ybottom, vp->vars.ytop);
    const bool was_shown = crosshairs1->isShown();
    if (!vars.show_crosshairs || !inside) {
        if (!was_shown)
            return;
        crosshairs1->hideItem();
        crosshairs2->hideItem();
    } else {
        for (VXPolypoint* c : {crosshairs1, crosshairs2}) {
            // once the cross exists it is only moved: rebuilding it from
            // "points" text at every pointer move would cost more than a paint
            if (c->count() == 1) {
                c->glyph(0)->setPosition(x_crosshairs, y_crosshairs);
            } else {
                const QByteArray points = QString::asprintf("%f %f", x_crosshairs, y_crosshairs).toUtf8();
                c->configure("points", points.constData(), nullptr);
            }
            c->showItem();
        }
    }
    // the crosshairs have a layer of their own: the traces are not redrawn
    crosshairs1->setItemStale();
    vp->update();
}

void VXTraceview::drawCoordinatesStatus()
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    if (!vp || !coordinates_text)
        return;
    if (!vars.show_coordinates_status || x_crosshairs == no_position) {
        if (coordinates_text->isShown()) {
            coordinates_text->hideItem();
            vp->update();
        }
        return;
    }
    char* t = timeformat(x_crosshairs, "%Y%j:%T");
    QString text = QString::fromUtf8(t ? t : "");
    free(t);
    if (VXTrace* trace = getTrace(y_crosshairs, nullptr)) {
        const double amp = trace->viewport2Amp(y_crosshairs);
        const QString units = trace->units.isEmpty() ? vars.units : trace->units;
        const double scale = trace->units.isEmpty() ? vars.units_scale : trace->units_scale;
        text += QLatin1Char(' ') + trace->channel_label
                + QString::asprintf(", %.1f counts, %.7g %s", amp, amp * scale, units.toUtf8().constData());
    }
    const VxTraceviewDisplayMode& mode =
        edit_mode == 1 ? display_parameters.edit_display : display_parameters.main_display;
    const VX_Color& fill = mode.color_coordinates_status.color.isValid()
                               ? mode.color_coordinates_status
                               : display_parameters.main_display.color_coordinates_status;
    coordinates_text->configure("text", text.toUtf8().constData(), "color_background",
                                fill.color_name.toUtf8().constData(), nullptr);
    if (arrival_text && arrival_text->isShown())
        arrival_text->hideItem();  // the two share their place
    coordinates_text->showItem();
    vp->update();
}

void VXTraceview::drawArrivalStatus(long arid)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    if (!vp || !arrival_text)
        return;
    const QList<VxTraceArrival> shown = arrivals_hash.value(arid);
    if (!vars.show_arrival_status || arid < 0 || shown.isEmpty()) {
        if (arrival_text->isShown()) {
            arrival_text->hideItem();
            vp->update();
        }
        return;
    }
    const VxTraceArrival& a = shown.first();
    arrival_text->configure("text", a.status_msg.toUtf8().constData(), nullptr);
    if (a.status_text.color.isValid())
        arrival_text->configure("color_text", a.status_text.color_name.toUtf8().constData(), nullptr);
    if (a.status_fill.color.isValid())
        arrival_text->configure("color_background", a.status_fill.color_name.toUtf8().constData(), nullptr);
    if (coordinates_text && coordinates_text->isShown())
        coordinates_text->hideItem();
    arrival_text->showItem();
    vp->update();
}
