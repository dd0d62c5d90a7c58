// The frame of a plot: box, grid lines, tic marks, tic numbers, axis labels,
// and for time axes a line of times over a line of dates.
//
// VXAxes is a passive item: it keeps no copy of the view and reads the
// scales of its viewport at every draw.  Tic positions come from three
// rules: nice decimal steps on plain axes, decades on logarithmic ones, and
// meridians and parallels on the edp and globe maps.  The tic generators
// below are pure functions, so that they can be checked apart from any
// painting.
//
// Positions along an axis are fractions of the plot side ("fx"): 0 at the
// left (bottom) edge, 1 at the right (top) edge.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <memory>
#include <vector>

class QPainter;
class VXLayerPan;
class VXViewport;

// Most tics of one family any generator lays out.
inline constexpr int VX_AXES_MAX_TICS = 100000;

// One tic: its value (a log10 exponent on logarithmic axes) and its
// position as a fraction of the plot side.
struct VX_AxisTic
{
    double value = 0.0;
    double fx = 0.0;
};

// Tics of a plain axis whose view runs from start to end over width
// pixels, big tics at least mind pixels apart; incr_big and incr_sml are
// fixed increments, 0 for automatic ones.  Tics outside the view (beyond
// -1e-5 and 1.00001) are left out.  Returns 1 with the tics set, 0 when
// there is nothing to draw (an empty, infinite or NaN
// range; too many tics) with both lists empty.
VXPLOT_EXPORT int VX_axes_linear_tics(double start, double end, int width, int mind, double incr_big,
                                      double incr_sml, std::vector<VX_AxisTic>* big, std::vector<VX_AxisTic>* small);

// Tics of a logarithmic axis whose view runs from 10^start to 10^end
// (start and end are the log10 limits): big tics at the decades, small ones
// at 1 to 9 times each decade.  Works on reversed axes (end below start).
// Returns 1 with the tics set, 0 with both lists empty for a range that is
// empty or not finite.
VXPLOT_EXPORT int VX_axes_log_tics(double start, double end, std::vector<VX_AxisTic>* big,
                                   std::vector<VX_AxisTic>* small);

// Round times for a time axis from start to end (epoch seconds) with at
// most n labels: *first the first time in the view and *incr the step in
// seconds.  The times are first + i * incr for i from 0 below the returned
// count, which is at most n; 0 when the range is empty or not finite.
VXPLOT_EXPORT int VX_axes_time_tics(int n, double start, double end, double* first, double* incr);

struct VxAxes
{
    int xvisible_tics = 1, yvisible_tics = 1;
    char* x_label = nullptr;
    char* y_label = nullptr;
    char* x_format = nullptr;       // "auto", "none", "time" or a number format
    char* y_format = nullptr;
    char* x_time_format = nullptr;  // formats of the time and date lines
    char* x_date_format = nullptr;
    char* axis_style = nullptr;     // sides of the box: any of "nsew"
    char* tic_style = nullptr;      // pairs of side and style letters ("nisieiwi")
    char tic_style_west = 0, tic_style_north = 0, tic_style_east = 0, tic_style_south = 0;
    double xincr_num = 0.0, xincr_sml = 0.0, yincr_num = 0.0, yincr_sml = 0.0;  // 0: automatic
    int boxwidth = 1;               // pixels; negative: no box
    int xtimewidth = 1;             // line width of the time axis
    int xwidth_big = 1, xwidth_sml = 0;
    double xticlength_sml = 5.0, xticlength_big = 10.0;  // pixels
    int ywidth_big = 1, ywidth_sml = 0;
    double yticlength_sml = 5.0, yticlength_big = 10.0;
    int mindx = 200, mindy = 100;   // least pixels between big tics
    int style = 1;                  // Qt::PenStyle of all lines
    int xvisible_grids = 0, yvisible_grids = 0;  // stored only
    int xwidth_big_grids = 1, xwidth_sml_grids = -1, ywidth_big_grids = 1, ywidth_sml_grids = -1;  // negative: off
    VX_Color foreground_labels, foreground_numbers, foreground_axes, x_time_axes;
    VX_Font font_labels, font_numbers, font_supers;
    VX_Color color_grids_x, color_grids_x_small, color_grids_y, color_grids_y_small;
};

class VXPLOT_EXPORT VXAxes : public VXViewportItem, public VXConfigure
{
public:
    // A registered item of master (which may be null: the item then draws
    // nothing), configured with the defaults of its keys.
    explicit VXAxes(VXViewport* master);
    ~VXAxes() override;

    // Draw grids, box, tics, numbers and labels with painter, which paints
    // on the viewport (or its layer).  1 when drawn; 0 with no viewport or
    // a plot area too small.
    int draw(QPainter* painter);

    int processEvent(int type, QEvent* event) override;  // 1: not consumed
    int drawViewportItem(QPainter* painter) override;     // draw()
    void setVisibility() override;                        // nothing

    VxAxes vars;

private:
    void init();
    // The grid lines of both axes; on a flat map during a pan, composed from
    // the pan picture of the grid lines shifted by the pan's offset.
    void drawGrids(QPainter* painter);
    void drawGridLines(QPainter* painter);
    void drawGridLinesX(QPainter* painter);
    void drawGridLinesY(QPainter* painter);
    // The grid lines of a flat map into a pan picture (painter on a QImage,
    // the view widened to it), each family drawn across a narrow strip and
    // the strip copied along the picture.  0 when they cannot be drawn so
    // (dashed lines, another device), with nothing drawn.
    int drawGridLinesInStrips(QPainter* painter);
    void drawBox(int w, int h, QPainter* painter);
    void drawTics(int w, int h, QPainter* painter);
    void drawXLabel(QPainter* painter);
    void drawYLabel(QPainter* painter);
    void drawXTicLabels(QPainter* painter, int w, double xstart, double xscale);
    void drawYTicLabels(QPainter* painter, int h, double ystart, double yscale);
    // One family of big and one of small tics across the x (y) axis, each
    // running from y0 to y1 (x0 to x1) in fractions of the plot; a negative
    // width leaves that family out.
    void drawXaxisStuff(QPainter* painter, VX_Color* big_color, int big_width, int big_style, double big_incr,
                        double big_y0, double big_y1, VX_Color* small_color, int small_width, int small_style,
                        double small_incr, double small_y0, double small_y1, int mindx);
    void drawYaxisStuff(QPainter* painter, VX_Color* big_color, int big_width, int big_style, double big_incr,
                        double big_x0, double big_x1, VX_Color* small_color, int small_width, int small_style,
                        double small_incr, double small_x0, double small_x1, int mindy);
    // One family of meridians (x) or parallels (y) at nice steps over the
    // map's bounding box, in the edp and globe maps, with the pen already
    // set; size is the plot side in pixels, small selects the small tics.
    void drawMapLines(QPainter* painter, int yaxis, int size, double big_incr, double small_incr, int mind,
                      int small);
    // The older ladder of time labels between xleft and xright.
    void drawXTimeAxis(QPainter* painter, double xleft, double xright);
    static int chooseScale(double range, int min, int max, const double* table, int n, double* big, double* small,
                           int* exponent);
    static const char* chooseTimeFormat(double big);
    void labelXTic(QPainter* painter, double t, double x, const char* format);

    std::unique_ptr<VXLayerPan> grid_pan;  // while a pan of a flat map runs; null otherwise
};
