// The parameter tree view: open a document of 50,000 entries in the view
// and expand it all, against compiling the same text with kvcompile() in
// the same run.
#include "toolkit/base/errors.h"
#include "toolkit/params/hlkv.h"
#include "toolkit/params/kv.h"
#include "views/kvtreeview.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <string>

namespace {

// 50,000 entries: arrays of 23 values with comments and constraints, and a
// list of rows in each.
const std::string& document()
{
    static const std::string text = [] {
        std::string t;
        int entries = 0;
        for (int block = 0; entries < 50000; block++) {
            t += "# block " + std::to_string(block) + "\n";
            t += "layer_" + std::to_string(block) + " &Arr{\n";
            entries++;
            for (int i = 0; i < 20; i++, entries++)
                t += "    key_" + std::to_string(i) + "    " + std::to_string(i * block) + "    #@ int[0,]  # value " +
                     std::to_string(i) + "\n";
            t += "    rows &Tbl{\n        rt neb 1.0v-2\n        rt sta 1.0v-2\n    }\n";
            entries += 3;
            t += "}\n";
        }
        return t;
    }();
    return text;
}

void BM_KvcompileBaseline(benchmark::State& state)
{
    const std::string& text = document();
    for (auto _ : state) {
        Kv* kv = nullptr;
        if (kvcompile(text.c_str(), &kv) < 0)
            state.SkipWithError("kvcompile failed");
        kvfree(kv);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_KvcompileBaseline)->Unit(benchmark::kMillisecond);

void BM_TreeviewOpenExpandAll(benchmark::State& state)
{
    const std::string& text = document();
    int entries = 0;
    for (auto _ : state) {
        HLKv kv;
        if (kv.compile(text) < 0)
            state.SkipWithError("HLKv::compile failed");
        VXKvTreeview view(nullptr, &kv);
        view.resize(800, 600);
        view.expandAll();
        entries = kv.size();
        benchmark::DoNotOptimize(view.indexBelow(view.model()->index(0, 0)));
    }
    state.counters["entries"] = entries;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_TreeviewOpenExpandAll)->Unit(benchmark::kMillisecond);

// Only the document: the part of the view's time spent loading.
void BM_HLKvCompile(benchmark::State& state)
{
    const std::string& text = document();
    for (auto _ : state) {
        HLKv kv;
        if (kv.compile(text) < 0)
            state.SkipWithError("HLKv::compile failed");
        benchmark::DoNotOptimize(kv.size());
    }
}
BENCHMARK(BM_HLKvCompile)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
