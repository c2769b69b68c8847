#include "zenquor/platform/detail/PixelKernels.h"

#include <utility>

#include "zenquor/platform/detail/PlainPixelKernels.h"

#ifdef __SSE4_1__
#include <smmintrin.h>
#endif

namespace zenquor::platform::detail {
#ifdef __SSE4_1__
namespace {

inline __m128i load(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
inline void store(void* p, __m128i v) {
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

// A v210 word holds three samples at bits 0, 10 and 20. Its byte pairs 0-1, 1-2 and 2-3 hold them at bits 0,
// 2 and 4 of a 16-bit lane, from where a multiplication shifts them, each lane by its own amount.
constexpr char none = static_cast<char>(0x80);

/// How eight samples in a row are brought from byte pairs to 8 bits, for the three phases of a word that the
/// first of them can have.
struct Phase {
    __m128i mask;
    __m128i factor;
};
// (lane * factor + 2^14) >> 15 drops the two low bits of a sample with rounding, wherever the lane holds it.
inline Phase phase(int first) {
    alignas(16) static constexpr std::int16_t masks[] = {0x03FF, 0x0FFC, 0x3FF0, 0x03FF, 0x0FFC,
                                                         0x3FF0, 0x03FF, 0x0FFC, 0x3FF0, 0x03FF};
    alignas(16) static constexpr std::int16_t factors[] = {1 << 13, 1 << 11, 1 << 9,  1 << 13, 1 << 11,
                                                           1 << 9,  1 << 13, 1 << 11, 1 << 9,  1 << 13};
    return {load(masks + first), load(factors + first)};
}
inline __m128i eightSamples(__m128i bytes, __m128i pairs, const Phase& p) {
    return _mm_mulhrs_epi16(_mm_and_si128(_mm_shuffle_epi8(bytes, pairs), p.mask), p.factor);
}

void v210To2vuy(const std::uint8_t* v210, std::uint8_t* uyvy, std::size_t width) {
    // Two groups make 24 samples: eight of the first, four of each, eight of the second.
    const __m128i firstPairs = _mm_setr_epi8(0, 1, 1, 2, 2, 3, 4, 5, 5, 6, 6, 7, 8, 9, 9, 10);
    const __m128i middlePairs = _mm_setr_epi8(2, 3, 4, 5, 5, 6, 6, 7, 8, 9, 9, 10, 10, 11, 12, 13);
    const __m128i lastPairs = _mm_setr_epi8(5, 6, 6, 7, 8, 9, 9, 10, 10, 11, 12, 13, 13, 14, 14, 15);
    const Phase firstPhase = phase(0), middlePhase = phase(2), lastPhase = phase(1);
    const auto unpack = [&](const std::uint8_t* groups, __m128i& a, __m128i& b, __m128i& c) {
        const __m128i one = load(groups), two = load(groups + 16);
        a = eightSamples(one, firstPairs, firstPhase);
        b = eightSamples(_mm_alignr_epi8(two, one, 8), middlePairs, middlePhase);
        c = eightSamples(two, lastPairs, lastPhase);
    };
    const std::size_t samples = (width + 1) / 2 * 4;
    std::size_t done = 0;
    for (; samples - done >= 48; done += 48, v210 += 64) {
        __m128i a, b, c, d, e, f;
        unpack(v210, a, b, c);
        unpack(v210 + 32, d, e, f);
        store(uyvy + done, _mm_packus_epi16(a, b));
        store(uyvy + done + 16, _mm_packus_epi16(c, d));
        store(uyvy + done + 32, _mm_packus_epi16(e, f));
    }
    plain::v210To2vuy(v210, uyvy + done, (samples - done) / 2);
}

void uyvyToV210(const std::uint8_t* uyvy, std::uint8_t* v210, std::size_t width) {
    // Samples 0 and 2 of a word go to its 16-bit halves as x << 2 and x << 6, sample 1 straddles them as x <<
    // 12.
    const __m128i outer =
        _mm_setr_epi8(0, none, 2, none, 3, none, 5, none, 6, none, 8, none, 9, none, 11, none);
    const __m128i inner =
        _mm_setr_epi8(none, 1, none, none, none, 4, none, none, none, 7, none, none, none, 10, none, none);
    const __m128i factor = _mm_set1_epi32(1 << 22 | 1 << 2);
    const std::size_t samples = (width + 1) / 2 * 4;
    std::size_t done = 0;
    for (; samples - done >= 16; done += 12, v210 += 16) {
        const __m128i bytes = load(uyvy + done);
        const __m128i ends = _mm_mullo_epi16(_mm_shuffle_epi8(bytes, outer), factor);
        const __m128i middle = _mm_slli_epi32(_mm_shuffle_epi8(bytes, inner), 4);
        store(v210, _mm_or_si128(ends, middle));
    }
    plain::uyvyToV210(uyvy + done, v210, (samples - done) / 2);
}

void v210ToPlanar10(const std::uint8_t* v210, std::uint16_t* y, std::uint16_t* cb, std::uint16_t* cr,
                    std::size_t width) {
    const __m128i luma = _mm_setr_epi8(1, 2, 4, 5, 6, 7, 9, 10, 12, 13, 14, 15, none, none, none, none);
    const __m128i chroma = _mm_setr_epi8(0, 1, 5, 6, 10, 11, none, none, 2, 3, 8, 9, 13, 14, none, none);
    // Multiplied to the top of the lane, the neighbours' bits fall off; the shift brings the sample down.
    const __m128i lumaFactor = _mm_setr_epi16(16, 64, 4, 16, 64, 4, 0, 0);
    const __m128i chromaFactor = _mm_setr_epi16(64, 16, 4, 0, 4, 64, 16, 0);
    std::size_t done = 0;
    for (; width - done >= 8; done += 6, v210 += 16) {
        const __m128i group = load(v210);
        store(y + done, _mm_srli_epi16(_mm_mullo_epi16(_mm_shuffle_epi8(group, luma), lumaFactor), 6));
        const __m128i c = _mm_srli_epi16(_mm_mullo_epi16(_mm_shuffle_epi8(group, chroma), chromaFactor), 6);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cb + done / 2), c);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cr + done / 2), _mm_unpackhi_epi64(c, c));
    }
    plain::v210ToPlanar10(v210, y + done, cb + done / 2, cr + done / 2, width - done);
}

void uyvyToPlanar10(const std::uint8_t* uyvy, std::uint16_t* y, std::uint16_t* cb, std::uint16_t* cr,
                    std::size_t width) {
    const __m128i lowHalf = _mm_set1_epi32(0x0000FFFF);
    const __m128i lowByte = _mm_set1_epi16(0x00FF);
    std::size_t done = 0;
    for (; width - done >= 16; done += 16) {
        const __m128i a = load(uyvy + done * 2);
        const __m128i b = load(uyvy + done * 2 + 16);
        store(y + done, _mm_slli_epi16(_mm_srli_epi16(a, 8), 2));
        store(y + done + 8, _mm_slli_epi16(_mm_srli_epi16(b, 8), 2));
        const __m128i ca = _mm_slli_epi16(_mm_and_si128(a, lowByte), 2);
        const __m128i cb2 = _mm_slli_epi16(_mm_and_si128(b, lowByte), 2);
        store(cb + done / 2, _mm_packus_epi32(_mm_and_si128(ca, lowHalf), _mm_and_si128(cb2, lowHalf)));
        store(cr + done / 2, _mm_packus_epi32(_mm_srli_epi32(ca, 16), _mm_srli_epi32(cb2, 16)));
    }
    plain::uyvyToPlanar10(uyvy + done * 2, y + done, cb + done / 2, cr + done / 2, width - done);
}

// The weighted mean of the chroma bytes (the even ones) of two rows, in 16-bit lanes.
template <ChromaWeight weight>
inline __m128i mixChroma(__m128i first, __m128i second) {
    const __m128i lowByte = _mm_set1_epi16(0x00FF);
    if constexpr (weight == ChromaWeight::Even) return _mm_and_si128(_mm_avg_epu8(first, second), lowByte);
    __m128i near = _mm_and_si128(first, lowByte);
    __m128i far = _mm_and_si128(second, lowByte);
    if constexpr (weight == ChromaWeight::OneToThree) std::swap(near, far);
    const __m128i sum =
        _mm_add_epi16(_mm_add_epi16(near, _mm_slli_epi16(near, 1)), _mm_add_epi16(far, _mm_set1_epi16(2)));
    return _mm_srli_epi16(sum, 2);
}

inline void storeLuma(std::uint8_t* y, __m128i left, __m128i right) {
    store(y, _mm_packus_epi16(_mm_srli_epi16(left, 8), _mm_srli_epi16(right, 8)));
}

// Splits 16 interleaved chroma bytes, given in two vectors of 16-bit lanes, into 8 Cb and 8 Cr.
inline void storeChroma(std::uint8_t* cb, std::uint8_t* cr, __m128i left, __m128i right) {
    const __m128i bytes = _mm_packus_epi16(left, right);
    const __m128i apart =
        _mm_shuffle_epi8(bytes, _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(cb), apart);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(cr), _mm_unpackhi_epi64(apart, apart));
}

// The rows two further down are the next to be read. The processor's own prefetch stops at the end of each
// page, which is about a row.
inline void prefetchNextRows(const std::uint8_t* row, std::size_t width) {
    _mm_prefetch(reinterpret_cast<const char*>(row + width * 4), _MM_HINT_NTA);
}

template <ChromaWeight weight>
void semiPlanar(const std::uint8_t* first, const std::uint8_t* second, std::uint8_t* firstY,
                std::uint8_t* secondY, std::uint8_t* cbcr, std::size_t width) {
    std::size_t done = 0;
    for (; width - done >= 16; done += 16) {
        prefetchNextRows(first + done * 2, width);
        prefetchNextRows(second + done * 2, width);
        const __m128i a = load(first + done * 2), b = load(first + done * 2 + 16);
        const __m128i c = load(second + done * 2), d = load(second + done * 2 + 16);
        storeLuma(firstY + done, a, b);
        storeLuma(secondY + done, c, d);
        store(cbcr + done, _mm_packus_epi16(mixChroma<weight>(a, c), mixChroma<weight>(b, d)));
    }
    plain::uyvyToSemiPlanar(first + done * 2, second + done * 2, weight, firstY + done, secondY + done,
                            cbcr + done, width - done);
}

template <ChromaWeight weight>
void planar(const std::uint8_t* first, const std::uint8_t* second, std::uint8_t* firstY,
            std::uint8_t* secondY, std::uint8_t* cb, std::uint8_t* cr, std::size_t width) {
    std::size_t done = 0;
    for (; width - done >= 16; done += 16) {
        prefetchNextRows(first + done * 2, width);
        prefetchNextRows(second + done * 2, width);
        const __m128i a = load(first + done * 2), b = load(first + done * 2 + 16);
        const __m128i c = load(second + done * 2), d = load(second + done * 2 + 16);
        storeLuma(firstY + done, a, b);
        storeLuma(secondY + done, c, d);
        storeChroma(cb + done / 2, cr + done / 2, mixChroma<weight>(a, c), mixChroma<weight>(b, d));
    }
    plain::uyvyToPlanar(first + done * 2, second + done * 2, weight, firstY + done, secondY + done,
                        cb + done / 2, cr + done / 2, width - done);
}

void uyvyToSemiPlanar(const std::uint8_t* first, const std::uint8_t* second, ChromaWeight weight,
                      std::uint8_t* firstY, std::uint8_t* secondY, std::uint8_t* cbcr, std::size_t width) {
    constexpr auto even = semiPlanar<ChromaWeight::Even>;
    constexpr auto threeToOne = semiPlanar<ChromaWeight::ThreeToOne>;
    constexpr auto oneToThree = semiPlanar<ChromaWeight::OneToThree>;
    constexpr decltype(even) byWeight[] = {even, threeToOne, oneToThree};
    byWeight[static_cast<std::size_t>(weight)](first, second, firstY, secondY, cbcr, width);
}

void uyvyToPlanar(const std::uint8_t* first, const std::uint8_t* second, ChromaWeight weight,
                  std::uint8_t* firstY, std::uint8_t* secondY, std::uint8_t* cb, std::uint8_t* cr,
                  std::size_t width) {
    constexpr auto even = planar<ChromaWeight::Even>;
    constexpr auto threeToOne = planar<ChromaWeight::ThreeToOne>;
    constexpr auto oneToThree = planar<ChromaWeight::OneToThree>;
    constexpr decltype(even) byWeight[] = {even, threeToOne, oneToThree};
    byWeight[static_cast<std::size_t>(weight)](first, second, firstY, secondY, cb, cr, width);
}

void uyvyToPlanar422(const std::uint8_t* uyvy, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
                     std::size_t width) {
    const __m128i lowByte = _mm_set1_epi16(0x00FF);
    std::size_t done = 0;
    for (; width - done >= 16; done += 16) {
        const __m128i a = load(uyvy + done * 2), b = load(uyvy + done * 2 + 16);
        storeLuma(y + done, a, b);
        storeChroma(cb + done / 2, cr + done / 2, _mm_and_si128(a, lowByte), _mm_and_si128(b, lowByte));
    }
    plain::uyvyToPlanar422(uyvy + done * 2, y + done, cb + done / 2, cr + done / 2, width - done);
}

// x * 257 >> 6 is x << 2 | x >> 6: the byte stands in both halves of its lane.
void argbToPlanarRGB10(const std::uint8_t* argb, std::uint16_t* red, std::uint16_t* green,
                       std::uint16_t* blue, std::size_t width) {
    const __m128i redGreen = _mm_setr_epi8(1, 1, 5, 5, 9, 9, 13, 13, 2, 2, 6, 6, 10, 10, 14, 14);
    const __m128i blueOnly =
        _mm_setr_epi8(3, 3, 7, 7, 11, 11, 15, 15, none, none, none, none, none, none, none, none);
    std::size_t done = 0;
    for (; width - done >= 8; done += 8) {
        const __m128i a = load(argb + done * 4), b = load(argb + done * 4 + 16);
        const __m128i ra = _mm_shuffle_epi8(a, redGreen), rb = _mm_shuffle_epi8(b, redGreen);
        const __m128i ba = _mm_shuffle_epi8(a, blueOnly), bb = _mm_shuffle_epi8(b, blueOnly);
        store(red + done, _mm_srli_epi16(_mm_unpacklo_epi64(ra, rb), 6));
        store(green + done, _mm_srli_epi16(_mm_unpackhi_epi64(ra, rb), 6));
        store(blue + done, _mm_srli_epi16(_mm_unpacklo_epi64(ba, bb), 6));
    }
    plain::argbToPlanarRGB10(argb + done * 4, red + done, green + done, blue + done, width - done);
}

}  // namespace

const PixelKernels& pixelKernels() {
    static constexpr PixelKernels kernels = {
        v210To2vuy,       uyvyToV210,   v210ToPlanar10,  uyvyToPlanar10,   plain::planar10ToV210,
        uyvyToSemiPlanar, uyvyToPlanar, uyvyToPlanar422, argbToPlanarRGB10};
    return kernels;
}
#else
const PixelKernels& pixelKernels() {
    return plainPixelKernels();
}
#endif

}  // namespace zenquor::platform::detail
