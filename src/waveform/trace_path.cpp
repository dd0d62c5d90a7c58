// VXTrace: amplitude scales, the waveform path and the band behind it.
#include "waveform/trace.h"

#include "viewport/viewport.h"

#include <QPainter>

#include <algorithm>
#include <climits>
#include <cmath>

namespace {

// The plot size and the viewport's world y range; false when the plot is
// too small or the range is empty, so that nothing divides by it.
bool plotFrame(VXViewport* vp, int* w, int* h, double* vp_ybottom, double* vp_ytop)
{
    if (!vp)
        return false;
    double xs, xe, xsc, ys, ye, ysc;
    if (vp->getScales(w, h, &xs, &xe, &xsc, &ys, &ye, &ysc) < 0)
        return false;
    *vp_ybottom = vp->vars.ybottom;
    *vp_ytop = vp->vars.ytop;
    const double span = *vp_ytop - *vp_ybottom;
    return std::isfinite(span) && span != 0.0;
}

} // namespace

int VXTrace::getAmpScales(double& abottom, double& atop, double& ybottom, double& ytop, double& ybottom_pixel,
                          double& ytop_pixel)
{
    abottom = vars.abottom;
    atop = vars.atop;
    ybottom = vars.ybottom;
    ytop = vars.ytop;
    double gain = defaults ? defaults->gain : 1.0;
    if (vars.gain != 0.0)
        gain = vars.gain;
    if (gain == 0.0 || !std::isfinite(gain))
        gain = 1.0;
    if (gain != 1.0) {
        const double mid = 0.5 * (atop + abottom), half = 0.5 * (atop - abottom) / gain;
        atop = mid + half;
        abottom = mid - half;
    }
    VXViewport* vp = defaults ? defaults->viewport : nullptr;
    int w = 0, h = 0;
    double vb = 0.0, vt = 1.0;
    if (!plotFrame(vp, &w, &h, &vb, &vt)) {
        ybottom_pixel = ytop_pixel = vp ? vp->vars.mtop : 0.0;
        return -1;
    }
    ytop_pixel = vp->vars.mtop + h * (vt - ytop) / (vt - vb);
    ybottom_pixel = vp->vars.mtop + h * (vt - ybottom) / (vt - vb);
    return 0;
}

double VXTrace::amp2Viewport(double a)
{
    double ab, at, yb, yt, pb, pt;
    getAmpScales(ab, at, yb, yt, pb, pt);
    // a window of no height puts every amplitude in the middle of the band
    if (at == ab)
        return 0.5 * (yb + yt);
    return yb + (a - ab) * (yt - yb) / (at - ab);
}

double VXTrace::viewport2Amp(double y)
{
    double ab, at, yb, yt, pb, pt;
    getAmpScales(ab, at, yb, yt, pb, pt);
    if (yt == yb)
        return 0.5 * (ab + at);
    return ab + (y - yb) * (at - ab) / (yt - yb);
}

double VXTrace::viewport2Pixel(double y)
{
    double p = 0.0;
    if (VXViewport* vp = defaults ? defaults->viewport : nullptr)
        vp->getPcoordY(y, &p);
    return p;
}

double VXTrace::amp2Pixel(double a)
{
    return viewport2Pixel(amp2Viewport(a));
}

QList<VxPixelatorSegment> VXTrace::copySegments()
{
    QList<VxPixelatorSegment> list;
    for (VxPixelatorSource* source : std::as_const(sources)) {
        for (long j = 0; j < source->segments.max();) {
            const VxPixelatorSegment& seg = source->segments.get(j);
            if (seg.dtperpixel != dtperpixel) {
                removeSegment(source, static_cast<int>(j));  // the next one moves into j
                continue;
            }
            list.append(seg);  // the columns are shared, not copied
            j++;
        }
    }
    return list;
}

int VXTrace::numberPixels()
{
    if (!defaults)
        return 0;
    if (setPixels(defaults->tleft, defaults->dtperpixel, defaults->npixels, 0, defaults->tbuffer) < 0)
        return 0;
    long n = 0;
    for (VxPixelatorSource* source : std::as_const(sources)) {
        for (long j = 0; j < source->segments.max();) {
            const VxPixelatorSegment& seg = source->segments.get(j);
            if (seg.dtperpixel != dtperpixel) {
                removeSegment(source, static_cast<int>(j));
                continue;
            }
            j++;
            const long size = seg.pixels.size();
            long iend = vx_pixel_index(tleft + dtperpixel * npixels, seg.time_first_pixel, seg.dtperpixel);
            long istart = vx_pixel_index(tleft, seg.time_first_pixel, seg.dtperpixel);
            if (iend < 0 || istart >= size || size < 1)
                continue;
            istart = std::max(0L, istart);
            iend = std::min(size - 1, iend);
            if (iend >= istart)
                n += iend - istart + 1;
        }
    }
    return static_cast<int>(std::min<long>(n, INT_MAX));
}

QPainterPath VXTrace::makePath(QList<double>& end_points, int force_build)
{
    QPainterPath path;
    end_points.clear();
    units.clear();
    units_scale = 0.0;
    VXViewport* vp = defaults ? defaults->viewport : nullptr;
    if (!vp)
        return path;
    if (vars.ybottom > vp->vars.ytop || vars.ytop < vp->vars.ybottom)
        return path;
    const int r = setPixels(defaults->tleft, defaults->dtperpixel, defaults->npixels, force_build, defaults->tbuffer);
    if (r < 0)
        return path;
    flags_stale = r;

    const int mode = vars.ampscale_mode >= 0 ? vars.ampscale_mode : viewAmpscaleMode();
    switch (mode) {
    case 1:
        vars.abottom = amin;
        vars.atop = amax;
        break;
    case 2:
        if (std::fabs(amax) > std::fabs(amin)) {
            vars.abottom = -amax;
            vars.atop = amax;
        } else {
            vars.abottom = amin;
            vars.atop = -amin;
        }
        break;
    case 3:
        vars.abottom = 0.0;
        vars.atop = amax;
        break;
    case 4:
        // the negative window is worked out and then replaced: auton shows
        // what autop shows
        vars.abottom = amin;
        vars.atop = 0.0;
        vars.abottom = 0.0;
        vars.atop = amax;
        break;
    default:
        break;
    }
    if (vars.abottom == vars.atop)
        return path;

    const QList<VxPixelatorSegment> segments = copySegments();
    // a column adds at most four elements: room for them all at once
    // rather than growing the path as it goes
    qsizetype columns = 0;
    for (const VxPixelatorSegment& seg : segments)
        columns += seg.pixels.size();
    path.reserve(static_cast<int>(std::min<qsizetype>(4 * columns + 1, INT_MAX / 2)));
    for (const VxPixelatorSegment& seg : segments) {
        qreal xfirst = 0.0, xlast = 0.0;
        const int before = path.elementCount();
        makeSegmentPath(path, xfirst, xlast, seg);
        if (path.elementCount() == before)
            continue;  // a segment of holes only has no extent
        end_points.append(xfirst);
        end_points.append(xlast);
    }
    setUnits();
    setAmpScale(vars.ampscale_mode, vars.ybottom, vars.ytop, vars.abottom, vars.atop);
    return path;
}

void VXTrace::makeSegmentPath(QPainterPath& path, qreal& xfirst, qreal& xlast, const VxPixelatorSegment& seg)
{
    VXViewport* vp = defaults ? defaults->viewport : nullptr;
    int w = 0, h = 0;
    double vb = 0.0, vt = 1.0;
    if (!plotFrame(vp, &w, &h, &vb, &vt) || npixels < 1 || !(dtperpixel > 0.0))
        return;
    double abottom, atop, ybottom, ytop, pb, pt;
    getAmpScales(abottom, atop, ybottom, ytop, pb, pt);
    const double span = atop - abottom;
    if (span == 0.0 || !std::isfinite(span))
        return;
    const double xscale = static_cast<double>(w) / npixels;
    const double yscale = h * (ytop - ybottom) / (vt - vb) / span;
    const double yoffset = h * (vt - ytop) / (vt - vb);
    const long offset = vx_pixel_index(seg.time_first_pixel, tleft, dtperpixel);

    bool first = true;
    double prev_top = 0.0, prev_bottom = 0.0;
    QPointF last;
    const VxPixelatorPixel* px = seg.pixels.constData();
    const qsizetype n = seg.pixels.size();
    for (qsizetype i = 0; i < n; i++) {
        const VxPixelatorPixel& c = px[i];
        // holes are skipped without a break in the line; so are columns of
        // NaN only, which have no place on the scale
        if (c.npoints < 1 || std::isnan(c.min) || std::isnan(c.max))
            continue;
        const double x = static_cast<double>(i + offset) * xscale;
        if (first)
            xfirst = x;
        xlast = x;
        if (c.npoints > 1 && c.max != c.min) {
            const double top = yoffset + (atop - c.max) * yscale;
            const double bottom = yoffset + (atop - c.min) * yscale;
            if (!first) {
                // a column that does not overlap the one before is joined
                // to it by a vertical
                if (prev_top >= bottom) {
                    path.moveTo(x, prev_top);
                    path.lineTo(x, bottom);
                } else if (top >= prev_bottom) {
                    path.moveTo(x, top);
                    path.lineTo(x, prev_bottom);
                }
            }
            path.moveTo(x, top);
            path.lineTo(x, bottom);
            prev_top = top;
            prev_bottom = bottom;
            last = QPointF(x, bottom);
        } else {
            const double y = yoffset + (atop - c.min) * yscale;
            if (first) {
                path.moveTo(x, y);
            } else {
                path.moveTo(last);
                path.lineTo(x, y);
            }
            prev_top = prev_bottom = y;
            last = QPointF(x, y);
        }
        first = false;
    }
}

void VXTrace::drawPath(QPainter* painter, const QPainterPath& path)
{
    VXViewport* vp = defaults ? defaults->viewport : nullptr;
    if (!painter || !vp || path.isEmpty())
        return;
    int w = 0, h = 0;
    double vb, vt;
    if (!plotFrame(vp, &w, &h, &vb, &vt))
        return;
    const VX_Color& color = vars.color_foreground.color.isValid() ? vars.color_foreground : defaults->color_foreground;
    const double width = vars.linewidth >= 0.0 ? vars.linewidth : defaults->linewidth;
    painter->save();
    painter->setClipRect(QRect(vp->vars.mleft, vp->vars.mtop, w, h), Qt::IntersectClip);
    VX_setup_line(painter, &color, width, static_cast<int>(Qt::SolidLine), -1, -1);
    painter->setBrush(Qt::NoBrush);
    painter->translate(vp->vars.mleft, vp->vars.mtop);
    painter->drawPath(path);
    painter->restore();
}

void VXTrace::drawTraceBackground(QPainter* painter, QList<double> end_points)
{
    VXViewport* vp = defaults ? defaults->viewport : nullptr;
    if (!painter || !vp)
        return;
    const VX_Color* color = &vars.color_background;
    if (!color->color.isValid()) {
        if (defaults->edit_mode == 1)
            return;
        color = &defaults->color_traces_background;
    }
    if (!color->color.isValid())
        return;
    int w = 0, h = 0;
    double vb, vt;
    if (!plotFrame(vp, &w, &h, &vb, &vt))
        return;
    const double height = h * (vars.ytop - vars.ybottom) / (vt - vb);
    const double top = h * (vt - vars.ytop) / (vt - vb);
    painter->save();
    painter->setClipRect(QRect(vp->vars.mleft, vp->vars.mtop, w, h), Qt::IntersectClip);
    painter->translate(vp->vars.mleft, vp->vars.mtop);
    painter->setPen(Qt::NoPen);
    painter->setBrush(color->color);
    for (qsizetype i = 0; i + 1 < end_points.size(); i += 2) {
        const double x1 = end_points.at(i), x2 = end_points.at(i + 1);
        const double width = std::round(x2 - x1) + 1.0;  // std::round: half away from zero
        painter->drawRect(QRectF(x1, top, width, height));
    }
    painter->restore();
}
