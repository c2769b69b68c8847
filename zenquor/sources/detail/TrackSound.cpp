#include "zenquor/sources/detail/TrackSound.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "zenquor/sources/SourceFormat.h"

namespace zenquor::detail {
namespace {

// Containers round their times; sound this near to where it is expected follows without a gap.
constexpr std::int64_t toleratedJump = SourceFormat::audioSampleRate / 100;

}  // namespace

TrackSound::TrackSound(platform::AssetReaderTrackOutputPtr output, std::uint32_t channels,
                       std::uint32_t sampleBytes, platform::MediaTime zero)
    : output_(std::move(output)), channels_(channels), sampleBytes_(sampleBytes), zero_(zero) {}

bool TrackSound::loadNext() {
    block_ = hasEnded_ ? nullptr : output_->copyNextSampleBuffer();
    hasEnded_ = !block_;
    if (!block_) return false;
    const auto time = block_->presentationTimeStamp() - zero_;
    const std::int64_t said = time.converted(SourceFormat::audioSampleRate).value;
    const bool follows = hasBegun_ && std::abs(said - nextStart_) <= toleratedJump;
    blockStart_ = follows ? nextStart_ : said;
    nextStart_ = blockStart_ + static_cast<std::int64_t>(block_->numSamples());
    hasBegun_ = true;
    return true;
}

bool TrackSound::hasSoundFrom(std::int64_t position) {
    while (!block_ || nextStart_ <= position) {
        if (!loadNext()) return false;
    }
    return true;
}

void TrackSound::mixInto(std::span<std::uint8_t> out, std::int64_t position, std::uint32_t outChannels,
                         std::uint32_t firstChannel) {
    const std::size_t outFrame = std::size_t{outChannels} * sampleBytes_;
    if (firstChannel >= outChannels) return;
    const std::size_t copied = std::min(channels_, outChannels - firstChannel) * std::size_t{sampleBytes_};
    const std::int64_t end = position + static_cast<std::int64_t>(out.size() / outFrame);
    while (position < end && hasSoundFrom(position) && blockStart_ < end) {
        const std::int64_t from = std::max(position, blockStart_);
        const std::int64_t to = std::min(end, nextStart_);
        const ZQData& bytes = block_->dataBuffer()->data();
        const std::size_t inFrame = block_->sampleSize();
        std::uint8_t* target =
            out.data() +
            static_cast<std::size_t>(from + static_cast<std::int64_t>(out.size() / outFrame) - end) *
                outFrame +
            std::size_t{firstChannel} * sampleBytes_;
        const std::uint8_t* source = bytes.data() + static_cast<std::size_t>(from - blockStart_) * inFrame;
        for (std::int64_t i = from; i < to; ++i, target += outFrame, source += inFrame)
            std::memcpy(target, source, copied);
        position = to;
    }
}

}  // namespace zenquor::detail
