// Parameter text: scanner and writer throughput on a large generated
// document, against a bare line scan of the same text; and one configure
// call on an object of 50 keys, against a bare conversion of the value.
#include "toolkit/base/errors.h"
#include "toolkit/params/hlconfigure.h"
#include "toolkit/params/kv.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// About 4 MB of text in the forms the library's defaults use: nested
// arrays of keys, lists of rows with fields, comments and escaped hashes.
const std::string& document()
{
    static const std::string text = [] {
        std::string t;
        for (int layer = 0; t.size() < 4u << 20; layer++) {
            t += "# layer " + std::to_string(layer) + "\n";
            t += "layer_" + std::to_string(layer) + " &Arr{\n";
            t += "    mapdata_source_file     coasts.vector.xmd\n";
            t += "    opacity                 0.75\n";
            t += "    outline_color           \\#000000   # black\n";
            t += "    fill_color              $FILL_LAND\n";
            t += "    levels &Tbl{\n";
            for (int row = 0; row < 8; row++)
                t += "        " + std::to_string(row) + "\t1.0v-2\t1.0v-30\t2\tlevel row text\n";
            t += "    }\n";
            t += "    nested &Arr{\n        deeper &Arr{\n            key value with blanks\n        }\n    }\n";
            t += "}\n";
        }
        return t;
    }();
    return text;
}

void BM_LineScanBaseline(benchmark::State& state)
{
    const std::string& text = document();
    for (auto _ : state) {
        size_t lines = 0;
        const char* p = text.data();
        const char* end = p + text.size();
        while (p < end) {
            const void* nl = memchr(p, '\n', static_cast<size_t>(end - p));
            p = nl ? static_cast<const char*>(nl) + 1 : end;
            lines++;
        }
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_LineScanBaseline)->Unit(benchmark::kMillisecond);

void BM_KvCompile(benchmark::State& state)
{
    const std::string& text = document();
    for (auto _ : state) {
        Kv* kv = nullptr;
        if (kvcompile(text.c_str(), &kv) < 0)
            state.SkipWithError(hl_errlog_string(0));
        benchmark::DoNotOptimize(kv);
        kvfree(kv);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_KvCompile)->Unit(benchmark::kMillisecond);

void BM_Kv2string(benchmark::State& state)
{
    Kv* kv = nullptr;
    kvcompile(document().c_str(), &kv);
    size_t bytes = 0;
    for (auto _ : state) {
        char* text = kv2string(kv);
        bytes = strlen(text);
        free(text);
    }
    kvfree(kv);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_Kv2string)->Unit(benchmark::kMillisecond);

// An object of 50 keys: 25 ints and 25 doubles.
struct Record
{
    int ints[25];
    double doubles[25];
};

class FiftyKeys : public HLConfigure
{
public:
    FiftyKeys()
    {
        for (int i = 0; i < 50; i++) {
            names[i] = (i < 25 ? "int_key_" : "double_key_") + std::to_string(i);
            int offset = i < 25 ? static_cast<int>(offsetof(Record, ints) + sizeof(int) * i)
                                : static_cast<int>(offsetof(Record, doubles) + sizeof(double) * (i - 25));
            specs[i] = {i < 25 ? "int" : "double", names[i].c_str(), "1", offset, 0, nullptr};
        }
        specs[50] = {"end", nullptr, nullptr, 0, 0, nullptr};
        setConfigureSpecs(specs, reinterpret_cast<char*>(&rec), "FiftyKeys", this, 1);
    }
    Record rec{};
    std::string names[50];
    HL_ConfigureSpec specs[51];
};

void BM_ConfigureOneKey(benchmark::State& state)
{
    FiftyKeys object;
    const char* values[2] = {"12.5", "13.5"};
    int n = 0;
    for (auto _ : state) {
        if (object.configure("double_key_37", values[n++ & 1], nullptr) < 0)
            state.SkipWithError("configure failed");
    }
    benchmark::DoNotOptimize(object.rec.doubles[12]);
}
BENCHMARK(BM_ConfigureOneKey);

void BM_ConvertOneValueBaseline(benchmark::State& state)
{
    Record rec{};
    const char* values[2] = {"12.5", "13.5"};
    int n = 0;
    for (auto _ : state) {
        rec.doubles[12] = strtod(values[n++ & 1], nullptr);
        benchmark::DoNotOptimize(rec.doubles[12]);
    }
}
BENCHMARK(BM_ConvertOneValueBaseline);

} // namespace

BENCHMARK_MAIN();
