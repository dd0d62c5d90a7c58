// Loads on several threads at once, each with its own database handle, as
// trace views on different threads would: the samples must not mix.
#include "mseedmake.h"

#include "toolkit/store/recordstore.h"
#include "toolkit/toolkit_support.h"
#include "toolkit/waveio/wfload.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(WfloadThreads, ConcurrentMseedLoadsGiveTheirOwnSamples)
{
    const Folder folder;
    const std::string& dir = folder.path();
    constexpr int kThreads = 4;
    constexpr long kSamples = 20000;
    std::vector<std::vector<double>> signals;
    for (int t = 0; t < kThreads; t++) {
        signals.push_back(mseed_signal(kSamples, t));
        std::string bytes;
        for (const auto& r : mseed_pack("XX", "STA", "", "BHZ", 1e9, 50.0, signals.back(), 'i',
                                        t % 2 ? DE_STEIM1 : DE_STEIM2, 512, t % 2))
            bytes += r;
        std::ofstream(dir + "/" + std::to_string(t) + ".mseed", std::ios::binary) << bytes;
    }
    std::vector<int> good(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            Rsptr db = rsopen((dir + "/db" + std::to_string(t)).c_str(), "css3.0", RS_MEMORY);
            Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, "rsSCRATCH");
            const std::string dfile = std::to_string(t) + ".mseed";
            rsputv(wf, nullptr, "time", 1e9, "nsamp", kSamples, "samprate", 50.0, "datatype", "sd", "dir",
                   dir.c_str(), "dfile", dfile.c_str(), "foff", 0L, nullptr);
            const std::vector<float> expected(signals[t].begin(), signals[t].end());
            for (int i = 0; i < 20; i++) {
                float* data = nullptr;
                double ts = 0, te = 0;
                long n = 0;
                if (wfload_scratch(db, 0, &data, nullptr, &ts, &te, 0.0, 0.0, &n) == kSamples &&
                    std::equal(expected.begin(), expected.end(), data))
                    good[t]++;
                free(data);
            }
            hl_clear_register(0);
            rsclose(db);
        });
    }
    for (auto& th : threads)
        th.join();
    for (int t = 0; t < kThreads; t++)
        EXPECT_EQ(good[t], 20) << "thread " << t;
}

}  // namespace
