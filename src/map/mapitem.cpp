// VXMap: construction, the layers it makes, the defaults and the display
// order of its layers.
#include "map/mapitem.h"

#include "foundation/messages.h"
#include "items/axes.h"
#include "items/taskbar.h"
#include "map/maplayer.h"
#include "map/mapitem_pan_p.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/params/kv.h"
#include "viewport/layer.h"
#include "viewport/layerpan_p.h"
#include "viewport/viewport.h"

#include <QDebug>

#include <cmath>
#include <cstdlib>

// The key table lives with the parsers (mapitem_keys.cpp).
extern HL_ConfigureSpec vxmap_specs[];

VXMap::VXMap(VXViewport* viewport, int make_navigator, int make_grids, QString* name)
    : VXViewportItem(viewport, nullptr, QStringLiteral("VXMap"), 1)
{
    if (name)
        item_name = *name;
    init(make_navigator, make_grids);
}

void VXMap::init(int make_navigator, int make_grids)
{
    if (VX_ParseColor(QStringLiteral("black"), vars.fill_black) < 0) {
        hl_clear_register(HL_CLEAR_QUIET);
        throw "VXMap::init: VX_Color(fill_black) error.";
    }
    vars.make_navigator = make_navigator;
    VXViewport* viewport = getViewportParent();
    if (viewport) {
        // one degree the same on both axes
        viewport->configure("constant_aspect", "1.0", "center_yscale", "yes", nullptr);
        if (make_grids) {
            vars.grids = new VXAxes(viewport);
            vars.grids->configure("length_tics", "0", "length_tics_small", "0", "mindx", "50", "mindy", "50",
                                  "xincrement", "30.0", "yincrement", "30.0", "xincrement_small", "5.0",
                                  "yincrement_small", "5.0", "linewidth_tics", "-1", "linewidth_grids_small", "1",
                                  "color_grids", "#20000000", "color_grids_small", "#20000000", nullptr);
            // a paint cache of its own: the graticule is redrawn only when
            // the view changes, not at every repaint of the map
            vars.grids->setLayer(QStringLiteral("map_grids"));
        }
    }
    // the overview navigator is not part of this library yet: make_navigator
    // is kept for the task bar's choice of buttons only
    setConfigureSpecs(vxmap_specs, reinterpret_cast<char*>(&vars), "VXMap", static_cast<VXConfigure*>(this), 1);
}

VXMap::~VXMap()
{
    qDeleteAll(vars.maplayer_definitions);
    vars.maplayer_definitions.clear();
    delete vars.taskbar;
    vars.taskbar = nullptr;
    delete vars.grids;
    vars.grids = nullptr;
}

VXTaskbar* VXMap::getTaskbar()
{
    return vars.taskbar;
}

void VXMap::clearMaplayerDefinitions()
{
    if (pan)
        pan->pictures.clear();  // they name the layers going away
    qDeleteAll(vars.maplayer_definitions);
    vars.maplayer_definitions.clear();
    vars.maplayer_definitions_string.clear();
}

void VXMap::setMaplayersStale()
{
    for (VXMapLayer* layer : std::as_const(vars.maplayer_definitions))
        if (VXLayer* l = layer->getLayer())
            l->setStale();
}

int VXMap::makeMaplayer(QString name)
{
    if (vars.maplayer_definitions.contains(name))
        return 0;
    auto it = vars.maplayer_definitions_string.constFind(name);
    if (it == vars.maplayer_definitions_string.constEnd()) {
        hl_register_error(0, "VXMap::makeMaplayer: maplayer '%s' not defined.\n", name.toUtf8().constData());
        return -1;
    }
    VXViewport* viewport = getViewportParent();
    VXMapLayer* layer = nullptr;
    try {
        layer = new VXMapLayer(viewport, this);
    } catch (...) {
        hl_register_error(0, "VXMap::makeMaplayer: new VXMapLayer error.\n");
        return -1;
    }
    layer->setItemName(name);
    if (layer->configure("definition", it.value().toUtf8().constData(), nullptr) < 0) {
        delete layer;
        hl_register_error(0, "VXMap::makeMaplayer: VXMapLayer->configure() error.\n");
        return -1;
    }
    vars.maplayer_definitions.insert(name, layer);
    // every new layer moves the reference longitude by this much, so that
    // the map never sits exactly on a coordinate line
    if (viewport) {
        viewport->vars.lonr += 0.0001;
        viewport->setStale();
    }
    return 0;
}

int VXMap::setDefaults()
{
    Kv* kv = nullptr;
    if (kvread("vxmap_defaults", &kv) < 0) {
        hl_register_error(0, "VXMap::setDefaults: kvread(vxplot_defaults) error.\n");
        return -1;
    }
    // one array of the file, as text, to a key of the map; 0 when the
    // file lacks it (the sequence goes on)
    auto apply = [&](const char* name, const char* key) {
        Kv* arr = nullptr;
        if (kvparam(kv, name, KV_ARR, 1, &arr) < 0) {
            hl_register_error(0, "VXMap::setDefaults: kvparam(%s) error.\n", name);
            return 0;
        }
        char* text = kv2string(arr);
        const int ret = configure(key, text, nullptr);
        free(text);
        return ret;
    };
    apply("VX_MAP_DEFAULT_MAPLAYER_DEFINITIONS", "maplayer_definitions");
    apply("VX_MAP_DEFAULT_MAPLAYERS_TEMPLATES", "define_maplayers_templates");
    int ret = 0;
    if (configure("maplayers_template", "bluemarble", nullptr) == 0) {
        ret = apply("VX_MAP_DEFAULT_TASKBAR_BUTTONS_DEFINITIONS", "map_taskbar_buttons_definitions");
        vars.vector_only = 0;
    } else {
        // the raster file is not installed: vector maps
        if (vxplot_debug)
            qDebug("VXMap::setDefaults: no raster map, vector layers only");
        hl_clear_register(HL_CLEAR_QUIET);
        if (apply("VX_MAP_DEFAULT_MAPLAYER_VECTOR_ONLY_DEFINITIONS", "maplayer_definitions") < 0 ||
            apply("VX_MAP_DEFAULT_MAPLAYERS_VECTOR_ONLY_TEMPLATES", "define_maplayers_templates") < 0 ||
            configure("maplayers_template", "vector", nullptr) < 0 ||
            apply("VX_MAP_DEFAULT_TASKBAR_BUTTONS_VECTOR_ONLY_DEFINITIONS", "map_taskbar_buttons_definitions") < 0)
            ret = -1;
        vars.vector_only = 1;
    }
    if (ret == 0)
        ret = vars.make_navigator ? apply("VX_MAP_DEFAULT_TASKBAR_BUTTONS", "map_taskbar_buttons")
                                  : apply("VX_MAP_DEFAULT_TASKBAR_NONAV_BUTTONS", "map_taskbar_buttons");
    kvfree(kv);
    if (ret < 0) {
        // a broken or incomplete installation is reported, not fatal
        hl_register_error(0, "VXMap::setDefaults: Cannot set default parameters.\n");
        return -1;
    }
    if (VXViewport* viewport = getViewportParent())
        viewport->update();
    return 0;
}

QList<VXViewportItem*> VXMap::layerOrder()
{
    QList<VXViewportItem*> order;
    QList<VXLayer*> groups;
    QHash<VXLayer*, VXMapLayer*> last_of_group;
    for (const QString& name : std::as_const(vars.maplayers)) {
        VXMapLayer* layer = vars.maplayer_definitions.value(name, nullptr);
        if (!layer || !layer->item_display_pvt || !layer->item_process_pvt)
            continue;
        order.append(layer);
        if (VXLayer* l = layer->getLayer()) {
            if (!groups.contains(l))
                groups.append(l);
            last_of_group.insert(l, layer);
        }
    }
    for (VXLayer* l : std::as_const(groups))
        order.insert(order.indexOf(last_of_group.value(l)) + 1, l);
    return order;
}

int VXMap::drawViewportItem(QPainter* painter)
{
    VXViewport* viewport = getViewportParent();
    if (!viewport)
        return 0;
    // the paint loop reads the list by index, and everything moved here
    // goes behind this item, so the loop meets it next
    for (VXMapLayer* layer : std::as_const(vars.maplayer_definitions)) {
        viewport->removeItem(layer);
        if (VXLayer* l = layer->getLayer())
            viewport->removeItem(l);
    }
    if (VXLayerPan::panning(viewport->vars) && drawPanFrame(painter)) {
        if (vars.taskbar)
            viewport->moveItemToTop(vars.taskbar);
        return 1;
    }
    if (pan) {
        // the caches were out of the list while the pan ran, out of reach
        // of the viewport's invalidation: the view has moved since
        pan.reset();
        setMaplayersStale();
        if (vars.grids)
            vars.grids->setItemStale();
    }
    VXViewportItem* last = this;
    for (VXViewportItem* item : layerOrder()) {
        viewport->addItemAfter(item, last);
        last = item;
    }
    if (vars.grids) {
        viewport->moveItemAfter(vars.grids, last);
        if (VXLayer* l = vars.grids->getLayer())
            viewport->moveItemAfter(l, vars.grids);
    }
    if (vars.taskbar)
        viewport->moveItemToTop(vars.taskbar);
    return 1;
}

void VXMap::solarPosition(double epoch, double* lat, double* lon)
{
    constexpr double d2r = 0.017453292519943295, r2d = 57.29577951308232;
    static const double eref = timeparse("2000001:12:00:00");
    static const double se = sin(23.4393 * d2r), ce = cos(23.4393 * d2r);
    const double d = (epoch - eref) / 86400.0;
    double gmst = 18.697374558 + 24.06570982441908 * d;
    // a whole number of days off first, so that a far epoch cannot loop long
    if (gmst >= 24.0)
        gmst -= 24.0 * floor(gmst / 24.0);
    while (gmst >= 24.0)
        gmst -= 24.0;
    gmst /= 24.0;
    double l = 280.46 + 0.9856474 * d;
    l -= 360.0 * floor(l / 360.0);
    const double g = 357.528 + 0.9856003 * d;
    const double lambda = l + 1.915 * sin(g * d2r) + 0.02 * sin(2.0 * g * d2r);
    *lat = r2d * asin(se * sin(lambda * d2r));
    double lo = r2d * atan(ce * tan(lambda * d2r));
    for (int i = 0; i < 8 && fabs(lo - (static_cast<int>(lambda / 90.0) + 1) * 90.0) > 90.0; i++)
        lo += 90.0;
    *lon = lo - 360.0 * gmst;
}
