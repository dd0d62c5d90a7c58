#include "foundation/messages.h"

#include "toolkit/base/errors.h"

#include <QByteArray>
#include <QString>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

int vxplot_debug = 0;

namespace {
const char* orEmpty(const char* s)
{
    return s ? s : "";
}
} // namespace

void VX_MessageOutput(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QByteArray text = message.toLocal8Bit();
    switch (type) {
    case QtDebugMsg:
        if (text.contains("QMacCGContext:: Unsupported painter devtype type"))
            return;
        fprintf(stderr, "Debug: %s (%s:%u, %s)\n", text.constData(), orEmpty(context.file),
                static_cast<unsigned>(context.line), orEmpty(context.function));
        break;
    case QtWarningMsg:
    case QtInfoMsg:
        // Qt's warnings are dropped on purpose: the library reports through
        // its own error register
        break;
    case QtCriticalMsg:
        fprintf(stderr, "Critical: %s (%s:%u, %s)\n", text.constData(), orEmpty(context.file),
                static_cast<unsigned>(context.line), orEmpty(context.function));
        log_stack_trace();
        break;
    case QtFatalMsg:
        fprintf(stderr, "Fatal: %s (%s:%u, %s)\n", text.constData(), orEmpty(context.file),
                static_cast<unsigned>(context.line), orEmpty(context.function));
        log_stack_trace();
        abort();
    }
}

void VX_InstallMessageHandler()
{
    static std::once_flag once;
    std::call_once(once, [] {
        if (getenv("VXPLOT_DEBUG"))
            vxplot_debug = 1;
        qInstallMessageHandler(VX_MessageOutput);
    });
}

void VX_debug(const char* format, ...)
{
    if (!vxplot_debug)
        return;
    char line[4096];
    va_list ap;
    va_start(ap, format);
    vsnprintf(line, sizeof line, format, ap);
    va_end(ap);
    fprintf(stdout, "%s\n", line);
    fflush(stdout);
}
