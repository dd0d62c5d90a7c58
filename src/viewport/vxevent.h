// Input events as the viewport's event callbacks see them, and the event
// that carries event-service notices from a service thread to the GUI
// thread.
//
// VXEvent is a plain record filled from a Qt event; it owns nothing and can
// be copied freely, so that a deferred action (the wheel zoom) keeps its own
// copy after Qt's event is gone.
#pragma once

#include "vxplot_export.h"

#include <QEvent>
#include <QPointF>
#include <QString>

class QWidget;

// Event type numbers of VXViewportItem::processEvent and VXEvent::type.
enum {
    VX_EVENT_PRESS = 1,
    VX_EVENT_MOVE = 2,
    VX_EVENT_RELEASE = 3,
    VX_EVENT_KEY_PRESS = 4,
    VX_EVENT_KEY_RELEASE = 5,
    VX_EVENT_WHEEL = 6,
    VX_EVENT_ENTER = 7,
    VX_EVENT_LEAVE = 8,
    VX_EVENT_RESIZE = 9,
    VX_EVENT_PAINT = 10,
};

class VXPLOT_EXPORT VXEvent
{
public:
    // Fill the record from event, read as the given type: a mouse event for
    // 1 to 3, a key event for 4 and 5, a wheel event for 6.  A null event,
    // or one whose class does not fit the type, leaves every field but type
    // at zero.  widget (may be null) maps the cursor position of key events
    // into widget pixels.
    VXEvent(int type, QEvent* event, QWidget* widget);

    // Write the record to standard output, one "vxevent.<field> <value>"
    // line each for type, button, key and modifiers.
    void print();
    // The text print() writes.
    QString printString() const;

    // "mousepress" ... "paint"; null for a number outside 1 to 10.
    static const char* typeName(int type);
    // The key in the system's words: "up", "down", "left", "right",
    // "delete", "0" to "9", "a" to "z" (lower case whatever the shift
    // state); text for any other key.
    static QString keyName(int qt_key, const QString& text);

    int type = 0;
    int button = 0;                 // buttons held: 1 left, 2 right, 4 middle (or'ed)
    int modifiers = 0;              // Qt::KeyboardModifiers
    QString key;                    // empty for no key
    double delta = 0.0;             // wheel, vertical: pixels, or degrees of rotation
    double deltax = 0.0;            // wheel, horizontal
    QPointF pt;                     // pixels in the widget
    QPointF gpt;                    // pixels on the screen
};

class VXQKCallbackEvent;

// What an event-service notice is delivered to: the map events item and the
// trace view implement this.  Receivers are created and destroyed on the
// GUI thread; a notice whose receiver has been destroyed since it was posted
// is dropped.
class VXPLOT_EXPORT VXQKCallbackReceiver
{
public:
    VXQKCallbackReceiver();
    virtual ~VXQKCallbackReceiver();
    VXQKCallbackReceiver(const VXQKCallbackReceiver&) = delete;
    VXQKCallbackReceiver& operator=(const VXQKCallbackReceiver&) = delete;

    // Act on a notice, on the GUI thread.  The event stays owned by Qt.
    virtual void processQKCallback(VXQKCallbackEvent* event) = 0;

    // Whether receiver is alive (constructed and not yet destroyed).
    static bool isLive(const VXQKCallbackReceiver* receiver);
};

// A notice from the event service, posted (QCoreApplication::postEvent) to a
// viewport from the service's thread.  VXViewport::event() hands it to the
// processQKCallback() of vxme and of vxtr, where set.  Qt deletes it after
// delivery.
class VXPLOT_EXPORT VXQKCallbackEvent : public QEvent
{
public:
    VXQKCallbackEvent();
    ~VXQKCallbackEvent() override;

    // The event type, registered with Qt on first use; safe from any thread.
    static QEvent::Type eventType();

    VXQKCallbackReceiver* vxme = nullptr;  // the map events item, or null
    VXQKCallbackReceiver* vxtr = nullptr;  // the trace view, or null
};
