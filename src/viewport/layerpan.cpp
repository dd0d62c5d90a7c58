// The pan picture of an item: a widened drawing, copied at the pan's offset.
#include "viewport/layerpan_p.h"

#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <QPainter>

#include <cmath>

namespace {

// The margin on each side is this fraction of the plot side: a drag of up
// to a quarter of the view in any direction is composed from one picture.
constexpr int margin_divisor = 4;
// Largest picture kept, in bytes and in device pixels a side.
constexpr long long max_picture_bytes = 256LL << 20;
constexpr int max_picture_side = 32767;
// An offset this far from a whole pixel is not a pan frame: draw anew.
constexpr double whole_pixel_tolerance = 1e-3;

bool sameStep(double a, double b)
{
    return std::fabs(a - b) <= 1e-9 * std::fabs(a);
}

// The viewport's view widened by the margins for the length of a draw;
// restored on leaving, whatever the draw did to the fields it set.
class WidenedView
{
public:
    WidenedView(VxViewport& v, int mx, int my, double dx, double dy) : v_(v), saved_(v)
    {
        v.w += 2 * mx;
        v.h += 2 * my;
        v.xleft -= mx * dx;
        v.xright += mx * dx;
        v.ybottom -= my * dy;
        v.ytop += my * dy;
    }
    ~WidenedView()
    {
        v_.w = saved_.w;
        v_.h = saved_.h;
        v_.xleft = saved_.xleft;
        v_.xright = saved_.xright;
        v_.ybottom = saved_.ybottom;
        v_.ytop = saved_.ytop;
        v_.bblatmin = saved_.bblatmin;
        v_.bblatmax = saved_.bblatmax;
        v_.bblonmin = saved_.bblonmin;
        v_.bblonmax = saved_.bblonmax;
    }
    WidenedView(const WidenedView&) = delete;
    WidenedView& operator=(const WidenedView&) = delete;

private:
    VxViewport& v_;
    struct Saved
    {
        explicit Saved(const VxViewport& v)
            : w(v.w), h(v.h), xleft(v.xleft), xright(v.xright), ybottom(v.ybottom), ytop(v.ytop),
              bblatmin(v.bblatmin), bblatmax(v.bblatmax), bblonmin(v.bblonmin), bblonmax(v.bblonmax)
        {
        }
        int w, h;
        double xleft, xright, ybottom, ytop, bblatmin, bblatmax, bblonmin, bblonmax;
    } saved_;
};

} // namespace

bool VXLayerPan::panning(const VxViewport& v)
{
    const bool flat = v.map_tran == VX_MAP_NONE || v.map_tran == VX_MAP_MERC || v.map_tran == VX_MAP_GEOG;
    return v.qevent_state == 2 && flat && v.xmode != VX_SCALE_LOG && v.ymode != VX_SCALE_LOG;
}

bool VXLayerPan::covers(const VxViewport& v, double* shift_x, double* shift_y) const
{
    const VxLayerPan& p = vars;
    if (p.image.isNull() || v.w - v.mleft - v.mright != p.plot_w || v.h - v.mtop - v.mbottom != p.plot_h ||
        v.mleft != p.mleft || v.mtop != p.mtop || v.map_tran != p.map_tran ||
        (VXLayer::getRatio() > 0 ? VXLayer::getRatio() : 1) != p.ratio)
        return false;
    const double dx = (v.xright - v.xleft) / p.plot_w, dy = (v.ytop - v.ybottom) / p.plot_h;
    if (!sameStep(dx, p.dx) || !sameStep(dy, p.dy))
        return false;
    const double sx = (v.xleft - p.xleft) / p.dx, sy = (v.ytop - p.ytop) / p.dy;
    if (!std::isfinite(sx) || !std::isfinite(sy) || std::fabs(sx) > p.margin_x || std::fabs(sy) > p.margin_y ||
        std::fabs(sx - std::round(sx)) > whole_pixel_tolerance ||
        std::fabs(sy - std::round(sy)) > whole_pixel_tolerance)
        return false;
    *shift_x = std::round(sx);
    *shift_y = std::round(sy);
    return true;
}

int VXLayerPan::render(VXViewport* viewport, bool antialias, const std::function<int(QPainter*)>& draw)
{
    VxViewport& v = viewport->vars;
    const int pw = v.w - v.mleft - v.mright, ph = v.h - v.mtop - v.mbottom;
    if (pw < 3 || ph < 3)
        return -1;
    const double dx = (v.xright - v.xleft) / pw, dy = (v.ytop - v.ybottom) / ph;
    if (!std::isfinite(dx) || !std::isfinite(dy) || dx == 0.0 || dy == 0.0)
        return -1;
    const int ratio = VXLayer::getRatio() > 0 ? VXLayer::getRatio() : 1;
    const int mx = pw / margin_divisor, my = ph / margin_divisor;
    const long long iw = (static_cast<long long>(pw) + 2 * mx) * ratio;
    const long long ih = (static_cast<long long>(ph) + 2 * my) * ratio;
    if (iw > max_picture_side || ih > max_picture_side || iw * ih * 4 > max_picture_bytes) {
        clear();
        return -1;
    }
    QImage& image = vars.image;
    if (image.width() != iw || image.height() != ih) {
        image = QImage(static_cast<int>(iw), static_cast<int>(ih), QImage::Format_ARGB32_Premultiplied);
        if (image.isNull())
            return -1;
    }
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);

    vars.plot_w = pw;
    vars.plot_h = ph;
    vars.mleft = v.mleft;
    vars.mtop = v.mtop;
    vars.margin_x = mx;
    vars.margin_y = my;
    vars.map_tran = v.map_tran;
    vars.ratio = ratio;
    vars.xleft = v.xleft;
    vars.ytop = v.ytop;
    vars.dx = dx;
    vars.dy = dy;

    WidenedView widened(v, mx, my, dx, dy);
    QPainter painter(&image);
    // the widened plot area starts at the picture's origin
    painter.translate(-v.mleft, -v.mtop);
    if (antialias)
        painter.setRenderHint(QPainter::Antialiasing, true);
    vars.drawn = draw(&painter);
    painter.end();
    if (vars.mask_color.isValid()) {
        const QRgb key = vars.mask_color.rgba();
        for (int y = 0; y < image.height(); y++) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < image.width(); x++)
                if (line[x] && qUnpremultiply(line[x]) == key)
                    line[x] = 0;
        }
    }
    return vars.drawn;
}

int VXLayerPan::compose(QPainter* painter, VXViewport* viewport, bool antialias,
                        const std::function<int(QPainter*)>& draw)
{
    if (!painter || !viewport)
        return -1;
    double sx = 0.0, sy = 0.0;
    if (!covers(viewport->vars, &sx, &sy)) {
        if (render(viewport, antialias, draw) < 0)
            return -1;
        if (!covers(viewport->vars, &sx, &sy))
            return -1;
    }
    if (!vars.drawn)
        return 0;
    const VxViewport& v = viewport->vars;
    painter->save();
    painter->setClipRect(v.mleft, v.mtop, vars.plot_w, vars.plot_h, Qt::IntersectClip);
    const QPoint origin(v.mleft - vars.margin_x - static_cast<int>(sx), v.mtop - vars.margin_y + static_cast<int>(sy));
    painter->drawImage(origin, vars.image);
    painter->restore();
    return vars.drawn;
}

void VXLayerPan::clear()
{
    const QColor mask = vars.mask_color;
    vars = VxLayerPan();
    vars.mask_color = mask;
}

void VXLayerPan::setMaskColor(const QColor* color)
{
    const QColor mask = color ? *color : QColor();
    if (mask == vars.mask_color)
        return;
    vars = VxLayerPan();
    vars.mask_color = mask;
}
