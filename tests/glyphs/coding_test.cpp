// Value codings: the coding text, scalar and HSL colour codings of items,
// and bad texts with their messages and the earlier state intact.
#include "support/testsupport.h"

#include "glyphs/graphicscontext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

namespace {

double valueAt(const VxGraphicsContextItem& item, double input)
{
    VXGraphicsContext::setCodingInput(item, input);
    double v = -12345.0;
    EXPECT_EQ(VXGraphicsContext::getValue(item, &v), 0) << takeErrors();
    return v;
}

QColor colourAt(const VxGraphicsContextItem& item, double input)
{
    VXGraphicsContext::setCodingInput(item, input);
    void* v = nullptr;
    EXPECT_EQ(VXGraphicsContext::getValue(item, &v), 0) << takeErrors();
    return v ? *static_cast<QColor*>(v) : QColor();
}

// The two lines registered when the coding point of a text fails: what the
// point parser says, then the coding parser's line about the point.
std::string pointError(const std::string& what, const std::string& point)
{
    return "vxgraphicscontext_parse_coding_point: " + what + "\n"
           "vxgraphicscontext_parse_coding: vxgraphicscontect_parse_coding_point(" + point + ") error.\n";
}

} // namespace

TEST(CodingText, WellFormed)
{
    struct Case { const char* name; const char* text; VxGraphicsContextCoding want; } cases[] = {
        {"constant", "7", {0.0, 7.0, 0.0, 1.0, -1.0}}, {"two points", "0.5,1:5.5,10", {0.5, 1.0, 1.8, 1.0, -1.0}},
        {"with limits", "0.5,1:5.5,10:2:8", {0.5, 1.0, 1.8, 2.0, 8.0}},
        {"equal inputs", "3,1:3,9", {3.0, 1.0, 0.0, 1.0, -1.0}},
        {"falling", "0.0,240.0:650.0,0.0", {0.0, 240.0, -240.0 / 650.0, 1.0, -1.0}},
        {"exponents and blanks", " 1e1 ,2:2d1, 4 ", {10.0, 2.0, 0.2, 1.0, -1.0}},
        {"negative", "-1,-2:1,2:-1.5:1.5", {-1.0, -2.0, 2.0, -1.5, 1.5}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VxGraphicsContextCoding got;
        ASSERT_EQ(vxgraphicscontext_parse_coding(c.text, &got), 0) << takeErrors();
        EXPECT_DOUBLE_EQ(got.in_0, c.want.in_0);
        EXPECT_DOUBLE_EQ(got.out_0, c.want.out_0);
        EXPECT_DOUBLE_EQ(got.out_scale, c.want.out_scale);
        EXPECT_DOUBLE_EQ(got.out_min, c.want.out_min);
        EXPECT_DOUBLE_EQ(got.out_max, c.want.out_max);
    }
}

TEST(CodingText, BadTextsAreRefusedWithTheirMessages)
{
    struct Case { const char* name; const char* text; std::string errors; } cases[] = {
        {"two colons", "1,2:3,4:5", "vxgraphicscontext_parse_coding: parse error for '1,2:3,4:5' - only 0, 1, or 3 ':' characters allowed.\n"},
        {"four colons", "1,2:3,4:5:6:7", "vxgraphicscontext_parse_coding: parse error for '1,2:3,4:5:6:7' - only 0, 1, or 3 ':' characters allowed.\n"},
        {"point without comma", "1:3,4", pointError("parse error for '1' - should have one ',' characters.", "1")},
        {"point with two commas", "1,2:3,4,5", pointError("parse error for '3,4,5' - should have one ',' characters.", "3,4,5")},
        {"limit with comma", "1,2:3,4:5,6:7", pointError("parse error for '5,6' - should have no ',' characters.", "5,6")},
        {"constant with comma", "1,2", pointError("parse error for '1,2' - should have no ',' characters.", "1,2")},
        {"not a number", "1,x:3,4", pointError("strtod error for 'x' in '1,x:3,4' - strtod() error.", "1,x")},
        {"trailing garbage", "1,2:3,4:0:9kg", pointError("strtod error for '9kg' in '1,2:3,4:0:9kg' - strtod() error.", "9kg")},
        {"empty", "", pointError("strtod error for '' in '' - strtod() error.", "")},
        {"nan", "nan", pointError("strtod error for 'nan' in 'nan' - strtod() error.", "nan")},
        {"overflow", "1,1e400:2,3", pointError("strtod error for '1e400' in '1,1e400:2,3' - strtod() error.", "1,1e400")},
        {"infinite slope", "0,-1e308:1e-308,1e308", "vxgraphicscontext_parse_coding: slope out of range in '0,-1e308:1e-308,1e308'.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VxGraphicsContextCoding got = {11.0, 22.0, 33.0, 44.0, 55.0};
        EXPECT_EQ(vxgraphicscontext_parse_coding(c.text, &got), -1);
        EXPECT_EQ(takeErrors(), c.errors);
        EXPECT_EQ(got.in_0, 11.0);  // untouched
        EXPECT_EQ(got.out_max, 55.0);
    }
}

TEST(ScalarCoding, Examples)
{
    struct Case { const char* name; const char* text; double input; double want; } cases[] = {
        {"first point", "0.5,1:5.5,10", 0.5, 1.0}, {"second point", "0.5,1:5.5,10", 5.5, 10.0},
        {"extended without limits", "0.5,1:5.5,10", 10.5, 19.0}, {"below without limits", "0.5,1:5.5,10", -0.5, -0.8},
        {"limited above", "0.5,1:5.5,10:2:8", 10.5, 8.0}, {"limited below", "0.5,1:5.5,10:2:8", 0.5, 2.0},
        {"inside limits", "0.5,1:5.5,10:2:8", 3.0, 5.5}, {"constant", "7", -1e6, 7.0},
        {"constant at zero", "7", 0.0, 7.0}, {"equal inputs give the first output", "3,1:3,9", 100.0, 1.0},
        {"limits reversed are off", "0,0:10,10:8:2", 20.0, 20.0}, {"magnitude 4", "4.0,10:7.0,50:10:100", 4.0, 10.0},
        {"magnitude 7", "4.0,10:7.0,50:10:100", 7.0, 50.0},
        {"magnitude 9 limited", "4.0,10:7.0,50:10:100", 9.0, 76.666666666666671},
        {"magnitude 2 limited", "4.0,10:7.0,50:10:100", 2.0, 10.0},
        {"age fades", "0.0,1.0:86400.0,0.0:0.0:1.0", 43200.0, 0.5},
        {"age stays at 0", "0.0,1.0:86400.0,0.0:0.0:1.0", 1e7, 0.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXGraphicsContext gc;
        VxGraphicsContextItem item = gc.setGcItem("events:size", VX_GC_SCALAR, c.text, 1);
        ASSERT_TRUE(item) << takeErrors();
        if (std::string(c.text).find(':') == std::string::npos) {
            // a lone number is a plain value; give it as a constant coding
            VxGraphicsContextCoding k;
            ASSERT_EQ(vxgraphicscontext_parse_coding(c.text, &k), 0);
            ASSERT_EQ(VXGraphicsContext::setGcItemCoding(item, VX_GC_CODING_SCALAR, &k), 0);
        }
        EXPECT_NEAR(valueAt(item, c.input), c.want, 1e-9);
    }
}

TEST(ItemCoding, NoOrBadInputGivesThePlainValue)
{
    VXGraphicsContext gc;
    VxGraphicsContextItem item = gc.setGcItem("events:size", VX_GC_SCALAR, "0.5,1:5.5,10:2:8", 1);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->coding_input, VX_GC_NO_INPUT);
    double v = 0;
    EXPECT_EQ(VXGraphicsContext::getValue(item, &v), 0);
    EXPECT_EQ(v, 2.0);  // the first point's output, limited
    valueAt(item, 5.5);
    VXGraphicsContext::initContextItem(item);
    EXPECT_EQ(VXGraphicsContext::getValue(item, &v), 0);
    EXPECT_EQ(v, 2.0);
    int i = 0;
    long l = 0;
    VXGraphicsContext::setCodingInput(item, 3.0);  // 5.5 rounds to even
    EXPECT_EQ(VXGraphicsContext::getValue(item, &i), 0);
    EXPECT_EQ(VXGraphicsContext::getValue(item, &l), 0);
    EXPECT_EQ(i, 6);
    EXPECT_EQ(l, 6);
    // an input that cannot be coded gives the plain value
    VxGraphicsContextItem unlimited = gc.setGcItem("events:size1", VX_GC_SCALAR, "0.5,1:5.5,10", 1);
    VXGraphicsContext::setCodingInput(unlimited, NAN);
    EXPECT_EQ(VXGraphicsContext::getValue(unlimited, &v), -1);
    EXPECT_EQ(v, 1.0);
    EXPECT_EQ(takeErrors(), "VXGraphicsContext::getValue: coded value is not finite.\n");
    // an infinite input is limited when there are limits
    VxGraphicsContextItem limited = gc.setGcItem("events:size2", VX_GC_SCALAR, "0.5,1:5.5,10:2:8", 1);
    VXGraphicsContext::setCodingInput(limited, 1e300);  // infinite as a float
    EXPECT_EQ(VXGraphicsContext::getValue(limited, &v), 0);
    EXPECT_EQ(v, 8.0);
    // a colour item: the colour at the first input, kept on a bad input
    VxGraphicsContextItem fill = gc.setGcItem("events:fill", VX_GC_BRUSH_COLOR, "0.0,240.0:650.0,0.0;1.0;0.5", 1);
    ASSERT_TRUE(fill);
    void* colour = nullptr;
    EXPECT_EQ(VXGraphicsContext::getValue(fill, &colour), 0);
    EXPECT_EQ(static_cast<QColor*>(colour)->rgba(), QColor(0, 0, 255).rgba());
    VXGraphicsContext::setCodingInput(fill, NAN);
    EXPECT_EQ(VXGraphicsContext::getValue(fill, &colour), -1);
    EXPECT_EQ(static_cast<QColor*>(colour)->rgba(), QColor(0, 0, 255).rgba());
    EXPECT_EQ(takeErrors(), "VXGraphicsContext::getValue: VX_ParseColor() error.\n");
    // a number is not a colour
    VXGraphicsContext::initContextItem(fill);
    EXPECT_EQ(VXGraphicsContext::getValue(fill, &v), -1);
    EXPECT_EQ(takeErrors(), "VXGraphicsContext::getValue: item 'events:fill' holds no number.\n");
}

TEST(ColorCoding, HslChannels)
{
    // hue in degrees; saturation, lightness as fractions
    struct Case { const char* name; const char* text; double input; double hue, saturation, lightness; } cases[] = {
        {"depth 0 is blue", "0.0,240.0:650.0,0.0;1.0;0.8", 0.0, 240, 1, 0.8},
        {"depth 325 is green", "0.0,240.0:650.0,0.0;1.0;0.8", 325.0, 120, 1, 0.8},
        {"depth 650 is red", "0.0,240.0:650.0,0.0;1.0;0.8", 650.0, 0, 1, 0.8},
        {"deeper wraps past red", "0.0,240.0:650.0,0.0;1.0;0.8", 700.0, 360 - 240.0 * 50 / 650, 1, 0.8},
        {"every channel coded", "0,0:10,100;0,0:10,1;0,0.2:10,0.6", 5.0, 50, 0.5, 0.4},
        {"first limits clamp each channel", "0,0:100,360:0:120;0,0:100,1:0:0.5;0.5", 100.0, 120, 0.5, 0.5},
        {"no first limits: none at all", "0,0:100,360;0,0:100,1:0:0.5;0.5", 50.0, 180, 0.5, 0.5},
        {"no first limits: second unclamped", "0,100:100,100;0,0:100,1:0:0.5;0.5", 100.0, 100, 1.0, 0.5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXGraphicsContext gc;
        VxGraphicsContextItem item = gc.setGcItem("events:fill", VX_GC_BRUSH_COLOR, c.text, 1);
        ASSERT_TRUE(item) << takeErrors();
        EXPECT_EQ(item->item->coding_type, VX_GC_CODING_COLOR);
        QColor got = colourAt(item, c.input);
        ASSERT_TRUE(got.isValid());
        EXPECT_NEAR(got.hslHueF() * 360.0, c.hue, 0.05);
        EXPECT_NEAR(got.hslSaturationF(), c.saturation, 1e-3);
        EXPECT_NEAR(got.lightnessF(), c.lightness, 1e-3);
        EXPECT_EQ(got.alpha(), 255);
    }
}

TEST(ColorCoding, ParseHelpers)
{
    QColor* colour = nullptr;
    VxGraphicsContextCoding* codings = nullptr;
    EXPECT_EQ(VXGraphicsContext::parseColorCoding("#80ff0000", &colour, &codings), 0);
    ASSERT_NE(colour, nullptr);
    EXPECT_EQ(codings, nullptr);
    EXPECT_EQ(*colour, QColor(255, 0, 0, 128));
    delete colour;
    EXPECT_EQ(VXGraphicsContext::parseColorCoding("0,120:1,0;1;0.5", &colour, &codings), 1);
    ASSERT_NE(codings, nullptr);
    EXPECT_EQ(colour->rgba(), QColor(0, 255, 0).rgba());
    EXPECT_DOUBLE_EQ(codings[0].out_scale, -120.0);
    EXPECT_DOUBLE_EQ(codings[2].out_0, 0.5);
    delete colour;
    delete[] codings;
    VxGraphicsContextCoding three[3];
    three[1].in_0 = 42.0;
    EXPECT_EQ(VXGraphicsContext::parseCodings("1;2", 3, three), -1);
    EXPECT_EQ(takeErrors(), "VXGraphicsContext::parseCodings: parse error for '1;2' - 3 codings expected.\n");
    EXPECT_EQ(VXGraphicsContext::parseCodings("1;2;x", 3, three), -1);
    EXPECT_EQ(takeErrors(),
              pointError("strtod error for 'x' in 'x' - strtod() error.", "x") +
              "VXGraphicsContext::parseCodings: vxgraphicscontext_parse_coding(x) error.\n");
    EXPECT_EQ(three[1].in_0, 42.0);
    EXPECT_EQ(VXGraphicsContext::parseCodings("1;2,3:4,5;6", 3, three), 0);
    EXPECT_EQ(three[1].in_0, 2.0);
}

TEST(ItemText, BadTextsKeepTheEarlierDefinition)
{
    struct Case { const char* name; int type; const char* text; std::string errors; } cases[] = {
        {"scalar not a number", VX_GC_PEN_WIDTHF, "abc", "VXGraphicsContext::setGcItem: strtod error for 'abc' in 'abc' - strtod() error.\n"},
        {"scalar two colons", VX_GC_SCALAR, "1,2:3,4:5", "VXGraphicsContext::setGcItem: parse error for '1,2:3,4:5' - only 0 or 1 ':' characters allowed.\n"},
        {"scalar bad point", VX_GC_OPACITY, "1,2:x,4", pointError("strtod error for 'x' in '1,2:x,4' - strtod() error.", "x,4") + "VXGraphicsContext::setGcItem: parseScalarCoding(1,2:x,4) error.\n"},
        {"dash bad coding", VX_GC_DASH_PHASE0, "1:2", pointError("parse error for '1' - should have one ',' characters.", "1") + "VXGraphicsContext::setGcItem: parseScalarCoding(1:2) error.\n"},
        {"colour one semicolon", VX_GC_BRUSH_COLOR, "red;blue", "VXGraphicsContext::setGcItem: parse error for 'red;blue' - only 0 or 2 ';' characters allowed.\n"},
        {"colour three semicolons", VX_GC_PEN_COLOR, "1;2;3;4", "VXGraphicsContext::setGcItem: parse error for '1;2;3;4' - only 0 or 2 ';' characters allowed.\n"},
        {"colour bad name", VX_GC_PEN_COLOR, "notacolour", "VX_ParseColor: Cannot parse color 'notacolour'\nVXGraphicsContext::setGcItem: VX_ParseColor(notacolour) error in 'notacolour'.\n"},
        {"colour empty", VX_GC_PEN_COLOR, "", "VXGraphicsContext::setGcItem: VX_ParseColor() error in ''.\n"},
        {"colour bad channel", VX_GC_BRUSH_COLOR, "0,240:650,0;x;0.8", pointError("strtod error for 'x' in 'x' - strtod() error.", "x") + "VXGraphicsContext::parseCodings: vxgraphicscontext_parse_coding(x) error.\nVXGraphicsContext::setGcItem: parseColorHslCoding(0,240:650,0;x;0.8) error.\n"},
        {"linestyle", VX_GC_PEN_STYLE, "WavyLine", "VXGraphicsContext::setGcItem: Unrecognized linestyle WavyLine.\n"},
        {"joinstyle", VX_GC_PEN_JOIN, "SharpJoin", "VXGraphicsContext::setGcItem: Unrecognized joinstyle SharpJoin.\n"},
        {"capstyle", VX_GC_PEN_CAP, "BigCap", "VXGraphicsContext::setGcItem: Unrecognized capstyle BigCap.\n"},
        {"font by text", VX_GC_FONT, "Sans,12", "VXGraphicsContext::setGcItem: Unrecognized type 11 for char * param.\n"},
        {"unknown kind", 12, "1", "VXGraphicsContext::setGcItem: Unrecognized type 12 for char * param.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXGraphicsContext gc;
        // the earlier definition, of the same kind, and a neighbour
        const std::map<int, const char*> earlier = {{VX_GC_PEN_STYLE, "DotLine"}, {VX_GC_PEN_JOIN, "RoundJoin"},
            {VX_GC_PEN_CAP, "RoundCap"}, {VX_GC_PEN_COLOR, "#123456"}, {VX_GC_BRUSH_COLOR, "#123456"}};
        const char* text = earlier.count(c.type) ? earlier.at(c.type) : "0.25";
        VxGraphicsContextItem before = c.type == VX_GC_FONT ? gc.setGcItem("g:it", c.type, QFont(), 1)
                                       : c.type == 12       ? gc.setGcItem("g:it", VX_GC_SCALAR, 3.0, 1)
                                                            : gc.setGcItem("g:it", c.type, text, 1);
        ASSERT_TRUE(before) << takeErrors();
        gc.setGcItem("g:other", VX_GC_SCALAR, 1.0, 1);
        QString shown = VXGraphicsContext::showItem("it", before);
        EXPECT_EQ(gc.setGcItem("g:it", c.type, c.text, 1), nullptr);
        EXPECT_EQ(takeErrors(), c.errors);
        EXPECT_EQ(gc.setGcItem("g:new", c.type, c.text, 1), nullptr);  // nothing made either
        takeErrors();
        EXPECT_EQ(VXGraphicsContext::showItem("it", gc.getGcItem("g:it")), shown);
        EXPECT_EQ(gc.mapgcitem.size(), 2);
        ASSERT_TRUE(gc.getGc("g"));
        EXPECT_EQ(gc.getGc("g")->size(), 2);
        EXPECT_EQ(takeErrors(), "");
    }
}

TEST(ItemCoding, SetAndRemove)
{
    VXGraphicsContext gc;
    gc.setGcItem("g:size", VX_GC_SCALAR, 5.0, 1);
    gc.setGcItem("g:fill", VX_GC_BRUSH_COLOR, QColor(Qt::red), 1);
    VxGraphicsContextCoding c;
    VXGraphicsContext::setGcCoding(&c, 0, 0, 10, 100, 1, -1);
    EXPECT_EQ(gc.setGcItemCoding("g:size", VX_GC_CODING_SCALAR, c), 0);
    VxGraphicsContextItem size = gc.getGcItem("g:size");
    EXPECT_EQ(valueAt(size, 2.5), 25.0);
    EXPECT_EQ(gc.setGcItemCoding("g:size", VX_GC_CODING_NONE, c), 0);
    EXPECT_EQ(valueAt(size, 2.5), 5.0);
    EXPECT_EQ(gc.setGcItemCoding("g:fill", VX_GC_CODING_SCALAR, c), -1);
    EXPECT_EQ(takeErrors(),
              "VXGraphicsContext::setGcItemCoding: coding type 1 does not fit item 'g:fill' of type 6.\n"
              "VXGraphicsContext::setGcItemCoding: Cannot set coding of 'g:fill'.\n");
    EXPECT_EQ(gc.setGcItemCoding("g:nothing", VX_GC_CODING_SCALAR, c), -1);
    EXPECT_EQ(takeErrors(),
              "VXGraphicsContext::get_item: Cannot find item 'g:nothing'.\n"
              "VXGraphicsContext::setGcItemCoding: get_item(g:nothing) error.\n");
    VxGraphicsContextCoding hsl[3];
    VXGraphicsContext::setGcCoding(&hsl[0], 0, 0, 1, 120, 1, -1);
    VXGraphicsContext::setGcCoding(&hsl[1], 0, 1, 1, 1, 1, -1);
    VXGraphicsContext::setGcCoding(&hsl[2], 0, 0.5, 1, 0.5, 1, -1);
    EXPECT_EQ(gc.setGcItemCoding("g:fill", VX_GC_CODING_COLOR, hsl), 0);
    EXPECT_EQ(colourAt(gc.getGcItem("g:fill"), 1.0).rgba(), QColor(0, 255, 0).rgba());
    hsl[0].out_scale = NAN;
    EXPECT_EQ(gc.setGcItemCoding("g:fill", VX_GC_CODING_COLOR, hsl), -1);
    takeErrors();
    EXPECT_EQ(colourAt(gc.getGcItem("g:fill"), 1.0).rgba(), QColor(0, 255, 0).rgba());
}
