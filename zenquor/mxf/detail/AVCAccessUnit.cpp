#include "zenquor/mxf/detail/AVCAccessUnit.h"

#include <algorithm>

#include "zenquor/mxf/detail/StartCode.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::uint8_t nalSlice = 1, nalPartition = 2, nalIDRSlice = 5, nalInformation = 6, nalSequence = 7,
                       nalPictureParameters = 8;

constexpr std::uint8_t typeOf(std::span<const std::uint8_t> nal) {
    return nal[0] & 0x1F;
}

// A NAL unit ends before the zeros in front of the next start code; padding goes with them.
std::span<const std::uint8_t> withoutTrailingZeros(std::span<const std::uint8_t> nal) {
    while (!nal.empty() && nal.back() == 0) nal = nal.first(nal.size() - 1);
    return nal;
}

std::uint64_t digest(std::uint64_t start, std::span<const std::uint8_t> bytes) {
    std::uint64_t value = start == 0 ? 0xCBF29CE484222325 : start;  // FNV-1a
    for (const std::uint8_t byte : bytes) value = (value ^ byte) * 0x100000001B3;
    return value;
}

// Whether supplemental information holds a recovery point without pictures that are not whole yet (D.1.8).
bool hasRecoveryPoint(std::span<const std::uint8_t> nal) {
    constexpr std::uint32_t recoveryPoint = 6;
    constexpr std::size_t mostBytes = 4096;
    const std::vector<std::uint8_t> payload = unescaped(nal, mostBytes);
    std::size_t at = 0;
    const auto coded = [&] {
        std::size_t value = 0;
        while (at < payload.size() && payload[at] == 0xFF) value += payload[at++];
        return value + (at < payload.size() ? payload[at++] : 0);
    };
    while (at + 2 < payload.size()) {
        const std::size_t type = coded();
        const std::size_t size = coded();
        if (type == recoveryPoint && at < payload.size()) {
            BitReader bits(std::span<const std::uint8_t>(payload).subspan(at));
            return bits.unsignedGolomb() == 0 && !bits.isBroken();
        }
        at += std::min(size, payload.size() - at);
    }
    return false;
}

}  // namespace

void AVCParser::readParameterSet(std::span<const std::uint8_t> nal, AVCAccessUnit& unit) {
    if (typeOf(nal) == nalSequence) {
        std::optional<AVCSequence> sequence = AVCSequence::read(nal);
        if (!sequence) return;
        unit.hasSequence = true;
        unit.sequenceDigest = digest(unit.sequenceDigest, withoutTrailingZeros(nal));
        sequences_[sequence->id] = std::move(*sequence);
    } else if (const auto parameters = AVCPictureParameters::read(nal)) {
        unit.hasPictureParameters = true;
        unit.pictureParametersDigest = digest(unit.pictureParametersDigest, withoutTrailingZeros(nal));
        pictureParameters_[parameters->id] = *parameters;
    }
}

bool AVCParser::readSlice(std::span<const std::uint8_t> nal, AVCAccessUnit& unit) {
    unit.isIDR = typeOf(nal) == nalIDRSlice;
    const std::optional<std::uint32_t> id = AVCSlice::readParametersID(nal);
    if (!id || *id >= pictureParameters_.size()) return false;
    const std::optional<AVCPictureParameters>& parameters = pictureParameters_[*id];
    if (!parameters || !sequences_[parameters->sequenceID]) return true;
    unit.slice = AVCSlice::read(nal, *sequences_[parameters->sequenceID], *parameters);
    if (!unit.slice) return false;
    active_ = parameters->sequenceID;
    unit.type = unit.slice->type;
    return true;
}

std::optional<AVCAccessUnit> AVCParser::read(std::span<const std::uint8_t> sample, std::string& why) {
    AVCAccessUnit unit;
    bool hasSlice = false;
    for (std::size_t at = nextStartCode(sample, 0); at < sample.size();) {
        const std::uint8_t type = sample[at] & 0x1F;
        const bool isSlice = type == nalSlice || type == nalPartition || type == nalIDRSlice;
        // A slice is as long as a picture: only its header is looked at, and the next start code only where
        // that is needed.
        if (isSlice && !hasSlice) {
            if (!readSlice(sample.subspan(at), unit)) {
                why = "an AVC slice header in it is broken";
                return std::nullopt;
            }
            hasSlice = true;
            if (!unit.slice || unit.slice->isWholePicture) break;
        } else if (isSlice && unit.slice) {
            // A picture is of the type that needs most of others; its slices may differ.
            AVCAccessUnit other;
            if (readSlice(sample.subspan(at), other) && other.slice)
                unit.type = std::max(unit.type, other.type);
        }
        const std::size_t next = nextStartCode(sample, at);
        const std::size_t end = next < sample.size() ? next - 3 : next;
        const std::span<const std::uint8_t> nal = sample.subspan(at, std::max(end, at) - at);
        if (!hasSlice && !nal.empty()) {
            if (type == nalSequence || type == nalPictureParameters) readParameterSet(nal, unit);
            if (type == nalInformation) unit.isRecoveryPoint = unit.isRecoveryPoint || hasRecoveryPoint(nal);
        }
        at = next;
    }
    if (hasSlice) return unit;
    why = "it holds no AVC slice";
    return std::nullopt;
}

const AVCSequence* AVCParser::activeSequence() const {
    if (!active_ || !sequences_[*active_]) return nullptr;
    return &*sequences_[*active_];
}

}  // namespace zenquor::mxf::detail
