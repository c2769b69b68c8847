#pragma once
// EBU STL subtitle files.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/sidecar/ZQREBUSTLAlphabet.h"
#include "zenquor/sidecar/ZQRSidecarInputFile.h"
#include "zenquor/sidecar/ZQRSubtitleSidecar.h"

namespace zenquor {

/// Reads an EBU subtitle data exchange file into blocks and plays them as OP-47 teletext subtitles.
///
/// Every block of the file is one of subtitleBlocks(), also those that are never shown, as a ZQREBUSTLBlock.
/// Text is read as Latin whatever the file's character code table says. Times are taken as they stand: where
/// the programme starts at 10:00:00:00, vancPacketsAtTimecode() wants timecodes from there on, counted in
/// timebase().
///
/// Lifecycle:     one pass over the timeline, as ZQRSubtitleSidecar; prepareToReadFromFrame() once before it.
/// Thread-safety: One thread at a time.
/// Standards:     EBU Tech 3264.
class ZQREBUSTLSidecar final : public ZQRSubtitleSidecar {
public:
    static constexpr std::size_t generalBlockSize = 1024;
    using Date = std::optional<std::chrono::year_month_day>;
    using Timecode = std::optional<ZQCKTimecode>;

    /// Reads the whole file. Keys: ZHLSidecarProperties.h.
    ///
    /// From a file shorter than its general block nothing is read, and there is no output. valid() says whether
    /// the disk format code is known and all announced blocks were there; what could be read is played either
    /// way.
    static std::shared_ptr<ZQREBUSTLSidecar> initForReadingWithURL(const std::filesystem::path& url,
                                                                   ZQDictionary properties);

    /// Null only before reading.
    const ZQRSidecarInputFilePtr& inputFile() const { return inputFile_; }
    /// Null when nothing was read.
    const ZQREBUSTLAlphabetPtr& alphabet() const { return alphabet_; }
    /// 25 for "STL25.01", 29.97 drop-frame for any other disk format code.
    ZQCKTimebase timebase() const { return timebase_; }
    bool removeEmptyLines() const { return removeEmptyLines_; }

    // The general subtitle information, in file order. The language code is the base's. Numbers are read from
    // the digits of their field, 0 for none. Texts are UTF-8 without trailing blanks, bytes beyond ASCII
    // become U+FFFD.

    std::int32_t codePageNumber() const { return codePageNumber_; }
    void setCodePageNumber(std::int32_t number) { codePageNumber_ = number; }
    /// "STL25.01" or "STL30.01".
    const std::string& diskFormatCode() const { return diskFormatCode_; }
    void setDiskFormatCode(std::string code) { diskFormatCode_ = std::move(code); }
    /// 0 open subtitling, 1 and 2 teletext; also 0 for a blank.
    std::int32_t displayStandardCode() const { return displayStandardCode_; }
    void setDisplayStandardCode(std::int32_t code) { displayStandardCode_ = code; }
    std::int32_t characterCodeTableNumber() const { return characterCodeTableNumber_; }
    void setCharacterCodeTableNumber(std::int32_t number) { characterCodeTableNumber_ = number; }
    const std::string& originalProgrammeTitle() const { return originalProgrammeTitle_; }
    void setOriginalProgrammeTitle(std::string text) { originalProgrammeTitle_ = std::move(text); }
    const std::string& originalEpisodeTitle() const { return originalEpisodeTitle_; }
    void setOriginalEpisodeTitle(std::string text) { originalEpisodeTitle_ = std::move(text); }
    const std::string& translatedProgrammeTitle() const { return translatedProgrammeTitle_; }
    void setTranslatedProgrammeTitle(std::string text) { translatedProgrammeTitle_ = std::move(text); }
    const std::string& translatedEpisodeTitle() const { return translatedEpisodeTitle_; }
    void setTranslatedEpisodeTitle(std::string text) { translatedEpisodeTitle_ = std::move(text); }
    const std::string& translatorsName() const { return translatorsName_; }
    void setTranslatorsName(std::string text) { translatorsName_ = std::move(text); }
    const std::string& translatorsContactDetails() const { return translatorsContactDetails_; }
    void setTranslatorsContactDetails(std::string text) { translatorsContactDetails_ = std::move(text); }
    const std::string& subtitleListReferenceCode() const { return subtitleListReferenceCode_; }
    void setSubtitleListReferenceCode(std::string text) { subtitleListReferenceCode_ = std::move(text); }
    /// Years 1950 to 2049; nothing for a date that does not exist.
    const Date& creationDate() const { return creationDate_; }
    void setCreationDate(Date date) { creationDate_ = date; }
    const Date& revisionDate() const { return revisionDate_; }
    void setRevisionDate(Date date) { revisionDate_ = date; }
    std::int32_t revisionNumber() const { return revisionNumber_; }
    void setRevisionNumber(std::int32_t number) { revisionNumber_ = number; }
    /// As announced; the file may hold fewer.
    std::int32_t totalNumberOfTTIBlocks() const { return totalNumberOfTTIBlocks_; }
    void setTotalNumberOfTTIBlocks(std::int32_t number) { totalNumberOfTTIBlocks_ = number; }
    std::int32_t totalNumberOfSubtitles() const { return totalNumberOfSubtitles_; }
    void setTotalNumberOfSubtitles(std::int32_t number) { totalNumberOfSubtitles_ = number; }
    std::int32_t totalNumberOfSubtitleGroups() const { return totalNumberOfSubtitleGroups_; }
    void setTotalNumberOfSubtitleGroups(std::int32_t number) { totalNumberOfSubtitleGroups_ = number; }
    std::int32_t maximumNumberOfDisplayableCharactersInAnyTextRow() const { return maximumCharacters_; }
    void setMaximumNumberOfDisplayableCharactersInAnyTextRow(std::int32_t n) { maximumCharacters_ = n; }
    std::int32_t maximumNumberOfDisplayableRows() const { return maximumNumberOfDisplayableRows_; }
    void setMaximumNumberOfDisplayableRows(std::int32_t n) { maximumNumberOfDisplayableRows_ = n; }
    /// 1 when the times are intended for use.
    std::int32_t timecodeStatus() const { return timecodeStatus_; }
    void setTimecodeStatus(std::int32_t status) { timecodeStatus_ = status; }
    /// Nothing when the field holds no timecode.
    const Timecode& timecodeStartOfProgramme() const { return timecodeStartOfProgramme_; }
    void setTimecodeStartOfProgramme(Timecode timecode) { timecodeStartOfProgramme_ = timecode; }
    const Timecode& timecodeFirstInCue() const { return timecodeFirstInCue_; }
    void setTimecodeFirstInCue(Timecode timecode) { timecodeFirstInCue_ = timecode; }
    std::int32_t totalNumberOfDisks() const { return totalNumberOfDisks_; }
    void setTotalNumberOfDisks(std::int32_t number) { totalNumberOfDisks_ = number; }
    std::int32_t diskSequenceNumber() const { return diskSequenceNumber_; }
    void setDiskSequenceNumber(std::int32_t number) { diskSequenceNumber_ = number; }
    const std::string& countryOfOrigin() const { return countryOfOrigin_; }
    void setCountryOfOrigin(std::string text) { countryOfOrigin_ = std::move(text); }
    const std::string& publisher() const { return publisher_; }
    void setPublisher(std::string text) { publisher_ = std::move(text); }
    const std::string& editorsName() const { return editorsName_; }
    void setEditorsName(std::string text) { editorsName_ = std::move(text); }
    const std::string& editorsContactDetails() const { return editorsContactDetails_; }
    void setEditorsContactDetails(std::string text) { editorsContactDetails_ = std::move(text); }

    std::string description() const override;
    /// The description and every block on lines of their own.
    std::string debugDescription() const;

private:
    ZQREBUSTLSidecar() = default;

    void readFile(const std::filesystem::path& url, ZQDictionary properties);
    void readGeneralBlock(std::string_view block);
    ZQRSubtitleBlockList readBlocks();
    void chooseLanguage(std::int32_t fileLanguage);

    ZQRSidecarInputFilePtr inputFile_;
    ZQREBUSTLAlphabetPtr alphabet_;
    ZQCKTimebase timebase_;
    bool removeEmptyLines_ = false;
    std::int32_t codePageNumber_ = 0;
    std::string diskFormatCode_;
    std::int32_t displayStandardCode_ = 0;
    std::int32_t characterCodeTableNumber_ = 0;
    std::string originalProgrammeTitle_;
    std::string originalEpisodeTitle_;
    std::string translatedProgrammeTitle_;
    std::string translatedEpisodeTitle_;
    std::string translatorsName_;
    std::string translatorsContactDetails_;
    std::string subtitleListReferenceCode_;
    Date creationDate_;
    Date revisionDate_;
    std::int32_t revisionNumber_ = 0;
    std::int32_t totalNumberOfTTIBlocks_ = 0;
    std::int32_t totalNumberOfSubtitles_ = 0;
    std::int32_t totalNumberOfSubtitleGroups_ = 0;
    std::int32_t maximumCharacters_ = 0;
    std::int32_t maximumNumberOfDisplayableRows_ = 0;
    std::int32_t timecodeStatus_ = 0;
    Timecode timecodeStartOfProgramme_;
    Timecode timecodeFirstInCue_;
    std::int32_t totalNumberOfDisks_ = 0;
    std::int32_t diskSequenceNumber_ = 0;
    std::string countryOfOrigin_;
    std::string publisher_;
    std::string editorsName_;
    std::string editorsContactDetails_;
};

}  // namespace zenquor
