#include "zenquor/sidecar/ZQREBUSTLSidecar.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLLanguageTable.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQREBUSTLBlock.h"
#include "zenquor/sidecar/ZQREBUSTLLatinAlphabet.h"

namespace zenquor {
namespace {

constexpr std::string_view diskFormat25 = "STL25.01";
constexpr std::string_view diskFormat30 = "STL30.01";
constexpr int timebase25 = 2;
constexpr int timebase2997Drop = 3;

/// Where the language code stands; all other fields are in the tables of readGeneralBlock().
constexpr std::size_t languageOffset = 14;
constexpr std::size_t languageLength = 2;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The number that the digits of a field make, whatever stands between them. No field is longer than 5.
std::int32_t decimal(std::string_view field) {
    std::int32_t value = 0;
    for (const char c : field) {
        if (isDigit(c)) value = value * 10 + (c - '0');
    }
    return value;
}

std::int32_t hexadecimal(std::string_view field) {
    std::int32_t value = 0;
    for (const char c : field) {
        if (isDigit(c)) value = value << 4 | (c - '0');
        if (c >= 'A' && c <= 'F') value = value << 4 | (c - 'A' + 10);
    }
    return value;
}

/// Without the blanks at the end, also zeros, which some writers fill with.
std::string textOf(std::string_view field) {
    constexpr std::string_view blanks(" \t\n\v\f\r\0", 7);
    std::string text;
    for (const char c : field.substr(0, field.find_last_not_of(blanks) + 1)) {
        if (static_cast<signed char>(c) >= 0) {
            text.push_back(c);
        } else {
            text.append("\uFFFD");
        }
    }
    return text;
}

/// YYMMDD.
ZQREBUSTLSidecar::Date dateOf(std::string_view field) {
    const auto piece = [&](std::size_t offset) { return decimal(field.substr(offset, 2)); };
    const std::chrono::year year(piece(0) + (piece(0) < 50 ? 2000 : 1900));
    const std::chrono::year_month_day date(year, std::chrono::month(static_cast<unsigned>(piece(2))),
                                           std::chrono::day(static_cast<unsigned>(piece(4))));
    return date.ok() ? ZQREBUSTLSidecar::Date(date) : std::nullopt;
}

/// HHMMSSFF.
ZQREBUSTLSidecar::Timecode timecodeOf(std::string_view field, ZQCKTimebase timebase) {
    const auto text = fmt::format("{}:{}:{}:{}", field.substr(0, 2), field.substr(2, 2), field.substr(4, 2),
                                  field.substr(6, 2));
    return ZQCKTimecode::timecodeWithString(text, timebase);
}

}  // namespace

std::shared_ptr<ZQREBUSTLSidecar> ZQREBUSTLSidecar::initForReadingWithURL(const std::filesystem::path& url,
                                                                          ZQDictionary properties) {
    std::shared_ptr<ZQREBUSTLSidecar> sidecar(new ZQREBUSTLSidecar);
    sidecar->readFile(url, std::move(properties));
    return sidecar;
}

void ZQREBUSTLSidecar::readFile(const std::filesystem::path& url, ZQDictionary sidecarProperties) {
    readProperties(std::move(sidecarProperties));
    inputFile_ = ZQRSidecarInputFile::initWithURL(url);
    std::array<std::uint8_t, generalBlockSize> general{};
    if (inputFile_->read(general) < static_cast<std::ptrdiff_t>(general.size())) {
        inputFile_->close();
        return;
    }
    const std::string_view text(reinterpret_cast<const char*>(general.data()), general.size());
    readGeneralBlock(text);
    alphabet_ = ZQREBUSTLLatinAlphabet::initWithFillerCharacter(fillerCharacter());
    removeEmptyLines_ = properties()[ZHLEBUSTLSidecar_Property_RemoveEmptyLines].boolValue();
    setValidateVerticalPosition(properties()[ZHLEBUSTLSidecar_Property_ValidateVerticalPosition].boolValue());
    setValid(diskFormatCode_ == diskFormat25 || diskFormatCode_ == diskFormat30);
    ZQRSubtitleBlockList blocks = readBlocks();
    inputFile_->close();
    chooseLanguage(hexadecimal(text.substr(languageOffset, languageLength)));
    // The output looks at the language and the lines when it is made.
    setSubtitleBlocks(blocks);
    setupOutput(OutputOP47);
    validateBlocks(blocks, properties());
    setSubtitleBlocks(std::move(blocks));
}

void ZQREBUSTLSidecar::readGeneralBlock(std::string_view block) {
    using Sidecar = ZQREBUSTLSidecar;
    struct Number {
        std::size_t offset, length;
        std::int32_t Sidecar::*member;
    };
    struct Text {
        std::size_t offset, length;
        std::string Sidecar::*member;
    };
    struct Day {
        std::size_t offset;
        Date Sidecar::*member;
    };
    struct Time {
        std::size_t offset;
        Timecode Sidecar::*member;
    };
    static constexpr Number numbers[] = {
        {0, 3, &Sidecar::codePageNumber_},
        {11, 1, &Sidecar::displayStandardCode_},
        {12, 2, &Sidecar::characterCodeTableNumber_},
        {236, 2, &Sidecar::revisionNumber_},
        {238, 5, &Sidecar::totalNumberOfTTIBlocks_},
        {243, 5, &Sidecar::totalNumberOfSubtitles_},
        {248, 3, &Sidecar::totalNumberOfSubtitleGroups_},
        {251, 2, &Sidecar::maximumCharacters_},
        {253, 2, &Sidecar::maximumNumberOfDisplayableRows_},
        {255, 1, &Sidecar::timecodeStatus_},
        {272, 1, &Sidecar::totalNumberOfDisks_},
        {273, 1, &Sidecar::diskSequenceNumber_},
    };
    static constexpr Text texts[] = {
        {3, 8, &Sidecar::diskFormatCode_},
        {16, 32, &Sidecar::originalProgrammeTitle_},
        {48, 32, &Sidecar::originalEpisodeTitle_},
        {80, 32, &Sidecar::translatedProgrammeTitle_},
        {112, 32, &Sidecar::translatedEpisodeTitle_},
        {144, 32, &Sidecar::translatorsName_},
        {176, 32, &Sidecar::translatorsContactDetails_},
        {208, 16, &Sidecar::subtitleListReferenceCode_},
        {274, 3, &Sidecar::countryOfOrigin_},
        {277, 32, &Sidecar::publisher_},
        {309, 32, &Sidecar::editorsName_},
        {341, 32, &Sidecar::editorsContactDetails_},
    };
    static constexpr Day days[] = {{224, &Sidecar::creationDate_}, {230, &Sidecar::revisionDate_}};
    static constexpr Time times[] = {{256, &Sidecar::timecodeStartOfProgramme_},
                                     {264, &Sidecar::timecodeFirstInCue_}};

    for (const auto& [offset, length, member] : numbers)
        this->*member = decimal(block.substr(offset, length));
    for (const auto& [offset, length, member] : texts) this->*member = textOf(block.substr(offset, length));
    for (const auto& [offset, member] : days) this->*member = dateOf(block.substr(offset, 6));
    timebase_ =
        ZQCKTimebase::timebaseForFramerate(diskFormatCode_ == diskFormat25 ? timebase25 : timebase2997Drop);
    for (const auto& [offset, member] : times) this->*member = timecodeOf(block.substr(offset, 8), timebase_);
}

ZQRSubtitleBlockList ZQREBUSTLSidecar::readBlocks() {
    ZQRSubtitleBlockList blocks;
    std::array<std::uint8_t, ZQREBUSTLBlock::size> bytes{};
    const auto readBytes = [&] {
        return inputFile_->read(bytes) == static_cast<std::ptrdiff_t>(bytes.size());
    };
    for (std::int32_t i = 0; i < totalNumberOfTTIBlocks_; ++i) {
        if (!readBytes()) {
            ZLGGetHandle().error("ZQREBUSTLSidecar could not read block {}, expected {}", i,
                                 totalNumberOfTTIBlocks_);
            setValid(false);
            return blocks;
        }
        blocks.push_back(ZQREBUSTLBlock::initWithTTIBlock(bytes, timebase_, alphabet_, removeEmptyLines_));
    }
    if (readBytes()) {
        ZLGGetHandle().error("ZQREBUSTLSidecar found more than the {} announced blocks, the rest is not read",
                             totalNumberOfTTIBlocks_);
    }
    return blocks;
}

void ZQREBUSTLSidecar::chooseLanguage(std::int32_t fileLanguage) {
    if (!properties().contains(ZHLSubtitleSidecar_Property_OverrideLanguage)) {
        setLanguageCode(fileLanguage);
    } else if (languageCode() != fileLanguage) {
        ZLGGetHandle().log("ZQREBUSTLSidecar properties specify language override to {}, file specifies {}",
                           ZHLLanguageTable::nameForCode(languageCode()),
                           ZHLLanguageTable::nameForCode(fileLanguage));
    }
}

std::string ZQREBUSTLSidecar::description() const {
    return fmt::format("EBU-STL sidecar language {}, title {} {}, timebase {}, {} blocks", languageCode(),
                       originalProgrammeTitle_, originalEpisodeTitle_, timebase_.description(),
                       subtitleBlocks().size());
}

std::string ZQREBUSTLSidecar::debugDescription() const {
    std::string text = description();
    for (const auto& block : subtitleBlocks()) text.append("\n").append(block->debugDescription());
    return text;
}

}  // namespace zenquor
