// Colour and font texts, their change detection, and painter set-up.
#include "support/testsupport.h"

#include "foundation/values.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <cstdlib>
#include <string>
#include <tuple>
#include <utility>

namespace {

struct Rgba { int r, g, b, a; };

void expectRgba(const QColor& c, Rgba want)
{
    ASSERT_TRUE(c.isValid());
    // HSL colours go through 16-bit channels: allow one step of rounding
    EXPECT_LE(std::abs(c.red() - want.r), 1) << c.red();
    EXPECT_LE(std::abs(c.green() - want.g), 1) << c.green();
    EXPECT_LE(std::abs(c.blue() - want.b), 1) << c.blue();
    EXPECT_LE(std::abs(c.alpha() - want.a), 1) << c.alpha();
}

} // namespace

TEST(ColorText, WellFormedTexts)
{
    struct Case { const char* name; const char* text; Rgba rgba; } cases[] = {
        {"named", "blue", {0, 0, 255, 255}}, {"named long", "lightyellow", {255, 255, 224, 255}},
        {"short hex", "#f00", {255, 0, 0, 255}}, {"hex", "#00ff00", {0, 255, 0, 255}},
        {"alpha first white", "#a0ffffff", {255, 255, 255, 0xa0}}, {"alpha first red", "#20ff0000", {255, 0, 0, 0x20}},
        {"hsl blue", "240,1,0.5", {0, 0, 255, 255}}, {"hsla half blue", "240,1,0.5,0.5", {0, 0, 255, 128}},
        {"hsl white", "0,0,1", {255, 255, 255, 255}}, {"hue above a turn", "480,1,0.5", {0, 255, 0, 255}},
        {"hue many turns", "3720,1,0.5", {0, 255, 0, 255}}, {"negative hue and clamps", "-30,2,-1", {0, 0, 0, 255}},
        {"hue 330 red-magenta", "-30,1,0.5", {255, 0, 128, 255}},
        {"alpha clamped high", "120,1,0.5,7", {0, 255, 0, 255}}, {"alpha clamped low", "120,1,0.5,-3", {0, 255, 0, 0}},
        {"lightness clamped", "0,-1,2", {255, 255, 255, 255}}, {"exponent", "2.4e2,1,5e-1", {0, 0, 255, 255}},
        {"whole turn", "360,1,0.5", {255, 0, 0, 255}}, {"minus a turn", "-360,1,0.5", {255, 0, 0, 255}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VX_Color color;
        EXPECT_EQ(VX_ParseColor(c.text, color), 1) << takeErrors();
        EXPECT_EQ(color.color_name, QString(c.text));
        expectRgba(color.color, c.rgba);
        EXPECT_EQ(takeErrors(), "");
    }
    // the hue of black is kept too, wrapped into one turn
    VX_Color black;
    ASSERT_EQ(VX_ParseColor("-30,2,-1", black), 1);
    EXPECT_EQ(black.color.hslHue(), 330);
}

TEST(ColorText, BadTextsAreRefusedAndUnsetTheColour)
{
    const char* cases[] = {
        "notacolor", "1,2", "1,2,x", "1,2,3,4,5", "#12345", "#gg0000", "240,1,", ",1,0.5", "nan,1,0.5",
        "inf,1,0.5", "240,1,0.5,", "1e999,1,0.5",
    };
    for (const char* text : cases) {
        SCOPED_TRACE(text);
        VX_Color color;
        ASSERT_EQ(VX_ParseColor("red", color), 1);
        EXPECT_EQ(VX_ParseColor(text, color), -1);
        EXPECT_FALSE(color.color.isValid());
        EXPECT_TRUE(color.color_name.isEmpty());
        EXPECT_EQ(takeErrors(), std::string("VX_ParseColor: Cannot parse color '") + text + "'\n");
    }
}

TEST(ColorText, ReturnCodesFollowChanges)
{
    VX_Color color;
    EXPECT_EQ(VX_ParseColor("", color), 0) << "unset stays unset";
    EXPECT_EQ(VX_ParseColor("blue", color), 1);
    QColor before = color.color;
    EXPECT_EQ(VX_ParseColor("blue", color), 0) << "same text";
    EXPECT_EQ(color.color_name, "blue");
    EXPECT_EQ(color.color, before);
    EXPECT_EQ(VX_ParseColor("Blue", color), 1) << "names compare with case";
    EXPECT_EQ(VX_ParseColor("", color), 1) << "set becomes unset";
    EXPECT_FALSE(color.color.isValid());
    EXPECT_TRUE(color.color_name.isEmpty());
    EXPECT_EQ(VX_ParseColor("", color), 0);
    // a failed text leaves nothing to compare with: it fails again
    EXPECT_EQ(VX_ParseColor("notacolor", color), -1);
    EXPECT_EQ(VX_ParseColor("notacolor", color), -1);
    EXPECT_EQ(VX_ParseColor("", color), 0);
    takeErrors();
}

TEST(ColorText, StrcmpTreatsEmptyTextsAlike)
{
    EXPECT_EQ(VX_Strcmp("", ""), 0);
    EXPECT_EQ(VX_Strcmp(QString(), ""), 0);
    EXPECT_EQ(VX_Strcmp("", "a"), 1);
    EXPECT_EQ(VX_Strcmp("a", ""), 1);
    EXPECT_EQ(VX_Strcmp("a", "a"), 0);
    EXPECT_LT(VX_Strcmp("a", "b"), 0);
    EXPECT_GT(VX_Strcmp("b", "a"), 0);
    EXPECT_NE(VX_Strcmp("a", "A"), 0);
}

TEST(ColorText, ClearAndCopy)
{
    VX_Color src;
    ASSERT_EQ(VX_ParseColor("#20ff0000", src), 1);
    VX_Color copy;
    VX_CopyColor(src, copy);
    EXPECT_EQ(copy.color_name, "#20ff0000");
    EXPECT_EQ(copy.color, src.color);
    // the copy shares the source's text now
    EXPECT_EQ(copy.color_name.constData(), src.color_name.constData());
    // equal and both set: nothing is written, the copy keeps its own text
    VX_Color same;
    ASSERT_EQ(VX_ParseColor(QString("#20ff") + "0000", same), 1);
    const QChar* own = same.color_name.constData();
    VX_CopyColor(src, same);
    EXPECT_EQ(same.color_name.constData(), own);
    // an unset source unsets the copy
    VX_Color unset;
    VX_CopyColor(unset, copy);
    EXPECT_TRUE(copy.color_name.isEmpty());
    EXPECT_FALSE(copy.color.isValid());
    VX_ClearColor(src);
    EXPECT_TRUE(src.color_name.isEmpty());
    EXPECT_FALSE(src.color.isValid());
}

TEST(FontText, WellFormedTexts)
{
    struct Case { const char* name; const char* text; const char* family; int size, weight, italic; } cases[] = {
        {"family and size", "Helvetica,12", "Helvetica", 12, -1, 0},
        {"all four", "courier,14,Bold,yes", "courier", 14, 700, 1}, {"size only", ",10", "", 10, -1, 0},
        {"family only", "Serif", "Serif", -1, -1, 0}, {"light", "Sans,8,Light", "Sans", 8, 300, 0},
        {"normal, not italic", "Sans,9,Normal,no", "Sans", 9, 400, 0},
        {"demibold", "Sans,9,DemiBold", "Sans", 9, 600, 0}, {"black, empty size", "Sans,,Black", "Sans", -1, 900, 0},
        {"word in any case", "Sans,9,bold", "Sans", 9, 700, 0}, {"number weight", "Sans,9,550,true", "Sans", 9, 550, 1},
        {"blanks around fields", " Sans , 11 , Bold , on ", "Sans", 11, 700, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VX_Font font;
        EXPECT_EQ(VX_ParseFont(c.text, font), 1) << takeErrors();
        EXPECT_EQ(font.font_name, QString(c.text));
        EXPECT_EQ(std::tie(font.family, font.size, font.weight, font.italic, font.invalid),
                  std::make_tuple(QString(c.family), c.size, c.weight, c.italic, 0));
        if (c.size > 0) {
            EXPECT_EQ(font.font.pixelSize(), c.size);
        }
        if (c.family[0]) {
            EXPECT_EQ(font.font.family(), QString(c.family));
        }
        if (c.weight > 0) {
            EXPECT_EQ(static_cast<int>(font.font.weight()), c.weight);
        }
        EXPECT_EQ(font.font.italic(), c.italic != 0);
    }
}

TEST(FontText, BadTextsAreRefusedWithTheirReason)
{
    struct Case { const char* name; const char* text; const char* error; } cases[] = {
        {"five fields", "a,b,c,d,e", "VX_ParseFont: Too many fields in font 'a,b,c,d,e'\n"},
        {"size word", "Sans,big", "VX_ParseFont: Unable to parse size from 'big'.\n"},
        {"size fraction", "Sans,1.5", "VX_ParseFont: Unable to parse size from '1.5'.\n"},
        {"size too large", "Sans,99999", "VX_ParseFont: Unable to parse size from '99999'.\n"},
        {"weight word", "Sans,12,heavy", "VX_ParseFont: Unable to parse weight from 'heavy'.\n"},
        {"weight too large", "Sans,12,5000", "VX_ParseFont: Unable to parse weight from '5000'.\n"},
        {"italic word", "Sans,12,Bold,maybe", "VX_ParseFont: Unable to parse italic from 'maybe'.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VX_Font font;
        ASSERT_EQ(VX_ParseFont("Helvetica,12,Bold", font), 1);
        QFont before = font.font;
        EXPECT_EQ(VX_ParseFont(c.text, font), -1);
        EXPECT_EQ(takeErrors(), c.error);
        // the fields stay; only the text of the last change is gone
        EXPECT_TRUE(font.font_name.isEmpty());
        EXPECT_EQ(std::tie(font.family, font.size, font.weight, font.invalid),
                  std::make_tuple("Helvetica", 12, 700, 0));
        EXPECT_EQ(font.font, before);
    }
}

TEST(FontText, SecondParseIsUnchangedAndClearsTheName)
{
    VX_Font font;
    ASSERT_EQ(VX_ParseFont("courier,14,Bold,yes", font), 1);
    EXPECT_EQ(font.font_name, "courier,14,Bold,yes");
    EXPECT_EQ(VX_ParseFont("courier,14,Bold,yes", font), 0);
    EXPECT_TRUE(font.font_name.isEmpty());
    EXPECT_EQ(font.invalid, 0);
    EXPECT_EQ(font.font.pixelSize(), 14);
    // a different spelling of the same font is no change either
    EXPECT_EQ(VX_ParseFont("courier,14,700,1", font), 0);
    EXPECT_EQ(VX_ParseFont("courier,15,Bold,yes", font), 1);
    EXPECT_EQ(font.font_name, "courier,15,Bold,yes");
}

TEST(FontText, EmptyTextUnsetsTheFont)
{
    VX_Font font;
    EXPECT_EQ(VX_ParseFont("", font), 0) << "unset stays unset";
    EXPECT_EQ(font.invalid, 1);
    ASSERT_EQ(VX_ParseFont("Helvetica,12", font), 1);
    EXPECT_EQ(VX_ParseFont("", font), 1);
    EXPECT_EQ(font.invalid, 1);
    EXPECT_TRUE(font.family.isEmpty());
    EXPECT_EQ(font.font, QFont());
    // a font with no family is set all the same, and comes back after unset
    ASSERT_EQ(VX_ParseFont(",12", font), 1);
    EXPECT_EQ(font.invalid, 0);
    EXPECT_EQ(VX_ParseFont("", font), 1);
    EXPECT_EQ(font.invalid, 1);
    EXPECT_EQ(VX_ParseFont(",12", font), 1);
    EXPECT_EQ(font.invalid, 0);
    EXPECT_EQ(font.font.pixelSize(), 12);
}

TEST(FontText, SetFontSize)
{
    VX_Font font;
    ASSERT_EQ(VX_ParseFont("Sans,12", font), 1);
    EXPECT_EQ(VX_SetFontSize(20, font), 0);
    EXPECT_EQ(std::make_pair(font.size, font.font.pixelSize()), std::make_pair(20, 20));
    EXPECT_EQ(VX_SetFontSize(0, font), 0);
    EXPECT_EQ(std::make_pair(font.size, font.font.pixelSize()), std::make_pair(0, 20))
        << "sizes below 1 are only stored";
    EXPECT_EQ(VX_SetFontSize(1 << 30, font), 0);
    EXPECT_EQ(font.font.pixelSize(), VX_FONT_MAX_PIXEL_SIZE);
}

namespace {

// A painter over a white image.
struct Canvas
{
    QImage image{40, 40, QImage::Format_ARGB32};
    QPainter painter;
    Canvas()
    {
        image.fill(Qt::white);
        painter.begin(&image);
    }
    QColor at(int x, int y)
    {
        painter.end();
        QColor c = image.pixelColor(x, y);
        painter.begin(&image);
        return c;
    }
};

VX_Color colorOf(const char* text)
{
    VX_Color c;
    VX_ParseColor(text, c);
    return c;
}

} // namespace

TEST(PainterSetup, LineSetsThePen)
{
    Canvas canvas;
    VX_Color red = colorOf("red");
    EXPECT_EQ(VX_setup_line(&canvas.painter, &red, 3, Qt::DashLine, Qt::RoundJoin, Qt::FlatCap), 0);
    const QPen pen = canvas.painter.pen();
    EXPECT_EQ(std::make_tuple(pen.color(), pen.width(), pen.style(), pen.joinStyle(), pen.capStyle()),
              std::make_tuple(QColor(Qt::red), 3, Qt::DashLine, Qt::RoundJoin, Qt::FlatCap));
    // negative join and cap leave the pen's own
    EXPECT_EQ(VX_setup_line(&canvas.painter, &red, 1, Qt::SolidLine, -1, -1), 0);
    EXPECT_EQ(std::make_pair(canvas.painter.pen().joinStyle(), canvas.painter.pen().capStyle()),
              std::make_pair(QPen().joinStyle(), QPen().capStyle()));
    // and the pen draws
    VX_setup_line(&canvas.painter, &red, 3, Qt::SolidLine, -1, -1);
    canvas.painter.drawLine(0, 10, 39, 10);
    EXPECT_EQ(canvas.at(20, 10), QColor(Qt::red));
    // a fractional width
    VX_Color green = colorOf("#00ff00");
    EXPECT_EQ(VX_setup_line(&canvas.painter, &green, 2.5, Qt::DotLine, Qt::MiterJoin, Qt::RoundCap), 0);
    const QPen thin = canvas.painter.pen();
    EXPECT_EQ(std::make_tuple(thin.widthF(), thin.style(), thin.joinStyle(), thin.capStyle()),
              std::make_tuple(2.5, Qt::DotLine, Qt::MiterJoin, Qt::RoundCap));
    // a number that is no pen style draws solid
    EXPECT_EQ(VX_setup_line(&canvas.painter, &green, 1.0, 77, -1, -1), 0);
    EXPECT_EQ(canvas.painter.pen().style(), Qt::SolidLine);
}

TEST(PainterSetup, LineWithoutColourOrWidthDrawsNothing)
{
    VX_Color red = colorOf("red");
    VX_Color unset;
    struct Case { const char* name; VX_Color* color; double width; bool fractional; } cases[] = {
        {"null colour", nullptr, 1, false}, {"unset colour", &unset, 1, false}, {"negative width", &red, -1, false},
        {"negative fractional width", &red, -0.5, true}, {"NaN width", &red, std::nan(""), true},
        {"infinite width", &red, HUGE_VAL, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Canvas canvas;
        canvas.painter.setPen(QPen(Qt::blue));
        if (c.fractional)
            EXPECT_EQ(VX_setup_line(&canvas.painter, c.color, c.width, Qt::SolidLine, -1, -1), 0);
        else
            EXPECT_EQ(VX_setup_line(&canvas.painter, c.color, static_cast<int>(c.width), Qt::SolidLine, -1, -1), 0);
        EXPECT_EQ(canvas.painter.pen().style(), Qt::NoPen);
        canvas.painter.drawLine(0, 10, 39, 10);
        EXPECT_EQ(canvas.at(20, 10), QColor(Qt::white));
    }
}

TEST(PainterSetup, FillSetsTheBrushAndNoPen)
{
    Canvas canvas;
    VX_Color blue = colorOf("blue");
    canvas.painter.setPen(QPen(Qt::red));
    EXPECT_EQ(VX_setup_fill(&canvas.painter, &blue), 0);
    EXPECT_EQ(canvas.painter.pen().style(), Qt::NoPen);
    EXPECT_EQ(canvas.painter.brush().style(), Qt::SolidPattern);
    EXPECT_EQ(canvas.painter.brush().color(), QColor(Qt::blue));
    canvas.painter.drawRect(5, 5, 10, 10);
    EXPECT_EQ(canvas.at(10, 10), QColor(Qt::blue));
    EXPECT_EQ(canvas.at(5, 4), QColor(Qt::white)) << "no outline";
    VX_Color unset;
    EXPECT_EQ(VX_setup_fill(&canvas.painter, &unset), 0);
    EXPECT_EQ(canvas.painter.brush().style(), Qt::NoBrush);
    EXPECT_EQ(VX_setup_fill(&canvas.painter, nullptr), 0);
    EXPECT_EQ(canvas.painter.brush().style(), Qt::NoBrush);
}

TEST(PainterSetup, TextSetsPenAndFont)
{
    Canvas canvas;
    VX_Color red = colorOf("red");
    VX_Font font;
    ASSERT_EQ(VX_ParseFont("Sans,17,Bold", font), 1);
    EXPECT_EQ(VX_setup_text(&canvas.painter, &red, &font), 0);
    EXPECT_EQ(canvas.painter.pen().color(), QColor(Qt::red));
    EXPECT_EQ(canvas.painter.font().pixelSize(), 17);
    // an unset font leaves the painter's font; an unset colour takes the pen
    VX_Font unset;
    EXPECT_EQ(VX_setup_text(&canvas.painter, &red, &unset), 0);
    EXPECT_EQ(canvas.painter.font().pixelSize(), 17);
    VX_Color none;
    EXPECT_EQ(VX_setup_text(&canvas.painter, &none, &font), 0);
    EXPECT_EQ(canvas.painter.pen().style(), Qt::NoPen);
}

TEST(PainterSetup, NullPainterIsAnError)
{
    VX_Color red = colorOf("red");
    EXPECT_EQ(VX_setup_line(nullptr, &red, 1, Qt::SolidLine, -1, -1), -1);
    EXPECT_EQ(VX_setup_line(nullptr, &red, 1.0, Qt::SolidLine, -1, -1), -1);
    EXPECT_EQ(VX_setup_fill(nullptr, &red), -1);
    EXPECT_EQ(VX_setup_text(nullptr, &red, nullptr), -1);
    EXPECT_EQ(takeErrors(), "VX_setup_line: No painter.\nVX_setup_line: No painter.\n"
                            "VX_setup_fill: No painter.\nVX_setup_text: No painter.\n");
}

TEST(FontMetrics, MeasuresTextInASetFont)
{
    VX_Font font;
    ASSERT_EQ(VX_ParseFont("Sans,20", font), 1);
    int w = -1, h = -1, ascent = -1, descent = -1;
    EXPECT_EQ(VX_get_fontmetrics(&font, "Hello", &w, &h, &ascent, &descent), 0);
    EXPECT_GT(w, 0);
    EXPECT_GT(h, 0);
    EXPECT_GT(ascent, 0);
    EXPECT_GE(descent, 0);
    EXPECT_LE(ascent, 40);
    int w2 = -1;
    EXPECT_EQ(VX_get_fontmetrics(&font, "Hello, Hello", &w2, nullptr, nullptr, nullptr), 0);
    EXPECT_GT(w2, w);
    EXPECT_EQ(VX_get_fontmetrics(&font, "", &w2, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(w2, 0);
}

TEST(FontMetrics, ZeroForAnUnsetFont)
{
    VX_Font unset;
    for (VX_Font* font : {&unset, static_cast<VX_Font*>(nullptr)}) {
        SCOPED_TRACE(font ? "unset" : "null");
        int w = 9, h = 9, ascent = 9, descent = 9;
        EXPECT_EQ(VX_get_fontmetrics(font, "Hello", &w, &h, &ascent, &descent), 0);
        EXPECT_EQ(w, 0);
        EXPECT_EQ(h, 0);
        EXPECT_EQ(ascent, 0);
        EXPECT_EQ(descent, 0);
    }
}
