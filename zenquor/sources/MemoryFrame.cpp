#include "zenquor/sources/MemoryFrame.h"

#include <algorithm>

#include <fmt/format.h>

#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor {

MemoryFrame::MemoryFrame(Contents contents)
    : contents_(std::move(contents)),
      relativeTime_(contents_.relativeTime),
      status_(contents_.status),
      writeCaptions_(contents_.writeCaptions),
      packets_(std::move(contents_.packets)) {}

std::shared_ptr<MemoryFrame> MemoryFrame::frameWithContents(Contents contents) {
    return std::shared_ptr<MemoryFrame>(new MemoryFrame(std::move(contents)));
}

std::uint32_t MemoryFrame::videoWidth() const {
    return contents_.picture ? contents_.picture->width() : 0;
}

std::uint32_t MemoryFrame::videoHeight() const {
    return contents_.picture ? contents_.picture->height() : 0;
}

std::size_t MemoryFrame::videoRowBytes() const {
    return contents_.picture ? contents_.picture->bytesPerRow() : 0;
}

FourCC MemoryFrame::videoPixelFormat() const {
    return contents_.picture ? contents_.picture->pixelFormat() : 0;
}

std::optional<ZQData> MemoryFrame::videoData() const {
    return contents_.picture ? std::optional(contents_.picture->data()) : std::nullopt;
}

const std::uint8_t* MemoryFrame::videoDataPointer() const {
    return contents_.picture ? contents_.picture->baseAddress() : nullptr;
}

void MemoryFrame::setFrameHelper(ZQObjectPtr helper, std::string_view key) {
    helpers_.with([&](Helpers& helpers) {
        const auto found =
            std::find_if(helpers.begin(), helpers.end(), [&](const auto& each) { return each.first == key; });
        if (found == helpers.end()) {
            if (helper) helpers.emplace_back(key, std::move(helper));
        } else if (helper) {
            found->second.swap(helper);
        } else {
            helper = std::move(found->second);
            helpers.erase(found);
        }
    });
    // What was there before dies here, outside the lock.
}

ZQObjectPtr MemoryFrame::helperForKey(std::string_view key) const {
    return helpers_.with([&](const Helpers& helpers) -> ZQObjectPtr {
        const auto found =
            std::find_if(helpers.begin(), helpers.end(), [&](const auto& each) { return each.first == key; });
        return found == helpers.end() ? nullptr : found->second;
    });
}

std::uint32_t MemoryFrame::ancillaryDataFlags() const {
    return packets_.with(
        [](const ZQRVANCPacketList& packets) { return ZQRVANCHelper::vancFlagsFromPackets(packets); });
}

std::string MemoryFrame::description() const {
    return fmt::format("<MemoryFrame {} {}>", contents_.frameID, describe(contents_.timecode));
}

}  // namespace zenquor
