#include "zenquor/audio/ZQRAudioProperties.h"

#include <fmt/format.h>

namespace zenquor {
namespace {

using platform::AudioStreamBasicDescription;

constexpr std::uint32_t knownFlags =
    platform::audioFormatFlagIsFloat | platform::audioFormatFlagIsBigEndian |
    platform::audioFormatFlagIsSignedInteger | platform::audioFormatFlagIsPacked |
    platform::audioFormatFlagIsAlignedHigh | platform::audioFormatFlagIsNonInterleaved |
    platform::audioFormatFlagIsNonMixable;

constexpr std::uint32_t packed24Bytes = 3;
constexpr std::uint32_t forcedChannels = 8;

/// A rate as a whole number; 0 for anything that is not a positive number.
std::uint64_t wholeRate(double rate) {
    constexpr double limit = 18446744073709551616.0;
    return rate > 0 && rate < limit ? static_cast<std::uint64_t>(rate) : 0;
}

void setFrameBytes(AudioStreamBasicDescription& description, std::uint32_t bytes) {
    description.bytesPerFrame = bytes;
    description.bytesPerPacket = bytes;
}

}  // namespace

std::shared_ptr<ZQRAudioProperties> ZQRAudioProperties::initWithBitRate(std::uint64_t bitRate,
                                                                        std::uint64_t bytesPerSample,
                                                                        std::uint64_t timescale,
                                                                        std::uint64_t numberOfChannels) {
    std::shared_ptr<ZQRAudioProperties> properties(new ZQRAudioProperties);
    properties->bitRate_ = bitRate;
    properties->bytes_ = bytesPerSample;
    properties->scale_ = timescale;
    properties->numberOfChannels_ = numberOfChannels;
    properties->nativeChannelCount_ = 2;
    return properties;
}

std::shared_ptr<ZQRAudioProperties> ZQRAudioProperties::initWithDescription(
    const AudioStreamBasicDescription& description) {
    std::shared_ptr<ZQRAudioProperties> properties(new ZQRAudioProperties);
    properties->flags_ = description.formatFlags & knownFlags;
    properties->numberOfChannels_ = description.channelsPerFrame;
    properties->nativeChannelCount_ = description.channelsPerFrame;
    properties->bitRate_ = description.bitsPerChannel;
    properties->scale_ = wholeRate(description.sampleRate);
    properties->bytes_ = description.bytesPerFrame;
    if (!properties->audioFormatFlagIsNonInterleaved()) {
        const std::uint32_t channels = description.channelsPerFrame;
        properties->bytes_ = channels != 0 ? description.bytesPerFrame / channels : 0;
    }
    return properties;
}

std::shared_ptr<ZQRAudioProperties> ZQRAudioProperties::copy() const {
    return std::shared_ptr<ZQRAudioProperties>(new ZQRAudioProperties(*this));
}

AudioStreamBasicDescription ZQRAudioProperties::audioStreamBasicDescription() const {
    AudioStreamBasicDescription description;
    description.sampleRate = static_cast<double>(scale_);
    description.formatID = platform::audioFormatLinearPCM;
    description.formatFlags = flags_;
    description.framesPerPacket = 1;
    description.channelsPerFrame = static_cast<std::uint32_t>(nativeChannelCount_);
    description.bitsPerChannel = static_cast<std::uint32_t>(bitRate_);
    const std::uint64_t samples = audioFormatFlagIsNonInterleaved() ? 1 : nativeChannelCount_;
    setFrameBytes(description, static_cast<std::uint32_t>(bytes_ * samples));
    return description;
}

AudioStreamBasicDescription ZQRAudioProperties::packedInterleavedASBD() const {
    AudioStreamBasicDescription description = audioStreamBasicDescription();
    if (bitRate_ == 16) return description;
    if (bitRate_ != 24) return {};
    setFrameBytes(description, description.channelsPerFrame * packed24Bytes);
    description.formatFlags &= ~std::uint32_t{platform::audioFormatFlagIsAlignedHigh};
    description.formatFlags |= platform::audioFormatFlagIsPacked;
    return description;
}

AudioStreamBasicDescription ZQRAudioProperties::packedInterleavedASBDWithForcedEightChannelCount() const {
    AudioStreamBasicDescription description = packedInterleavedASBD();
    if (bitRate_ != 16 && bitRate_ != 24) return description;
    description.channelsPerFrame = forcedChannels;
    setFrameBytes(description,
                  forcedChannels * (bitRate_ == 16 ? static_cast<std::uint32_t>(bytes_) : packed24Bytes));
    return description;
}

std::string ZQRAudioProperties::description() const {
    return fmt::format(
        "{} - bitrate: {}, bytes {}, writeBytes {}, scale {}, numberOfChannels {}, nativechannelcount {}",
        ZQObject::description(), bitRate_, bytes_, writeBytes_, scale_, numberOfChannels_,
        nativeChannelCount_);
}

std::string ZQRAudioProperties::audioPropertiesString() const {
    return fmt::format("{} Hz, {} Bit, {} channels selected, total channel: {}", scale_, bitRate_,
                       numberOfChannels_, nativeChannelCount_);
}

}  // namespace zenquor
