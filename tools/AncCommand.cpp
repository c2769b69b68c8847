#include "AncCommand.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "AncillaryWalk.h"
#include "ExitStatus.h"
#include "LogOption.h"
#include "PacketText.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/sidecar/ZQRCEA608Decoder.h"
#include "zenquor/sidecar/ZQRTeletextPageReader.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"

namespace zenquor::tools {
namespace {

struct Arguments {
    std::string file, frames, log;
    bool json = false, text = true;
};

struct FrameRange {
    std::int64_t first = 0;
    std::int64_t last = INT64_MAX;
};

/// "A-B", "A-" or "A".
std::optional<FrameRange> frameRange(const std::string& text) {
    if (text.empty()) return FrameRange{};
    FrameRange range;
    const auto number = [](const std::string& digits, std::int64_t& value) {
        if (digits.empty() || digits.size() > 18 ||
            digits.find_first_not_of("0123456789") != std::string::npos)
            return false;
        value = std::stoll(digits);
        return true;
    };
    const auto dash = text.find('-');
    if (!number(text.substr(0, dash), range.first)) return std::nullopt;
    if (dash == std::string::npos) {
        range.last = range.first;
    } else if (dash + 1 < text.size() && !number(text.substr(dash + 1), range.last)) {
        return std::nullopt;
    }
    return range.first <= range.last ? std::optional(range) : std::nullopt;
}

std::string hex(const ZQData& data) {
    std::string text;
    for (const std::uint8_t byte : data) text += fmt::format("{:02X}", byte);
    return text;
}

void printPlain(const AncillaryPacket& entry) {
    std::string parts;
    for (const auto& part : describePacket(entry.packet)) parts += "  " + part;
    const auto line = entry.packet->lineNumber() > 0 ? std::to_string(entry.packet->lineNumber()) : "-";
    fmt::print("{:>7}  {}  line {:>3}  {:02X}/{:02X}  {}{}\n", entry.frame,
               entry.timecode ? entry.timecode->description() : "--:--:--:--", line, entry.packet->DID(),
               entry.packet->SDID(), entry.kind, parts);
}

/// The bytes of a packet as they were read.
ZQData originalBytes(const ZQRVANCPacketPtr& packet) {
    const auto captions = std::dynamic_pointer_cast<ZQRVANCClosedCaptionPacket>(packet);
    const auto subtitles = std::dynamic_pointer_cast<ZQRVANCOP47Packet>(packet);
    return captions ? captions->originalData() : subtitles ? subtitles->originalData() : packet->sdiData();
}

void printObject(const nlohmann::ordered_json& object) {
    fmt::print("{}\n", object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void printJSON(const AncillaryPacket& entry) {
    nlohmann::ordered_json line;
    line["frame"] = entry.frame;
    line["timecode"] = entry.timecode ? nlohmann::ordered_json(entry.timecode->description())
                                      : nlohmann::ordered_json(nullptr);
    if (const auto number = entry.packet->lineNumber(); number > 0) line["line"] = number;
    if (entry.packet->lineNumber() <= 0) line["line"] = nullptr;
    line["did"] = entry.packet->DID();
    line["sdid"] = entry.packet->SDID();
    line["kind"] = entry.kind;
    line["description"] = describePacket(entry.packet);
    line["data"] = hex(originalBytes(entry.packet));
    printObject(line);
}

std::string serviceName(const ZQRScreenBlock& block) {
    if (block.mode() == ZQRScreenBlock::Mode::Teletext) return fmt::format("page {:X}", block.service());
    return fmt::format("{}{}", block.mode() == ZQRScreenBlock::Mode::Text ? "T" : "CC", block.service());
}

/// What a viewer saw, told when it has left the screen.
void printText(const ZQRScreenBlock& block, bool json) {
    if (json) {
        nlohmann::ordered_json line;
        line["service"] = serviceName(block);
        line["in"] = block.timecodeIn().description();
        line["out"] = block.timecodeOut().description();
        line["text"] = block.text();
        line["rows"] = nlohmann::ordered_json::array();
        for (const auto& row : block.rows()) line["rows"].push_back({row.row, row.column});
        printObject(line);
        return;
    }
    std::string text = block.text();
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
        text.replace(at, 1, " | ");
    fmt::print("         {} to {}  {}  \"{}\"\n", block.timecodeIn(), block.timecodeOut(), serviceName(block),
               text);
}

void printSummary(const AncillaryWalk& walk, const ZQRCEA608Decoder::Statistics& captions) {
    nlohmann::ordered_json summary;
    summary["packets"] = walk.packets;
    summary["pairs"] = captions.pairs;
    summary["nullPairs"] = captions.nullPairs;
    summary["parityErrors"] = captions.parityErrors;
    summary["unknownCodes"] = captions.unknownCodes;
    summary["xdsPackets"] = captions.xdsPackets;
    summary["xdsChecksumErrors"] = captions.xdsChecksumErrors;
    summary["faults"] = walk.faults;
    printObject({{"summary", summary}});
}

int list(const Arguments& arguments, const FrameRange& range) {
    bool isShown = false;
    const auto show = [&](const ZQRScreenBlockPtr& block) {
        if (isShown && arguments.text) printText(*block, arguments.json);
    };
    ZQRCEA608Decoder captions(show);
    ZQRTeletextPageReader teletext({}, show);
    ZQCKTimecode next;
    ZQErrorPtr error;
    const auto walk = AncillaryWalk::ofFile(
        arguments.file,
        [&](const AncillaryPacket& entry) {
            isShown = entry.frame >= range.first && entry.frame <= range.last;
            if (isShown) (arguments.json ? printJSON : printPlain)(entry);
            captions.addVancPackets({entry.packet}, entry.time);
            teletext.addVancPackets({entry.packet}, entry.time);
            next = entry.time.addingFrames(1);
        },
        &error);
    if (!walk) {
        fmt::print(stderr, "zenquor: {}\n", error->userInterfaceDescription());
        return ExitFailure;
    }
    captions.finish(next);
    teletext.finish(next);
    if (arguments.json) printSummary(*walk, captions.statistics());
    for (const auto& fault : walk->faults) fmt::print(stderr, "zenquor: {}\n", fault);
    return ExitSuccess;
}

}  // namespace

void addAncCommand(CLI::App& app, int& status) {
    auto* const command = app.add_subcommand(
        "anc", "List the ancillary packets of a file frame by frame, and what a viewer reads in them");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("FILE", arguments->file, "Movie, MXF, SCC or MCC file to read")->required()->type_name("");
    command->add_flag("--json", arguments->json, "One JSON object a line, the last one a summary");
    command->add_flag("!--packets-only", arguments->text, "Leave out what a viewer reads");
    command->add_option("--frames", arguments->frames, "Frames A to B only, counted from 0")
        ->option_text("A-B");
    addLogOption(*command, arguments->log);
    command->callback([arguments, &status] {
        const auto range = frameRange(arguments->frames);
        if (!range)
            throw CLI::ValidationError(
                fmt::format("\"{}\" is not a range of frames. Write A-B.", arguments->frames));
        applyLogOption(arguments->log);
        status = list(*arguments, *range);
    });
}

}  // namespace zenquor::tools
