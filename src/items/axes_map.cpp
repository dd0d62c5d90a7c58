// VXAxes: meridians and parallels, the grid of the edp and globe maps, and
// the grid lines of a flat map's pan picture.
#include "items/axes.h"

#include "foundation/nicevalues.h"
#include "viewport/viewport.h"

#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Most lines of one family; more would only blacken the map.
constexpr int max_map_lines = 2000;
// Pixels across the strip over which one family of straight grid lines is
// drawn; its middle lies clear of the lines' ends.
constexpr int strip_px = 8;

// The plot of v narrowed to strip_px pixels across one axis for the length
// of a draw (the other axis and the view's limits unchanged).
class NarrowedPlot
{
public:
    NarrowedPlot(VxViewport& v, bool rows) : v_(v), w_(v.w), h_(v.h)
    {
        if (rows)
            v.h = v.mtop + v.mbottom + strip_px;
        else
            v.w = v.mleft + v.mright + strip_px;
    }
    ~NarrowedPlot()
    {
        v_.w = w_;
        v_.h = h_;
    }
    NarrowedPlot(const NarrowedPlot&) = delete;
    NarrowedPlot& operator=(const NarrowedPlot&) = delete;

private:
    VxViewport& v_;
    int w_, h_;
};

} // namespace

void VXAxes::drawMapLines(QPainter* painter, int yaxis, int size, double big_incr, double small_incr, int mind,
                          int small)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !painter)
        return;
    vp->computeMapBB();
    const double lo = yaxis ? vp->vars.bblatmin : vp->vars.bblonmin;
    const double hi = yaxis ? vp->vars.bblatmax : vp->vars.bblonmax;
    if (!std::isfinite(lo) || !std::isfinite(hi))
        return;
    double start_big = 0, start_sml = 0, ib = std::isfinite(big_incr) ? big_incr : 0.0;
    double is = std::isfinite(small_incr) ? small_incr : 0.0;
    int n_big = 0, n_sml = 0;
    if (VX_get_nice_fvals(lo, hi, size, mind, &start_big, &n_big, &ib, &start_sml, &n_sml, &is) != 1)
        return;
    const double first = small ? start_sml : start_big;
    const double incr = small ? is : ib;
    const int n = std::clamp(small ? n_sml : n_big, 0, max_map_lines);

    // a meridian runs pole to pole in steps of a degree, a parallel around
    // the globe
    const int npts = yaxis ? 361 : 181;
    double lons[361], lats[361];
    for (int i = 0; i < n; i++) {
        const double value = first + i * incr;
        for (int j = 0; j < npts; j++) {
            if (yaxis) {
                lons[j] = -180.0 + j;
                lats[j] = value;
            } else {
                lons[j] = value;
                lats[j] = -90.0 + j;
            }
        }
        vp->polyDraw(painter, npts, lons, lats, 0, 0, 0);
    }
}

int VXAxes::drawGridLinesInStrips(QPainter* painter)
{
    // Solid straight lines across the whole plot: a meridian covers each
    // row of the picture alike and a parallel each column, so the long
    // antialiased lines, the costly part of a graticule, are drawn only
    // over a strip and the strip's middle is copied along the picture.
    VXViewport* vp = getViewportParent();
    auto* picture = painter ? dynamic_cast<QImage*>(painter->device()) : nullptr;
    if (!vp || !picture || vars.style != static_cast<int>(Qt::SolidLine) ||
        picture->format() != QImage::Format_ARGB32_Premultiplied)
        return 0;
    VxViewport& v = vp->vars;
    const int ratio = std::max(1, static_cast<int>(picture->devicePixelRatio()));
    const int pw = (v.w - v.mleft - v.mright) * ratio, ph = (v.h - v.mtop - v.mbottom) * ratio;
    if (pw != picture->width() || ph != picture->height() || pw < strip_px * ratio || ph < strip_px * ratio)
        return 0;
    auto strip = [&](bool rows, int w, int h) {
        QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(ratio);
        image.fill(Qt::transparent);
        NarrowedPlot narrowed(v, rows);
        QPainter p(&image);
        p.translate(-v.mleft, -v.mtop);
        p.setRenderHints(painter->renderHints());
        rows ? drawGridLinesX(&p) : drawGridLinesY(&p);
        return image;
    };
    const QImage meridians = strip(true, pw, strip_px * ratio);
    const QImage parallels = strip(false, strip_px * ratio, ph);
    QImage lines(pw, ph, QImage::Format_ARGB32_Premultiplied);
    lines.setDevicePixelRatio(ratio);
    const size_t row_bytes = static_cast<size_t>(pw) * 4;
    const uchar* middle_row = meridians.constScanLine(meridians.height() / 2);
    for (int y = 0; y < ph; y++)
        memcpy(lines.scanLine(y), middle_row, row_bytes);
    painter->save();
    painter->resetTransform();
    painter->setClipping(false);
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter->drawImage(0, 0, lines);
    // the parallels over the meridians, as they are drawn directly
    const int middle_column = parallels.width() / 2;
    for (int y = 0; y < ph; y++) {
        const QRgb pixel = reinterpret_cast<const QRgb*>(parallels.constScanLine(y))[middle_column];
        std::fill_n(reinterpret_cast<QRgb*>(lines.scanLine(y)), pw, pixel);
    }
    painter->drawImage(0, 0, lines);
    painter->restore();
    return 1;
}
