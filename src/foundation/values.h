// Colour and font values with their text forms, and painter set-up from them.
//
// A VX_Color or VX_Font keeps the text it was last parsed from beside the
// parsed Qt value, so that setting the same text again is cheap and is
// reported as "unchanged".  The parsers answer 1 when the value changed, 0
// when it is the same as before, and -1 (with a registered error) when the
// text is bad.
//
// Colour texts: a Qt colour name ("lightyellow", "blue"), a hexadecimal form
// ("#f00", "#ff0000", "#a0ffffff" with alpha first), or three or four
// comma-separated floating numbers: hue in degrees (wrapped into 0 to 360),
// saturation, lightness and optional alpha (each clamped to 0 to 1):
// "240,1,0.5,0.5" is half transparent blue.  An empty text unsets the colour.
//
// Font texts: up to four comma-separated fields "family,size,weight,italic":
// size in pixels, weight a word ("Light", "Normal", "DemiBold", "Bold",
// "Black") or a number from 0 to 1000, italic a boolean word.
// "Helvetica,12", "courier,14,Bold,yes" and ",10" are well formed; an empty
// field takes its default and an empty text unsets the font.
#pragma once

#include "vxplot_export.h"

#include <QColor>
#include <QFont>
#include <QString>

class QPainter;

// Client data handed back to callbacks untouched (the toolkit's type, also
// declared by toolkit/hlconfigure.h).
typedef void* HL_ClientData;

// A point of two doubles.
struct VX_XY
{
    double x = 0.0;
    double y = 0.0;
};

// A point with a label and client data.
struct VX_XYL
{
    double x = 0.0;
    double y = 0.0;
    QString label;
    HL_ClientData clientData = nullptr;
};

// A colour with the text it came from.  Unset: empty name, invalid colour;
// an unset colour paints nothing.
struct VX_Color
{
    QString color_name;  // the text last parsed, empty when unset
    QColor color;        // invalid when unset
};

// A font with the text it came from.
struct VX_Font
{
    int size = -1;       // pixel size, -1 for the default
    int weight = -1;     // 0 to 1000, -1 for the default
    int italic = 0;
    int invalid = 1;     // 1 while no font is set
    QString font_name;   // the text last parsed; cleared by every parse and
                         // set again only when the font changed
    QString family;
    QFont font;
};

// Largest pixel size a font takes; larger sizes are refused by the parser
// and cut to this by VX_SetFontSize().
inline constexpr int VX_FONT_MAX_PIXEL_SIZE = 10000;

// 0 when both texts are empty, 1 when exactly one is, otherwise
// QString::compare() with case sensitivity.
VXPLOT_EXPORT int VX_Strcmp(const QString& a, const QString& b);

// Parse a colour text into color.  1 changed, 0 same text as before, -1 bad
// text: the error is registered and the colour is left unset (the earlier
// colour is lost).
VXPLOT_EXPORT int VX_ParseColor(const QString& value, VX_Color& color);

// Unset a colour: empty name, invalid colour.
VXPLOT_EXPORT void VX_ClearColor(VX_Color& color);

// Copy name and colour of color into color_copy.  When both are named,
// valid and already equal, nothing is written.
VXPLOT_EXPORT void VX_CopyColor(const VX_Color& color, VX_Color& color_copy);

// Parse a font text into font.  1 changed, 0 unchanged, -1 bad text with a
// registered error and the font fields untouched.  font_name is cleared
// first and set again only when the font changed, so re-parsing the same
// text returns 0 and leaves font_name empty.
VXPLOT_EXPORT int VX_ParseFont(const QString& value, VX_Font& font);

// Store size (pixels) in font; a size of at least 1 is also set on the
// QFont, cut to VX_FONT_MAX_PIXEL_SIZE.  Returns 0.
VXPLOT_EXPORT int VX_SetFontSize(int size, VX_Font& font);

// Set the painter's pen: with a non-null valid colour and a linewidth that
// is not negative, a pen of that colour and width, in linestyle (a
// Qt::PenStyle), with joinstyle (Qt::PenJoinStyle) and capstyle
// (Qt::PenCapStyle) when they are not negative.  Otherwise no pen.  Values
// that are not Qt styles are ignored (an unknown linestyle draws solid).
// Returns 0; -1 with a registered error for a null painter.
VXPLOT_EXPORT int VX_setup_line(QPainter* painter, const VX_Color* color, int linewidth, int linestyle,
                                int joinstyle, int capstyle);
// The same with a fractional width; a width that is not finite draws no pen.
VXPLOT_EXPORT int VX_setup_line(QPainter* painter, const VX_Color* color, double linewidth, int linestyle,
                                int joinstyle, int capstyle);

// No pen, and a solid brush of the colour when it is valid, else no brush.
// Returns 0; -1 with a registered error for a null painter.
VXPLOT_EXPORT int VX_setup_fill(QPainter* painter, const VX_Color* color);

// With a valid colour, a pen of it and the font when it is set; otherwise
// no pen.  Returns 0; -1 with a registered error for a null painter.
VXPLOT_EXPORT int VX_setup_text(QPainter* painter, const VX_Color* color, const VX_Font* font);

// Bounding width and height of text (UTF-8) in the font, and the font's
// ascent and descent, in pixels.  All four are 0 when the font is null or
// unset.  Outputs may be null.  Returns 0; -1 with a registered error (and
// zero outputs) when no QGuiApplication exists to measure with.
VXPLOT_EXPORT int VX_get_fontmetrics(const VX_Font* font, const char* text, int* str_w, int* str_h,
                                     int* ascent, int* descent);
