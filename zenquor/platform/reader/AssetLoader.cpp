#include "zenquor/platform/reader/AssetLoader.h"

#include <algorithm>

extern "C" {
#include <libavformat/avformat.h>
}

#include "zenquor/platform/reader/Container.h"
#include "zenquor/platform/reader/StreamDescription.h"

namespace zenquor::platform::detail {
namespace {

void addMetadata(const AVDictionary* from, ZQDictionary& to) {
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(from, "", entry, AV_DICT_IGNORE_SUFFIX))) {
        if (!to.contains(entry->key)) to.set(entry->key, entry->value);
    }
}

/// A start timecode may stand with the file, a picture track or a timecode track.
void addTimecode(const AVFormatContext& context, ZQDictionary& to) {
    for (unsigned i = 0; i < context.nb_streams && !to.contains("timecode"); ++i) {
        const auto* const entry = av_dict_get(context.streams[i]->metadata, "timecode", nullptr, 0);
        if (entry) to.set("timecode", entry->value);
    }
}

}  // namespace

AssetPtr AssetLoader::load(const std::filesystem::path& url, ZQErrorPtr* error) {
    const auto container = Container::open(url, 0, error);
    if (!container) return nullptr;
    AVFormatContext& context = container->context();
    std::shared_ptr<Asset> asset(new Asset);
    asset->url_ = url;
    asset->containerName_ = context.iformat->name;
    asset->readableSize_ = container->file()->size();
    asset->isFragmented_ = container->tables() && container->tables()->isFragmented;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVStream& stream = *context.streams[i];
        asset->tracks_.push_back(
            describeStream(context, stream, container->origin(stream), container->tables().get()));
    }
    addMetadata(context.metadata, asset->metadata_);
    addTimecode(context, asset->metadata_);
    asset->duration_ = durationOf(*asset);
    if (!asset->duration_.isValid() && context.duration > 0)
        asset->duration_ = {context.duration, AV_TIME_BASE};
    return asset;
}

/// The end of the pictures, or of everything in a file without pictures; exact, unlike the container's own
/// figure.
MediaTime AssetLoader::durationOf(const Asset& asset) {
    MediaTime longest;
    const bool hasPictures = !asset.tracksWithMediaType(mediaTypeVideo).empty();
    for (const auto& track : asset.tracks_) {
        if (hasPictures && track.mediaType != mediaTypeVideo) continue;
        if (!track.duration.isValid() || track.duration.value <= 0) continue;
        longest = std::max(longest, track.start.isValid() ? track.start + track.duration : track.duration);
    }
    return longest;
}

}  // namespace zenquor::platform::detail
