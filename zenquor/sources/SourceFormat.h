#pragma once
// What a source is asked to deliver: picture, rate and sound of a recording.

#include <cstddef>
#include <cstdint>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/host/ZHLVideoFormat.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"
#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/PixelBuffer.h"

namespace zenquor {

/// Picture geometry, frame rate and audio layout of a source's frames.
///
/// Thread-safety: Safe; a value.
/// Standards:     ITU-R BT.601, BT.709, BT.2020 (colour by picture height).
struct SourceFormat {
    static constexpr std::uint32_t audioSampleRate = 48000;

    std::uint32_t width = 1920;
    std::uint32_t height = 1080;
    std::uint32_t framerate = 2500;  ///< frames per second times 100: 2398 … 6000
    bool interlaced = false;
    std::uint32_t tvNorm = 2;                        ///< as in ZHLVideoFormat
    std::uint32_t aspectRatio = 0;                   ///< of the display: 0 = 16:9, else 4:3
    FourCC pixelFormat = platform::pixelFormat2vuy;  ///< '2vuy' or 'v210'
    std::uint32_t audioChannels = 2;                 ///< 0 for no sound
    std::uint32_t audioBits = 16;                    ///< 16, or 24 high-aligned in 32

    static SourceFormat withVideoFormat(const ZHLVideoFormat& video, FourCC pixelFormat,
                                        std::uint32_t audioChannels, std::uint32_t audioBits);

    /// Sizes, rate, pixel format and audio depth are ones that a source can make.
    bool isValid() const;
    ZQCKTimebase timebase() const { return ZQCKTimebase::timebaseForHundredths(framerate); }
    /// Units per second of the recording's time base: 24000 to 60000.
    std::int32_t timeScale() const;
    /// One frame in those units: 1001 for 23.98, 29.97 and 59.94, else 1000.
    std::int64_t frameDuration() const;
    /// Bytes of one sample of all channels.
    std::uint32_t audioBytesPerFrame() const { return audioChannels * (audioBits == 16 ? 2 : 4); }
    platform::AudioStreamBasicDescription audioFormat() const;
    /// 525-line pictures begin with the bottom field, all others with the top one.
    bool topFieldFirst() const { return height != 486 && height != 480; }
    /// Rec.601 up to 576 lines, Rec.2020 from 2160, Rec.709 between, with clean aperture and pixel aspect.
    platform::PixelBuffer::Attachments pictureAttachments() const;

    friend bool operator==(const SourceFormat&, const SourceFormat&) = default;
};

}  // namespace zenquor
