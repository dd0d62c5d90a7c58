// Glyph styles: graphics contexts for glyphs made from parameter text.
//
// Two levels.  An item definition is one named attribute, its key the kind
// and a name joined by ":", then the name of its coding input (or
// "constant") and its value:
//
//     size:magnitude       magnitude   4.0,10:7.0,50:10:100
//     fill_color:depth     depth       0.0,240.0:650.0,0.0;1.0;0.8
//     symbol:events        circle
//
// The kinds are "symbol" (a shape name: "circle", "square", "triangle",
// "point", "cross", "x", "star", "diamond", "beachball"), "size",
// "fill_color", "outline_color", "outline_linewidth" and "opacity".  A style
// (a gc definition) lists item names in drawing order; its fill colour,
// outline width, outline colour and opacity items are grouped into one
// graphics context per path of the shape (a beachball has two), a shorter
// list lending its last item to the later paths.
//
// Coding inputs.  A glyph made from a style shares the style's contexts:
// only the items that take a coding input ("depth", "age", ...) are
// private to it, as small records over the style's shared parameters.  The
// client feeds inputs by name (setCoding(), or the coding callback asked by
// updateCoding() for what a glyph lacks).
//
// Configuration keys (all custom):
//   gcitem_definitions     item definitions, an &Arr of "key coding value"
//   gcitem_definition      one definition as a line "key coding value"
//   gc_definitions         styles, an &Arr of named &Tbl of item names
//   change_gc_definitions  "style=item[,item...]" entries replacing items
// A failing text changes nothing: every earlier definition stays in place.
// GUI thread only.
#pragma once

#include "foundation/configure.h"
#include "glyphs/graphicscontext.h"
#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

class VXGlyph;
class VXGlyphs;

// An item definition: the item (in this object's maps, context named by
// the kind), the name of its coding input or "constant", and the value text.
struct VxGlyphsGcDefinition
{
    VxGraphicsContextItem gcitem;
    QString coding;
    QString value;
};

// Where a coding input is used in a style: context gc, item gci of it.
// gc -1 stands for the style's size item.
struct VxGlyphsCodingSlot
{
    int gc = 0;
    int gci = 0;
};

// A style.  The item lists keep the order given; glyph_gcs are built from
// them (setup), and coding_defs / coding_slots say where each coding input
// goes.
struct VxGlyphsDefinition
{
    QString name;
    VxGraphicsContextItem symbol;  // type 14; null: the set's default shape
    VxGlyphsGcDefinition size;     // null gcitem: the set's default size
    QList<VxGlyphsGcDefinition> fill_color_items;
    QList<VxGlyphsGcDefinition> outline_linewidth_items;
    QList<VxGlyphsGcDefinition> outline_color_items;
    QList<VxGlyphsGcDefinition> opacity_items;
    QList<VxGraphicsContext> glyph_gcs;  // one per path
    VxGraphicsContextItem glyph_size;    // private copy of size.gcitem
    QHash<QString, int> coding_defs;     // coding name to index in coding_slots
    QList<QList<VxGlyphsCodingSlot>> coding_slots;
    QStringList coding_order;            // coding names by index
    int generation = 0;                  // changes at every setup; glyphs compare it
};

// Asks the client for the value of coding of a glyph of style; 0 or more
// with *value set, negative for none.
typedef std::function<int(VXGlyph* glyph, QString style, QString coding, double* value, void* client_data)>
    VxGlyphsCodingCallback;

class VXPLOT_EXPORT VXGlyphsGraphicsContext : public VXGraphicsContext, public VXConfigure
{
public:
    // Installs the configuration table (class "VXGlyphsGraphicsContext");
    // no definitions yet.
    VXGlyphsGraphicsContext();
    ~VXGlyphsGraphicsContext() override;

    // Index of the style name, -1 if unknown.
    int getGcIndex(const QString& name) const;
    // Index of the coding name in style gcindex, -1 if unknown.
    int getCodingIndex(int gcindex, const QString& coding) const;
    // Give glyph (made from style gcindex) the input value for coding; out
    // of range indices or a glyph of another style do nothing.  A glyph made
    // before its style changed gets the value on the items it has.
    void setCoding(int gcindex, int coding, double value, VXGlyph* glyph);
    // The input glyph has for coding, VX_NULL_VALUE (2.12345e30) for none.
    void getCoding(int gcindex, int coding, double* value, VXGlyph* glyph) const;
    void setCodingCallback(VxGlyphsCodingCallback callback, HL_ClientData client_data);

    // Add or replace definitions.  text: "key coding value" lines, or an
    // &Arr of them, bare ("&Arr{...}") or under any one key
    // ("gcitem_definitions &Arr{...}").  0, or -1 with errors registered and
    // nothing changed.
    int setGcItemDefinitions(const QString& text);
    // One definition line "key coding value".  0 or -1 as above.
    int setGcItemDefinition(const QString& line);
    // Add or replace styles: an &Arr of named &Tbl of item names, bare or
    // under one key.  Styles already known keep their index.  0 or -1.
    int setGcDefinitions(const QString& text);
    // "style=item[,item...]" entries, separated by blanks or new lines: each
    // item replaces the first item of its kind in the style (the second item
    // of a kind the second, and so on), and the style is set up again.
    // Glyphs made afterwards use the new style, existing ones at their next
    // updateCoding().  0 or -1.
    int changeGcDefinitions(const QString& text);

    // The definitions as parameter text (what the configuration keys print).
    QString gcItemDefinitionsText() const;
    QString gcDefinitionsText() const;

    QHash<QString, VxGlyphsGcDefinition> gcitem_definitions;
    QHash<QString, VxGlyphsDefinition> gc_definitions;
    QList<VxGlyphsDefinition> gc_definitions_list;
    QHash<QString, int> gc_definitions_index;
    QList<QString> coding_names;
    HL_ClientData codingClientData = nullptr;
    VxGlyphsCodingCallback codingCallback;

protected:
    friend class VXGlyphs;
    friend class VXGlyph;
    // Ask the callback for every coding of glyph's style that glyph has no
    // input for.  A glyph whose style was set up again since it was made
    // first takes the new contexts, keeping the inputs it had by name.
    void updateCoding(VXGlyph* glyph);

private:
    QList<VxGraphicsContextItem> codedItems(int gcindex, int coding, const VXGlyph* glyph) const;
    QList<VxGraphicsContextItem> codedItemsByName(const VXGlyph* glyph, const QString& name) const;
    // Whether glyph was made from its style as it is now.
    bool isCurrent(const VXGlyph* glyph) const;
    QStringList gcitem_order;  // item keys in order of first definition
};

// Parse one definition "key coding value" into *definition and *key,
// setting the item in gc (replacing an item of the same key).  0, or -1
// with one registered line (after the graphics context's own) and gc
// unchanged for a bad text.
VXPLOT_EXPORT int glyphsgraphicscontext_parse_gcitem_definition(VXGraphicsContext* gc, const QString& text,
                                                                 QString* key, VxGlyphsGcDefinition* definition);

// Build definition's contexts, size copy and coding slots from its item
// lists; the generation changes.  New coding names go to coding_names
// when it is given.
VXPLOT_EXPORT void glyphsgraphicscontext_setup_glyph_gcs(VxGlyphsDefinition* definition, QList<QString>* coding_names);
