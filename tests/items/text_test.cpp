// Text items and the text popup: anchors, rotation, background, chaining by
// "r" terms, callbacks, keys; the popup's picture, placement and timer.
#include "support/configsupport.h"
#include "support/vptest.h"

#include "items/text.h"
#include "items/textpopup.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QPainter>

#include <cstdlib>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

using vptest::blank;
using vptest::countColor;
using vptest::inkBox;
using vptest::keep;

namespace {

// 200 by 150 pixels, plot area 160 by 100 from (20, 10): the position
// (x, y) of an expression is pixel (20 + x, 110 - y).
std::unique_ptr<VXViewport> textViewport()
{
    return vptest::makeViewport(200, 150, {"mleft", "20", "mright", "20", "mtop", "10", "mbottom", "40"});
}

std::unique_ptr<VXText> makeText(VXViewport* vp, const char* text, const char* x, const char* y)
{
    auto t = std::make_unique<VXText>(vp, text, x, y);
    t->setAntialias(false);
    EXPECT_EQ(t->configure("font", "Sans,20", nullptr), 0) << takeErrors();
    return t;
}

QImage drawText(VXText* t, int* ret = nullptr)
{
    QImage image = blank(200, 150);
    QPainter painter(&image);
    const int r = t->draw(&painter);
    painter.end();
    if (ret)
        *ret = r;
    return image;
}

} // namespace

TEST(TextPlacement, AnchorsPutTheTextAroundItsPosition)
{
    // the position (80, 50) is pixel (100, 60)
    // side_x: -1: ink starts at x 100; 1: ends there; 0: centred on it
    // side_y: -1: ink ends at row 60; 1: starts there; 0: centred on it
    struct Case { const char* anchor; int side_x; int side_y; } cases[] = {
        {"sw", -1, -1}, {"se", 1, -1}, {"ne", 1, 1}, {"nw", -1, 1}, {"c", 0, 0}, {"n", 0, 1}, {"w", -1, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.anchor);
        auto vp = textViewport();
        auto t = makeText(vp.get(), "HEH", "80", "50");
        ASSERT_EQ(t->configure("justification", c.anchor, nullptr), 0);
        int ret = 0;
        const QImage image = drawText(t.get(), &ret);
        keep(image, (std::string("text_") + c.anchor).c_str());
        EXPECT_EQ(ret, 1);
        const QRect box = inkBox(image);
        EXPECT_GT(box.width(), box.height());
        const int x = c.side_x < 0 ? box.left() : (c.side_x > 0 ? box.right() : box.center().x());
        const int y = c.side_y < 0 ? box.bottom() : (c.side_y > 0 ? box.top() : box.center().y());
        EXPECT_NEAR(x, 100, 3);
        EXPECT_NEAR(y, 60, 3);
        EXPECT_EQ(std::make_pair(t->vars.x, t->vars.y), std::make_pair(80.0, 50.0));
    }
}

TEST(TextPlacement, RotationTurnsTheText)
{
    auto vp = textViewport();
    // the position (80, 10) is pixel (100, 100)
    auto t = makeText(vp.get(), "HEHEH", "80", "10");
    const QRect flat = inkBox(drawText(t.get()));
    ASSERT_EQ(t->configure("angle", "-90", nullptr), 0);
    const QImage image = drawText(t.get());
    keep(image, "text_rotated");
    const QRect turned = inkBox(image);
    EXPECT_GT(flat.width(), flat.height());
    EXPECT_GT(turned.height(), turned.width());
    EXPECT_NEAR(turned.height(), flat.width(), 3);
    // read upwards from the anchor, left of it
    EXPECT_NEAR(turned.bottom(), 100, 3);
    EXPECT_LE(turned.right(), 101);
    // a turned text still reports a box for chaining
    EXPECT_GT(t->vars.wbb, 0);
}

TEST(TextPlacement, BackgroundAndOutline)
{
    auto vp = textViewport();
    auto t = makeText(vp.get(), "HEH", "80", "50");
    ASSERT_EQ(t->configure("color_background", "blue", "color_background_outline", "red", nullptr), 0);
    const QImage image = drawText(t.get());
    keep(image, "text_background");
    EXPECT_GT(countColor(image, Qt::blue), 100);
    EXPECT_GT(countColor(image, Qt::red), 20);
    // the box is the background with its margins around the text
    const QRect box = inkBox(image);
    EXPECT_EQ(box.width() - 1, t->vars.wbb);
    ASSERT_NE(t->vars.path, nullptr);
    const QPointF inside = box.center();
    for (const QPointF at : {inside, QPointF(5, 5)}) {
        QMouseEvent e(QEvent::MouseButtonPress, at, at, at, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        EXPECT_EQ(t->contains(&e), at == inside);
    }

    // opacity 0 leaves no ink
    ASSERT_EQ(t->configure("opacity", "0", nullptr), 0);
    EXPECT_TRUE(inkBox(drawText(t.get())).isEmpty());
}

TEST(TextPlacement, EmptyTextKeepsTheOldBox)
{
    auto vp = textViewport();
    auto t = makeText(vp.get(), "HEH", "80", "50");
    drawText(t.get());
    auto box = [&t] {
        double x, y;
        int w, h;
        t->getBB(&x, &y, &w, &h);
        return std::make_tuple(x, y, w, h);
    };
    const auto before = box();
    EXPECT_GT(std::get<2>(before), 0);
    ASSERT_EQ(t->configure("text", "", nullptr), 0);
    t->setPosition("10", "10");
    int ret = -1;
    EXPECT_TRUE(inkBox(drawText(t.get(), &ret)).isEmpty());
    EXPECT_EQ(ret, 0);
    EXPECT_EQ(box(), before);
}

TEST(TextPlacement, RelativeTextsChain)
{
    auto vp = textViewport();
    auto first = makeText(vp.get(), "HEH", "10", "50");
    auto second = makeText(vp.get(), "EHE", "1r+5", "0r");
    second->setRelative(first.get());
    // nothing drawn yet: "r" terms leave what was built so far
    QImage image = blank(200, 150);
    QPainter painter(&image);
    EXPECT_EQ(second->draw(&painter), 1);
    EXPECT_EQ(std::make_pair(second->vars.x, second->vars.y), std::make_pair(5.0, 0.0));
    first->draw(&painter);
    second->draw(&painter);
    painter.end();
    keep(image, "text_chain");
    EXPECT_DOUBLE_EQ(second->vars.x, first->vars.fxbb + first->vars.wbb + 5);
    EXPECT_DOUBLE_EQ(second->vars.y, first->vars.fybb);
    double rx, ry, rw, rh;
    ASSERT_EQ(first->getRelativeBox(&rx, &ry, &rw, &rh), 0);
    EXPECT_EQ(rw, first->vars.wbb);

    // a relative text that is gone counts as none
    first.reset();
    auto third = makeText(vp.get(), "H", "30+0r", "20");
    third->setRelative(second.get());
    second.reset();
    drawText(third.get());
    EXPECT_DOUBLE_EQ(third->vars.x, 30.0);
}

TEST(TextConfig, KeysAndBadValues)
{
    auto vp = textViewport();
    auto t = makeText(vp.get(), "HEH", "80", "50");
    // both keys write one field
    ASSERT_EQ(t->configure("alignment", "ne", nullptr), 0);
    EXPECT_STREQ(t->vars.justification, "ne");
    EXPECT_EQ(configText(t, "justification"), "ne");
    ASSERT_EQ(t->configure("justification", "c", nullptr), 0);
    EXPECT_EQ(configText(t, "alignment"), "c");

    struct Case { const char* key; const char* value; const char* message; } cases[] = {
        {"angle", "abc", "Unable to parse double from 'abc'"},
        {"relative", "0x1234", "Key 'relative' is set by code only"},
        {"show_not_symbol", "maybe", "Bad value 'maybe' for key 'show_not_symbol'"},
        {"color_text", "nocolour", "Bad value 'nocolour' for key 'color_text'"},
        {"nosuch", "1", "Unknown key 'nosuch'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.key);
        EXPECT_LT(t->configure(c.key, c.value, nullptr), 0);
        const std::string errors = takeErrors();
        EXPECT_NE(errors.find(c.message), std::string::npos) << errors;
    }
    EXPECT_EQ(t->vars.relative, nullptr);
    EXPECT_EQ(std::make_tuple(t->vars.angle, t->vars.show_not_symbol, t->vars.foreground.color),
              std::make_tuple(0.0, 0, QColor(Qt::black)));
}

TEST(TextConfig, CallbacksInOrderUntilOneConsumes)
{
    auto vp = textViewport();
    VXText t(vp.get(), "x", "0", "0");
    std::string calls;
    EXPECT_EQ(t.processEvent(1, nullptr), 1);
    // each appends its data; the second consumes
    for (const char* name : {"a", "b", "c"})
        t.setTextCallback([&](VXText* self, int type, QEvent*, void* data) {
            EXPECT_EQ(std::make_pair(self, type), std::make_pair(&t, 3));
            calls += static_cast<const char*>(data);
            return calls.back() == 'b' ? 2 : 1;
        }, const_cast<char*>(name));
    EXPECT_EQ(t.processEvent(3, nullptr), 2);
    EXPECT_EQ(calls, "ab");
}

TEST(TextConfig, SpecialSymbolsAreCached)
{
    const QPixmap check = VXText::specialSymbol("check", 16);
    ASSERT_FALSE(check.isNull());
    EXPECT_EQ(check.size(), QSize(16, 16));
    EXPECT_EQ(VXText::specialSymbol("check", 16).cacheKey(), check.cacheKey());
    EXPECT_NE(VXText::specialSymbol("check", 20).cacheKey(), check.cacheKey());
    EXPECT_TRUE(VXText::specialSymbol("nosuch", 16).isNull());
    EXPECT_TRUE(VXText::specialSymbol("dot", 100000).isNull());
}

TEST(TextPopup, PictureAndPlacement)
{
    VXTextPopup popup;
    ASSERT_EQ(popup.configure("color_background", "yellow", "text", "amplitude 12", "position", "300 200",
                              "justification", "nw", nullptr), 0) << takeErrors();
    popup.raiseTextPopup();
    EXPECT_TRUE(popup.isVisible());
    EXPECT_EQ(popup.pos(), QPoint(300, 200));
    QImage image(popup.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    popup.render(&image);
    keep(image, "text_popup");
    EXPECT_EQ(image.pixel(1, 1), QColor(Qt::yellow).rgba());
    EXPECT_GT(image.width() - countColor(image, Qt::yellow) / image.height(), 0);  // some text ink

    popup.setJustification("c");
    popup.setMinMax("min -3 max 4");
    const QSize one_line = popup.size();
    popup.raiseTextPopup();
    EXPECT_GT(popup.height(), one_line.height());
    EXPECT_NEAR(popup.geometry().center().x(), 300, 1);
    EXPECT_NEAR(popup.geometry().center().y(), 200, 1);

    // the default background is the palette's
    ASSERT_EQ(popup.configure("color_background", "default", nullptr), 0);
    EXPECT_EQ(configText(popup, "color_background"), "default");

    EXPECT_LT(popup.configure("position", "12", nullptr), 0);
    EXPECT_NE(takeErrors().find("VXTextPopup::setPosition: bad position '12'.\n"), std::string::npos);
    EXPECT_LT(popup.configure("timeout", "soon", nullptr), 0);
    EXPECT_NE(takeErrors().find("VXTextPopup::setTimeout: bad timeout 'soon'.\n"), std::string::npos);
    EXPECT_EQ(popup.vars.timeout, 0.0);
}

TEST(TextPopup, TimeoutHidesAndStopTimerCancels)
{
    VXTextPopup popup;
    popup.setText("x");
    ASSERT_EQ(popup.configure("timeout", "2.5", nullptr), 0);
    EXPECT_FALSE(popup.timerActive());
    popup.raiseTextPopup();
    EXPECT_TRUE(popup.timerActive() && popup.timerInterval() == 2500) << popup.timerInterval();
    popup.stopTimer();
    EXPECT_FALSE(popup.timerActive());
    EXPECT_TRUE(popup.isVisible());

    // no timeout: shown until hidden
    popup.setTimeout(0.0);
    popup.raiseTextPopup();
    EXPECT_FALSE(popup.timerActive());

    // a short timeout ends with the popup hidden
    popup.setTimeout(0.001);
    popup.raiseTextPopup();
    QElapsedTimer guard;
    guard.start();
    while (popup.isVisible() && guard.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    EXPECT_FALSE(popup.isVisible());
}
