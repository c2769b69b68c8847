#include "zenquor/sidecar/detail/RemarkCollector.h"

#include <array>
#include <string_view>

#include <fmt/format.h>

namespace zenquor::detail {
namespace {

constexpr std::size_t kindCount = static_cast<std::size_t>(ZQRCaptionRemark::Kind::Loss) + 1;

/// One finding for each kind of foreign remark.
const Finding& foreignFinding(ZQRCaptionRemark::Kind kind) {
    static const auto findings = [] {
        std::array<Finding, kindCount> all{};
        for (std::size_t i = 0; i < kindCount; ++i) all[i].kind = static_cast<ZQRCaptionRemark::Kind>(i);
        return all;
    }();
    return findings[static_cast<std::size_t>(kind)];
}

/// Of a sentence, decimal and hexadecimal numbers left out.
std::uint64_t hashWithoutDigits(std::string_view text) {
    std::uint64_t hash = 14695981039346656037U;  // FNV-1a
    for (const char c : text) {
        if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F')) continue;
        hash = (hash ^ static_cast<std::uint8_t>(c)) * 1099511628211U;
    }
    return hash;
}

std::string nameOf(const Place& place) {
    if (place.timecode) return place.timecode->description();
    return place.line ? fmt::format("line {}", *place.line) : std::string();
}

}  // namespace

bool RemarkCollector::takes(const Finding& finding, const Place& place, std::uint64_t detail) {
    const auto key = std::pair(&finding, detail);
    auto found = groups_.find(key);
    if (found == groups_.end()) {
        if (remarks_.size() >= limit_) {
            ++hidden_;
            return false;
        }
        found = groups_.emplace(key, Group{}).first;
    }
    current_ = &found->second;
    current_->last = place;
    ++current_->count;
    if (current_->told >= finding.shown || remarks_.size() >= limit_) return false;
    ++current_->told;
    return true;
}

void RemarkCollector::append(const Finding& finding, const Place& place, std::string text) {
    current_->remark = remarks_.size();
    if (place.subtitle) text = fmt::format("Subtitle {}: {}", *place.subtitle, text);
    remarks_.push_back({finding.kind, place.timecode, place.line, std::move(text)});
}

void RemarkCollector::addForeign(const ZQRCaptionRemark& remark) {
    add(
        foreignFinding(remark.kind), {remark.timecode, remark.line}, [&] { return remark.text; },
        hashWithoutDigits(remark.text));
}

ZQRCaptionRemarkList RemarkCollector::finish() {
    for (const auto& [key, group] : groups_) {
        const std::int64_t more = group.count - group.told;
        if (more <= 0) continue;
        std::string& text = remarks_[group.remark].text;
        const std::string last = nameOf(group.last);
        if (group.told == 1) {
            text += fmt::format(" Found {} times", group.count);
        } else {
            text += fmt::format(" {} more like this follow", more);
        }
        text += last.empty() ? "." : fmt::format(", the last at {}.", last);
    }
    if (hidden_ > 0) {
        remarks_.push_back({ZQRCaptionRemark::Kind::Loss, std::nullopt, std::nullopt,
                            fmt::format("{} more findings are not listed here.", hidden_)});
    }
    groups_.clear();
    return std::move(remarks_);
}

}  // namespace zenquor::detail
