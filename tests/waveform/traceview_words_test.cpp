// The trace view's server words (traceview_gettaskbar,
// traceview_createtraces_qkserver), its task bar and traces menu, the
// limit on the number of traces, and the colours of the edit display.
#include "waveform/pixelator_support.h"
#include "waveform/tvsupport.h"

#include "support/serversupport.h"

#include "items/taskbar.h"
#include "toolkit/events/qkserver.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QMenu>
#include <QTemporaryDir>

#include <cmath>
#include <memory>

namespace {

// A trace view of its own viewport whose command lines are recorded.
struct View : tvtest::View
{
    QStringList lines;

    explicit View(int make_taskbar = 0, int w = 600, int h = 300) : tvtest::View(w, h, make_taskbar)
    {
        tv->command_processor = [this](const QString& line, QString& output) {
            lines.append(line);
            output.clear();
            return 0;
        };
    }
};

VXTraceview* traceviewOf(const QString& handle)
{
    int type = -1;
    void* item = VX_GraphicsServer_get_item(vx_test_server(), handle, &type, 0);
    hl_clear_register(0);
    return type == VX_TYPE_TRACEVIEW ? static_cast<VXTraceview*>(item) : nullptr;
}

// Task bar buttons of the view: one runs a line of the command language,
// one configures the view.
const char* button_definitions = R"(traceview_buttons_definitions &Arr{
    zoom &Arr{
        states &Arr{
            only &Arr{
                label Zoom
                action command traces:selected zoom
            }
        }
    }
    five &Arr{
        states &Arr{
            only &Arr{
                label Five
                action configure max_traces 5
            }
        }
    }
}
)";
const char* button_placement = "traceview_buttons &Tbl{\n zoom\tneb\t1.0v-2\t1.0v-2\t0\n five\tneb\t-1r-1\t0r\t0\n}\n";

} // namespace

// (The same handle at every request, and the refusals, are in the
// transcript tests/server/scripts/traceview.vxs.)
TEST(TraceviewWords, GettaskbarRegistersTheViewsTaskbar)
{
    PlotSession session;
    const QString handle = vx_send("traceview", session.viewport, {"", "1", ""}).handle;
    VXTraceview* tv = traceviewOf(handle);
    ASSERT_TRUE(tv);
    const Reply bar = vx_send("traceview_gettaskbar", handle);
    ASSERT_EQ(bar.code, 0) << bar.handle.toStdString();
    int type = -1;
    EXPECT_EQ(VX_GraphicsServer_get_item(vx_test_server(), bar.handle, &type, 0), tv->getTaskbar());
    EXPECT_EQ(type, VX_TYPE_TASKBAR);
    EXPECT_EQ(tv->getTaskbar()->getViewportParent(), tv->getViewportParent());
    // "delete" drops the handles; the view stays with its maker, here the test
    vx_send("delete", bar.handle);
    vx_send("delete", handle);
    delete tv;
}

TEST(TraceviewWords, CreatetracesQkserverMakesTheAcceptedChannels)
{
    QTemporaryDir dir;
    QKServer qkserver(tvtest::writeSineDatabase(dir.path()).toStdString(), 0, 0, 1000, 0);
    PlotSession session;
    Handles h;
    h["v"] = session.viewport;
    h["t"] = vx_send("traceview", h["v"], {"", "0", ""}).handle;
    VXTraceview* tv = traceviewOf(h["t"]);
    ASSERT_TRUE(tv);

    const char* no_pointers = "VX_GraphicsServer_traceview_createtraces_qkserver: traceview needs qkserver and "
                              "stachan_accept pointers.\n";
    const char* accept = "ABC:.*";
    const struct { const char* name; QString handle; QList<void*> extra; QString expected; } refused[] = {
        {"one pointer", h["t"], {&qkserver}, no_pointers},
        {"three pointers", h["t"], {&qkserver, const_cast<char*>(accept), nullptr}, no_pointers},
        {"null server", h["t"], {nullptr, const_cast<char*>(accept)}, no_pointers},
        {"null accept", h["t"], {&qkserver, nullptr}, no_pointers},
        {"not a trace view", h["v"], {&qkserver, const_cast<char*>(accept)},
         "VX_GraphicsServer_traceview_createtraces_qkserver: must be traceview item parent.\n"},
    };
    for (const auto& c : refused) {
        SCOPED_TRACE(c.name);
        const Reply r = sendExtra("traceview_createtraces_qkserver", c.handle, c.extra);
        EXPECT_EQ(r.code, 1);
        EXPECT_EQ(r.handle, c.expected);
    }
    EXPECT_EQ(tv->numTraces(), 0);

    const Reply r = sendExtra("traceview_createtraces_qkserver", h["t"], {&qkserver, const_cast<char*>(accept)});
    ASSERT_EQ(r.code, 0) << r.handle.toStdString();
    EXPECT_EQ(r.handle, h["t"]);
    QStringList labels = tvtest::View::labels(tv->traces);
    labels.sort();
    EXPECT_EQ(labels, QStringList({"ABC BHN", "ABC BHZ"}));
    EXPECT_EQ(tv->stachan_accept, QString(accept));
    // the view and its client go before the server
    vx_send("delete", h["t"]);
    delete tv;
}

TEST(TraceviewWords, TaskbarButtonsRunCommandsAndConfigureTheView)
{
    View v(1);
    VXTaskbar* bar = v.tv->getTaskbar();
    ASSERT_TRUE(bar);
    EXPECT_EQ(v.vp->vars.mtop, 60);  // room above the plot for the buttons
    ASSERT_EQ(v.tv->configure("traceview_buttons_definitions", button_definitions, "traceview_buttons",
                              button_placement, nullptr),
              0)
        << takeErrors();
    ASSERT_EQ(bar->vars.buttons_list.size(), 2);
    EXPECT_EQ(bar->setState("zoom:only"), 0) << takeErrors();
    EXPECT_EQ(v.lines, QStringList({"traces:selected zoom"}));
    EXPECT_EQ(bar->setState("five:only"), 0) << takeErrors();
    EXPECT_EQ(v.tv->vars.max_traces, 5);

    // a placement before any definitions, and a bad definition, change nothing
    View plain;
    expectConfigureRefused(plain.tv, "traceview_buttons", button_placement,
                           "VXTraceview::parseButtons: Must define taskbar object with traceview_buttons_definitions "
                           "configuration first\n");
    EXPECT_EQ(plain.tv->getTaskbar(), nullptr);
    expectConfigureRefused(v.tv, "traceview_buttons_definitions", "traceview_buttons_definitions &Arr{\n",
                           "VXTraceview::parseButtonsDefinitions: VX_make_kvstring() error.\n");
    EXPECT_EQ(bar->vars.buttons_list.size(), 2);
}

TEST(TraceviewWords, TracesMenuSendsItsLines)
{
    View v;
    QMenu* menu = v.tv->tracesMenu();
    ASSERT_TRUE(menu);
    const QList<QAction*> actions = menu->actions();
    ASSERT_EQ(actions.size(), 2);
    EXPECT_EQ(actions[0]->text(), QStringLiteral("order selected traces"));
    EXPECT_EQ(actions[1]->text(), QStringLiteral("zoom selected traces"));
    for (QAction* a : actions)
        a->trigger();
    EXPECT_EQ(v.lines, QStringList({"traces:selected order", "traces:selected zoom"}));

    // a context-menu request over the labels shows it; one over the plot does not
    v.vp->show();
    const QPoint in_plot(v.vp->vars.mleft + 50, 100), in_labels(40, 100);
    QContextMenuEvent over_plot(QContextMenuEvent::Mouse, in_plot, v.vp->mapToGlobal(in_plot));
    QApplication::sendEvent(v.vp.get(), &over_plot);
    EXPECT_FALSE(menu->isVisible());
    QContextMenuEvent over_labels(QContextMenuEvent::Mouse, in_labels, v.vp->mapToGlobal(in_labels));
    QApplication::sendEvent(v.vp.get(), &over_labels);
    EXPECT_TRUE(menu->isVisible());
    menu->hide();
}

// The limit counts the entries of the trace list.  A hundred thousand real
// traces take minutes to make under the sanitizers, so the list is filled
// with one trace standing in for the others, and emptied of them after.
TEST(TraceviewWords, NoMoreThanTheLimitOfTraces)
{
    View v;
    VXTrace* first = v.add("AAA BHZ");
    v.tv->traces.resize(VX_TRACEVIEW_MAX_TRACES - 1, first);
    const int last = v.tv->appendNewTrace(QStringLiteral("LAST BHZ"));
    ASSERT_EQ(last, VX_TRACEVIEW_MAX_TRACES - 1);
    const QList<VXTrace*> real = {first, v.tv->traces.at(last)};

    const std::string full =
        "VXTraceview::appendNewTrace: a view holds at most 100000 traces: 100000 are made, 1 more asked for.\n";
    EXPECT_EQ(v.tv->appendNewTrace(QStringLiteral("MORE BHZ")), -1);
    EXPECT_EQ(takeErrors(), full);
    QString label = QStringLiteral("AAA BHZ");
    EXPECT_EQ(v.tv->duplicateTrace(label), -1);
    EXPECT_EQ(takeErrors(), full + "VXTraceview::duplicateTrace: appendNewTrace(AAA BHZ) error.\n");
    EXPECT_EQ(label, QStringLiteral("AAA BHZ"));
    EXPECT_EQ(v.tv->numTraces(), VX_TRACEVIEW_MAX_TRACES);
    EXPECT_EQ(v.tv->channel_label_hash.size(), 2);
    EXPECT_EQ(v.tv->checkTracesLimit("createTraces", 0), 0);
    // a request for many at once
    v.tv->traces = real;
    v.tv->defaults.selection.traces = real;
    EXPECT_EQ(v.tv->checkTracesLimit("createTraces", VX_TRACEVIEW_MAX_TRACES - 2), 0);
    EXPECT_EQ(v.tv->checkTracesLimit("createTraces", VX_TRACEVIEW_MAX_TRACES - 1), -1);
    EXPECT_EQ(takeErrors(),
              "VXTraceview::createTraces: a view holds at most 100000 traces: 2 are made, 99999 more asked for.\n");
    // with room again a copy is made and numbered
    EXPECT_EQ(v.tv->duplicateTrace(label), 2);
    EXPECT_EQ(label, QStringLiteral("AAA BHZ;1"));
}

TEST(TraceviewWords, AmpScaleOfATraceByIndexOrLabel)
{
    View v;
    VXTrace* t = v.add("AAK BHZ");
    EXPECT_EQ(v.tv->setAmpScale(0, 0, 0.25, 0.5, -10.0, 10.0), 0);
    EXPECT_DOUBLE_EQ(t->vars.atop, 10.0);
    EXPECT_EQ(v.tv->setAmpScale(QStringLiteral("AAK BHZ"), 0, 0.25, 0.5, -3.0, 3.0), 0);
    EXPECT_DOUBLE_EQ(t->vars.atop, 3.0);
    EXPECT_EQ(v.tv->setAmpScale(1, 0, 0.0, 1.0, -1.0, 1.0), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::setAmpScale: trace index 1 does not exist.\n");
    EXPECT_EQ(v.tv->setAmpScale(QStringLiteral("AAK BHN"), 0, 0.0, 1.0, -1.0, 1.0), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::setAmpScale: trace channel_label 'AAK BHN' does not exist.\n");
}

// In edit mode the plot and the waveform take the edit display's colours,
// and the band behind the data goes; a colour the edit display leaves unset
// comes from the main display.
TEST(TraceviewWords, EditModePaintsWithTheEditDisplay)
{
    View v(0, 500, 240);
    MemoryReader reader;
    // ten seconds in a window of twenty
    reader.addRow(0.0, 100.0, sine(1000, 100.0, 0.4, 1.0), 1.0, QStringLiteral("traceview_words_edit"));
    v.add("AAA BHZ")->setReader(&reader, 0, -1);
    ASSERT_EQ(v.tv->setTimeWindow(0.0, 20.0), 0);
    ASSERT_EQ(v.tv->configure("antialias", "no", nullptr), 0);  // colours exact to the pixel

    const int mleft = v.vp->vars.mleft, mtop = v.vp->vars.mtop;
    const int w = 500 - mleft - v.vp->vars.mright, h = 240 - mtop - v.vp->vars.mbottom;
    const QPoint data(mleft + w / 4, mtop + h / 2), empty(mleft + 3 * w / 4, mtop + h / 2);
    // the pixels of one colour in a column of the data half
    auto count = [&](const QImage& image, QColor colour) {
        int n = 0;
        for (int y = mtop; y < mtop + h; y++)
            n += image.pixelColor(data.x(), y) == colour;
        return n;
    };
    // parameters null: as before
    const struct {
        const char* name; int edit_mode; const char* parameters; QColor background, band, waveform;
    } cases[] = {
        {"main", 0, nullptr, QColor("#6060ff"), QColor("#000080"), QColor("yellow")},
        {"edit", 1, nullptr, QColor("#e0e0e0"), QColor("#e0e0e0"), QColor("#d0d0d0")},
        {"edit, own colours", 1,
         "traceview_display_parameters &Arr{\nedit_display &Arr{\ncolor_background red\ncolor_foreground "
         "\\#008000\n}\n}\n",
         QColor("red"), QColor("red"), QColor("#008000")},
        {"main again", 0, nullptr, QColor("#6060ff"), QColor("#000080"), QColor("yellow")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        v.tv->edit_mode = c.edit_mode;
        if (c.parameters) {
            ASSERT_EQ(v.tv->configure("traceview_display_parameters", c.parameters, nullptr), 0) << takeErrors();
        }
        v.tv->refresh(0);
        const QImage image = vptest::render(v.vp.get());
        vptest::keep(image, c.name);
        EXPECT_EQ(image.pixelColor(empty), c.background);
        EXPECT_GT(count(image, c.band), h / 10);
        EXPECT_GT(count(image, c.waveform), 3);
    }
    // the unset colours of the edit display come from the main one
    v.tv->edit_mode = 1;
    EXPECT_EQ(v.tv->displayMode().color_trace_label.color, QColor("black"));
    EXPECT_EQ(v.tv->displayMode().font_trace_label.font.family(),
              v.tv->display_parameters.main_display.font_trace_label.font.family());
    v.tv->clearTraces();
}
