// Primitive drawing: world lines and polygons through projection, scale,
// clipping and batching (polyDraw), text (drawText) and point picking
// (findClosest).
//
// Clipping runs in normalised plot coordinates, the plot area being the
// unit square with y upwards; conversion to pixels is the last step, in
// bufferDraws.  bufferDraws keeps its batches in file-wide state, so
// drawing runs on the GUI thread, one call at a time; every polyDraw ends
// with a flush, which leaves the batches empty.
#include "map/projection/longitude_p.h"
#include "map/projection/projections.h"
#include "toolkit/base/errors.h"
#include "viewport/clipping.h"
#include "viewport/viewport.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace {

// Where a logarithmic axis sends values not above 0: far out of view.
constexpr double log_outside = -1.0e10;
// Normalised coordinates are held within this, so that the clipper's
// arithmetic stays finite.
constexpr double max_normalised = 1.0e10;
// Longest line batch handed to Qt at once.
constexpr int batch_points = 1000;
// Map subdivision: at most this many pieces a segment, and this many added
// points a call; beyond, segments are drawn straight.
constexpr int max_pieces = 2000;
constexpr long long max_added_points = 4LL << 20;

// Line batch.
QPointF points[batch_points];
int npts = 0;
double lastx = 0.0, lasty = 0.0;
// Polygon batch.
QPointF* fpoints = nullptr;
int fnpts = 0;
int fpoints_size = 0;

int toInt(double v)
{
    if (!(v == v))
        return 0;
    if (v > 1.0e9)
        return 1000000000;
    if (v < -1.0e9)
        return -1000000000;
    return static_cast<int>(v);
}

int roundInt(double v)
{
    return toInt(std::round(v));
}

// One axis to its normalised coordinate; a log axis takes log10 first.
double normalise(double v, int log_mode, double start, double scale)
{
    double n;
    if (log_mode) {
        if (!(v > 0.0))
            return log_outside;
        n = (std::log10(v) - start) * scale;
    } else {
        n = (v - start) * scale;
    }
    if (n > max_normalised)
        return max_normalised;
    if (n < -max_normalised)
        return -max_normalised;
    return n;  // NaN stays NaN: the caller takes it as a gap
}

// Growable pair of coordinate arrays of malloc'd memory.
struct PointArrays
{
    double* x = nullptr;
    double* y = nullptr;
    size_t n = 0;
    size_t capacity = 0;

    bool reserve(size_t wanted)
    {
        if (wanted <= capacity)
            return true;
        size_t c = capacity ? capacity : 20;
        while (c < wanted) {
            if (c > (SIZE_MAX / sizeof(double)) / 2)
                return false;
            c = c + c / 2 + 20;
        }
        double* nx = static_cast<double*>(realloc(x, c * sizeof(double)));
        if (!nx)
            return false;
        x = nx;
        double* ny = static_cast<double*>(realloc(y, c * sizeof(double)));
        if (!ny)
            return false;
        y = ny;
        capacity = c;
        return true;
    }
    bool append(double px, double py)
    {
        if (n == capacity && !reserve(n + 1))
            return false;
        x[n] = px;
        y[n] = py;
        n++;
        return true;
    }
    void release()
    {
        free(x);
        free(y);
        x = y = nullptr;
        n = capacity = 0;
    }
};

struct Frame
{
    int w = 0, h = 0;
    double xstart = 0.0, xend = 1.0, xscale = 1.0;
    double ystart = 0.0, yend = 1.0, yscale = 1.0;
};

// Project a world point for the map mode; false for a point behind the
// globe.
bool project(const VxViewport* vp, int map_tran, double x, double y, double* px, double* py)
{
    *px = x;
    *py = y;
    switch (map_tran) {
    case VX_MAP_EDP:
        VX_geopointat2edp(vp->latr, vp->lonr, y, x, px, py);
        return true;
    case VX_MAP_GLOBE:
        return VX_geopointat2globe(vp->latr, vp->lonr, y, x, px, py) == 0;
    case VX_MAP_MERC:
        *py = VX_mercator_y(y);
        return true;
    default:
        return true;
    }
}

// Sets a clip rectangle around the plot area on a painter without clip,
// and takes it away again.
class ClipGuard
{
public:
    ClipGuard(QPainter* painter, int left, int top, int w, int h) : painter_(painter)
    {
        if (painter_->hasClipping())
            return;
        const double pen = painter_->pen().style() == Qt::NoPen ? 0.0 : painter_->pen().widthF();
        const double m = std::ceil((pen > 1.0 ? pen : 1.0) / 2.0) + 1.0;
        painter_->save();
        painter_->setClipRect(QRectF(left - m, top - m, w + 2.0 * m, h + 2.0 * m), Qt::ReplaceClip);
        saved_ = true;
    }
    ~ClipGuard()
    {
        if (saved_)
            painter_->restore();
    }
    ClipGuard(const ClipGuard&) = delete;
    ClipGuard& operator=(const ClipGuard&) = delete;

private:
    QPainter* painter_;
    bool saved_ = false;
};

} // namespace

int VXViewport::normalizePoints(const VxViewport* vp, int n_in, const double* xpts, const double* ypts, int ignoretran,
                                int keep_gaps, double** xout, double** yout, int* nout)
{
    *xout = nullptr;
    *yout = nullptr;
    *nout = 0;
    Frame f;
    if (getScales(vp, &f.w, &f.h, &f.xstart, &f.xend, &f.xscale, &f.ystart, &f.yend, &f.yscale) < 0)
        return -1;
    if (n_in < 1 || !xpts || !ypts)
        return 0;
    const int map_tran = ignoretran ? 0 : vp->map_tran;
    const bool curved = map_tran == VX_MAP_EDP || map_tran == VX_MAP_GLOBE;
    const int xlog = vp->xmode == VX_SCALE_LOG, ylog = vp->ymode == VX_SCALE_LOG;
    PointArrays a;
    // every input point makes at most one output point (a point or a gap)
    // unless map lines are subdivided; room for twice the input then
    const size_t first_capacity = static_cast<size_t>(n_in) * (curved ? 2 : 1);
    if (!a.reserve(first_capacity > 20 ? first_capacity : 20)) {
        a.release();
        return -1;
    }
    bool have_prev = false;
    double prev_nx = 0.0, prev_ny = 0.0, prev_lon = 0.0, prev_lat = 0.0;
    long long added = 0;
    bool ok = true;
    auto gap = [&]() {
        if (keep_gaps)
            ok = ok && a.append(VX_NULL_VALUE, VX_NULL_VALUE);
    };
    // project and normalise one point; false when it makes a gap
    auto transform = [&](double x, double y, double* nx, double* ny) {
        double px, py;
        if (!project(vp, map_tran, x, y, &px, &py))
            return false;
        *nx = normalise(px, xlog, f.xstart, f.xscale);
        *ny = normalise(py, ylog, f.ystart, f.yscale);
        return !std::isnan(*nx) && !std::isnan(*ny);
    };
    for (int i = 0; i < n_in && ok; i++) {
        const double x = xpts[i], y = ypts[i];
        if (x == VX_NULL_VALUE || y == VX_NULL_VALUE || std::isnan(x) || std::isnan(y)) {
            gap();
            continue;
        }
        double nx, ny;
        if (!transform(x, y, &nx, &ny)) {
            gap();
            continue;
        }
        if (curved && have_prev) {
            // a straight segment in longitude and latitude is a curve on the
            // plane: pieces of about a hundredth of the plot
            const double dx = nx - prev_nx, dy = ny - prev_ny;
            const double d2 = dx * dx + dy * dy;
            if (d2 > 0.0001 && added < max_added_points) {
                double pieces = std::trunc(std::sqrt(d2) / 0.01 + 0.5);
                int n = pieces > max_pieces ? max_pieces : static_cast<int>(pieces);
                if (n > 1) {
                    const double dlon = map_lon_near(x - prev_lon, 0.0) / n;
                    const double dlat = (y - prev_lat) / n;
                    ok = a.reserve(a.n + static_cast<size_t>(n) + 2);
                    for (int k = 1; k < n && ok; k++) {
                        double sx, sy;
                        if (transform(prev_lon + k * dlon, prev_lat + k * dlat, &sx, &sy))
                            ok = a.append(sx, sy);
                        else
                            gap();
                    }
                    added += n;
                }
            }
        }
        ok = ok && a.append(nx, ny);
        if (curved) {
            have_prev = true;
            prev_nx = nx;
            prev_ny = ny;
            prev_lon = x;
            prev_lat = y;
        }
    }
    if (!ok || a.n > static_cast<size_t>(INT32_MAX)) {
        a.release();
        return -1;
    }
    *xout = a.x;
    *yout = a.y;
    *nout = static_cast<int>(a.n);
    return 0;
}

int VXViewport::setFpoints(int n, int* size, QPointF** array)
{
    if (!*array) {
        *array = static_cast<QPointF*>(malloc(1000 * sizeof(QPointF)));
        if (!*array) {
            hl_register_error(HL_SEVERITY_SYSTEM, "VXViewport::setFpoints: malloc() error.\n");
            return -1;
        }
        *size = 1000;
    }
    long long wanted = *size > 0 ? *size : 1000;
    while (static_cast<long long>(n) + 1 > wanted)
        wanted *= 2;
    if (wanted > INT32_MAX / static_cast<long long>(sizeof(QPointF))) {
        hl_register_error(HL_SEVERITY_SYSTEM, "VXViewport::setFpoints: realloc() error.\n");
        return -1;
    }
    if (wanted != *size) {
        QPointF* grown = static_cast<QPointF*>(realloc(*array, static_cast<size_t>(wanted) * sizeof(QPointF)));
        if (!grown) {
            hl_register_error(HL_SEVERITY_SYSTEM, "VXViewport::setFpoints: realloc() error.\n");
            return -1;
        }
        *array = grown;
        *size = static_cast<int>(wanted);
    }
    return 0;
}

void VXViewport::bufferDraws(QPainter* painter, int fill, int flush, int w, int h, double fx1, double fy1,
                             double fx2, double fy2)
{
    if (!painter) {
        // nothing to draw with: forget the batches
        npts = 0;
        free(fpoints);
        fpoints = nullptr;
        fnpts = fpoints_size = 0;
        return;
    }
    if (w == 0 && h == 0) {
        const long long pw = static_cast<long long>(vars.w) - vars.mleft - vars.mright;
        const long long ph = static_cast<long long>(vars.h) - vars.mbottom - vars.mtop;
        if (pw < 3 || ph < 3)
            return;
        w = static_cast<int>(pw);
        h = static_cast<int>(ph);
    }
    if (!fill) {
        if (flush) {
            if (npts == 2)
                painter->drawLine(points[0], points[1]);
            else if (npts > 2)
                painter->drawPolyline(points, npts);
            npts = 0;
            return;
        }
        const double x1 = fx1 * w + vars.mleft, y1 = (vars.h - fy1 * h) - vars.mbottom;
        const double x2 = fx2 * w + vars.mleft, y2 = (vars.h - fy2 * h) - vars.mbottom;
        if (x1 == x2 && y1 == y2)
            return;
        if (npts > 0 && (x1 != lastx || y1 != lasty)) {
            if (npts >= 2)
                painter->drawPolyline(points, npts);
            npts = 0;
        }
        if (npts == 0)
            points[npts++] = QPointF(x1, y1);
        points[npts++] = QPointF(x2, y2);
        if (npts == batch_points) {
            painter->drawPolyline(points, npts);
            points[0] = points[npts - 1];
            npts = 1;
        }
        lastx = x2;
        lasty = y2;
        return;
    }

    if (flush) {
        if (fnpts > 0)
            painter->drawPolygon(fpoints, fnpts, Qt::OddEvenFill);
        free(fpoints);
        fpoints = nullptr;
        fnpts = 0;
        fpoints_size = 0;
        return;
    }
    const double x1 = fx1 * w + vars.mleft, y1 = (vars.h - fy1 * h) - vars.mbottom;
    const double x2 = fx2 * w + vars.mleft, y2 = (vars.h - fy2 * h) - vars.mbottom;
    if (x1 == x2 && y1 == y2)
        return;
    auto append = [](double x, double y) {
        if (setFpoints(fnpts, &fpoints_size, &fpoints) < 0)
            return false;
        fpoints[fnpts++] = QPointF(x, y);
        return true;
    };
    if (fnpts > 0 && (x1 != lastx || y1 != lasty)) {
        // the clipped outline left the plot area and came back: walk the
        // frame clockwise from where it left to where it returns
        const double l = vars.mleft, r = vars.w - vars.mright, t = vars.mtop, b = vars.h - vars.mbottom;
        auto edgeOf = [&](double x, double y) {
            if (x == l)
                return 0;
            if (x == r)
                return 1;
            if (y == t)
                return 2;
            if (y == b)
                return 3;
            return -1;
        };
        const int from = edgeOf(lastx, lasty), to = edgeOf(x1, y1);
        struct P
        {
            double x, y;
        };
        // rows: the edge of the last point; columns: the edge of the start
        std::vector<P> walk;
        switch (from * 4 + to) {
        case 0 * 4 + 0: walk = {{l, y1}}; break;
        case 0 * 4 + 1: walk = {{l, t}, {r, t}, {r, y1}}; break;
        case 0 * 4 + 2: walk = {{l, t}, {x1, t}}; break;
        case 0 * 4 + 3: walk = {{l, t}, {r, t}, {r, b}, {x1, b}}; break;
        case 1 * 4 + 0: walk = {{r, b}, {l, b}, {l, y1}}; break;
        case 1 * 4 + 1: walk = {{r, y1}}; break;
        case 1 * 4 + 2: walk = {{r, b}, {l, b}, {l, t}, {x1, t}}; break;
        case 1 * 4 + 3: walk = {{r, b}, {x1, b}}; break;
        case 2 * 4 + 0: walk = {{r, t}, {r, b}, {l, b}, {l, y1}}; break;
        case 2 * 4 + 1: walk = {{r, t}, {r, y1}}; break;
        case 2 * 4 + 2: walk = {{x1, t}}; break;
        case 2 * 4 + 3: walk = {{r, t}, {r, b}, {x1, b}}; break;
        case 3 * 4 + 0: walk = {{l, b}, {l, y1}}; break;
        case 3 * 4 + 1: walk = {{l, b}, {l, t}, {r, t}, {r, y1}}; break;
        case 3 * 4 + 2: walk = {{l, b}, {l, t}, {x1, t}}; break;
        case 3 * 4 + 3: walk = {{x1, b}}; break;
        default: break;  // a start on no edge adds nothing
        }
        if (from < 0 || to < 0)
            walk.clear();
        for (const P& p : walk)
            if (!append(p.x, p.y))
                return;
    }
    if (fnpts == 0 && !append(x1, y1))
        return;
    if (!append(x2, y2))
        return;
    lastx = x2;
    lasty = y2;
}

int VXViewport::polyDraw(QPainter* painter, int n_in, double* xpts, double* ypts, int fill, int complete,
                         int ignoretran)
{
    int w = 0, h = 0;
    double xs, xe, xsc, ys, ye, ysc;
    if (getScales(&w, &h, &xs, &xe, &xsc, &ys, &ye, &ysc) < 0)
        return -1;
    if (n_in < 1 || !painter)
        return 0;
    double* x = nullptr;
    double* y = nullptr;
    int n = 0;
    if (normalizePoints(&vars, n_in, xpts, ypts, ignoretran, fill == 0, &x, &y, &n) < 0)
        return -1;
    // What reaches the painter is already clipped to the plot area.  A clip
    // rectangle around it, wide enough for the pen, removes nothing, yet Qt's
    // raster engine strokes long lines about twice as fast with a clip set.
    // A painter that clips already is left as it is.
    ClipGuard guard(painter, vars.mleft, vars.mtop, w, h);

    if (fill == 0) {
        // closing a line repeats the second point, so that the join at the
        // start is a real join
        int extra = 0;
        double ex[2], ey[2];
        if (complete && n >= 3) {
            if (x[n - 2] == x[0] && y[n - 2] == y[0]) {
                extra = 0;
            } else if (x[n - 1] == x[0] && y[n - 1] == y[0]) {
                extra = 1;
                ex[0] = x[1];
                ey[0] = y[1];
            } else {
                extra = 2;
                ex[0] = x[0];
                ey[0] = y[0];
                ex[1] = x[1];
                ey[1] = y[1];
            }
        }
        bool broken = true;
        double px = 0.0, py = 0.0;
        int pc = 0;
        for (int i = 0; i < n + extra; i++) {
            const double cx = i < n ? x[i] : ex[i - n], cy = i < n ? y[i] : ey[i - n];
            if (cx == VX_NULL_VALUE || cy == VX_NULL_VALUE) {
                broken = true;
                continue;
            }
            const int cc = VX_ClipOutcode(cx, cy);
            if (broken) {
                px = cx;
                py = cy;
                pc = cc;
                broken = false;
                continue;
            }
            if (cx == px && cy == py)
                continue;
            double x0 = px, y0 = py, x1 = cx, y1 = cy;
            if (VX_ClipLine(&x0, &y0, pc, &x1, &y1, cc))
                bufferDraws(painter, 0, 0, w, h, x0, y0, x1, y1);
            px = cx;
            py = cy;
            pc = cc;
        }
        bufferDraws(painter, 0, 1, w, h, 0.0, 0.0, 0.0, 0.0);
        free(x);
        free(y);
        return 0;
    }

    std::vector<double> cx, cy;
    try {
        const size_t ring = fill == 2 ? 6 : 0;
        cx.reserve(static_cast<size_t>(n) + ring);
        cy.reserve(static_cast<size_t>(n) + ring);
        if (fill == 2) {
            // a ring around the plot area from the top centre, clockwise:
            // with the polygon inside, odd-even filling leaves it out
            const double rx[6] = {0.5, 1.0, 1.0, 0.0, 0.0, 0.5}, ry[6] = {1.0, 1.0, 0.0, 0.0, 1.0, 1.0};
            cx.assign(rx, rx + 6);
            cy.assign(ry, ry + 6);
        }
        cx.insert(cx.end(), x, x + n);
        cy.insert(cy.end(), y, y + n);
    } catch (const std::bad_alloc&) {
        free(x);
        free(y);
        return -1;
    }
    free(x);
    free(y);
    int m = 0;
    try {
        m = VX_ClipPolygon(cx, cy);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    if (m == 0)
        return 0;
    auto clamp = [](double v) { return v < 0.0 ? 0.0 : (v > 1.0 ? 1.0 : v); };
    double px = clamp(cx[m - 1]), py = clamp(cy[m - 1]);
    for (int i = 0; i < m; i++) {
        const bool xout = cx[i] < 0.0 || cx[i] > 1.0, yout = cy[i] < 0.0 || cy[i] > 1.0;
        if (xout && yout)
            continue;  // a corner left by the equal-coordinate rule
        const double qx = clamp(cx[i]), qy = clamp(cy[i]);
        bufferDraws(painter, fill, 0, w, h, px, py, qx, qy);
        px = qx;
        py = qy;
    }
    bufferDraws(painter, fill, 1, w, h, 0.0, 0.0, 0.0, 0.0);
    return 0;
}

void VXViewport::drawText(QPainter* painter, VX_Font* font, double x, double y, const char* just, double angle,
                          const char* text, int show_not_symbol, int background_width, int background_height,
                          VX_Color* text_color, VX_Color* background_color, VX_Color* background_outline_color,
                          QPainterPath** path, double* xbb, double* ybb, int* wbb, int* hbb, int clip)
{
    if (!painter || !text || !*text || !font || font->invalid)
        return;
    if (clip)
        painter->setClipRect(0, 0, width(), height(), Qt::ReplaceClip);
    const QString qtext = QString::fromUtf8(text);
    const QFontMetrics metrics(font->font);
    const int wt = metrics.boundingRect(qtext).width();
    int wb = 10 + wt, hb = 10 + metrics.ascent();
    if (background_width > 0)
        wb = background_width;
    if (background_height > 0)
        hb = background_height;
    const int ht = metrics.tightBoundingRect(qtext).height();
    const double shiftx = (wb - wt) * 0.5, shifty = hb - (hb - ht) * 0.5;
    const double cx = x + vars.mleft, cy = (vars.h - y) - vars.mbottom;
    double jx = 0.0, jy = 0.0;
    parseAnchor(just, &jx, &jy);
    const size_t jlen = just ? strlen(just) : 0;
    const bool box_anchor = jlen > 0 && just[jlen - 1] == 'b';
    double refx, refy;
    int ix, iy, ixb, iyb;
    if (!box_anchor) {
        refx = wt * jx;
        refy = -ht * jy;
        ix = roundInt(cx - refx);
        iy = roundInt(cy - refy);
        ixb = toInt(ix - shiftx);
        iyb = toInt(iy - shifty);
    } else {
        refx = wb * jx;
        refy = -hb * jy;
        ixb = roundInt(cx - refx);
        iyb = roundInt(cy - refy) - hb;
        ix = toInt(ixb + shiftx);
        iy = toInt(iyb + shifty);
    }

    if (angle != 0.0) {
        const double sa = std::sin(-angle * M_PI / 180.0), ca = std::cos(-angle * M_PI / 180.0);
        const int ox = roundInt(cx - refx * ca - refy * sa), oy = roundInt(cy + refx * sa - refy * ca);
        painter->save();
        painter->translate(ox, oy);
        painter->rotate(angle);
        painter->setFont(font->font);
        if (text_color && text_color->color.isValid())
            VX_setup_text(painter, text_color, font);
        painter->drawText(0, 0, qtext);
        painter->restore();
        return;
    }

    const bool background = background_color && background_color->color.isValid();
    const bool outline = background_outline_color && background_outline_color->color.isValid();
    if (background || outline) {
        QPainterPath* box = new QPainterPath();
        box->addRect(ixb, iyb, wb, hb);
        if (background)
            VX_setup_fill(painter, background_color);
        else
            painter->setBrush(Qt::NoBrush);
        if (outline)
            painter->setPen(QPen(background_outline_color->color, 1));
        else
            painter->setPen(Qt::NoPen);
        painter->drawPath(*box);
        if (path)
            *path = box;
        else
            delete box;
    }
    // the text is measured in this font, so it is drawn in it whatever the
    // pen
    painter->setFont(font->font);
    if (text_color && text_color->color.isValid())
        VX_setup_text(painter, text_color, font);
    painter->drawText(ix, iy, qtext);
    if (show_not_symbol) {
        painter->setPen(QPen(QColor(QStringLiteral("#c0ff0000")), 2.0));
        painter->drawLine(ixb, iyb, ixb + wb, iyb + hb);
    }
    if (xbb)
        *xbb = x;
    if (ybb)
        *ybb = y;
    if (wbb)
        *wbb = wb;
    if (hbb)
        *hbb = hb;
}

int VXViewport::findClosest(int n_in, double* xpts, double* ypts, double x, double y, int* imin, double* dmin)
{
    Frame f;
    if (getScales(&f.w, &f.h, &f.xstart, &f.xend, &f.xscale, &f.ystart, &f.yend, &f.yscale) < 0)
        return -1;
    *imin = -1;
    const int xlog = vars.xmode == VX_SCALE_LOG, ylog = vars.ymode == VX_SCALE_LOG;
    double best = 0.0;
    for (int i = 0; i < n_in && xpts && ypts; i++) {
        const double wx = xpts[i], wy = ypts[i];
        if (wx == VX_NULL_VALUE || wy == VX_NULL_VALUE || std::isnan(wx) || std::isnan(wy))
            continue;
        double px, py;
        if (!project(&vars, vars.map_tran, wx, wy, &px, &py))
            return -1;
        if ((xlog && px <= 0.0) || (ylog && py <= 0.0))
            continue;
        const double fx = normalise(px, xlog, f.xstart, f.xscale), fy = normalise(py, ylog, f.ystart, f.yscale);
        if (!(fx >= 0.0 && fx <= 1.0 && fy >= 0.0 && fy <= 1.0))
            continue;
        const double qx = fx * f.w + vars.mleft, qy = (vars.mtop + f.h) - fy * f.h;
        const double d2 = (qx - x) * (qx - x) + (qy - y) * (qy - y);
        if (*imin < 0 || d2 < best) {
            best = d2;
            *imin = i;
        }
    }
    if (*imin >= 0 && dmin)
        *dmin = std::sqrt(best);
    return 0;
}
