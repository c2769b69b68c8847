#include "RetimedCaptions.h"

#include <algorithm>

#include "DigitalCaptions.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {
namespace {

constexpr std::array<std::uint8_t, 2> nullPair = {0x80, 0x80};
// A leap of the timecode: what lies between is not sent late, it is not sent.
constexpr std::int64_t leapSeconds = 10;

}  // namespace

void RetimedCaptions::take(const ZQCKTimecode& sourceTimecode) {
    const auto packet = ZQRVANCHelper::closedCaptionPacket(source_->vancPacketsAtTimecode(sourceTimecode));
    if (!packet) return;
    digitalPackets_ += holdsDigitalCaptions(*packet) ? 1 : 0;
    packet->enumerate608Pairs([this](int field, std::span<const std::uint8_t, 2> pair) {
        if (((pair[0] | pair[1]) & 0x7F) != 0) waiting_[field == 2 ? 1 : 0].push_back({pair[0], pair[1]});
    });
}

RetimedCaptions::Pair RetimedCaptions::next(std::deque<Pair>& queue) {
    if (queue.empty()) return nullPair;
    longestWait_ = std::max(longestWait_, queue.size() - 1);
    const Pair pair = queue.front();
    queue.pop_front();
    return pair;
}

ZQRVANCPacketList RetimedCaptions::vancPacketsAtTimecode(const ZQCKTimecode& timecode) {
    if (!mapping_) mapping_.emplace(timecode, timebase_);
    const ZQCKTimecode target = mapping_->map(timecode);
    const std::int64_t leap = leapSeconds * timebase_.nominalFramesPerSecond();
    const std::int64_t distance = taken_ ? framesBetween(*taken_, target) : 1;
    if (distance > leap || distance < -leap) taken_.reset();
    if (!taken_) taken_ = target.addingFrames(-1);
    while (framesBetween(*taken_, target) > 0) {
        taken_->addFrames(1);
        take(*taken_);
    }
    const Pair first = next(waiting_[0]);
    const Pair second = next(waiting_[1]);
    const std::array<std::uint8_t, 4> pairs = {first[0], first[1], second[0], second[1]};
    return {ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(ZQData::copying(pairs),
                                                                    ZQRVANCClosedCaptionPacket::TypeCEA608)};
}

}  // namespace zenquor::tools
