// The paint cycle: one walk of the display list per paint event, the
// background fills, invalidation, the resize path and the callback lists.
#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "viewport/layer.h"
#include "viewport/logo.h"
#include "viewport/viewport.h"

#include <QPainter>
#include <QResizeEvent>

#include <cstdio>
#include <cstdlib>

namespace {

// Name of the embedded splash picture the viewport's logo shows.
const char* const logo_name = "vxplot_logo";

// Guard against an item list that keeps reordering itself: no paint walks
// more than this many steps per listed item.
constexpr qsizetype max_steps_per_item = 4;

} // namespace

void VXViewport::makeLogo()
{
    try {
        VXLogo* logo = new VXLogo(this, QString::fromLatin1(logo_name));
        logo->configure("opacity", "0.5", nullptr);
        vars.logo = logo;
    } catch (...) {
        // nothing throws across the event loop: the viewport goes without
        hl_clear_register(1);
        vars.make_logo = 0;
    }
}

void VXViewport::paintEvent(QPaintEvent* /*event*/)
{
    last_update_time = timenow();
    if (vars.debug > 0) {
        char* s = timestring(last_update_time);
        printf("VXViewport::paintEvent: %s\n", s ? s : "");
        free(s);
    }
    setScales();
    if (vars.make_logo && !vars.logo && height() > 50 && width() > 100)
        makeLogo();

    qsizetype steps = 0;
    for (qsizetype i = 0; i < vars.display_list.size(); i++) {
        if (++steps > max_steps_per_item * (vars.display_list.size() + 1))
            break;
        VXViewportItem* item = vars.display_list[i];
        item->setVisibility();
        if (!item->item_display_pvt || !item->item_process_pvt)
            continue;
        // the logo stays on top of whatever was added after it
        if (vars.logo && item == static_cast<VXViewportItem*>(vars.logo) && i != vars.display_list.size() - 1) {
            moveItemToTop(item);
            i--;
            continue;
        }
        QString lname;
        QPainter* painter = item->getPainter(&lname);
        if (!painter)
            continue;
        int used = item->drawViewportItem(painter);
        delete painter;
        if (used && vars.debug > 0) {
            QString names;
            item->showNames(&names, nullptr);
            printf("Drawing %s", names.toUtf8().constData());
            if (item == static_cast<VXViewportItem*>(this))
                printf(" %lx", reinterpret_cast<unsigned long>(vars.parent));
            printf(" %dx%d", width(), height());
            if (lname.isEmpty())
                printf("\n");
            else
                printf(" to %s\n", lname.toUtf8().constData());
        }
    }
    if (vars.debug > 0) {
        printf("Drawing done\n");
        fflush(stdout);
    }
    for (VxViewportPaintCallback& cb : vars.paint_callbacks)
        if (cb.stale != 9)
            cb.stale = 10;
    paintCallback();
}

int VXViewport::drawViewportItem(QPainter* painter)
{
    if (!painter)
        return 0;
    const double opacity = vars.opacity > 1.0 ? 1.0 : vars.opacity;
    if (vars.background_frame.color.isValid() && opacity > 0.0) {
        painter->setOpacity(opacity);
        painter->fillRect(0, 0, vars.w, vars.h, vars.background_frame.color);
    }
    const long long pw = static_cast<long long>(vars.w) - vars.mleft - vars.mright;
    const long long ph = static_cast<long long>(vars.h) - vars.mbottom - vars.mtop;
    if (pw < 1 || ph < 1)
        return 1;
    if (vars.background.color.isValid() && opacity > 0.0) {
        painter->setOpacity(opacity);
        painter->fillRect(vars.mleft, vars.mtop, static_cast<int>(pw), static_cast<int>(ph), vars.background.color);
    }
    return 1;
}

void VXViewport::setStale()
{
    for (qsizetype i = 0; i < vars.display_list.size(); i++)
        if (VXLayer* layer = vars.display_list[i]->getLayer())
            layer->setStale();
}

void VXViewport::setPaintCallback(VxViewportPaintCallbackProc callback, void* item, HL_ClientData client_data)
{
    VxViewportPaintCallback record;
    record.callback_proc = std::move(callback);
    record.item = item;
    record.client_data = client_data;
    record.stale = 0;
    vars.paint_callbacks.append(record);
}

void VXViewport::removePaintCallback(VxViewportPaintCallbackProc callback)
{
    typedef void (*Plain)(void*, int, QResizeEvent*, void*);
    auto same = [&callback](const VxViewportPaintCallback& record) {
        const VxViewportPaintCallbackProc& f = record.callback_proc;
        if (!f || !callback || f.target_type() != callback.target_type())
            return false;
        // plain functions compare by address; other callables by their type
        const Plain* a = f.target<Plain>();
        const Plain* b = callback.target<Plain>();
        if (a && b)
            return *a == *b;
        return true;
    };
    vars.paint_callbacks.removeIf(same);
}

void VXViewport::setResizeCallback(VxViewportResizeCallbackProc callback, void* item, HL_ClientData client_data)
{
    VxViewportResizeCallback record;
    record.callback_proc = std::move(callback);
    record.item = item;
    record.client_data = client_data;
    vars.resize_callbacks.append(record);
}

void VXViewport::setEventCallback(VxViewportEventCallbackProc callback, void* item, HL_ClientData client_data)
{
    VxViewportEventCallback record;
    record.callback_proc = std::move(callback);
    record.item = item;
    record.client_data = client_data;
    vars.event_callbacks.append(record);
}

void VXViewport::paintCallback()
{
    // a callback that changes the list is not supported; index against the
    // present size so that it cannot run off the end either
    for (qsizetype i = 0; i < vars.paint_callbacks.size(); i++) {
        VxViewportPaintCallback record = vars.paint_callbacks[i];
        if (!record.callback_proc || !record.stale)
            continue;
        if (!vars.resize_event)
            vars.resize_event = new QResizeEvent(size(), size());
        record.callback_proc(record.item, record.stale, vars.resize_event, record.client_data);
        delete vars.resize_event;
        vars.resize_event = nullptr;
    }
    for (VxViewportPaintCallback& record : vars.paint_callbacks)
        record.stale = 0;
}

void VXViewport::resizeCallback()
{
    const QList<VxViewportResizeCallback> list = vars.resize_callbacks;
    for (const VxViewportResizeCallback& record : list)
        if (record.callback_proc)
            record.callback_proc(record.item, vars.resize_event, record.client_data);
}

void VXViewport::resizeEvent(QResizeEvent* event)
{
    if (!event || event->size() == event->oldSize())
        return;
    delete vars.resize_event;
    vars.resize_event = new QResizeEvent(event->size(), event->oldSize());
    resizeCallback();
    for (VxViewportPaintCallback& record : vars.paint_callbacks)
        record.stale = 9;
    setStale();
}

QRectF VXViewport::boundingRect() const
{
    return QRectF(0.0, 0.0, width(), height());
}
