#pragma once
// Access units of an AVC byte stream (ITU-T H.264, annex B).

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "zenquor/mxf/detail/AVCParameterSets.h"
#include "zenquor/mxf/detail/AVCPictureOrder.h"

namespace zenquor::mxf::detail {

/// What one access unit, a frame or a pair of fields, tells.
struct AVCAccessUnit {
    PictureType type = PictureType::I;
    bool isIDR = false;
    bool isRecoveryPoint = false;  // decoding may start here, all that is shown from here on is whole
    bool hasSequence = false;
    bool hasPictureParameters = false;
    std::uint64_t sequenceDigest = 0;  // of the parameter sets' bytes
    std::uint64_t pictureParametersDigest = 0;
    /// Of the first slice; nothing when its parameter sets never came.
    std::optional<AVCSlice> slice;
};

/// Walks access units and keeps their parameter sets.
///
/// Thread-safety: One thread at a time.
class AVCParser {
public:
    /// @return nothing when there is no slice or its header is broken; @p why then tells in a sentence.
    std::optional<AVCAccessUnit> read(std::span<const std::uint8_t> sample, std::string& why);
    /// Of the last access unit's first slice; null when it never came.
    const AVCSequence* activeSequence() const;

private:
    void readParameterSet(std::span<const std::uint8_t> nal, AVCAccessUnit& unit);
    bool readSlice(std::span<const std::uint8_t> nal, AVCAccessUnit& unit);

    std::array<std::optional<AVCSequence>, 32> sequences_;
    std::array<std::optional<AVCPictureParameters>, 256> pictureParameters_;
    std::optional<std::uint32_t> active_;
};

}  // namespace zenquor::mxf::detail
