#pragma once
// Cue messages as ancillary data packets.

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zenquor/vanc/ZQRVANCPacketImpl.h"
#include "zenquor/vanc/ZQRVANCSCTEOperation.h"

namespace zenquor {

/// One SCTE-104 message behind its payload descriptor: a single operation or a list of operations.
///
/// A packet always holds a message that the wire can carry: at most 255 operations with identifiers of 16
/// bits, and a message size of 16 bits. What would exceed this is refused and logged, never cut.
/// One ancillary packet has room for 255 words; splitting longer messages and joining them is the host's task.
/// ZQRVANCHelper::addPackets() replaces the messages of a frame: to keep a received one beside an own one,
/// merge() them or use addPacket().
///
/// Lifecycle:     made empty and filled with addOperation(), or read from received user data words. Reading
///                never fails as a whole: values that are missing read 0, a broken operation ends the list.
/// Thread-safety: Safe for readers, sdiData() included; setters, addOperation() and merge() are for the maker,
///                before the packet is shared.
/// Standards:     ANSI/SCTE 104 (messages), SMPTE ST 2010 (payload descriptor, DID 0x41, SDID 0x07).
class ZQRVANCSCTEPacket final : public ZQRVANCPacketImpl {
public:
    static constexpr std::int32_t scteDID = 0x41;
    static constexpr std::int32_t scteSDID = 0x07;
    static constexpr std::int32_t defaultLineNumber = 10;
    static constexpr std::size_t maximumOperations = 255;  // num_ops is a byte

    /// An empty message, number 1, on the default line.
    static std::shared_ptr<ZQRVANCSCTEPacket> init();
    /// The same with one operation; without it when addOperation() refuses it.
    static std::shared_ptr<ZQRVANCSCTEPacket> initWithOperation(ZQRVANCSCTEOperation operation);
    /// A packet read from user data words. Time stamps of messages are not understood: a message that has one
    /// loses or misreads its operations.
    static std::shared_ptr<ZQRVANCSCTEPacket> initWithDID(std::int32_t did, std::int32_t sdid,
                                                          std::int32_t line, ZQData data);

    /// Appends. @return false, the list unchanged, when the message could no longer be written.
    bool addOperation(ZQRVANCSCTEOperation operation);
    const std::vector<ZQRVANCSCTEOperation>& operations() const { return operations_; }
    /// Whether the message has the layout of a single operation: it holds one operation, and that stands
    /// alone.
    bool singleOperation() const;
    /// Appends the operations of another message for the same AS index and DPI PID.
    /// @return false, nothing changed, for other indices, for single operations, for no packet and when the
    /// message could no longer be written.
    bool merge(const std::shared_ptr<const ZQRVANCSCTEPacket>& other);

    std::int32_t ASIndex() const { return asIndex_; }  // 8 bits on the wire
    void setASIndex(std::int32_t index) { asIndex_ = index; }
    std::int32_t DPIPID() const { return dpiPID_; }  // DPI_PID_index, 16 bits on the wire
    void setDPIPID(std::int32_t index) { dpiPID_ = index; }
    std::int32_t messageNumber() const { return messageNumber_; }  // 8 bits on the wire
    void setMessageNumber(std::int32_t number) { messageNumber_ = number; }
    // Bits 2, 1 and 0 of the payload descriptor.
    bool continuedPacket() const { return continuedPacket_; }
    void setContinuedPacket(bool isContinued) { continuedPacket_ = isContinued; }
    bool followingPacket() const { return followingPacket_; }
    void setFollowingPacket(bool isFollowing) { followingPacket_ = isFollowing; }
    bool duplicatePacket() const { return duplicatePacket_; }
    void setDuplicatePacket(bool isDuplicate) { duplicatePacket_ = isDuplicate; }

    /// Payload descriptor and message, written from the present content.
    ZQData sdiData() override;
    /// Replaces the content by what @p data holds.
    void setSdiData(ZQData data) override;
    /// All fields and each operation in brackets.
    std::string description() const override;
    /// Writes description() to the log at default level.
    void log() const override;

    // Big-endian readers and writers that advance the position. Writers do not check: the buffer is made to
    // measure. Readers that would pass the end log an error, give 0 or nothing, and leave the position alone.
    static void writeByte(std::uint8_t value, std::span<std::uint8_t> data, std::int64_t& position);
    static void writeShort(std::uint16_t value, std::span<std::uint8_t> data, std::int64_t& position);
    static void writeInt(std::uint32_t value, std::span<std::uint8_t> data, std::int64_t& position);
    static void writeData(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> data,
                          std::int64_t& position);
    static std::uint8_t readByte(std::span<const std::uint8_t> data, std::int64_t& position);
    static std::uint16_t readShort(std::span<const std::uint8_t> data, std::int64_t& position);
    static std::uint32_t readInt(std::span<const std::uint8_t> data, std::int64_t& position);
    /// A slice of @p data; nothing, with an error in the log, for a length of 0 too.
    static std::optional<ZQData> readData(const ZQData& data, std::int64_t length, std::int64_t& position);

private:
    ZQRVANCSCTEPacket(std::int32_t did, std::int32_t sdid, std::int32_t line, ZQData data);

    void readMessage(const ZQData& data);
    void readSingleOperation(const ZQData& data, std::int32_t opID, std::int32_t messageSize,
                             std::int64_t& position);
    void readOperations(const ZQData& data, std::int64_t& position);
    std::uint8_t payloadDescriptor() const;
    ZQData singleOperationMessage() const;
    ZQData multipleOperationMessage() const;

    std::vector<ZQRVANCSCTEOperation> operations_;
    bool continuedPacket_ = false;
    bool followingPacket_ = false;
    bool duplicatePacket_ = false;
    std::int32_t asIndex_ = 0;
    std::int32_t dpiPID_ = 0;
    std::int32_t messageNumber_ = 1;
    std::mutex storing_;  // writers serialise at once and each keeps its result in the base
};

}  // namespace zenquor
