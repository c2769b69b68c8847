#include "zenquor/platform/AssetReader.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
}

#include "zenquor/platform/reader/TrackOutput.h"

namespace zenquor::platform {

struct AssetReader::Implementation {
    AssetPtr asset;
    std::shared_ptr<detail::PacketReader> packets;
    std::vector<AssetReaderTrackOutputPtr> outputs;
    MediaTime start;
    std::shared_ptr<detail::ReaderState> state = std::make_shared<detail::ReaderState>();

    bool startReading(ZQErrorPtr* error);
    void selectStreams();
};

AssetReader::AssetReader() : implementation_(std::make_shared<Implementation>()) {}
AssetReader::~AssetReader() = default;

AssetReaderPtr AssetReader::assetReaderWithAsset(AssetPtr asset, ZQErrorPtr* error) {
    try {
        if (!asset) {
            fail(error, ZQError::errorWithDomain(assetErrorDomain, assetErrorCannotOpen,
                                                 "There is no asset to read."));
            return nullptr;
        }
        auto container = detail::Container::open(asset->url(), asset->readableSize(), nullptr);
        // A recording that was finished meanwhile has its tables where the old end does not reach.
        if (!container) container = detail::Container::open(asset->url(), 0, error);
        if (!container) return nullptr;
        AssetReaderPtr reader(new AssetReader);
        reader->implementation_->packets =
            std::make_shared<detail::PacketReader>(std::move(container), asset->url());
        reader->implementation_->asset = std::move(asset);
        return reader;
    } catch (const std::exception& reason) {
        fail(error, ZQError::errorWithDomain(assetErrorDomain, assetErrorCannotOpen, reason.what()));
        return nullptr;
    }
}

void AssetReader::addOutput(AssetReaderTrackOutputPtr output) {
    if (!output || status() != AssetReaderStatus::Unknown || output->implementation().state) return;
    output->implementation().state = implementation_->state;
    implementation_->outputs.push_back(std::move(output));
}

void AssetReader::setStartTime(MediaTime start) {
    implementation_->start = start;
}

/// Tells the demultiplexer what is wanted and puts it where the start can be decoded.
void AssetReader::Implementation::selectStreams() {
    int reference = -1;
    FourCC referenceType = 0;
    for (const auto& output : outputs) {
        const auto& inside = output->implementation();
        if (inside.readsTables(packets->container())) continue;
        const auto index = static_cast<int>(inside.track.index);
        packets->want(index);
        const bool isBetter = inside.track.mediaType == mediaTypeVideo && referenceType != mediaTypeVideo;
        if (reference >= 0 && !isBetter) continue;
        reference = index;
        referenceType = inside.track.mediaType;
    }
    if (reference >= 0) packets->seek(reference, start);
}

bool AssetReader::Implementation::startReading(ZQErrorPtr* error) {
    const auto streamCount = packets->container().context().nb_streams;
    const bool allThere = std::all_of(outputs.begin(), outputs.end(), [&](const auto& output) {
        return output->track().index < streamCount;
    });
    if (!allThere) {
        return fail(error, ZQError::errorWithDomain(assetErrorDomain, assetErrorDecodeFailed,
                                                    "The file no longer has one of its tracks."));
    }
    selectStreams();
    for (const auto& output : outputs) {
        if (!output->implementation().prepare(packets, start, error)) return false;
    }
    return true;
}

bool AssetReader::startReading() {
    auto& state = *implementation_->state;
    if (state.status.load() != AssetReaderStatus::Unknown) return false;
    ZQErrorPtr reason;
    try {
        if (implementation_->startReading(&reason)) {
            state.unfinishedOutputs = implementation_->outputs.size();
            state.status.store(implementation_->outputs.empty() ? AssetReaderStatus::Completed
                                                                : AssetReaderStatus::Reading);
            return true;
        }
    } catch (const std::exception& problem) {
        reason = ZQError::errorWithDomain(assetErrorDomain, assetErrorDecodeFailed, problem.what());
    }
    state.fail(std::move(reason));
    return false;
}

void AssetReader::cancelReading() {
    auto expected = AssetReaderStatus::Reading;
    if (implementation_->state->status.compare_exchange_strong(expected, AssetReaderStatus::Cancelled))
        return;
    if (expected == AssetReaderStatus::Unknown)
        implementation_->state->status.store(AssetReaderStatus::Cancelled);
}

AssetReaderStatus AssetReader::status() const {
    return implementation_->state->status.load();
}

ZQErrorPtr AssetReader::error() const {
    return implementation_->state->error.load();
}

}  // namespace zenquor::platform
