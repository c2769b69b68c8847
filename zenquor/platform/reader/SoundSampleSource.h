#pragma once
// A sound track, decoded to interleaved PCM.

#include <cstdint>
#include <memory>
#include <vector>

#include "zenquor/platform/Asset.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"
#include "zenquor/platform/reader/Decoder.h"
#include "zenquor/platform/reader/SampleSource.h"

struct SwrContext;

namespace zenquor::platform::detail {

/// Hands out PCM in the asked rate and the track's channel count from the sample frame heard at the start
/// time on.
///
/// Integer samples keep their bits: a narrower result is cut, a wider one filled with zeros. Decoders of
/// compressed sound give floating point, which is rounded.
class SoundSampleSource final : public SampleSource {
public:
    /// @param end  sound from there on is left out; invalid for no end but the file's.
    SoundSampleSource(std::unique_ptr<Decoder> decoder, AssetTrack track,
                      const AudioStreamBasicDescription& format, MediaTime start, MediaTime end);
    ~SoundSampleSource() override;

    /// Whether a format is one that forAudio() promises.
    static bool canMake(const AudioStreamBasicDescription& format);
    SampleBufferPtr next() override;
    ZQErrorPtr error() const override { return decoder_->error(); }

private:
    bool convert(const AVFrame* frame);
    bool prepare(const AVFrame& frame);
    void keepConverted(std::vector<std::int32_t> converted);
    bool nextBlock();
    bool flush();
    std::size_t framesBefore(MediaTime limit) const;
    SampleBufferPtr sampleBuffer(std::size_t firstFrame, std::size_t frames);

    std::unique_ptr<Decoder> decoder_;
    AssetTrack track_;
    MediaTime start_;
    MediaTime end_;
    FormatDescriptionPtr description_;
    AudioStreamBasicDescription format_;
    std::uint32_t channels_;
    std::uint32_t rate_;
    SwrContext* resampler_ = nullptr;
    int sourceFormat_ = -1;
    int sourceRate_ = 0;
    int sourceChannels_ = 0;
    std::vector<std::int32_t> samples_;  // of the current block, high-aligned or the bits of floats
    MediaTime time_;                     // of the current block
    MediaTime resampledFrom_;            // where the present run of resampled sound began
    std::int64_t resampledFrames_ = 0;   // given since then
    std::int64_t nextUnits_ = 0;
    bool isFlushed_ = false;
    bool wantsFloat_;
};

}  // namespace zenquor::platform::detail
