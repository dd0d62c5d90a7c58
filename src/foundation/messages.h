// The library's Qt message handler and its trace switch.
//
// The trace is on when the environment variable "VXPLOT_DEBUG" exists at the
// time VX_InstallMessageHandler() first runs.  Trace lines go through
// qDebug() and leave on standard error as "Debug: %s (%s:%u, %s)\n".  Qt's
// warnings and info messages are dropped; critical and fatal messages are
// written with a stack trace, and a fatal one aborts.
#pragma once

#include "vxplot_export.h"

#include <QtGlobal>

class QEvent;

// Non-zero when the trace is on.  Written once by VX_InstallMessageHandler
// before any trace line, read on the Qt thread.
VXPLOT_EXPORT extern int vxplot_debug;

// Install the message handler, once per process, and set vxplot_debug.
VXPLOT_EXPORT void VX_InstallMessageHandler();

// The handler itself, for tests and for applications that chain handlers.
VXPLOT_EXPORT void VX_MessageOutput(QtMsgType type, const QMessageLogContext& context, const QString& message);

// When the trace is on, format a line and print it on standard output.
VXPLOT_EXPORT void VX_debug(const char* format, ...) __attribute__((format(printf, 1, 2)));
