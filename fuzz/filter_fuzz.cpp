// libFuzzer target for the filter language: the input is a filter text; a
// text that parses is run over a short stream, in one call and packet by
// packet through a hook, at two sample intervals.
#include "toolkit/base/errors.h"
#include "toolkit/signal/wffilter.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t max_input = 4096;
constexpr int nsamp = 64;

void run(const char* text, double dt, Hook** hook)
{
    float* data = static_cast<float*>(malloc(nsamp * sizeof(float)));
    for (int i = 0; i < nsamp; i++)
        data[i] = i == 20 ? 2.12345e30f : static_cast<float>(100.0 * std::sin(0.3 * i) + i);
    int n = nsamp, size = nsamp;
    double t = 0.0, d = dt;
    if (wffilter_pkt2(&t, &n, &d, &data, &size, text, hook) == 0 && (n != nsamp || d != dt))
        abort();  // these filters keep the length and the interval
    free(data);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        size = max_input;
    std::string text(reinterpret_cast<const char*>(data), size);
    const char* s = text.c_str();  // an embedded NUL ends the text early

    const int stages = wffilter_parse(nullptr, s);
    Hook* hook = nullptr;
    if (wffilter_parse(&hook, s) != stages)
        abort();
    if ((stages < 0) != (hook == nullptr))
        abort();
    for (double dt : {0.01, 1.0}) {
        run(s, dt, nullptr);
        run(s, dt, &hook);
        run(s, dt, &hook);
    }
    release_hook(&hook);
    hl_clear_register(0);
    return 0;
}
