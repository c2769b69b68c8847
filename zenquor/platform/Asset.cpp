#include "zenquor/platform/Asset.h"

#include <exception>

#include "zenquor/platform/reader/AssetLoader.h"

namespace zenquor::platform {

AssetPtr Asset::assetWithURL(const std::filesystem::path& url, ZQErrorPtr* error) {
    try {
        return detail::AssetLoader::load(url, error);
    } catch (const std::exception& reason) {
        fail(error, ZQError::errorWithDomain(assetErrorDomain, assetErrorCannotOpen, reason.what()));
        return nullptr;
    }
}

std::vector<AssetTrack> Asset::tracksWithMediaType(FourCC mediaType) const {
    std::vector<AssetTrack> found;
    for (const auto& track : tracks_) {
        if (track.mediaType == mediaType) found.push_back(track);
    }
    return found;
}

}  // namespace zenquor::platform
