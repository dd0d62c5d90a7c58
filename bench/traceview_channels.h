// Generated channels for the trace view benchmarks: an hour at 100 Hz per
// channel, a sine whose frequency grows with the channel plus noise, each
// read from memory by a trace of its own ("S000 BHZ", "S001 BHZ", ...).
#pragma once

#include "waveform/pixelator_support.h"

#include "waveform/trace.h"
#include "waveform/traceview.h"

#include <cmath>
#include <memory>
#include <vector>

inline void bench_add_generated_channels(VXTraceview* tv, std::vector<std::unique_ptr<MemoryReader>>& readers,
                                         const QString& key_prefix, int nchannels, int nsamples)
{
    unsigned seed = 7;
    for (int c = 0; c < nchannels; c++) {
        std::vector<float> s(nsamples);
        for (int i = 0; i < nsamples; i++) {
            seed = seed * 1103515245u + 12345u;
            s[i] = static_cast<float>(500.0 * std::sin(i * (0.01 + 0.0003 * c)) + ((seed >> 16) % 200) - 100.0);
        }
        readers.push_back(std::make_unique<MemoryReader>());
        readers.back()->addRow(0.0, 100.0, std::move(s));
        readers.back()->rows.last().rec.key = key_prefix + QString::number(c);
        const int index = tv->appendNewTrace(QStringLiteral("S%1 BHZ").arg(c, 3, 10, QLatin1Char('0')));
        tv->getTrace(index)->setReader(readers.back().get(), 0, -1);
    }
}
