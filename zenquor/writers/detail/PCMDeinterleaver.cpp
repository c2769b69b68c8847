#include "zenquor/writers/detail/PCMDeinterleaver.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace zenquor::detail {
namespace {

/// One sample of S bytes as D bytes, byte by byte: the plain rule that the fast loops follow.
template <unsigned S, unsigned D, bool bigEndian>
void putSample(const std::uint8_t* from, std::uint8_t* to) {
    for (unsigned k = 0; k < D; ++k) {
        const unsigned rank = bigEndian ? k : D - 1 - k;  // from the high byte down
        to[k] = rank < S ? from[S - 1 - rank] : std::uint8_t{0};
    }
}

template <unsigned S, unsigned D, bool bigEndian, unsigned channels>
void copyPlain(const std::uint8_t* from, std::size_t stride, std::size_t frames, std::uint8_t* to,
               std::uint32_t) {
    for (; frames > 0; --frames, from += stride) {
        for (unsigned c = 0; c < channels; ++c, to += D) putSample<S, D, bigEndian>(from + c * S, to);
    }
}

template <unsigned S, unsigned D, bool bigEndian>
void copyAnyCount(const std::uint8_t* from, std::size_t stride, std::size_t frames, std::uint8_t* to,
                  std::uint32_t channels) {
    for (; frames > 0; --frames, from += stride) {
        for (std::uint32_t c = 0; c < channels; ++c, to += D) putSample<S, D, bigEndian>(from + c * S, to);
    }
}

/// 24 bits high-aligned in 32 to packed 24 bits, one channel: each store writes a byte too many, which the
/// next one overwrites.
template <bool bigEndian>
void pack24Mono(const std::uint8_t* from, std::size_t stride, std::size_t frames, std::uint8_t* to,
                std::uint32_t) {
    for (; frames > 1; --frames, from += stride, to += 3) {
        std::uint32_t sample;
        std::memcpy(&sample, from, 4);
        sample = bigEndian ? __builtin_bswap32(sample) : sample >> 8;
        std::memcpy(to, &sample, 4);
    }
    copyPlain<4, 3, bigEndian, 1>(from, stride, frames, to, 1);
}

/// The same for two channels at once.
template <bool bigEndian>
void pack24Stereo(const std::uint8_t* from, std::size_t stride, std::size_t frames, std::uint8_t* to,
                  std::uint32_t) {
    for (; frames > 1; --frames, from += stride, to += 6) {
        std::uint64_t pair;
        std::memcpy(&pair, from, 8);
        if (bigEndian) {
            const std::uint64_t swapped = __builtin_bswap64(pair);  // second sample in the low half
            pair = (swapped >> 32 & 0xFFFFFF) | (swapped & 0xFFFFFF) << 24;
        } else {
            pair = (pair >> 8 & 0xFFFFFF) | pair >> 40 << 24;
        }
        std::memcpy(to, &pair, 8);
    }
    copyPlain<4, 3, bigEndian, 2>(from, stride, frames, to, 2);
}

using Kernel = void (*)(const std::uint8_t*, std::size_t, std::size_t, std::uint8_t*, std::uint32_t);

template <unsigned S, unsigned D, bool bigEndian>
Kernel kernelForChannels(std::uint32_t channels) {
    constexpr bool packs24 = S == 4 && D == 3 && std::endian::native == std::endian::little;
    if constexpr (packs24) {
        if (channels == 1) return pack24Mono<bigEndian>;
        if (channels == 2) return pack24Stereo<bigEndian>;
    }
    switch (channels) {
        case 1:
            return copyPlain<S, D, bigEndian, 1>;
        case 2:
            return copyPlain<S, D, bigEndian, 2>;
        default:
            return copyAnyCount<S, D, bigEndian>;
    }
}

template <unsigned S, unsigned D>
Kernel kernelForOrder(const PCMShape& shape, std::uint32_t channels) {
    return shape.bigEndianTrack ? kernelForChannels<S, D, true>(channels)
                                : kernelForChannels<S, D, false>(channels);
}

template <unsigned S>
Kernel kernelForTrackBytes(const PCMShape& shape, std::uint32_t channels) {
    switch (shape.trackBytes) {
        case 2:
            return kernelForOrder<S, 2>(shape, channels);
        case 3:
            return kernelForOrder<S, 3>(shape, channels);
        default:
            return nullptr;
    }
}

Kernel kernelFor(const PCMShape& shape, std::uint32_t channels) {
    switch (shape.sourceBytes) {
        case 2:
            return kernelForTrackBytes<2>(shape, channels);
        case 3:
            return kernelForTrackBytes<3>(shape, channels);
        case 4:
            return kernelForTrackBytes<4>(shape, channels);
        default:
            return nullptr;
    }
}

/// A track of which only the first @p present channels come from the source: frame by frame, the rest is
/// silence.
void copyPartly(Kernel kernel, const std::uint8_t* from, const PCMShape& shape, std::uint32_t present,
                std::size_t frames, std::uint8_t* to) {
    const std::size_t stride = shape.sourceFrameBytes();
    const std::size_t silence = std::size_t{shape.trackChannels - present} * shape.trackBytes;
    for (; frames > 0; --frames, from += stride) {
        kernel(from, stride, 1, to, present);
        to += std::size_t{present} * shape.trackBytes;
        std::memset(to, 0, silence);
        to += silence;
    }
}

}  // namespace

bool deinterleaveSamples(std::span<const std::uint8_t> samples, const PCMShape& shape, std::uint32_t channel,
                         std::size_t sampleCount, std::span<std::uint8_t> buffer) {
    const std::uint32_t behind = shape.sourceChannels > channel ? shape.sourceChannels - channel : 0;
    const std::uint32_t present = std::min(shape.trackChannels, behind);
    const Kernel kernel = kernelFor(shape, present);
    if (!kernel || shape.trackChannels == 0 || shape.sourceChannels == 0) return false;
    if (samples.size() / shape.sourceFrameBytes() < sampleCount) return false;
    if (buffer.size() / shape.trackFrameBytes() < sampleCount) return false;
    const std::uint8_t* const from = samples.data() + std::size_t{channel} * shape.sourceBytes;
    if (present == shape.trackChannels) {
        kernel(from, shape.sourceFrameBytes(), sampleCount, buffer.data(), present);
    } else if (present > 0) {
        copyPartly(kernel, from, shape, present, sampleCount, buffer.data());
    } else {
        std::ranges::fill(buffer.first(sampleCount * shape.trackFrameBytes()), std::uint8_t{0});
    }
    return true;
}

}  // namespace zenquor::detail
