// Graphics contexts: named, ordered lists of drawing attributes whose values
// may be coded from data.
//
// An item is one attribute (pen colour, width, fill, opacity, font, symbol,
// size...) held under a full name "gc:item"; a name without a colon belongs
// to the context "default".  A context lists its items in the order of their
// first setting, which is the order they are applied in.
//
// Coding.  Instead of a constant an item may hold a map from a data value
// (its coding input) to its value: a line through two points with optional
// limits, written "in1,out1:in2,out2:outmin:outmax" ("0.5,1:5.5,10" maps
// 0.5 to 1 and 5.5 to 10; with ":2:8" the result stays within 2 to 8; a
// limit pair with outmin not below outmax means no limits; a single number
// is a constant).  A coded colour has three such codings separated by ";",
// for hue (degrees), saturation and lightness:
// "0.0,240.0:650.0,0.0;1.0;0.8" runs from blue at 0 to red at 650.
//
// Sharing.  An item (VxGraphicsContextItem) is a small record holding a
// shared parameter record (value and codings) beside a coding input of its
// own.  shareItem() and shareGc() make new items over the same parameters,
// so that a thousand symbols use one definition while each feeds its own
// data value; deepCopy() makes private parameters.  Setting an existing item
// with replace changes its parameter record in place: every item sharing it
// sees the new value, deep copies don't.
//
// Errors follow the library's convention: a registered line and a null
// item or -1; a failed setting leaves the earlier definition in place.
// Drawing never registers errors (a coded value that cannot be computed
// draws with the plain value).  GUI thread only.
#pragma once

#include "vxplot_export.h"

#include <QBrush>
#include <QColor>
#include <QFont>
#include <QHash>
#include <QList>
#include <QPen>
#include <QString>

#include <cstddef>
#include <memory>

class QPainter;
class QPainterPath;

// Item types.  The numbers are part of the definitions' text contract.
enum VxGraphicsContextItemType {
    VX_GC_NO_PEN = 0,        // no pen
    VX_GC_PEN_COLOR = 1,     // pen colour (QColor); a pen of style none becomes solid
    VX_GC_PEN_STYLE = 2,     // Qt::PenStyle
    VX_GC_PEN_JOIN = 3,      // Qt::PenJoinStyle
    VX_GC_PEN_CAP = 4,       // Qt::PenCapStyle
    VX_GC_NO_BRUSH = 5,      // no brush
    VX_GC_BRUSH_COLOR = 6,   // brush colour (QColor); a brush of style none becomes solid
    VX_GC_PEN_WIDTH = 7,     // cosmetic pen width, integer pixels; negative: no pen
    VX_GC_PEN_WIDTHF = 8,    // cosmetic pen width, fractional pixels; negative: no pen
    VX_GC_OPACITY = 9,       // painter opacity, 0 to 1
    VX_GC_FONT = 11,         // painter font (QFont)
    VX_GC_SYMBOL = 14,       // symbol number, VX_SYMBOL_*; not applied to a painter
    VX_GC_SCALAR = 15,       // size and like numbers, read by getValue() only
    VX_GC_DASH_PHASE0 = 16,  // dashes 2 on 2 off from offset 0, flat caps; value: width as type 8
    VX_GC_DASH_PHASE1 = 17,  // the same from offset 2, filling the gaps of phase 0
};

// coding_type of an item.
enum {
    VX_GC_CODING_NONE = 0,
    VX_GC_CODING_SCALAR = 1,  // one coding
    VX_GC_CODING_COLOR = 2,   // three codings: hue, saturation, lightness
};

// The symbols, values of VX_GC_SYMBOL items; names "static:symbol_default"
// and so on in VXGraphicsContext::symbols.
enum {
    VX_SYMBOL_DEFAULT = 0,
    VX_SYMBOL_POINT = 1,
    VX_SYMBOL_CROSS = 2,
    VX_SYMBOL_X = 3,
    VX_SYMBOL_TRIANGLE = 4,
    VX_SYMBOL_SQUARE = 5,
    VX_SYMBOL_CIRCLE = 6,
    VX_SYMBOL_STAR = 7,
    VX_SYMBOL_DIAMOND = 8,
    VX_SYMBOL_BEACHBALL = 9,
    VX_SYMBOL_SHAPE = 10,
    VX_SYMBOL_COUNT = 11,
};

// The coding input of an item that has none; compared exactly.
inline constexpr float VX_GC_NO_INPUT = 2.12345e30f;

// A linear map with limits: out_0 + out_scale * (input - in_0), kept within
// out_min to out_max when out_max > out_min.
struct VxGraphicsContextCoding
{
    double in_0 = 0.0;       // input of the first point
    double out_0 = 0.0;      // output there
    double out_scale = 0.0;  // output per unit input; 0 when the two inputs coincide
    double out_min = 1.0;    // limits, in force only when out_max > out_min
    double out_max = -1.0;
};

// The shared parameters of an item.  value points to an int (types 2, 3, 4,
// 7, 14), a double (8, 9, 15, 16, 17), a QColor (1, 6) or a QFont (11), and
// is null for 0 and 5.  A coded item keeps its last computed value in
// coding_out (a double or a QColor, allocated once with the coding).
struct VXPLOT_EXPORT VxGraphicsContextItemParams
{
    int type = 0;
    void* value = nullptr;
    int coding_type = VX_GC_CODING_NONE;
    void* coding_out = nullptr;
    VxGraphicsContextCoding* coding = nullptr;  // 1 coding for a scalar, 3 for a colour
    int free_flag = 0;                          // value is owned
    QString name;                               // full name "gc:item"

    VxGraphicsContextItemParams() = default;
    // Deep copy: value and codings are copied, coding_out is made anew.
    VxGraphicsContextItemParams(const VxGraphicsContextItemParams& other);
    VxGraphicsContextItemParams& operator=(const VxGraphicsContextItemParams& other);
    VxGraphicsContextItemParams& operator=(VxGraphicsContextItemParams&& other) noexcept;
    ~VxGraphicsContextItemParams();

    // How value and coding_out were allocated (0 none, 1 int, 2 double,
    // 3 QColor, 4 QFont); set by the library, read by the destructor.
    int value_kind = 0;
    int coding_out_kind = 0;
};

// An item: shared parameters and a private coding input (VX_GC_NO_INPUT for
// none, then the plain value is used).
struct VxGraphicsContextItemRaw
{
    std::shared_ptr<VxGraphicsContextItemParams> item;
    float coding_input = VX_GC_NO_INPUT;
};

typedef std::shared_ptr<VxGraphicsContextItemRaw> VxGraphicsContextItem;
typedef std::shared_ptr<QList<VxGraphicsContextItem>> VxGraphicsContext;

class VXPLOT_EXPORT VXGraphicsContext
{
public:
    VXGraphicsContext();
    // A copy of other's contexts: new lists and new items over other's
    // parameters (shared), with the coding inputs copied.  A null other
    // gives an empty object.
    explicit VXGraphicsContext(VXGraphicsContext* other);
    // Clears both maps; users holding contexts or items keep them.
    virtual ~VXGraphicsContext();

    // Bring other's contexts in, as in the copying constructor.  Items not
    // yet here are added at the end of their context; existing items are
    // pointed at other's parameters only with replace.  Returns the number
    // of items added or replaced; -1 with a registered error for a null
    // other.
    int copy(VXGraphicsContext* other, int replace);

    // Set the item name ("gc:item", or "item" in context "default") of
    // type to param.  A new item is appended to its context (made if need
    // be).  An existing item keeps its parameters without replace, and has
    // them replaced in place with replace (coding removed).  Returns the
    // item; null with a registered error when param does not fit type,
    // leaving everything as it was.
    VxGraphicsContextItem setGcItem(const QString& name, int type, int param, int replace);
    VxGraphicsContextItem setGcItem(const QString& name, int type, long param, int replace);
    VxGraphicsContextItem setGcItem(const QString& name, int type, double param, int replace);
    VxGraphicsContextItem setGcItem(const QString& name, int type, const QColor& param, int replace);
    VxGraphicsContextItem setGcItem(const QString& name, int type, const QFont& param, int replace);
    VxGraphicsContextItem setGcItem(const QString& name, int type, Qt::PenJoinStyle param, int replace);
    VxGraphicsContextItem setGcItem(const QString& name, int type, Qt::PenStyle param, int replace);
    // Text forms.  Colours (1, 6): a colour text (VX_ParseColor) or three
    // codings "hue;saturation;lightness".  Pen style (2): "SolidLine",
    // "DashLine", "DotLine", "DashDotLine", "DashDotDotLine"; join (3):
    // "MiterJoin", "BevelJoin", "RoundJoin", "SvgMiterJoin"; cap (4):
    // "FlatCap", "SquareCap", "RoundCap".  Numbers (8, 9, 15): a plain
    // number, or a coding of two or four fields.  Dashes (16, 17): a coding
    // of one, two or four fields.  Numbers must be finite.
    VxGraphicsContextItem setGcItem(const QString& name, int type, const QString& param, int replace);
    VxGraphicsContextItem setGcItem(const QString& name, int type, const char* param, int replace);
    // No value: types 0 and 5.
    VxGraphicsContextItem setGcItem(const QString& name, int type, std::nullptr_t, int replace);

    // The context of that name; null with a registered error if unknown.
    VxGraphicsContext getGc(const QString& name);
    // The item of that name; null with a registered error if unknown.
    VxGraphicsContextItem getGcItem(const QString& name);
    // Context names, sorted.
    QStringList getGcNames() const;

    // Give an existing item a coding: coding_type VX_GC_CODING_SCALAR with
    // one coding (number types 7, 8, 9, 15, 16, 17), VX_GC_CODING_COLOR with
    // three (colour types 1, 6), VX_GC_CODING_NONE to remove it.  The
    // parameters change in place.  0, or -1 with a registered error.
    int setGcItemCoding(const QString& name, int coding_type, VxGraphicsContextCoding coding);
    int setGcItemCoding(const QString& name, int coding_type, const VxGraphicsContextCoding* codings);
    static int setGcItemCoding(const VxGraphicsContextItem& item, int coding_type,
                               const VxGraphicsContextCoding* codings);

    // The line through (in1, out1) and (in2, out2), slope 0 when in1 ==
    // in2, with the limits outmin, outmax.
    static void setGcCoding(VxGraphicsContextCoding* coding, double in1, double out1, double in2, double out2,
                            double outmin, double outmax);

    // The item's value: its coded value when it has a coding and an input,
    // else its plain value.  The void** form gives a pointer to an int,
    // double, QColor or QFont by type (see VxGraphicsContextItemParams),
    // valid until the next getValue() or setting of an item over the same
    // parameters; null for types 0 and 5.  The number forms convert (a
    // double to the nearest integer).  0 on success; -1 with a registered
    // error for a null item, a value of another kind, or a coded value that
    // is not finite (the plain value is given then).
    static int getValue(const VxGraphicsContextItem& item, void** value);
    static int getValue(const VxGraphicsContextItem& item, int* value);
    static int getValue(const VxGraphicsContextItem& item, long* value);
    static int getValue(const VxGraphicsContextItem& item, double* value);

    // The item's coding input, VX_GC_NO_INPUT for none.
    static void setCodingInput(const VxGraphicsContextItem& item, double input);
    static double getCodingInput(const VxGraphicsContextItem& item);

    // Apply one item to a pen and brush (either may be null), or to a
    // painter (pen and brush items change the painter's pen and brush).
    static void drawGcItem(const VxGraphicsContextItem& item, QPen* pen, QBrush* brush);
    static void drawGcItem(const VxGraphicsContextItem& item, QPainter* painter);
    // By name; -1 with a registered error for an unknown name.
    int drawGcItem(const QString& name, QPen* pen, QBrush* brush);
    int drawGcItem(const QString& name, QPainter* painter);

    // Pen and brush of a context: the pen starts as no pen, the brush as no
    // brush; the pen items apply in order, then the brush items.  A
    // negative width hides the pen whatever colour comes after it, until a
    // width that is not negative.
    static void makeGcPenBrush(const VxGraphicsContext& gc, QPen* pen, QBrush* brush);
    // Every item on the painter, in order.
    static void drawGc(const VxGraphicsContext& gc, QPainter* painter);
    // The context's pen and brush, then its opacity and font items, on the
    // painter.  The second form takes a pen and brush made earlier by
    // makeGcPenBrush() (null ones are made here).
    static void drawGcPainter(const VxGraphicsContext& gc, QPainter* painter);
    static void drawGcPainter(const VxGraphicsContext& gc, const QPen* pen, const QBrush* brush, QPainter* painter);
    // Draw path with the context; the painter's state is restored after.
    static void drawPainterPath(const VxGraphicsContext& gc, QPainter* painter, const QPainterPath& path);

    // Private copies: parameters and codings copied, coding inputs kept.
    static VxGraphicsContext deepCopy(const VxGraphicsContext& gc);
    static VxGraphicsContextItem deepCopy(const VxGraphicsContextItem& item);
    // Shared copies: new items over the same parameters, with no input, for
    // users that feed their own coding inputs.
    static VxGraphicsContext shareGc(const VxGraphicsContext& gc);
    static VxGraphicsContextItem shareItem(const VxGraphicsContextItem& item);
    // Reset the item's coding input to none.
    static void initContextItem(const VxGraphicsContextItem& item);
    // One line describing the item: name, type, value, coding and input.
    static QString showItem(const QString& name, const VxGraphicsContextItem& item);
    // Empty the context gc; its items of this object leave mapgcitem.
    void clear(const VxGraphicsContext& gc);

    // Parse a colour text as setGcItem() does.  0 for a plain colour (*color
    // allocated, *codings null), 1 for a coded one (*color the colour at the
    // first input, *codings an allocated array of three); the caller
    // deletes both (delete, delete[]).  -1 with a registered error, outputs
    // untouched.
    static int parseColorCoding(const QString& text, QColor** color, VxGraphicsContextCoding** codings);
    // Parse ncodings (1 to 3) codings separated by ";" into codings.  0, or
    // -1 with a registered error and codings untouched.
    static int parseCodings(const QString& text, int ncodings, VxGraphicsContextCoding* codings);

    // The symbol items, made once at the first use.
    static void makeStaticSymbols();
    // The symbol item of that number; null for a number out of range.
    static VxGraphicsContextItem getSymbol(int symbol);

    QHash<QString, VxGraphicsContext> mapgc;             // contexts by name
    QHash<QString, VxGraphicsContextItem> mapgcitem;     // items by full name
    static QHash<QString, VxGraphicsContextItem> symbols;  // "static:symbol_circle" and the like

protected:
    // The item of that name; with set, made (and appended to its context)
    // when missing, *created then 1.  Null with a registered error for a
    // bad name or, without set, an unknown one.
    VxGraphicsContextItem get_item(const QString& name, int set, int replace, int* created = nullptr);

private:
    VxGraphicsContextItem storeItem(const QString& name, VxGraphicsContextItemParams& params, int replace);
};

// Parse a coding text: "out", "in1,out1:in2,out2" or
// "in1,out1:in2,out2:outmin:outmax".  0, or -1 with registered errors and
// coding untouched.
VXPLOT_EXPORT int vxgraphicscontext_parse_coding(const QString& text, VxGraphicsContextCoding* coding);

// The value of a coding at input, limited when its limits are in force.
VXPLOT_EXPORT double vxgraphicscontext_apply_coding(const VxGraphicsContextCoding& coding, double input);
