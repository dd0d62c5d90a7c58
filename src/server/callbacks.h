// Client callbacks of the widgets made by command.
//
// A client registers one callback per handle with the command qt_callback;
// the signals of the object behind the handle then call it on the Qt thread
// with fixed parameters per signal (a button its text, a timer its handle,
// ...).  The callback may send further commands: on the Qt thread they run
// at once.
#pragma once

#include "vxplot_export.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

class QObject;
typedef void* HL_ClientData;

// What a client registers: called with the object, its handle, the
// parameters of the signal, the item type and the client's data.  The
// returned value is ignored.
typedef QVariant (*VX_GraphicsServer_callback)(void* item, QString handle, QStringList params, int type,
                                               HL_ClientData client_data);

// What viewport_callback registers on a viewport: called on the Qt thread
// with the viewport, each event its items did not consume, and the client's
// data.
class VXEvent;
typedef void (*VX_GraphicsServer_viewport_event_callback)(void* viewport, VXEvent* event, HL_ClientData client_data);

struct VXPLOT_EXPORT VxGraphicsServerCallback
{
    HL_ClientData client_data = nullptr;
    void* item = nullptr;  // the object as stored in the handle table
    int type = -1;         // its item type
    QString handle;
    std::function<QVariant(void*, QString, QStringList, int, HL_ClientData)> callback_proc;  // empty: silence
};

// The process-wide callbacks, by handle.  Qt thread only.  An absent entry
// and an empty callback_proc both mean silence; delete leaves entries in
// place (handles are never reused, so a stale entry is never called).
VXPLOT_EXPORT QHash<QString, VxGraphicsServerCallback>& VX_GraphicsServer_callbacks();

// Call the callback of handle, if any, with params.  The entry is copied
// first, so a callback may replace or remove its own entry.
VXPLOT_EXPORT void VX_GraphicsServer_fire_callback(const QString& handle, const QStringList& params);

// Number of client callbacks running on this thread now (nested ones
// included); a delete asked from inside one defers the destruction.
VXPLOT_EXPORT int VX_GraphicsServer_callback_depth();

// Connect the signals of an object made by command to the callback of its
// handle: button clicked, checkbox stateChanged, combobox
// currentTextChanged, lineedit textChanged and editingFinished, timer
// timeout, action triggered, filedialog filesSelected.  Other types have
// nothing to connect.
void vx_connect_callback(int type, QObject* object, const QString& handle);

// Takes a handle's callback out of the table for its own lifetime, so that
// a value set by the client itself does not call the client back.
class VxSilentCallback
{
public:
    explicit VxSilentCallback(const QString& handle);
    ~VxSilentCallback();
    VxSilentCallback(const VxSilentCallback&) = delete;
    VxSilentCallback& operator=(const VxSilentCallback&) = delete;

private:
    QString handle_;
    bool had_ = false;
    VxGraphicsServerCallback saved_;
};
