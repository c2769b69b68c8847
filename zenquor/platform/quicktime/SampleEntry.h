#pragma once
// Sample entries: what a movie says of the samples of a track.

#include <cstdint>
#include <span>

#include "zenquor/platform/AssetWriter.h"
#include "zenquor/platform/FormatDescription.h"
#include "zenquor/platform/detail/BoxWriter.h"

namespace zenquor::platform::quicktime {

/// The one entry of a track's stsd box.
/// @param firstSample  the first bytes of the first sample, as far as known; DNxHD entries repeat what they
/// say.
void writeVideoSampleEntry(detail::BoxWriter& out, FileType type, const FormatDescription& format,
                           std::span<const std::uint8_t> firstSample);
void writeSoundSampleEntry(detail::BoxWriter& out, FileType type, const FormatDescription& format);
void writeTimecodeSampleEntry(detail::BoxWriter& out, const FormatDescription& format);
void writeCaptionSampleEntry(detail::BoxWriter& out, const FormatDescription& format);

/// A picture's size in 16.16 fixed point pixels.
struct FixedSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// The three sizes of a picture: as encoded, with square pixels, and its clean part with square pixels.
FixedSize encodedSize(const VideoFormat& format);
FixedSize productionSize(const VideoFormat& format);
FixedSize cleanSize(const VideoFormat& format);
/// Whether the pixels are known not to be square.
bool hasOblongPixels(const VideoFormat& format);

}  // namespace zenquor::platform::quicktime
