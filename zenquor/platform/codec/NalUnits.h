#pragma once
// H.264 and H.265 byte streams taken apart, and put into the form of movie files.

#include <span>
#include <vector>

#include "zenquor/core/ZQData.h"
#include "zenquor/platform/SampleBuffer.h"
#include "zenquor/platform/codec/EncoderTable.h"

namespace zenquor::platform::detail {

using Bytes = std::span<const std::uint8_t>;

/// The NAL units of an Annex B byte stream, without start codes and trailing zeros, as views of @p stream.
///
/// Standards: ITU-T H.264 annex B, H.265 annex B.
class NalUnits {
public:
    NalUnits(Bitstream kind, Bytes stream);

    const std::vector<Bytes>& units() const { return units_; }
    /// The type in the unit's header.
    int type(Bytes unit) const;
    bool isParameterSet(Bytes unit) const;
    /// The units of a sample, each after its length in 4 big-endian bytes; parameter sets and delimiters stay
    /// out.
    ZQData lengthPrefixed() const;
    /// What the slices say of the picture. @p makesBPictures: whether others may be shown before a reference
    /// picture.
    SampleAttachments attachments(bool makesBPictures) const;

private:
    bool isKept(Bytes unit) const;

    Bitstream kind_;
    std::vector<Bytes> units_;
};

/// The decoder configuration record (ISO/IEC 14496-15: avcC or hvcC without its box header) of the parameter
/// sets in @p stream; empty when one is missing or cannot be read.
ZQData decoderConfiguration(Bitstream kind, Bytes stream);

}  // namespace zenquor::platform::detail
