#include "toolkit/waveio/wfformat_p.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

const WfFormat kFormats[] = {
    {"s4", 4, WF_FORMAT_BINARY}, {"s2", 2, WF_FORMAT_BINARY}, {"s3", 3, WF_FORMAT_BINARY},
    {"t4", 4, WF_FORMAT_BINARY}, {"t8", 8, WF_FORMAT_BINARY}, {"i4", 4, WF_FORMAT_BINARY},
    {"i2", 2, WF_FORMAT_BINARY}, {"f4", 4, WF_FORMAT_BINARY}, {"f8", 8, WF_FORMAT_BINARY},
    {"g2", 2, WF_FORMAT_BINARY}, {"a0", 15, WF_FORMAT_ASCII},  {"a#", 15, WF_FORMAT_ASCII},
    {"b0", 24, WF_FORMAT_ASCII}, {"b#", 24, WF_FORMAT_ASCII},  {"c0", 12, WF_FORMAT_ASCII},
    {"c#", 12, WF_FORMAT_ASCII}, {"sd", 0, WF_FORMAT_MSEED},
};

// Big-endian and little-endian loads that do not care about alignment; the
// compiler turns them into one load and one byte swap.
inline uint32_t be32(const unsigned char* p)
{
    uint32_t v;
    memcpy(&v, p, 4);
    return __builtin_bswap32(v);
}
inline uint32_t le32(const unsigned char* p)
{
    uint32_t v;
    memcpy(&v, p, 4);
    return v;
}
inline uint64_t be64(const unsigned char* p)
{
    uint64_t v;
    memcpy(&v, p, 8);
    return __builtin_bswap64(v);
}
inline uint64_t le64(const unsigned char* p)
{
    uint64_t v;
    memcpy(&v, p, 8);
    return v;
}
inline float bits_float(uint32_t u)
{
    float f;
    memcpy(&f, &u, 4);
    return f;
}
inline double bits_double(uint64_t u)
{
    double d;
    memcpy(&d, &u, 8);
    return d;
}

// One fixed-width text field as a number: blanks (and line ends) around it
// are allowed, nothing else.
bool ascii_value(const unsigned char* p, int width, float* value)
{
    char text[32];
    memcpy(text, p, static_cast<size_t>(width));
    text[width] = '\0';
    char* end = nullptr;
    const double d = strtod(text, &end);
    if (end == text)
        return false;
    for (; *end; end++)
        if (*end != ' ' && *end != '\n' && *end != '\r' && *end != '\t')
            return false;
    if (!std::isfinite(d))
        return false;
    *value = static_cast<float>(d);
    return true;
}

// 32-bit integers to floats: four at a time where the processor has the
// vector unit, each rounded as the scalar conversion rounds it (to
// nearest), so both give the same floats.  big_endian swaps the bytes of
// each first.
void int32_floats(const unsigned char* b, size_t n, float* out, bool big_endian)
{
    size_t i = 0;
#if defined(__SSE2__)
    for (; i + 4 <= n; i += 4) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 4 * i));
        if (big_endian) {
            // the bytes of each half-word, then the half-words of each word
            v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
            v = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, _MM_SHUFFLE(2, 3, 0, 1)), _MM_SHUFFLE(2, 3, 0, 1));
        }
        _mm_storeu_ps(out + i, _mm_cvtepi32_ps(v));
    }
#endif
    for (; i < n; i++)
        out[i] = static_cast<float>(static_cast<int32_t>(big_endian ? be32(b + 4 * i) : le32(b + 4 * i)));
}

}  // namespace

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the decoders assume a little-endian host");

const WfFormat* wfformat_find(const char* code)
{
    if (!code)
        return nullptr;
    for (const WfFormat& f : kFormats)
        if (strcmp(f.code, code) == 0)
            return &f;
    return nullptr;
}

const char* wfformat_codes()
{
    return "s4 s2 s3 t4 t8 i4 i2 f4 f8 g2 a0 a# b0 b# c0 c# sd";
}

int wfformat_decode(const WfFormat* f, const unsigned char* b, size_t n, float* out, size_t* bad)
{
    if (bad)
        *bad = 0;
    const char c0 = f->code[0], c1 = f->code[1];
    if (f->kind == WF_FORMAT_ASCII) {
        for (size_t i = 0; i < n; i++) {
            if (!ascii_value(b + i * static_cast<size_t>(f->bytes), f->bytes, out + i)) {
                if (bad)
                    *bad = i;
                return -1;
            }
        }
        return 0;
    }
    if (f->kind != WF_FORMAT_BINARY)
        return -1;
    switch (c0) {
    case 's':
        if (c1 == '4') {
            int32_floats(b, n, out, true);
        } else if (c1 == '2') {
            for (size_t i = 0; i < n; i++)
                out[i] = static_cast<float>(static_cast<int16_t>((b[2 * i] << 8) | b[2 * i + 1]));
        } else {  // s3: 24 bits, most significant byte first, sign in bit 23
            for (size_t i = 0; i < n; i++) {
                const unsigned char* p = b + 3 * i;
                int32_t v = (p[0] << 16) | (p[1] << 8) | p[2];
                if (v & 0x800000)
                    v -= 0x1000000;
                out[i] = static_cast<float>(v);
            }
        }
        break;
    case 'i':
        if (c1 == '4') {
            int32_floats(b, n, out, false);
        } else {
            for (size_t i = 0; i < n; i++)
                out[i] = static_cast<float>(static_cast<int16_t>(b[2 * i] | (b[2 * i + 1] << 8)));
        }
        break;
    case 't':
        if (c1 == '4') {
            for (size_t i = 0; i < n; i++)
                out[i] = bits_float(be32(b + 4 * i));
        } else {
            for (size_t i = 0; i < n; i++)
                out[i] = static_cast<float>(bits_double(be64(b + 8 * i)));
        }
        break;
    case 'f':
        if (c1 == '4') {
            for (size_t i = 0; i < n; i++)
                out[i] = bits_float(le32(b + 4 * i));
        } else {
            for (size_t i = 0; i < n; i++)
                out[i] = static_cast<float>(bits_double(le64(b + 8 * i)));
        }
        break;
    case 'g': {
        // gain-ranged: the top two bits of the first byte choose a shift of
        // 0, 2, 4 or 7 bits; the other 14 bits are an offset mantissa
        static const int kShift[4] = {0, 2, 4, 7};
        for (size_t i = 0; i < n; i++) {
            const unsigned char* p = b + 2 * i;
            const int mantissa = ((p[0] & 0x3f) << 8) | p[1];
            out[i] = static_cast<float>((mantissa - 8191) * (1 << kShift[p[0] >> 6]));
        }
        break;
    }
    default:
        return -1;
    }
    return 0;
}
