// Error register and log of the host toolkit.
//
// Every thread has its own register: a failing function appends one line
// with hl_register_error() and returns a negative value, each caller adds a
// line naming itself, and the top level reads the whole stack of lines with
// hl_errlog_string() or empties it with hl_clear_register().  Lines of one
// thread never appear in another thread's register.
//
// The log is the process-wide output channel for complaints, cleared
// registers and stack traces.  It writes to standard error unless a callback
// has been installed with errlog_set(HL_ERRLOG_CALLBACK, ...).
#pragma once

#include "vxplot_export.h"

#include <cstdarg>

// Severity of a registered error.
enum {
    HL_SEVERITY_NORMAL = 0,  // bad input, failed parse, unknown name
    HL_SEVERITY_SYSTEM = 1,  // failed allocation, thread or queue
};

// The print argument of hl_clear_register().
enum {
    HL_CLEAR_QUIET = 0,  // the lines are dropped
    HL_CLEAR_PRINT = 1,  // the lines go to the log first
};

// Options of errlog_set().
enum {
    HL_ERRLOG_CALLBACK = 12,  // value: an HL_ErrlogCallback, or null for standard error
};

// Receives every log line, one call per line, the text ending in a new line.
// Called on whichever thread logs; calls are serialised by the log.
typedef void (*HL_ErrlogCallback)(const char* line);

// Format a message and append it to the calling thread's register.  Never
// blocks on another thread's register and never exits.  Returns 0.
VXPLOT_EXPORT int hl_register_error(int severity, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
VXPLOT_EXPORT int hl_register_verror(int severity, const char* format, va_list ap);

// The calling thread's register, all lines, as one string.  The pointer stays
// valid until the register is cleared or this function is called again on
// the same thread.  Never null; empty when nothing is registered.
VXPLOT_EXPORT const char* hl_errlog_string(int flags);

// Number of lines in the calling thread's register.
VXPLOT_EXPORT int hl_error_count();

// Empty the calling thread's register; with print 1 its text goes to the log
// first.  Returns 0.
VXPLOT_EXPORT int hl_clear_register(int print);

// Write a message to the log at once.  Returns 0.
VXPLOT_EXPORT int hl_complain(int flags, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Log the message and the calling stack, then end the process with status 1.
[[noreturn]] VXPLOT_EXPORT void hl_die(int severity, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// When timing is on (hl_ptimes_enable(1), or the environment variable
// "VXPLOT_PTIMES" set at the first call), log the label with the wall-clock
// and processor seconds since the previous call on this thread.
VXPLOT_EXPORT void hl_ptimes(const char* label, int flags);
VXPLOT_EXPORT void hl_ptimes_enable(int on);

// Write the calling thread's stack to the log.
VXPLOT_EXPORT void log_stack_trace();

// Set a log option.  HL_ERRLOG_CALLBACK with a callback sends every log line
// to it; with null, back to standard error.  Negative for an unknown option.
VXPLOT_EXPORT int errlog_set(int option, int flags, void* value);
