// The point pump of path building: world points in, points normalised on
// the plot area out, map curves subdivided to about one pixel.
//
// Normalised coordinates run from 0 to 1 across the plot area, x to the
// right and y downwards (0 at the top edge).  One input point may give
// several output points: push it, then pop until the disposition is
// neither moveTo nor lineTo.
#pragma once

#include "vxplot_export.h"

struct VxViewport;
class HLMapTransform;

class VXPLOT_EXPORT VXScaledata
{
public:
    static constexpr int disposition_noInput = -1;  // nothing pending
    static constexpr int disposition_notUsed = 0;   // a gap or an unscalable point: the line breaks
    static constexpr int disposition_moveTo = 1;
    static constexpr int disposition_lineTo = 2;

    // The scales of viewport are taken now; a changed view needs a new
    // object.  ignoretran takes the input as viewport coordinates (no map
    // projection).  xmode, ymode: how input is scaled, 0 viewport units,
    // 1 pixels of the plot area, 2 already normalised; other values act as 0.
    VXScaledata(VxViewport* viewport, int ignoretran, int xmode, int ymode);
    ~VXScaledata();
    VXScaledata(const VXScaledata&) = delete;
    VXScaledata& operator=(const VXScaledata&) = delete;

    // Store one input point (replacing one not yet popped).  0.
    int pushPoint(double x, double y);
    // The next normalised point and its disposition (see above).
    int popPoint(double* x, double* y);

    VxViewport* vp;      // not owned
    int map_tran;        // VX_MAP_, 0 with ignoretran
    int plxmode, plymode;
    int vpxmode, vpymode;
    int w, h;            // plot size; 0 when the view has no scales
    double xstart, xend, xscale;
    double ystart, yend, yscale;  // top to bottom: normalised y grows downwards
    HLMapTransform* tran;  // edp and globe only; owned
    double xp_last, yp_last;      // last accepted point, projected
    double xpt, ypt;              // current point, normalised
    double xptp, yptp;            // current point, projected
    double xinput, yinput;        // pending input
    double xpts_last, ypts_last;  // last accepted input point
    int start;                    // the next point begins a new line
    int ndelta, idelta;           // pieces of the subdivision in progress, the piece reached
    double delx, dely;            // its step in input units

private:
    // Project and normalise the input point x, y into xptp, yptp and xpt,
    // ypt; false when it can't be placed.
    bool place(double x, double y);
    // Accept the pending input as the end of a step.
    int finish(double* x, double* y, int disposition);

    bool pending = false;   // input waiting
    bool scaled = false;    // the view had scales
    bool have_last = false; // xp_last, yp_last hold a point
    double xpt_end = 0.0, ypt_end = 0.0, xptp_end = 0.0, yptp_end = 0.0;  // the end of a subdivided step
    double pixel = 0.0;     // size of a pixel in projected units
    int max_pieces = 0;     // cap of a subdivision
};
