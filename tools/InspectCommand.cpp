#include "InspectCommand.h"

#include <CLI/CLI.hpp>

#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ExitStatus.h"
#include "FactLine.h"
#include "LogOption.h"
#include "MXFFile.h"
#include "MXFInspection.h"
#include "MovieReport.h"

namespace zenquor::tools {
namespace {

using JSON = nlohmann::ordered_json;

struct Arguments {
    std::string file, log;
    bool json = false;
};

const char* kindOf(FourCC mediaType) {
    switch (mediaType) {
        case platform::mediaTypeVideo:
            return "video";
        case platform::mediaTypeAudio:
            return "audio";
        case platform::mediaTypeTimecode:
            return "timecode";
        case platform::mediaTypeClosedCaption:
            return "captions";
        default:
            return "other";
    }
}

template <typename Tag>
JSON nameOrNull(const std::optional<Tag>& tag) {
    return tag ? JSON(platform::nameOf(*tag)) : JSON(nullptr);
}

JSON videoFacts(const platform::AssetTrack& track, const platform::VideoFormat& video) {
    JSON facts;
    facts["width"] = video.width;
    facts["height"] = video.height;
    if (video.cleanAperture)
        facts["cleanAperture"] = {video.cleanAperture->width, video.cleanAperture->height};
    if (video.pixelAspectRatio) {
        facts["pixelAspectRatio"] = fmt::format("{}:{}", video.pixelAspectRatio->horizontalSpacing,
                                                video.pixelAspectRatio->verticalSpacing);
    }
    facts["primaries"] = nameOrNull(video.colorPrimaries);
    facts["transferFunction"] = nameOrNull(video.transferFunction);
    facts["matrix"] = nameOrNull(video.yCbCrMatrix);
    if (video.fieldCount) facts["fields"] = *video.fieldCount;
    if (video.fieldDetail) facts["fieldDetail"] = platform::nameOf(*video.fieldDetail);
    facts["frameRate"] = fmt::format("{}/{}", track.frameRateNumerator, track.frameRateDenominator);
    return facts;
}

JSON audioFacts(const platform::AudioFormat& audio) {
    const auto& description = audio.description;
    return {{"sampleRate", description.sampleRate},
            {"channels", description.channelsPerFrame},
            {"bits", description.bitsPerChannel}};
}

JSON factsOf(const platform::AssetTrack& track) {
    JSON facts;
    facts["id"] = track.trackID;
    facts["kind"] = kindOf(track.mediaType);
    facts["code"] = track.formatDescription ? fourCCString(track.formatDescription->mediaSubType()) : "";
    facts["codec"] = track.codecName;
    facts["start"] = track.start.seconds();
    facts["duration"] = track.duration.seconds();
    facts["samples"] = track.sampleCount;
    if (!track.languageCode.empty()) facts["language"] = track.languageCode;
    if (!track.timecodeTrackIDs.empty()) facts["timecodeTracks"] = track.timecodeTrackIDs;
    if (!track.formatDescription) return facts;
    if (const auto* video = track.formatDescription->videoFormat()) facts.update(videoFacts(track, *video));
    if (const auto* audio = track.formatDescription->audioFormat()) facts.update(audioFacts(*audio));
    return facts;
}

JSON factsOf(const MovieReport& report) {
    JSON facts;
    facts["file"] = report.file.string();
    facts["container"] = report.container;
    facts["size"] = report.size;
    facts["duration"] = report.duration;
    facts["fragmented"] = report.isFragmented;
    facts["fragments"] = report.fragments;
    facts["tracks"] = JSON::array();
    for (const auto& track : report.tracks) facts["tracks"].push_back(factsOf(track));
    if (const auto& timecode = report.timecode) {
        facts["timecode"] = {{"first", timecode->first}, {"last", timecode->last},
                             {"rate", timecode->rate},   {"dropFrame", timecode->dropFrame},
                             {"reel", timecode->reel},   {"frames", timecode->frames}};
    } else {
        facts["timecode"] = nullptr;
    }
    facts["captions"] = report.captions;
    facts["metadata"] = JSON::object();
    for (const auto& [key, value] : report.metadata) facts["metadata"][key] = value.description();
    facts["faults"] = report.faults;
    return facts;
}

void printPlain(const JSON& facts) {
    fmt::print("{}\n  {}  {} bytes  {:.3f} s  {}\n", facts["file"].get<std::string>(),
               facts["container"].get<std::string>(), facts["size"].get<std::uint64_t>(),
               facts["duration"].get<double>(),
               facts["fragmented"].get<bool>()
                   ? fmt::format("{} fragments", facts["fragments"].get<std::uint64_t>())
                   : std::string("plain"));
    for (const auto& track : facts["tracks"]) {
        fmt::print("  track {} {} {}{}\n", track["id"].get<std::uint32_t>(), track["kind"].get<std::string>(),
                   track["code"].get<std::string>(), factLine(track, {"id", "kind", "code"}));
    }
    if (!facts["timecode"].is_null()) fmt::print("  timecode{}\n", factLine(facts["timecode"], {}));
    for (const auto& [kind, count] : facts["captions"].items())
        fmt::print("  {} {}\n", count.get<std::uint64_t>(), kind);
    for (const auto& [key, value] : facts["metadata"].items())
        fmt::print("  {}: {}\n", key, value.get<std::string>());
    for (const auto& fault : facts["faults"]) fmt::print("  FAULT {}\n", fault.get<std::string>());
}

std::optional<JSON> factsOf(const std::filesystem::path& file, ZQErrorPtr* error) {
    if (isMXF(file)) return inspectMXF(file, error);
    const auto report = MovieReport::ofFile(file, error);
    return report ? std::optional(factsOf(*report)) : std::nullopt;
}

int inspect(const Arguments& arguments) {
    ZQErrorPtr error;
    const auto facts = factsOf(std::filesystem::path(arguments.file), &error);
    if (!facts) {
        fmt::print(stderr, "zenquor: {}\n", error->userInterfaceDescription());
        return ExitFailure;
    }
    // Names and metadata may hold any bytes; through the dump and back they are sound UTF-8.
    const std::string dump = facts->dump(2, ' ', false, JSON::error_handler_t::replace);
    if (arguments.json) {
        fmt::print("{}\n", dump);
    } else {
        (isMXF(arguments.file) ? printMXF : printPlain)(JSON::parse(dump));
    }
    return ExitSuccess;
}

}  // namespace

void addInspectCommand(CLI::App& app, int& status) {
    auto* const command =
        app.add_subcommand("inspect", "Tell what a movie or an MXF file holds and what is wrong with it");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("FILE", arguments->file, "Movie or MXF file to look at")->required()->type_name("");
    command->add_flag("--json", arguments->json, "One JSON object for programs");
    addLogOption(*command, arguments->log);
    command->callback([arguments, &status] {
        applyLogOption(arguments->log);
        status = inspect(*arguments);
    });
}

}  // namespace zenquor::tools
