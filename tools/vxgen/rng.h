// The generator's random numbers: splitmix64, so that a seed gives the same
// numbers with every compiler and standard library.
#pragma once

#include <cmath>
#include <cstdint>

class VxgenRandom
{
public:
    explicit VxgenRandom(uint64_t seed) : state_(seed) {}

    // A stream of its own for a part of the output, independent of how many
    // numbers other parts draw: mix(seed, what, which).
    static uint64_t mix(uint64_t seed, uint64_t a, uint64_t b = 0)
    {
        VxgenRandom r(seed ^ (a * 0x9E3779B97F4A7C15ull) ^ (b * 0xC2B2AE3D27D4EB4Full));
        r.next();
        return r.next();
    }

    uint64_t next()
    {
        uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    // Uniform in [0, 1).
    double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

    // Uniform in [a, b).
    double uniform(double a, double b) { return a + (b - a) * uniform(); }

    // Standard normal (Box-Muller).
    double normal()
    {
        const double u = 1.0 - uniform();  // (0, 1]
        return std::sqrt(-2.0 * std::log(u)) * std::cos(2.0 * M_PI * uniform());
    }

    // Roughly normal, unit variance, cheap: the sum of four uniforms.  For
    // noise, where millions are drawn.
    double quick_normal()
    {
        const uint64_t r = next();
        const double sum = static_cast<double>(r & 0xFFFF) + static_cast<double>((r >> 16) & 0xFFFF) +
                           static_cast<double>((r >> 32) & 0xFFFF) + static_cast<double>(r >> 48);
        return (sum / 65536.0 - 2.0) * 1.7320508075688772;
    }

private:
    uint64_t state_;
};
