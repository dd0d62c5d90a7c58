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

// Look up command->handle.  On failure registers "<proc>: VX_GraphicsServer_get_item(<handle>) error.\n"
// below the lookup's own line and returns null.
void* vx_lookup(VX_GraphicsServer* server, const char* proc, const QString& handle, int* type);

// Convert an integer argument as the handlers do; on failure registers
// "<proc>: <name> conversion error '<text>'.\n" and returns false.
bool vx_to_int(const char* proc, const char* name, const QString& text, int* value);

// Fill a successful response: code 0, the given handle, no parameters.
int vx_answer(VX_GraphicsServer_response* response, const QString& handle);

// The Qt object behind a handle-table entry of a Qt type, or null.
VXPLOT_EXPORT QObject* vx_as_qobject(int type, void* widget);

// Destroy the object of a handle-table entry as its type requires.
void vx_destroy_object(int type, void* widget);
