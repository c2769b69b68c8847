#include "zenquor/vanc/ZQRVANCSCTEOperation.h"

#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <span>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/detail/ReadableBytes.h"

namespace zenquor {
namespace {

struct Field {
    std::string_view name;
    std::size_t size;
};
// The operation data, in wire order; these tables serve the builders and the descriptions.
constexpr Field actionField[] = {{"action", 1}};
constexpr Field spliceFields[] = {
    {"eventID", 4},  {"programID", 2},     {"preRoll", 2},    {"breakDuration", 2},
    {"availNum", 1}, {"availExpected", 1}, {"autoReturn", 1},
};
constexpr Field timeSignalFields[] = {{"preRoll", 2}};
constexpr Field segmentationFieldsBeforeUPID[] = {
    {"eventID", 4},
    {"eventCancelIndicator", 1},
    {"duration", 2},
    {"upIDType", 1},
};
constexpr Field upIDLengthField[] = {{"upIDLength", 1}};
constexpr Field segmentationFieldsAfterUPID[] = {
    {"typeID", 1},
    {"segmentNum", 1},
    {"segmentsExpected", 1},
    {"durationExtensionFrames", 1},
    {"deliveryNotRestricted", 1},
    {"webDeliveryAllowed", 1},
    {"noRegionalBlackout", 1},
    {"archiveAllowed", 1},
    {"deviceRestrictions", 1},
    {"insertSubSegmentInfo", 1},
    {"subSegmentNum", 1},
    {"subSegmentsExpected", 1},
};

constexpr std::string_view spliceNames[] = {
    "Insert Splice Start Normal",  "Insert Splice Start Immediate", "Insert Splice End Normal",
    "Insert Splice End Immediate", "Insert Splice Cancel",
};

constexpr std::size_t longestUPID = 255;

/// A builder whose length is not the layout's is a fault of this file, not of any input.
void require(bool isTrue, const char* text) {
    if (isTrue) return;
    ZLGGetHandle().error("ZQRVANCSCTEOperation assertion failed: {}", text);
    std::abort();
}

/// Fills a buffer of the layout's length and knows how far it came.
class FieldWriter {
public:
    explicit FieldWriter(std::span<std::uint8_t> out) : out_(out) {}

    void write(std::span<const Field> fields, std::initializer_list<std::uint32_t> values) {
        auto value = values.begin();
        for (const Field& field : fields) writeValue(*value++, field.size);
    }
    void write(std::string_view text) {
        for (const char c : text) writeValue(static_cast<std::uint8_t>(c), 1);
    }
    std::int64_t position() const { return position_; }

private:
    void writeValue(std::uint32_t value, std::size_t size) {
        for (std::size_t shift = 8 * size; shift > 0; ++position_) {
            shift -= 8;
            if (static_cast<std::size_t>(position_) < out_.size())
                out_[static_cast<std::size_t>(position_)] = static_cast<std::uint8_t>(value >> shift);
        }
    }

    std::span<std::uint8_t> out_;
    std::int64_t position_ = 0;
};

/// Takes fields off the front; from the first one that is not there whole, everything reads 0.
class FieldReader {
public:
    explicit FieldReader(std::span<const std::uint8_t> data) : left_(data) {}

    std::span<const std::uint8_t> take(std::size_t size) {
        const bool isThere = size <= left_.size();
        const auto taken = left_.first(isThere ? size : 0);
        left_ = isThere ? left_.subspan(size) : std::span<const std::uint8_t>();
        return taken;
    }
    std::uint32_t value(const Field& field) {
        std::uint32_t value = 0;
        for (const std::uint8_t byte : take(field.size)) value = value << 8 | byte;
        return value;
    }
    /// " name:value" of each field.
    std::string text(std::span<const Field> fields) {
        std::string text;
        for (const Field& field : fields)
            fmt::format_to(std::back_inserter(text), " {}:{}", field.name, value(field));
        return text;
    }

private:
    std::span<const std::uint8_t> left_;
};

std::string segmentationText(FieldReader& reader) {
    std::string text = reader.text(segmentationFieldsBeforeUPID);
    const std::uint32_t length = reader.value(upIDLengthField[0]);
    text += " upID:" + detail::readableBytes(reader.take(length));
    return text + reader.text(segmentationFieldsAfterUPID);
}

/// The UPID as far as its length byte can tell, cut between two characters.
std::string_view fittingUPID(std::string_view upID) {
    if (upID.size() <= longestUPID) return upID;
    ZLGGetHandle().error("ZQRVANCSCTEOperation cut UPID of {} bytes, {} fit", upID.size(), longestUPID);
    std::size_t end = longestUPID;
    while (end > longestUPID - 3 && (static_cast<std::uint8_t>(upID[end]) & 0xC0) == 0x80) --end;
    return upID.substr(0, end);
}

std::uint32_t bits(std::int32_t value) {
    return static_cast<std::uint32_t>(value);
}

}  // namespace

ZQRVANCSCTEOperation ZQRVANCSCTEOperation::insertSpliceAction(std::int32_t action, std::uint32_t eventID,
                                                              std::int32_t programID, std::int32_t preRoll,
                                                              std::int32_t breakDuration,
                                                              std::int32_t availNum,
                                                              std::int32_t availExpected, bool autoReturn) {
    auto data =
        ZQData::filling(ZQRVANCSCTEOPERATION_SPLICE_REQUEST_DATA_LENGTH, [&](std::span<std::uint8_t> out) {
            FieldWriter writer(out);
            writer.write(actionField, {bits(action)});
            writer.write(spliceFields, {eventID, bits(programID), bits(preRoll), bits(breakDuration),
                                        bits(availNum), bits(availExpected), autoReturn});
            require(writer.position() == ZQRVANCSCTEOPERATION_SPLICE_REQUEST_DATA_LENGTH,
                    "pos == ZQRVANCSCTEOPERATION_SPLICE_REQUEST_DATA_LENGTH");
        });
    return initWithOPID(SpliceRequest, std::move(data));
}

ZQRVANCSCTEOperation ZQRVANCSCTEOperation::timeSignalRequestWithPreRollTime(std::int32_t preRoll) {
    auto data = ZQData::filling(
        ZQRVANCSCTEOPERATION_TIME_SIGNAL_REQUEST_DATA_LENGTH, [&](std::span<std::uint8_t> out) {
            FieldWriter writer(out);
            writer.write(timeSignalFields, {bits(preRoll)});
            require(writer.position() == ZQRVANCSCTEOPERATION_TIME_SIGNAL_REQUEST_DATA_LENGTH,
                    "pos == ZQRVANCSCTEOPERATION_TIME_SIGNAL_REQUEST_DATA_LENGTH");
        });
    return initWithOPID(TimeSignalRequest, std::move(data));
}

ZQRVANCSCTEOperation ZQRVANCSCTEOperation::insertSegmentationDescriptorRequestWithEventID(
    std::uint32_t eventID, std::int32_t eventCancelIndicator, std::int32_t duration, std::int32_t upIDType,
    std::string_view upID, std::int32_t typeID, std::int32_t segmentNum, std::int32_t segmentsExpected,
    std::int32_t durationExtensionFrames, bool deliveryNotRestricted, bool webDeliveryAllowed,
    bool noRegionalBlackout, bool archiveAllowed, std::int32_t deviceRestrictions,
    std::int32_t insertSubSegmentInfo, std::int32_t subSegmentNum, std::int32_t subSegmentsExpected) {
    constexpr auto fixedLength = ZQRVANCSCTEOPERATION_INSERT_SEGMENTATION_DESCRIPTOR_REQUEST_DATA_LENGTH;
    upID = fittingUPID(upID);
    const auto upIDLength = static_cast<std::uint32_t>(upID.size());
    auto data = ZQData::filling(fixedLength + upIDLength, [&](std::span<std::uint8_t> out) {
        FieldWriter writer(out);
        writer.write(segmentationFieldsBeforeUPID,
                     {eventID, bits(eventCancelIndicator), bits(duration), bits(upIDType)});
        writer.write(upIDLengthField, {upIDLength});
        writer.write(upID);
        writer.write(segmentationFieldsAfterUPID,
                     {bits(typeID), bits(segmentNum), bits(segmentsExpected), bits(durationExtensionFrames),
                      deliveryNotRestricted, webDeliveryAllowed, noRegionalBlackout, archiveAllowed,
                      bits(deviceRestrictions), bits(insertSubSegmentInfo), bits(subSegmentNum),
                      bits(subSegmentsExpected)});
        require(writer.position() == fixedLength + upIDLength,
                "pos == (ZQRVANCSCTEOPERATION_INSERT_SEGMENTATION_DESCRIPTOR_REQUEST_DATA_LENGTH + "
                "upIDLength)");
    });
    return initWithOPID(InsertSegmentationDescriptorRequest, std::move(data));
}

std::string ZQRVANCSCTEOperation::nameForOperation(std::int32_t opID, std::int32_t action) {
    const auto name = [&]() -> std::string_view {
        if (opID == TimeSignalRequest) return "Time Signal Request";
        if (opID == InsertSegmentationDescriptorRequest) return "Insert Segmentation Descriptor";
        if (opID != SpliceRequest) return "Unknown operation";
        if (action < SpliceStartNormal || action > SpliceCancel) return "Reserved";
        return spliceNames[action - SpliceStartNormal];
    };
    return fmt::format("SCTE-104 OP {}", name());
}

std::string ZQRVANCSCTEOperation::description() const {
    FieldReader reader(data_ ? data_->span() : std::span<const std::uint8_t>());
    if (opID_ == SpliceRequest) {
        const auto action = static_cast<std::int32_t>(reader.value(actionField[0]));
        return nameForOperation(opID_, action) + reader.text(spliceFields);
    }
    const std::string name = nameForOperation(opID_, 0);
    if (opID_ == TimeSignalRequest) return name + reader.text(timeSignalFields);
    if (opID_ == InsertSegmentationDescriptorRequest) return name + segmentationText(reader);
    return fmt::format("{} {} with {} data bytes", name, opID_, dataLength());
}

}  // namespace zenquor
