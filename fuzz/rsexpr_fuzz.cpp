// libFuzzer target for the expression language.  The input is an
// expression, compiled against the origin table and evaluated on a record,
// the null record and as a sort key; a compiled expression must evaluate to
// the kind it was compiled to, or fail with a message.
#include <VX.h>

#include "toolkit/store/recordstore.h"
#include "toolkit/store/rsexpr_p.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr size_t kInputMax = 1 << 14;

const char kOrigin[] =
    "  47.7372   12.7957   10.0000  1296474900.12345        1        1  2011031   12   10   -1 "
    "     543       36 qb      -999.0000 f    4.50        3 -999.00       -1    3.21        4 l"
    "ocsat:iasp91   analyst               -1 2011-01-31T120000";

Rsptr origin()
{
    static Rsptr table = [] {
        Rsptr db = rsopen("fuzz", "css3.0", RS_MEMORY);
        Rsptr t = rslookup(db, nullptr, "origin", nullptr, "rsSCRATCH");
        if (rsput(t, kOrigin) < 0 || rsaddrecord(t) < 0 || rsaddnull(t) < 0)
            abort();
        t.record = RS_ALL;
        return t;
    }();
    return table;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > kInputMax)
        size = kInputMax;
    std::string text(reinterpret_cast<const char*>(data), size);
    if (text.find('\0') != std::string::npos)
        text.resize(text.find('\0'));
    Rsptr t = origin();
    RsExpr* expr = nullptr;
    if (rsex_compile(t, text.c_str(), &expr) == 0) {
        const int kind = rsex_kind(expr);
        for (long r : {0L, 1L, RS_NULL}) {
            t.record = r;
            Rsvalue v;
            const int got = rsex_eval(t, expr, RSEX_ANY, &v);
            if (got >= 0 && got != kind)
                abort();
            rsex_eval(t, expr, RSEX_STRING, &v);
        }
        rsex_free(expr);
        t.record = RS_ALL;
        Tbl* keys = seqnew(1);
        seqpush(keys, const_cast<char*>(text.c_str()));
        Rsptr view = rssort(t, keys, 0, nullptr);
        seqfree(keys, nullptr);
        if (!rsisinvalid(view))
            rsfree(view);
    }
    hl_clear_register(0);
    return 0;
}
