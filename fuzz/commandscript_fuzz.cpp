// The command shell's statement parser on arbitrary text.
#include <VX.h>

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 65536)
        return 0;
    QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    VXCommandScript script;
    script.variables.insert("w", "mainwindow:1");
    qsizetype pos = 0;
    int line = 1;
    for (int guard = 0; guard < 100000; guard++) {
        VX_ScriptStatement st;
        qsizetype before = pos;
        int r = script.next(text, &pos, &line, &st);
        if (r == VXCommandScript::End || r == VXCommandScript::Incomplete)
            break;
        if (pos <= before)
            __builtin_trap();  // no progress: the parser would hang its caller
    }
    hl_clear_register(0);
    return 0;
}
