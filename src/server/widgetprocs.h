// Helpers of the procedures that make and drive Qt widgets (windows,
// layouts, widgets, menus, timers).  Private to the server.
#pragma once

#include "server/procs.h"

class QWidget;

// Register one formatted line, move the register into the response and
// return -1: the failure exit of every handler.
int vx_fail(VX_GraphicsServer* server, VX_GraphicsServer_response* response, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The widget behind a handle-table entry, or null for types that are not
// widgets (or not known to the table as Qt objects).
QWidget* vx_as_widget(int type, void* item);

// The widget that a creating command uses as parent: a mainwindow stands
// for its central frame.
QWidget* vx_parent_widget(int type, void* item);

// The type word of a type number, "unknown" for none.
const char* vx_type_word(int type);

// Convert a number of the window and layout commands; on failure registers
// "<proc>: <name> error '<text>'.\n".
bool vx_to_int_short(const char* proc, const char* name, const QString& text, int* value);

// Type sets of the commands that place one widget into another.
bool vx_is_placeable_widget(int type);  // 0, 9, 12, 14 to 17, 20, 23, 25, 26, 28 to 35
