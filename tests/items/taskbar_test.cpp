// The taskbar: definitions and placement with their errors, clicks that
// cycle states and run actions, shift conditions, taskbar_set_state, the
// description popup, and the buttons' pixels.
#include "support/vptest.h"

#include "items/taskbar.h"
#include "items/text.h"
#include "items/textpopup.h"

#include <gtest/gtest.h>

#include <QMouseEvent>
#include <QPainter>

#include <memory>
#include <string>
#include <iterator>
#include <utility>


namespace {

// Two buttons: "rt" with three states whose actions configure the owner's
// text, one of them shift-dependent; "one" with a single state and a
// command.
const char* definitions = R"(buttons_definitions &Arr{
    rt &Arr{
        height 26
        description real-time processing
        states &Arr{
            none &Arr{
                label Rt
                description no real-time processing
                action &Tbl{
                    configure text off
                    mod=shift configure color_text red
                    mod=notshift configure color_text blue
                }
                opacity 0.5
                background_color \#a0ffa0
                fill_color black
                show_not_symbol yes
                order 0
            }
            rtlm &Arr{
                label RtLm
                description locate and magnitude
                action configure text location and magnitude
                background_color \#ffa0a0
                order 2
            }
            rt &Arr{
                label Rt
                description real-time
                action configure text on
                background_color \#a0a0ff
                order 1
            }
        }
    }
    one &Arr{
        width 40
        states &Arr{
            only &Arr{
                label One
                action command zoom all
                background_color \#ff0000
            }
        }
    }
}
)";

const char* placement = "buttons &Tbl{\n"
                        "    rt\tneb\t1.0v-2\t1.0v-2\t0\n"
                        "    one\tneb\t-1r-1\t0r\tonly\n"
                        "}\n";

struct Bar
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXTaskbar> bar;
    std::unique_ptr<VXText> owner;  // what configure actions reach
    QStringList commands;
};

std::unique_ptr<Bar> makeBar()
{
    auto b = std::make_unique<Bar>();
    b->vp = vptest::makeViewport(300, 200);
    b->bar = std::make_unique<VXTaskbar>(b->vp.get());
    b->owner = std::make_unique<VXText>(nullptr, "start", "0", "0");
    b->bar->setOwner(b->owner.get());
    b->bar->setCommandCallback([bp = b.get()](QString c, void*) { bp->commands.append(c); return 0; }, nullptr);
    EXPECT_EQ(b->bar->configure("taskbar_buttons_definitions", definitions, "taskbar_buttons", placement, nullptr), 0)
        << takeErrors();
    return b;
}

QImage render(Bar* b)
{
    QImage image(300, 200, QImage::Format_ARGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    b->bar->drawViewportItem(&painter);
    return image;
}

// The box of button i at the last draw, in widget pixels.
QRectF boxOf(VXTaskbar* bar, int i)
{
    return bar->vars.buttons_list[i]->vx_text->vars.path->boundingRect();
}

int send(VXTaskbar* bar, QEvent::Type type, QPointF at, Qt::KeyboardModifiers mods = Qt::NoModifier)
{
    QMouseEvent e(type, at, at, at, type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                  type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, mods);
    return bar->processEvent(type == QEvent::MouseMove ? 2 : 1, &e);
}

void click(VXTaskbar* bar, int i, Qt::KeyboardModifiers mods = Qt::NoModifier)
{
    send(bar, QEvent::MouseMove, boxOf(bar, i).center());
    send(bar, QEvent::MouseButtonPress, boxOf(bar, i).center(), mods);
}

} // namespace

TEST(Taskbar, DefinitionsPlaceButtonsInStateOrder)
{
    auto b = makeBar();
    ASSERT_EQ(b->bar->vars.buttons_list.size(), 2);
    VxTaskbarButtonParams* rt = b->bar->vars.buttons_list[0];
    EXPECT_EQ(rt->height, 26);
    ASSERT_EQ(rt->states.size(), 3);
    EXPECT_EQ(rt->states[1].name + "," + rt->states[2].name, "rt,rtlm");  // sorted by order, not as written
    EXPECT_EQ(rt->states[0].action.size(), 3);
    EXPECT_EQ(rt->states[2].action, QList<QString>{"configure text location and magnitude"});
    EXPECT_STREQ(rt->vx_text->vars.text, "Rt");
    EXPECT_EQ(std::make_pair(rt->vx_text->vars.show_not_symbol, b->bar->vars.buttons_list[1]->current), std::make_pair(1, 0));
    // the second button sits directly left of the first, level with it
    const QImage image = render(b.get());
    const QRectF box0 = boxOf(b->bar.get(), 0), box1 = boxOf(b->bar.get(), 1);
    // (got, expected) pairs, each within a pixel
    const std::pair<double, double> near[] = {{box0.right(), 298}, {box0.top(), 2}, {box0.height(), 26},
        {box1.width(), 40}, {box1.right() + 1, box0.left()}, {box1.top(), box0.top()}};
    for (size_t i = 0; i < std::size(near); i++)
        EXPECT_NEAR(near[i].first, near[i].second, 1.0) << i;
    if (const char* folder = getenv("VX_TASKBAR_PNG"))
        image.save(QString("%1/taskbar.png").arg(folder));
    // its background is its state's colour; the first is half opaque
    EXPECT_EQ(image.pixelColor((box1.topLeft() + QPointF(3, 3)).toPoint()), QColor(255, 0, 0));
    // (off the diagonal stroke of show_not_symbol)
    const QColor c = image.pixelColor((box0.bottomLeft() + QPointF(3, -4)).toPoint());
    EXPECT_NEAR(c.green(), 255, 2);
    EXPECT_NEAR(c.red(), (160 + 255) / 2, 3);
    EXPECT_NEAR(c.blue(), (160 + 255) / 2, 3);
}

TEST(Taskbar, ClicksCycleStatesAndRunActions)
{
    auto b = makeBar();
    render(b.get());
    click(b->bar.get(), 0);
    EXPECT_EQ(b->bar->vars.buttons_list[0]->current, 1);
    EXPECT_STREQ(b->owner->vars.text, "on");
    click(b->bar.get(), 0);
    EXPECT_STREQ(b->owner->vars.text, "location and magnitude");
    // wraps to the first state; without shift only the notshift line runs
    click(b->bar.get(), 0);
    EXPECT_EQ(b->bar->vars.buttons_list[0]->current, 0);
    EXPECT_STREQ(b->owner->vars.text, "off");
    EXPECT_EQ(b->owner->vars.foreground.color, QColor(Qt::blue));
    for (int i = 0; i < 3; i++)
        click(b->bar.get(), 0, Qt::ShiftModifier);
    EXPECT_EQ(b->owner->vars.foreground.color, QColor(Qt::red));
    // one state: it stays, and its action runs at every click
    for (int i = 0; i < 2; i++)
        click(b->bar.get(), 1);
    EXPECT_EQ(b->bar->vars.buttons_list[1]->current, 0);
    EXPECT_EQ(b->commands, (QStringList{"zoom all", "zoom all"}));
}

TEST(Taskbar, SetStateByName)
{
    auto b = makeBar();
    struct Case { const char* request; const char* error; } bad[] = {
        {"rt", "VXTaskber::setState: request must have one ':' character\n"},
        {"xx:rt", "VXTaskber::setState: Cannot find 'xx' in buttons definitions\n"},
        {"rt:xx", "VXTaskber::setState: Cannot find 'xx' in states list\n"},
    };
    for (const Case& c : bad) {
        SCOPED_TRACE(c.request);
        EXPECT_LT(b->bar->configure("taskbar_set_state", c.request, nullptr), 0);
        EXPECT_EQ(takeErrors().substr(0, strlen(c.error)), c.error);
    }
    EXPECT_STREQ(b->owner->vars.text, "start");
    EXPECT_EQ(b->bar->configure("taskbar_set_state", "rt:none", nullptr), 0);
    EXPECT_EQ(b->bar->vars.buttons_list[0]->current, 0);
    EXPECT_STREQ(b->owner->vars.text, "off");
    // no event: the no-shift sense
    EXPECT_EQ(b->owner->vars.foreground.color, QColor(Qt::blue));
}

TEST(Taskbar, BadTextsAreRefusedAndTheButtonsKept)
{
    auto b = makeBar();
    const std::string defs = definitions;
    auto replaced = [&](const char* from, const char* to) {
        std::string s = defs;
        s.replace(s.find(from), strlen(from), to);
        return s;
    };
    struct Case { const char* name; const char* key; std::string text; const char* error; } cases[] = {
        {"unclosed block", "taskbar_buttons_definitions", defs.substr(0, defs.size() - 3), "taskbar_parse_buttons_definitions: VX_kvcompile("},
        {"no definitions", "taskbar_buttons_definitions", "x 1\n", "taskbar_parse_buttons_definitions: kvparam(buttons_definitions) error.\n"},
        {"height", "taskbar_buttons_definitions", replaced("height 26", "height tall"),
         "taskbar_parse_buttons_definitions: kvparam(rt->height) error.\n"},
        {"no action", "taskbar_buttons_definitions", replaced("action command zoom all", ""), "taskbar_parse_button_state: action not found.\n"},
        {"colour", "taskbar_buttons_definitions", replaced("\\#ff0000", "nocolour"),
         "taskbar_parse_button_state: taskbar_get_color(nocolour) error.\n"},
        {"unknown button", "taskbar_buttons", "buttons &Tbl{\n xx neb 0 0\n}\n",
         "taskbar_parse_buttons: Cannot find taskbar buttons definition for 'xx'\n"},
        {"three fields", "taskbar_buttons", "buttons &Tbl{\n rt neb 0\n}\n",
         "taskbar_parse_buttons: Cannot parse 'rt neb 0' from buttons: Need four or five fields\n"},
        {"start out of range", "taskbar_buttons", "buttons &Tbl{\n rt neb 0 0 3\n}\n",
         "taskbar_parse_buttons: rt: Starting value of 3 outside of range of button states(3).\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_LT(b->bar->configure(c.key, c.text.c_str(), nullptr), 0);
        const std::string errors = takeErrors();
        EXPECT_NE(errors.find(c.error), std::string::npos) << errors;
        ASSERT_EQ(std::make_pair(b->bar->vars.buttons_list.size(), b->bar->vars.buttons_definitions.size()),
                  std::make_pair(qsizetype(2), qsizetype(2)));
    }
    // the no-action error names its state in the line above it
    b->bar->configure("taskbar_buttons_definitions", replaced("action command zoom all", "").c_str(), nullptr);
    EXPECT_NE(takeErrors().find("taskbar_parse_button_state(only) error."), std::string::npos);
}

TEST(Taskbar, DescriptionPopupFollowsThePointer)
{
    auto b = makeBar();
    render(b.get());
    VXTextPopup* popup = b->bar->vars.popup;
    EXPECT_EQ(send(b->bar.get(), QEvent::MouseMove, boxOf(b->bar.get(), 0).center()), 2);
    EXPECT_EQ(b->bar->vars.selection_index, 0);
    EXPECT_STREQ(popup->vars.text, "no real-time processing");
    EXPECT_TRUE(popup->timerActive() && popup->timerInterval() == 2500) << popup->timerInterval();
    // away from all buttons: gone, and nothing selected
    EXPECT_EQ(send(b->bar.get(), QEvent::MouseMove, QPointF(5, 190)), 1);
    EXPECT_EQ(b->bar->vars.selection_index, -1);
    EXPECT_FALSE(popup->isVisible());
    EXPECT_EQ(b->bar->vars.buttons_list[0]->vx_text->vars.select, 0);
}

// The popup is the viewport's child: a bar that outlives its viewport
// neither touches the freed popup nor frees it twice.
TEST(Taskbar, OutlivesItsViewport)
{
    auto b = makeBar();
    render(b.get());
    send(b->bar.get(), QEvent::MouseMove, boxOf(b->bar.get(), 0).center());
    b->vp.reset();
    EXPECT_TRUE(b->bar->vars.popup.isNull());
    send(b->bar.get(), QEvent::MouseMove, QPointF(5, 190));  // hides the popup
    b->bar.reset();
}
