// Names of Qt event types, for trace lines.
#pragma once

class QEvent;

// The name of the event's type as Qt's QEvent::Type enumerator spells it
// ("MouseButtonPress", "Paint", "Resize") for the types below 215; "None"
// for all others, for types Qt does not name, and for a null event.  The
// text is static.
const char* VX_qevent_type_str(QEvent* event);
