// The sample-data generator end to end: run vxgen into a temporary folder
// and read what it wrote back through the record store.
#include "support/testsupport.h"

#include "support/programsupport.h"
#include "toolkit/store/recordstore.h"
#include "toolkit/store/recordstore_fixture.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

using namespace rsfixture;

namespace {

ProgramRun vxgen(const QStringList& args)
{
    return runProgram(VXGEN_PATH, args);
}

// A table's records as field name to the text rsget() gives ("(error)" for
// a field that does not read); "#" holds the record number.
using Row = std::map<std::string, std::string>;

std::vector<Row> read_table(Rsptr db, const char* table)
{
    std::vector<Row> rows;
    const Rsptr t = rslookup(db, nullptr, table, nullptr, nullptr);
    EXPECT_FALSE(rsisinvalid(t)) << "no table " << table;
    const QStringList fields = QString::fromStdString(queryList(t, RS_TABLE_FIELDS)).split(' ');
    for (long r = 0, n = queryLong(t, RS_RECORD_COUNT); r < n; r++) {
        Row row{{"#", std::to_string(r)}};
        for (const QString& name : fields)
            row[name.toStdString()] = fieldText(at(t, r), name.toUtf8().constData());
        EXPECT_EQ(std::count_if(row.begin(), row.end(), [](const auto& f) { return f.second == "(error)"; }), 0);
        rows.push_back(row);
    }
    return rows;
}

long num(const Row& row, const char* field)
{
    return std::stol(row.at(field));
}

double real(const Row& row, const char* field)
{
    return std::stod(row.at(field));
}

QByteArray file_bytes(const QString& path)
{
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::ReadOnly)) << path.toStdString();
    return f.readAll();
}

// Every file under dir, by relative path.
std::map<QString, QByteArray> all_files(const QString& dir)
{
    std::map<QString, QByteArray> files;
    QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files[QDir(dir).relativeFilePath(path)] = file_bytes(path);
    }
    return files;
}

// Samples [first, first + n) of a wfdisc row, as counts.
std::vector<int32_t> samples(Rsptr db, const Row& wf, long first, long n)
{
    Rsptr t = rslookup(db, nullptr, "wfdisc", nullptr, nullptr);
    t.record = num(wf, "#");
    char path[RS_STRSZ];
    std::vector<int32_t> out;
    if (rsextfile(t, nullptr, path) != 1)
        return out;
    const QByteArray bytes = file_bytes(path);
    first = std::max(0L, first);
    n = std::min(n, num(wf, "nsamp") - first);
    for (long i = 0; i < n; i++) {
        const long at = num(wf, "foff") + (first + i) * 4;
        if (at + 4 > bytes.size())
            break;
        const auto* p = reinterpret_cast<const unsigned char*>(bytes.constData() + at);
        out.push_back(static_cast<int32_t>(uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 |
                                           uint32_t(p[3])));
    }
    return out;
}

// Rows by the value of a key field, each key once.
std::map<long, const Row*> byId(const std::vector<Row>& rows, const char* key)
{
    std::map<long, const Row*> index;
    for (const Row& r : rows)
        EXPECT_TRUE(index.emplace(num(r, key), &r).second) << key << " " << r.at(key);
    return index;
}

class VxgenDatabase : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        dir_ = new QTemporaryDir;
        base_ = dir_->filePath("db");
        run_ = new ProgramRun(vxgen({"--seed", "7", base_}));
    }
    static void TearDownTestSuite()
    {
        delete run_;
        delete dir_;
    }
    void SetUp() override
    {
        ASSERT_EQ(run_->status, 0) << run_->err;
        db_ = rsopen(base_.toUtf8().constData(), "css3.0", RS_READ);
        ASSERT_FALSE(rsisinvalid(db_));
    }
    void TearDown() override
    {
        if (!rsisinvalid(db_))
            rsclose(db_);
    }

    static QTemporaryDir* dir_;
    static QString base_;
    static ProgramRun* run_;
    Rsptr db_ = rsinvalid();
};

QTemporaryDir* VxgenDatabase::dir_ = nullptr;
QString VxgenDatabase::base_;
ProgramRun* VxgenDatabase::run_ = nullptr;

} // namespace

// The tables vxgen writes; count: of the default run, -1 for at least one
// record, the number depending on the picks.
const struct { const char* table; long count, width; } kTables[] = {
    {"site", 12, 155},   {"sitechan", 36, 140}, {"affiliation", 12, 33}, {"event", 5, 76},
    {"origin", -1, 237}, {"origerr", -1, 257},  {"netmag", -1, 110},     {"stamag", -1, 117},
    {"arrival", -1, 223}, {"assoc", -1, 152},   {"lastid", 6, 42},       {"wfdisc", 36, 283},
};

TEST_F(VxgenDatabase, EveryTableHasItsRecordsAtTheirWidth)
{
    for (const auto& c : kTables) {
        SCOPED_TRACE(c.table);
        const Rsptr t = rslookup(db_, nullptr, c.table, nullptr, nullptr);
        const long n = queryLong(t, RS_RECORD_COUNT);
        EXPECT_TRUE(c.count >= 0 ? n == c.count : n > 0) << n;
        EXPECT_EQ((std::vector{queryLong(t, RS_RECORD_SIZE), queryLong(t, RS_BAD_ROW_COUNT)}),
                  (std::vector{c.width, 0L}));
        const QByteArray text = file_bytes(base_ + "." + c.table);
        ASSERT_TRUE(text.endsWith('\n'));
        const QList<QByteArray> lines = text.chopped(1).split('\n');
        EXPECT_EQ(lines.size(), n);
        for (const QByteArray& line : lines)
            ASSERT_EQ(line.size(), c.width) << line.toStdString();
    }
}

TEST_F(VxgenDatabase, IdsAreUniqueAndAgreeAcrossTables)
{
    const auto arrivals = read_table(db_, "arrival"), assocs = read_table(db_, "assoc");
    const auto origins = read_table(db_, "origin"), events = read_table(db_, "event");
    const auto netmags = read_table(db_, "netmag"), stamags = read_table(db_, "stamag");
    const auto wfdiscs = read_table(db_, "wfdisc"), sitechans = read_table(db_, "sitechan");
    const auto lastids = read_table(db_, "lastid");

    auto arid = byId(arrivals, "arid"), orid = byId(origins, "orid"), evid = byId(events, "evid");
    auto magid = byId(netmags, "magid"), wfid = byId(wfdiscs, "wfid"), chanid = byId(sitechans, "chanid");
    std::map<std::string, long> chanid_of;  // "sta chan"
    for (const Row& r : sitechans)
        chanid_of[r.at("sta") + " " + r.at("chan")] = num(r, "chanid");

    std::map<long, long> nass;
    for (const Row& a : assocs) {
        ASSERT_TRUE(arid.count(num(a, "arid"))) << "assoc of a missing arrival " << a.at("arid");
        ASSERT_TRUE(orid.count(num(a, "orid"))) << "assoc of a missing origin " << a.at("orid");
        EXPECT_EQ(a.at("sta"), arid[num(a, "arid")]->at("sta"));
        EXPECT_EQ(a.at("phase"), arid[num(a, "arid")]->at("iphase"));
        nass[num(a, "orid")]++;
    }
    for (const Row& o : origins) {
        EXPECT_TRUE(evid.count(num(o, "evid"))) << "origin of a missing event " << o.at("evid");
        EXPECT_EQ(num(o, "nass"), nass[num(o, "orid")]) << "orid " << o.at("orid");
    }
    for (const Row& e : events) {
        ASSERT_TRUE(orid.count(num(e, "prefor"))) << "missing preferred origin " << e.at("prefor");
        EXPECT_EQ(orid[num(e, "prefor")]->at("evid"), e.at("evid"));
    }
    for (const Row& m : netmags) {
        ASSERT_TRUE(orid.count(num(m, "orid")));
        EXPECT_EQ(num(*orid[num(m, "orid")], "mlid"), num(m, "magid"));
        EXPECT_DOUBLE_EQ(real(*orid[num(m, "orid")], "ml"), real(m, "magnitude"));
    }
    for (const Row& s : stamags) {
        ASSERT_TRUE(magid.count(num(s, "magid")));
        ASSERT_TRUE(arid.count(num(s, "arid")));
        EXPECT_EQ(s.at("orid"), magid[num(s, "magid")]->at("orid"));
        EXPECT_EQ(s.at("sta"), arid[num(s, "arid")]->at("sta"));
    }
    for (const Row& r : arrivals)
        EXPECT_EQ(num(r, "chanid"), chanid_of[r.at("sta") + " " + r.at("chan")]) << "arid " << r.at("arid");
    for (const Row& w : wfdiscs)
        EXPECT_EQ(num(w, "chanid"), chanid_of[w.at("sta") + " " + w.at("chan")]) << "wfid " << w.at("wfid");

    // the counters are the largest ids handed out
    ASSERT_FALSE(arid.empty() || orid.empty() || evid.empty() || magid.empty() || wfid.empty() || chanid.empty());
    const std::map<std::string, long> largest = {
        {"arid", arid.rbegin()->first},    {"orid", orid.rbegin()->first},  {"evid", evid.rbegin()->first},
        {"magid", magid.rbegin()->first},  {"wfid", wfid.rbegin()->first},  {"chanid", chanid.rbegin()->first},
    };
    ASSERT_EQ(lastids.size(), largest.size());
    for (const Row& l : lastids) {
        SCOPED_TRACE(l.at("keyname"));
        ASSERT_TRUE(largest.count(l.at("keyname")));
        EXPECT_EQ(num(l, "keyvalue"), largest.at(l.at("keyname")));
    }
}

TEST_F(VxgenDatabase, TravelTimesFitTheirDistances)
{
    const auto arrivals = read_table(db_, "arrival"), assocs = read_table(db_, "assoc");
    const auto origins = read_table(db_, "origin"), events = read_table(db_, "event");
    const auto arid = byId(arrivals, "arid"), orid = byId(origins, "orid");
    int checked = 0;
    for (const Row& e : events) {
        const Row& o = *orid.at(num(e, "prefor"));
        SCOPED_TRACE("orid " + o.at("orid"));
        struct Obs { double delta, tt; };
        std::map<std::string, std::vector<Obs>> by_phase;
        std::map<std::string, std::map<std::string, double>> at_station;  // sta, phase: time
        for (const Row& a : assocs) {
            if (a.at("orid") != o.at("orid"))
                continue;
            const Row& r = *arid.at(num(a, "arid"));
            const double tt = real(r, "time") - real(a, "timeres") - real(o, "time");
            const double hypo_km = std::hypot(real(a, "delta") * 111.195, real(o, "depth"));
            const double velocity = hypo_km / tt;
            const bool p = a.at("phase") == "P";  // else S
            EXPECT_GT(velocity, p ? 5.0 : 2.9) << a.at("sta");
            EXPECT_LT(velocity, p ? 8.0 : 4.7) << a.at("sta");
            EXPECT_LT(std::fabs(real(a, "timeres")), 1.0) << a.at("sta");
            by_phase[a.at("phase")].push_back({real(a, "delta"), tt});
            at_station[a.at("sta")][a.at("phase")] = real(r, "time");
            checked++;
        }
        for (auto& [phase, obs] : by_phase) {
            std::sort(obs.begin(), obs.end(), [](const Obs& a, const Obs& b) { return a.delta < b.delta; });
            for (size_t i = 1; i < obs.size(); i++)  // later at a greater distance
                EXPECT_TRUE(obs[i].delta <= obs[i - 1].delta + 0.001 || obs[i].tt > obs[i - 1].tt)
                    << phase << " at " << obs[i].delta << " deg";
        }
        for (auto& [sta, times] : at_station)
            EXPECT_TRUE(!times.count("P") || !times.count("S") || times["P"] < times["S"]) << sta;
    }
    EXPECT_GT(checked, 20);
}

TEST_F(VxgenDatabase, WaveformSegmentsFitTheirFiles)
{
    const auto wfdiscs = read_table(db_, "wfdisc");
    std::map<std::string, long> bytes_of_file;
    Rsptr t = rslookup(db_, nullptr, "wfdisc", nullptr, nullptr);
    for (const Row& w : wfdiscs) {
        SCOPED_TRACE("wfid " + w.at("wfid"));
        EXPECT_EQ(w.at("datatype") + " " + w.at("nsamp"), "s4 144000");
        EXPECT_DOUBLE_EQ(real(w, "samprate"), 40.0);
        EXPECT_TRUE(real(w, "calib") > 0.0 && real(w, "calper") > 0.0) << w.at("calib") << " " << w.at("calper");
        EXPECT_NEAR(real(w, "endtime"), real(w, "time") + (num(w, "nsamp") - 1) / 40.0, 1e-4);
        t.record = num(w, "#");
        char path[RS_STRSZ];
        ASSERT_EQ(rsextfile(t, nullptr, path), 1);
        EXPECT_EQ(num(w, "foff") % (num(w, "nsamp") * 4), 0);
        bytes_of_file[path] += num(w, "nsamp") * 4;
        EXPECT_GE(QFileInfo(path).size(), num(w, "foff") + num(w, "nsamp") * 4);
    }
    // the segments fill their files, without gaps or overlaps
    EXPECT_EQ(bytes_of_file.size(), 12u);
    for (const auto& [path, bytes] : bytes_of_file)
        EXPECT_EQ(QFileInfo(QString::fromStdString(path)).size(), bytes) << path;
}

TEST_F(VxgenDatabase, PArrivalsStandOutOfTheNoiseBeforeThem)
{
    const auto arrivals = read_table(db_, "arrival"), wfdiscs = read_table(db_, "wfdisc");
    int checked = 0;
    for (const Row& r : arrivals) {
        if (r.at("iphase") != "P")
            continue;
        const double time = real(r, "time");
        // another arrival at the station shortly before leaves its coda
        bool quiet = true;
        for (const Row& o : arrivals)
            quiet = quiet && !(o.at("sta") == r.at("sta") && real(o, "time") < time && real(o, "time") > time - 120.0);
        if (!quiet)
            continue;
        const Row* wf = nullptr;
        for (const Row& w : wfdiscs)
            if (w.at("sta") == r.at("sta") && w.at("chan") == "BHZ")
                wf = &w;
        ASSERT_NE(wf, nullptr);
        SCOPED_TRACE("arid " + r.at("arid"));
        const long at = std::lround((time - real(*wf, "time")) * 40.0);
        const std::vector<int32_t> before = samples(db_, *wf, at - 800, 720), after = samples(db_, *wf, at - 8, 128);
        ASSERT_EQ(before.size(), 720u);
        ASSERT_EQ(after.size(), 128u);
        double sum2 = 0.0, mean = 0.0, peak = 0.0;
        for (int32_t v : before)
            mean += v / 720.0;
        for (int32_t v : before)
            sum2 += (v - mean) * (v - mean);
        for (int32_t v : after)
            peak = std::max(peak, std::fabs(v - mean));
        EXPECT_GT(peak, 4.0 * std::sqrt(sum2 / 720.0)) << r.at("sta") << " snr " << r.at("snr");
        checked++;
    }
    EXPECT_GT(checked, 10);
}

TEST(Vxgen, SameSeedGivesTheSameFilesAndAnotherSeedOthers)
{
    QTemporaryDir a, b, c;
    ASSERT_EQ(vxgen({"--seed", "42", "--hours", "0.5", a.filePath("db")}).status, 0);
    ASSERT_EQ(vxgen({"--seed", "42", "--hours", "0.5", b.filePath("db")}).status, 0);
    ASSERT_EQ(vxgen({"--seed", "43", "--hours", "0.5", c.filePath("db")}).status, 0);
    const auto fa = all_files(a.path()), fb = all_files(b.path()), fc = all_files(c.path());
    EXPECT_EQ(fa.size(), 24u);  // 12 tables and 12 waveform files
    ASSERT_EQ(fa.size(), fb.size());
    for (const auto& [name, bytes] : fa) {
        SCOPED_TRACE(name.toStdString());
        ASSERT_TRUE(fb.count(name));
        EXPECT_TRUE(bytes == fb.at(name));
    }
    for (const char* name : {"db.origin", "db.arrival", "wf/PAS.2024015.w"}) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(fc.count(name));
        EXPECT_FALSE(fa.at(name) == fc.at(name));
    }
    // the network itself does not depend on the seed
    EXPECT_TRUE(fa.at("db.site") == fc.at("db.site"));
}

TEST(Vxgen, OptionsShapeTheRecordingAcrossMidnight)
{
    QTemporaryDir dir;
    const QString base = dir.filePath("night");
    const ProgramRun run = vxgen({"--stations", "3", "--events", "2", "--hours", "0.5", "--samprate", "20", "--start",
                           "2024-02-29 23:45:00", "--seed=5", base});
    ASSERT_EQ(run.status, 0) << run.err;
    Rsptr db = rsopen(base.toUtf8().constData(), "css3.0", RS_READ);
    ASSERT_FALSE(rsisinvalid(db));
    const auto wfdiscs = read_table(db, "wfdisc"), sites = read_table(db, "site"), events = read_table(db, "event");
    const auto lastids = read_table(db, "lastid");
    rsclose(db);
    EXPECT_EQ(sites.size(), 3u);
    EXPECT_EQ(events.size(), 2u);
    ASSERT_EQ(wfdiscs.size(), 18u);  // 3 stations, 3 channels, 2 days
    std::map<std::string, long> nsamp;
    for (const Row& w : wfdiscs) {
        SCOPED_TRACE("wfid " + w.at("wfid"));
        EXPECT_DOUBLE_EQ(real(w, "samprate"), 20.0);
        EXPECT_EQ(w.at("lddate"), "2024-03-01T001500");
        const double time = real(w, "time");
        if (num(w, "jdate") == 2024060) {
            EXPECT_DOUBLE_EQ(time, 1709250300.0);
            EXPECT_EQ(num(w, "nsamp"), 15 * 60 * 20);
        } else {
            EXPECT_EQ(num(w, "jdate"), 2024061);
            EXPECT_DOUBLE_EQ(time, 1709251200.0);
        }
        nsamp[w.at("sta") + w.at("chan")] += num(w, "nsamp");
    }
    for (const auto& [channel, n] : nsamp)
        EXPECT_EQ(n, 30 * 60 * 20) << channel;
    for (const Row& l : lastids)
        EXPECT_EQ(l.at("lddate"), "2024-03-01T001500");
    EXPECT_TRUE(QFile::exists(dir.filePath("wf/PAS.2024060.w")));
    EXPECT_TRUE(QFile::exists(dir.filePath("wf/PAS.2024061.w")));
}

TEST(Vxgen, NoEventsStillWritesEveryTable)
{
    QTemporaryDir dir;
    ASSERT_EQ(vxgen({"--events", "0", "--stations", "2", "--hours", "0.1", dir.filePath("quiet")}).status, 0);
    for (const auto& c : kTables)
        EXPECT_TRUE(QFile::exists(dir.filePath(QString("quiet.") + c.table))) << c.table;
    Rsptr db = rsopen(dir.filePath("quiet").toUtf8().constData(), "css3.0", RS_READ);
    ASSERT_FALSE(rsisinvalid(db));
    EXPECT_TRUE(read_table(db, "event").empty());
    EXPECT_TRUE(read_table(db, "arrival").empty());
    EXPECT_EQ(read_table(db, "wfdisc").size(), 6u);
    for (const Row& l : read_table(db, "lastid")) {
        SCOPED_TRACE(l.at("keyname"));
        EXPECT_EQ(num(l, "keyvalue"), l.at("keyname") == "wfid" || l.at("keyname") == "chanid" ? 6 : 0);
    }
    rsclose(db);
}

TEST(Vxgen, BadArgumentsExitWithStatusTwo)
{
    QTemporaryDir dir;
    const QString base = dir.filePath("db");
    const struct { const char* name; QStringList args; } cases[] = {
        {"no outbase", {}}, {"two outbases", {base, base + "2"}}, {"unknown option", {"--bogus", "1", base}},
        {"missing value", {base, "--seed"}}, {"seed not a number", {"--seed", "abc", base}},
        {"negative seed", {"--seed", "-3", base}}, {"seed too large", {"--seed", "99999999999999999999999", base}},
        {"no stations", {"--stations", "0", base}}, {"too many stations", {"--stations", "21", base}},
        {"negative events", {"--events", "-1", base}}, {"events with a unit", {"--events", "5x", base}},
        {"zero hours", {"--hours", "0", base}}, {"too many hours", {"--hours", "169", base}},
        {"hours not finite", {"--hours", "nan", base}}, {"sample rate too low", {"--samprate", "0.5", base}},
        {"sample rate too high", {"--samprate", "1000", base}}, {"bad start", {"--start", "yesterday", base}},
        {"empty value", {"--stations=", base}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ProgramRun r = vxgen(c.args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err.rfind("vxgen: ", 0), 0u) << r.err;
        EXPECT_FALSE(QFile::exists(base + ".origin"));
    }
}

TEST(Vxgen, HelpAndUnwritableFolders)
{
    const ProgramRun help = vxgen({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Usage: vxgen"), std::string::npos);
    QTemporaryDir dir;
    const ProgramRun missing = vxgen({dir.filePath("no/such/folder/db")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("cannot write"), std::string::npos) << missing.err;
}
