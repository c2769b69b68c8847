#pragma once
// The sound of a recording.

#include <cstdint>
#include <memory>
#include <string>

#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"

namespace zenquor {

/// Linear PCM as a recording carries it, and the stream descriptions that writers and converters need.
///
/// Lifecycle:     filled by the host before the recording, then only read.
/// Thread-safety: Safe for readers; setters by the maker, before it is shared.
class ZQRAudioProperties final : public ZQObject {
public:
    /// @param bitRate         bits per sample (16 or 24), whatever the name says.
    /// @param bytesPerSample  bytes of one sample of one channel.
    /// @param timescale       samples per second.
    /// The native channel count starts as 2, whatever @p numberOfChannels is.
    static std::shared_ptr<ZQRAudioProperties> initWithBitRate(std::uint64_t bitRate,
                                                               std::uint64_t bytesPerSample,
                                                               std::uint64_t timescale,
                                                               std::uint64_t numberOfChannels);
    static std::shared_ptr<ZQRAudioProperties> initWithDescription(
        const platform::AudioStreamBasicDescription& description);
    std::shared_ptr<ZQRAudioProperties> copy() const;

    bool audioFormatFlagIsFloat() const { return hasFlag(platform::audioFormatFlagIsFloat); }
    bool audioFormatFlagIsSignedInteger() const { return hasFlag(platform::audioFormatFlagIsSignedInteger); }
    bool audioFormatFlagIsPacked() const { return hasFlag(platform::audioFormatFlagIsPacked); }
    bool audioFormatFlagIsNonInterleaved() const {
        return hasFlag(platform::audioFormatFlagIsNonInterleaved);
    }
    bool audioFormatFlagIsBigEndian() const { return hasFlag(platform::audioFormatFlagIsBigEndian); }
    bool audioFormatFlagIsNonMixable() const { return hasFlag(platform::audioFormatFlagIsNonMixable); }
    bool audioFormatFlagIsAlignedHigh() const { return hasFlag(platform::audioFormatFlagIsAlignedHigh); }
    void setAudioFormatFlagIsFloat(bool v) { setFlag(platform::audioFormatFlagIsFloat, v); }
    void setAudioFormatFlagIsSignedInteger(bool v) { setFlag(platform::audioFormatFlagIsSignedInteger, v); }
    void setAudioFormatFlagIsPacked(bool v) { setFlag(platform::audioFormatFlagIsPacked, v); }
    void setAudioFormatFlagIsNonInterleaved(bool v) { setFlag(platform::audioFormatFlagIsNonInterleaved, v); }
    void setAudioFormatFlagIsBigEndian(bool v) { setFlag(platform::audioFormatFlagIsBigEndian, v); }
    void setAudioFormatFlagIsNonMixable(bool v) { setFlag(platform::audioFormatFlagIsNonMixable, v); }
    void setAudioFormatFlagIsAlignedHigh(bool v) { setFlag(platform::audioFormatFlagIsAlignedHigh, v); }

    /// Bits per sample.
    std::uint64_t bitRate() const { return bitRate_; }
    void setBitRate(std::uint64_t v) { bitRate_ = v; }
    /// Bytes per sample of one channel.
    std::uint64_t bytes() const { return bytes_; }
    void setBytes(std::uint64_t v) { bytes_ = v; }
    /// Bytes per sample as written to the file; set by the writer.
    std::uint64_t writeBytes() const { return writeBytes_; }
    void setWriteBytes(std::uint64_t v) { writeBytes_ = v; }
    /// Samples per second, also the time scale of audio tracks.
    std::uint64_t scale() const { return scale_; }
    void setScale(std::uint64_t v) { scale_ = v; }
    /// Channels selected for recording.
    std::uint64_t numberOfChannels() const { return numberOfChannels_; }
    void setNumberOfChannels(std::uint64_t v) { numberOfChannels_ = v; }
    /// Channels of the source; the stream descriptions tell these.
    std::uint64_t nativeChannelCount() const { return nativeChannelCount_; }
    void setNativeChannelCount(std::uint64_t v) { nativeChannelCount_ = v; }
    /// Alignment hint for audio buffers, carried along.
    std::uint64_t audioAlignment() const { return audioAlignment_; }
    void setAudioAlignment(std::uint64_t v) { audioAlignment_ = v; }

    platform::AudioStreamBasicDescription audioStreamBasicDescription() const;
    /// 16-bit samples as they are, 24-bit samples in three bytes; all zero for other depths.
    platform::AudioStreamBasicDescription packedInterleavedASBD() const;
    /// The same with eight channels: frames of 8 × bytes() for 16 bit, of 24 bytes for 24 bit.
    platform::AudioStreamBasicDescription packedInterleavedASBDWithForcedEightChannelCount() const;

    std::string description() const override;
    /// "… Hz, … Bit, … channels selected, total channel: …".
    std::string audioPropertiesString() const;

private:
    ZQRAudioProperties() = default;
    ZQRAudioProperties(const ZQRAudioProperties&) = default;
    bool hasFlag(std::uint32_t flag) const { return (flags_ & flag) != 0; }
    void setFlag(std::uint32_t flag, bool on) { flags_ = on ? flags_ | flag : flags_ & ~flag; }

    std::uint32_t flags_ = 0;  // the seven flags as in AudioStreamBasicDescription::formatFlags
    std::uint64_t bitRate_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t writeBytes_ = 0;
    std::uint64_t scale_ = 0;
    std::uint64_t numberOfChannels_ = 0;
    std::uint64_t nativeChannelCount_ = 0;
    std::uint64_t audioAlignment_ = 0;
};

using ZQRAudioPropertiesPtr = std::shared_ptr<ZQRAudioProperties>;

}  // namespace zenquor
