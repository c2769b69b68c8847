#include "zenquor/sidecar/ZQRCaptionChecker.h"

#include <algorithm>
#include <fstream>
#include <vector>

#include <fmt/format.h>

#include "zenquor/sidecar/detail/CaptionFileFormat.h"
#include "zenquor/sidecar/detail/MCCCheck.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"
#include "zenquor/sidecar/detail/SCCCheck.h"
#include "zenquor/sidecar/detail/SRTCheck.h"
#include "zenquor/sidecar/detail/STLCheck.h"
#include "zenquor/sidecar/detail/StreamCheck.h"

namespace zenquor {
namespace {

using detail::CaptionFileFormat;
using detail::Finding;
using detail::RemarkCollector;
using detail::TextEncoding;
using Kind = ZQRCaptionRemark::Kind;
using Report = ZQRCaptionChecker::Report;

constexpr Finding notOpened{Kind::Format};
constexpr Finding notKnown{Kind::Format};
constexpr Finding cut{Kind::Loss};
constexpr Finding byteOrderMark{Kind::Format};
constexpr Finding notUTF8{Kind::Format};

constexpr std::size_t sizeOfMark = 3;

std::string_view textOf(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The file's text as UTF-8. What had to be converted is kept in @p converted.
std::string_view plainText(std::span<const std::uint8_t> bytes, std::string& converted,
                           RemarkCollector& remarks, Report& report) {
    const TextEncoding encoding = detail::textEncoding(bytes);
    const auto refuse = [&](const char* name) {
        report.readable = false;
        remarks.add(notUTF8, {}, [&] {
            return fmt::format("The file is {}; sidecars read UTF-8 only. Convert it to UTF-8.", name);
        });
    };
    switch (encoding) {
        case TextEncoding::MarkedUTF8:
            return textOf(bytes.subspan(sizeOfMark));
        case TextEncoding::UTF16LittleEndian:
        case TextEncoding::UTF16BigEndian:
            refuse("UTF-16");
            converted = detail::utf8FromUTF16Bytes(bytes, encoding == TextEncoding::UTF16LittleEndian);
            return converted;
        case TextEncoding::UTF32:
            refuse("UTF-32");
            return {};
        case TextEncoding::Plain:
            break;
    }
    return textOf(bytes);
}

void checkText(CaptionFileFormat format, std::string_view text, const ZQRCaptionChecker::Options& options,
               Report& report, RemarkCollector& remarks) {
    const bool isUTF8 = report.readable;
    switch (format) {
        case CaptionFileFormat::SCC:
            detail::SCCCheck(report, remarks).check(text);
            break;
        case CaptionFileFormat::MCC:
            detail::MCCCheck(report, remarks).check(text);
            break;
        case CaptionFileFormat::SubRip:
            detail::SRTCheck(report, remarks, options).check(text);
            break;
        case CaptionFileFormat::EBUSTL:
        case CaptionFileFormat::Unknown:
            break;
    }
    report.readable = report.readable && isUTF8;
}

Report checkBytes(std::span<const std::uint8_t> bytes, std::string_view extension,
                  const ZQRCaptionChecker::Options& options, RemarkCollector& remarks) {
    Report report;
    report.readable = true;
    std::string converted;
    const std::string_view text = plainText(bytes, converted, remarks, report);
    const CaptionFileFormat format = detail::captionFileFormat(text, extension);
    report.format = detail::nameOf(format);
    if (format == CaptionFileFormat::EBUSTL) {
        report.readable = false;
        detail::STLCheck(report, remarks).check(bytes);
    } else if (format == CaptionFileFormat::Unknown) {
        report.readable = false;
        remarks.add(notKnown, {}, [] { return "The file is none of SCC, MCC, SubRip and EBU STL."; });
    } else {
        const bool isMarked = detail::textEncoding(bytes) == TextEncoding::MarkedUTF8;
        if (isMarked && format != CaptionFileFormat::SubRip) {
            remarks.add(byteOrderMark, {std::nullopt, 1}, [] {
                return "The file starts with a byte order mark, which does not belong there; other readers "
                       "may refuse "
                       "it.";
            });
        }
        checkText(format, text, options, report, remarks);
    }
    return report;
}

}  // namespace

Report ZQRCaptionChecker::checkData(std::span<const std::uint8_t> bytes, std::string_view extension,
                                    const Options& options) {
    RemarkCollector remarks(maximumRemarks);
    Report report = checkBytes(bytes, extension, options, remarks);
    report.remarks = remarks.finish();
    return report;
}

Report ZQRCaptionChecker::checkFile(const std::filesystem::path& path, const Options& options) {
    RemarkCollector remarks(maximumRemarks);
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes;
    std::vector<char> piece(std::size_t{1} << 16);
    while (file && bytes.size() < maximumFileBytes) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + file.gcount());
    }
    std::error_code ignored;
    if ((!file.eof() && bytes.empty()) || std::filesystem::is_directory(path, ignored)) {
        Report report;
        report.format = detail::nameOf(CaptionFileFormat::Unknown);
        remarks.add(notOpened, {}, [] { return "The file cannot be read."; });
        report.remarks = remarks.finish();
        return report;
    }
    if (!file.eof() && file.peek() != std::ifstream::traits_type::eof()) {
        remarks.add(cut, {}, [&] {
            return fmt::format("The file is far too large for captions; only the first {} MB were checked.",
                               bytes.size() >> 20);
        });
    }
    Report report = checkBytes(bytes, path.extension().string(), options, remarks);
    report.remarks = remarks.finish();
    return report;
}

ZQRCaptionChecker::ZQRCaptionChecker(const Options& options)
    : stream_(std::make_unique<detail::StreamCheck>(options)) {}
ZQRCaptionChecker::~ZQRCaptionChecker() = default;

void ZQRCaptionChecker::addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    stream_->addVancPackets(packets, timecode);
}

Report ZQRCaptionChecker::finish(const ZQCKTimecode& timecode) {
    return stream_->finish(timecode);
}

}  // namespace zenquor
