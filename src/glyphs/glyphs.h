// A set of glyphs drawn as one viewport item, with their shared defaults,
// selection and event routing.
//
// Drawing: every glyph is placed for the view as it is (its copies across
// the longitude wraps of `merc` and `geog` maps, the far side of the globe
// skipped) and painted with its contexts.  While one glyph is selected it
// is drawn last, grown by selection_size_increase_factor (except in mode
// 2), and the others fade by selection_opacity_reduction_factor.
//
// Interaction modes (interaction_mode):
//   0  none: events pass through;
//   1  show: the glyph under the pointer is selected (and grows);
//   2  show without growing;
//   3  move: press and drag a glyph to a new position;
//   4  callbacks only: while a glyph is selected, events on it go to the
//      callbacks and nothing else happens.
// Callbacks (addGlyphCallback) see every event on a glyph, with a
// synthetic enter (7) when a glyph is first selected and leave (8) when
// the pointer leaves it; a callback answering 2 consumes the event (a press
// consumed so does not start a move).
//
// The set owns its glyphs.  The style definitions (ggc) are the caller's
// and must outlive the set or be unset first.  GUI thread only.
#pragma once

#include "glyphs/glyph.h"
#include "glyphs/graphicscontext.h"
#include "glyphs/shape.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QList>
#include <QPointF>

#include <functional>

class QEvent;
class QPainter;
class VXEvent;
class VXGlyphsGraphicsContext;
class VXViewport;

// A glyph callback: answer 2 to consume the event.
typedef std::function<int(VXGlyph* glyph, VXEvent* event, void* client_data)> VxGlyphCallbackProc;

struct VxGlyphCallback
{
    VxGlyphCallbackProc callback_proc;
    void* client_data = nullptr;
};

struct VxGlyphs
{
    VxShape* shape_default = nullptr;      // set by setShapeDefault(); circle at first
    double sizep_default = 10.0;           // size of glyphs without one (see VXGlyph)
    VxGraphicsContext gc_label;            // label pen colour and font
    VxGraphicsContext gc_label_background; // label box fill and outline
    VxGraphicsContext gc_default;          // parts of glyphs without contexts
    VXGlyphsGraphicsContext* ggc = nullptr;  // style definitions, not owned
    int selection_index = -1;
    int interaction_mode = 1;
    int xmode_default = 0, ymode_default = 0;  // 0 world, 2 fractions of the plot area
    int shape_label_anchor_default = 3;    // point of the symbol's box the label hangs on (east)
    int label_anchor_default = 8;          // point of the label put there (west)
    int auto_cursor = 0;                   // blank cursor over a selected glyph
    double selection_opacity_reduction_factor = 0.5;
    double selection_size_increase_factor = 1.5;
    double xgain = 1.0, ygain = 1.0;       // factors on fractional positions
    QList<VXGlyph*> glyphs;
    QList<VxGlyphCallback> glyphCallbacks;
    HL_ClientData clientData = nullptr;
    int clientData_type = 0;
};

class VXPLOT_EXPORT VXGlyphs : public VXViewportItem
{
public:
    // A set listed in vp's display list (vp may be null for a set drawn by
    // its owner).
    explicit VXGlyphs(VXViewport* vp);
    ~VXGlyphs() override;

    // A new glyph at the end of the set (index = count before), with the
    // default shape and context until setGlyph().
    VXGlyph* addGlyph();
    // Delete the glyph of that index; later ones move down.  -1 if none.
    int removeGlyph(int index);
    void clearGlyphs();
    int count() const;
    VXGlyph* glyph(int index) const;

    // 0 on success, -1 with a registered error for a symbol that is not a
    // static shape (0, 9, 10 and out of range).
    int setShapeDefault(int symbol);
    void setSizeDefault(double size);
    void setXmodeDefault(int mode);
    void setYmodeDefault(int mode);
    void setShapeLabelAnchorDefault(int anchor);
    void setLabelAnchorDefault(int anchor);
    void setInteractionMode(int mode);
    void setGraphicsContext(VXGlyphsGraphicsContext* ggc);
    void setClientData(HL_ClientData data, int type);
    HL_ClientData getClientData(int* type = nullptr) const;
    void addGlyphCallback(VxGlyphCallbackProc proc, void* client_data);
    void clearGlyphCallbacks();
    // Offer event on glyph to the callbacks in order (a copy of the list);
    // 2 as soon as one answers 2, else 1.  Callbacks must not delete the set
    // or its glyphs while they run.
    int runGlyphCallbacks(VXGlyph* glyph, VXEvent* event);

    // Glyphs under the pointer of a mouse or wheel event, topmost first.
    QList<VXGlyph*> items(QEvent* event) const;
    // With index -1 the topmost glyph under the pointer (the selected one
    // first, then from the last glyph down), or null; with an index, that
    // glyph if it is under the pointer, else null.
    VXGlyph* findClosest(QEvent* event, int index) const;
    VXGlyph* findClosest(const QPointF& pt, int index) const;
    VXGlyph* selectedGlyph() const;
    // Select the glyph of that index (-1: none) and ask for a repaint.
    void selectGlyph(int index);
    // Ask the definitions' coding callback for what each glyph lacks.
    void updateCoding();
    // Make every glyph's pens and brushes again at the next draw.
    void setGlyphs();

    // Routes an event as the interaction mode says (see above); events
    // without a position (keys) go to the selected glyph.  2 when consumed.
    int processEvent(int type, QEvent* event) override;
    int drawViewportItem(QPainter* painter) override;

    // Invalidate and ask the viewport for a repaint.
    void redraw();
    // Cursor over a glyph (blank with auto_cursor) and back.
    void setGlyphCursor(bool over);

    VxGlyphs vars;
};
