#include "SubtitleWriter.h"

#include <algorithm>

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"

namespace zenquor::tools {
namespace {

constexpr std::u16string_view closingTag = u"</font>";

/// A copy of the line with its colours as tags.
ZQRSubtitleLinePtr lineWithTags(const ZQRSubtitleBlock& block, const ZQRSubtitleLinePtr& line) {
    std::u16string text = line->string();
    std::size_t added = 0;
    std::size_t covered = 0;
    block.enumerateFormattingForLine(
        line, [&](const ZQRSubtitleFormatting& run, std::size_t index, std::size_t offset) {
            if (index < covered) return;
            const std::size_t rest = run.range().length - std::min<std::size_t>(offset, run.range().length);
            covered = std::min(index + rest, line->string().size());
            const auto opening = utf16FromUTF8(fmt::format("<font color=\"{}\">", run.colour()));
            text.insert(index + added, opening);
            added += opening.size();
            text.insert(covered + added, closingTag);
            added += closingTag.size();
        });
    return ZQRSubtitleLine::initWithString(std::move(text));
}

ZQRSubtitleBlockPtr blockWithTags(const ZQRSubtitleBlock& block, std::int32_t number) {
    const auto copy = ZQRSubtitleBlock::subtitleBlock();
    copy->setSubtitleNumber(number);
    copy->setTimecodeIn(block.timecodeIn());
    copy->setTimecodeOut(block.timecodeOut());
    ZQRSubtitleLineList lines;
    for (const auto& line : block.lines()) lines.push_back(lineWithTags(block, line));
    copy->setLines(std::move(lines));
    return copy;
}

}  // namespace

bool writeSubRip(const std::filesystem::path& path, const ZQRScreenBlockList& blocks, ZQErrorPtr* error) {
    const auto sidecar = ZQRSRTSidecar::initForWritingWithURL(path);
    std::int32_t number = 0;
    bool written = sidecar->valid();
    for (const auto& block : blocks)
        written = written && sidecar->writeBlock(*blockWithTags(*block, ++number));
    sidecar->outputFile()->close();
    return (written && !sidecar->outputFile()->hasFailed()) || failToWrite(path, error);
}

}  // namespace zenquor::tools
