// What a map layer paints from a map data file: an ARGB raster of a grid
// resolution, filled in row bands by up to 16 pool threads, or the vector
// segments of the chosen resolutions drawn with a painter.
//
// The raster is byte-identical for any thread count: each pixel is computed
// by the same arithmetic whichever thread owns its row.  Grid heights are
// coloured by one process-wide table (vxmapdata_cpt) built once at the first
// construction; RGB grids give their colours as they are; both may then be
// shaped in lightness (lightmin, gamma).
#pragma once

#include "foundation/values.h"
#include "map/mapdatafile.h"
#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QString>

#include <vector>

class QImage;
class QPainter;
struct Mtpool;
struct VxViewport;

// The width of a level's lines from a scale on: rows are walked in list
// order, and a row whose pixels_per_degree_min lies above the scale ends
// the walk.
struct VxMapLayerLevelLinewidth
{
    double pixels_per_degree_min = -1.0;
    double linewidth = -1.0;
};

// How segments of one nesting level are drawn.
struct VxMapLayerLevel
{
    int index_min = -1;                  // lowest resolution index drawn; -1 any
    double pixels_per_degree_min = -1.0; // smallest scale drawn; -1 any
    VX_Color outline;
    QList<VxMapLayerLevelLinewidth> linewidths;
};

// The colour table of grid heights: rows (z, red, green, blue), z in metres
// before scaling, closed by z -9999.
struct VxMapDataCptRow
{
    int z, red, green, blue;
};
VXPLOT_EXPORT extern const VxMapDataCptRow vxmapdata_cpt_table[];
// Built once by the first VXMapData: the colour of height z (grid units,
// the table's z times 0.625) is vxmapdata_cpt[z - vxmapdata_ecpt], for
// vxmapdata_ncpt entries; heights outside take the nearer end.
VXPLOT_EXPORT extern unsigned int* vxmapdata_cpt;  // 0xffRRGGBB
VXPLOT_EXPORT extern int vxmapdata_ecpt;
VXPLOT_EXPORT extern int vxmapdata_ncpt;
VXPLOT_EXPORT void vxmapdata_make_cpt();

class VXPLOT_EXPORT VXMapData : public HLMapData
{
public:
    // Open fname (a path) and make nthreads fill threads (capped at 16;
    // below 2 none: the caller's thread fills).  A file that does not open
    // registers "VXMapData::VXMapData: setInput() error.\n" and throws the
    // text "VXMapData::VXMapData: error.".
    VXMapData(QString fname, int nthreads);
    // Without a file; setInput() may follow.
    explicit VXMapData(int nthreads);
    // Stops the fill threads, frees the raster.
    ~VXMapData() override;

    // Select a resolution by index: 0; -1 with a message out of range.
    int setResolution(int index);
    // The first resolution whose pixel is at most twice dpp
    // (dpp > 0.5*|degrees_per_pixel|), else the finest.  Returns its index.
    int setResolution(double degrees_per_pixel);

    // The raster of the selected grid resolution over the world window
    // [xleft, xright] x [ybottom, ytop] of projection tran (VX_MAP_ codes)
    // about latr, lonr, width by height pixels; row 0 at ytop.  Pixels
    // without data are transparent, pixels off the globe opaque black.  The
    // image belongs to this object and is reused by the next call; null for
    // an empty size or when memory runs out.
    QImage* drawImage(int width, int height, int tran, double xleft, double xright, double ybottom, double ytop,
                      double lonr, double latr, double gamma, double lightmin);

    // Draw the segments of the resolutions that map_resolutions names for
    // the selected index (or the selected one alone) into the plot area of
    // viewport: filled areas in water (even levels) and land (odd levels)
    // colours, lines in the outline colour at the level's width for the
    // scale, or at linewidth when levels is empty.
    void drawVector(QPainter& painter, VxViewport* viewport, QHash<int, VxMapLayerLevel> levels,
                    QList<QList<QString>> map_resolutions, double linewidth, VX_Color& outline, VX_Color& water,
                    VX_Color& land);

    // The raster kernel: rows of band index of the image.  Run by the pool
    // or, without one, by drawImage() on the caller's thread.
    static void fill_image(long index, long number, void* data);

    // Spherical point in polygon (lats, lons in degrees, closed implicitly):
    // 1 inside, 0 outside, by the parity of crossings of a ray to the north.
    static int isInside(double lat, double lon, long npts, const double* lats, const double* lons);

    int resolution = -1;
    int nthreads = 0;
    unsigned char* image_buf = nullptr;
    size_t image_buf_size = 0;
    QImage* image = nullptr;
    int width = 0, height = 0;
    double lightmin = 0.0, gamma = 1.0;
    double xmin = 0.0, xmax = 0.0, ymin = 0.0, ymax = 0.0;
    double dx = 0.0, dy = 0.0;
    int tran = 0;
    double latr = 0.0, lonr = 0.0;
    Mtpool* mtc = nullptr;

private:
    void init(int nthreads);
    // Whether fill_image() fills the raster: a grid resolution selected and
    // at least one fill thread.  Its rows then write every pixel.
    bool fills() const;
    // What the fill threads read and do not change: the grid column of
    // every raster column and the colour tables of this draw
    // (mapdata_raster.cpp).
    void prepareRaster();
    struct TileMemory;
    void fillRows(long row_start, long row_end);
    void fillRectilinearRows(long row_start, long row_end, TileMemory& tiles);
    // raster columns [start, end) in one tile column (-1: no data there),
    // whose pixel columns lie within [pixel_lo, pixel_hi]
    struct ColumnRun
    {
        int start, end;
        long tile_column;
        int pixel_lo, pixel_hi;
    };
    struct Raster
    {
        // rectilinear projections: the pixel column within its tile of
        // every raster column, and the columns in runs of one tile column
        std::vector<int> column_pixel;
        std::vector<ColumnRun> column_runs;
        // lightness shaping: a colour's new middle by the sum of its
        // largest and smallest channel, for mid_gamma and mid_lightmin
        bool shaded = false;
        int mid_of_sum[511] = {};
        double mid_gamma = -1.0, mid_lightmin = -1.0;
        // the colour of every height of vxmapdata_cpt, shaped
        std::vector<unsigned int> shaded_cpt;
        // the table heights are coloured by in this draw
        const unsigned int* heights_cpt = nullptr;
    };
    Raster raster;
    // point buffers of drawVector, grown and kept
    double* xplt = nullptr;
    double* yplt = nullptr;
    long nplt = 0;
    // what drawVector projected for the last view, drawn again while the
    // view and the data stay (mapdata_vector.cpp)
    struct VectorCache;
    VectorCache* vector_cache = nullptr;
    void dropVectorCache();
};
