// VXTraceview: the time and y windows, layout, limits, the scroll bar and
// painting.
#include "waveform/traceview.h"

#include "items/axes.h"
#include "items/polypoint.h"
#include "toolkit/base/hltime.h"
#include "toolkit/base/errors.h"
#include "viewport/layer.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview_image_p.h"

#include <QPainter>
#include <QResizeEvent>
#include <QScrollBar>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

constexpr double no_time = -2e30;

// Plot width and height in pixels; false when there is no plot area.
bool plotSize(VXViewport* vp, int& w, int& h)
{
    w = vp->vars.w - vp->vars.mleft - vp->vars.mright;
    h = vp->vars.h - vp->vars.mtop - vp->vars.mbottom;
    return w >= 1 && h >= 1;
}

} // namespace

// --- time window

int VXTraceview::setTimeWindow(double tleft_, double twin)
{
    if (tleft_ == no_time)
        tleft_ = tstart_sources != no_time ? tstart_sources : 0.0;
    if (twin == no_time)
        twin = tright - tleft;
    if (twin == 0.0 || !std::isfinite(twin) || !std::isfinite(tleft_)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setTimeWindow: a window of zero width.\n");
        return -1;
    }
    if (twin < 0.0) {
        tleft = tleft_ + twin;
        tright = tleft_;
        twin = -twin;
    } else {
        tleft = tleft_;
        tright = tleft_ + twin;
    }
    if (VXViewport* vp = getViewportParent())
        vp->setWcoordsX(tleft, tright);
    callback(QStringLiteral("type timespan_change\ntime_start %1\ntime_window %2\n")
                 .arg(tleft, 0, 'f', 6)
                 .arg(twin, 0, 'f', 6));
    refresh(0);
    return 0;
}

void VXTraceview::timeWindow(double& tleft_, double& twin)
{
    tleft_ = tleft;
    twin = tright - tleft;
}

int VXTraceview::panX(double dt)
{
    if (!std::isfinite(dt)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::panX: bad shift %g.\n", dt);
        return -1;
    }
    return setTimeWindow(tleft + dt, tright - tleft);
}

int VXTraceview::zoomX(double tref, double factor)
{
    if (!(factor > 0.0) || !std::isfinite(factor)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::zoomX: bad zoom factor %g.\n", factor);
        return -1;
    }
    const double width = tright - tleft;
    if (tref == no_time)
        tref = tleft + 0.5 * width;
    const double rel = width != 0.0 ? (tref - tleft) / width : 0.5;
    const double w = width / factor;
    return setTimeWindow(tref - rel * w, w);
}

void VXTraceview::resizeCallback(QResizeEvent* event)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !event)
        return;
    const int mx = vp->vars.mleft + vp->vars.mright, my = vp->vars.mtop + vp->vars.mbottom;
    const int old_w = event->oldSize().width() - mx, old_h = event->oldSize().height() - my;
    const int new_w = event->size().width() - mx, new_h = event->size().height() - my;
    if (scrollbar)
        scrollbar->setGeometry(0, vp->vars.mtop, 20, std::max(1, new_h));
    setScroll(vp->vars.ytop, vp->vars.ybottom, 0);
    resize_xfactor = old_w > 0 ? static_cast<double>(new_w) / old_w : 1.0;
    resize_yfactor = old_h > 0 ? static_cast<double>(new_h) / old_h : 1.0;
    vp->setScales();
    if (resize_xfactor != 1.0) {
        // the viewport decides (preserve_xscale) whether the window keeps its
        // width or its seconds per pixel; the view follows it
        if (vp->vars.xright > vp->vars.xleft) {
            tleft = vp->vars.xleft;
            tright = vp->vars.xright;
        }
        for (VXTrace* t : std::as_const(traces))
            t->force = 1;
    }
}

// --- y window

void VXTraceview::setScroll(double ytop, double ybottom, int coords_set)
{
    VXViewport* vp = getViewportParent();
    if (coords_set) {
        double height = std::min(1.0, std::max(0.0, ytop - ybottom));
        ytop = std::min(1.0, std::max(height, ytop));
        ybottom = ytop - height;
        if (vp)
            vp->setWcoordsY(ybottom, ytop);
    }
    if (!scrollbar)
        return;
    const int value = static_cast<int>(std::lround(10000.0 * (1.0 - ytop)));
    const int step = std::max(1, static_cast<int>(std::lround(10000.0 * (ytop - ybottom))));
    if (step < 10000) {
        const QSignalBlocker block(scrollbar);
        scrollbar->setRange(0, 10000 - step);
        scrollbar->setPageStep(step);
        scrollbar->setValue(std::min(value, 10000 - step));
        if (vp)
            scrollbar->setGeometry(0, vp->vars.mtop, 20,
                                   std::max(1, vp->vars.h - vp->vars.mtop - vp->vars.mbottom));
        scrollbar->show();
    } else {
        scrollbar->hide();
    }
}

int VXTraceview::panY(double ytop)
{
    VXViewport* vp = getViewportParent();
    if (!vp)
        return -1;
    const double height = vp->vars.ytop - vp->vars.ybottom;
    setScroll(ytop, ytop - height, 1);
    refresh(0);
    return 0;
}

int VXTraceview::zoomY(double yref, double factor)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !(factor > 0.0) || !std::isfinite(factor)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::zoomY: bad zoom factor %g.\n", factor);
        return -1;
    }
    const double ybottom = vp->vars.ybottom, height = vp->vars.ytop - vp->vars.ybottom;
    if (yref < 0.0)
        yref = vp->vars.ytop;
    const double rel = height > 0.0 ? (yref - ybottom) / height : 0.0;
    const double h = std::min(1.0, height / factor);
    const double b = yref - rel * h;
    setScroll(b + h, b, 1);
    refresh(0);
    return 0;
}

int VXTraceview::panY(VXTrace* trace)
{
    if (!trace || !traces_display_list.contains(trace)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::panY: the trace is not displayed.\n");
        return -1;
    }
    return panY(trace->vars.ytop);
}

int VXTraceview::panY(int index)
{
    if (index < 0 || index >= traces_display_list.size()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::panY: trace index %d does not exist.\n", index);
        return -1;
    }
    return panY(traces_display_list.at(index)->vars.ytop);
}

int VXTraceview::zoomY(VXTrace* top, VXTrace* bottom)
{
    if (!top || !bottom || !traces_display_list.contains(top) || !traces_display_list.contains(bottom)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::zoomY: the traces are not displayed.\n");
        return -1;
    }
    const double ytop = std::max(top->vars.ytop, bottom->vars.ytop);
    const double ybottom = std::min(top->vars.ybottom, bottom->vars.ybottom);
    return zoomY2(ybottom, ytop);
}

int VXTraceview::zoomY(int top, int bottom)
{
    const int n = static_cast<int>(traces_display_list.size());
    for (int i : {top, bottom})
        if (i < 0 || i >= n) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::zoomY: trace index %d does not exist.\n", i);
            return -1;
        }
    return zoomY(traces_display_list.at(top), traces_display_list.at(bottom));
}

int VXTraceview::setAmpView(double ybottom_view, double ytop_view)
{
    if (!(ytop_view > ybottom_view) || ytop_view <= 0.0 || ybottom_view >= 1.0)
        return 0;  // wholly outside the traces: ignored
    ybottom_view_hold = std::max(0.0, ybottom_view);
    ytop_view_hold = std::min(1.0, ytop_view);
    setScroll(ytop_view_hold, ybottom_view_hold, 1);
    refresh(0);
    return 0;
}

int VXTraceview::zoomY2(double ybottom, double ytop)
{
    if (!(ytop > ybottom)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::zoomY2: empty window %g to %g.\n", ybottom, ytop);
        return -1;
    }
    setScroll(ytop, ybottom, 1);
    refresh(0);
    return 0;
}

int VXTraceview::autoTracesFit()
{
    return vars.auto_traces_fit ? zoomY(-1.0, 1e-6) : 0;
}

VXTrace* VXTraceview::getTrace(double y, int* index)
{
    for (int i = 0; i < traces_display_list.size(); i++) {
        VXTrace* t = traces_display_list.at(i);
        if (y >= t->vars.ybottom && y <= t->vars.ytop) {
            if (index)
                *index = i;
            return t;
        }
    }
    if (index)
        *index = -1;
    return nullptr;
}

// --- layout

int VXTraceview::layoutTraces()
{
    traces_display_list.clear();
    makeTracesSorttab();
    double total = 0.0;
    int count = 0;
    QList<VXTrace*> shown;
    for (int i : std::as_const(traces_sorttab)) {
        VXTrace* t = traces.at(i);
        t->setToffset();
        t->getArrivals();
        t->getDetections();
        if (t->getVisibility() && t->vars.stretch_height > 0.0) {
            total += t->vars.stretch_height;
            count++;
            shown.append(t);
        }
    }
    defaults.selection.display_list.clear();
    if (total <= 0.0 || count == 0)
        return 0;
    double y = 1.0;
    minimum_height = 0.0;
    for (VXTrace* t : std::as_const(shown)) {
        const double height = t->vars.stretch_height / total;
        minimum_height = minimum_height == 0.0 ? height : std::min(minimum_height, height);
        t->setAmpScale(t->vars.ampscale_mode, y - height, y, t->vars.abottom, t->vars.atop);
        y -= height;
        traces_display_list.append(t);
    }
    defaults.selection.display_list = traces_display_list;
    return setDisplayScales();
}

int VXTraceview::setDisplayScales()
{
    VXViewport* vp = getViewportParent();
    if (!vp)
        return 0;
    const double h = vp->vars.h - vp->vars.mtop - vp->vars.mbottom;
    const double n = static_cast<double>(traces_display_list.size());
    if (h < 1.0 || n < 1.0)
        return 0;
    double ybottom = vp->vars.ybottom, ytop = vp->vars.ytop;
    double ywin = ytop - ybottom;
    bool changed = false;
    auto pushBack = [&]() {
        if (ybottom < 0.0) {
            ytop -= ybottom;
            ybottom = 0.0;
        }
        if (ytop > 1.0) {
            ybottom -= ytop - 1.0;
            ytop = 1.0;
        }
    };
    if (vars.min_pixels_traces > 0 && vars.min_pixels_traces > h)
        return 0;
    if (vars.min_pixels_traces > 0 && h / (ywin * n) < vars.min_pixels_traces) {
        ywin = std::min(1.0, h / (n * vars.min_pixels_traces));
        ybottom = ytop - ywin;
        pushBack();
        changed = true;
    }
    if (vars.max_traces > 0) {
        const double y = vars.max_traces / n;
        if (ytop - ybottom > y) {
            ybottom = ytop - y;
            pushBack();
            changed = true;
        }
    }
    if (changed)
        setScroll(ytop, ybottom, 1);
    return 1;
}

// --- painting

int VXTraceview::drawViewportItem(QPainter* p)
{
    VXViewport* vp = getViewportParent();
    if (!vp || tright == tleft || vp->vars.ytop == vp->vars.ybottom || !p)
        return 0;
    if (!image_item) {
        // a view without its image item (no init()) paints everything itself
        painter = p;
        int r = 0;
        if (skip_render && !image.isNull())
            r = draw();
        else if (renderImage(p))
            r = draw();
        painter = nullptr;
        return r;
    }
    // the image item, right under the view, has laid the traces out and
    // shown their image in this paint
    if (!image_shown && !(skip_render && !image.isNull()))
        return 0;
    int w, h;
    if (!plotSize(vp, w, h))
        return 0;
    painter = p;
    pthread_mutex_lock(&mutex_traces);
    for (VXTrace* t : std::as_const(traces_display_list))
        t->drawLabel(painter);
    pthread_mutex_unlock(&mutex_traces);
    drawTimeNow(h);
    if (skip_render < 0)
        skip_render = 0;
    painter = nullptr;
    return 1;
}

int VXTraceview::renderImage(QPainter* p)
{
    VXViewport* vp = getViewportParent();
    image_shown = 0;
    int w, h;
    if (!vp || !p || !plotSize(vp, w, h) || w < 10)
        return 0;
    if (vars.xpixel_factor > 1.0)
        w = static_cast<int>(std::trunc(vars.xpixel_factor)) * w;
    npixels = w;
    dtperpixel = (tright - tleft) / npixels;
    syncDefaults();
    applyDisplayMode();
    defaults.tleft = tleft;
    defaults.dtperpixel = dtperpixel;
    defaults.npixels = npixels;
    defaults.tbuffer = tbuffer;
    realtimePainted();  // real-time channels wait for the first grid
    QPainter* const held = painter;
    painter = p;
    pthread_mutex_lock(&mutex_traces);
    if (layoutTraces()) {
        paintImage();
        image_shown = 1;
    }
    pthread_mutex_unlock(&mutex_traces);
    painter = held;
    return image_shown;
}

void VXTraceview::paintImage()
{
    VXViewport* vp = getViewportParent();
    int w, h;
    if (!vp || !painter || !plotSize(vp, w, h))
        return;
    int ratio = VXLayer::getRatio();
    if (ratio <= 0)
        ratio = std::max(1, static_cast<int>(painter->device() ? painter->device()->devicePixelRatio() : 1));
    const VxTraceviewDisplayMode mode = displayMode();
    const QColor background = mode.color_background.color.isValid() ? mode.color_background.color : QColor(Qt::white);
    // On an opaque background the image needs no alpha: an opaque image
    // is copied to the plot rather than blended, which is most of what
    // a repaint from the cached image costs.
    const QImage::Format format =
        background.alpha() == 255 ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied;
    if (image.isNull() || image_w != w || image_h != h || image.devicePixelRatio() != ratio
        || image.format() != format) {
        image = QImage(w * ratio, h * ratio, format);
        image.setDevicePixelRatio(ratio);
        image_w = w;
        image_h = h;
    }
    image.fill(background);
    QPainter ip(&image);
    ip.setRenderHint(QPainter::Antialiasing, vars.antialias != 0);
    // the traces draw in widget pixels of the plot; the image starts at its corner
    ip.translate(-vp->vars.mleft, -vp->vars.mtop);
    for (VXTrace* t : std::as_const(traces_display_list)) {
        QList<double> end_points;
        pthread_mutex_lock(&t->tide_mutex);
        t->takeFilter();
        const QPainterPath path = t->makePath(end_points, t->force);
        t->force = 0;
        pthread_mutex_unlock(&t->tide_mutex);
        if (path.isEmpty())
            continue;
        t->drawTraceBackground(&ip, end_points);
        t->drawPath(&ip, path);
    }
    ip.end();
    drawOverlays();
}

void VXTraceview::blitImage(QPainter* p)
{
    VXViewport* vp = getViewportParent();
    int w, h;
    if (!vp || !p || image.isNull() || !plotSize(vp, w, h))
        return;
    p->save();
    p->setClipRect(QRect(vp->vars.mleft, vp->vars.mtop, w, h));
    p->drawImage(QPointF(vp->vars.mleft + image_xshift, vp->vars.mtop + image_yshift), image);
    p->restore();
}

int VXTraceview::draw()
{
    VXViewport* vp = getViewportParent();
    int w, h;
    if (!vp || !painter || !plotSize(vp, w, h))
        return 0;
    if (!(skip_render && !image.isNull()))
        paintImage();
    blitImage(painter);
    for (VXTrace* t : std::as_const(traces_display_list))
        t->drawLabel(painter);
    drawTimeNow(h);
    if (skip_render < 0)
        skip_render = 0;
    return 1;
}

// --- the image item

VXTraceviewImage::VXTraceviewImage(VXTraceview* view_)
    : VXViewportItem(view_->getViewportParent(), nullptr, QStringLiteral("VXTraceviewImage"), 1), view(view_)
{
    item_name = view->item_name;
    antialias = false;
    if (VXViewport* vp = getViewportParent())
        vp->moveItemAfter(view, this);
}

void VXTraceviewImage::setVisibility()
{
    item_display_pvt = view->item_display_pvt;
    item_process_pvt = view->item_process_pvt;
    VXLayer* layer = view->getLayer();
    if (layer && layer->visibility == 0)
        item_display_pvt = 0;
    slideAxes();
}

bool VXTraceviewImage::viewDrawn()
{
    VXLayer* layer = view->getLayer();
    VXViewport* vp = getViewportParent();
    return !layer || !vp || layer->membersDrawn(vp->width(), vp->height());
}

void VXTraceviewImage::slideAxes()
{
    VXViewport* vp = getViewportParent();
    VXLayer* layer = view->axes ? view->axes->getLayer() : nullptr;
    if (!vp || !layer || layer == view->getLayer())
        return;  // at rest the axes are drawn in the view's layer
    // axes drawn in this paint show the window as it is now
    if (layer->membersDrawn(vp->width(), vp->height()))
        view->axes_xshift_drawn = view->image_xshift;
    // the time lines slide within the plot, the times below it
    const VxViewport& v = vp->vars;
    const QRegion clip = QRegion(v.mleft, v.mtop, std::max(0, v.w - v.mleft - v.mright),
                                 std::max(0, v.h - v.mtop - v.mbottom))
                         + QRegion(0, v.h - v.mbottom, v.w, std::max(0, v.mbottom));
    layer->setShiftClip(clip);
    layer->setShift(view->image_xshift - view->axes_xshift_drawn, 0);
}

int VXTraceviewImage::drawViewportItem(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!painter || !vp || view->tright == view->tleft || vp->vars.ytop == vp->vars.ybottom)
        return 0;
    const bool cached = view->skip_render && !view->image.isNull();
    if (!cached && viewDrawn())
        view->renderImage(painter);
    if (!cached && !view->image_shown)
        return 0;
    view->blitImage(painter);
    return 1;
}

VxTraceviewDisplayMode VXTraceview::displayMode() const
{
    const VxTraceviewDisplayMode& main = display_parameters.main_display;
    if (edit_mode != 1)
        return main;
    VxTraceviewDisplayMode m = display_parameters.edit_display;
    for (VX_Color VxTraceviewDisplayMode::*c :
         {&VxTraceviewDisplayMode::color_background, &VxTraceviewDisplayMode::color_traces_background,
          &VxTraceviewDisplayMode::color_foreground, &VxTraceviewDisplayMode::color_time_grids,
          &VxTraceviewDisplayMode::color_trace_label, &VxTraceviewDisplayMode::color_trace_selected_background,
          &VxTraceviewDisplayMode::color_trace_amp_label, &VxTraceviewDisplayMode::color_trace_filter_label,
          &VxTraceviewDisplayMode::color_trace_select_background,
          &VxTraceviewDisplayMode::color_trace_select_order_label, &VxTraceviewDisplayMode::color_coordinates_status,
          &VxTraceviewDisplayMode::color_origin_status, &VxTraceviewDisplayMode::color_preferred_origin_status})
        if (!(m.*c).color.isValid())
            m.*c = main.*c;
    for (VX_Font VxTraceviewDisplayMode::*f :
         {&VxTraceviewDisplayMode::font_trace_label, &VxTraceviewDisplayMode::font_trace_amp_label,
          &VxTraceviewDisplayMode::font_trace_filter_label, &VxTraceviewDisplayMode::font_trace_select_order_label})
        if ((m.*f).invalid)
            m.*f = main.*f;
    return m;
}

void VXTraceview::applyDisplayMode()
{
    const VxTraceviewDisplayMode m = displayMode();
    defaults.color_foreground = m.color_foreground;
    // in the edit display a trace has no band behind its data unless it
    // has a colour of its own (the trace knows by edit_mode)
    defaults.color_traces_background = m.color_traces_background;
    defaults.color_trace_label = m.color_trace_label;
    defaults.color_trace_amp_label = m.color_trace_amp_label;
    defaults.color_trace_filter_label = m.color_trace_filter_label;
    defaults.color_trace_select_background = m.color_trace_select_background;
    defaults.color_trace_select_order_label = m.color_trace_select_order_label;
    defaults.font_trace_label = m.font_trace_label;
    defaults.font_trace_amp_label = m.font_trace_amp_label;
    defaults.font_trace_filter_label = m.font_trace_filter_label;
    defaults.font_trace_select_order_label = m.font_trace_select_order_label;
    defaults.linewidth = m.linewidth;
    defaults.edit_mode = edit_mode;
}

void VXTraceview::drawTimeNow(int plot_height)
{
    if (!now_time || !vars.color_time_now.color.isValid()) {
        if (now_time && now_time->isShown())
            now_time->hideItem();
        return;
    }
    VXViewport* vp = getViewportParent();
    const double ymid = 0.5 * (vp->vars.ybottom + vp->vars.ytop);
    const QByteArray points = QByteArray::number(timenow(), 'f', 6) + ' ' + QByteArray::number(ymid, 'g', 17);
    const QByteArray size = QByteArray::number(plot_height);
    now_time->configure("points", points.constData(), "size", size.constData(), "color_outline",
                        vars.color_time_now.color_name.toUtf8().constData(), nullptr);
    hl_clear_register(HL_CLEAR_QUIET);
    now_time->showItem();
}

void VXTraceview::refresh(int wfdiscs)
{
    if (batch)
        return;
    if (wfdiscs)
        for (VXTrace* t : std::as_const(traces))
            t->force = 1;
    skip_render = 0;
    setItemStale();
    if (VXViewport* vp = getViewportParent()) {
        vp->setStale();
        vp->update();
    }
}

void VXTraceview::refreshPost(int wfdiscs)
{
    VXViewport* vp = getViewportParent();
    if (!vp)
        return;
    std::shared_ptr<VXTraceview*> guard = self_guard;
    QTimer::singleShot(0, vp, [guard, wfdiscs]() {
        if (*guard)
            (*guard)->refresh(wfdiscs);
    });
}
