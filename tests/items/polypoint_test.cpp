// Point sets: per-point attributes against the defaults, the label
// attribute syntax, point edits, and the errors of bad keys and values.
#include "support/configsupport.h"
#include "support/serversupport.h"
#include "support/vptest.h"

#include "glyphs/glyph.h"
#include "items/polypoint.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QMouseEvent>
#include <QPainter>

#include <memory>
#include <tuple>
#include <utility>

using vptest::blank;
using vptest::isColor;
using vptest::keep;
using vptest::makeViewport;

namespace {

// 200 by 200 pixels, no margins, world 0 to 4 on both axes: (x, y) is
// pixel (50x, 200 - 50y).
std::unique_ptr<VXViewport> pointViewport()
{
    return makeViewport(200, 200, {"mleft", "0", "mright", "0", "mtop", "0", "mbottom", "0", "xleft", "0", "xright",
                                   "4", "ybottom", "0", "ytop", "4"});
}

QImage drawPoints(VXPolypoint* pp)
{
    QImage image = blank(200, 200);
    QPainter painter(&image);
    pp->drawViewportItem(&painter);
    painter.end();
    return image;
}

int countNear(const QImage& image, QPoint centre, int half, QColor c)
{
    int n = 0;
    for (int y = centre.y() - half; y <= centre.y() + half; y++)
        for (int x = centre.x() - half; x <= centre.x() + half; x++)
            if (image.rect().contains(x, y) && isColor(image.pixel(x, y), c))
                n++;
    return n;
}

// Where glyph i of pp stands, in world coordinates.
std::pair<double, double> position(VXPolypoint& pp, int i)
{
    double x = 0, y = 0;
    pp.glyph(i)->getPosition(&x, &y);
    return {x, y};
}

int consumeAll(VXGlyph*, VXEvent*, HL_ClientData)
{
    return 2;
}

} // namespace

TEST(Polypoint, BracedPointKeepsItsLookWhenTheDefaultFillChanges)
{
    auto vp = pointViewport();
    VXPolypoint pp(vp.get());
    ASSERT_EQ(pp.configure("showlabels", "no", "points", "1 1 A {f=red sz=20}\n2 2 B", nullptr), 0) << takeErrors();
    ASSERT_EQ(pp.count(), 2);
    EXPECT_EQ(std::make_pair(pp.glyph(0)->vars.label, pp.glyph(1)->vars.label), std::make_pair(QString("A"), QString("B")));
    const QPoint a(50, 150), b(100, 100);

    QImage before = drawPoints(&pp);
    keep(before, "polypoint_before");
    EXPECT_GT(countNear(before, a, 10, Qt::red), 250);       // a red square 20 px across
    EXPECT_EQ(countNear(before, a, 14, Qt::red) , countNear(before, a, 10, Qt::red));
    EXPECT_EQ(countNear(before, b, 20, Qt::red), 0);
    EXPECT_TRUE(isColor(before.pixel(b), Qt::white));         // the default square is not filled
    EXPECT_NE(before.pixel(b.x() + 2, b.y()), QColor(Qt::white).rgba());  // its outline, 5 px across
    EXPECT_EQ(before.pixel(b.x() + 5, b.y()), QColor(Qt::white).rgba());

    ASSERT_EQ(pp.configure("color_fill", "blue", nullptr), 0) << takeErrors();
    QImage after = drawPoints(&pp);
    keep(after, "polypoint_after");
    EXPECT_TRUE(isColor(after.pixel(b), Qt::blue));
    EXPECT_EQ(countNear(after, a, 10, Qt::red), countNear(before, a, 10, Qt::red));
    EXPECT_EQ(countNear(after, a, 12, Qt::blue), 0);

    // the labels come back with showlabels: text over the centre of A
    ASSERT_EQ(pp.configure("showlabels", "yes", nullptr), 0);
    QImage labelled = drawPoints(&pp);
    EXPECT_GT(countNear(labelled, a, 4, Qt::black), 3);
    EXPECT_EQ(countNear(after, a, 4, Qt::black), 0);
}

TEST(Polypoint, APointsLabelColoursAreItsOwn)
{
    auto vp = pointViewport();
    VXPolypoint pp(vp.get());
    ASSERT_EQ(pp.configure("size", "2", "points", "1 1 WWW {l=green ft=yellow}\n3 3 WWW", nullptr), 0)
        << takeErrors();
    const QImage image = drawPoints(&pp);
    keep(image, "polypoint_labels");
    const QPoint own(50, 150), plain(150, 50);
    EXPECT_GT(countNear(image, own, 10, Qt::yellow), 40);
    EXPECT_GT(countNear(image, own, 10, QColor("green")), 5);
    EXPECT_EQ(countNear(image, plain, 10, Qt::yellow) + countNear(image, plain, 10, QColor("green")), 0);
    EXPECT_GT(countNear(image, plain, 10, Qt::black), 5);
}

TEST(Polypoint, LabelAttributeSyntax)
{
    struct Case { const char *name, *text, *label; QList<std::pair<QString, QString>> attributes; } cases[] = {
        {"all keys", "text {f=red sz=12 lw=2 sy=star}", "text", {{"f", "red"}, {"sz", "12"}, {"lw", "2"}, {"sy", "star"}}},
        {"no blank before brace", "a{o=blue}", "a", {{"o", "blue"}}},
        {"no closing brace", "open {f=red", "open {f=red", {}},
        {"token without =", "p {bold\tl=green}", "p", {{"l", "green"}}},
        {"empty value", "q {sz=}", "q", {{"sz", ""}}},
        {"plain", "station ABC", "station ABC", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QString label;
        QList<std::pair<QString, QString>> attributes;
        polypoint_split_label(QString::fromUtf8(c.text), &label, &attributes);
        EXPECT_EQ(label, QString::fromUtf8(c.label));
        EXPECT_EQ(attributes, c.attributes);
    }
}

TEST(Polypoint, ModifyOnePointAndFreeThemAll)
{
    auto vp = pointViewport();
    VXPolypoint pp(vp.get());
    ASSERT_EQ(pp.configure("points", "1 1 a\n2 2 b\n3 3 c", nullptr), 0) << takeErrors();
    ASSERT_EQ(pp.configure("modify_point_x", "1 2.5", "modify_point_y", "2 0.5", "modify_point", "0 0.5 0.25 z {sy=vl}",
                           "modify_point_gc", "1 {sz=9.0 lw=1.5}", nullptr), 0) << takeErrors();
    EXPECT_EQ(position(pp, 1), std::make_pair(2.5, 2.0));
    EXPECT_EQ(std::make_pair(position(pp, 2).second, position(pp, 0).first), std::make_pair(0.5, 0.5));
    EXPECT_EQ(pp.glyph(0)->vars.label, "z");
    EXPECT_EQ(pp.styles.value(pp.glyph(0)).symbol, VX_POLYPOINT_SYMBOL_VLINE);
    EXPECT_EQ(std::make_pair(pp.glyph(1)->getSize(), pp.glyph(1)->vars.label), std::make_pair(9.0, QString("b")));
    ASSERT_EQ(pp.configure("interaction", "show", "points_free", "", nullptr), 0) << takeErrors();
    EXPECT_EQ(pp.count(), 0);
    const auto& set = pp.vars.points->vars;
    EXPECT_EQ(std::tie(set.interaction_mode, set.selection_size_increase_factor, set.selection_opacity_reduction_factor),
              std::make_tuple(1, 4.0, 0.5));
}

TEST(Polypoint, BadValuesSayWhyAndChangeNothing)
{
    // message: the first line registered
    struct Case { const char *name, *key, *value, *message; } cases[] = {
        {"symbol", "symbol", "blob", "polypoint_parse_symbol: Unrecognized symbol 'blob'.\n"},
        {"xmode", "xmode", "page", "polypoint_parse_xmode: unrecognized xmode value 'page'.\n"},
        {"anchor", "label_anchor", "middle", "polypoint_parse_label_anchor: unrecognized label_anchor value 'middle'.\n"},
        {"interaction", "interaction", "drag", "polypoint_parse_interaction: Unrecognized interaction mode 'drag'.\n"},
        {"x out of range", "modify_point_x", "7 1.0", "polypoint_parse_modify_point_x: index 7 out of range.\n"},
        {"xy out of range", "modify_point_xy", "3 1 1", "polypoint_parse_modify_point_xy: index out of range.\n"},
        {"unreadable", "modify_point", "one 1 1", "polypoint_parse_modify_point: error parsing 'one 1 1'.\n"},
        {"bad x", "points", "1 1\nq 2", "polypoint_parse_point: error parsing x 'q 2'.\n"},
        {"bad y", "points", "1 w", "polypoint_parse_point: error parsing y 'w'.\n"},
        {"one field", "points", "1", "polypoint_parse_point: Not enough fields.\n"},
        {"size attribute", "points", "1 1 a {sz=big}", "polypoint_parse_label: strtod() error.\n"},
        {"gc attribute", "modify_point_gc", "0 {lw=wide}", "polypoint_parse_label: strtod() error.\n"},
    };
    auto vp = pointViewport();
    VXPolypoint pp(vp.get());
    ASSERT_EQ(pp.configure("points", "1 1 a\n2 2 b", nullptr), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        hl_clear_register(0);
        const std::string before = configText(pp, c.key);
        EXPECT_LT(pp.configure(c.key, c.value, nullptr), 0);
        const std::string errors = takeErrors();
        EXPECT_EQ(errors.substr(0, strlen(c.message)), c.message) << errors;
        EXPECT_EQ(configText(pp, c.key), before);
        EXPECT_EQ(std::make_pair(pp.count(), pp.glyph(0)->getSize()), std::make_pair(2, 0.0));
    }
    EXPECT_EQ(position(pp, 0).first, 1.0);
}

TEST(Polypoint, ShowRaisesThePointUnderThePointerAndFadesTheOthers)
{
    auto vp = pointViewport();
    VXPolypoint pp(vp.get());
    pp.setAntialias(false);
    ASSERT_EQ(pp.configure("showlabels", "no", "size", "10", "interaction", "show", "points",
                           "1 1 a {f=red}\n3 3 b {f=red}", nullptr), 0) << takeErrors();
    const QPoint a(50, 150), b(150, 50);
    QImage plain = drawPoints(&pp);  // places the symbols for the hit test
    EXPECT_LT(countNear(plain, a, 20, Qt::red), 150);
    QMouseEvent over(QEvent::MouseMove, QPointF(a), QPointF(a), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    pp.processEvent(2, &over);
    ASSERT_EQ(pp.vars.points->vars.selection_index, 0);
    QImage shown = drawPoints(&pp);
    keep(shown, "polypoint_show");
    EXPECT_GT(countNear(shown, a, 20, Qt::red), 1200);  // 40 pixels across now
    const QRgb faded = shown.pixel(b);
    EXPECT_EQ(qRed(faded), 255);
    EXPECT_NEAR(qGreen(faded), 128, 3);  // half of the red over white
}

TEST(Polypoint, CommandWords)
{
    PlotSession session;
    const QString &window = session.window, &viewport = session.viewport;
    const Reply made = vx_send("polypoint", viewport);
    ASSERT_EQ(made.code, 0);
    EXPECT_TRUE(made.handle.startsWith("polypoint:"));
    EXPECT_EQ(vx_send("configure", made.handle, {}, {"points 1 1 A {f=red}"}).code, 0);
    int type = -1;
    auto* pp = static_cast<VXPolypoint*>(VX_GraphicsServer_get_item(vx_test_server(), made.handle, &type, 0));
    ASSERT_EQ(type, VX_TYPE_POLYPOINT);
    EXPECT_EQ(pp->count(), 1);
    Handles h;
    h["w"] = window;
    expectRefusals({
        {"not a viewport", "polypoint", "{w}", {}, "VX_GraphicsServer_polypoint: '{w}' not a viewport.\n"},
    }, h);
    const Reply wrong = sendExtra("polypoint_callback", viewport, {nullptr, nullptr});
    EXPECT_EQ(std::make_pair(wrong.code, wrong.handle),
              std::make_pair(1, "VX_GraphicsServer_polypoint_callback: Item " + viewport + " not a polypoint item.\n"));
    const Reply set = sendExtra("polypoint_callback", made.handle,
                                {reinterpret_cast<void*>(&consumeAll), nullptr});
    EXPECT_EQ(std::make_pair(set.code, set.handle), std::make_pair(0, QString("polypoint_callback")));
    EXPECT_EQ(pp->vars.glyphCallbacks.size(), 1);
    vx_send("delete", made.handle);
}
