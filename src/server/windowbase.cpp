#include "server/windowbase.h"

#include "server/graphicsserver.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>
#include <QWidget>

VXWindowBase::VXWindowBase(VX_GraphicsServer* server_, QWidget* parent_, int close_window_)
    : server(server_), parent_widget(parent_), close_window(close_window_)
{
}

VXWindowBase::~VXWindowBase() = default;

void VXWindowBase::setCloseCallback(VxCloseCallbackProc function, void* client_data)
{
    VxCloseCallback cb;
    cb.callback_proc = function;
    cb.client_data = client_data;
    close_callbacks.append(cb);
}

void VXWindowBase::removeCloseCallback(VxCloseCallbackProc function)
{
    close_callbacks.removeIf([function](const VxCloseCallback& cb) { return cb.callback_proc == function; });
}

void VXWindowBase::addViewport(VXViewport* viewport)
{
    viewports.append(viewport);
}

void VXWindowBase::removeViewport(VXViewport* viewport)
{
    viewports.removeAll(viewport);
}

bool VXWindowBase::windowPaint(QWidget* self)
{
    if (parent_widget)
        return true;
    // a new top-level window raises itself once, after its first paint
    if (first <= 0 || raise_pending)
        return false;
    raise_pending = true;
    QPointer<QWidget> guard(self);
    QTimer::singleShot(0, self, [this, guard] {
        if (!guard)
            return;
        if (first > 0)
            guard->raise();
        first = 0;
        raise_pending = false;
    });
    return false;
}

void VXWindowBase::windowClose(QWidget* self, QCloseEvent* event)
{
    if (!close_window)
        return;
    const QList<VxCloseCallback> callbacks = close_callbacks;
    for (const VxCloseCallback& cb : callbacks)
        if (cb.callback_proc)
            cb.callback_proc(cb.widget ? cb.widget : self, event, cb.client_data);
    if (server)
        VX_GraphicsServer_request_quit(server);
    else
        QCoreApplication::quit();
}
