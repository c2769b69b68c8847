#include "zenquor/vanc/ZQRVANCSCTEPacket.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/core/ZLGHandle.h"

namespace zenquor {
namespace {

constexpr std::uint8_t descriptorMark = 0x08;  // payload descriptor version 1
constexpr std::uint8_t continuedBit = 4;
constexpr std::uint8_t followingBit = 2;
constexpr std::uint8_t duplicateBit = 1;

constexpr std::uint16_t reserved = 0xFFFF;
constexpr std::size_t singleHeaderSize = 14;    // payload descriptor included
constexpr std::size_t multipleHeaderSize = 13;  // the same
constexpr std::size_t operationHeaderSize = 4;
constexpr std::size_t largestMessage = 0xFFFF;  // message size is 16 bits
constexpr std::size_t largestData = 0xFFFF;     // data length too
/// Message size less data of a single operation message.
constexpr std::int32_t singleMessageOverhead = 13;

using Operations = std::vector<ZQRVANCSCTEOperation>;

bool isSingleOperation(std::span<const ZQRVANCSCTEOperation> operations) {
    return operations.size() == 1 && operations.front().singleOperation();
}

/// Bytes of the user data words that carry the operations.
std::size_t totalLength(std::span<const ZQRVANCSCTEOperation> operations) {
    if (isSingleOperation(operations)) return singleHeaderSize + operations.front().dataLength();
    std::size_t length = multipleHeaderSize;
    for (const auto& operation : operations) length += operationHeaderSize + operation.dataLength();
    return length;
}

/// Whether each count, identifier and length of the message fits its field.
bool isWritable(std::span<const ZQRVANCSCTEOperation> operations) {
    const auto fitsFields = [](const ZQRVANCSCTEOperation& operation) {
        return operation.opID() >= 0 && operation.opID() <= 0xFFFF && operation.dataLength() <= largestData;
    };
    return operations.size() <= ZQRVANCSCTEPacket::maximumOperations &&
           totalLength(operations) - 1 <= largestMessage && std::ranges::all_of(operations, fitsFields);
}

/// Whether @p count more bytes lie behind the position.
bool holds(std::span<const std::uint8_t> data, std::int64_t position, std::int64_t count) {
    const auto size = static_cast<std::int64_t>(data.size());
    return position >= 0 && position <= size && count >= 0 && count <= size - position;
}

std::uint8_t* cursor(std::span<std::uint8_t> data, std::int64_t position) {
    return data.data() + position;
}

void logUnexpectedVersion(std::int32_t version) {
    if (version != 0) ZLGGetHandle().error("ZQRVANCSCTEPacket got unexpected protocol version {}", version);
}

}  // namespace

ZQRVANCSCTEPacket::ZQRVANCSCTEPacket(std::int32_t did, std::int32_t sdid, std::int32_t line, ZQData data)
    : ZQRVANCPacketImpl(did, sdid, line, std::move(data)) {}

std::shared_ptr<ZQRVANCSCTEPacket> ZQRVANCSCTEPacket::init() {
    return std::shared_ptr<ZQRVANCSCTEPacket>(
        new ZQRVANCSCTEPacket(scteDID, scteSDID, defaultLineNumber, {}));
}

std::shared_ptr<ZQRVANCSCTEPacket> ZQRVANCSCTEPacket::initWithOperation(ZQRVANCSCTEOperation operation) {
    auto packet = init();
    packet->addOperation(std::move(operation));
    return packet;
}

std::shared_ptr<ZQRVANCSCTEPacket> ZQRVANCSCTEPacket::initWithDID(std::int32_t did, std::int32_t sdid,
                                                                  std::int32_t line, ZQData data) {
    std::shared_ptr<ZQRVANCSCTEPacket> packet(new ZQRVANCSCTEPacket(did, sdid, line, data));
    packet->readMessage(data);
    return packet;
}

bool ZQRVANCSCTEPacket::addOperation(ZQRVANCSCTEOperation operation) {
    operations_.push_back(std::move(operation));
    if (isWritable(operations_)) return true;
    ZLGGetHandle().error(
        "ZQRVANCSCTEPacket cannot add [{}] to {} operations, the message would exceed its format",
        operations_.back().description(), operations_.size() - 1);
    operations_.pop_back();
    return false;
}

bool ZQRVANCSCTEPacket::singleOperation() const {
    return isSingleOperation(operations_);
}

bool ZQRVANCSCTEPacket::merge(const std::shared_ptr<const ZQRVANCSCTEPacket>& other) {
    if (!other || singleOperation() || other->singleOperation()) return false;
    if (dpiPID_ != other->dpiPID_ || asIndex_ != other->asIndex_) return false;
    Operations merged = operations_;  // the other packet may be this one
    merged.insert(merged.end(), other->operations_.begin(), other->operations_.end());
    if (!isWritable(merged)) {
        ZLGGetHandle().error(
            "ZQRVANCSCTEPacket cannot merge {} and {} operations, the message would exceed its format",
            operations_.size(), other->operations_.size());
        return false;
    }
    operations_ = std::move(merged);
    return true;
}

void ZQRVANCSCTEPacket::readMessage(const ZQData& data) {
    operations_.clear();
    std::int64_t position = 0;
    const std::uint8_t descriptor = readByte(data, position);
    continuedPacket_ = (descriptor & continuedBit) != 0;
    followingPacket_ = (descriptor & followingBit) != 0;
    duplicatePacket_ = (descriptor & duplicateBit) != 0;
    const std::uint16_t opID = readShort(data, position);
    const std::uint16_t messageSize = readShort(data, position);
    if (opID != reserved) {
        readSingleOperation(data, opID, messageSize, position);
    } else {
        readOperations(data, position);
    }
}

void ZQRVANCSCTEPacket::readSingleOperation(const ZQData& data, std::int32_t opID, std::int32_t messageSize,
                                            std::int64_t& position) {
    const std::uint16_t result = readShort(data, position);
    const std::uint16_t resultExtension = readShort(data, position);
    const std::uint8_t protocolVersion = readByte(data, position);
    asIndex_ = readByte(data, position);
    messageNumber_ = readByte(data, position);
    dpiPID_ = readShort(data, position);
    // A size below the overhead gives a negative length, which is refused like one that is too large.
    auto operationData = readData(data, messageSize - singleMessageOverhead, position);
    addOperation(ZQRVANCSCTEOperation::initWithOPID(opID, std::move(operationData)));
    auto& log = ZLGGetHandle();
    if (result != reserved) log.error("ZQRVANCSCTEPacket got unexpected reserved #1 value {}", result);
    if (resultExtension != reserved)
        log.error("ZQRVANCSCTEPacket got unexpected reserved #2 value {}", resultExtension);
    logUnexpectedVersion(protocolVersion);
}

void ZQRVANCSCTEPacket::readOperations(const ZQData& data, std::int64_t& position) {
    const std::uint8_t protocolVersion = readByte(data, position);
    asIndex_ = readByte(data, position);
    messageNumber_ = readByte(data, position);
    dpiPID_ = readShort(data, position);
    const std::uint8_t spliceVersion = readByte(data, position);
    readByte(data, position);  // time stamp type; a time stamp behind it is not read
    for (int left = readByte(data, position); left > 0; --left) {
        const std::uint16_t opID = readShort(data, position);
        const std::uint16_t length = readShort(data, position);
        auto operationData = readData(data, length, position);
        if (!operationData) {
            ZLGGetHandle().error("ZQRVANCSCTEPacket could not read operataion data, aborting");
            break;
        }
        if (!addOperation(ZQRVANCSCTEOperation::initWithOPID(opID, std::move(operationData)))) break;
    }
    logUnexpectedVersion(protocolVersion);
    if (spliceVersion != 0)
        ZLGGetHandle().error("ZQRVANCSCTEPacket got unexpected SCTE35 protocol version {}", spliceVersion);
}

std::uint8_t ZQRVANCSCTEPacket::payloadDescriptor() const {
    return static_cast<std::uint8_t>(descriptorMark | (continuedPacket_ ? continuedBit : 0) |
                                     (followingPacket_ ? followingBit : 0) |
                                     (duplicatePacket_ ? duplicateBit : 0));
}

ZQData ZQRVANCSCTEPacket::singleOperationMessage() const {
    const ZQRVANCSCTEOperation& operation = operations_.front();
    return ZQData::filling(totalLength(operations_), [&](std::span<std::uint8_t> out) {
        std::int64_t position = 0;
        writeByte(payloadDescriptor(), out, position);
        writeShort(static_cast<std::uint16_t>(operation.opID()), out, position);
        writeShort(static_cast<std::uint16_t>(out.size() - 1), out, position);
        writeShort(reserved, out, position);  // result
        writeShort(reserved, out, position);  // result extension
        writeByte(0, out, position);          // protocol version
        writeByte(static_cast<std::uint8_t>(asIndex_), out, position);
        writeByte(static_cast<std::uint8_t>(messageNumber_), out, position);
        writeShort(static_cast<std::uint16_t>(dpiPID_), out, position);
        if (operation.data()) writeData(*operation.data(), out, position);
    });
}

ZQData ZQRVANCSCTEPacket::multipleOperationMessage() const {
    return ZQData::filling(totalLength(operations_), [&](std::span<std::uint8_t> out) {
        std::int64_t position = 0;
        writeByte(payloadDescriptor(), out, position);
        writeShort(reserved, out, position);
        writeShort(static_cast<std::uint16_t>(out.size() - 1), out, position);
        writeByte(0, out, position);  // protocol version
        writeByte(static_cast<std::uint8_t>(asIndex_), out, position);
        writeByte(static_cast<std::uint8_t>(messageNumber_), out, position);
        writeShort(static_cast<std::uint16_t>(dpiPID_), out, position);
        writeByte(0, out, position);  // SCTE 35 protocol version
        writeByte(0, out, position);  // no time stamp
        writeByte(static_cast<std::uint8_t>(operations_.size()), out, position);
        for (const ZQRVANCSCTEOperation& operation : operations_) {
            writeShort(static_cast<std::uint16_t>(operation.opID()), out, position);
            writeShort(static_cast<std::uint16_t>(operation.dataLength()), out, position);
            if (operation.data()) writeData(*operation.data(), out, position);
        }
    });
}

ZQData ZQRVANCSCTEPacket::sdiData() {
    ZQData data = singleOperation() ? singleOperationMessage() : multipleOperationMessage();
    const std::lock_guard lock(storing_);
    ZQRVANCPacketImpl::setSdiData(data);
    return data;
}

void ZQRVANCSCTEPacket::setSdiData(ZQData data) {
    readMessage(data);
    const std::lock_guard lock(storing_);
    ZQRVANCPacketImpl::setSdiData(std::move(data));
}

std::string ZQRVANCSCTEPacket::description() const {
    std::string text = fmt::format(
        "SCTE VANC DID:{} SDID:{} line:{} ASIndex:{} DPIPID:{} message#:{} continued:{} following:{} "
        "duplicate:{} single:{} operations:{}",
        DID(), SDID(), lineNumber(), asIndex_, dpiPID_, messageNumber_, int{continuedPacket_},
        int{followingPacket_}, int{duplicatePacket_}, int{singleOperation()}, operations_.size());
    for (const ZQRVANCSCTEOperation& operation : operations_)
        fmt::format_to(std::back_inserter(text), " [{}]", operation.description());
    return text;
}

void ZQRVANCSCTEPacket::log() const {
    ZLGGetHandle().log("{}", *this);
}

void ZQRVANCSCTEPacket::writeByte(std::uint8_t value, std::span<std::uint8_t> data, std::int64_t& position) {
    *cursor(data, position) = value;
    position += 1;
}

void ZQRVANCSCTEPacket::writeShort(std::uint16_t value, std::span<std::uint8_t> data,
                                   std::int64_t& position) {
    writeBE16(cursor(data, position), value);
    position += 2;
}

void ZQRVANCSCTEPacket::writeInt(std::uint32_t value, std::span<std::uint8_t> data, std::int64_t& position) {
    writeBE32(cursor(data, position), value);
    position += 4;
}

void ZQRVANCSCTEPacket::writeData(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> data,
                                  std::int64_t& position) {
    std::copy(bytes.begin(), bytes.end(), cursor(data, position));
    position += static_cast<std::int64_t>(bytes.size());
}

std::uint8_t ZQRVANCSCTEPacket::readByte(std::span<const std::uint8_t> data, std::int64_t& position) {
    if (!holds(data, position, 1)) {
        ZLGGetHandle().error("ZQRVANCSCTEPacket requested read byte at position {}, length {}", position,
                             data.size());
        return 0;
    }
    return data[static_cast<std::size_t>(position++)];
}

std::uint16_t ZQRVANCSCTEPacket::readShort(std::span<const std::uint8_t> data, std::int64_t& position) {
    if (!holds(data, position, 2)) {
        ZLGGetHandle().error("ZQRVANCSCTEPacket requested read short at position {}, length {}", position,
                             data.size());
        return 0;
    }
    const std::uint16_t value = readBE16(data.data() + position);
    position += 2;
    return value;
}

std::uint32_t ZQRVANCSCTEPacket::readInt(std::span<const std::uint8_t> data, std::int64_t& position) {
    if (!holds(data, position, 4)) {
        ZLGGetHandle().error("ZQRVANCSCTEPacket requested read int at position {}, length {}", position,
                             data.size());
        return 0;
    }
    const std::uint32_t value = readBE32(data.data() + position);
    position += 4;
    return value;
}

std::optional<ZQData> ZQRVANCSCTEPacket::readData(const ZQData& data, std::int64_t length,
                                                  std::int64_t& position) {
    if (length == 0) {
        ZLGGetHandle().error("ZQRVANCSCTEPacket requested read zero data at position {}, length {}", position,
                             data.size());
        return std::nullopt;
    }
    if (!holds(data, position, length)) {
        ZLGGetHandle().error("ZQRVANCSCTEPacket requested read data of length {} at position {}, length {}",
                             length, position, data.size());
        return std::nullopt;
    }
    ZQData read = data.slice(static_cast<std::size_t>(position), static_cast<std::size_t>(length));
    position += length;
    return read;
}

}  // namespace zenquor
