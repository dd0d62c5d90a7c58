// The event service tests' own main: the Qt event loop for the GUI side,
// and helper modes in which the test program, started again as a child,
// writes to a database as another process would.
//
//   events_test --helper append-event BASE EVID ORID TIME
//   events_test --helper add-arrivals BASE N
//   events_test --helper write-forever BASE     (prints each arid written)
#include "toolkit/events/events_fixture.h"
#include "toolkit/store/recordstore_fixture.h"

#include <QCoreApplication>
#include <QTest>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace evtest {

namespace {

Rsptr scratchOf(Rsptr db, const char* table)
{
    Rsptr t = rslookup(db, nullptr, table, nullptr, "rsSCRATCH");
    rsload_scratch(rsfixture::at(t, RS_NULL));
    return t;
}

std::string newFolder()
{
    char templ[] = "/tmp/vxplot_events_XXXXXX";
    const char* dir = mkdtemp(templ);
    return dir ? dir : "/tmp";
}

// Append an event and its origin through the record store.
int appendEvent(const std::string& base, long evid, long orid, double time)
{
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_WRITE);
    Rsptr e = scratchOf(db, "event");
    Rsptr o = scratchOf(db, "origin");
    if (rsputv(e, nullptr, "evid", evid, "prefor", orid, "auth", "helper", nullptr) < 0 ||
        rsputv(o, nullptr, "orid", orid, "evid", evid, "time", time, "lat", 34.0, "lon", -118.0, "depth", 8.0,
               "ml", 2.5, nullptr) < 0 ||
        rsaddrecord(o) < 0 || rsaddrecord(e) < 0) {
        fputs(hl_errlog_string(0), stderr);
        return 1;
    }
    rsclose(db);
    return 0;
}

// Add arrivals through an event client, as the picker does; n < 0: forever.
int addArrivals(const std::string& base, long n, bool print)
{
    QKServer server(base, 0, 0);
    QKClient client(&server);
    for (long i = 0; n < 0 || i < n; i++) {
        const long arid = client.rsnextid("arid");
        Rsptr row;
        if (arid < 0 || client.getRsptr("arrival", "", &row) < 0 ||
            rsputv(row, nullptr, "sta", "HLP", "chan", "BHZ", "arid", arid, "time", 1.7e9 + static_cast<double>(i),
                   "iphase", "P", "auth", "helper", nullptr) < 0 ||
            client.rsputrecord("arrival") < 0) {
            fputs(hl_errlog_string(0), stderr);
            return 1;
        }
        if (print) {
            printf("%ld\n", arid);
            fflush(stdout);
        }
    }
    return 0;
}

}  // namespace

int helperMain(int argc, char** argv)
{
    const std::string mode = argc > 2 ? argv[2] : "";
    if (mode == "append-event" && argc == 7)
        return appendEvent(argv[3], atol(argv[4]), atol(argv[5]), atof(argv[6]));
    if (mode == "add-arrivals" && argc == 5)
        return addArrivals(argv[3], atol(argv[4]), false);
    if (mode == "write-forever" && argc == 4)
        return addArrivals(argv[3], -1, true);
    fprintf(stderr, "events_test: bad helper arguments\n");
    return 2;
}

std::string makeDatabase(std::string* why)
{
#ifdef VXGEN_PATH
    const std::string base = newFolder() + "/db";
    const std::string command = std::string(VXGEN_PATH) + " --seed 7 --hours 0.05 " + base + " >/dev/null 2>&1";
    if (system(command.c_str()) != 0) {
        *why = "vxgen failed";
        return {};
    }
    return base;
#else
    *why = "built without the sample-data generator";
    return {};
#endif
}

std::string emptyDatabase()
{
    return newFolder() + "/db";
}

int spawnHelper(const std::vector<std::string>& args, int* out_fd)
{
    int fds[2] = {-1, -1};
    if (out_fd && pipe(fds) < 0)
        return -1;
    std::vector<std::string> all = {"/proc/self/exe", "--helper"};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : all)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        if (out_fd) {
            dup2(fds[1], 1);
            close(fds[0]);
            close(fds[1]);
        }
        execv("/proc/self/exe", argv.data());
        _exit(127);
    }
    if (out_fd) {
        close(fds[1]);
        *out_fd = fds[0];
    }
    return pid;
}

int waitHelper(int pid)
{
    int status = 0;
    if (waitpid(pid, &status, 0) != pid)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool waitFor(const std::function<bool()>& done, int timeout_ms)
{
    for (int waited = 0; waited < timeout_ms; waited += 10) {
        if (done())
            return true;
        QTest::qWait(10);
    }
    return done();
}

void appendLine(const std::string& base, const char* table, const std::string& line)
{
    FILE* f = fopen((base + "." + table).c_str(), "a");
    ASSERT_NE(f, nullptr);
    fputs(line.c_str(), f);
    fclose(f);
}

std::vector<std::string> readTable(const std::string& base, const char* table, long* bad_rows)
{
    std::vector<std::string> rows;
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_READ);
    Rsptr t = rslookup(db, nullptr, table, nullptr, nullptr);
    for (long r = 0, n = rsfixture::queryLong(t, RS_RECORD_COUNT); r < n; r++)
        rows.push_back(rsfixture::recordText(rsfixture::at(t, r)));
    if (bad_rows)
        rsquery(t, RS_BAD_ROW_COUNT, bad_rows);
    rsclose(db);
    hl_clear_register(0);
    return rows;
}

std::string makeRecord(const char* table, const std::vector<std::pair<const char*, std::string>>& fields)
{
    Rsptr db = rsopen("/tmp/vxplot_events_memory", "css3.0", RS_MEMORY);
    Rsptr t = scratchOf(db, table);
    for (const auto& f : fields) {
        Rsptr field = rslookup(t, nullptr, nullptr, f.first, nullptr);
        EXPECT_EQ(rsput(field, f.second.c_str()), 0) << f.first << " " << hl_errlog_string(0);
    }
    const std::string record = rsfixture::recordText(t);
    rsclose(db);
    return record;
}

}  // namespace evtest

int main(int argc, char** argv)
{
    if (argc > 1 && strcmp(argv[1], "--helper") == 0)
        return evtest::helperMain(argc, argv);
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QCoreApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
