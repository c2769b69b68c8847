#include "CaptionCheck.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "CaptionErrors.h"
#include "CaptionFile.h"
#include "ExitStatus.h"
#include "MXFCaptions.h"
#include "MovieCaptions.h"
#include "zenquor/sidecar/ZQRCaptionChecker.h"

namespace zenquor::tools {
namespace {

ZQRCaptionChecker::Options optionsFor(const CaptionSettings& settings) {
    ZQRCaptionChecker::Options options;
    options.channel = settings.channel;
    options.columns = settings.rasterColumns();
    options.rows = settings.rasterRows();
    options.allowWestEuropean = settings.westEuropean;
    options.teletext = settings.output == CaptionSettings::Output::OP47;
    return options;
}

/// @param packets  a movie's or an MXF file's, or null with an error.
template <typename Packets>
std::optional<ZQRCaptionChecker::Report> checkPackets(const std::shared_ptr<Packets>& packets,
                                                      const ZQErrorPtr& error,
                                                      ZQRCaptionChecker::Options options) {
    if (!packets) {
        fmt::print(stderr, "zenquor: {}\n", error->localizedDescription());
        return std::nullopt;
    }
    ZQCKTimecode timecode = packets->first();
    options.timebase = timecode.timebase();
    ZQRCaptionChecker checker(options);
    for (std::int64_t left = packets->frames(); left > 0; --left, timecode.addFrames(1))
        checker.addVancPackets(packets->vancPacketsAtTimecode(timecode), timecode);
    return checker.finish(timecode);
}

std::optional<ZQRCaptionChecker::Report> check(const std::filesystem::path& path,
                                               const ZQRCaptionChecker::Options& options) {
    ZQErrorPtr error;
    switch (captionFileKind(path)) {
        case CaptionFileKind::Movie:
            return checkPackets(MovieCaptions::open(path, fourCC("c708"), &error), error, options);
        case CaptionFileKind::MXF:
            return checkPackets(MXFCaptions::open(path, &error), error, options);
        default:
            return ZQRCaptionChecker::checkFile(path, options);
    }
}

void printPlain(const std::filesystem::path& path, const ZQRCaptionChecker::Report& report) {
    fmt::print("{}: {}", path.string(), report.format);
    if (report.first && report.last) fmt::print(", {} to {}", *report.first, *report.last);
    if (report.blocks > 0) fmt::print(", {} blocks", report.blocks);
    if (report.packets > 0) fmt::print(", {} packets", report.packets);
    if (report.pairs > 0) fmt::print(", {} byte pairs", report.pairs);
    fmt::print("\n");
    for (const auto& remark : report.remarks) {
        const std::string place = remark.timecode ? remark.timecode->description()
                                  : remark.line   ? fmt::format("line {}", *remark.line)
                                                  : "";
        fmt::print("  {:<12} {:<9} {}\n", place, ZQRCaptionRemark::nameOfKind(remark.kind), remark.text);
    }
    if (report.remarks.empty())
        fmt::print("  {}\n", report.readable ? "Nothing to remark." : "It holds no captions.");
}

nlohmann::ordered_json textOrNull(const std::optional<ZQCKTimecode>& timecode) {
    if (!timecode) return nullptr;
    return timecode->description();
}

void printJSON(const std::filesystem::path& path, const ZQRCaptionChecker::Report& report) {
    nlohmann::ordered_json object;
    object["file"] = path.string();
    object["format"] = report.format;
    object["readable"] = report.readable;
    object["lines"] = report.lines;
    object["blocks"] = report.blocks;
    object["pairs"] = report.pairs;
    object["packets"] = report.packets;
    object["badParityBytes"] = report.badParityBytes;
    object["badWords"] = report.badWords;
    object["dropFrame"] = report.dropFrame;
    object["first"] = textOrNull(report.first);
    object["last"] = textOrNull(report.last);
    object["remarks"] = nlohmann::ordered_json::array();
    for (const auto& remark : report.remarks) {
        nlohmann::ordered_json entry;
        entry["kind"] = ZQRCaptionRemark::nameOfKind(remark.kind);
        entry["timecode"] = textOrNull(remark.timecode);
        entry["line"] = remark.line ? nlohmann::ordered_json(*remark.line) : nlohmann::ordered_json(nullptr);
        entry["text"] = remark.text;
        object["remarks"].push_back(std::move(entry));
    }
    fmt::print("{}\n", object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace

int checkCaptions(const std::filesystem::path& path, const CaptionSettings& settings,
                  std::optional<ZQCKTimebase> rate, bool json) {
    if (ZQErrorPtr error; !canBeRead(path, &error)) {
        fmt::print(stderr, "zenquor: {}\n", error->localizedDescription());
        return ExitFailure;
    }
    auto options = optionsFor(settings);
    if (rate) options.timebase = *rate;
    const auto report = check(path, options);
    if (!report) return ExitFailure;
    (json ? printJSON : printPlain)(path, *report);
    return report->readable && report->remarks.empty() ? ExitSuccess : ExitFailure;
}

}  // namespace zenquor::tools
