// VXEvent: Qt's input events as a plain record; the event-service notice
// event and the registry of its receivers.
#include "viewport/vxevent.h"

#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QSet>
#include <QWheelEvent>
#include <QWidget>

#include <cstdio>

namespace {

const char* const type_names[] = {"mousepress", "mousemove", "mouserelease", "keypress", "keyrelease",
                                  "wheel",      "enter",     "leave",        "resize",   "paint"};

// Receivers alive, GUI thread only: a notice may outlive its receiver in
// the event queue.
QSet<const VXQKCallbackReceiver*>& liveReceivers()
{
    static QSet<const VXQKCallbackReceiver*> set;
    return set;
}

} // namespace

VXEvent::VXEvent(int type_, QEvent* event, QWidget* widget) : type(type_)
{
    if (!event)
        return;
    switch (type) {
    case 1:
    case 2:
    case 3:
        // the class is checked: a mismatched pair of type and event is
        // passed over, not misread
        if (auto* me = dynamic_cast<QMouseEvent*>(event)) {
            button = static_cast<int>(me->buttons());
            modifiers = static_cast<int>(me->modifiers());
            pt = me->position();
            gpt = me->globalPosition();
        }
        break;
    case 4:
    case 5:
        if (auto* ke = dynamic_cast<QKeyEvent*>(event)) {
            modifiers = static_cast<int>(ke->modifiers());
            key = keyName(ke->key(), ke->text());
            gpt = QCursor::pos();
            pt = widget ? QPointF(widget->mapFromGlobal(gpt)) : gpt;
        }
        break;
    case 6:
        if (auto* we = dynamic_cast<QWheelEvent*>(event)) {
            const QPoint num_pixels = we->pixelDelta();
            const QPointF num_degrees = QPointF(we->angleDelta()) / 8.0;
            if (!num_pixels.isNull()) {
                delta = num_pixels.y();
                deltax = num_pixels.x();
            } else {
                delta = num_degrees.y();
                deltax = num_degrees.x();
            }
            pt = we->position();
            gpt = we->globalPosition();
        }
        break;
    default:
        break;
    }
}

const char* VXEvent::typeName(int type)
{
    if (type < 1 || type > 10)
        return nullptr;
    return type_names[type - 1];
}

QString VXEvent::keyName(int qt_key, const QString& text)
{
    switch (qt_key) {
    case Qt::Key_Up:
        return QStringLiteral("up");
    case Qt::Key_Down:
        return QStringLiteral("down");
    case Qt::Key_Left:
        return QStringLiteral("left");
    case Qt::Key_Right:
        return QStringLiteral("right");
    case Qt::Key_Delete:
        return QStringLiteral("delete");
    default:
        break;
    }
    if (qt_key >= Qt::Key_0 && qt_key <= Qt::Key_9)
        return QString(QChar('0' + (qt_key - Qt::Key_0)));
    if (qt_key >= Qt::Key_A && qt_key <= Qt::Key_Z)
        return QString(QChar('a' + (qt_key - Qt::Key_A)));
    return text;
}

QString VXEvent::printString() const
{
    QString s;
    const char* name = typeName(type);
    s += name ? QString::asprintf("vxevent.type %s\n", name) : QStringLiteral("vxevent.type unknown\n");
    switch (button) {
    case 0:
        s += QStringLiteral("vxevent.button none\n");
        break;
    case Qt::LeftButton:
        s += QStringLiteral("vxevent.button left\n");
        break;
    case Qt::RightButton:
        s += QStringLiteral("vxevent.button right\n");
        break;
    case Qt::MiddleButton:
        s += QStringLiteral("vxevent.button middle\n");
        break;
    default:
        s += QStringLiteral("vxevent.button unknown\n");
        break;
    }
    if (key.isEmpty())
        s += QStringLiteral("vxevent.key none\n");
    else
        s += QStringLiteral("vxevent.key ") + key + QLatin1Char('\n');
    switch (modifiers) {
    case 0:
        s += QStringLiteral("vxevent.modifiers none\n");
        break;
    case Qt::ControlModifier:
        s += QStringLiteral("vxevent.modifiers control\n");
        break;
    case Qt::ShiftModifier:
        s += QStringLiteral("vxevent.modifiers shift\n");
        break;
    default:
        s += QStringLiteral("vxevent.modifiers unknown\n");
        break;
    }
    return s;
}

void VXEvent::print()
{
    const QByteArray text = printString().toUtf8();
    fputs(text.constData(), stdout);
    fflush(stdout);
}

VXQKCallbackReceiver::VXQKCallbackReceiver()
{
    liveReceivers().insert(this);
}

VXQKCallbackReceiver::~VXQKCallbackReceiver()
{
    liveReceivers().remove(this);
}

bool VXQKCallbackReceiver::isLive(const VXQKCallbackReceiver* receiver)
{
    return receiver && liveReceivers().contains(receiver);
}

VXQKCallbackEvent::VXQKCallbackEvent() : QEvent(eventType())
{
}

VXQKCallbackEvent::~VXQKCallbackEvent() = default;

QEvent::Type VXQKCallbackEvent::eventType()
{
    // a function-local static: initialised once, also when the first use
    // is on a service thread
    static const QEvent::Type type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}
