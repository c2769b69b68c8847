#include "zenquor/sidecar/ZQRMCCSidecar.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/Clock.h"
#include "zenquor/core/UUIDSource.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/detail/CreationDate.h"
#include "zenquor/sidecar/detail/MCCHeader.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor {
namespace {

using Caption = ZQRVANCClosedCaptionPacket;

constexpr int formatOfLines = 1;  // 291M packets of 8-bit words, nothing in front
constexpr int defaultFrameRate = 3;
constexpr std::size_t timecodeLength = 11;

/// The packet's place behind the timecode and, in version 2, its field and line: the tab in front of the
/// data, or nothing for another form.
struct Suffix {
    std::size_t tab;
    bool hasField;
};

char characterAt(std::string_view text, std::size_t index) {
    return index < text.size() ? text[index] : '\0';
}

/// The tab behind a line number whose first digit is at @p start.
std::optional<std::size_t> tabAfterNumber(std::string_view text, std::size_t start) {
    std::size_t end = start;
    while (characterAt(text, end) >= '0' && characterAt(text, end) <= '9') ++end;
    if (end == start || characterAt(text, end) != '\t') return std::nullopt;
    return end;
}

/// ".F" or ".F,LINE" behind the timecode; the first of two fields may stand in front as "0" and a separator.
std::optional<Suffix> readSuffix(std::string_view text, int version) {
    constexpr std::size_t shortestWithSuffix = 13;
    if (version != 2 || text.size() < shortestWithSuffix || text[timecodeLength] != '.') {
        return Suffix{timecodeLength, false};
    }
    const std::size_t base = text[timecodeLength + 1] == '0' ? timecodeLength + 2 : timecodeLength;
    if (characterAt(text, base + 1) != '1') return std::nullopt;
    if (text.size() < base + 4 || text[base + 2] != ',') return Suffix{base + 2, true};
    const auto tab = tabAfterNumber(text, base + 3);
    if (!tab) return std::nullopt;
    return Suffix{*tab, true};
}

/// An entry must stay one line, whatever a host puts into it.
std::string onOneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    return text;
}

/// The bytes of a caption as shared data, without a copy.
ZQData dataOf(const ZQRSidecarCaptionPtr& caption) {
    return ZQData::adopting({caption, caption->data().data()}, caption->data().size());
}

}  // namespace

std::shared_ptr<ZQRMCCSidecar> ZQRMCCSidecar::initForReadingWithURL(const std::filesystem::path& url) {
    std::shared_ptr<ZQRMCCSidecar> sidecar(new ZQRMCCSidecar);
    sidecar->openForReading(url);
    return sidecar;
}

std::shared_ptr<ZQRMCCSidecar> ZQRMCCSidecar::initForWritingWithURL(const std::filesystem::path& url,
                                                                    ZQCKTimebase timebase,
                                                                    ZQDictionary properties) {
    std::shared_ptr<ZQRMCCSidecar> sidecar(new ZQRMCCSidecar);
    sidecar->openForWriting(url, timebase, std::move(properties));
    return sidecar;
}

void ZQRMCCSidecar::openForReading(const std::filesystem::path& url) {
    inputFile_ = ZQRSidecarInputFile::initWithURL(url);
    timebase_ = ZQCKTimebase::timebaseForFramerate(defaultFrameRate);
    valid_ = readHeader();
}

void ZQRMCCSidecar::openForWriting(const std::filesystem::path& url, ZQCKTimebase timebase,
                                   ZQDictionary properties) {
    outputFile_ = ZQRSidecarOutputFile::initWithURL(url);
    timebase_ = timebase;
    newline_ = ZQRESidecarFile_LF;
    currentCaption_ = ZQRSidecarCaption::init();
    properties_ = std::move(properties);
    const auto set = [this](std::string_view key, std::string value) {
        properties_.set(std::string(key), std::move(value));
    };
    const auto now = Clock::now();
    if (!properties_.contains(detail::uuidKey)) set(detail::uuidKey, UUIDSource::text(UUIDSource::next()));
    set(detail::timeCodeRateKey, timebaseFormatString());
    set(detail::creationDateKey, detail::creationDate(now));
    set(detail::creationTimeKey, detail::creationTime(now));
    valid_ = writeHeader();
}

bool ZQRMCCSidecar::readHeader() {
    while (inputFile_) {
        const auto line = inputFile_->readLineInPlace();
        if (!line) return false;
        const bool isEntry = line->find('=') != std::string_view::npos;
        if (isEntry && !readEntry(*line)) return false;
        if (inputFile_->line() == 0 && !readFileFormat()) return false;
        if (isEntry) continue;
        currentCaption_ = decodeCaptionForLine(*line);
        if (currentCaption_) return true;
    }
    return false;
}

bool ZQRMCCSidecar::readEntry(std::string_view line) {
    const std::size_t equals = line.find('=');
    const std::string_view key = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    properties_.set(std::string(key), value);
    if (key != detail::timeCodeRateKey) return true;
    for (const auto& rate : detail::timeCodeRates) {
        if (value.substr(0, rate.name.size()) != rate.name) continue;
        timebase_ = ZQCKTimebase::timebaseForFramerate(rate.frameRate);
        return true;
    }
    return false;
}

bool ZQRMCCSidecar::readFileFormat() {
    const std::string& format = properties_[detail::fileFormatKey].stringValue();
    if (format == detail::formatV1) version_ = 1;
    if (format == detail::formatV2) version_ = 2;
    return version_ != 0;
}

bool ZQRMCCSidecar::writeHeader() {
    return writeLine(fmt::format("{}={}", detail::fileFormatKey, detail::formatV2), 2) &&
           writeLine(detail::mccDescription, 2) && writeEntries() && writeLine("", 1);
}

bool ZQRMCCSidecar::writeEntries() {
    for (const auto& [key, value] : properties_) {
        // Entries taken over from a file that was read name its format; ours stands in the first line.
        if (key == detail::fileFormatKey) continue;
        if (!writeLine(onOneLine(fmt::format("{}={}", key, value.description())), 1)) return false;
    }
    return true;
}

bool ZQRMCCSidecar::writeLine(std::string_view text, int newlines) {
    return outputFile_ && outputFile_->writeLine(text, newline_, newlines);
}

std::string ZQRMCCSidecar::timebaseFormatString() const {
    for (const auto& rate : detail::timeCodeRates) {
        if (rate.frameRate == timebase_.frameRate()) return std::string(rate.name);
    }
    ZLGGetHandle().error("ZQRMCCSidecar has unsupported frame-rate {}, using default", timebase_.frameRate());
    return "30DF";
}

ZQRSidecarCaptionPtr ZQRMCCSidecar::decodeCaptionForLine(std::string_view text) const {
    auto caption = ZQRSidecarCaption::init();
    if (!caption->validateTimecode(text, timebase_)) return nullptr;
    const auto suffix = readSuffix(text, version_);
    if (!suffix || characterAt(text, suffix->tab) != '\t') return nullptr;
    // Only ever the second field's number, whichever fields the suffix names.
    if (suffix->hasField) caption->setField(1);
    if (!caption->appendText(text.substr(suffix->tab + 1), true)) return nullptr;
    return caption;
}

bool ZQRMCCSidecar::readCaption() {
    const auto line = inputFile_ ? inputFile_->readLineInPlace() : std::nullopt;
    if (!line) return false;
    currentCaption_ = decodeCaptionForLine(*line);
    return currentCaption_ != nullptr;
}

ZQRVANCPacketList ZQRMCCSidecar::vancPacketsAtTimecode(const ZQCKTimecode& timecode) {
    const std::uint32_t frame = timecode.framesSinceMidnight();
    ZQRVANCPacketPtr packet;
    while (currentCaption_) {
        const auto& captionTimecode = currentCaption_->timecode();
        const std::uint32_t captionFrame = captionTimecode ? captionTimecode->framesSinceMidnight() : 0;
        if (captionFrame == frame) {
            packet = packetOfCurrentCaption();
            if (!packet) {
                ZLGGetHandle().error("ZQRMCCSidecar could not extract packet at timecode {}", timecode);
            }
            break;
        }
        if (captionFrame > frame || !readCaption()) break;
    }
    if (!packet) {
        auto empty = Caption::closedCaptionPacketWithData(Caption::empty608PacketData(), Caption::TypeCEA608);
        empty->convertToType(Caption::TypeCDP);
        packet = std::move(empty);
    }
    return {std::move(packet)};
}

ZQRVANCPacketPtr ZQRMCCSidecar::packetOfCurrentCaption() const {
    ZQRVANCPacketPtr packet;
    const std::int32_t line =
        currentCaption_->line() != 0 ? currentCaption_->line() : Caption::defaultLineNumber;
    auto stream = ZQRDataStream::initWithData(dataOf(currentCaption_));
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(
        stream, 0, formatOfLines, [&](std::int32_t, std::uint8_t, std::uint8_t, const ZQData& data) {
            packet = Caption::closedCaptionPacketWithData(data, Caption::TypeCDP, line);
        });
    return packet;
}

void ZQRMCCSidecar::addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    for (const ZQRVANCPacketPtr& packet : packets) {
        const auto captions = std::dynamic_pointer_cast<Caption>(packet);
        if (!captions) continue;
        const auto cdp = captions->dataFor708();
        if (!cdp || cdp->empty()) {
            ZLGGetHandle().error("ZQRMCCSidecar could not extract 708 captions from packet {} at {}", packet,
                                 timecode);
            continue;
        }
        std::string text = fmt::format("{}\t", timecode);
        if (!currentCaption_) currentCaption_ = ZQRSidecarCaption::init();
        currentCaption_->replaceData(
            ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(captions, formatOfLines, true));
        currentCaption_->encodeData(text, true);
        if (!writeLine(text, 1)) {
            ZLGGetHandle().error("ZQRMCCSidecar could not write line {} at {}", text, timecode);
        }
    }
}

void ZQRMCCSidecar::close() {
    flushLine();
    if (outputFile_) outputFile_->close();
    outputFile_ = nullptr;
    if (inputFile_) inputFile_->close();
    inputFile_ = nullptr;
}

}  // namespace zenquor
