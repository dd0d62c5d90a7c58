// Graphics contexts: named contexts and items, typed setters, items applied
// to pens, brushes and a real painter, shared definitions with private
// coding inputs, copies and the static symbols.
#include "support/testsupport.h"

#include "glyphs/graphicscontext.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

double number(const VxGraphicsContextItem& item)
{
    double v = -1;
    EXPECT_EQ(VXGraphicsContext::getValue(item, &v), 0) << takeErrors();
    return v;
}

// Opaque colour of a pixel, comparable with qRgb().
QRgb pixel(const QImage& image, int x, int y)
{
    return image.pixel(x, y) | 0xff000000;
}

using Setter = std::function<VxGraphicsContextItem(VXGraphicsContext&)>;

// Sets the item "g:it" of type to value, through the overload of value's type.
template <typename V>
Setter set(int type, V value)
{
    return [type, value](VXGraphicsContext& g) { return g.setGcItem("g:it", type, value, 1); };
}

// A white image of w by h with path drawn through context g onto it.
QImage paintPath(VxGraphicsContext g, int w, int h, const QPainterPath& path)
{
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    VXGraphicsContext::drawPainterPath(g, &painter, path);
    return image;
}

} // namespace

TEST(GcNames, DefaultContextOrderOfFirstSettingAndBadNames)
{
    VXGraphicsContext gc;
    VxGraphicsContextItem fill = gc.setGcItem("fill", VX_GC_BRUSH_COLOR, "red", 1);
    ASSERT_TRUE(fill);
    EXPECT_EQ(fill->item->name, "default:fill");
    EXPECT_EQ(gc.getGcItem("default:fill"), fill);
    EXPECT_EQ(gc.getGcItem("fill"), fill);
    VxGraphicsContextItem x = gc.setGcItem("a:x", VX_GC_SCALAR, 1.0, 1);
    VxGraphicsContextItem y = gc.setGcItem("a:y", VX_GC_SCALAR, 2.0, 1);
    EXPECT_EQ(gc.setGcItem("a:x", VX_GC_SCALAR, 3.0, 1), x);  // same item, same place
    VxGraphicsContext a = gc.getGc("a");
    ASSERT_TRUE(a);
    ASSERT_EQ(a->size(), 2);
    EXPECT_EQ(a->at(0), x);
    EXPECT_EQ(a->at(1), y);
    EXPECT_EQ(number(x), 3.0);
    EXPECT_EQ(gc.getGcNames(), QStringList({"a", "default"}));
    EXPECT_EQ(takeErrors(), "");
    // unknown and bad names leave an empty object empty
    VXGraphicsContext bad;
    EXPECT_EQ(bad.getGc("none"), nullptr);
    EXPECT_EQ(takeErrors(), "VXGraphicsContext::getGc: Cannot find graphics context 'none'.\n");
    EXPECT_EQ(bad.getGcItem("g:none"), nullptr);
    EXPECT_EQ(takeErrors(),
              "VXGraphicsContext::get_item: Cannot find item 'g:none'.\n"
              "VXGraphicsContext::getGcItem: get_item(g:none) error.\n");
    for (const char* name : {":x", "g:", ""}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(bad.setGcItem(name, VX_GC_SCALAR, 1.0, 1), nullptr);
        EXPECT_EQ(takeErrors(), std::string("VXGraphicsContext::get_item: bad item name '") + name +
                                    "'.\nVXGraphicsContext::setGcItem: get_item(" + name + ") error.\n");
    }
    QPen pen;
    EXPECT_EQ(bad.drawGcItem("g:none", &pen, nullptr), -1);
    EXPECT_EQ(takeErrors(),
              "VXGraphicsContext::get_item: Cannot find item 'g:none'.\n"
              "VXGraphicsContext::drawGcItem: get_item(g:none) error.\n");
    EXPECT_TRUE(bad.mapgc.isEmpty());
    EXPECT_TRUE(bad.mapgcitem.isEmpty());
}

TEST(GcItems, TypedSettersRefuseWhatDoesNotFit)
{
    // errors: the line after "VXGraphicsContext::setGcItem: "
    struct Case { const char* name; Setter set; const char* errors; } cases[] = {
        {"int for a colour", set(VX_GC_PEN_COLOR, 3), "Unrecognized type 1 for int param.\n"},
        {"double for a font", set(VX_GC_FONT, 3.0), "Unrecognized type 11 for double param.\n"},
        {"colour for a width", set(VX_GC_PEN_WIDTHF, QColor(Qt::red)), "Unrecognized type 8 for QColor param.\n"},
        {"invalid colour", set(VX_GC_PEN_COLOR, QColor()), "invalid colour for 'g:it'.\n"},
        {"font for a colour", set(VX_GC_BRUSH_COLOR, QFont()), "Unrecognized type 6 for QFont param.\n"},
        {"pen style for a join", set(VX_GC_PEN_JOIN, Qt::DashLine), "Unrecognized type 3 for Qt::PenStyle param.\n"},
        {"join for a cap", set(VX_GC_PEN_CAP, Qt::RoundJoin), "Unrecognized type 4 for Qt::PenJoinStyle param.\n"},
        {"no value for a colour", set(VX_GC_BRUSH_COLOR, nullptr), "Unrecognized type 6 for NULL param.\n"},
        {"null text for a colour", set(VX_GC_BRUSH_COLOR, static_cast<const char*>(nullptr)), "Unrecognized type 6 for NULL param.\n"},
        {"pen style out of range", set(VX_GC_PEN_STYLE, 99), "Bad value 99 for type 2.\n"},
        {"symbol out of range", set(VX_GC_SYMBOL, 11), "Bad value 11 for type 14.\n"},
        {"width not finite", set(VX_GC_PEN_WIDTHF, std::numeric_limits<double>::quiet_NaN()), "Bad value nan for type 8.\n"},
        {"integer width too large", set(VX_GC_PEN_WIDTH, 1L << 40), "Bad value 1.09951e+12 for type 7.\n"},
        {"unknown type", set(13, 1), "Unrecognized type 13 for int param.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXGraphicsContext gc;
        VxGraphicsContextItem before = gc.setGcItem("g:it", VX_GC_SCALAR, 4.5, 1);
        EXPECT_EQ(c.set(gc), nullptr);
        EXPECT_EQ(takeErrors(), std::string("VXGraphicsContext::setGcItem: ") + c.errors);
        EXPECT_EQ(gc.getGcItem("g:it"), before);
        EXPECT_EQ(before->item->type, VX_GC_SCALAR);
        EXPECT_EQ(number(before), 4.5);
        EXPECT_EQ(gc.mapgcitem.size(), 1);
    }
}

TEST(GcItems, ReplaceFlagAndPrintedForm)
{
    VXGraphicsContext gc;
    VxGraphicsContextItem item = gc.setGcItem("g:width", VX_GC_PEN_WIDTHF, 2.0, 1);
    VxGraphicsContextItem user = VXGraphicsContext::shareItem(item);  // a symbol using the definition
    VxGraphicsContextItem own = VXGraphicsContext::deepCopy(item);    // a private copy
    // without replace an existing item is left as it is
    EXPECT_EQ(gc.setGcItem("g:width", VX_GC_PEN_WIDTHF, 5.0, 0), item);
    EXPECT_EQ(number(item), 2.0);
    // with replace its parameters change in place, for every sharer
    EXPECT_EQ(gc.setGcItem("g:width", VX_GC_PEN_WIDTHF, "0,1:10,11", 1), item);
    EXPECT_EQ(number(item), 1.0);
    VXGraphicsContext::setCodingInput(user, 4.0);
    EXPECT_EQ(number(user), 5.0);
    EXPECT_EQ(number(own), 2.0);
    EXPECT_EQ(item->item->name, "g:width");
    // the printed form of an item
    VxGraphicsContextItem size = gc.setGcItem("e:size", VX_GC_SCALAR, "4,10:7,50:10:100", 1);
    VXGraphicsContext::setCodingInput(size, 5.5);
    EXPECT_EQ(VXGraphicsContext::showItem("size", size),
              "size: name e:size type 15 value 10 coding 4,10,13.33333333,10,100 input 5.5");
    EXPECT_EQ(VXGraphicsContext::showItem("none", nullptr), "none: null item");
}

TEST(GcItems, AppliedToAPainter)
{
    using P = const QPainter&;
    QFont font;
    font.setPixelSize(17);
    struct Case { const char* name; Setter set; std::function<void(P)> check; } cases[] = {
        {"pen colour makes a solid pen", set(VX_GC_PEN_COLOR, "#a0ff0000"), [](P p) { EXPECT_EQ(p.pen().style(), Qt::SolidLine); EXPECT_EQ(p.pen().color().rgba(), qRgba(255, 0, 0, 0xa0)); }},
        {"no pen", set(VX_GC_NO_PEN, nullptr), [](P p) { EXPECT_EQ(p.pen().style(), Qt::NoPen); }},
        {"pen style", set(VX_GC_PEN_STYLE, "DashDotLine"), [](P p) { EXPECT_EQ(p.pen().style(), Qt::DashDotLine); }},
        {"join", set(VX_GC_PEN_JOIN, "BevelJoin"), [](P p) { EXPECT_EQ(p.pen().joinStyle(), Qt::BevelJoin); }},
        {"cap", set(VX_GC_PEN_CAP, "RoundCap"), [](P p) { EXPECT_EQ(p.pen().capStyle(), Qt::RoundCap); }},
        {"integer width", set(VX_GC_PEN_WIDTH, 3), [](P p) { EXPECT_EQ(p.pen().width(), 3); EXPECT_TRUE(p.pen().isCosmetic()); }},
        {"fractional width", set(VX_GC_PEN_WIDTHF, "2.5"), [](P p) { EXPECT_EQ(p.pen().widthF(), 2.5); EXPECT_TRUE(p.pen().isCosmetic()); EXPECT_EQ(p.pen().style(), Qt::SolidLine); }},
        {"negative width hides the pen", set(VX_GC_PEN_WIDTHF, "-1.0"), [](P p) { EXPECT_EQ(p.pen().style(), Qt::NoPen); }},
        {"brush colour", set(VX_GC_BRUSH_COLOR, "blue"), [](P p) { EXPECT_EQ(p.brush().style(), Qt::SolidPattern); EXPECT_EQ(p.brush().color().rgba(), qRgb(0, 0, 255)); }},
        {"no brush", set(VX_GC_NO_BRUSH, nullptr), [](P p) { EXPECT_EQ(p.brush().style(), Qt::NoBrush); }},
        {"opacity", set(VX_GC_OPACITY, "0.25"), [](P p) { EXPECT_DOUBLE_EQ(p.opacity(), 0.25); }},
        {"font", set(VX_GC_FONT, font), [](P p) { EXPECT_EQ(p.font().pixelSize(), 17); }},
        {"dash first phase", set(VX_GC_DASH_PHASE0, "1.5"), [](P p) { EXPECT_EQ(p.pen().dashPattern(), QList<qreal>({2.0, 2.0})); EXPECT_EQ(p.pen().dashOffset(), 0.0); EXPECT_EQ(p.pen().capStyle(), Qt::FlatCap); EXPECT_EQ(p.pen().widthF(), 1.5); }},
        {"dash second phase", set(VX_GC_DASH_PHASE1, "1"), [](P p) { EXPECT_EQ(p.pen().dashPattern(), QList<qreal>({2.0, 2.0})); EXPECT_EQ(p.pen().dashOffset(), 2.0); }},
        {"size is not applied", set(VX_GC_SCALAR, "12"), [](P p) { EXPECT_EQ(p.pen().style(), Qt::SolidLine); EXPECT_EQ(p.pen().widthF(), 1.0); EXPECT_EQ(p.opacity(), 1.0); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXGraphicsContext gc;
        VxGraphicsContextItem item = c.set(gc);
        ASSERT_TRUE(item) << takeErrors();
        // the item alone, then the whole context, each on a fresh painter
        for (bool whole : {false, true}) {
            QImage image(8, 8, QImage::Format_RGB32);
            QPainter painter(&image);
            painter.setPen(QPen(Qt::black, 1.0));
            whole ? VXGraphicsContext::drawGc(gc.getGc("g"), &painter) : VXGraphicsContext::drawGcItem(item, &painter);
            c.check(painter);
        }
        EXPECT_EQ(takeErrors(), "");
    }
}

TEST(GcPenBrush, ItemsApplyInOrder)
{
    using Items = std::vector<std::pair<int, const char*>>;
    struct Case {
        const char* name; Items items; Qt::PenStyle pen_style; QRgb pen_rgb; double width; Qt::BrushStyle brush_style;
    } cases[] = {
        {"nothing", {}, Qt::NoPen, qRgb(0, 0, 0), 1.0, Qt::NoBrush},
        {"colour only", {{1, "red"}}, Qt::SolidLine, qRgb(255, 0, 0), 1.0, Qt::NoBrush},
        {"colour and width", {{1, "red"}, {8, "2.5"}}, Qt::SolidLine, qRgb(255, 0, 0), 2.5, Qt::NoBrush},
        {"width then colour", {{8, "3"}, {1, "blue"}}, Qt::SolidLine, qRgb(0, 0, 255), 3.0, Qt::NoBrush},
        {"negative width wins over a later colour", {{8, "-1.0"}, {1, "blue"}}, Qt::NoPen, qRgb(0, 0, 255), 1.0, Qt::NoBrush},
        {"a later width shows it again", {{8, "-1.0"}, {1, "blue"}, {8, "2"}}, Qt::SolidLine, qRgb(0, 0, 255), 2.0, Qt::NoBrush},
        {"colour then no pen", {{1, "red"}, {0, nullptr}}, Qt::NoPen, qRgb(255, 0, 0), 1.0, Qt::NoBrush},
        {"no pen then colour", {{0, nullptr}, {1, "red"}}, Qt::SolidLine, qRgb(255, 0, 0), 1.0, Qt::NoBrush},
        {"style after colour", {{1, "red"}, {2, "DotLine"}}, Qt::DotLine, qRgb(255, 0, 0), 1.0, Qt::NoBrush},
        {"brush before pen", {{6, "green"}, {1, "red"}}, Qt::SolidLine, qRgb(255, 0, 0), 1.0, Qt::SolidPattern},
        {"fill then no brush", {{6, "green"}, {5, nullptr}}, Qt::NoPen, qRgb(0, 0, 0), 1.0, Qt::NoBrush},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXGraphicsContext gc;
        int k = 0;
        for (const auto& [type, text] : c.items) {
            QString name = QStringLiteral("g:i%1").arg(k++);
            VxGraphicsContextItem item =
                text ? gc.setGcItem(name, type, text, 1) : gc.setGcItem(name, type, nullptr, 1);
            ASSERT_TRUE(item) << takeErrors();
        }
        VxGraphicsContext g = c.items.empty() ? nullptr : gc.getGc("g");
        QPen pen(Qt::green);
        QBrush brush(Qt::yellow);
        VXGraphicsContext::makeGcPenBrush(g, &pen, &brush);
        EXPECT_EQ(pen.style(), c.pen_style);
        if (c.pen_style != Qt::NoPen || c.pen_rgb != qRgb(0, 0, 0)) {
            EXPECT_EQ(pen.color().rgb() & 0xffffff, c.pen_rgb & 0xffffff);
        }
        if (c.pen_style != Qt::NoPen) {
            EXPECT_EQ(pen.widthF(), c.width);
        }
        EXPECT_EQ(brush.style(), c.brush_style);
    }
}

TEST(GcPaint, PathPixelsOpacityAndRestoredPainter)
{
    VXGraphicsContext gc;
    gc.setGcItem("box:fill", VX_GC_BRUSH_COLOR, "blue", 1);
    gc.setGcItem("box:line", VX_GC_PEN_COLOR, "red", 1);
    gc.setGcItem("box:width", VX_GC_PEN_WIDTH, 4, 1);
    QPainterPath path;
    path.addRect(10, 10, 40, 40);
    const QImage image = paintPath(gc.getGc("box"), 64, 64, path);
    // the painter is left as it was
    QImage scratch(8, 8, QImage::Format_RGB32);
    QPainter painter(&scratch);
    const QPen original(Qt::green, 1.0);
    painter.setPen(original);
    VXGraphicsContext::drawPainterPath(gc.getGc("box"), &painter, path);
    EXPECT_EQ(painter.pen(), original);
    EXPECT_EQ(painter.brush().style(), Qt::NoBrush);
    EXPECT_EQ(pixel(image, 30, 30), qRgb(0, 0, 255));
    EXPECT_EQ(pixel(image, 10, 30), qRgb(255, 0, 0));  // on the outline
    EXPECT_EQ(pixel(image, 30, 49), qRgb(255, 0, 0));
    EXPECT_EQ(pixel(image, 4, 4), qRgb(255, 255, 255));
    EXPECT_EQ(pixel(image, 56, 30), qRgb(255, 255, 255));

    // opacity, and a negative width: no outline
    gc.setGcItem("fade:fill", VX_GC_BRUSH_COLOR, "#0000ff", 1);
    gc.setGcItem("fade:width", VX_GC_PEN_WIDTHF, "-1.0", 1);  // no outline
    gc.setGcItem("fade:line", VX_GC_PEN_COLOR, "red", 1);
    gc.setGcItem("fade:opacity", VX_GC_OPACITY, "0.5", 1);
    path = QPainterPath();
    path.addRect(4, 4, 24, 24);
    const QImage faded = paintPath(gc.getGc("fade"), 32, 32, path);
    QColor mid = QColor::fromRgb(faded.pixel(16, 16));
    EXPECT_NEAR(mid.red(), 127, 2);
    EXPECT_NEAR(mid.green(), 127, 2);
    EXPECT_EQ(mid.blue(), 255);
    QColor edge = QColor::fromRgb(faded.pixel(4, 16));  // no red outline
    EXPECT_NEAR(edge.red(), 127, 2);
    EXPECT_EQ(edge.blue(), 255);
}

TEST(GcSharing, OneDefinitionPrivateInputsOrIndependentDeepCopies)
{
    VXGraphicsContext defs;
    ASSERT_TRUE(defs.setGcItem("events:size", VX_GC_SCALAR, "4.0,10:7.0,50:10:100", 1));
    ASSERT_TRUE(defs.setGcItem("events:fill", VX_GC_BRUSH_COLOR, "0.0,240.0:650.0,0.0;1.0;0.5", 1));
    VxGraphicsContext def = defs.getGc("events");
    const VxGraphicsContextItemParams* size_params = def->at(0)->item.get();
    const VxGraphicsContextItemParams* fill_params = def->at(1)->item.get();
    std::vector<VxGraphicsContext> users;
    for (int i = 0; i < 1000; i++) {
        VxGraphicsContext u = VXGraphicsContext::shareGc(def);
        VXGraphicsContext::setCodingInput(u->at(0), 3.0 + i * 0.005);  // magnitudes 3 to 8
        VXGraphicsContext::setCodingInput(u->at(1), i * 0.65);          // depths 0 to 650
        users.push_back(u);
    }
    // no copies: every user's items hold the definition's parameters
    for (const VxGraphicsContext& u : users) {
        ASSERT_EQ(u->at(0)->item.get(), size_params);
        ASSERT_EQ(u->at(1)->item.get(), fill_params);
    }
    EXPECT_EQ(def->at(0)->item.use_count(), 1001);
    // each reads its own value
    EXPECT_EQ(number(users[0]->at(0)), 10.0);         // magnitude 3, limited
    EXPECT_EQ(number(users[200]->at(0)), 10.0);       // magnitude 4
    EXPECT_NEAR(number(users[800]->at(0)), 50.0, 1e-3);  // magnitude 7
    EXPECT_NEAR(number(users[999]->at(0)), 63.27, 0.01);
    EXPECT_EQ(def->at(0)->coding_input, VX_GC_NO_INPUT);
    EXPECT_EQ(number(def->at(0)), 10.0);  // the definition has no input: plain value
    // two of them drawn: a shallow blue one and a deep red one
    QPainterPath square;
    square.addRect(0, 0, 20, 20);
    EXPECT_EQ(pixel(paintPath(users[0], 20, 20, square), 10, 10), qRgb(0, 0, 255));
    QColor deep = QColor::fromRgb(paintPath(users[999], 20, 20, square).pixel(10, 10));
    EXPECT_GT(deep.red(), 250);
    EXPECT_LT(deep.blue(), 5);
    // deep copies are independent
    VXGraphicsContext sdefs;
    sdefs.setGcItem("s:size", VX_GC_SCALAR, "0,0:1,10", 1);
    sdefs.setGcItem("s:fill", VX_GC_BRUSH_COLOR, "red", 1);
    VxGraphicsContext s_def = sdefs.getGc("s");
    VXGraphicsContext::setCodingInput(s_def->at(0), 2.0);
    VxGraphicsContext mine = VXGraphicsContext::deepCopy(s_def);
    ASSERT_EQ(mine->size(), 2);
    EXPECT_NE(mine->at(0)->item, s_def->at(0)->item);
    EXPECT_EQ(mine->at(0)->coding_input, 2.0f);  // inputs kept
    EXPECT_EQ(number(mine->at(0)), 20.0);
    VxGraphicsContextCoding c;
    VXGraphicsContext::setGcCoding(&c, 0, 0, 1, 100, 1, -1);
    ASSERT_EQ(VXGraphicsContext::setGcItemCoding(mine->at(0), VX_GC_CODING_SCALAR, &c), 0);
    EXPECT_EQ(number(mine->at(0)), 200.0);
    EXPECT_EQ(number(s_def->at(0)), 20.0);
    sdefs.setGcItem("s:fill", VX_GC_BRUSH_COLOR, "blue", 1);
    void* v = nullptr;
    VXGraphicsContext::getValue(mine->at(1), &v);
    EXPECT_EQ(static_cast<QColor*>(v)->rgb(), qRgb(255, 0, 0));
}

TEST(GcCopies, CopyReplaceClearAndLiveUsers)
{
    VXGraphicsContext a;
    a.setGcItem("g:one", VX_GC_SCALAR, 1.0, 1);
    a.setGcItem("g:two", VX_GC_SCALAR, 2.0, 1);
    a.setGcItem("h:three", VX_GC_OPACITY, 0.5, 1);
    VXGraphicsContext b(&a);
    EXPECT_EQ(b.getGcNames(), a.getGcNames());
    ASSERT_EQ(b.getGc("g")->size(), 2);
    EXPECT_EQ(b.getGc("g")->at(1)->item->name, "g:two");
    EXPECT_NE(b.getGcItem("g:one"), a.getGcItem("g:one"));               // items of its own
    EXPECT_EQ(b.getGcItem("g:one")->item, a.getGcItem("g:one")->item);   // over shared parameters
    VXGraphicsContext c;
    c.setGcItem("g:one", VX_GC_SCALAR, 9.0, 1);
    EXPECT_EQ(c.copy(&a, 0), 2);  // two and three added, one kept
    EXPECT_EQ(number(c.getGcItem("g:one")), 9.0);
    ASSERT_EQ(c.getGc("g")->size(), 2);
    EXPECT_EQ(c.copy(&a, 1), 3);
    EXPECT_EQ(number(c.getGcItem("g:one")), 1.0);
    EXPECT_EQ(c.copy(nullptr, 1), -1);
    EXPECT_EQ(takeErrors(), "VXGraphicsContext::copy: null graphics context.\n");

    // clear, and users that outlive the object keep what they hold
    VxGraphicsContext kept;
    {
        VXGraphicsContext gc(&a);
        kept = gc.getGc("h");
        VxGraphicsContext g = gc.getGc("g");
        gc.clear(g);
        EXPECT_TRUE(g->isEmpty());
        EXPECT_EQ(gc.mapgcitem.size(), 1);
        EXPECT_EQ(gc.getGcItem("g:one"), nullptr);
        takeErrors();
    }
    ASSERT_EQ(kept->size(), 1);
    EXPECT_EQ(number(kept->at(0)), 0.5);
}

TEST(GcSymbols, StaticTable)
{
    VXGraphicsContext::makeStaticSymbols();
    EXPECT_EQ(VXGraphicsContext::symbols.size(), VX_SYMBOL_COUNT);
    struct Case { int symbol; const char* name; } cases[] = {
        {VX_SYMBOL_DEFAULT, "static:symbol_default"}, {VX_SYMBOL_POINT, "static:symbol_point"},
        {VX_SYMBOL_CROSS, "static:symbol_cross"},     {VX_SYMBOL_X, "static:symbol_x"},
        {VX_SYMBOL_TRIANGLE, "static:symbol_triangle"}, {VX_SYMBOL_SQUARE, "static:symbol_square"},
        {VX_SYMBOL_CIRCLE, "static:symbol_circle"},   {VX_SYMBOL_STAR, "static:symbol_star"},
        {VX_SYMBOL_DIAMOND, "static:symbol_diamond"}, {VX_SYMBOL_BEACHBALL, "static:symbol_beachball"},
        {VX_SYMBOL_SHAPE, "static:symbol_shape"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VxGraphicsContextItem item = VXGraphicsContext::getSymbol(c.symbol);
        ASSERT_TRUE(item);
        EXPECT_EQ(VXGraphicsContext::symbols.value(c.name), item);
        EXPECT_EQ(item->item->type, VX_GC_SYMBOL);
        int v = -1;
        EXPECT_EQ(VXGraphicsContext::getValue(item, &v), 0);
        EXPECT_EQ(v, c.symbol);
    }
    EXPECT_EQ(VXGraphicsContext::getSymbol(-1), nullptr);
    EXPECT_EQ(VXGraphicsContext::getSymbol(VX_SYMBOL_COUNT), nullptr);
}

