#include "zenquor/audio/detail/ChannelMap.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE4_1__)
#include <immintrin.h>
#endif

namespace zenquor::detail {
namespace {

/// Units wider than this gain nothing from being joined further.
constexpr std::size_t widestUnit = 64;
constexpr std::uint8_t noByte = 0x80;

}  // namespace

struct ChannelMap::Kernels {
    static void identity(const ChannelMap& map, const std::uint8_t* in, std::uint8_t* out,
                         std::size_t frames) {
        if (frames != 0) std::memcpy(out, in, frames * map.frameBytes_);
    }

    /// Units of a width that is known here, or only at run time (0).
    template <std::size_t fixedWidth>
    static void units(const ChannelMap& map, const std::uint8_t* in, std::uint8_t* out, std::size_t frames) {
        const std::size_t width = fixedWidth != 0 ? fixedWidth : map.unitBytes_;
        for (const std::uint8_t* const end = in + frames * map.frameBytes_; in != end;
             in += map.frameBytes_) {
            for (const std::int32_t offset : map.offsets_) {
                if (offset >= 0) {
                    std::memcpy(out, in + offset, width);
                } else {
                    std::memset(out, 0, width);
                }
                out += width;
            }
        }
    }

#if defined(__SSE4_1__)
    static __m128i load(const std::uint8_t* bytes) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    }
    static void store(std::uint8_t* bytes, __m128i value) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
    }

    static void shuffle16(const ChannelMap& map, const std::uint8_t* in, std::uint8_t* out,
                          std::size_t frames) {
        const __m128i order = load(map.shuffle_[0].data());
        for (std::size_t frame = 0; frame < frames; ++frame) {
            store(out + 16 * frame, _mm_shuffle_epi8(load(in + 16 * frame), order));
        }
    }

    static void shuffle32(const ChannelMap& map, const std::uint8_t* in, std::uint8_t* out,
                          std::size_t frames) {
        const __m128i lowLow = load(map.shuffle_[0].data());
        const __m128i lowHigh = load(map.shuffle_[1].data());
        const __m128i highLow = load(map.shuffle_[0].data() + 16);
        const __m128i highHigh = load(map.shuffle_[1].data() + 16);
        for (std::size_t frame = 0; frame < frames; ++frame, in += 32, out += 32) {
            const __m128i low = load(in);
            const __m128i high = load(in + 16);
            store(out, _mm_or_si128(_mm_shuffle_epi8(low, lowLow), _mm_shuffle_epi8(high, lowHigh)));
            store(out + 16, _mm_or_si128(_mm_shuffle_epi8(low, highLow), _mm_shuffle_epi8(high, highHigh)));
        }
    }

    static std::int32_t word32(const std::uint8_t* bytes) {
        std::int32_t word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }
    static __m128i word64(const std::uint8_t* bytes) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
    }

    /// Four units of 4 bytes, or two of 8, to a store. Silent units read something and are masked.
    template <std::size_t width>
    static void gather(const ChannelMap& map, const std::uint8_t* in, std::uint8_t* out, std::size_t frames) {
        constexpr std::size_t unitsPerStore = 16 / width;
        for (std::size_t frame = 0; frame < frames; ++frame, in += map.frameBytes_) {
            const std::int32_t* offset = map.offsets_.data();
            for (std::size_t byte = 0; byte < map.frameBytes_;
                 byte += 16, offset += unitsPerStore, out += 16) {
                const auto unit = [&](std::size_t i) { return in + std::max(offset[i], 0); };
                __m128i units;
                if constexpr (width == 4) {
                    units = _mm_cvtsi32_si128(word32(unit(0)));
                    units = _mm_insert_epi32(units, word32(unit(1)), 1);
                    units = _mm_insert_epi32(units, word32(unit(2)), 2);
                    units = _mm_insert_epi32(units, word32(unit(3)), 3);
                } else {
                    units = _mm_unpacklo_epi64(word64(unit(0)), word64(unit(1)));
                }
                store(out, _mm_and_si128(units, load(map.keep_.data() + byte)));
            }
        }
    }

    /// Frames of 64 bytes, such as 16 channels of 32 bits: words go to any place in one step.
    __attribute__((target("avx2"))) static void permute64(const ChannelMap& map, const std::uint8_t* in,
                                                          std::uint8_t* out, std::size_t frames) {
        const auto* const words = reinterpret_cast<const __m256i*>(map.words_.data());
        const auto* const kept = reinterpret_cast<const __m256i*>(map.keep_.data());
        const __m256i order0 = _mm256_loadu_si256(words);
        const __m256i order1 = _mm256_loadu_si256(words + 1);
        // Words 8 to 15 come from the upper half: bit 3 moves to where the blend looks.
        const __m256 upper0 = _mm256_castsi256_ps(_mm256_slli_epi32(order0, 28));
        const __m256 upper1 = _mm256_castsi256_ps(_mm256_slli_epi32(order1, 28));
        const __m256 keep0 = _mm256_castsi256_ps(_mm256_loadu_si256(kept));
        const __m256 keep1 = _mm256_castsi256_ps(_mm256_loadu_si256(kept + 1));
        for (std::size_t frame = 0; frame < frames; ++frame, in += 64, out += 64) {
            const __m256 low = _mm256_loadu_ps(reinterpret_cast<const float*>(in));
            const __m256 high = _mm256_loadu_ps(reinterpret_cast<const float*>(in + 32));
            const __m256 first = _mm256_blendv_ps(_mm256_permutevar8x32_ps(low, order0),
                                                  _mm256_permutevar8x32_ps(high, order0), upper0);
            const __m256 second = _mm256_blendv_ps(_mm256_permutevar8x32_ps(low, order1),
                                                   _mm256_permutevar8x32_ps(high, order1), upper1);
            _mm256_storeu_ps(reinterpret_cast<float*>(out), _mm256_and_ps(first, keep0));
            _mm256_storeu_ps(reinterpret_cast<float*>(out + 32), _mm256_and_ps(second, keep1));
        }
    }
    static bool canPermute64(const ChannelMap& map) {
        // Two joined channels of 16 bits are as wide as a word, but may begin in the middle of one.
        const bool isOfWholeWords =
            map.unitBytes_ % 4 == 0 && std::all_of(map.offsets_.begin(), map.offsets_.end(),
                                                   [](std::int32_t o) { return o < 0 || o % 4 == 0; });
        return map.frameBytes_ == 64 && isOfWholeWords && __builtin_cpu_supports("avx2");
    }
#endif

    static Kernel forUnits(std::size_t width) {
        switch (width) {
            case 2:
                return units<2>;
            case 3:
                return units<3>;
            case 4:
                return units<4>;
            case 6:
                return units<6>;
            case 8:
                return units<8>;
            case 16:
                return units<16>;
            case 32:
                return units<32>;
            case 64:
                return units<64>;
            default:
                return units<0>;
        }
    }

    static Kernel choose(const ChannelMap& map) {
        if (map.isIdentity_) return identity;
#if defined(__SSE4_1__)
        if (map.frameBytes_ == 16) return shuffle16;
        if (map.frameBytes_ == 32) return shuffle32;
        if (canPermute64(map)) return permute64;
        if (map.frameBytes_ % 16 == 0 && map.unitBytes_ == 4) return gather<4>;
        if (map.frameBytes_ % 16 == 0 && map.unitBytes_ == 8) return gather<8>;
#endif
        return forUnits(map.unitBytes_);
    }
};

ChannelMap::ChannelMap(std::span<const std::int32_t> offsets, std::size_t bytesPerSample)
    : offsets_(offsets.begin(), offsets.end()),
      unitBytes_(bytesPerSample),
      frameBytes_(offsets.size() * bytesPerSample),
      isIdentity_(true) {
    keep_.resize(frameBytes_);
    for (auto& half : shuffle_) half.fill(noByte);
    for (std::size_t byte = 0; byte < frameBytes_; ++byte) {
        const std::int32_t offset = offsets_[byte / unitBytes_];
        isIdentity_ = isIdentity_ && offset == static_cast<std::int32_t>(byte - byte % unitBytes_);
        if (offset < 0) continue;
        keep_[byte] = 0xFF;
        const std::size_t source = static_cast<std::size_t>(offset) + byte % unitBytes_;
        if (frameBytes_ == 64 && byte % 4 == 0) words_[byte / 4] = static_cast<std::int32_t>(source / 4);
        if (frameBytes_ <= 32) shuffle_[source / 16][byte] = static_cast<std::uint8_t>(source % 16);
    }
    joinNeighbours();
    kernel_ = Kernels::choose(*this);
}

void ChannelMap::joinNeighbours() {
    while (unitBytes_ < widestUnit && !offsets_.empty() && offsets_.size() % 2 == 0) {
        std::vector<std::int32_t> joined;
        for (std::size_t i = 0; i < offsets_.size(); i += 2) {
            const std::int32_t first = offsets_[i];
            const std::int32_t expected =
                first >= 0 ? first + static_cast<std::int32_t>(unitBytes_) : silence;
            if (offsets_[i + 1] != expected) return;
            joined.push_back(first);
        }
        offsets_ = std::move(joined);
        unitBytes_ *= 2;
    }
}

}  // namespace zenquor::detail
