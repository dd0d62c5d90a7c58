// VXTraceview: the traces menu, shown by a context-menu request (a right
// click, or the menu key) over the trace labels left of the plot.
//
// Each entry of the menu is a line of the view's command language, sent
// like a typed line: through the console when one is attached.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "viewport/viewport.h"
#include "viewport/vxqkclient.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QMenu>
#include <QObject>

#include <memory>

namespace {

struct MenuEntry
{
    const char* text;
    const char* command;
};

const MenuEntry traces_menu_entries[] = {
    {"order selected traces", "traces:selected order"},
    {"zoom selected traces", "traces:selected zoom"},
};

// Watches the viewport for context-menu requests over the trace labels.
// A child of the viewport; the guard is null once the view is gone.
class TracesMenuFilter : public QObject
{
public:
    TracesMenuFilter(VXViewport* viewport, std::shared_ptr<VXTraceview*> guard)
        : QObject(viewport), vp(viewport), view(std::move(guard))
    {
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        // the viewport's events include notices posted by event-service
        // threads, and a filter sees them first: take them over as their
        // receiver does before reading them
        VXQKClientEvent::of(event);
        if (watched != vp || event->type() != QEvent::ContextMenu || !*view)
            return false;
        const auto* e = static_cast<QContextMenuEvent*>(event);
        const QPoint p = e->pos();
        // the labels' column: left of the plot, beside its traces
        if (p.x() >= vp->vars.mleft || p.y() < vp->vars.mtop || p.y() >= vp->vars.h - vp->vars.mbottom)
            return false;
        (*view)->popupTracesMenu(e->globalPos());
        return true;
    }

private:
    VXViewport* vp;
    std::shared_ptr<VXTraceview*> view;
};

} // namespace

void VXTraceview::initTaskbarAndMenu()
{
    getTaskbar();
    if (VXViewport* vp = getViewportParent())
        vp->installEventFilter(new TracesMenuFilter(vp, self_guard));
}

QMenu* VXTraceview::tracesMenu()
{
    if (traces_menu)
        return traces_menu.get();
    traces_menu.reset(new QMenu());
    for (const MenuEntry& entry : traces_menu_entries) {
        QAction* action = traces_menu->addAction(QString::fromLatin1(entry.text));
        const QString line = QString::fromLatin1(entry.command);
        QObject::connect(action, &QAction::triggered, action, [this, line]() {
            QString output;
            if (sendCommand(line, &output, 1, -1) < 0 && !output.isEmpty())
                hl_complain(0, "%s", output.toUtf8().constData());
        });
    }
    return traces_menu.get();
}

void VXTraceview::popupTracesMenu(const QPoint& global_position)
{
    tracesMenu()->popup(global_position);
}
