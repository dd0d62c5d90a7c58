// Helpers shared by the command procedures: the steps of every handler
// (look up the target, check its type and argument count, convert numbers,
// trace, answer).  Private to the server.
#pragma once

#include "foundation/messages.h"
#include "server/commands.h"
#include "server/graphicsserver.h"
#include "toolkit/base/errors.h"

#include <QtDebug>

#include <cstdio>

// The buffer each trace line is formatted into.  One per thread, so that a
// direct send from another thread cannot garble the Qt thread's line.
extern thread_local char debug_line[16384];

// Format a trace line and send it through qDebug() when the trace is on.
#define VX_TRACE(...)                                                   \
    do {                                                                \
        if (vxplot_debug) {                                             \
            snprintf(debug_line, sizeof debug_line, __VA_ARGS__);       \
            qDebug("%s", debug_line);                                   \
        }                                                               \
    } while (0)

// Text of a QString for messages, cut to 8191 characters.
QByteArray vx_msg(const QString& s);

// The types whose objects are Qt widgets (vx_as_widget answers them).
constexpr unsigned long long VX_TYPES_WIDGET =
    vx_types(VX_TYPE_VIEWPORT, VX_TYPE_TEXTPOPUP, VX_TYPE_FRAME, VX_TYPE_SPLITTER, VX_TYPE_DOCKWIDGET, VX_TYPE_BUTTON,
             VX_TYPE_MENUBAR, VX_TYPE_MENU, VX_TYPE_LINEEDIT, VX_TYPE_FILEDIALOG, VX_TYPE_MAINWINDOW,
             VX_TYPE_SCROLLAREA, VX_TYPE_CHECKBOX, VX_TYPE_COMBOBOX, VX_TYPE_DIALOG, VX_TYPE_LABEL,
             VX_TYPE_COMMANDCONSOLE);

// Look up a handle other than the command's own (an argument naming a
// widget, a dock); on failure registers
// "<proc>: VX_GraphicsServer_get_item(<handle>) error.\n" below the
// look-up's own line and returns null.
void* vx_lookup(VX_GraphicsServer* server, const char* proc, const QString& handle, int* type);

// The wording of a failed number conversion: "<proc>: <name> conversion
// error '<text>'.\n" (most commands), or "<proc>: <name> error '<text>'.\n"
// (the window and layout commands).
enum class VxNumberWording { Conversion, Short };

// Convert an integer argument with QString::toInt(&ok, 10), a double with
// QString::toDouble; on failure register the wording's line and return false.
bool vx_to_int(const char* proc, const char* name, const QString& text, int* value,
               VxNumberWording wording = VxNumberWording::Conversion);
bool vx_to_double(const char* proc, const char* name, const QString& text, double* value);

// Fill a successful response: code 0, the given handle, no parameters.
int vx_answer(VX_GraphicsServer_response* response, const QString& handle);

// Enter a new object under the next handle of its type, connect its
// client callbacks, trace "<handle> = new <trace_class>(<parent>)" unless
// trace_class is null, and answer with the handle.
int vx_answer_new(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                  VX_GraphicsServer_response* response, int type, void* item, const char* trace_class);

// Register one formatted line, move the register into the response and
// return -1: the failure exit of every handler.
int vx_fail(VX_GraphicsServer* server, VX_GraphicsServer_response* response, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The refusal of a target of an accepted type that the proc cannot use
// after all (an object this server does not make): registers the
// wrong_type message of the word's row.  Returns -1.
int vx_refuse_target(const VX_GraphicsServer_command* command);

// The type word of a type number, "unknown" for none.
const char* vx_type_word(int type);

// The Qt object behind a handle-table entry of a Qt type, or null.
VXPLOT_EXPORT QObject* vx_as_qobject(int type, void* widget);

// Destroy the object of a handle-table entry as its type requires.
void vx_destroy_object(int type, void* widget);
