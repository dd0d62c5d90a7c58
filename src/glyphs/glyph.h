// One interactive symbol of a glyph set (VXGlyphs): a shape at a position,
// its size, one graphics context per path of the shape, a label and client
// data.
//
// Position.  World coordinates (longitude, latitude under a map), or with
// the set's x and y modes 2 fractions of the plot area (0 to 1 from the
// left and the bottom).  Under `merc` and `geog` maps the glyph repeats at
// every 360 degrees of longitude in view; on the globe a glyph on the far
// side is neither drawn nor hit.
//
// Size, in pixels across the symbol.  A glyph's own size (set, or coded by
// its style) counts when it is above 0; otherwise the set's default size
// is used, which may also be a fraction of the plot: -1 to 0 of its height,
// -2 to -1 (plus 2) of its width, below -4 (plus 4) of the larger side, so
// that a default of -0.1 is a tenth of the height and -2.1 a tenth of the
// width.  A default of 0 draws nothing.
//
// Glyphs are made by VXGlyphs::addGlyph() and belong to their set; they are
// viewport items that the viewport does not list: the set draws them and
// hands them events.  GUI thread only.
#pragma once

#include "glyphs/graphicscontext.h"
#include "glyphs/shape.h"
#include "toolkit/params/hlconfigure.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QList>
#include <QPainterPath>
#include <QPen>
#include <QBrush>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <memory>

class QEvent;
class QPainter;
class VXGlyphs;

// One part of a symbol ready for painting: the context, the unit path, and
// the pen and brush the context gives for the glyph's coding inputs.
struct VxPath
{
    VxGraphicsContext gc;
    QPainterPath* path = nullptr;  // the shape's, not owned
    QPen pen;
    QBrush brush;
};

struct VxGlyph
{
    int index = -1;                  // in the set
    VxShape* shape = nullptr;        // null: the set's default shape
    double xw = 0.0, yw = 0.0;       // world coordinates, or fractions in mode 2
    double xp = 0.0, yp = 0.0;       // pixels of the first copy at the last draw
    double opacity = 1.0;            // own opacity, multiplied in
    int visible = 0;                 // set by setTransformations(): inside the view
    int skip = 1;                    // set by setTransformations(): nothing to draw
    int visible_label = 0;
    QString label;
    int qevent_state = 1;            // 1 idle, 2 being moved
    int freegc = 0;                  // gcs made for this glyph (not taken from a style)
    VXGlyphs* glyphs = nullptr;
    QPainterPath* label_path = nullptr;  // label boxes of the last draw, owned
    int gcindex = -1;                // style in the set's VXGlyphsGraphicsContext, -1 none
    HL_ClientData clientData = nullptr;
    int clientData_type = 0;
    QList<VxGraphicsContext> gcs;    // one per path of the shape
    QPainterPath shape_path;         // outlines at the last draw, in pixels, for hit tests
    QRectF hit_rect;                 // bounding box of shape_path and label_path
    QList<VxPath> paths;             // prepared parts
    QList<QList<QPainterPath>> plot_paths;  // per longitude copy, the parts in pixels
    QList<QPointF> label_points;     // per copy, the label anchor in pixels
    VxGraphicsContextItem symbol;    // from the style, or null
    VxGraphicsContextItem size;      // null: the set's default size
    std::shared_ptr<VxShape> shape_hold;  // keeps a beachball shape alive
    int paths_stale = 1;             // pens and brushes to be made again
    int gc_generation = 0;           // of the style at the last setup
};

class VXPLOT_EXPORT VXGlyph : public VXViewportItem
{
public:
    // A glyph of the set glyphs (may be null for a glyph used alone, which
    // then has no defaults); made by VXGlyphs::addGlyph().
    explicit VXGlyph(VXGlyphs* glyphs);
    ~VXGlyph() override;

    // Shape by symbol number (VX_SYMBOL_*; 0 the set's default shape, 9 a
    // beachball of the six tensor values, which falls back to the default
    // shape when they don't resolve) drawn with gcs, one context per path.
    // The contexts are shared, not copied: coding inputs set on their items
    // are seen by every glyph using them.  0; -1 with a registered error and
    // the glyph unchanged.
    int setGlyph(int symbol, const QList<VxGraphicsContext>& gcs, const double* tensor = nullptr);
    // The same with a shape of the caller (kept alive by it).
    int setGlyph(VxShape* shape, const QList<VxGraphicsContext>& gcs);
    // Shape, contexts and size from a style of the set's definitions; items
    // with coding inputs become private to the glyph, the rest is shared.
    int setGlyph(const QString& definition, const double* tensor = nullptr);
    int setGlyphIndex(int gcindex, const double* tensor = nullptr);

    void setPosition(double xw, double yw);
    void getPosition(double* xw, double* yw) const;
    // A size of its own in pixels (see above), replacing the style's.
    void setSize(double size);
    // The glyph's own size as it is now (coded or set); 0 when it has none,
    // also for a coded size whose input is not given yet.
    double getSize() const;
    void setOpacity(double opacity);
    void setLabel(const QString& label, int visible_label);
    // Coding input by name, for glyphs made from a style.  0; -1 with a
    // registered error for a glyph without style or an unknown name.
    int setCodingValue(const QString& name, double value);
    // VX_NULL_VALUE when the glyph has no input for the name.
    double getCodingValue(const QString& name) const;

    // Whether the pointer of a mouse event lies on the symbol or its label
    // as last drawn.
    bool contains(QEvent* event) const;
    bool contains(const QPointF& pt) const;

    void setClientData(HL_ClientData data, int type);
    HL_ClientData getClientData(int* type = nullptr) const;
    int getIndex() const;
    int getQEventState() const;
    // Drop the contexts (the glyph then draws nothing).
    void clearGcs();
    // One line per prepared part: path size, pen, brush.
    QString showPaths() const;
    // Item item of context gc, null when out of range.
    VxGraphicsContextItem getGraphicsContextItem(int gc, int item) const;

    int processEvent(int type, QEvent* event) override;
    // Draw the glyph alone, as its set would with no selection.
    int drawViewportItem(QPainter* painter) override;
    void setVisibility() override;

    // Pixel paths of every copy in view for the viewport as it is now;
    // label anchors are appended to label_positions when given.  0; -1 with
    // a registered error (no size and no set to give one).
    int setTransformations(QList<QPointF>* label_positions);
    // Paint the parts of setTransformations() and the label.
    void draw(QPainter* painter);
    void drawSelected(QPainter* painter);
    void drawUnselected(QPainter* painter);
    void drawLabel(QPainter* painter);
    // Make pens and brushes again on the next draw (after a change of the
    // contexts' items in place).
    void setPathsStale();

    VxGlyph vars;

protected:
    int processEventShow(int type, QEvent* event);
    int processEventMove(int type, QEvent* event);

private:
    friend class VXGlyphs;
    friend class VXGlyphsGraphicsContext;
    // Take the style's present contexts again, keeping the shape when the
    // style's symbol is the one the glyph was made with.
    int restyle();
    int takeStyle(int gcindex, const double* tensor, bool keep_shape, const char* who);
    int install(VxShape* shape, std::shared_ptr<VxShape> hold, const QList<VxGraphicsContext>& gcs,
                const char* who);
    void preparePaths();
    // draw mode: 0 plain, 1 selected, 2 unselected beside a selection
    void drawParts(QPainter* painter, int mode);
    VxShape* effectiveShape() const;
    double sizePixels(int* ok) const;
};
