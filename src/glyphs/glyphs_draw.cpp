// Glyphs: placing them for the view (size, longitude copies, globe) and
// painting them and their labels.
#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"

#include "foundation/values.h"
#include "glyphs/graphicscontext_p.h"
#include "map/projection/projections.h"
#include "toolkit/base/errors.h"
#include "viewport/pixelexpr.h"
#include "viewport/viewport.h"

#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace {

// Copies of one glyph across the longitude wraps, at most; a wider view
// draws the first ones only.
constexpr int max_copies = 100;
// Symbols are drawn at most this many pixels across.
constexpr double max_size_pixels = 100000.0;
constexpr double deg = M_PI / 180.0;

// Whether a shape's outline encloses an area; symbols drawn with lines only
// (cross, x) are hit on their bounding box instead.
bool outlineFilled(const VxShape* shape)
{
    static QHash<const VxShape*, bool> statics;
    static const VxShape* const known[] = {
        VXShape::getPoint(),  VXShape::getCross(), VXShape::getX(),       VXShape::getCircle(),
        VXShape::getSquare(), VXShape::getTriangle(), VXShape::getDiamond(), VXShape::getStar(),
        VXShape::getVerticalLine(), VXShape::getHorizontalLine(),
    };
    auto compute = [](const VxShape* s) {
        if (!s->outline || s->outline->isEmpty())
            return false;
        const QRectF box = s->outline->boundingRect();
        return box.width() > 0.0 && box.height() > 0.0 && s->outline->contains(box.center());
    };
    if (std::find(std::begin(known), std::end(known), shape) == std::end(known))
        return compute(shape);
    auto it = statics.find(shape);
    if (it == statics.end())
        it = statics.insert(shape, compute(shape));
    return it.value();
}

} // namespace

VxShape* VXGlyph::effectiveShape() const
{
    if (vars.shape)
        return vars.shape;
    return vars.glyphs ? vars.glyphs->vars.shape_default : nullptr;
}

void VXGlyph::preparePaths()
{
    const VxShape* shape = effectiveShape();
    vars.paths.clear();
    vars.paths_stale = 0;
    if (!shape)
        return;
    vars.paths.reserve(shape->paths.size());
    for (qsizetype i = 0; i < shape->paths.size(); i++) {
        VxPath part;
        part.path = shape->paths.at(i);
        if (i < vars.gcs.size())
            part.gc = vars.gcs.at(i);
        else if (vars.gcs.isEmpty() && i == 0 && vars.glyphs)
            part.gc = vars.glyphs->vars.gc_default;
        if (part.gc)
            VXGraphicsContext::makeGcPenBrush(part.gc, &part.pen, &part.brush);
        vars.paths.append(part);
    }
}

double VXGlyph::sizePixels(int* ok) const
{
    *ok = 1;
    double s = getSize();
    if (!(s > 0.0)) {
        if (!vars.glyphs) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXGlyph::setTransformations: default symbol size needs parent VXGlyphs.\n");
            *ok = 0;
            return 0.0;
        }
        s = vars.glyphs->vars.sizep_default;
    }
    return s;
}

int VXGlyph::setTransformations(QList<QPointF>* label_positions)
{
    vars.visible = 1;
    vars.skip = 1;
    vars.plot_paths.clear();
    vars.label_points.clear();
    vars.shape_path = QPainterPath();
    vars.hit_rect = QRectF();
    delete vars.label_path;
    vars.label_path = nullptr;

    VXViewport* vp = getViewportParent();
    if (!vp)
        return 0;
    const VxViewport& v = vp->vars;
    if (v.xleft == VX_NULL_VALUE)
        return 0;
    int pw = 0, ph = 0;
    double xs, xe, xsc, ys, ye, ysc;
    if (vp->getScales(&pw, &ph, &xs, &xe, &xsc, &ys, &ye, &ysc) < 0)
        return 0;

    int ok = 1;
    double s = sizePixels(&ok);
    if (!ok)
        return -1;
    // a negative default is a fraction of the plot height, width or larger
    // side
    double pixels;
    if (s > 0.0)
        pixels = s;
    else if (s >= -2.0)
        pixels = -s * ph;
    else if (s >= -4.0)
        pixels = (-s - 2.0) * pw;
    else
        pixels = (-s - 4.0) * std::max(pw, ph);
    const VXGlyphs* set = vars.glyphs;
    if (set && set->vars.selection_index == vars.index && set->vars.interaction_mode != 2)
        pixels *= set->vars.selection_size_increase_factor;
    if (!(pixels > 0.0))
        return 0;
    pixels = std::min(pixels, max_size_pixels);
    const double half = pixels * 0.5;

    const VxShape* shape = effectiveShape();
    if (!shape || shape->paths.isEmpty())
        return 0;
    if (vars.paths_stale || vars.paths.size() != shape->paths.size()
        || (!vars.paths.isEmpty() && vars.paths.first().path != shape->paths.first()))
        preparePaths();

    // pixel positions of the copies, with the globe's orientation
    struct Copy
    {
        double x, y;
        bool globe;
        double azimuth, dip, north;
    };
    QList<Copy> copies;
    const int xmode = set ? set->vars.xmode_default : 0, ymode = set ? set->vars.ymode_default : 0;
    const double xgain = set ? set->vars.xgain : 1.0, ygain = set ? set->vars.ygain : 1.0;
    double px = 0.0, py = 0.0;
    if (xmode == 2 || ymode == 2) {
        // fractions of the plot area; a world axis beside one is linear
        bool placed = true;
        if (xmode == 2)
            px = v.mleft + vars.xw * xgain * pw;
        else
            placed = vp->getPcoordX(vars.xw, &px) == 0;
        if (ymode == 2)
            py = v.mtop + ph - vars.yw * ygain * ph;
        else
            placed = placed && vp->getPcoordY(v.map_tran == VX_MAP_MERC ? VX_mercator_y(vars.yw) : vars.yw, &py) == 0;
        if (placed)
            copies.append({px, py, false, 0.0, 0.0, 0.0});
    } else {
        switch (v.map_tran) {
        case VX_MAP_EDP: {
            double dx, dy, north;
            VX_geopointat2edp2(v.latr, v.lonr, vars.yw, vars.xw, &dx, &dy, &north);
            if (vp->getPcoords(dx, dy, &px, &py, 1, 0) == 0)
                copies.append({px, py, false, 0.0, 0.0, 0.0});
            break;
        }
        case VX_MAP_GLOBE: {
            double dx, dy, north = 0.0, azimuth = 0.0, dip = 0.0;
            // the far side is skipped
            if (VX_geopointat2globe2(v.latr, v.lonr, vars.yw, vars.xw, &dx, &dy, &north, &azimuth, &dip) == 0
                && vp->getPcoords(dx, dy, &px, &py, 1, 0) == 0)
                copies.append({px, py, true, azimuth, dip, north});
            break;
        }
        case VX_MAP_MERC:
        case VX_MAP_GEOG: {
            // from the leftmost copy in view, every 360 degrees
            double lon = vars.xw;
            if (!std::isfinite(lon) || !std::isfinite(v.xleft) || !std::isfinite(v.xright))
                break;
            const double k = std::ceil((v.xleft - lon) / 360.0);
            if (std::fabs(k) > 1.0e12)
                break;
            lon += 360.0 * k;
            for (int n = 0; lon <= v.xright && n < max_copies; n++, lon += 360.0)
                if (vp->getPcoords(lon, vars.yw, &px, &py, 0, 0) == 0)
                    copies.append({px, py, false, 0.0, 0.0, 0.0});
            break;
        }
        default:
            if (vp->getPcoords(vars.xw, vars.yw, &px, &py, 0, 0) == 0)
                copies.append({px, py, false, 0.0, 0.0, 0.0});
            break;
        }
    }

    const bool filled = outlineFilled(shape);
    const QRectF plot(v.mleft, v.mtop, pw, ph);
    double jx = 0.0, jy = 0.0;
    const bool want_label = vars.visible_label && !vars.label.isEmpty();
    if (want_label)
        VXViewport::parseAnchor(set ? set->vars.shape_label_anchor_default : 3, &jx, &jy);
    vars.shape_path.setFillRule(Qt::WindingFill);
    for (const Copy& c : std::as_const(copies)) {
        if (!(c.x >= plot.left() && c.x <= plot.right() && c.y >= plot.top() && c.y <= plot.bottom()))
            continue;
        QTransform t;
        t.translate(c.x, c.y);
        if (c.globe) {
            // lie on the sphere: foreshortened along the radius by the
            // cosine of the distance from the centre, up still to the north
            const double f = std::max(std::cos(c.dip * deg), 0.01);
            const double rel = (c.north - c.azimuth) * deg;
            const double gamma = std::atan2(f * std::sin(rel), std::cos(rel)) / deg;
            t.rotate(c.azimuth);
            t.scale(1.0, f);
            t.rotate(gamma);
        }
        t.scale(half, half);
        QList<QPainterPath> parts;
        parts.reserve(shape->paths.size());
        for (const QPainterPath* path : shape->paths)
            parts.append(path ? t.map(*path) : QPainterPath());
        vars.plot_paths.append(parts);
        const QPainterPath& outline = shape->outline ? *shape->outline : *shape->paths.first();
        if (filled)
            vars.shape_path.addPath(t.map(outline));
        else
            vars.shape_path.addRect(t.mapRect(outline.boundingRect()).adjusted(-2.0, -2.0, 2.0, 2.0));
        if (vars.plot_paths.size() == 1) {
            vars.xp = c.x;
            vars.yp = c.y;
        }
        if (want_label) {
            const QRectF& bb = shape->bounding_rect;
            const QPointF anchor(c.x + (bb.left() + jx * bb.width()) * half,
                                 c.y + (bb.bottom() - jy * bb.height()) * half);
            vars.label_points.append(anchor);
            if (label_positions)
                label_positions->append(anchor);
        }
    }
    vars.visible = vars.plot_paths.isEmpty() ? 0 : 1;
    vars.skip = vars.plot_paths.isEmpty() ? 1 : 0;
    vars.hit_rect = vars.shape_path.boundingRect();
    return 0;
}

void VXGlyph::drawParts(QPainter* painter, int mode)
{
    if (vars.skip || !painter)
        return;
    const VXGlyphs* set = vars.glyphs;
    const bool selected = mode == 1 || (set && set->vars.selection_index == vars.index);
    const double reduction = set ? set->vars.selection_opacity_reduction_factor : 1.0;
    for (const QList<QPainterPath>& copy : std::as_const(vars.plot_paths)) {
        for (qsizetype i = 0; i < copy.size() && i < vars.paths.size(); i++) {
            const VxPath& part = vars.paths.at(i);
            if (!part.gc)
                continue;
            painter->setOpacity(1.0);
            VXGraphicsContext::drawGcPainter(part.gc, &part.pen, &part.brush, painter);
            double opacity = 1.0;
            if (!selected) {
                opacity = painter->opacity();
                if (vars.opacity < 1.0)
                    opacity *= vars.opacity;
                if (mode == 2)
                    opacity *= reduction;
            }
            if (!(opacity > 0.0))
                continue;
            painter->setOpacity(std::min(opacity, 1.0));
            painter->drawPath(copy.at(i));
        }
    }
    painter->setOpacity(1.0);
    drawLabel(painter);
}

void VXGlyph::draw(QPainter* painter)
{
    drawParts(painter, 0);
}

void VXGlyph::drawSelected(QPainter* painter)
{
    drawParts(painter, 1);
}

void VXGlyph::drawUnselected(QPainter* painter)
{
    drawParts(painter, 2);
}

void VXGlyph::drawLabel(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!vars.visible_label || vars.label.isEmpty() || !vars.glyphs || !vp || vars.label_points.isEmpty())
        return;
    const VxGlyphs& set = vars.glyphs->vars;
    QPen pen, outline;
    QBrush brush, fill;
    VXGraphicsContext::makeGcPenBrush(set.gc_label, &pen, &brush);
    VXGraphicsContext::makeGcPenBrush(set.gc_label_background, &outline, &fill);
    VX_Font font;
    font.font = painter->font();
    if (set.gc_label)
        for (const VxGraphicsContextItem& item : *set.gc_label) {
            int kind = 0;
            bool ok = true;
            const void* value = item ? vxgc::evaluate(*item, &kind, &ok) : nullptr;
            if (item && item->item && item->item->type == VX_GC_FONT && kind == vxgc::KIND_FONT && value)
                font.font = *static_cast<const QFont*>(value);
        }
    font.invalid = 0;
    VX_Color text_color, background, background_outline;
    text_color.color = pen.style() != Qt::NoPen ? pen.color() : QColor(Qt::black);
    if (fill.style() != Qt::NoBrush)
        background.color = fill.color();
    if (outline.style() != Qt::NoPen)
        background_outline.color = outline.color();
    const QByteArray text = vars.label.toUtf8();
    const char* just = VX_AnchorName(set.label_anchor_default);
    for (const QPointF& pt : std::as_const(vars.label_points)) {
        QPainterPath* box = nullptr;
        painter->save();
        vp->drawText(painter, &font, pt.x() - vp->vars.mleft, (vp->vars.h - vp->vars.mbottom) - pt.y(), just, 0.0,
                     text.constData(), 0, 0, 0, &text_color, &background, &background_outline, &box, nullptr,
                     nullptr, nullptr, nullptr, 0);
        painter->restore();
        if (box) {
            if (!vars.label_path)
                vars.label_path = new QPainterPath();
            vars.label_path->addPath(*box);
            delete box;
        }
    }
    if (vars.label_path)
        vars.hit_rect = vars.hit_rect.united(vars.label_path->boundingRect());
}

int VXGlyph::drawViewportItem(QPainter* painter)
{
    if (!painter || setTransformations(nullptr) < 0)
        return 0;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, antialias);
    draw(painter);
    painter->restore();
    return vars.skip ? 0 : 1;
}

int VXGlyphs::drawViewportItem(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!painter || !vp)
        return 0;
    int pw = 0, ph = 0;
    double xs, xe, xsc, ys, ye, ysc;
    if (vp->getScales(&pw, &ph, &xs, &xe, &xsc, &ys, &ye, &ysc) < 0)
        return 0;
    painter->save();
    painter->setClipRect(QRectF(vp->vars.mleft, vp->vars.mtop, pw, ph), Qt::IntersectClip);
    painter->setOpacity(1.0);
    painter->setRenderHint(QPainter::Antialiasing, antialias);
    int drawn = 0;
    for (VXGlyph* g : std::as_const(vars.glyphs))
        if (g->setTransformations(nullptr) == 0 && !g->vars.skip)
            drawn++;
    VXGlyph* selected = selectedGlyph();
    for (VXGlyph* g : std::as_const(vars.glyphs)) {
        if (!selected)
            g->draw(painter);
        else if (g != selected)
            g->drawUnselected(painter);
    }
    if (selected)
        selected->drawSelected(painter);
    painter->restore();
    return drawn > 0 ? 1 : 0;
}
