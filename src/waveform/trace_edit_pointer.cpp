// Editing arrivals with the pointer: the glyph callback of a trace's
// arrivals point set, the arrival menus, and dragging times and deltimes.
//
// Buttons.  Outside edit mode a press on an arrival opens the menu of its
// button.  In edit mode the left button drags the arrival's time and the
// middle button its deltime (the uncertainty bar); the right button keeps
// its menu.  When the pointed arrival is selected, every selected arrival
// moves with it and the group is one step of the undo queue.  Holding
// Shift when the button is let go abandons the drag: nothing is written.
// A drag writes only at its release.
#include "waveform/trace.h"

#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"
#include "items/polypoint.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"
#include "viewport/vxevent.h"
#include "waveform/tracearrival.h"
#include "waveform/traceview.h"

#include <QCursor>
#include <QMenu>

#include <cmath>

namespace {

constexpr double kNoValue = -2e30;
constexpr int kShift = 0x2000000;  // Qt::ShiftModifier
const char* const kEditMark = "{o=#ff0000 l=#ff0000}";  // an arrival being dragged

// World coordinates of the event's pointer, or false without a viewport.
bool pointerWorld(VXViewport* vp, const VXEvent* event, double* x, double* y)
{
    return vp && vp->getWcoords(event->pt.x(), event->pt.y(), x, y, 0, 0, 0) >= 0;
}

void modifyPoint(VxTraceArrival& a, const char* key, const QByteArray& value)
{
    if (a.trace && a.trace->arrivals && a.index >= 0)
        a.trace->arrivals->configure(key, value.constData(), nullptr);
}

}  // namespace

bool VXTrace::arrivalOfGlyph(VXGlyph* glyph, VxTraceArrival& arrival)
{
    if (!glyph || !traceview || !arrivals || glyph->vars.glyphs != arrivals->vars.points)
        return false;
    const int index = glyph->getIndex();
    for (auto it = traceview->arrivals_hash.cbegin(); it != traceview->arrivals_hash.cend(); ++it)
        for (const VxTraceArrival& a : it.value())
            if (a.trace == this && a.index == index) {
                arrival = a;
                return true;
            }
    return false;
}

int VXTrace::arrivalCallbackAction(long arid, std::function<void(VxTraceArrival&)> action)
{
    if (!traceview)
        return 0;
    auto it = traceview->arrivals_hash.find(arid);
    if (it == traceview->arrivals_hash.end())
        return 0;
    int n = 0;
    for (VxTraceArrival& a : it.value()) {
        action(a);
        n++;
    }
    return n;
}

int VXTrace::arrivalsCallback(VXGlyph* glyph, VXEvent* event)
{
    if (!traceview || !event)
        return 1;
    VXTraceview* tv = traceview;
    // a drag in progress takes every event until its release
    if (tv->arrivals_state == 2 && tv->drag_trace == this)
        return arrivalTimeEditInteraction(glyph, event);
    if (tv->arrivals_state == 6 && tv->drag_trace == this)
        return arrivalDeltimeEditInteraction(glyph, event);
    if (tv->interaction_mode == 11 && tv->edit_mode == 1)
        return 1;  // adding arrivals: the view's pointer handling takes it
    if (event->type != VX_EVENT_PRESS)
        return 1;
    if (tv->edit_mode == 1 && !tv->vars.disable_edits) {
        if (event->button == 1)
            return arrivalTimeEditInteraction(glyph, event);
        if (event->button == 4)
            return arrivalDeltimeEditInteraction(glyph, event);
    }
    return arrivalEditInteraction(glyph, event);
}

int VXTrace::arrivalEditInteraction(VXGlyph* glyph, VXEvent* event)
{
    VxTraceArrival a;
    if (!event || event->type != VX_EVENT_PRESS || !arrivalOfGlyph(glyph, a))
        return 1;
    const char* key = event->button == 1 ? "left" : event->button == 4 ? "middle" : event->button == 2 ? "right"
                                                                                                       : nullptr;
    if (!key)
        return 1;
    const QList<VxTraceArrivalMenuItem> items = traceview->arrivals_menus.value(QString::fromLatin1(key));
    if (items.isEmpty())
        return 1;
    QMenu menu;
    VXTraceview* tv = traceview;
    for (const VxTraceArrivalMenuItem& item : items) {
        const QString command = item.command;
        QObject::connect(menu.addAction(item.label), &QAction::triggered, &menu, [tv, command]() {
            QString output;
            tv->sendCommand(command, &output, 0, -1);
        });
    }
    // the commands of the menu act on the pointed arrival as if selected
    if (!tv->arrivalIsSelected(a.arid))
        tv->temp_selection_arid = a.arid;
    menu.exec(event->gpt.toPoint());
    tv->temp_selection_arid = -1;
    return 2;
}

// Start a drag of glyph's arrival: the group, the marks and the grab.
static bool beginDrag(VXTrace* trace, VXGlyph* glyph, VXEvent* event, int state, VxTraceArrival& a)
{
    VXTraceview* tv = trace->traceview;
    if (!trace->arrivalOfGlyph(glyph, a))
        return false;
    tv->arrivals_state = state;
    tv->drag_arid = a.arid;
    tv->drag_trace = trace;
    tv->drag_x0 = a.point.x;
    tv->drag_deltime = std::max(0.0, a.deltime);
    const QList<long> selected = tv->getSelectedArrivals();
    tv->drag_group = selected.contains(a.arid) ? selected : QList<long>{a.arid};
    for (long arid : tv->drag_group)
        trace->arrivalCallbackAction(arid, [](VxTraceArrival& x) {
            modifyPoint(x, "modify_point_gc", QByteArray::number(x.index) + ' ' + kEditMark);
        });
    Q_UNUSED(event);
    return true;
}

// End a drag: the grab and the marks go; with Shift held nothing is written.
static bool endDrag(VXTrace* trace, VXEvent* event)
{
    VXTraceview* tv = trace->traceview;
    tv->arrivals_state = 1;
    if (VXViewport* vp = tv->getViewportParent())
        vp->ungrabEventStream();
    tv->drag_trace = nullptr;
    if (event->modifiers & kShift) {
        for (long arid : tv->drag_group)
            trace->arrivalCallbackAction(arid, [](VxTraceArrival& x) {
                modifyPoint(x, "modify_point_xy", QByteArray::number(x.index) + ' ' + QByteArray::number(x.point.x, 'f', 6) +
                                                      ' ' + QByteArray::number(x.point.y, 'f', 6));
            });
        tv->drag_group.clear();
        tv->refresh(0);
        return false;
    }
    return true;
}

int VXTrace::arrivalTimeEditInteraction(VXGlyph* glyph, VXEvent* event)
{
    VXTraceview* tv = traceview;
    if (!tv || !event)
        return 1;
    VXViewport* vp = tv->getViewportParent();
    double xw = 0.0, yw = 0.0;
    if (!pointerWorld(vp, event, &xw, &yw))
        return 1;
    switch (event->type) {
    case VX_EVENT_PRESS: {
        VxTraceArrival a;
        if (!beginDrag(this, glyph, event, 2, a))
            return 1;
        arrivals_xoffset = a.point.x - xw;
        vp->grabEventStream(glyph);
        return 2;
    }
    case VX_EVENT_MOVE:
        return tv->arrivals_state == 2 ? moveArrivals(glyph, event) : 1;
    case VX_EVENT_RELEASE: {
        if (tv->arrivals_state != 2)
            return 1;
        const QList<long> group = tv->drag_group;
        if (!endDrag(this, event))
            return 2;
        const double dt = xw + arrivals_xoffset - tv->drag_x0;
        int queue_counter = 0;
        for (long arid : group) {
            VXTrace* t = nullptr;
            for (const VxTraceArrival& a : tv->arrivals_hash.value(arid))
                if (a.trace && tv->traces.contains(a.trace) && a.trace->editSource()) {
                    t = a.trace;
                    break;
                }
            if (!t || t->shiftArrival(arid, dt, kNoValue, QString(), queue_counter) < 0) {
                hl_register_error(0, "VXTrace::arrivalTimeEditInteraction: editArrival(%ld) error.\n", arid);
                hl_clear_register(HL_CLEAR_PRINT);  // no caller reads the register of a pointer event
                break;
            }
        }
        tv->drag_group.clear();
        tv->refresh(0);
        return 2;
    }
    default:
        return 1;
    }
}

int VXTrace::moveArrivals(VXGlyph*, VXEvent* event)
{
    VXTraceview* tv = traceview;
    double xw = 0.0, yw = 0.0;
    if (!tv || !event || !pointerWorld(tv->getViewportParent(), event, &xw, &yw))
        return 1;
    const double dt = xw + arrivals_xoffset - tv->drag_x0;
    for (long arid : tv->drag_group)
        arrivalCallbackAction(arid, [dt](VxTraceArrival& a) {
            modifyPoint(a, "modify_point_x", QByteArray::number(a.index) + ' ' + QByteArray::number(a.point.x + dt, 'f', 6));
        });
    if (VXViewport* v = tv->getViewportParent())
        v->update();
    return 2;
}

int VXTrace::arrivalDeltimeEditInteraction(VXGlyph* glyph, VXEvent* event)
{
    VXTraceview* tv = traceview;
    if (!tv || !event)
        return 1;
    VXViewport* vp = tv->getViewportParent();
    double xw = 0.0, yw = 0.0;
    if (!pointerWorld(vp, event, &xw, &yw))
        return 1;
    switch (event->type) {
    case VX_EVENT_PRESS: {
        VxTraceArrival a;
        if (!beginDrag(this, glyph, event, 6, a))
            return 1;
        // the pointer jumps to the end of the bar, where the drag takes it on
        double px = 0.0, py = 0.0;
        if (vp->getPcoords(a.point.x + 0.5 * tv->drag_deltime, a.point.y, &px, &py, 0, 0) >= 0 && vp->isVisible())
            QCursor::setPos(vp->mapToGlobal(QPoint(qRound(px), qRound(event->pt.y()))));
        vp->grabEventStream(glyph);
        return 2;
    }
    case VX_EVENT_MOVE: {
        if (tv->arrivals_state != 6)
            return 1;
        tv->drag_deltime = std::max(0.0, 2.0 * std::fabs(xw - tv->drag_x0));
        // the bar: a horizontal line as wide as the deltime, on the glyph
        double p0 = 0.0, p1 = 0.0, py = 0.0;
        if (deltimes && vp->getPcoords(tv->drag_x0, 0.0, &p0, &py, 0, 0) >= 0 &&
            vp->getPcoords(tv->drag_x0 + tv->drag_deltime, 0.0, &p1, &py, 0, 0) >= 0) {
            double gx = 0.0, gy = 0.0;
            if (glyph)
                glyph->getPosition(&gx, &gy);
            deltimes->clearPoints();
            VX_XYL point;
            point.x = tv->drag_x0;
            point.y = gy;
            point.label = QStringLiteral("{sz=%1}").arg(std::max(1.0, std::fabs(p1 - p0)), 0, 'f', 1);
            deltimes->addPoints({point});
            deltimes->showItem();
        }
        vp->update();
        return 2;
    }
    case VX_EVENT_RELEASE: {
        if (tv->arrivals_state != 6)
            return 1;
        if (deltimes)
            deltimes->hideItem();
        const QList<long> group = tv->drag_group;
        if (!endDrag(this, event))
            return 2;
        int queue_counter = 0;
        for (long arid : group) {
            VXTrace* t = nullptr;
            for (const VxTraceArrival& a : tv->arrivals_hash.value(arid))
                if (a.trace && tv->traces.contains(a.trace) && a.trace->editSource()) {
                    t = a.trace;
                    break;
                }
            if (!t || t->editArrival(arid, kNoValue, tv->drag_deltime, QString(), queue_counter) < 0) {
                hl_register_error(0, "VXTrace::arrivalDeltimeEditInteraction: editArrival(%ld) error.\n", arid);
                hl_clear_register(HL_CLEAR_PRINT);
                break;
            }
        }
        tv->drag_group.clear();
        tv->refresh(0);
        return 2;
    }
    default:
        return 1;
    }
}
