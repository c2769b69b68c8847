#include "MovieReport.h"

#include <system_error>

#include <fmt/format.h>

#include "CaptionSamples.h"
#include "PacketCount.h"
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

void readCaptions(const platform::AssetPtr& asset, MovieReport& report) {
    PacketCount count;
    const auto unreadable = forEachCaptionSample(asset, [&](const CaptionSample& sample) {
        count.add(fourCCString(sample.kind) + " packets", sample.packet);
        return true;
    });
    report.captions = count.kinds();
    if (unreadable > 0)
        report.faults.push_back(fmt::format("{} caption samples hold no readable packet.", unreadable));
    if (count.faulty() > 0)
        report.faults.push_back(fmt::format("{} caption distribution packets are faulty.", count.faulty()));
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
