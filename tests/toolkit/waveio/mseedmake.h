// miniSEED made with libmseed's own packer, for the waveform tests and
// benchmarks.
#pragma once

#include <libmseed.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// One packed record.
using MseedRecord = std::string;

// Pack samples of one channel into records.  sampletype 'i' (int32), 'f'
// (float) or 'd' (double) must suit the encoding; byteorder 1 big-endian,
// 0 little-endian.  Empty on failure.
inline std::vector<MseedRecord> mseed_pack(const char* net, const char* sta, const char* loc, const char* chan,
                                           double time, double samprate, const std::vector<double>& values,
                                           char sampletype, int encoding, int reclen, int byteorder)
{
    std::vector<MseedRecord> records;
    MSTrace* mst = mst_init(nullptr);
    strcpy(mst->network, net);
    strcpy(mst->station, sta);
    strcpy(mst->location, loc);
    strcpy(mst->channel, chan);
    mst->starttime = static_cast<hptime_t>(std::llround(time * HPTMODULUS));
    mst->samprate = samprate;
    mst->sampletype = sampletype;
    const size_t n = values.size();
    const size_t size = sampletype == 'd' ? 8 : 4;
    mst->datasamples = malloc(n * size + 1);
    for (size_t i = 0; i < n; i++) {
        if (sampletype == 'i')
            static_cast<int32_t*>(mst->datasamples)[i] = static_cast<int32_t>(values[i]);
        else if (sampletype == 'f')
            static_cast<float*>(mst->datasamples)[i] = static_cast<float>(values[i]);
        else
            static_cast<double*>(mst->datasamples)[i] = values[i];
    }
    mst->numsamples = static_cast<int64_t>(n);
    mst->samplecnt = static_cast<int64_t>(n);
    int64_t packed = 0;
    auto handler = [](char* record, int length, void* out) {
        static_cast<std::vector<MseedRecord>*>(out)->emplace_back(record, static_cast<size_t>(length));
    };
    if (mst_pack(mst, handler, &records, reclen, static_cast<flag>(encoding), static_cast<flag>(byteorder), &packed,
                 1, 0, nullptr) < 0 ||
        packed != static_cast<int64_t>(n))
        records.clear();
    mst_free(&mst);
    return records;
}

// Samples of a smooth signal with a little roughness, within 16 bits.
inline std::vector<double> mseed_signal(size_t n, double phase)
{
    std::vector<double> v(n);
    for (size_t i = 0; i < n; i++)
        v[i] = std::round(20000.0 * std::sin(0.013 * static_cast<double>(i) + phase) +
                          static_cast<double>((i * 7919) % 61) - 30.0);
    return v;
}
