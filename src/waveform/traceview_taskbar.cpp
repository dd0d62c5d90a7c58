// VXTraceview: the task bar of the view's buttons and its keys.
//
// The buttons are defined and placed by parameter text (items/taskbar.h):
// traceview_buttons_definitions and traceview_buttons.  A button's
// "configure KEY VALUE" actions configure the view; its "command LINE"
// actions run LINE in the view's command language, through the console
// when one is attached, so that they are recorded like typed lines.
#include "waveform/traceview.h"

#include "foundation/configure.h"
#include "items/taskbar.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <QMenu>

#include <cstdlib>

namespace {

// Parameter text with the entry of outer_key (or, when the text has none,
// of inner_key) renamed to inner_key, as the task bar reads it; empty with
// the reason registered when the text has neither.
QString renamedEntry(const QString& text, const char* outer_key, const char* inner_key)
{
    char* made = VX_make_kvstring(text, QString::fromLatin1(outer_key), QString::fromLatin1(inner_key));
    if (!made) {
        // a text already written for the task bar itself is taken as it is
        hl_clear_register(HL_CLEAR_QUIET);
        made = VX_make_kvstring(text, QString::fromLatin1(inner_key), QString::fromLatin1(inner_key));
    }
    if (!made)
        return QString();
    const QString out = QString::fromUtf8(made);
    free(made);
    return out;
}

} // namespace

void VXTraceview::PartDeleter::operator()(VXTaskbar* bar) const
{
    delete bar;
}

void VXTraceview::PartDeleter::operator()(QMenu* menu) const
{
    delete menu;
}

VXTaskbar* VXTraceview::getTaskbar()
{
    if (taskbar || !make_taskbar)
        return taskbar.get();
    VXViewport* where = vptaskbar ? vptaskbar : getViewportParent();
    if (!where)
        return nullptr;
    taskbar.reset(new VXTaskbar(where));
    taskbar->setOwner(this);
    taskbar->setCommandCallback(
        [this](QString line, void*) {
            QString output;
            const int r = sendCommand(line, &output, 1, -1);
            if (r < 0 && !output.isEmpty())
                hl_complain(0, "%s", output.toUtf8().constData());
            return r;
        },
        nullptr);
    // the buttons lie over the plot's top margin: drawn after everything else
    where->moveItemToTop(taskbar.get());
    return taskbar.get();
}

int VXTraceview::parseButtonsDefinitions(const char* value)
{
    const QString text = QString::fromUtf8(value ? value : "");
    if (text == vars.taskbar_buttons_definitions_string)
        return 0;
    if (text.trimmed().isEmpty()) {
        vars.taskbar_buttons_definitions_string.clear();
        return 0;
    }
    const QString definitions = renamedEntry(text, "traceview_buttons_definitions", "buttons_definitions");
    if (definitions.isEmpty()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseButtonsDefinitions: VX_make_kvstring() error.\n");
        return -1;
    }
    // asking for buttons makes the bar even without make_taskbar
    const int made_here = !make_taskbar;
    make_taskbar = 1;
    VXTaskbar* bar = getTaskbar();
    if (made_here && !bar)
        make_taskbar = 0;
    if (!bar) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseButtonsDefinitions: no viewport for the task bar.\n");
        return -1;
    }
    if (bar->setButtonsDefinitions(definitions) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::parseButtonsDefinitions: VXTaskbar::setButtonsDefinitions() error.\n");
        return -1;
    }
    vars.taskbar_buttons_definitions_string = text;
    if (VXViewport* vp = bar->getViewportParent())
        vp->update();
    return 0;
}

int VXTraceview::parseButtons(const char* value)
{
    const QString text = QString::fromUtf8(value ? value : "");
    if (text == vars.taskbar_buttons_string)
        return 0;
    if (text.trimmed().isEmpty()) {
        vars.taskbar_buttons_string.clear();
        return 0;
    }
    if (!taskbar) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseButtons: Must define taskbar object with "
                                              "traceview_buttons_definitions configuration first\n");
        return -1;
    }
    const QString placement = renamedEntry(text, "traceview_buttons", "buttons");
    if (placement.isEmpty()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseButtons: VX_make_kvstring() error.\n");
        return -1;
    }
    if (taskbar->setButtons(placement) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseButtons: VXTaskbar::setButtons() error.\n");
        return -1;
    }
    vars.taskbar_buttons_string = text;
    if (VXViewport* vp = taskbar->getViewportParent()) {
        vp->moveItemToTop(taskbar.get());
        vp->update();
    }
    return 0;
}
