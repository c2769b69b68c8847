#include "zenquor/mxf/detail/GOPStatistics.h"

#include <algorithm>

namespace zenquor::mxf::detail {

void GOPStatistics::add(const Picture& picture) {
    if (picture.type != PictureType::B) endRun();
    if (picture.startsGroup) {
        endGroup();
        allClosed_ = allClosed_ && picture.isClosedGroup;
        countsRun_ = picture.hasLeadingPictures;
    } else if (picture.type != PictureType::B) {
        countsRun_ = true;
    }
    if (picture.type == PictureType::B && run_ < UINT16_MAX) mostBs_ = std::max(mostBs_, ++run_);
    if (picture.type != PictureType::I) intraOnly_ = false;
    if (pattern_.size() < longestPattern) pattern_ += static_cast<char>('0' + static_cast<int>(picture.type));
    longest_ = std::max(longest_, ++length_);
    ++pictures_;
}

void GOPStatistics::endRun() {
    if (countsRun_) {
        if (hasRun_ && run_ != firstRun_) constantBs_ = false;
        if (!hasRun_) firstRun_ = run_;
        hasRun_ = true;
    }
    run_ = 0;
}

void GOPStatistics::endGroup() {
    if (length_ > 0) {
        if (firstPattern_.empty()) firstPattern_ = pattern_;
        identical_ = identical_ && pattern_ == firstPattern_;
    }
    pattern_.clear();
    length_ = 0;
}

std::uint16_t GOPStatistics::longestGroup() const {
    return static_cast<std::uint16_t>(std::min<std::uint32_t>(longest_, UINT16_MAX));
}

}  // namespace zenquor::mxf::detail
