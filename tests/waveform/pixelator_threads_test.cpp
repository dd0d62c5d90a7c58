// Pixelators on several threads: a real-time feed under tide_mutex while
// the columns are read, and traces re-read at once through the shared read
// mutex and sample cache.
#include "waveform/pixelator_support.h"

#include "waveform/samplecache_p.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>
#include <vector>

namespace {

TEST(PixelatorThreads, FeedWhileReadingColumns)
{
    TestPixelator px;
    px.setPixels(0.0, 0.1, 2000, 1, 0.0);
    VxPixelatorSource* source = px.feed();
    std::vector<float> packet(50);
    std::iota(packet.begin(), packet.end(), 0.0f);
    constexpr int packets = 300;  // 150 s at 100 Hz
    std::thread feeder([&] {
        for (int k = 0; k < packets; k++) {
            pthread_mutex_lock(&px.tide_mutex);
            px.addSegment(source, k * 0.5, 50, 0.01, 1.0, "V", packet.data(), 1);
            px.setStats();
            pthread_mutex_unlock(&px.tide_mutex);
        }
    });
    long seen = 0;
    for (int k = 0; k < 200; k++) {
        pthread_mutex_lock(&px.tide_mutex);
        for (long j = 0; j < source->segments.max(); j++)
            seen += source->segments.get(j).pixels.size();
        pthread_mutex_unlock(&px.tide_mutex);
    }
    feeder.join();
    EXPECT_GE(seen, 0);
    ASSERT_EQ(source->segments.max(), 1);  // every packet continued the one before
    EXPECT_EQ(px.nsamp_total, packets * 50);
    EXPECT_EQ(source->segments.get(0).pixels.size(), 1500);
}

TEST(PixelatorThreads, ReadsThroughTheSharedCache)
{
    VxSampleCache::instance().clear();
    MemoryReader reader;
    std::vector<float> samples(200000);
    for (size_t i = 0; i < samples.size(); i++)
        samples[i] = static_cast<float>((i * 7919) % 1000);
    reader.addRow(0.0, 100.0, samples);
    constexpr int traces = 4;
    std::vector<std::unique_ptr<VXPixelator>> px;
    for (int t = 0; t < traces; t++) {
        px.push_back(std::make_unique<VXPixelator>());
        px.back()->setReader(&reader, 0, -1);
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < traces; t++)
        threads.emplace_back([&, t] {
            for (int k = 0; k < 20; k++)
                px[static_cast<size_t>(t)]->setPixels(100.0 + 10.0 * k, 0.5, 500, 1, 0.0);
        });
    for (std::thread& th : threads)
        th.join();
    // all ended on the same grid: the same columns
    for (int t = 1; t < traces; t++) {
        const VxPixelatorSegment& a = px[0]->sources[0]->segments.get(0);
        const VxPixelatorSegment& b = px[static_cast<size_t>(t)]->sources[0]->segments.get(0);
        ASSERT_EQ(a.pixels.size(), b.pixels.size());
        for (qsizetype c = 0; c < a.pixels.size(); c++) {
            EXPECT_EQ(a.pixels[c].npoints, b.pixels[c].npoints);
            EXPECT_EQ(a.pixels[c].max, b.pixels[c].max);
        }
    }
    EXPECT_LT(reader.loads, traces * 20);
}

} // namespace
