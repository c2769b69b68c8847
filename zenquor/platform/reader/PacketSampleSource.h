#pragma once
// A track's packets as libavformat gives them.

#include <memory>

#include "zenquor/platform/Asset.h"
#include "zenquor/platform/reader/PacketReader.h"
#include "zenquor/platform/reader/SampleSource.h"

namespace zenquor::platform::detail {

/// Hands out a track's coded samples in file order.
class PacketSampleSource final : public SampleSource {
public:
    PacketSampleSource(std::shared_ptr<PacketReader> packets, AssetTrack track, MediaTime start);

    SampleBufferPtr next() override;

private:
    bool isBeforeStart(const AVPacket& packet) const;
    SampleBufferPtr sampleBuffer(const AVPacket& packet) const;
    MediaTime timeOf(std::int64_t units) const;

    std::shared_ptr<PacketReader> packets_;
    AssetTrack track_;
    MediaTime start_;
    bool hasBegun_ = false;
};

}  // namespace zenquor::platform::detail
