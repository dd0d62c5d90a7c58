// VXTrace: arrivals, detections and predicted phases drawn over a trace.
//
// Rows are fetched at every layout (getArrivals, getDetections: the view's
// hide_noarrivals and hide_nodetections need the counts) and turned into
// glyphs at every full paint (drawArrivals and the rest), so the point sets
// always show the database as it was at the last paint.
//
// A glyph sits at x = time - toffset (the trace's alignment shift) and at
// the middle of the trace's band; its size is the band's height in pixels,
// so a vertical line spans the band.
#include "waveform/trace.h"

#include "items/polypoint.h"
#include "toolkit/base/errors.h"
#include "toolkit/geo/traveltime.h"
#include "toolkit/params/kv.h"
#include "toolkit/store/recordstore.h"
#include "viewport/viewport.h"
#include "waveform/traceview.h"
#include "waveform/traceviewqkclient.h"

#include <QAction>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// Font size of labels for a trace of height pixels: the height less 6,
// kept within 6 to 12.
int labelFontSize(int height)
{
    return std::clamp(height - 6, 6, 12);
}

QByteArray fontText(int height)
{
    return QByteArray("Helvetica,") + QByteArray::number(labelFontSize(height));
}

QByteArray number1(double v)
{
    return QByteArray::number(v, 'f', 1);
}

// A colour's text for a configure call; unset gives "" (no line, no fill).
QByteArray colorText(const VX_Color& c)
{
    return c.color.isValid() ? c.color_name.toUtf8() : QByteArray();
}

// The event client of a type 1 or type 2 source, or null.
VXTraceviewQKClient* sourceClient(const VxPixelatorSource* source)
{
    if (!source)
        return nullptr;
    if (source->type == 1)
        return source->ev.qkclient;
    if (source->type == 2)
        return source->tide.qkclient;
    return nullptr;
}

// Replace the points of item by points (labels with attributes), quietly:
// a point that does not parse is a fault of ours, logged and dropped.
void setPoints(VXPolypoint* item, const QList<VX_XYL>& points)
{
    item->clearPoints();
    if (!points.isEmpty() && item->addPoints(points) < 0)
        hl_clear_register(1);
}

} // namespace

// --- the point sets

void VXTrace::setupOverlays()
{
    struct Setup
    {
        VXPolypoint* item;
        const char* symbol;
        const char* shape_label_anchor;
        const char* label_anchor;
    };
    const Setup setups[] = {
        {detections, "vertical_line", "ne", "nw"},
        {predicted_arrivals, "vertical_line", "ne", "nw"},
        {residuals, "horizontal_line", "n", nullptr},
        {deltimes, "horizontal_line", "nw", nullptr},
        {arrivals, "vertical_line", "ne", "nw"},
    };
    for (const Setup& s : setups) {
        s.item->setGlyphsAutoCursor(0);
        s.item->configure("symbol", s.symbol, "font", "Helvetica,10", "color_text", "0.0,1.0,0.7", "interaction",
                          "none", "shape_label_anchor", s.shape_label_anchor, nullptr);
        if (s.label_anchor)
            s.item->configure("label_anchor", s.label_anchor, nullptr);
        s.item->hideItem();
    }
    deltimes->configure("color_fill", "#a0a0a0ff", nullptr);
    // the arrivals see the pointer (a glyph under it is selected, for the
    // status line and the menus) but neither grow nor fade the others
    arrivals->configure("selection_opacity_reduction_factor", "1.0", nullptr);
    arrivals->vars.interaction_mode = 2;
    arrivals->setGlyphs();
    hl_clear_register(HL_CLEAR_QUIET);
    // the crosshairs stay on top of the glyphs
    VXViewport* vp = defaults ? defaults->viewport : nullptr;
    if (vp && traceview) {
        for (VXPolypoint* c : {traceview->crosshairs1, traceview->crosshairs2})
            if (c)
                vp->moveItemToTop(c);
    }
}

void VXTrace::hideOverlays()
{
    for (VXPolypoint* item : {arrivals, detections, predicted_arrivals, residuals, deltimes})
        if (item->isShown()) {
            item->hideItem();
            item->setItemStale();
        }
    arrival_list.clear();
}

int VXTrace::heightPixels()
{
    double ab, at, yb, yt, ybp, ytp;
    if (getAmpScales(ab, at, yb, yt, ybp, ytp) < 0)
        return 0;
    return static_cast<int>(std::trunc(ybp - ytp + 1.0));
}

// --- fetching

namespace {

// The window of times shown on a trace shifted by toffset; false when the
// view has no grid yet.
bool fetchWindow(const VxTraceviewDefaults* d, double toffset, double& t0, double& t1)
{
    if (!d || d->npixels < 1 || !(d->dtperpixel > 0.0))
        return false;
    t0 = d->tleft + toffset;
    t1 = d->tleft + d->dtperpixel * d->npixels + toffset;
    return true;
}

} // namespace

void VXTrace::getArrivals()
{
    narrivals = 0;
    source_arrivals.clear();
    for (int i = 0; i < sources.size(); i++) {
        source_arrivals.append(Table<QKArrival>());
        if (sources.at(i)->type == 1)
            getArrivalsQk(i);
        else if (sources.at(i)->type == 2)
            getArrivalsTIDE(i);
    }
}

void VXTrace::getArrivalsQk(int source_index)
{
    VXTraceviewQKClient* client = sourceClient(sources.value(source_index));
    double t0, t1;
    if (!client || source_index >= source_arrivals.size() || !fetchWindow(defaults, toffset, t0, t1))
        return;
    const QByteArray s = sta.toUtf8(), c = chan.toUtf8();
    Table<QKArrival> table = client->getArrivals(s.constData(), c.constData(), t0, t1);
    // a database without arrivals is no fault of the display
    hl_clear_register(HL_CLEAR_QUIET);
    narrivals += static_cast<int>(table.max());
    source_arrivals[source_index] = table;
}

void VXTrace::getArrivalsTIDE(int source_index)
{
    // a real-time source reads its picks from the database beside its feed
    getArrivalsQk(source_index);
}

void VXTrace::getDetections()
{
    ndetections = 0;
    source_detections.clear();
    for (int i = 0; i < sources.size(); i++) {
        source_detections.append(Table<QKTableRecord>());
        if (sources.at(i)->type == 1)
            getDetectionsQk(i);
        else if (sources.at(i)->type == 2)
            getDetectionsTIDE(i);
    }
}

void VXTrace::getDetectionsQk(int source_index)
{
    VXTraceviewQKClient* client = sourceClient(sources.value(source_index));
    double t0, t1;
    if (!client || source_index >= source_detections.size() || !fetchWindow(defaults, toffset, t0, t1))
        return;
    const QByteArray s = sta.toUtf8(), c = chan.toUtf8();
    Table<QKTableRecord> table = client->getDetections(s.constData(), c.constData(), t0, t1);
    hl_clear_register(HL_CLEAR_QUIET);
    ndetections += static_cast<int>(table.max());
    source_detections[source_index] = table;
}

void VXTrace::getDetectionsTIDE(int source_index)
{
    getDetectionsQk(source_index);
}

// --- arrivals

bool VXTrace::isAridInArrivalsList(long arid) const
{
    for (const VxTraceArrival& a : arrival_list)
        if (a.arid == arid)
            return true;
    return false;
}

int VXTrace::drawArrivals()
{
    arrival_list.clear();
    arrivals->clearPoints();
    arrivals->hideItem();
    arrivals->setItemStale();
    int ret = 0;
    if (traceview && vars.visible) {
        makeArrivalsMenus();
        const int show = vars.show_arrivals >= 0 ? vars.show_arrivals : traceview->vars.show_arrivals;
        if (show)
            for (int i = 0; i < sources.size() && i < source_arrivals.size(); i++)
                if (VXTraceviewQKClient* client = sourceClient(sources.at(i)))
                    if (drawArrivalsQk(client, source_arrivals.at(i)) < 0)
                        ret = -1;
    }
    deltimes->hideItem();
    residuals->hideItem();
    return ret;
}

int VXTrace::drawArrivalsQk(VXTraceviewQKClient* client, const Table<QKArrival>& table)
{
    if (!client || !traceview)
        return 0;
    VXTraceview* tv = traceview;
    const VxTraceviewArrivalLook& look = tv->arrivalLook();
    const double ymid = 0.5 * (vars.ybottom + vars.ytop);
    int ret = 0;
    for (long i = 0; i < table.max(); i++) {
        QKArrival record = table.get(i);
        if (isAridInArrivalsList(record.arid))
            continue;
        Rsptr row;
        char iphase[RS_STRSZ] = "";
        long arid = -1;
        double time = 0.0, deltim = -1.0;
        if (client->getRsptr(&record, &row) < 0 ||
            rsgetv(row, nullptr, "iphase", iphase, "arid", &arid, "time", &time, "deltim", &deltim, nullptr) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::drawArrivalsQk: Cannot read arrival %ld.\n", record.arid);
            ret = -1;
            continue;
        }
        const int show = tv->getArrivalShow(iphase);
        if (show < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::drawArrivalsQk: getArrivalShow() error.\n");
            return -1;
        }
        if (!show)
            continue;
        VxTraceArrival a;
        a.trace = this;
        a.arrival = record;
        a.arid = arid;
        a.time = time;
        a.deltime = deltim;
        // a status line that cannot be made leaves the line empty, not the pick unseen
        if (tv->parseArrivalStatusMsg(client, row, look.status_format, look.status_arguments, a.status_msg) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::drawArrivalsQk: parseArrivalStatusMsg() error.\n");
            a.status_msg.clear();
            ret = -1;
        }
        VX_Color outline, text, fill;
        double linewidth = 1.0;
        a.order = tv->getArrivalColors(record, record.link_to_any_assoc, outline, text, fill, linewidth);
        a.status_text = text;
        a.status_fill = fill;
        double residual = kVxNoResidual;
        if (tv->getArrivalResidual(arid, residual) == 1)
            a.residual = residual;
        a.selected = tv->arrivalIsSelected(arid) ? 1 : 0;
        a.in_clipboard = tv->arrivalIsInClipboard(arid) ? 1 : 0;
        a.gc = QString::asprintf("{o=%s l=%s ft=%s ol=%s lw=%.1f}", colorText(outline).constData(),
                                 colorText(text).constData(), colorText(fill).constData(),
                                 colorText(outline).constData(), linewidth);
        a.point.x = time - toffset;
        a.point.y = ymid;
        a.point.label = QString::fromUtf8(iphase) + QLatin1Char(' ') + a.gc;
        arrival_list.append(a);
    }
    // important classes last, so that they are drawn on top
    std::stable_sort(arrival_list.begin(), arrival_list.end(),
                     [](const VxTraceArrival& x, const VxTraceArrival& y) { return x.order < y.order; });

    // the view's tables: this trace's entries again, in their new places
    for (const VxTraceArrival& a : std::as_const(arrival_list)) {
        auto it = tv->arrivals_hash.find(a.arid);
        if (it != tv->arrivals_hash.end())
            it.value().removeIf([this](const VxTraceArrival& x) { return x.trace == this; });
    }
    QList<VX_XYL> points;
    for (int i = 0; i < arrival_list.size(); i++) {
        VxTraceArrival& a = arrival_list[i];
        a.index = i;
        QList<VxTraceArrival>& entry = tv->arrivals_hash[a.arid];
        a.index_arrivals_hash = static_cast<int>(entry.size());
        entry.append(a);
        tv->arrival_coords.insert(a.arid, QPointF(a.point.x, a.point.y));
        points.append(a.point);
    }

    const int height = heightPixels();
    arrivals->configure("size", QByteArray::number(height).constData(), "font", fontText(height).constData(),
                        nullptr);
    setPoints(arrivals, points);
    // selected picks take the look of the selection class
    const VxArrivalGlyph selected = look.glyphs.value(QStringLiteral("arrival_selected"),
                                                      tv->arrival_looks[1].glyphs.value(QStringLiteral("arrival_selected")));
    const QString selected_gc =
        QString::asprintf("{o=%s l=%s ft=%s ol=%s lw=%.1f}", colorText(selected.color_outline).constData(),
                          colorText(selected.color_text).constData(), colorText(selected.color_fill).constData(),
                          colorText(selected.color_outline).constData(), selected.linewidth);
    for (VxTraceArrival& a : arrival_list)
        if (a.selected && tv->edit_mode != 1 && modifyArrivalPoint(a, selected_gc) < 0)
            hl_clear_register(1);
    hl_clear_register(HL_CLEAR_QUIET);
    if (!arrival_list.isEmpty())
        arrivals->showItem();
    arrivals->setItemStale();
    return ret;
}

int VXTrace::modifyArrivalPoint(VxTraceArrival& arrival, QString gc)
{
    const QByteArray text = QByteArray::number(arrival.index) + ' ' + gc.toUtf8();
    if (arrivals->configure("modify_point_gc", text.constData(), nullptr) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::modifyArrivalPoint: modify_point_gc(%s) error.\n",
                          text.constData());
        return -1;
    }
    arrival.gc = gc;
    return 0;
}

// --- residuals and deltimes

namespace {

// Pixels per second of the view's time axis; 0 without one.
double pixelsPerSecond(VXTrace* trace)
{
    VXViewport* vp = trace->defaults ? trace->defaults->viewport : nullptr;
    if (!vp || !(vp->vars.xright > vp->vars.xleft))
        return 0.0;
    const double w = vp->vars.w - vp->vars.mleft - vp->vars.mright;
    return w > 0.0 ? w / (vp->vars.xright - vp->vars.xleft) : 0.0;
}

} // namespace

void VXTrace::makeResidualPoint(VxTraceArrival& a)
{
    a.point_residual.x = a.time - toffset - 0.5 * a.residual;
    a.point_residual.y = a.point.y;
    a.point_residual.label =
        QString::asprintf("%.3f {sz=%.1f}", a.residual, std::fabs(a.residual) * pixelsPerSecond(this));
}

void VXTrace::moveResidualPoint(VxTraceArrival& a)
{
    if (a.index_residual < 0)
        return;
    const QByteArray text = QByteArray::number(a.index_residual) + ' ' +
                            QByteArray::number(a.point_residual.x, 'f', 6) + ' ' +
                            QByteArray::number(a.point_residual.y, 'g', 17);
    if (residuals->configure("modify_point_xy", text.constData(), nullptr) < 0)
        hl_clear_register(1);
}

int VXTrace::drawResiduals()
{
    residuals->clearPoints();
    residuals->hideItem();
    residuals->setItemStale();
    if (!traceview || traceview->edit_mode != 1)
        return 0;
    const int show = vars.show_residuals >= 0 ? vars.show_residuals : traceview->vars.show_residuals;
    if (!show)
        return 0;
    QList<VX_XYL> points;
    for (VxTraceArrival& a : arrival_list) {
        if (a.residual == kVxNoResidual)
            continue;
        makeResidualPoint(a);
        a.index_residual = static_cast<int>(points.size());
        points.append(a.point_residual);
    }
    if (points.isEmpty())
        return 0;
    const VxArrivalGlyph g = traceview->arrivalLook().glyphs.value(QStringLiteral("arrival_residual"));
    const int height = heightPixels();
    residuals->configure("color_outline", colorText(g.color_outline).constData(), "color_text",
                         colorText(g.color_text).constData(), "color_fill", colorText(g.color_fill).constData(),
                         "linewidth", number1(g.linewidth).constData(), "font", fontText(height).constData(),
                         nullptr);
    setPoints(residuals, points);
    hl_clear_register(HL_CLEAR_QUIET);
    residuals->showItem();
    return 0;
}

void VXTrace::makeDeltimePoint(VxTraceArrival& a)
{
    const double d = std::max(0.0, a.deltime);
    a.point_deltime.x = a.time - toffset;
    a.point_deltime.y = a.point.y;
    // a bar a quarter of the band high, so that the pick's line shows through
    a.linewidth_deltime = std::max(3.0, 0.25 * heightPixels());
    a.point_deltime.label = QString::asprintf("{sz=%.1f lw=%.1f}", 2.0 * d * pixelsPerSecond(this),
                                              a.linewidth_deltime);
}

void VXTrace::modifyDeltimePoint(VxTraceArrival& a)
{
    if (a.index_deltime < 0)
        return;
    makeDeltimePoint(a);
    const QByteArray text = QByteArray::number(a.index_deltime) + ' ' + a.point_deltime.label.toUtf8();
    if (deltimes->configure("modify_point_gc", text.constData(), nullptr) < 0)
        hl_clear_register(1);
    deltimes->setItemStale();
}

void VXTrace::moveDeltimePoint(VxTraceArrival& a)
{
    if (a.index_deltime < 0)
        return;
    const QByteArray text = QByteArray::number(a.index_deltime) + ' ' + QByteArray::number(a.point_deltime.x, 'f', 6) +
                            ' ' + QByteArray::number(a.point_deltime.y, 'g', 17);
    if (deltimes->configure("modify_point_xy", text.constData(), nullptr) < 0)
        hl_clear_register(1);
    deltimes->setItemStale();
}

int VXTrace::drawDeltimes(long arid)
{
    deltimes->clearPoints();
    deltimes->hideItem();
    deltimes->setItemStale();
    if (!traceview)
        return 0;
    QList<VX_XYL> points;
    for (VxTraceArrival& a : arrival_list) {
        if (a.arid != arid)
            continue;
        makeDeltimePoint(a);
        a.index_deltime = static_cast<int>(points.size());
        points.append(a.point_deltime);
    }
    if (points.isEmpty())
        return 0;
    const QByteArray color = colorText(traceview->arrivalLook().color_arrival_deltime_fill);
    if (!color.isEmpty())
        deltimes->configure("color_outline", color.constData(), "color_fill", color.constData(), nullptr);
    setPoints(deltimes, points);
    hl_clear_register(HL_CLEAR_QUIET);
    deltimes->showItem();
    return 0;
}

void VXTrace::hideDeltimes()
{
    for (VxTraceArrival& a : arrival_list)
        a.index_deltime = -1;
    deltimes->clearPoints();
    deltimes->hideItem();
    deltimes->setItemStale();
}

// --- detections

int VXTrace::drawDetections()
{
    detections->clearPoints();
    detections->hideItem();
    detections->setItemStale();
    if (!traceview || !vars.visible)
        return 0;
    const int show = vars.show_detections >= 0 ? vars.show_detections : traceview->vars.show_detections;
    if (!show)
        return 0;
    int ret = 0;
    for (int i = 0; i < sources.size() && i < source_detections.size(); i++)
        if (VXTraceviewQKClient* client = sourceClient(sources.at(i)))
            if (drawDetectionsQk(client, source_detections.at(i)) < 0)
                ret = -1;
    return ret;
}

int VXTrace::drawDetectionsQk(VXTraceviewQKClient* client, const Table<QKTableRecord>& table)
{
    if (!client || !traceview || table.max() < 1)
        return 0;
    const double ymid = 0.5 * (vars.ybottom + vars.ytop);
    QList<VX_XYL> points;
    int ret = 0;
    for (long i = 0; i < table.max(); i++) {
        QKTableRecord record = table.get(i);
        Rsptr row;
        double time = 0.0;
        char state[RS_STRSZ] = "";
        if (client->getRsptr("detection", &record, &row) < 0 || rsgetv(row, nullptr, "time", &time, nullptr) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::drawDetectionsQk: Cannot read detection row %ld.\n",
                              record.recno);
            ret = -1;
            continue;
        }
        // the state of a detector's table; a CSS 3.0 table has none, and
        // the beam type stands for the kind of detection there
        if (rsgetv(row, nullptr, "state", state, nullptr) < 0 &&
            (rsgetv(row, nullptr, "bmtyp", state, nullptr) < 0 || !strcmp(state, "-")))
            state[0] = '\0';
        VX_XYL p;
        p.x = time - toffset;
        p.y = ymid;
        p.label = QString::fromUtf8(state);
        points.append(p);
    }
    hl_clear_register(HL_CLEAR_QUIET);
    if (points.isEmpty())
        return ret;
    VX_Color outline, text, fill;
    double linewidth = 1.0;
    traceview->getDetectionColors(outline, text, fill, linewidth);
    const int height = heightPixels();
    detections->configure("size", QByteArray::number(height).constData(), "font", fontText(height).constData(),
                          "linewidth", number1(linewidth).constData(), "color_outline",
                          colorText(outline).constData(), "color_text", colorText(text).constData(), "color_fill",
                          colorText(fill).constData(), nullptr);
    QList<VX_XYL> all;
    for (int i = 0; i < detections->count(); i++) {
        // points of an earlier source stay
        double x = 0.0, y = 0.0;
        detections->glyph(i)->getPosition(&x, &y);
        VX_XYL p;
        p.x = x;
        p.y = y;
        p.label = detections->glyph(i)->vars.label;
        all.append(p);
    }
    all.append(points);
    setPoints(detections, all);
    hl_clear_register(HL_CLEAR_QUIET);
    detections->showItem();
    return ret;
}

// --- predicted phases

int VXTrace::drawPredictedArrivals()
{
    predicted_arrivals->clearPoints();
    predicted_arrivals->hideItem();
    predicted_arrivals->setItemStale();
    if (!traceview || !defaults || !vars.visible)
        return 0;
    const int show = vars.show_predicted_arrivals >= 0 ? vars.show_predicted_arrivals
                                                      : traceview->vars.show_predicted_arrivals;
    if (!show || defaults->olat == -999.0 || defaults->olon == -999.0 || lat == -999.0 || lon == -999.0)
        return 0;
    const QByteArray phases = traceview->vars.predicted_phases.toUtf8();
    if (phases.trimmed().isEmpty())
        return 0;
    TtArrival times[TT_MAX_ARRIVALS];
    ttp_grab_mutex();
    int n = ttp_set_phases(phases.constData());
    if (n >= 0)
        n = ttp_set_event_depth(std::max(1.0, defaults->odepth));
    if (n >= 0)
        n = ttp_compute(defaults->olat, defaults->olon, lat, lon, elev == -999.0 ? 0.0 : elev, 5.0, 3.0, times,
                        TT_MAX_ARRIVALS);
    ttp_release_mutex();
    if (n < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::drawPredictedArrivals: ttp_compute() error.\n");
        return -1;
    }
    double t0, t1;
    if (!fetchWindow(defaults, 0.0, t0, t1))
        return 0;
    const double ymid = 0.5 * (vars.ybottom + vars.ytop);
    QList<VX_XYL> points;
    for (int i = 0; i < n; i++) {
        const double t = defaults->otime + times[i].time_s - toffset;
        if (t < t0 || t > t1)
            continue;
        VX_XYL p;
        p.x = t;
        p.y = ymid;
        p.label = QStringLiteral("+") + QString::fromLatin1(times[i].phase);
        points.append(p);
    }
    if (points.isEmpty())
        return 0;
    VX_Color outline, text, fill;
    double linewidth = 1.0;
    traceview->getPredictedArrivalColors(outline, text, fill, linewidth);
    const int height = heightPixels();
    predicted_arrivals->configure("size", QByteArray::number(height).constData(), "font",
                                  fontText(height).constData(), "linewidth", number1(linewidth).constData(),
                                  "color_text", colorText(text).constData(), "color_outline",
                                  colorText(outline).constData(), "color_fill", colorText(fill).constData(),
                                  nullptr);
    setPoints(predicted_arrivals, points);
    hl_clear_register(HL_CLEAR_QUIET);
    predicted_arrivals->showItem();
    predicted_arrivals->setItemStale();
    return 0;
}

// --- menus

int VXTrace::parseArrivalsMenus(QString text, VxTraceArrivalMenus& menus)
{
    Kv* kv = nullptr;
    const QByteArray bytes = text.toUtf8();
    Kv* top = nullptr;
    if (kvcompile(bytes.constData(), &kv) < 0 || kvparam(kv, "arrivals_menus", KV_ARR, 1, &top) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::parseArrivalsMenus: kvparam(arrivals_menus) error.\n");
        kvfree(kv);
        return -1;
    }
    VxTraceArrivalMenus parsed;
    for (const char* button : {"left", "middle", "right"}) {
        Kv* tbl = nullptr;
        if (kvparam(top, button, KV_TBL, 0, &tbl) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::parseArrivalsMenus: kvparam(arrivals_menu{%s}) error.\n",
                              button);
            kvfree(kv);
            return -1;
        }
        if (!tbl)
            continue;
        QList<VxTraceArrivalMenuItem> items;
        const long n = kvcount(tbl);
        for (long j = 0; j < n; j++) {
            void* value = nullptr;
            if (kvgetindex(tbl, j, &value) != KV_KIND_ARR) {
                hl_register_error(HL_SEVERITY_NORMAL,
                                  "VXTrace::parseArrivalsMenus: kvparam(arrivals_menu{%s}[%ld]) error.\n", button, j);
                kvfree(kv);
                return -1;
            }
            Kv* item = static_cast<Kv*>(value);
            VxTraceArrivalMenuItem entry;
            for (const char* key : {"label", "command"}) {
                char* s = nullptr;
                if (kvparam(item, key, KV_STRING, 1, &s) < 0) {
                    hl_register_error(HL_SEVERITY_NORMAL,
                                      "VXTrace::parseArrivalsMenus: kvparam(arrivals_menu{%s}[%ld]{%s}) error.\n",
                                      button, j, key);
                    kvfree(kv);
                    return -1;
                }
                (strcmp(key, "label") == 0 ? entry.label : entry.command) = QString::fromUtf8(s);
                free(s);
            }
            items.append(entry);
        }
        parsed.insert(QString::fromLatin1(button), items);
    }
    kvfree(kv);
    menus = parsed;
    return 0;
}

void VXTrace::makeArrivalsMenus()
{
    if (!traceview)
        return;
    const VxTraceArrivalMenus* menus = nullptr;
    QString key;
    if (!vars.arrivals_menus.isEmpty()) {
        key = QStringLiteral("trace:") + vars.arrivals_menus;
        if (key == arrivals_menus_built)
            return;
        VxTraceArrivalMenus own;
        // definitions that do not parse are logged once and give no menus
        if (parseArrivalsMenus(vars.arrivals_menus, own) < 0)
            hl_clear_register(1);
        arrivals_menus = own;
        menus = &arrivals_menus;
    } else {
        key = QStringLiteral("view:") + traceview->vars.arrivals_menus;
        if (key == arrivals_menus_built)
            return;
        menus = &traceview->viewArrivalsMenus();
    }
    arrivals_menus_built = key;
    VXTraceview* tv = traceview;
    const std::pair<const char*, std::unique_ptr<QMenu>*> buttons[] = {
        {"left", &arrivals_menu_left}, {"middle", &arrivals_menu_middle}, {"right", &arrivals_menu_right}};
    for (const auto& [button, menu] : buttons) {
        menu->reset();
        const QList<VxTraceArrivalMenuItem> items = menus->value(QString::fromLatin1(button));
        if (items.isEmpty())
            continue;
        *menu = std::make_unique<QMenu>();
        for (const VxTraceArrivalMenuItem& item : items) {
            QAction* action = (*menu)->addAction(item.label);
            const QString command = item.command;
            QObject::connect(action, &QAction::triggered, action,
                             [tv, command]() { tv->sendCommand(command, nullptr, 0, -1); });
        }
    }
}
