#include "zenquor/platform/AudioConverter.h"

extern "C" {
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

#include "zenquor/platform/detail/PCMLayout.h"
#include "zenquor/platform/detail/PCMSamples.h"

namespace zenquor::platform {
namespace {

using detail::ChannelRun;
using detail::PCMLayout;

/// Samples of one channel that are converted at a time: small enough to stay in the first-level cache.
constexpr std::size_t stretch = 512;

/// The runs of the first @p channels channels of a list; nothing when a buffer is missing or too short.
std::optional<std::vector<ChannelRun>> runsOfBuffers(const AudioBufferList& buffers, const PCMLayout& layout,
                                                     std::size_t frames) {
    std::vector<ChannelRun> runs;
    for (const AudioBuffer& buffer : buffers) {
        const std::size_t stride = std::size_t{buffer.numberChannels} * layout.bytes;
        if (!buffer.data || (stride != 0 && buffer.dataByteSize / stride < frames)) return std::nullopt;
        for (std::uint32_t channel = 0; channel < buffer.numberChannels && runs.size() < layout.channels;
             ++channel) {
            runs.push_back(
                {static_cast<std::uint8_t*>(buffer.data) + std::size_t{channel} * layout.bytes, stride});
        }
    }
    return runs;
}

ChannelRun advanced(ChannelRun run, std::size_t samples) {
    return {run.first + samples * run.stride, run.stride};
}

/// Converts one channel. Samples that only move are copied, integers are shifted; conversions between
/// integers and floating point, and between floating-point widths, go through the resampling library.
class ChannelConverter {
public:
    ChannelConverter(const PCMLayout& input, const PCMLayout& output) : input_(input), output_(output) {}
    ~ChannelConverter() { swr_free(&context_); }
    ChannelConverter(const ChannelConverter&) = delete;
    ChannelConverter& operator=(const ChannelConverter&) = delete;

    Status prepare() {
        if (isMove() || (!input_.isFloat && !output_.isFloat)) return noErr;
        // One channel at a time: then the library has nothing to mix or to reorder, and converts numbers
        // only.
        AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
        constexpr int anyRate = 48000;
        int result = swr_alloc_set_opts2(&context_, &mono, sampleFormat(output_), anyRate, &mono,
                                         sampleFormat(input_), anyRate, 0, nullptr);
        if (result >= 0) result = swr_init(context_);
        return result < 0 ? result : noErr;
    }

    Status convert(ChannelRun from, ChannelRun to, std::size_t frames) {
        if (isMove()) {
            detail::copySamples(input_.bytes, input_.isBigEndian != output_.isBigEndian, from, to, frames);
            return noErr;
        }
        for (std::size_t done = 0; done < frames; done += stretch) {
            const std::size_t count = std::min(stretch, frames - done);
            const Status status = convertStretch(advanced(from, done), advanced(to, done), count);
            if (status != noErr) return status;
        }
        return noErr;
    }

    void silence(ChannelRun to, std::size_t frames) const {
        static constexpr std::array<std::uint8_t, 8> zero{};
        const ChannelRun zeros{const_cast<std::uint8_t*>(zero.data()), 0};
        if (output_.isFloat || output_.isSigned)
            return detail::copySamples(output_.bytes, false, zeros, to, frames);
        static constexpr std::array<std::int32_t, stretch> middle{};
        for (std::size_t done = 0; done < frames; done += stretch) {
            detail::storeIntegers(output_, middle.data(), advanced(to, done),
                                  std::min(stretch, frames - done));
        }
    }

private:
    /// Whether the samples stay as they are, apart from their byte order.
    bool isMove() const {
        PCMLayout input = input_;
        input.isBigEndian = output_.isBigEndian;
        return input.hasSameSamples(output_);
    }

    static AVSampleFormat sampleFormat(const PCMLayout& layout) {
        if (!layout.isFloat) return AV_SAMPLE_FMT_S32;
        return layout.bytes == 8 ? AV_SAMPLE_FMT_DBL : AV_SAMPLE_FMT_FLT;
    }

    Status convertStretch(ChannelRun from, ChannelRun to, std::size_t count) {
        load(from, count);
        Number* numbers = &loaded_;
        if (context_) {
            const auto* in = reinterpret_cast<const std::uint8_t*>(&loaded_);
            auto* out = reinterpret_cast<std::uint8_t*>(&converted_);
            const int result =
                swr_convert(context_, &out, static_cast<int>(count), &in, static_cast<int>(count));
            if (result != static_cast<int>(count)) return result < 0 ? result : parameterErr;
            numbers = &converted_;
        }
        store(*numbers, to, count);
        return noErr;
    }

    /// Numbers in the machine's byte order: 32-bit integers, or floating point of 4 or 8 bytes.
    union Number {
        std::int32_t integers[stretch];
        std::uint8_t floats[stretch * 8];
    };
    static constexpr bool isMachineBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

    void load(ChannelRun from, std::size_t count) {
        if (!input_.isFloat) return detail::loadIntegers(input_, from, loaded_.integers, count);
        detail::copySamples(input_.bytes, input_.isBigEndian != isMachineBigEndian, from,
                            {loaded_.floats, input_.bytes}, count);
    }
    void store(Number& numbers, ChannelRun to, std::size_t count) {
        if (!output_.isFloat) return detail::storeIntegers(output_, numbers.integers, to, count);
        detail::copySamples(output_.bytes, output_.isBigEndian != isMachineBigEndian,
                            {numbers.floats, output_.bytes}, to, count);
    }

    PCMLayout input_;
    PCMLayout output_;
    SwrContext* context_ = nullptr;
    alignas(16) Number loaded_;
    alignas(16) Number converted_;
};

class PCMConverter final : public AudioConverter {
public:
    PCMConverter(const PCMLayout& input, const PCMLayout& output)
        : input_(input), output_(output), channel_(input, output) {}

    Status prepare() { return channel_.prepare(); }

    Status convertComplexBuffer(std::uint32_t frames, const AudioBufferList& input,
                                AudioBufferList& output) override {
        const auto from = runsOfBuffers(input, input_, frames);
        const auto to = runsOfBuffers(output, output_, frames);
        if (!from || !to || from->size() < input_.channels || to->empty()) return parameterErr;
        for (std::size_t channel = 0; channel < to->size(); ++channel) {
            if (channel >= from->size()) {
                channel_.silence((*to)[channel], frames);
                continue;
            }
            const Status status = channel_.convert((*from)[channel], (*to)[channel], frames);
            if (status != noErr) return status;
        }
        return noErr;
    }

private:
    PCMLayout input_;
    PCMLayout output_;
    ChannelConverter channel_;
};

}  // namespace

Status AudioConverter::create(const AudioStreamBasicDescription& input,
                              const AudioStreamBasicDescription& output,
                              std::unique_ptr<AudioConverter>& out) {
    out = nullptr;
    const auto from = detail::pcmLayoutForDescription(input);
    const auto to = detail::pcmLayoutForDescription(output);
    if (!from || !to || input.sampleRate != output.sampleRate) return parameterErr;
    auto converter = std::make_unique<PCMConverter>(*from, *to);
    const Status status = converter->prepare();
    if (status == noErr) out = std::move(converter);
    return status;
}

}  // namespace zenquor::platform
