// State and close logic shared by the two top-level window classes.
#pragma once

#include "vxplot_export.h"

#include <QList>

class QCloseEvent;
class QWidget;
class VXViewport;
struct VX_GraphicsServer;

// Called when a window whose close ends the session is closed.
typedef void (*VxCloseCallbackProc)(void* widget, QCloseEvent* event, void* client_data);

struct VxCloseCallback
{
    VxCloseCallbackProc callback_proc = nullptr;
    void* widget = nullptr;
    void* client_data = nullptr;
};

class VXPLOT_EXPORT VXWindowBase
{
public:
    VXWindowBase(VX_GraphicsServer* server, QWidget* parent, int close_window);
    virtual ~VXWindowBase();

    // Append a callback run, in order, when closing the window ends the session.
    void setCloseCallback(VxCloseCallbackProc function, void* client_data);
    // Remove every entry of that function.
    void removeCloseCallback(VxCloseCallbackProc function);
    void addViewport(VXViewport* viewport);
    void removeViewport(VXViewport* viewport);

    VX_GraphicsServer* server = nullptr;  // null when the window lives outside the server
    // The parent given at construction; it decides only the raise and close
    // logic.  Not called parent, which would hide QObject::parent().
    QWidget* parent_widget = nullptr;
    int first = 1;                        // 1 until the window has raised itself after its first paint
    bool raise_pending = false;           // the raise after the first paint is queued
    int close_window = 0;                 // non-zero: closing the window ends the session
    QList<VxCloseCallback> close_callbacks;
    QList<VXViewport*> viewports;

protected:
    // Common parts of the paint and close events; self is the window.
    // Returns true when the base class's paint event should run.
    bool windowPaint(QWidget* self);
    void windowClose(QWidget* self, QCloseEvent* event);
};
