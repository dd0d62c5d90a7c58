// Channel lists on arbitrary input: each line is taken as a pattern and as
// a list, matched against a few names and turned into station and channel
// pairs.  A refusal must leave a message in the register; nothing may
// crash or take long (costly expressions are refused before compiling).
#include "toolkit/base/errors.h"
#include "toolkit/seedlink/rspick.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 4096)
        size = 4096;
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    int n = 0;
    for (const QByteArray& line : input.split('\n')) {
        if (n++ >= 16)
            break;
        const QByteArray spec = line.left(256);  // up to a NUL, as a C string
        for (const char* name : {"AAK", "BHZ", "", "1"}) {
            const int m = rspickMatchString(spec.constData(), name);
            if (m < -1 || m > 1 || (m < 0) != (hl_error_count() > 0))
                abort();
            hl_clear_register(HL_CLEAR_QUIET);
        }
        const int place = rspickMatchStachans(spec.constData(), "AAK", "BHZ", 1);
        if (place < -2 || (place == -2) != (hl_error_count() > 0))
            abort();
        hl_clear_register(HL_CLEAR_QUIET);
        QString scv;
        if (rspickStachans2ScvStachans(QString::fromUtf8(spec), scv) < 0 && hl_error_count() == 0)
            abort();
        hl_clear_register(HL_CLEAR_QUIET);
    }
    return 0;
}
