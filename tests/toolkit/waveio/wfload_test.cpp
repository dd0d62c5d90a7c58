// Samples of CSS 3.0 waveform files through wfload_scratch(): every format,
// windows, the gzip fallback, ObsPy's test files, and bad input.
#include "wftest.h"

#include "toolkit/store/recordstore_fixture.h"

#include <QtEndian>

#include <zlib.h>

#include <cstdint>


namespace {

std::string be32(int32_t v)
{
    const uint32_t u = static_cast<uint32_t>(v);
    return {char(u >> 24), char(u >> 16), char(u >> 8), char(u)};
}

// The s4 samples 0, 1, ..., n - 1.
std::string counting(int n)
{
    std::string bytes;
    for (int i = 0; i < n; i++)
        bytes += be32(i);
    return bytes;
}

std::string gzip(const std::string& bytes)
{
    // deflate with a gzip wrapper, as gzip(1) writes it
    z_stream z{};
    EXPECT_EQ(deflateInit2(&z, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string out(deflateBound(&z, bytes.size()) + 32, '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    z.avail_in = static_cast<uInt>(bytes.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

using WfloadTest = WaveDbTest;

TEST_F(WfloadTest, EveryFormatDecodes)
{
    struct Case { const char* code; std::string bytes; std::vector<float> expected; };
    const float pi_f = 3.14159274f;
    const double e = -2.718281828;
    // the bytes of an IEEE value as it lies in memory
    const auto raw = [](auto v) { return std::string(reinterpret_cast<const char*>(&v), sizeof v); };
    const std::string t4 = raw(qToBigEndian(pi_f)), f4 = raw(qToLittleEndian(pi_f)), t8 = raw(qToBigEndian(e)),
                      f8 = raw(qToLittleEndian(e));
    // nine integers, past a vector of four twice, some not floats exactly
    const int32_t ints[] = {-123456789, 7, INT32_MIN, INT32_MAX, 16777217, -16777219, 0, -1, 123};
    std::string s4, i4;
    std::vector<float> floats;
    for (int32_t v : ints) {
        s4 += be32(v);
        i4 += raw(qToLittleEndian(v));
        floats.push_back(static_cast<float>(v));
    }
    const Case cases[] = {
        {"s4", s4, floats}, {"i4", i4, floats},
        {"s2", std::string("\xff\xfe\x01\x00", 4), {-2.0f, 256.0f}},
        {"s3", std::string("\xff\xff\xfd\x7f\xff\xff", 6), {-3.0f, 8388607.0f}},
        {"i4", std::string("\xfe\xff\xff\xff\x00\x01\x00\x00", 8), {-2.0f, 256.0f}},
        {"i2", std::string("\xfe\xff\x00\x01", 4), {-2.0f, 256.0f}},
        {"t4", t4, {pi_f}}, {"f4", f4, {pi_f}}, {"t8", t8, {float(e)}}, {"f8", f8, {float(e)}},
        // gain code in the top two bits: mantissa 8191 is zero; gains 1, 4, 16, 128
        {"g2", std::string("\x1f\xff\x60\x00\xa0\x00\xdf\xfe", 8), {0.0f, 4.0f, 16.0f, -128.0f}},
        {"a0", "          1.5e3          -2.25", {1500.0f, -2.25f}},
        {"b#", "                 0.03125\n  -123456.7890123456789", {0.03125f, -123456.7890123456789f}},
        {"c0", "         -42        1000", {-42.0f, 1000.0f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.code);
        // two junk bytes before the samples: foff is honoured
        write("w.bin", "xx" + c.bytes);
        row(c.code, "w.bin", 2, static_cast<long>(c.expected.size()));
        Loaded l = load();
        ASSERT_EQ(l.rc, static_cast<int>(c.expected.size())) << l.message;
        EXPECT_EQ(l.samples, c.expected);
        EXPECT_EQ(l.ts, 1000.0);
        EXPECT_DOUBLE_EQ(l.te, 1000.0 + 0.1 * double(c.expected.size() - 1));
    }
}

TEST_F(WfloadTest, WindowsTakeSamplesInsideOnly)
{
    write("w.s4", counting(100));
    row("s4", "w.s4", 0, 100);  // 10 samples a second from 1000.0
    struct Case { const char* name; double t0, t1; long first, count; };
    const Case cases[] = {
        {"inside", 1002.0, 1003.0, 20, 10}, {"edges rounded", 1002.0 - 1e-6, 1003.0 - 1e-6, 20, 10},
        {"last sample with a tenth more", 1009.0, 1009.9 + 0.01, 90, 10}, {"before the start", 900.0, 1000.25, 0, 3},
        {"past the end", 1009.55, 1100.0, 96, 4}, {"whole row", 0.0, 0.0, 0, 100}, {"empty", 1003.01, 1003.09, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Loaded l = load(c.t0, c.t1);
        ASSERT_EQ(l.rc, c.count) << l.message;
        EXPECT_EQ(l.nsamp, c.count);
        if (c.count == 0) {
            EXPECT_EQ(l.ts, c.t0);
            continue;
        }
        EXPECT_EQ(l.samples.front(), float(c.first));
        EXPECT_EQ(l.samples.back(), float(c.first + c.count - 1));
        EXPECT_DOUBLE_EQ(l.ts, 1000.0 + 0.1 * double(c.first));
        EXPECT_DOUBLE_EQ(l.te, 1000.0 + 0.1 * double(c.first + c.count - 1));
    }
}

TEST_F(WfloadTest, GzipCopyStandsInForAMissingFileAndDirIsFromTheTable)
{
    std::string bytes;
    for (int i = 0; i < 5000; i++)
        bytes += be32(i * 3 - 7000);
    write("wf/sub/w.s4.gz", gzip(bytes));
    row("s4", "w.s4", 4 * 1000, 2000, 1000.0, 10.0, "wf/sub");
    Loaded l = load(1100.0, 1150.0);  // samples 1000..1499 of the row: 2000..2499 of the file
    ASSERT_EQ(l.rc, 500) << l.message;
    EXPECT_EQ(l.samples.front(), float(2000 * 3 - 7000));
    EXPECT_EQ(l.samples.back(), float(2499 * 3 - 7000));
}

TEST_F(WfloadTest, BadInputIsNamedAndLeavesOutputsAlone)
{
    write("w.s4", counting(100));
    std::string noise;
    for (uint32_t x = 1; noise.size() < 4000;) {
        x = x * 1103515245u + 12345u;
        noise += char(x >> 16);
    }
    const std::string cut = gzip(noise);
    write("cut.s4.gz", cut.substr(0, cut.size() / 2));
    write("text.a0", "            1.0   not a number");
    write("w.sd", std::string(512, 'Q'));
    // words: in the message
    struct Case {
        const char* name; const char* datatype; const char* dfile; long foff, nsamp; double samprate; int code;
        std::vector<std::string> words;
    };
    const Case cases[] = {
        {"nsamp overruns", "s4", "w.s4", 0, 101, 10.0, WFLOAD_ERR_RANGE, {"field nsamp 101", "w.s4", "STA BHZ"}},
        {"foff past the end", "s4", "w.s4", 401, 0, 10.0, WFLOAD_ERR_RANGE, {"field foff 401", "past the end"}},
        {"wrong datatype", "zz", "w.s4", 0, 10, 10.0, WFLOAD_ERR_DATATYPE, {"field datatype 'zz'"}},
        {"missing file", "s4", "nothere.w", 0, 10, 10.0, WFLOAD_ERR_FILE, {"field dfile", "nothere.w"}},
        {"bad samprate", "s4", "w.s4", 0, 10, -1.0, WFLOAD_ERR_ROW, {"field samprate"}},
        {"gzip ends early", "s4", "cut.s4", 0, 1000, 10.0, WFLOAD_ERR_CORRUPT, {"cut.s4.gz", "ends early"}},
        {"text that is no number", "a0", "text.a0", 0, 2, 10.0, WFLOAD_ERR_CORRUPT, {"sample 1", "text.a0"}},
        {"not miniSEED", "sd", "w.sd", 0, 10, 10.0, WFLOAD_ERR_CORRUPT, {"field foff 0", "miniSEED", "w.sd"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        row(c.datatype, c.dfile, c.foff, c.nsamp, 1000.0, c.samprate);
        float sentinel = 1.0f;
        float* data = &sentinel;
        double ts = 7.0, te = 8.0;
        long n = 9;
        EXPECT_EQ(wfload_scratch(db_, 0, &data, nullptr, &ts, &te, 0.0, 0.0, &n), c.code);
        const std::string message = hl_errlog_string(0);
        hl_clear_register(0);
        for (const std::string& w : c.words)
            EXPECT_NE(message.find(w), std::string::npos) << message;
        EXPECT_EQ(data, &sentinel);
        EXPECT_EQ((std::vector{ts, te, double(n)}), (std::vector{7.0, 8.0, 9.0}));
    }
    // the reason and the last failure's line reach the log after the register is cleared
    static std::string logged;
    logged.clear();
    errlog_set(HL_ERRLOG_CALLBACK, 0, reinterpret_cast<void*>(+[](const char* line) { logged += line; }));
    wfload_error(WFLOAD_ERR_CORRUPT, 0);
    errlog_set(HL_ERRLOG_CALLBACK, 0, nullptr);
    EXPECT_NE(logged.find("corrupt samples"), std::string::npos) << logged;
    EXPECT_NE(logged.find("w.sd"), std::string::npos) << logged;
}

// ObsPy's CSS test files: big- and little-endian, plain and gzip, against
// the reference values (Z, then E, then N of one station).
TEST(WfloadObspy, EverySampleEqualsTheAsciiReference)
{
    const std::string dir = std::string(VX_SHARED_DATA_DIR) + "/css/obspy-testdata";
    if (!std::filesystem::exists(dir + "/test_css.wfdisc"))
        GTEST_SKIP() << "no ObsPy test data at " << dir;
    std::vector<float> reference;
    gzFile in = gzopen((dir + "/201101311155.10.ascii.gz").c_str(), "rb");
    ASSERT_NE(in, nullptr);
    char line[64];
    while (gzgets(in, line, sizeof line))
        reference.push_back(float(atof(line)));
    gzclose(in);
    ASSERT_EQ(reference.size(), 3u * 4800u);

    for (const char* base : {"test_css", "test_css_2"}) {
        SCOPED_TRACE(base);
        Rsptr db = rsopen((dir + "/" + base).c_str(), "css3.0", RS_READ);
        ASSERT_FALSE(rsisinvalid(db));
        Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, nullptr);
        const long rows = rsfixture::recordCount(db, "wfdisc");
        ASSERT_EQ(rows, 6);
        for (wf.record = 0; wf.record < rows; wf.record++) {
            ASSERT_EQ(rsload_scratch(wf), 0);
            const long channel = wf.record % 3;  // Z, E, N in the file and the reference
            const Loaded l = WaveDbTest::load(db);
            ASSERT_EQ(l.rc, 4800) << l.message;
            EXPECT_TRUE(std::equal(l.samples.begin(), l.samples.end(), reference.begin() + channel * 4800))
                << "row " << wf.record;
            // a window of ten seconds from the middle
            const Loaded w = WaveDbTest::load(db, 1296474900.0 + 20.0, 1296474900.0 + 30.0);
            ASSERT_EQ(w.rc, 800) << w.message;
            EXPECT_TRUE(std::equal(w.samples.begin(), w.samples.end(), reference.begin() + channel * 4800 + 1600));
        }
        rsclose(db);
    }
    // rows naming files that do not exist fail with the file named
    Rsptr db = rsopen((dir + "/test_css_3").c_str(), "css3.0", RS_READ);
    Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, "3");
    ASSERT_EQ(rsload_scratch(wf), 0);
    const Loaded l = WaveDbTest::load(db);
    EXPECT_EQ(l.rc, WFLOAD_ERR_FILE);
    EXPECT_NE(l.message.find("missing11155_2.le.w"), std::string::npos) << l.message;
    rsclose(db);
}

}  // namespace
