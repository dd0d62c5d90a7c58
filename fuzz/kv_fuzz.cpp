// libFuzzer target for parameter text: any text either fails to compile
// with nothing left behind, or compiles to a document whose written text
// compiles again to the same text.  The lookups and conversions run over
// every entry on the way.
#include <VX.h>

#include "toolkit/params/kv.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t max_input = 1 << 20;

// Every conversion of every entry of an &Arr, and a walk into the blocks.
void walk(Kv* kv, int depth)
{
    if (depth > KV_MAX_DEPTH + 1)
        __builtin_trap();
    long n = kvcount(kv);
    Tbl* keys = kvkind(kv) == KV_KIND_TBL ? nullptr : kvkeys(kv);
    for (long i = 0; i < n; i++) {
        void* value = nullptr;
        int kind = kvgetindex(kv, i, &value);
        if (kind == KV_KIND_ARR || kind == KV_KIND_TBL) {
            walk(static_cast<Kv*>(value), depth + 1);
            continue;
        }
        if (kind != KV_KIND_STRING || !value)
            __builtin_trap();
        if (!keys)
            continue;
        const char* key = static_cast<const char*>(seqget(keys, i));
        if (kvget(kv, key, nullptr) != KV_KIND_STRING)
            __builtin_trap();
        int i_out = 0;
        double d_out = 0;
        char* s_out = nullptr;
        char buffer[KV_STRING_BUFFER_MIN];
        kvparam(kv, key, KV_INT, 1, &i_out);
        kvparam(kv, key, KV_DOUBLE, 1, &d_out);
        kvparam(kv, key, KV_BOOLEAN, 1, &i_out);
        kvparam(kv, key, KV_STRING_BUFFER, 1, buffer);
        if (kvparam(kv, key, KV_STRING, 1, &s_out) == 0) {
            if (strcmp(s_out, static_cast<const char*>(value)) != 0)
                __builtin_trap();
            free(s_out);
        }
        Tbl* rows = nullptr;
        if (kvparam(kv, key, KV_TBL_STRINGS, 0, &rows) == 0 || rows)
            __builtin_trap();  // a string is no &Tbl
    }
    seqfree(keys, nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        size = max_input;
    Kv* kv = nullptr;
    if (kvcompile_source(reinterpret_cast<const char*>(data), size, nullptr, &kv) < 0) {
        if (kv)
            __builtin_trap();
        hl_clear_register(0);
        return 0;
    }
    walk(kv, 0);
    char* first = kv2string(kv);
    if (!first)
        __builtin_trap();
    Kv* again = nullptr;
    if (kvcompile(first, &again) < 0)
        __builtin_trap();
    char* second = kv2string(again);
    if (!second || strcmp(first, second) != 0)
        __builtin_trap();
    free(first);
    free(second);
    kvfree(again);
    kvfree(kv);
    hl_clear_register(0);
    return 0;
}
