// A set of points drawn as glyphs, with labels, in world or viewport
// coordinates.
//
// The item wraps a VXGlyphs set (not listed by the viewport: the item draws
// it and hands it events) and styles every glyph from four named contexts
// of its own VXGraphicsContext:
//   "default"                 color_fill, color_outline, linewidth,
//                             linestyle, joinstyle, capstyle, opacity: the
//                             symbol, and the disc of a beachball
//   "defaultbb"               color_fill_node, linewidth_node: the
//                             compressional part of a beachball
//   "defaultlabel"            color_text, font: the label text
//   "defaultlabelbackground"  color_fill_text, color_outline_text: the box
//                             behind the label
// Changing a default key restyles every glyph at once (setGlyphs), except
// the points that carry attributes of their own.
//
// Sources (each adds points after those already there; points_free clears):
//   vector  the handle of a toolkit point set (toolkit/base/hlvector.h)
//   vxxy    a QList<VX_XY>* as pointer text ("0x55d0..."); copied
//   vxxyl   a QList<VX_XYL>* with labels; each point's clientData becomes
//           its glyph's client data
//   points  text, one "x y [label]" entry per line
// A label may end in attributes between braces, "A {f=red sz=20 sy=star}":
// the keys f (fill), n (node fill), o (outline), l (label text), ol (label
// box outline), ft (label box fill) take colour texts or codings, sz the
// size in pixels, lw the outline width, sy the symbol ("point", "cross",
// "x", "square", "circle", "triangle", "diamond", "star", "vl", "hl", or
// "bb,Mrr,Mtt,Mpp,Mrt,Mrp,Mtp" for a beachball).  Colour and width keys
// give the point a private copy of the four contexts, so that its look
// stays when the defaults change.  Unknown keys are passed over.
//
// One point changes by index (from 0) with modify_point ("i x y label"),
// modify_point_xy ("i x y"), modify_point_x ("i x"), modify_point_y
// ("i y") and modify_point_gc ("i {attributes}").
//
// Interaction: "none" lets events pass, "show" raises the glyph under the
// pointer by selection_size_increase_factor and fades the others by
// selection_opacity_reduction_factor, "move" drags glyphs.  GUI thread only.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "glyphs/glyphs.h"
#include "glyphs/graphicscontext.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QString>

#include <memory>
#include <utility>

class QEvent;
class QPainter;
class VXEvent;
class VXGlyph;
class VXViewport;

// Symbols of the point set beyond the glyph symbols (VX_SYMBOL_*): the
// vertical and horizontal line shapes.
enum {
    VX_POLYPOINT_SYMBOL_VLINE = 100,
    VX_POLYPOINT_SYMBOL_HLINE = 101,
};

// A glyph callback as a plain function, the form a client hands the
// command server (polypoint_callback): answer 2 to consume the event.
typedef int (*VxPolypointGlyphCallback)(VXGlyph* glyph, VXEvent* event, HL_ClientData client_data);

// Most points one item holds; a source that would go past it is refused.
inline constexpr int VX_POLYPOINT_MAX_POINTS = 1 << 20;

struct VxPolypoint
{
    // the items of the four default contexts
    VxGraphicsContextItem color_fill_default, color_fill_node_default, color_outline_default, color_text_default,
        color_outline_text_default, color_fill_text_default, font_default, linestyle_default, joinstyle_default,
        capstyle_default, linewidth_default, linewidth_node_default, opacity_default;
    double linewidth_value_default = 0.5;        // pixels, cosmetic; negative: no outline
    double linewidth_node_value_default = -1.0;  // pixels; negative: no nodal line
    double opacity_value_default = 1.0;
    double selection_size_increase_factor = 4.0;
    double selection_opacity_reduction_factor = 0.5;
    double xgain = 1.0, ygain = 1.0;  // factors on positions in viewport mode
    double size_default = 5.0;        // pixels; negative values are fractions of the plot (see VXGlyph)
    int symbol_default = VX_SYMBOL_SQUARE;  // VX_SYMBOL_* or VX_POLYPOINT_SYMBOL_*
    int xmode = 0, ymode = 0;               // 0 world, 2 fractions of the plot area
    int label_anchor = 4;                   // anchor numbers of VX_AnchorName(): 4 is "c"
    int shape_label_anchor = 4;
    int interaction_mode = 0;               // 0 none, 1 show, 3 move (VXGlyphs modes)
    char* vechandle = nullptr;              // text of the last vector source, owned
    VXGlyphs* points = nullptr;             // owned
    QList<VxGlyphCallback> glyphCallbacks;
    QString layer_name;
    // the texts the default keys were given, for the printer
    QString color_fill_name_default, color_fill_node_name_default, color_outline_name_default,
        color_text_name_default, color_outline_text_name_default, color_fill_text_name_default, font_name_default,
        linestyle_name_default, linestylec1_name_default, linestylec2_name_default, joinstyle_name_default,
        capstyle_name_default, linewidth_name_default, linewidth_node_name_default, opacity_name_default;
    int showlabels = 1;
};

// What one point has of its own: contexts (a private copy of the four
// defaults) and a symbol.
struct VxPolypointStyle
{
    std::shared_ptr<VXGraphicsContext> gc;  // null: the item's defaults
    int symbol = -1;                        // -1: the default symbol
    double tensor[6] = {0, 0, 0, 0, 0, 0};  // of a beachball
};

class VXPLOT_EXPORT VXPolypoint : public VXViewportItem, public VXConfigure
{
public:
    // An item listed in master's display list (master may be null).
    explicit VXPolypoint(VXViewport* master);
    ~VXPolypoint() override;

    // Install the configuration table and apply its defaults.
    void init();

    // Apply the defaults (shape, contexts, labels shown) to every glyph
    // without attributes of its own, and the point's own to the others.
    void setGlyphs();
    // Add a callback that sees every event on a glyph (see VXGlyphs).
    void setGlyphCallback(VxGlyphCallbackProc callback, HL_ClientData client_data);
    // Blank cursor over a selected glyph when 1.
    void setGlyphsAutoCursor(int auto_cursor);

    int processEvent(int type, QEvent* event) override;
    int drawViewportItem(QPainter* painter) override;
    // Nothing to settle before a paint.
    void setVisibility() override;

    // Add points; labels are read for attributes.  0, or -1 with a
    // registered error and no point added.
    int addPoints(const QList<VX_XYL>& points);
    // Remove every point; the defaults stay.
    void clearPoints();
    int count() const;
    VXGlyph* glyph(int index) const;

    // Set the label of glyph from text with optional attributes in braces;
    // with modify 1 only the attributes are read and the label stays.  0, or
    // -1 with a registered error and the glyph unchanged.
    int parseLabel(const QString& text, VXGlyph* glyph, int modify);

    // The contexts the item owns ("default", "defaultbb", "defaultlabel",
    // "defaultlabelbackground").
    VXGraphicsContext gc;
    VxPolypoint vars;
    QHash<const VXGlyph*, VxPolypointStyle> styles;

private:
    void applyGlyph(VXGlyph* glyph);
};

// One entry "x y [label]" (with index not null "index x y [label]"), fields
// separated by blanks or tabs; with want_label 0 nothing may follow y.  0,
// or -1 with one of the registered lines "polypoint_parse_point: error
// parsing index '%s'.", "... x '%s'.", "... y '%s'.", "... Not enough
// fields.".
VXPLOT_EXPORT int polypoint_parse_point(const char* text, VX_XYL& point, int* index, int want_label);

// Split a label text into the label and its attributes: the label ends at
// the first " {" (or else the first "{") when a "}" follows; the tokens
// between the braces are key=value pairs separated by blanks or tabs, and
// tokens without "=" are passed over.  Without braces the whole text is the
// label.  Never fails.
VXPLOT_EXPORT void polypoint_split_label(const QString& text, QString* label,
                                         QList<std::pair<QString, QString>>* attributes);

// Six tensor values after "bb," separated by commas.  0, or -1 with a
// registered line.
VXPLOT_EXPORT int polypoint_parse_bb(const QString& text, double* tensor);

// A symbol word of the symbol key ("square", "vertical_line", ...) or of
// the sy attribute ("vl", "hl" as well); -1 for other words.
VXPLOT_EXPORT int polypoint_symbol_number(const QString& word);
