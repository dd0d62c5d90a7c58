// Trace expressions on arbitrary input.
//
// Each line is resolved against a small view of traces (with and without
// copies) and checked: a refused expression registers a message and leaves
// the selection as it was; an accepted one names traces of the view, each
// once.  "selected" empties the selection.
#include <VX.h>
#include "fuzzapp.h"

#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"

#include <QSet>
#include <QString>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

constexpr size_t max_input = 4096;
constexpr int max_lines = 32;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_application();
    if (size > max_input)
        size = max_input;
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(300, 200);
    auto tv = std::make_unique<VXTraceview>(vp.get(), nullptr, 0, nullptr);
    tv->init();
    for (const char* label : {"AAK BHZ", "AAK BHN", "BBB LHZ", "AAK BHZ", "C;D E"})
        tv->appendNewTrace(QString::fromLatin1(label));
    tv->getTrace(1)->selectTrace("yes");

    int n = 0;
    for (const QByteArray& line : input.split('\n')) {
        if (n++ >= max_lines)
            break;
        const QString expr = QString::fromUtf8(line.left(512));
        for (int copyok = 0; copyok < 2; copyok++) {
            QList<VXTrace*> out;
            int all = -1;
            const int selected_before = tv->getTrace(1)->select_order;
            if (tv->resolveTracesExpressions(expr, copyok, out, &all) < 0) {
                if (hl_error_count() == 0 || tv->getTrace(1)->select_order != selected_before)
                    abort();
            } else {
                const QSet<VXTrace*> unique(out.begin(), out.end());
                if (unique.size() != out.size())
                    abort();
                for (VXTrace* t : out)
                    if (!tv->traces.contains(t))
                        abort();
            }
            tv->isMatchTracesExpressions(expr, QStringLiteral("AAK BHZ;1"), copyok);
            tv->checkTracesExpressions(expr, copyok);
            hl_clear_register(0);
        }
        tv->getTrace(1)->selectTrace("yes");
    }
    tv.reset();
    vp.reset();
    hl_clear_register(0);
    return 0;
}
