#include "AncCommand.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "CaptionSamples.h"
#include "ExitStatus.h"
#include "LogOption.h"
#include "TimecodeTrack.h"
#include "zenquor/core/ZQError.h"

namespace zenquor::tools {
namespace {

struct Arguments {
    std::string file, frames, log;
    bool json = false;
};

struct FrameRange {
    std::int64_t first = 0;
    std::int64_t last = INT64_MAX;
};

/// "A-B", "A-" or "A".
std::optional<FrameRange> frameRange(const std::string& text) {
    if (text.empty()) return FrameRange{};
    FrameRange range;
    const auto number = [](const std::string& digits, std::int64_t& value) {
        if (digits.empty() || digits.size() > 18 ||
            digits.find_first_not_of("0123456789") != std::string::npos)
            return false;
        value = std::stoll(digits);
        return true;
    };
    const auto dash = text.find('-');
    if (!number(text.substr(0, dash), range.first)) return std::nullopt;
    if (dash == std::string::npos) {
        range.last = range.first;
    } else if (dash + 1 < text.size() && !number(text.substr(dash + 1), range.last)) {
        return std::nullopt;
    }
    return range.first <= range.last ? std::optional(range) : std::nullopt;
}

std::string hex(const ZQData& data) {
    std::string text;
    for (const std::uint8_t byte : data) text += fmt::format("{:02X}", byte);
    return text;
}

/// Frame numbers and timecodes of a movie's times.
class FrameNumbering {
public:
    explicit FrameNumbering(const platform::AssetPtr& asset) : timecodes_(TimecodeTrack::ofAsset(asset)) {
        const auto video = asset->tracksWithMediaType(platform::mediaTypeVideo);
        if (!video.empty()) rate_ = {video[0].frameRateNumerator, video[0].frameRateDenominator};
    }
    std::int64_t frameAt(platform::MediaTime time) const {
        if (timecodes_) return timecodes_->frameAt(time);
        return static_cast<std::int64_t>(
            time.seconds() * rate_.first / std::max<std::uint32_t>(rate_.second, 1) + 0.5);
    }
    std::optional<ZQCKTimecode> timecodeAt(platform::MediaTime time) const {
        return timecodes_ ? timecodes_->timecodeAt(time) : std::nullopt;
    }

private:
    std::optional<TimecodeTrack> timecodes_;
    std::pair<std::uint32_t, std::uint32_t> rate_{25, 1};
};

void printPlain(std::int64_t frame, const std::optional<ZQCKTimecode>& timecode,
                const CaptionSample& sample) {
    std::string parts;
    for (const auto& part : describeCaptions(*sample.packet)) parts += "  " + part;
    fmt::print("{:>7}  {}  line {:>3}  {:02X}/{:02X}  {}{}\n", frame,
               timecode ? timecode->description() : "--:--:--:--", sample.packet->lineNumber(),
               sample.packet->DID(), sample.packet->SDID(), fourCCString(sample.kind), parts);
}

void printJSON(std::int64_t frame, const std::optional<ZQCKTimecode>& timecode, const CaptionSample& sample) {
    nlohmann::ordered_json line;
    line["frame"] = frame;
    line["timecode"] =
        timecode ? nlohmann::ordered_json(timecode->description()) : nlohmann::ordered_json(nullptr);
    line["line"] = sample.packet->lineNumber();
    line["did"] = sample.packet->DID();
    line["sdid"] = sample.packet->SDID();
    line["kind"] = fourCCString(sample.kind);
    line["description"] = describeCaptions(*sample.packet);
    line["data"] = hex(sample.packet->originalData());
    fmt::print("{}\n", line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

int list(const Arguments& arguments, const FrameRange& range) {
    ZQErrorPtr error;
    const auto asset = platform::Asset::assetWithURL(arguments.file, &error);
    if (!asset) {
        fmt::print(stderr, "zenquor: {}\n", error->userInterfaceDescription());
        return ExitFailure;
    }
    const FrameNumbering numbering(asset);
    const std::uint64_t unreadable = forEachCaptionSample(asset, [&](const CaptionSample& sample) {
        const std::int64_t frame = numbering.frameAt(sample.time);
        if (frame >= range.first && frame <= range.last) {
            (arguments.json ? printJSON : printPlain)(frame, numbering.timecodeAt(sample.time), sample);
        }
        return true;
    });
    if (unreadable > 0)
        fmt::print(stderr, "zenquor: {} caption samples hold no readable packet.\n", unreadable);
    return ExitSuccess;
}

}  // namespace

void addAncCommand(CLI::App& app, int& status) {
    auto* const command =
        app.add_subcommand("anc", "List the ancillary and caption packets of a file, frame by frame");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("FILE", arguments->file, "Movie to read")->required()->type_name("");
    command->add_flag("--json", arguments->json, "One JSON object a line");
    command->add_option("--frames", arguments->frames, "Frames A to B only, counted from 0")
        ->option_text("A-B");
    addLogOption(*command, arguments->log);
    command->callback([arguments, &status] {
        const auto range = frameRange(arguments->frames);
        if (!range)
            throw CLI::ValidationError(
                fmt::format("\"{}\" is not a range of frames. Write A-B.", arguments->frames));
        applyLogOption(arguments->log);
        status = list(*arguments, *range);
    });
}

}  // namespace zenquor::tools
