// Picking on a database of 100,000 arrivals: 1,000 picks added through a
// trace view and then undone one by one (every step one durable write),
// against appending the same 1,000 lines to a file with one fsync each, in
// the same run:
//   ArrivalEdit/append_fsync   the baseline
//   ArrivalEdit/add_and_undo   1,000 adds, then 1,000 undos
//   ArrivalEdit/storage_alone  the writes alone that the adds and undos
//       must make durable, on a copy of the arrival file: 1,000 lines
//       appended, then rewritten in place with a time of their own, each
//       write followed by fdatasync; what no pick can cost less than
// Build in Release; the ratio is add_and_undo over append_fsync.
#include <VX.h>

#include "toolkit/base/errors.h"
#include "toolkit/store/recordstore.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"
#include "waveform/traceviewqkclient.h"

#include <benchmark/benchmark.h>

#include <QApplication>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

namespace {

constexpr long kArrivals = 100000;
constexpr int kPicks = 1000;

std::string makeFolder()
{
    char templ[] = "/tmp/vxplot_arredit_bench_XXXXXX";
    const char* dir = mkdtemp(templ);
    return dir ? dir : "/tmp";
}

// A database of one channel and kArrivals arrivals on it; its base path.
std::string makeDatabase()
{
    const std::string base = makeFolder() + "/db";
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, "rsSCRATCH");
    rsputv(wf, nullptr, "sta", "ABC", "chan", "BHZ", "time", 1.0e9, "endtime", 1.0e9 + 86400.0, "nsamp", 8640000L,
           "samprate", 100.0, "calib", 1.0, "segtype", "V", "datatype", "s4", "dir", ".", "dfile", "none.w", "wfid",
           1L, "jdate", 2001252L, nullptr);
    rsaddrecord(wf);
    // the arrival rows are printed from the scratch row straight to the file
    Rsptr ar = rslookup(db, nullptr, "arrival", nullptr, "rsSCRATCH");
    FILE* f = fopen((base + ".arrival").c_str(), "w");
    char text[RS_STRSZ];
    Rsptr all = ar;
    all.field = RS_ALL;
    for (long i = 0; i < kArrivals; i++) {
        const double time = 1.0e9 + 0.8 * static_cast<double>(i);
        rsputv(ar, nullptr, "sta", i % 10 ? "XYZ" : "ABC", "chan", "BHZ", "time", time, "arid", i + 1, "jdate",
               2001252L, "iphase", i % 3 ? "P" : "S", "auth", "bench", "lddate", "2024-01-31T120000", nullptr);
        rsget(all, text);
        fprintf(f, "%s\n", text);
    }
    fclose(f);
    rsclose(db);
    // on the disk before anything is measured: the first flush of a pick
    // would otherwise wait for the writing back of the whole new table
    for (const char* table : {".arrival", ".wfdisc"}) {
        const int fd = open((base + table).c_str(), O_RDONLY);
        if (fd >= 0) {
            fsync(fd);
            close(fd);
        }
    }
    return base;
}

const std::string& database()
{
    static const std::string base = makeDatabase();
    return base;
}

void ArrivalEdit_append_fsync(benchmark::State& state)
{
    // lines of the arrival table's width
    std::string line(static_cast<size_t>(RS_STRSZ), ' ');
    {
        Rsptr db = rsopen(database().c_str(), "css3.0", RS_READ);
        Rsptr r = rslookup(db, nullptr, "arrival", nullptr, "0");
        char text[RS_STRSZ];
        r.field = RS_ALL;
        rsget(r, text);
        line = std::string(text) + "\n";
        rsclose(db);
    }
    const std::string path = makeFolder() + "/lines";
    for (auto _ : state) {
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_TRUNC, 0644);
        for (int i = 0; i < kPicks; i++) {
            if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size()) || fsync(fd) != 0)
                state.SkipWithError("write failed");
        }
        close(fd);
    }
    state.counters["writes"] = kPicks;
}

void ArrivalEdit_storage_alone(benchmark::State& state)
{
    const std::string path = makeFolder() + "/arrival";
    {
        std::ifstream in(database() + ".arrival", std::ios::binary);
        std::ofstream out(path, std::ios::binary);
        out << in.rdbuf();
    }
    const int fd = open(path.c_str(), O_RDWR);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || fsync(fd) != 0) {
        state.SkipWithError("cannot copy the arrival file");
        return;
    }
    std::string line(223, 'x');
    line += '\n';
    bool ok = true;
    for (auto _ : state) {
        const off_t end = st.st_size;
        for (int i = 0; i < kPicks; i++)
            ok = ok && pwrite(fd, line.data(), line.size(), end + 224L * i) == 224 && fdatasync(fd) == 0;
        for (int i = kPicks - 1; i >= 0; i--) {
            const struct timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_NOW}};
            ok = ok && pwrite(fd, line.data(), 223, end + 224L * i) == 223 && fdatasync(fd) == 0 &&
                 futimens(fd, times) == 0;
        }
    }
    if (!ok)
        state.SkipWithError("write failed");
    close(fd);
    state.counters["writes"] = 2 * kPicks;
}

void ArrivalEdit_add_and_undo(benchmark::State& state)
{
    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(800, 400);
    auto tv = std::make_unique<VXTraceview>(vp.get(), nullptr, 0, nullptr);
    tv->init();
    tv->vars.default_phase = "P";
    tv->setBatch("yes");  // no repaints: the writes are measured
    if (tv->createTraces(tv->openDatabase(QString::fromStdString(database())), "", "") < 0) {
        state.SkipWithError(hl_errlog_string(0));
        return;
    }
    VXTrace* trace = tv->getTrace(QStringLiteral("ABC BHZ"));
    if (!trace) {
        state.SkipWithError("no trace");
        return;
    }
    // the view fetches the trace's arrivals through its event client at its
    // first layout, before any pick can be made, and so reads the arrival
    // table; batch mode lays nothing out, so the same fetch is made here,
    // out of the timing, rather than by the first pick
    VxPixelatorSource* source = trace->editSource();
    if (!source || !source->ev.qkclient) {
        state.SkipWithError("no event client");
        return;
    }
    source->ev.qkclient->getArrivals("ABC", "BHZ", 1.0e9, 1.0e9 + 86400.0);
    double add_ms = 0.0, undo_ms = 0.0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        for (int i = 0; i < kPicks; i++) {
            int counter = 0;
            if (trace->addArrival(1.0e9 + 10.0 + i, counter) < 0)
                state.SkipWithError(hl_errlog_string(0));
        }
        const auto t1 = std::chrono::steady_clock::now();
        for (int i = 0; i < kPicks; i++)
            if (tv->arrivalEditQueueUndo() < 0)
                state.SkipWithError(hl_errlog_string(0));
        const auto t2 = std::chrono::steady_clock::now();
        add_ms += std::chrono::duration<double, std::milli>(t1 - t0).count();
        undo_ms += std::chrono::duration<double, std::milli>(t2 - t1).count();
        tv->arrivalEditQueueClear();
    }
    state.counters["writes"] = 2 * kPicks;
    state.counters["adds_ms"] = add_ms / static_cast<double>(state.iterations());
    state.counters["undos_ms"] = undo_ms / static_cast<double>(state.iterations());
}

BENCHMARK(ArrivalEdit_append_fsync)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(ArrivalEdit_storage_alone)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(ArrivalEdit_add_and_undo)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
