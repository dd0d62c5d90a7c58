// miniSEED rows: records made with libmseed's packer in every encoding,
// record length and byte order, two channels interleaved, a gap and an
// overlap, read back through wfload_scratch(); and the rows vxmseed2db
// writes for them.
#include "mseedmake.h"
#include "wftest.h"

#include "support/programsupport.h"
#include "toolkit/store/recordstore_fixture.h"
#include <QStringList>

#include <zlib.h>


namespace {

constexpr double kStart = 1.6e9 + 0.25;
constexpr double kRate = 40.0;
constexpr long kPart1 = 3000, kGap = 50, kPart2 = 2000, kOther = 5000;

// The records of two channels in one file, where each starts, and their samples.
struct Layout { std::string bytes; long foff_a = -1, foff_b = -1; std::vector<double> a1, a2, b; };

// Channel BHZ in two parts with a gap of kGap samples, channel BHN whole,
// their records taken in turn.
Layout interleaved(int encoding, char type, int reclen, int byteorder)
{
    Layout l;
    l.a1 = mseed_signal(kPart1, 0.0);
    l.a2 = mseed_signal(kPart2, 1.0);
    l.b = mseed_signal(kOther, 2.0);
    if (type != 'i')  // floats with fractions, to see them survive
        for (auto* v : {&l.a1, &l.a2, &l.b})
            for (double& x : *v)
                x += 0.375;
    auto a = mseed_pack("XX", "STA", "", "BHZ", kStart, kRate, l.a1, type, encoding, reclen, byteorder);
    auto a2 = mseed_pack("XX", "STA", "", "BHZ", kStart + (kPart1 + kGap) / kRate, kRate, l.a2, type, encoding, reclen,
                         byteorder);
    auto b = mseed_pack("XX", "STA", "00", "BHN", kStart, kRate, l.b, type, encoding, reclen, byteorder);
    EXPECT_FALSE(a.empty() || a2.empty() || b.empty());
    a.insert(a.end(), a2.begin(), a2.end());
    // BHZ's first record first, then BHN's
    l.foff_a = 0;
    l.foff_b = a.empty() ? 0 : static_cast<long>(a[0].size());
    for (size_t i = 0; i < std::max(a.size(), b.size()); i++)
        l.bytes += (i < a.size() ? a[i] : "") + (i < b.size() ? b[i] : "");
    return l;
}

std::vector<float> floats(const std::vector<double>& v)
{
    return std::vector<float>(v.begin(), v.end());
}

struct Encoding { const char* name; int encoding; char type; int reclen; int byteorder; };

const Encoding kEncodings[] = {
    {"steim1 512 big", DE_STEIM1, 'i', 512, 1},    {"steim1 256 little", DE_STEIM1, 'i', 256, 0},
    {"steim2 4096 big", DE_STEIM2, 'i', 4096, 1},  {"steim2 512 little", DE_STEIM2, 'i', 512, 0},
    {"int16 256 big", DE_INT16, 'i', 256, 1},      {"int32 1024 little", DE_INT32, 'i', 1024, 0},
    {"float32 512 big", DE_FLOAT32, 'f', 512, 1},  {"float64 8192 little", DE_FLOAT64, 'd', 8192, 0},
};

using MseedTest = WaveDbTest;

TEST_F(MseedTest, EveryEncodingReadsBackExactly)
{
    for (const Encoding& e : kEncodings) {
        SCOPED_TRACE(e.name);
        const Layout l = interleaved(e.encoding, e.type, e.reclen, e.byteorder);
        write("x.mseed", l.bytes);

        // BHZ across its gap: the gap holds the marker
        row("sd", "x.mseed", l.foff_a, kPart1 + kGap + kPart2, kStart, kRate);
        Loaded z = load();
        ASSERT_EQ(z.rc, kPart1 + kGap + kPart2) << z.message;
        EXPECT_EQ(std::vector<float>(z.samples.begin(), z.samples.begin() + kPart1), floats(l.a1));
        EXPECT_EQ(std::count(z.samples.begin(), z.samples.end(), WF_GAP_VALUE), kGap);
        EXPECT_EQ(z.samples[kPart1 + kGap - 1], WF_GAP_VALUE);
        EXPECT_EQ(std::vector<float>(z.samples.end() - kPart2, z.samples.end()), floats(l.a2));

        // a window over the gap's edges
        Loaded w = load(kStart + (kPart1 - 10) / kRate, kStart + (kPart1 + kGap + 10) / kRate);
        ASSERT_EQ(w.rc, 10 + kGap + 10) << w.message;
        EXPECT_EQ((std::vector{w.samples.front(), w.samples[10], w.samples.back()}),
                  (std::vector{float(l.a1[kPart1 - 10]), WF_GAP_VALUE, float(l.a2[9])}));

        // BHN, whose records alternate with those of BHZ
        row("sd", "x.mseed", l.foff_b, kOther, kStart, kRate);
        Loaded n = load();
        ASSERT_EQ(n.rc, kOther) << n.message;
        EXPECT_EQ(n.samples, floats(l.b));
    }
}

TEST_F(MseedTest, OverlapKeepsTheFirstRecordAndCorruptRecordsAreNamed)
{
    Layout l = interleaved(DE_STEIM2, 'i', 512, 1);
    std::vector<double> other(200, 7777.0);
    const auto overlap = mseed_pack("XX", "STA", "", "BHZ", kStart + 100 / kRate, kRate, other, 'i', DE_STEIM2, 512, 1);
    // the overlapping record right after the first BHZ record, whose samples it repeats
    ASSERT_EQ(l.foff_a, 0);
    write("o.mseed", l.bytes.substr(0, 512) + overlap[0] + l.bytes.substr(512));
    row("sd", "o.mseed", l.foff_a, kPart1, kStart, kRate);
    Loaded z = load();
    ASSERT_EQ(z.rc, kPart1) << z.message;
    EXPECT_EQ(z.samples, floats(l.a1));

    // the second BHZ record damaged: its header no longer reads
    std::string bad = l.bytes;
    const size_t second = static_cast<size_t>(l.foff_b) + 512;
    ASSERT_EQ(bad.substr(second + 15, 3), "BHZ");
    bad.replace(second + 6, 2, "!!");  // quality indicator and reserved byte
    write("bad.mseed", bad);
    row("sd", "bad.mseed", l.foff_a, kPart1, kStart, kRate);
    Loaded c = load();
    EXPECT_EQ(c.rc, WFLOAD_ERR_CORRUPT);
    EXPECT_NE(c.message.find("byte " + std::to_string(second)), std::string::npos) << c.message;
    EXPECT_NE(c.message.find("bad.mseed"), std::string::npos) << c.message;

    // cut off in its first record
    write("cut.mseed", l.bytes.substr(0, 300));
    row("sd", "cut.mseed", 0, kPart1, kStart, kRate);
    EXPECT_EQ(load().rc, WFLOAD_ERR_CORRUPT);
}

TEST_F(MseedTest, GzipCopyOfRecordsReads)
{
    const Layout l = interleaved(DE_STEIM1, 'i', 512, 1);
    gzFile out = gzopen((dir_ + "/x.mseed.gz").c_str(), "wb");
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(gzwrite(out, l.bytes.data(), static_cast<unsigned>(l.bytes.size())), static_cast<int>(l.bytes.size()));
    gzclose(out);
    row("sd", "x.mseed", l.foff_b, kOther, kStart, kRate);
    Loaded n = load(kStart + 10.0, kStart + 20.0);
    ASSERT_EQ(n.rc, 400) << n.message;
    EXPECT_EQ(n.samples, std::vector<float>(l.b.begin() + 400, l.b.begin() + 800));
    row("sd", "x.mseed", static_cast<long>(l.bytes.size()) + 10, kOther, kStart, kRate);
    EXPECT_EQ(load().rc, WFLOAD_ERR_RANGE);
}

#ifdef VXMSEED2DB_PATH
ProgramRun vxmseed2db(const QStringList& args)
{
    return runProgram(VXMSEED2DB_PATH, args);
}

TEST_F(MseedTest, IndexedRowsLoadTheSameSamples)
{
    const Layout l = interleaved(DE_STEIM2, 'i', 512, 0);
    write("archive/XX/STA/day1.mseed", l.bytes);
    write("archive/XX/STA/notes.txt", std::string(300, 'x'));
    const QString db = QString::fromStdString(dir_ + "/idx");
    const QString archive = QString::fromStdString(dir_ + "/archive");

    EXPECT_EQ(vxmseed2db({"--help"}).status, 0);
    EXPECT_EQ(vxmseed2db({db}).status, 2);
    ProgramRun first = vxmseed2db({db, archive});
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_NE(first.err.find("notes.txt"), std::string::npos) << first.err;
    ProgramRun again = vxmseed2db({db, archive});
    ASSERT_EQ(again.status, 0) << again.err;
    EXPECT_NE(again.out.find("0 rows added, 0 updated, 3 present"), std::string::npos) << again.out;

    Rsptr idx = rsopen(db.toStdString().c_str(), "css3.0", RS_READ);
    ASSERT_FALSE(rsisinvalid(idx));
    Rsptr wf = rslookup(idx, nullptr, "wfdisc", nullptr, nullptr);
    const long rows = rsfixture::recordCount(idx, "wfdisc");
    ASSERT_EQ(rows, 3);  // BHN_00 whole, BHZ before and after its gap
    struct Expected { const char* chan; long foff, nsamp; double time; const std::vector<double>* samples; };
    const long foff_a2 = static_cast<long>(l.bytes.find(
        mseed_pack("XX", "STA", "", "BHZ", kStart + (kPart1 + kGap) / kRate, kRate, l.a2, 'i', DE_STEIM2, 512, 0)[0]));
    const Expected expected[] = {
        {"BHN_00", l.foff_b, kOther, kStart, &l.b},
        {"BHZ", l.foff_a, kPart1, kStart, &l.a1},
        {"BHZ", foff_a2, kPart2, kStart + (kPart1 + kGap) / kRate, &l.a2},
    };
    for (wf.record = 0; wf.record < rows; wf.record++) {
        const Expected& e = expected[wf.record];
        SCOPED_TRACE(wf.record);
        char sta[RS_STRSZ], chan[RS_STRSZ], datatype[RS_STRSZ], dir[RS_STRSZ];
        long foff = 0, nsamp = 0;
        double time = 0, samprate = 0, endtime = 0;
        ASSERT_EQ(rsgetv(wf, nullptr, "sta", sta, "chan", chan, "datatype", datatype, "dir", dir, "foff", &foff,
                         "nsamp", &nsamp, "time", &time, "samprate", &samprate, "endtime", &endtime, nullptr),
                  0);
        EXPECT_EQ(std::string(sta) + " " + chan + " " + datatype + " " + dir,
                  std::string("STA ") + e.chan + " sd archive/XX/STA");
        EXPECT_EQ((std::vector{foff, nsamp}), (std::vector{e.foff, e.nsamp}));
        EXPECT_NEAR(time, e.time, 1e-5);
        EXPECT_NEAR(endtime, e.time + (e.nsamp - 1) / kRate, 1e-5);
        EXPECT_EQ(samprate, kRate);
        ASSERT_EQ(rsload_scratch(wf), 0);
        Loaded s = load(idx);
        ASSERT_EQ(s.rc, e.nsamp) << s.message;
        EXPECT_EQ(s.samples, floats(*e.samples));
    }
    // two channels; the counters of wfid and chanid
    EXPECT_EQ((std::vector{rsfixture::recordCount(idx, "sitechan"), rsfixture::recordCount(idx, "lastid")}),
              (std::vector{2L, 2L}));
    rsclose(idx);
}
#endif

}  // namespace
