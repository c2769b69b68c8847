#pragma once
// Slice headers and the picture order count of AVC (ITU-T H.264, 7.3.3, 8.2.1).

#include <cstdint>
#include <optional>
#include <span>

#include "zenquor/mxf/detail/AVCParameterSets.h"
#include "zenquor/mxf/detail/GOPStatistics.h"

namespace zenquor::mxf::detail {

/// The start of a slice header.
struct AVCSlice {
    PictureType type = PictureType::I;
    bool isWholePicture = false;  // all slices of the picture are of this type
    bool isIDR = false;
    bool isReference = false;
    bool isField = false;
    bool isBottomField = false;
    std::uint32_t frameNumber = 0;
    std::uint32_t orderLow = 0;
    std::int32_t orderDeltaBottom = 0;  // type 0: of the bottom field
    std::int32_t orderDelta0 = 0;       // type 1
    std::int32_t orderDelta1 = 0;

    /// The picture parameters that a slice refers to. @return nothing when the slice is broken.
    static std::optional<std::uint32_t> readParametersID(std::span<const std::uint8_t> nal);
    static std::optional<AVCSlice> read(std::span<const std::uint8_t> nal, const AVCSequence& sequence,
                                        const AVCPictureParameters& parameters);
};

/// Counts the display order of pictures that come in decoding order.
class AVCPictureOrder {
public:
    struct Place {
        std::int64_t order = 0;  // of the field that is shown first
        bool isBottomFirst = false;
    };
    /// @param slice  the first of each picture; of two field pictures in one access unit the first field's.
    Place next(const AVCSlice& slice, const AVCSequence& sequence);

private:
    Place byLowBits(const AVCSlice& slice, const AVCSequence& sequence);
    Place byCycle(const AVCSlice& slice, const AVCSequence& sequence);
    std::int64_t frameNumberOffset(const AVCSlice& slice, const AVCSequence& sequence);

    std::int64_t highOfReference_ = 0;
    std::int64_t lowOfReference_ = 0;
    std::int64_t decoded_ = 0;  // pictures of type 2 since the last IDR picture
    std::int64_t frameNumberOffset_ = 0;
    std::uint32_t lastFrameNumber_ = 0;
};

}  // namespace zenquor::mxf::detail
