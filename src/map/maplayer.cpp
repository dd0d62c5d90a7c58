// VXMapLayer: construction, drawing and the shade veil.
#include "map/maplayer.h"

#include "map/mapitem.h"
#include "map/projection/maptransform.h"
#include "map/projection/projections.h"
#include "toolkit/base/errors.h"
#include "toolkit/geo/geo.h"
#include "viewport/layer.h"
#include "viewport/layerpan_p.h"
#include "viewport/viewport.h"

#include <QImage>
#include <QMessageBox>
#include <QPainter>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

constexpr double d2r = 0.017453292519943295;
// Radius of the projected earth in edp and globe.
constexpr double edp_radius = 180.0;
constexpr double globe_radius = 57.29577951308232;

int parseDefinitionOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char*, int, void* object_ptr)
{
    auto* layer = static_cast<VXMapLayer*>(static_cast<VXConfigure*>(object_ptr));
    if (layer->parseDefinition(value) < 0)
        return -1;
    spec->specFlags |= HL_SPEC_CHANGED;
    return 0;
}

char* printDefinitionOption(HL_ConfigureSpec*, HL_ClientData, char*, int offset, void*)
{
    return strdup(offset == 0 ? "" : "Illegal offset value");
}

HL_CustomOption opt_definition = {parseDefinitionOption, printDefinitionOption, nullptr};

HL_ConfigureSpec maplayer_specs[] = {
    {"custom", "definition", nullptr, 0, 0, &opt_definition},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

// Draw with the viewport's projection off: the points are plot corners or
// a rim in viewport coordinates.
void polyDrawPlain(VXViewport* viewport, QPainter* painter, int npts, double* x, double* y, int fill)
{
    const int tran = viewport->vars.map_tran;
    viewport->vars.map_tran = VX_MAP_NONE;
    viewport->polyDraw(painter, npts, x, y, fill, 0, 0);
    viewport->vars.map_tran = tran;
}

} // namespace

VXMapLayer::VXMapLayer(VXViewport* viewport, VXMap* map)
    : VXViewportItem(viewport, nullptr, QStringLiteral("VXMapLayer"), 0)
{
    if (!map)
        throw "VXMapLayer::VXMapLayer: Need non-NULL VXMap pointer.";
    vars.map = map;
    setConfigureSpecs(maplayer_specs, reinterpret_cast<char*>(&vars), "VXMapLayer", static_cast<VXConfigure*>(this),
                      1);
}

VXMapLayer::~VXMapLayer()
{
    // the cache may still point at this layer's key colour
    if (VXLayer* layer = getLayer())
        if (layer->getMaskColor() == &vars.transparent_color.color)
            layer->maskColorTransparent();
    clear();
    delete vars.shade_image;
    free(vars.shade_image_buf);
}

void VXMapLayer::clear()
{
    delete vars.mapdata;
    vars.mapdata = nullptr;
    pan.reset();
}

int VXMapLayer::drawViewportItem(QPainter* painter)
{
    VXViewport* viewport = getViewportParent();
    if (!painter || !viewport)
        return 0;
    const VxViewport& v = viewport->vars;
    if (VXLayerPan::panning(v) && vars.opacity > 0.0) {
        if (!pan)
            pan = std::make_unique<VXLayerPan>();
        const int drawn = pan->compose(painter, viewport, antialias, [this](QPainter* p) { return drawClipped(p); });
        if (drawn >= 0)
            return drawn;
    }
    // not a pan frame: draw the view itself, and give the picture back
    pan.reset();
    return drawClipped(painter);
}

int VXMapLayer::drawClipped(QPainter* painter)
{
    VXViewport* viewport = getViewportParent();
    if (!painter || !viewport)
        return 0;
    const VxViewport& v = viewport->vars;
    painter->setClipRect(v.mleft, v.mtop, v.w - v.mleft - v.mright, v.h - v.mtop - v.mbottom);
    return draw(painter);
}

int VXMapLayer::draw(QPainter* painter)
{
    VXViewport* viewport = getViewportParent();
    VXMap* map = vars.map;
    if (!map || !viewport || !painter || vars.opacity <= 0.0)
        return 0;
    VxViewport* vp = &viewport->vars;
    if (vars.type == VX_MAPLAYER_SHADE && !vars.allowed_projections.contains(vp->map_tran))
        return 0;
    viewport->computeMapBB();
    const int W = vp->w - vp->mleft - vp->mright;
    const int H = vp->h - vp->mtop - vp->mbottom;
    if (W < 1 || H < 1)
        return 0;

    painter->save();
    const bool data_kind = vars.type == VX_MAPLAYER_GRID || vars.type == VX_MAPLAYER_VECTOR ||
                           vars.type == VX_MAPLAYER_VECTOR_FILL;
    if (data_kind && !vars.mapdata && !vars.nodata) {
        const int nthreads = vars.type == VX_MAPLAYER_GRID ? map->vars.nthreads : 1;
        try {
            vars.mapdata = new VXMapData(vars.mapdata_source, nthreads);
        } catch (...) {
            vars.mapdata = nullptr;
            vars.nodata = 1;
            // the box tells; the register is not left full inside a paint
            hl_clear_register(HL_CLEAR_QUIET);
            auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Map"),
                                        QStringLiteral("Cannot find layer %1 map file %2\nDownload using ...")
                                            .arg(item_name, vars.mapdata_source),
                                        QMessageBox::Ok, viewport);
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->setModal(false);
            box->show();
        }
    }
    if (data_kind && vars.nodata) {
        QImage empty(W, H, QImage::Format_ARGB32);
        empty.fill(QColor(0, 0, 0, 0));
        painter->drawImage(vp->mleft, vp->mtop, empty);
        // out of the paint loop for good: the map leaves it out of the list
        item_process_pvt = 0;
    } else if (vars.type == VX_MAPLAYER_GRID) {
        const double dpp = (vp->xright - vp->xleft) / W;
        vars.mapdata->setResolution(dpp);
        QImage* image = vars.mapdata->drawImage(W, H, vp->map_tran, vp->xleft, vp->xright, vp->ybottom, vp->ytop,
                                                vp->lonr, vp->latr, vars.gamma, vars.lightmin);
        if (vars.opacity < 1.0) {
            // blended against white, not against what lies beneath
            painter->fillRect(vp->mleft, vp->mtop, W, H, QColor(0xff, 0xff, 0xff));
            painter->setOpacity(vars.opacity);
        }
        if (image)
            painter->drawImage(vp->mleft, vp->mtop, *image);
        vars.mapdata->cleanCache(map->vars.cache_maxsize, 0);
    } else if (vars.type == VX_MAPLAYER_VECTOR || vars.type == VX_MAPLAYER_VECTOR_FILL) {
        if (vars.type == VX_MAPLAYER_VECTOR_FILL && map->vars.fill_water.color.isValid()) {
            // the map's colour decides whether, the layer's what colour
            VX_setup_fill(painter, &vars.background_color);
            double x[5] = {vp->xleft, vp->xleft, vp->xright, vp->xright, vp->xleft};
            double y[5] = {vp->ybottom, vp->ytop, vp->ytop, vp->ybottom, vp->ybottom};
            polyDrawPlain(viewport, painter, 5, x, y, 1);
        }
        vars.mapdata->setResolution((vp->xright - vp->xleft) / W);
        if (vars.opacity < 1.0)
            painter->setOpacity(vars.opacity);
        vars.mapdata->drawVector(*painter, vp, vars.levels, vars.map_resolutions, vars.linewidth, vars.outline_color,
                                 vars.background_color, vars.fill_color);
    } else if (vars.type == VX_MAPLAYER_SHADE) {
        // the veil brightens about the centre of the map: the second point
        // is read but the reference point is passed as the point of light
        double latl = vp->latl, lonl = vp->lonl;
        if (latl < -90.0) {
            latl = vp->latr + 20.0;
            lonl = lonl + 20.0;
            if (latl > 90.0)
                latl = vp->latr - 20.0;
        }
        (void)lonl;
        QImage* image = drawShadeImage(W, H, vp->map_tran, vp->xleft, vp->xright, vp->ybottom, vp->ytop, vp->lonr,
                                       vp->latr, vp->lonr, vp->latr);
        if (image)
            painter->drawImage(vp->mleft, vp->mtop, *image);
    }
    painter->restore();

    // black beyond the edge of the projected earth
    if ((vp->map_tran == VX_MAP_EDP || vp->map_tran == VX_MAP_GLOBE) && map->vars.fill_black.color.isValid()) {
        const double r = vp->map_tran == VX_MAP_EDP ? edp_radius : globe_radius;
        double x[361], y[361];
        for (int i = 0; i < 360; i++) {
            x[i] = r * sin(i * d2r);
            y[i] = r * cos(i * d2r);
        }
        x[360] = x[0];
        y[360] = y[0];
        painter->save();
        VX_setup_fill(painter, &map->vars.fill_black);
        polyDrawPlain(viewport, painter, 361, x, y, 2);
        painter->restore();
    }
    return 1;
}

QImage* VXMapLayer::drawShadeImage(int width, int height, int tran, double xleft, double xright, double ybottom,
                                   double ytop, double lonr, double latr, double lonl, double latl)
{
    if (width <= 0 || height <= 0)
        return nullptr;
    const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height) * 4;
    if (!vars.shade_image_buf) {
        vars.shade_image_buf = static_cast<unsigned char*>(malloc(size));
        if (!vars.shade_image_buf)
            return nullptr;
        vars.shade_image_buf_size = size;
    } else if (vars.shade_image_buf_size < size) {
        auto* grown = static_cast<unsigned char*>(realloc(vars.shade_image_buf, size));
        if (!grown)
            return nullptr;
        vars.shade_image_buf = grown;
        vars.shade_image_buf_size = size;
        // the old image wraps the old memory
        delete vars.shade_image;
        vars.shade_image = nullptr;
    }
    if (!vars.shade_image || width != vars.shade_width || height != vars.shade_height) {
        delete vars.shade_image;
        vars.shade_image = new QImage(vars.shade_image_buf, width, height, width * 4, QImage::Format_ARGB32);
        vars.shade_width = width;
        vars.shade_height = height;
    }
    memset(vars.shade_image_buf, 0, size);
    vars.shade_xmin = xleft;
    vars.shade_xmax = xright;
    vars.shade_ymin = ybottom;
    vars.shade_ymax = ytop;
    // a single column or row sits at the window's first edge
    vars.shade_dx = width > 1 ? (xright - xleft) / (width - 1) : 0.0;
    vars.shade_dy = height > 1 ? (ytop - ybottom) / (height - 1) : 0.0;
    vars.shade_tran = tran;
    vars.shade_latr = latr;
    vars.shade_lonr = lonr;
    vars.shade_latl = latl;
    vars.shade_lonl = lonl;
    fillShadeImage();
    return vars.shade_image;
}

void VXMapLayer::fillShadeImage()
{
    const int tran = vars.shade_tran;
    HLMapTransform transform(vars.shade_latr, vars.shade_lonr);
    const double lat_light = vars.shade_latl * d2r, lon_light = vars.shade_lonl * d2r;
    auto* out = reinterpret_cast<unsigned int*>(vars.shade_image_buf);
    for (int i = 0; i < vars.shade_height; i++) {
        double y = vars.shade_ymax - vars.shade_dy * i;
        if (tran == VX_MAP_MERC)
            y = VX_mercator_lat(y);
        unsigned int* row = out + static_cast<size_t>(i) * vars.shade_width;
        for (int j = 0; j < vars.shade_width; j++) {
            const double x = vars.shade_xmin + vars.shade_dx * j;
            double lat = y, lon = x;
            if (tran == VX_MAP_EDP) {
                transform.edpDelxy2geopointat(x, y, &lat, &lon);
            } else if (tran == VX_MAP_GLOBE && transform.globeDelxy2geopointat(x, y, &lat, &lon) == -1) {
                row[j] = 0xff000000u;
                continue;
            }
            double del = 0.0;
            geoarc(&del, nullptr, lat_light, lon_light, lat * d2r, lon * d2r);
            double c = cos(del);
            if (c < 0.2)
                c = 0.2;
            const unsigned int alpha = static_cast<unsigned int>(static_cast<int>((1.0 - c) * 255.0));
            row[j] = alpha << 24;
        }
    }
}
