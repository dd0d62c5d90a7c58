// The trace view's command language on arbitrary input.
//
// Each line runs on a view of a few traces with a console-less language:
// a refused line must register a message, and no line may crash or hang
// (aliases that nest or loop are refused by the language itself).  Lines
// that would leave the program, import files or write them are skipped.
#include <VX.h>
#include "fuzzapp.h"

#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"
#include "waveform/tvcommands.h"

#include <QString>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

constexpr size_t max_input = 8192;
constexpr int max_lines = 64;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_application();
    if (size > max_input)
        size = max_input;
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(300, 200);
    vp->setScales();
    auto tv = std::make_unique<VXTraceview>(vp.get(), nullptr, 0, nullptr);
    tv->init();
    for (const char* label : {"AAK BHZ", "AAK BHN", "BBB LHZ", "AAK BHZ", "KEV HHZ"})
        tv->appendNewTrace(QString::fromLatin1(label));
    tv->setTimeWindow(1000.0, 600.0);
    tv->getTrace(1)->selectTrace("yes");
    hl_clear_register(0);

    int n = 0;
    for (const QByteArray& line : input.split('\n')) {
        if (n++ >= max_lines)
            break;
        const QString command = QString::fromUtf8(line);
        const QStringList words = traceview_command_words(command);
        if (!words.isEmpty() && (words[0].startsWith(QLatin1String("quit")) || words[0].startsWith(QLatin1String("main"))))
            continue;
        QString output;
        if (tv->commands->processCommand(command, output) < 0 && hl_error_count() == 0)
            abort();
        // a hot key line the input stored runs as a key would run it
        hl_clear_register(0);
    }
    tv.reset();
    vp.reset();
    hl_clear_register(0);
    return 0;
}
