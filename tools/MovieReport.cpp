#include "MovieReport.h"

#include <system_error>

#include <fmt/format.h>

#include "CaptionSamples.h"
#include "PacketText.h"
#include "TimecodeTrack.h"
#include "zenquor/platform/MovieStructure.h"

namespace zenquor::tools {
namespace {

void readTimecode(const platform::AssetPtr& asset, MovieReport& report) {
    const auto track = TimecodeTrack::ofAsset(asset);
    if (!track) return;
    report.timecode = MovieReport::Timecode{track->first().description(),
                                            track->last().description(),
                                            track->timebase().description(),
                                            track->timebase().dropFrameTimecode(),
                                            track->reel(),
                                            track->frameCount()};
    for (auto& sentence : track->breaks()) report.faults.push_back(std::move(sentence));
}

bool isNullPair(std::span<const std::uint8_t> pair) {
    return (pair[0] & 0x7F) == 0 && (pair[1] & 0x7F) == 0;
}

void readCaptions(const platform::AssetPtr& asset, MovieReport& report) {
    std::uint64_t broken = 0;
    const auto unreadable = forEachCaptionSample(asset, [&](const CaptionSample& sample) {
        ++report.captions[fourCCString(sample.kind) + " packets"];
        for (const auto& part : describePacket(sample.packet)) broken += part.starts_with("FAULT") ? 1 : 0;
        sample.packet->enumerate608Pairs([&](int field, std::span<const std::uint8_t, 2> pair) {
            if (!isNullPair(pair)) ++report.captions[fmt::format("CEA-608 pairs in field {}", field)];
        });
        return true;
    });
    if (unreadable > 0)
        report.faults.push_back(fmt::format("{} caption samples hold no readable packet.", unreadable));
    if (broken > 0)
        report.faults.push_back(fmt::format("{} caption distribution packets are faulty.", broken));
}

}  // namespace

std::optional<MovieReport> MovieReport::ofFile(const std::filesystem::path& file, ZQErrorPtr* error) {
    const auto asset = platform::Asset::assetWithURL(file, error);
    if (!asset) return std::nullopt;
    MovieReport report;
    report.file = file;
    report.container = asset->containerName();
    report.duration = asset->duration().seconds();
    report.tracks = asset->tracks();
    report.metadata = asset->metadata();
    std::error_code status;
    report.size = std::filesystem::file_size(file, status);
    if (auto structure = platform::MovieStructure::structureOfFile(file)) {
        report.isFragmented = structure->isFragmented;
        report.fragments = structure->fragmentCount;
        report.faults = std::move(structure->faults);
    }
    readTimecode(asset, report);
    readCaptions(asset, report);
    return report;
}

}  // namespace zenquor::tools
