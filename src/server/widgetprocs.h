// Helpers of the procedures that make and drive Qt widgets (windows,
// layouts, widgets, menus, timers).  Private to the server.
#pragma once

#include "server/procs.h"

class QLayout;
class QWidget;

// The widget behind a handle-table entry, or null for types that are not
// widgets (or not known to the table as Qt objects).
QWidget* vx_as_widget(int type, void* item);

// The widget that a creating command uses as parent: a mainwindow stands
// for its central frame.
QWidget* vx_parent_widget(int type, void* item);

// Type sets of the commands that place one widget into another.
bool vx_is_placeable_widget(int type);  // 0, 9, 12, 14 to 17, 20, 23, 25, 26, 28 to 35

// Placing a widget inside itself or inside one of its own descendants
// would make a parent cycle, on which Qt loops for ever.  True when
// `widget` may go into `into` (null for no widget); otherwise registers
// "<proc>: <what> cannot be placed inside <where>, which it contains.\n".
bool vx_can_place(const char* proc, const QWidget* widget, const QWidget* into, const QString& what,
                  const QString& where);

// The same for every widget that a layout holds, at any depth.
bool vx_can_place_layout(const char* proc, const QLayout* layout, const QWidget* into, const QString& what,
                         const QString& where);
