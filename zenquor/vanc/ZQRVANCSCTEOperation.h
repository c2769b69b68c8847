#pragma once
// One operation of an SCTE-104 message.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "zenquor/core/ZQData.h"

namespace zenquor {

// Bytes of the operation data that the builders write; the UPID of a segmentation descriptor comes on top.
inline constexpr std::int64_t ZQRVANCSCTEOPERATION_SPLICE_REQUEST_DATA_LENGTH = 14;
inline constexpr std::int64_t ZQRVANCSCTEOPERATION_TIME_SIGNAL_REQUEST_DATA_LENGTH = 2;
inline constexpr std::int64_t ZQRVANCSCTEOPERATION_INSERT_SEGMENTATION_DESCRIPTOR_REQUEST_DATA_LENGTH = 21;

/// An operation: its identifier and its data bytes as they stand on the wire, without identifier and length.
///
/// The builders take values as wide as they are convenient and write their low bits; all integers on the
/// wire are big-endian.
///
/// Thread-safety: One thread at a time; a value.
/// Standards:     ANSI/SCTE 104.
class ZQRVANCSCTEOperation {
public:
    /// The operations that have builders and a description of their own.
    enum OpID : std::int32_t {
        SpliceRequest = 0x0101,
        TimeSignalRequest = 0x0104,
        InsertSegmentationDescriptorRequest = 0x010B,
    };
    /// What a splice request asks for; the values of splice_insert_type.
    enum SpliceInsertType : std::int32_t {
        SpliceStartNormal = 1,
        SpliceStartImmediate = 2,  // receivers pay no heed to the pre-roll
        SpliceEndNormal = 3,
        SpliceEndImmediate = 4,  // the same
        SpliceCancel = 5,
    };

    /// @param data  std::nullopt for data that could not be read; it differs from zero bytes here, but is
    ///              written as zero bytes.
    static ZQRVANCSCTEOperation initWithOPID(std::int32_t opID, std::optional<ZQData> data) {
        return ZQRVANCSCTEOperation(opID, std::move(data));
    }
    /// A splice request.
    /// @param action         a SpliceInsertType.
    /// @param preRoll        milliseconds; 0, or 4000 and more.
    /// @param breakDuration  tenths of a second.
    static ZQRVANCSCTEOperation insertSpliceAction(std::int32_t action, std::uint32_t eventID,
                                                   std::int32_t programID, std::int32_t preRoll,
                                                   std::int32_t breakDuration, std::int32_t availNum,
                                                   std::int32_t availExpected, bool autoReturn);
    /// @param preRoll  milliseconds.
    static ZQRVANCSCTEOperation timeSignalRequestWithPreRollTime(std::int32_t preRoll);
    /// A segmentation descriptor for the time signal of the same message.
    /// @param eventCancelIndicator  1 withdraws the event.
    /// @param duration              seconds; durationExtensionFrames come on top.
    /// @param upIDType, typeID      segmentation_upid_type and segmentation_type_id of SCTE 35.
    /// @param upID                  UTF-8; its length is one byte on the wire, so what is longer than 255 bytes is
    ///                              cut between two characters, with an error in the log.
    /// @param webDeliveryAllowed    this one, noRegionalBlackout, archiveAllowed and deviceRestrictions (0 to 2 for
    ///                              a group, 3 for none) count only while deliveryNotRestricted is false.
    /// @param insertSubSegmentInfo  1 makes subSegmentNum and subSegmentsExpected count.
    static ZQRVANCSCTEOperation insertSegmentationDescriptorRequestWithEventID(
        std::uint32_t eventID, std::int32_t eventCancelIndicator, std::int32_t duration,
        std::int32_t upIDType, std::string_view upID, std::int32_t typeID, std::int32_t segmentNum,
        std::int32_t segmentsExpected, std::int32_t durationExtensionFrames, bool deliveryNotRestricted,
        bool webDeliveryAllowed, bool noRegionalBlackout, bool archiveAllowed,
        std::int32_t deviceRestrictions, std::int32_t insertSubSegmentInfo, std::int32_t subSegmentNum,
        std::int32_t subSegmentsExpected);

    /// 16 bits on the wire.
    std::int32_t opID() const { return opID_; }
    void setOpID(std::int32_t opID) { opID_ = opID; }
    const std::optional<ZQData>& data() const { return data_; }
    void setData(std::optional<ZQData> data) { data_ = std::move(data); }
    /// Bytes of data on the wire.
    std::size_t dataLength() const { return data_ ? data_->size() : 0; }
    /// Whether the operation stands alone in its message: identifiers below 256 and 0x8000 to 0xBFFF.
    bool singleOperation() const { return opID_ < 256 || (opID_ & ~0x3FFF) == 0x8000; }

    /// "SCTE-104 OP …". @param action  tells splice requests apart, a SpliceInsertType.
    static std::string nameForOperation(std::int32_t opID, std::int32_t action);
    /// The name and, for the operations with builders, the values in the data. Values that short data does
    /// not hold read 0; the UPID is shown as quoted text when it is printable UTF-8, else in hexadecimal.
    std::string description() const;

    friend bool operator==(const ZQRVANCSCTEOperation&, const ZQRVANCSCTEOperation&) = default;

private:
    ZQRVANCSCTEOperation(std::int32_t opID, std::optional<ZQData> data)
        : opID_(opID), data_(std::move(data)) {}

    std::int32_t opID_;
    std::optional<ZQData> data_;
};

}  // namespace zenquor
