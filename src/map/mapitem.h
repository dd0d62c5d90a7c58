// The map item: what turns a viewport into a map.
//
// VXMap holds named layer definitions (parameter text per layer name) and
// named templates (lists of layer names), makes a VXMapLayer the first time
// a name is stacked, and at every paint rebuilds the display list behind
// itself: its shown layers bottom first, each group's VXLayer right after
// the last of its layers, the graticule above them and the task bar on top.
// The map itself draws nothing.
//
// Everything is set by keys (configure): the layer keys, the projection,
// zoom, reference point and range, and the task bar, whose buttons send
// their "configure" actions back to the map.  setDefaults() loads the
// parameter file "vxmap_defaults": a raster template when its grid file is
// installed, else the vector one.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QString>

#include <memory>

class QPainter;
class QWidget;
class VXAxes;
class VXMapLayer;
class VXNavigator;
class VXTaskbar;
class VXViewport;

struct VxMap
{
    int nthreads = 16;                // fill threads of raster layers
    int cache_maxsize = 500000000;    // bytes of inflated raster tiles kept
    VXTaskbar* taskbar = nullptr;     // owned; made by the task bar keys
    VXNavigator* navigator = nullptr; // overview navigator; none is made yet
    VXAxes* grids = nullptr;          // owned graticule, or null
    QWidget* parent = nullptr;
    int make_navigator = 0;
    int vector_only = 0;              // 1: setDefaults() fell back to vector maps
    VX_Color fill_land, fill_water, fill_black;
    QHash<QString, QString> maplayer_definitions_string;  // name to "definition &Arr{...}"
    QHash<QString, VXMapLayer*> maplayer_definitions;     // layers made, owned
    QList<QString> maplayers;                             // the stack, bottom first
    QHash<QString, QString> maplayers_templates;          // name to "maplayers &Tbl{...}"
    QString taskbar_buttons_definitions_string, taskbar_buttons_string;
};

class VXPLOT_EXPORT VXMap : public VXViewportItem, public VXConfigure
{
public:
    // A registered item of viewport with class name "VXMap".  The viewport
    // keeps a constant aspect (one degree the same on both axes); with
    // make_grids a 30 degree graticule is made.  name, when given, is the
    // item name.  Throws a text when it cannot go on.
    VXMap(VXViewport* viewport, int make_navigator, int make_grids, QString* name);
    // Deletes the layers, the task bar and the graticule.
    ~VXMap() override;

    // The reordering pass of the display list; draws nothing.  1.  While a
    // pan of a flat map runs, the layers, their caches and the graticule
    // are kept out of the list instead, and the map composes the frame
    // itself: one picture per cache (VXLayer) and per layer without one,
    // each drawn once with a margin around the view and copied at the
    // pan's offset (see viewport/layerpan_p.h).  When the pan ends the
    // caches are invalidated and everything is drawn afresh.
    int drawViewportItem(QPainter* painter) override;
    void setVisibility() override {}

    // The task bar, or null before the task bar keys made one.
    VXTaskbar* getTaskbar();
    // Delete every made layer and forget all definitions; the stack of
    // names is kept (names without a layer are passed over at paint).
    void clearMaplayerDefinitions();
    // Invalidate the VXLayer of every made layer.
    void setMaplayersStale();
    // Load the parameter file "vxmap_defaults": its layer definitions and
    // templates, the template "bluemarble" (or, when its raster file is not
    // installed, the vector ones and "vector", with vector_only set) and
    // the task bar.  0; -1 with "VXMap::setDefaults: Cannot set default
    // parameters." registered when the file is missing or its vector
    // defaults do not apply (the map keeps what did).
    int setDefaults();
    // Make the layer name from its definition; 0 (also when made before),
    // -1 with a message.  Each new layer moves the viewport's lonr by
    // 0.0001 degree.
    int makeMaplayer(QString name);

    // A low-precision sub-solar point at epoch (seconds): *lat, *lon in
    // degrees; the longitude is not wrapped.
    static void solarPosition(double epoch, double* lat, double* lon);

    VxMap vars;

    // Parsers of the custom keys (mapitem_keys.cpp).
    int parseMaplayerDefinitions(const char* value);
    int parseMaplayers(const char* value);
    int parseDefineMaplayersTemplate(const char* value);
    int parseDefineMaplayersTemplates(const char* value);
    int parseMaplayersTemplate(const char* value);
    int parseMaplayerVisibility(const char* value, int how);  // 1 show, 0 hide, -1 toggle
    int parseButtonsDefinitions(const char* value);
    int parseButtons(const char* value);
    int parseSetState(const char* value);
    int parseZoom(const char* value);
    int parseViewportKey(const char* key, const char* value);
    int parseShowNav(const char* value);

private:
    void init(int make_navigator, int make_grids);
    // The layers that are shown, each cache right after the last of its
    // layers, the order the display list gets behind the map.
    QList<VXViewportItem*> layerOrder();
    // Compose a pan frame onto painter (mapitem_pan.cpp); false when the
    // frame is left to the layers (a cache shared with other items).
    bool drawPanFrame(QPainter* painter);

    struct PanPictures;
    std::unique_ptr<PanPictures> pan;  // while a pan runs; null otherwise
};
