#include "CueSheet.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <optional>

#include <fmt/format.h>

namespace zenquor::tools {
namespace {

constexpr std::size_t timecodeLength = 11;
constexpr std::int32_t highestMessageNumber = 255;
constexpr std::size_t packetSize = 255;  // user data words of an ancillary packet; messages are not split

using Operation = ZQRVANCSCTEOperation;

/// A cue's values by name; what was not typed has its default.
struct Values {
    std::map<std::string_view, std::uint64_t> numbers;
    std::string upid;

    std::int32_t operator[](std::string_view key) const {
        const auto found = numbers.find(key);
        return found == numbers.end() ? 0 : static_cast<std::int32_t>(found->second);
    }
    bool flag(std::string_view key, bool absent) const {
        return numbers.count(key) > 0 ? (*this)[key] != 0 : absent;
    }
};

struct Key {
    std::string_view name;
    std::uint64_t maximum;
};
constexpr Key spliceKeys[] = {{"event", 0xFFFFFFFF}, {"program", 0xFFFF}, {"preroll", 0xFFFF},  // ms
                              {"duration", 6553},                                               // seconds
                              {"avail", 255},        {"avails", 255},     {"auto-return", 1},
                              {"dpi-pid", 0xFFFF}};
constexpr Key signalKeys[] = {{"preroll", 0xFFFF}, {"dpi-pid", 0xFFFF}};
constexpr Key segmentationKeys[] = {{"event", 0xFFFFFFFF}, {"preroll", 0xFFFF}, {"cancel", 1},
                                    {"duration", 0xFFFF},  {"upid-type", 255},  {"type", 255},
                                    {"segment", 255},      {"segments", 255},   {"extension", 255},
                                    {"unrestricted", 1},   {"web", 1},          {"no-blackout", 1},
                                    {"archive", 1},        {"devices", 255},    {"has-sub", 1},
                                    {"sub", 255},          {"subs", 255},       {"dpi-pid", 0xFFFF}};
constexpr std::string_view upidKey = "upid";

struct Name {
    std::string_view name;
    std::int32_t opID;
    std::int32_t action;
};
constexpr Name names[] = {
    {"splice-start", Operation::SpliceRequest, Operation::SpliceStartNormal},
    {"splice-start-immediate", Operation::SpliceRequest, Operation::SpliceStartImmediate},
    {"splice-end", Operation::SpliceRequest, Operation::SpliceEndNormal},
    {"splice-end-immediate", Operation::SpliceRequest, Operation::SpliceEndImmediate},
    {"splice-cancel", Operation::SpliceRequest, Operation::SpliceCancel},
    {"time-signal", Operation::TimeSignalRequest, 0},
    {"segmentation", Operation::InsertSegmentationDescriptorRequest, 0}};

std::span<const Key> keysOf(std::int32_t opID) {
    if (opID == Operation::SpliceRequest) return spliceKeys;
    if (opID == Operation::TimeSignalRequest) return signalKeys;
    return segmentationKeys;
}

Operation operationFor(const Name& name, const Values& v) {
    constexpr std::int32_t tenthsPerSecond = 10;
    switch (name.opID) {
        case Operation::SpliceRequest:
            return Operation::insertSpliceAction(name.action, static_cast<std::uint32_t>(v["event"]),
                                                 v["program"], v["preroll"], v["duration"] * tenthsPerSecond,
                                                 v["avail"], v["avails"], v.flag("auto-return", false));
        case Operation::TimeSignalRequest:
            return Operation::timeSignalRequestWithPreRollTime(v["preroll"]);
        default:
            return Operation::insertSegmentationDescriptorRequestWithEventID(
                static_cast<std::uint32_t>(v["event"]), v["cancel"], v["duration"], v["upid-type"], v.upid,
                v["type"], v["segment"], v["segments"], v["extension"], v.flag("unrestricted", true),
                v.flag("web", true), v.flag("no-blackout", true), v.flag("archive", true), v["devices"],
                v["has-sub"], v["sub"], v["subs"]);
    }
}

/// An empty message, with the time signal that segmentation descriptors want beside them.
std::shared_ptr<ZQRVANCSCTEPacket> messageFor(bool needsSignal, std::int32_t preRoll) {
    const auto message = ZQRVANCSCTEPacket::init();
    if (needsSignal) message->addOperation(Operation::timeSignalRequestWithPreRollTime(preRoll));
    return message;
}

/// Adds the operation when the message still fits a packet.
bool addToMessage(ZQRVANCSCTEPacket& message, const Operation& operation) {
    // A single operation has a shorter form: only the whole message tells its size.
    const auto trial = ZQRVANCSCTEPacket::init();
    for (const auto& present : message.operations()) trial->addOperation(present);
    return trial->addOperation(operation) && trial->sdiData().size() <= packetSize &&
           message.addOperation(operation);
}

bool isSegmentation(const Operation& operation) {
    return operation.opID() == Operation::InsertSegmentationDescriptorRequest;
}

/// Reads one "key=value". @return what is wrong with it.
std::string readValue(std::string_view item, const Name& name, Values& values) {
    const std::size_t equals = item.find('=');
    const std::string_view key = item.substr(0, equals);
    const std::string_view text = equals == std::string_view::npos ? "" : item.substr(equals + 1);
    if (key == upidKey && name.opID == Operation::InsertSegmentationDescriptorRequest) {
        values.upid = text;
        return {};
    }
    for (const Key& known : keysOf(name.opID)) {
        if (known.name != key) continue;
        std::uint64_t number = 0;
        const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (status != std::errc() || end != text.data() + text.size() || number > known.maximum)
            return fmt::format("\"{}\": {} is a number from 0 to {}", item, key, known.maximum);
        values.numbers[known.name] = number;
        return {};
    }
    return fmt::format("{} has no \"{}\"", name.name, key);
}

}  // namespace

std::string CueSheet::help() {
    std::string text = "Cue on the frame of its timecode:";
    for (const auto& name : names) text += fmt::format(" {}", name.name);
    return text +
           ", each with ,key=value…: event preroll (ms) duration (s) program avail avails auto-return; "
           "segmentation: upid upid-type type segment segments";
}

std::string CueSheet::add(std::string_view text, ZQCKTimebase timebase) {
    const auto wrong = [&](const std::string& why) { return fmt::format("Cue \"{}\": {}.", text, why); };
    const auto timecode = ZQCKTimecode::timecodeWithString(text.substr(0, timecodeLength), timebase);
    if (!timecode || text.size() <= timecodeLength || text[timecodeLength] != ':')
        return wrong("write HH:MM:SS:FF:NAME,key=value");
    std::string typed(text.substr(0, timecodeLength));
    std::ranges::replace(typed, ';', ':');
    if (timecode->descriptionWithFrameSeparator(":") != typed)
        return wrong(
            fmt::format("there is no such timecode at {} frames per second", timebase.description()));
    std::string_view rest = text.substr(timecodeLength + 1);
    const std::string_view typedName = rest.substr(0, rest.find(','));
    const auto* const name = std::ranges::find(names, typedName, &Name::name);
    if (name == std::end(names)) return wrong(fmt::format("there is no cue \"{}\"", typedName));
    Values values;
    for (rest.remove_prefix(typedName.size()); !rest.empty();) {
        rest.remove_prefix(1);
        const std::string_view item = rest.substr(0, rest.find(','));
        if (auto mistake = readValue(item, *name, values); !mistake.empty()) return wrong(mistake);
        rest.remove_prefix(item.size());
    }
    const Operation operation = operationFor(*name, values);
    if (!addToMessage(*messageFor(isSegmentation(operation), values["preroll"]), operation))
        return wrong("it is too long for a packet; shorten its upid");
    cues_.push_back({*timecode, std::string(text), operation, values["preroll"], values["dpi-pid"]});
    return {};
}

/// The next message for the frame: the cues of one DPI PID index that have not been sent.
ZQRVANCPacketPtr CueSheet::nextMessageAt(const ZQCKTimecode& timecode) {
    const auto waits = [&](const Cue& cue) { return !cue.sent && cue.timecode == timecode; };
    const auto first = std::ranges::find_if(cues_, waits);
    if (first == cues_.end()) return nullptr;
    const auto belongs = [&, dpiPID = first->dpiPID](const Cue& cue) {
        return waits(cue) && cue.dpiPID == dpiPID;
    };
    const bool hasSignal = std::ranges::any_of(
        cues_, [&](const Cue& cue) { return belongs(cue) && !isSegmentation(cue.operation); });
    const auto message = messageFor(!hasSignal, first->preRoll);
    message->setDPIPID(first->dpiPID);
    messageNumber_ = messageNumber_ % highestMessageNumber + 1;
    message->setMessageNumber(messageNumber_);
    for (Cue& cue : cues_) {
        if (!belongs(cue)) continue;
        if (!addToMessage(*message, cue.operation)) break;  // it goes into the next message
        cue.sent = true;
    }
    return message;
}

ZQRVANCPacketList CueSheet::packetsAt(const ZQCKTimecode& timecode) {
    ZQRVANCPacketList packets;
    while (const auto message = nextMessageAt(timecode)) packets.push_back(message);
    return packets;
}

std::vector<std::string> CueSheet::unsent() const {
    std::vector<std::string> texts;
    for (const Cue& cue : cues_) {
        if (!cue.sent) texts.push_back(cue.text);
    }
    return texts;
}

}  // namespace zenquor::tools
