// Shapes: the unit outlines used as map and plot symbols.
//
// Every shape lies around the origin at about unit size, y growing downward
// as on the screen, so that a symbol is placed and sized by one transform.
// A shape has one or more parts (paths), each painted with its own graphics
// context, and an outline for hit tests.
//
// The static shapes are built once, at the first use, and live as long as
// the process.  Focal-mechanism shapes ("beachballs") are built from a
// moment tensor: a background disc (the first part, the shared unit circle)
// and the compressional region on top (the second part), seen on the lower
// hemisphere in equal-area projection with north up and east to the right.
// They are cached by the text of their six values; see getBeachball().
//
// GUI thread only.
#pragma once

#include "vxplot_export.h"

#include <QList>
#include <QPainterPath>
#include <QRectF>

#include <memory>

struct VxShape
{
    QPainterPath* outline = nullptr;  // outer contour, for hit tests and selection
    QList<QPainterPath*> paths;       // the parts, each painted with its own context
    QRectF bounding_rect;             // bounding rectangle of the first part
};

// Distinct tensors the beachball cache holds before it is emptied in one
// go.  A beachball takes some 10 kB, so a full cache stays near 40 MB.
inline constexpr int VX_SHAPE_BEACHBALL_CACHE_MAX = 4096;

class VXPLOT_EXPORT VXShape
{
public:
    // Makes sure the static shapes exist.
    VXShape();

    // The static shapes; never null, never to be freed or changed.
    static VxShape* getPoint();
    static VxShape* getCross();
    static VxShape* getX();
    static VxShape* getCircle();
    static VxShape* getSquare();
    static VxShape* getTriangle();
    static VxShape* getDiamond();
    static VxShape* getStar();
    static VxShape* getVerticalLine();
    static VxShape* getHorizontalLine();

    // The beachball of the six moment tensor values Mrr, Mtt, Mpp, Mrt,
    // Mrp, Mtp (r, t, p = up, south, east; any common scale).  Null, with
    // nothing registered, when they cannot be resolved (null, zero or not
    // finite); callers then use their default shape.  The same values (to
    // six digits) give the same record.  The record belongs to the cache:
    // it stays valid until the cache is next emptied, which happens when
    // VX_SHAPE_BEACHBALL_CACHE_MAX distinct tensors are held and another
    // comes.  A user that keeps a shape longer holds it through
    // getBeachballShared().
    static VxShape* getBeachball(const double* tensor);
    // The same record, shared: it lives while the cache or any holder keeps
    // it.  Null as above.
    static std::shared_ptr<VxShape> getBeachballShared(const double* tensor);

    // Entries in the beachball cache (unresolvable tensors included).
    static int beachballCacheCount();
    // Empty the beachball cache.  Shapes still held elsewhere survive.
    static void clearBeachballCache();
};

// Build the static shapes; runs once, later calls return at once.
VXPLOT_EXPORT void bpq_shape_make_statics();
