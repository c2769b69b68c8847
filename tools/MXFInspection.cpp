#include "MXFInspection.h"

#include <string>

#include <fmt/format.h>

#include "AncillaryWalk.h"
#include "FactLine.h"
#include "MXFFile.h"
#include "PacketCount.h"

namespace zenquor::tools {
namespace {

using JSON = nlohmann::ordered_json;

std::string ratio(mxf::Rational value, char between) {
    return fmt::format("{}{}{}", value.numerator, between, value.denominator);
}

const char* kindOf(std::int32_t streamKind) {
    switch (streamKind) {
        case mxf::streamKindVideo:
            return "video";
        case mxf::streamKindAudio:
            return "audio";
        case mxf::streamKindData:
            return "data";
        default:
            return "other";
    }
}

const char* kindOf(mxf::PartitionReport::Kind kind) {
    switch (kind) {
        case mxf::PartitionReport::Kind::Header:
            return "header";
        case mxf::PartitionReport::Kind::Body:
            return "body";
        case mxf::PartitionReport::Kind::GenericStream:
            return "generic stream";
        case mxf::PartitionReport::Kind::Footer:
            return "footer";
    }
    return "";
}

const char* layoutName(std::int32_t layout) {
    constexpr const char* names[] = {"full frame", "separate fields", "single field", "mixed fields",
                                     "segmented frame"};
    return layout >= 0 && layout < 5 ? names[layout] : "unknown";
}

void addText(JSON& facts, const char* key, const std::string& text) {
    if (!text.empty()) facts[key] = text;
}

void addPicture(JSON& facts, const mxf::StreamReport& stream) {
    facts["width"] = stream.storedWidth;
    facts["height"] = stream.storedHeight;
    if (stream.displayWidth > 0)
        facts["display"] = fmt::format("{}x{}", stream.displayWidth, stream.displayHeight);
    facts["layout"] = layoutName(stream.frameLayout);
    if (stream.aspectRatio.denominator != 0) facts["aspectRatio"] = ratio(stream.aspectRatio, ':');
    if (stream.componentDepth > 0) facts["depth"] = stream.componentDepth;
    if (stream.horizontalSubsampling > 0)
        facts["subsampling"] = fmt::format("{}:{}", stream.horizontalSubsampling, stream.verticalSubsampling);
    addText(facts, "primaries", stream.colorPrimaries);
    addText(facts, "transferFunction", stream.transferCharacteristic);
    addText(facts, "matrix", stream.codingEquations);
    if (stream.bitRate > 0) facts["bitRate"] = stream.bitRate;
    if (stream.maxGOP > 0) facts["maxGOP"] = stream.maxGOP;
}

void addSound(JSON& facts, const mxf::StreamReport& stream) {
    facts["sampleRate"] = stream.format.sampleRate;
    facts["channels"] = stream.format.channelCount;
    facts["bits"] = stream.quantizationBits;
}

JSON factsOf(const mxf::StreamReport& stream) {
    JSON facts;
    facts["id"] = stream.trackID;
    facts["kind"] = kindOf(stream.format.streamKind);
    facts["codec"] = stream.essence;
    facts["number"] = fmt::format("{:08x}", stream.trackNumber);
    addText(facts, "name", stream.name);
    facts["editRate"] = ratio(stream.editRate, '/');
    facts["duration"] = stream.duration >= 0 ? JSON(stream.duration) : JSON(nullptr);
    facts["wrapping"] = stream.wrapping;
    facts["descriptor"] = stream.descriptor;
    facts["container"] = stream.containerLabel;
    addText(facts, "coding", stream.codingLabel);
    if (stream.format.streamKind == mxf::streamKindVideo) addPicture(facts, stream);
    if (stream.format.streamKind == mxf::streamKindAudio) addSound(facts, stream);
    return facts;
}

JSON factsOf(const mxf::PartitionReport& partition) {
    return {{"kind", kindOf(partition.kind)},
            {"state", fmt::format("{} {}", partition.isClosed ? "closed" : "open",
                                  partition.isComplete ? "complete" : "incomplete")},
            {"offset", partition.offset},
            {"headerBytes", partition.headerBytes},
            {"indexBytes", partition.indexBytes},
            {"essenceBytes", partition.essenceBytes}};
}

JSON timecodeFacts(const MXFFile& file) {
    const auto first = file.timecodeOf(0);
    if (!first) return nullptr;
    return {{"first", first->description()},
            {"last", first->addingFrames(std::max<std::int64_t>(file.info().duration, 1) - 1).description()},
            {"rate", file.timebase().description()},
            {"dropFrame", file.info().dropFrame},
            {"reel", file.report().reelName},
            {"frames", file.info().duration}};
}

JSON factsOf(const mxf::IdentificationReport& program) {
    return {{"company", program.company},
            {"product", program.product},
            {"version", program.version},
            {"platform", program.platform},
            {"date", program.date}};
}

template <typename Entries>
JSON listOf(const Entries& entries) {
    JSON list = JSON::array();
    for (const auto& entry : entries) list.push_back(factsOf(entry));
    return list;
}

JSON factsOf(const MXFFile& file) {
    const auto& report = file.report();
    JSON facts;
    facts["container"] = fmt::format("MXF {}", report.operationalPattern);
    facts["version"] = report.version;
    facts["size"] = report.fileBytes;
    facts["duration"] = file.seconds();
    facts["frames"] = report.editUnits;
    facts["growing"] = file.info().isGrowing;
    facts["kag"] = report.kagSize;
    facts["runIn"] = report.runInBytes;
    facts["randomIndexPack"] = report.hasRandomIndexPack;
    facts["index"] = {{"segments", report.index.segments},
                      {"editUnits", report.index.editUnits},
                      {"editUnitBytes", report.index.editUnitBytes},
                      {"used", report.index.isUsed}};
    facts["tracks"] = listOf(report.streams);
    facts["timecode"] = timecodeFacts(file);
    addText(facts, "name", report.clipName);
    addText(facts, "created", report.creationDate);
    facts["programs"] = listOf(report.identifications);
    facts["partitions"] = listOf(report.partitions);
    return facts;
}

}  // namespace

std::optional<nlohmann::ordered_json> inspectMXF(const std::filesystem::path& path, ZQErrorPtr* error) {
    const auto file = MXFFile::open(path, error);
    if (!file) return std::nullopt;
    PacketCount count;
    const auto walk = AncillaryWalk::ofMXF(*file, [&](const AncillaryPacket& entry) {
        count.add(PacketCount::nameOf(entry.packet), entry.packet);
    });
    JSON facts;
    facts["file"] = path.string();
    facts.update(factsOf(*file));
    facts["captions"] = count.kinds();
    facts["faults"] = walk.faults;
    if (count.faulty() > 0)
        facts["faults"].push_back(fmt::format("{} ancillary packets are faulty.", count.faulty()));
    return facts;
}

void printMXF(const nlohmann::ordered_json& facts) {
    const auto text = [](const JSON& value) {
        return value.is_string() ? value.get<std::string>() : value.dump();
    };
    fmt::print("{}\n  {}  version {}  {} bytes  {:.3f} s  {} frames{}\n", text(facts["file"]),
               text(facts["container"]), text(facts["version"]), text(facts["size"]),
               facts["duration"].get<double>(), text(facts["frames"]),
               facts["growing"].get<bool>() ? "  growing, or cut off: there is no footer" : "");
    for (const auto& track : facts["tracks"])
        fmt::print("  track {} {} {}{}\n", text(track["id"]), text(track["kind"]), text(track["codec"]),
                   factLine(track, {"id", "kind", "codec", "container", "coding", "descriptor"}));
    if (!facts["timecode"].is_null()) fmt::print("  timecode{}\n", factLine(facts["timecode"], {}));
    for (const auto& [kind, count] : facts["captions"].items()) fmt::print("  {} {}\n", text(count), kind);
    for (const auto& program : facts["programs"]) fmt::print("  written by{}\n", factLine(program, {}));
    fmt::print("  index{}\n", factLine(facts["index"], {}));
    const auto& partitions = facts["partitions"];
    constexpr std::size_t shown = 3;  // of a long recording the first two and the last
    for (std::size_t i = 0; i < partitions.size(); ++i) {
        if (i >= shown - 1 && i + 1 < partitions.size()) {
            if (i == shown - 1)
                fmt::print("  … {} partitions more, --json lists them\n", partitions.size() - shown);
            continue;
        }
        fmt::print("  partition {}{}\n", text(partitions[i]["kind"]), factLine(partitions[i], {"kind"}));
    }
    for (const auto& fault : facts["faults"]) fmt::print("  FAULT {}\n", text(fault));
}

}  // namespace zenquor::tools
