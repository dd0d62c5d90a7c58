#include "foundation/qeventnames_p.h"

#include <QEvent>
#include <QMetaEnum>

const char* VX_qevent_type_str(QEvent* event)
{
    if (!event)
        return "None";
    int type = static_cast<int>(event->type());
    if (type < 0 || type >= 215)
        return "None";
    // the enumerator names live in Qt's static meta-object data
    static const QMetaEnum names = QMetaEnum::fromType<QEvent::Type>();
    const char* name = names.valueToKey(type);
    return name ? name : "None";
}
