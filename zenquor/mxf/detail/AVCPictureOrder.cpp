#include "zenquor/mxf/detail/AVCPictureOrder.h"

#include <algorithm>

namespace zenquor::mxf::detail {
namespace {

constexpr std::size_t slicePrefix = 64;  // bytes that hold everything up to the picture order
constexpr std::uint8_t typeIDR = 5;

}  // namespace

std::optional<std::uint32_t> AVCSlice::readParametersID(std::span<const std::uint8_t> nal) {
    const std::vector<std::uint8_t> payload = unescaped(nal, slicePrefix);
    BitReader bits(payload);
    bits.unsignedGolomb();  // first macroblock
    bits.unsignedGolomb();  // type
    const std::uint32_t id = bits.unsignedGolomb();
    if (bits.isBroken()) return std::nullopt;
    return id;
}

std::optional<AVCSlice> AVCSlice::read(std::span<const std::uint8_t> nal, const AVCSequence& sequence,
                                       const AVCPictureParameters& parameters) {
    constexpr std::uint32_t mostTypes = 10;
    constexpr PictureType types[] = {PictureType::P, PictureType::B, PictureType::I, PictureType::P,
                                     PictureType::I};
    if (nal.empty()) return std::nullopt;
    const std::vector<std::uint8_t> payload = unescaped(nal, slicePrefix);
    BitReader bits(payload);
    AVCSlice slice;
    slice.isReference = (nal[0] & 0x60) != 0;
    slice.isIDR = (nal[0] & 0x1F) == typeIDR;
    bits.unsignedGolomb();  // first macroblock
    const std::uint32_t type = bits.unsignedGolomb();
    if (type >= mostTypes) return std::nullopt;
    slice.type = types[type % 5];
    slice.isWholePicture = type >= 5;
    bits.unsignedGolomb();  // picture parameters
    if (sequence.hasSeparatePlanes) bits.skip(2);
    slice.frameNumber = bits.bits(sequence.frameNumberBits);
    if (!sequence.hasFramesOnly) slice.isField = bits.bit();
    if (slice.isField) slice.isBottomField = bits.bit();
    if (slice.isIDR) bits.unsignedGolomb();
    const bool hasBottom = parameters.hasBottomOrder && !slice.isField;
    if (sequence.orderType == 0) {
        slice.orderLow = bits.bits(sequence.orderLowBits);
        if (hasBottom) slice.orderDeltaBottom = bits.signedGolomb();
    } else if (sequence.orderType == 1 && !sequence.hasNoOrderDeltas) {
        slice.orderDelta0 = bits.signedGolomb();
        if (hasBottom) slice.orderDelta1 = bits.signedGolomb();
    }
    if (bits.isBroken()) return std::nullopt;
    return slice;
}

AVCPictureOrder::Place AVCPictureOrder::next(const AVCSlice& slice, const AVCSequence& sequence) {
    if (sequence.orderType == 0) return byLowBits(slice, sequence);
    if (sequence.orderType == 1) return byCycle(slice, sequence);
    // Type 2 is the order of decoding; the standard's counts leave gaps where pictures are no references.
    if (slice.isIDR) decoded_ = 0;
    return {2 * decoded_++, slice.isBottomField};
}

AVCPictureOrder::Place AVCPictureOrder::byLowBits(const AVCSlice& slice, const AVCSequence& sequence) {
    const std::int64_t modulus = std::int64_t{1} << sequence.orderLowBits;
    const std::int64_t low = slice.orderLow;
    if (slice.isIDR) highOfReference_ = lowOfReference_ = 0;
    std::int64_t high = highOfReference_;
    if (low < lowOfReference_ && lowOfReference_ - low >= modulus / 2) high += modulus;
    if (low > lowOfReference_ && low - lowOfReference_ > modulus / 2) high -= modulus;
    if (slice.isReference) {
        highOfReference_ = high;
        lowOfReference_ = low;
    }
    if (slice.isField) return {high + low, slice.isBottomField};
    return {high + low + std::min(slice.orderDeltaBottom, 0), slice.orderDeltaBottom < 0};
}

AVCPictureOrder::Place AVCPictureOrder::byCycle(const AVCSlice& slice, const AVCSequence& sequence) {
    const std::vector<std::int32_t>& offsets = sequence.cycleOffsets;
    const auto length = static_cast<std::int64_t>(offsets.size());
    std::int64_t number = frameNumberOffset(slice, sequence) + slice.frameNumber;
    if (length == 0) number = 0;
    if (!slice.isReference && number > 0) --number;
    std::int64_t expected = 0;
    if (number > 0) {
        std::int64_t ofCycle = 0;
        for (const std::int32_t offset : offsets) ofCycle += offset;
        expected = (number - 1) / length * ofCycle;
        for (std::int64_t i = 0; i <= (number - 1) % length; ++i)
            expected += offsets[static_cast<std::size_t>(i)];
    }
    if (!slice.isReference) expected += sequence.offsetForNonReference;
    const std::int64_t top = expected + slice.orderDelta0;
    const std::int64_t bottom = top + sequence.offsetForBottom + slice.orderDelta1;
    if (slice.isField)
        return {slice.isBottomField ? expected + sequence.offsetForBottom + slice.orderDelta0 : top,
                slice.isBottomField};
    return {std::min(top, bottom), bottom < top};
}

std::int64_t AVCPictureOrder::frameNumberOffset(const AVCSlice& slice, const AVCSequence& sequence) {
    if (slice.isIDR) {
        frameNumberOffset_ = 0;
    } else if (lastFrameNumber_ > slice.frameNumber) {
        frameNumberOffset_ += std::int64_t{1} << sequence.frameNumberBits;
    }
    lastFrameNumber_ = slice.frameNumber;
    return frameNumberOffset_;
}

}  // namespace zenquor::mxf::detail
