// The sample cache's index and gap runs made piece by piece while a load
// decodes equal those made from the whole array afterwards, and the loader
// hands on every piece of what it returns, in order.
#include "toolkit/waveio/wftest.h"
#include "waveform/pixelator_support.h"

#include "waveform/samplecache_p.h"

#include <gtest/gtest.h>

#include <QtEndian>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

bool same_floats(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

TEST(SamplePieces, IndexAndRunsEqualThoseOfTheWhole)
{
    constexpr long piece = VxSampleIndex::piece_samples;
    struct Case
    {
        const char* name;
        long n;
        std::initializer_list<std::pair<long, long>> gaps;
    } cases[] = {
        {"one sample", 1, {}},
        {"less than a block", 7, {}},
        {"one piece exactly", piece, {}},
        {"one sample past a piece", piece + 1, {}},
        {"three pieces and a tail", 3 * piece + 1000, {}},
        {"gap across a piece edge", 3 * piece + 5, {{piece - 3, piece + 40}}},
        {"gap ending at a piece edge", 2 * piece + 9, {{piece - 100, piece}}},
        {"gap starting at a piece edge", 2 * piece + 9, {{piece, piece + 1}}},
        {"gaps at both ends", 2 * piece + 77, {{0, 5}, {2 * piece + 70, 2 * piece + 77}}},
        {"a whole piece of gap", 3 * piece, {{piece, 2 * piece}}},
        {"only gap", piece + 3, {{0, piece + 3}}},
    };
    unsigned seed = 1;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::vector<float> v = awkward(c.n, seed++, c.gaps);
        VxSampleIndex whole;
        ASSERT_EQ(whole.build(v.data(), c.n), 0);
        VxSampleIndex pieces;
        VxGapRuns runs;
        ASSERT_EQ(pieces.begin(c.n), 0);
        for (long first = 0; first < c.n; first += piece) {
            const long count = std::min(piece, c.n - first);
            // the runs step over a piece that the index saw no marker in
            const bool has_gap = pieces.addPiece(v.data() + first, first, count);
            runs.addPiece(v.data() + first, first, count, has_gap);
        }
        pieces.finish(v.data());
        runs.finish(c.n);
        for (int level = 0; level < VxSampleIndex::levels; level++) {
            EXPECT_TRUE(same_floats(whole.mins[level], pieces.mins[level])) << "level " << level;
            EXPECT_TRUE(same_floats(whole.maxs[level], pieces.maxs[level])) << "level " << level;
        }
        EXPECT_EQ(runs.runs, plain_runs(v));
    }
}

// What the loader handed on, piece by piece.
struct Handed
{
    std::vector<float> samples;
    std::vector<long> firsts;
    long total = -1;
    bool in_order = true;

    static void sink(const float* s, long first, long count, long total, void* context)
    {
        auto* self = static_cast<Handed*>(context);
        self->in_order = self->in_order && first == static_cast<long>(self->samples.size());
        self->firsts.push_back(first);
        self->total = total;
        self->samples.insert(self->samples.end(), s, s + count);
    }
};

class LoaderPieces : public WaveDbTest
{
};

TEST_F(LoaderPieces, EveryPieceOfWhatIsReturnedInOrder)
{
    // 100000 s4 samples at 10 Hz from t = 1000; windows inside and across
    // piece edges, binary and text formats
    constexpr long n = 100000;
    std::string s4(n * 4, '\0');
    std::string a0;
    for (long i = 0; i < n; i++) {
        qToBigEndian<qint32>(static_cast<qint32>((i * 7919) % 20011 - 10000), s4.data() + 4 * i);
        if (i < 40000) {
            char field[16];
            snprintf(field, sizeof field, "%15ld", (i * 31) % 977);
            a0 += field;
        }
    }
    write("w.s4", s4);
    write("w.a0", a0);
    struct Case
    {
        const char* name;
        const char* datatype;
        const char* dfile;
        long nsamp;
        double t0, t1;
    } cases[] = {
        {"binary, the whole row", "s4", "w.s4", n, 0.0, 0.0},
        {"binary, a window across piece edges", "s4", "w.s4", n, 1000.0 + 3000.0, 1000.0 + 9000.5},
        {"binary, less than a piece", "s4", "w.s4", n, 1100.0, 1200.0},
        {"text, the whole row", "a0", "w.a0", 40000, 0.0, 0.0},
    };
    // every other load writes into an array it is given, smaller or larger
    size_t reuse = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        row(c.datatype, c.dfile, 0, c.nsamp);
        const Loaded plain = load(c.t0, c.t1);
        ASSERT_GT(plain.rc, 0) << plain.message;
        Handed handed;
        reuse = reuse == 0 ? 3 * n : reuse == 3 * n ? 5 : 0;
        float* data = reuse ? static_cast<float*>(calloc(reuse, sizeof(float))) : nullptr;
        double ts = 0.0, te = 0.0;
        long got = 0;
        const int rc = wfload_scratch_pieces(db_, 0, &data, nullptr, &ts, &te, c.t0, c.t1, &got, &Handed::sink,
                                             &handed);
        ASSERT_EQ(rc, plain.rc) << hl_errlog_string(0);
        EXPECT_EQ(ts, plain.ts);
        EXPECT_EQ(te, plain.te);
        ASSERT_EQ(got, plain.nsamp);
        EXPECT_TRUE(handed.in_order);
        EXPECT_EQ(handed.total, got);
        for (long first : handed.firsts)
            EXPECT_EQ(first % WFLOAD_PIECE_SAMPLES, 0) << first;
        EXPECT_TRUE(same_floats(handed.samples, plain.samples));
        EXPECT_TRUE(same_floats(std::vector<float>(data, data + got), plain.samples));
        free(data);
    }
}

TEST_F(LoaderPieces, AFailedLoadReturnsNothing)
{
    // a text sample that is not a number: pieces may have gone, the
    // samples do not come back
    write("bad.a0", std::string(15 * 10, ' ').replace(15 * 4, 3, "abc"));
    row("a0", "bad.a0", 0, 10);
    Handed handed;
    float* data = static_cast<float*>(malloc(64 * sizeof(float)));  // freed by the load
    double ts = -1.0, te = -1.0;
    long got = -1;
    EXPECT_EQ(wfload_scratch_pieces(db_, 0, &data, nullptr, &ts, &te, 0.0, 0.0, &got, &Handed::sink, &handed),
              WFLOAD_ERR_CORRUPT);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(got, -1);
    hl_clear_register(0);
}

} // namespace
