#include "CaptionStream.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "CaptionLines.h"
#include "MXFCaptions.h"
#include "MovieCaptions.h"
#include "RetimedCaptions.h"
#include "SubtitleMarkup.h"
#include "SubtitleText.h"
#include "SubtitleWrap.h"
#include "TimeMapping.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRCEA608Decoder.h"
#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/sidecar/ZQREBUSTLSidecar.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"

namespace zenquor::tools {
namespace {

constexpr int timecodeOfFrames = 1;
constexpr char16_t teletextFiller = u' ';
constexpr std::int32_t captionRows = 15, teletextRows = 24;

/// The text as it is seen: a code stands where a space is shown.
std::string textOf(const ZQRSubtitleBlock& block) {
    std::string text;
    for (const auto& line : block.lines()) {
        if (!text.empty()) text += '\n';
        text += utf8FromUTF16(textWithoutCodes(line->string()));
    }
    return text;
}

/// The subtitles of the file that its sidecar did not read.
std::string noteOfLostSubtitles(const std::filesystem::path& path, std::size_t read) {
    const std::int64_t blocks = ZQRCaptionChecker::checkFile(path).blocks;
    const std::int64_t lost = blocks - static_cast<std::int64_t>(read);
    if (lost <= 0) return {};
    return fmt::format(
        "{} of {} subtitles could not be read and are lost. \"zenquor captions --check\" says why.", lost,
        blocks);
}

/// A row of the caption screen at the same height of the teletext page, or the other way round.
std::int32_t scaledRow(std::int32_t row, std::int32_t from, std::int32_t to, std::int32_t lines,
                       std::int32_t step) {
    const std::int32_t bottom = (row * to + from / 2) / from;
    return std::clamp(bottom - (lines - 1) * step, 1, std::max(1, to - (lines - 1) * step - 1));
}

}  // namespace

std::unique_ptr<CaptionStream> CaptionStream::open(const std::filesystem::path& path,
                                                   const CaptionSettings& settings,
                                                   std::optional<ZQCKTimebase> rate, ZQErrorPtr* error) {
    auto stream = std::make_unique<CaptionStream>();
    stream->settings_ = settings;
    if (!canBeRead(path, error)) return nullptr;
    stream->kind_ = captionFileKind(path);
    return stream->openFile(path, rate, error) ? std::move(stream) : nullptr;
}

bool CaptionStream::openFile(const std::filesystem::path& path, std::optional<ZQCKTimebase> rate,
                             ZQErrorPtr* error) {
    bool isReadable = false;
    switch (kind_) {
        case CaptionFileKind::SubRip:
            timebase_ = rate.value_or(ZQCKTimebase::timebaseForFramerate(3));
            isReadable = openSubRip(path);
            break;
        case CaptionFileKind::EBUSTL:
            isReadable = openSTL(path, rate);
            break;
        default:
            return openPackets(path, rate, error);
    }
    if (isReadable) return true;
    const auto advice = kind_ == CaptionFileKind::SubRip ? adviceOnEncoding(path) : std::string();
    return failCaption(error,
                       fmt::format("\"{}\" holds no readable subtitle. {}", path.string(),
                                   advice.empty() ? "\"zenquor captions --check\" says why." : advice));
}

ZQDictionary CaptionStream::properties() const {
    const bool teletext = settings_.output == CaptionSettings::Output::OP47;
    ZQDictionary properties{
        {ZHLSRTSidecar_Property_Timebase, timebase_.frameRate()},
        {ZHLSRTSidecar_Property_Output,
         teletext ? ZQRSubtitleSidecar::OutputOP47 : ZQRSubtitleSidecar::OutputCEACC},
        {ZHLSRTSidecar_Property_Justification, settings_.justification.value_or(ZQRSubtitleBlock::Centered)},
        {ZHLSRTSidecar_Property_ClosedCaptionChannel, settings_.channel - 1},
        {ZHLSRTSidecar_Property_AllowSpecialWestEuropean, settings_.westEuropean},
        {ZHLSubtitleSidecar_Property_DoubleHeightSubtitles, settings_.doubleHeight},
        {ZHLSubtitleSidecar_Property_FillerCharacter, teletext ? teletextFiller : 0},
    };
    // Rows of double height leave every second row of their file empty.
    properties.set(ZHLEBUSTLSidecar_Property_RemoveEmptyLines, true);
    properties.set(ZHLEBUSTLSidecar_Property_ValidateVerticalPosition, true);
    if (kind_ != CaptionFileKind::SubRip)
        properties.set(ZHLSubtitleSidecar_Property_TimecodeType, timecodeOfFrames);
    if (settings_.language) properties.set(ZHLSubtitleSidecar_Property_OverrideLanguage, *settings_.language);
    return properties;
}

/// Overlaps, characters and wrapping, with a note for everything that is not shown as it was written.
void CaptionStream::fit(const std::shared_ptr<ZQRSubtitleSidecar>& sidecar, Blocks& blocks,
                        std::int32_t columns) {
    if (settings_.output == CaptionSettings::Output::CEA608) {
        const auto replaced = fitCharacters(blocks, settings_.westEuropean);
        if (!replaced.empty())
            note(fmt::format("Characters that captions do not have were replaced: {}.", replaced));
    }
    if (columns > 0) wrapRows(blocks, columns, settings_.rasterRows());
    const std::size_t count = blocks.size();
    sidecar->ZQRSubtitleSidecar::validateBlocks(
        blocks, {{ZHLSubtitleSidecar_Property_OverlappingSubtitleAction, settings_.overlap},
                 {ZHLSubtitleSidecar_Property_RenderingWidth, columns}});
    if (blocks.size() < count) {
        note(fmt::format(
            "{} subtitles that overlap the one before were {}.", count - blocks.size(),
            settings_.overlap == ZQRSubtitleSidecar::OverlapMerge ? "merged into it" : "left out"));
    }
    setWanted(blocks);
    for (const auto& block : blocks) {
        if (block->numberOfLines() <= settings_.rasterRows() || !block->displayable()) continue;
        note(fmt::format("Subtitle {} at {} needs {} rows, {} fit: the last {} are not sent.",
                         block->subtitleNumber(), block->timecodeIn(), block->numberOfLines(),
                         settings_.rasterRows(), block->numberOfLines() - settings_.rasterRows()));
    }
    sidecar->ZQRSubtitleSidecar::prepareBlocks(blocks, 0, settings_.rasterRows());
}

bool CaptionStream::openSubRip(const std::filesystem::path& path) {
    const auto sidecar = ZQRSRTSidecar::initForReadingWithURL(path, properties());
    if (!sidecar->valid() || sidecar->subtitleBlocks().empty()) return false;
    Blocks blocks = sidecar->subtitleBlocks();
    note(noteOfLostSubtitles(path, blocks.size()));
    note(adviceOnEncoding(path));
    const auto markup = cleanMarkup(blocks, settings_.output == CaptionSettings::Output::OP47);
    if (markup.tags > 0)
        note(fmt::format("{} tags that neither captions nor teletext can show were left out.", markup.tags));
    if (markup.colours > 0)
        note(fmt::format("{} colours that are neither a name nor six hexadecimal digits were left out.",
                         markup.colours));
    composeAccents(blocks);
    fit(sidecar, blocks, settings_.rasterColumns());
    sidecar->setSubtitleBlocks(std::move(blocks));
    sidecar_ = sidecar;
    preparesEveryFrame_ = settings_.output == CaptionSettings::Output::CEA608;
    return true;
}

/// Counts the times from the start of the programme, where that is asked for.
void CaptionStream::subtractProgrammeStart(const ZQREBUSTLSidecar& sidecar, Blocks& blocks) {
    const auto& start = sidecar.timecodeStartOfProgramme();
    if (!settings_.subtractsProgrammeStart) return;
    if (!start) return note("The file does not say when its programme starts; its times are kept.");
    const auto frames = static_cast<std::int64_t>(start->framesSinceMidnight());
    const std::size_t count = std::erase_if(
        blocks, [&](const auto& block) { return block->timecodeIn().framesSinceMidnight() < frames; });
    for (const auto& block : blocks) {
        block->setTimecodeIn(block->timecodeIn().addingFrames(-frames));
        block->setTimecodeOut(block->timecodeOut().addingFrames(-frames));
    }
    note(fmt::format("The times count from the start of the programme, {}.", *start));
    if (count > 0) note(fmt::format("{} subtitles before that were left out.", count));
}

/// Lays blocks made for a teletext page out for the caption screen.
void CaptionStream::fitCaptionScreen(const Blocks& blocks) const {
    for (const auto& block : blocks) {
        const std::int32_t step = block->doubleHeight() ? 2 : 1;
        const std::int32_t bottom = block->verticalPosition() + (block->numberOfLines() - 1) * step;
        removeTeletextCodes(*block);
        block->setVerticalPosition(scaledRow(bottom, teletextRows, captionRows, block->numberOfLines(), 1));
        if (block->justification() == ZQRSubtitleBlock::Unchanged)
            block->setJustification(ZQRSubtitleBlock::Centered);
    }
}

bool CaptionStream::openSTL(const std::filesystem::path& path, std::optional<ZQCKTimebase> rate) {
    const auto sidecar = ZQREBUSTLSidecar::initForReadingWithURL(path, properties());
    Blocks blocks = sidecar->subtitleBlocks();
    note(noteOfLostSubtitles(path, blocks.size()));
    subtractProgrammeStart(*sidecar, blocks);
    if (blocks.empty()) return false;
    timebase_ = rate.value_or(sidecar->timebase());
    if (!sidecar->valid())
        note("The file is damaged or of no known frame rate; what could be read is played.");
    if (timebase_ != sidecar->timebase())
        note(fmt::format("The file counts {} frames per second; its times are used at {}.",
                         sidecar->timebase().description(), timebase_.description()));
    for (const auto& block : blocks) {
        block->setTimecodeIn(sameLabel(block->timecodeIn(), timebase_));
        block->setTimecodeOut(sameLabel(block->timecodeOut(), timebase_));
        if (settings_.justification) block->setJustification(*settings_.justification);
    }
    if (settings_.output == CaptionSettings::Output::CEA608) {
        fitCaptionScreen(blocks);
        playSubtitles(blocks);
        return true;
    }
    fit(sidecar, blocks, settings_.columns.value_or(0));  // teletext rows are laid out by their maker
    sidecar->setSubtitleBlocks(std::move(blocks));
    sidecar_ = sidecar;
    return true;
}

/// Plays blocks that another file gave through the output that is asked for.
void CaptionStream::playSubtitles(const Blocks& given) {
    Blocks blocks = given;
    const auto sidecar = ZQRSubtitleSidecar::initWithProperties(properties());
    sidecar->setSubtitleBlocks(blocks);
    const bool teletext = settings_.output == CaptionSettings::Output::OP47;
    sidecar->setupOutput(teletext ? ZQRSubtitleSidecar::OutputOP47 : ZQRSubtitleSidecar::OutputCEACC);
    fit(sidecar, blocks, settings_.rasterColumns());
    sidecar->setSubtitleBlocks(std::move(blocks));
    sidecar_ = sidecar;
    preparesEveryFrame_ = !teletext;
}

/// What a viewer sees of a file of packets, as blocks for another output.
CaptionStream::Blocks CaptionStream::blocksSeen(ZQRSidecar& packets, ZQCKTimebase timebase,
                                                std::int64_t ownFrames) const {
    Blocks blocks;
    ZQRCEA608Decoder decoder([&](const ZQRScreenBlockPtr& block) {
        if (block->service() != settings_.channel || block->mode() == ZQRScreenBlock::Mode::Text) return;
        block->setSubtitleNumber(static_cast<std::int32_t>(blocks.size()) + 1);
        const std::int32_t bottom = block->rows().empty() ? captionRows : block->rows().back().row;
        block->setVerticalPosition(scaledRow(bottom, captionRows, teletextRows, block->numberOfLines(),
                                             settings_.doubleHeight ? 2 : 1));
        block->setJustification(settings_.justification.value_or(ZQRSubtitleBlock::Centered));
        block->setTimecodeIn(sameLabel(block->timecodeIn(), timebase_));
        block->setTimecodeOut(sameLabel(block->timecodeOut().addingFrames(-1), timebase_));
        blocks.push_back(block);
    });
    ZQCKTimecode timecode = sameLabel(first_, timebase);
    for (std::int64_t left = ownFrames; left > 0; --left, timecode.addFrames(1))
        decoder.addVancPackets(packets.vancPacketsAtTimecode(timecode), timecode);
    decoder.finish(timecode);
    return blocks;
}

bool CaptionStream::openPackets(const std::filesystem::path& path, std::optional<ZQCKTimebase> rate,
                                ZQErrorPtr* error) {
    const auto open = [&](const auto& packets) {
        if (!packets) return false;
        for (auto sentence : packets->notes()) note(std::move(sentence));
        sidecar_ = packets;
        return playPackets(path, packets->first(), packets->frames(), rate, error);
    };
    if (kind_ == CaptionFileKind::MXF) return open(MXFCaptions::open(path, error));
    if (kind_ == CaptionFileKind::Movie) return open(MovieCaptions::open(path, fourCC("c708"), error));
    return open(CaptionLines::open(path, kind_ == CaptionFileKind::Scenarist, error));
}

/// Plays packets as they are, at another frame rate, or as teletext.
bool CaptionStream::playPackets(const std::filesystem::path& path, const ZQCKTimecode& first,
                                std::int64_t ownFrames, std::optional<ZQCKTimebase> rate, ZQErrorPtr* error) {
    const ZQCKTimebase own = first.timebase();
    timebase_ = rate.value_or(own);
    first_ = sameLabel(first, timebase_);
    frames_ = std::llround(static_cast<double>(ownFrames) / own.realFramesPerSecond() *
                           timebase_.realFramesPerSecond());
    const auto carriesTeletext = [&] {
        return kind_ == CaptionFileKind::MXF && MXFCaptions::carries(path, ZQRVANCFlagOP47);
    };
    if (settings_.output == CaptionSettings::Output::OP47 && !carriesTeletext()) {
        const Blocks blocks = blocksSeen(*sidecar_, own, ownFrames);
        if (blocks.empty())
            return failCaption(error,
                               fmt::format("\"{}\" holds no captions on channel {} to send as teletext.",
                                           path.string(), settings_.channel));
        playSubtitles(blocks);
        return true;
    }
    if (timebase_ == own) return true;
    note(fmt::format("{} is at {} frames per second; its pairs are sent at their times at {}.",
                     nameOfKind(kind_), own.description(), timebase_.description()));
    retimed_ = std::make_shared<RetimedCaptions>(sidecar_, own);
    sidecar_ = retimed_;
    return true;
}

void CaptionStream::setWanted(const Blocks& blocks) {
    wanted_.clear();
    std::uint32_t first = UINT32_MAX, last = 0;  // since midnight, which subtitles do not pass
    for (const auto& block : blocks) {
        if (!block->displayable() || block->numberOfLines() == 0) continue;
        wanted_.push_back(
            {block->timecodeIn(), block->timecodeOut(), block->subtitleNumber(), textOf(*block)});
        first = std::min(first, block->timecodeIn().framesSinceMidnight());
        last = std::max(
            {last, block->timecodeIn().framesSinceMidnight(), block->timecodeOut().framesSinceMidnight()});
    }
    if (wanted_.empty()) return;
    first_ = ZQCKTimecode::timecodeWithFrames(first, timebase_);
    frames_ = std::int64_t{last} - first + 1;
}

ZQRVANCPacketList CaptionStream::packetsAt(const ZQCKTimecode& timecode) {
    // The caption output fills idle frames with nulls only when it is prepared for each of them; the teletext
    // output would erase the page every time.
    if (preparesEveryFrame_ || !isPrepared_) sidecar_->prepareToReadFromFrame(0);
    isPrepared_ = true;
    return sidecar_->vancPacketsAtTimecode(timecode);
}

std::vector<std::string> CaptionStream::notes() const {
    auto notes = notes_;
    if (retimed_ && retimed_->longestWait() > 0)
        notes.push_back(
            fmt::format("Pairs waited up to {} frames for a frame of their own.", retimed_->longestWait()));
    if (retimed_ && retimed_->digitalPackets() > 0)
        notes.push_back(
            fmt::format("The digital captions (CEA-708) of {} packets are not sent at another rate.",
                        retimed_->digitalPackets()));
    return notes;
}

}  // namespace zenquor::tools
