#include "CaptionOptions.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <span>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "zenquor/host/ZHLLanguageTable.h"

namespace zenquor::tools {
namespace {

// In the order of the values that they stand for.
constexpr std::string_view justifications[] = {"unchanged", "left", "center", "right"};
constexpr std::string_view overlaps[] = {"ignore", "merge", "remove"};

CLI::IsMember oneOf(std::span<const std::string_view> names) {
    return CLI::IsMember(std::vector<std::string>(names.begin(), names.end()));
}

std::int32_t indexOf(std::span<const std::string_view> names, const std::string& name) {
    return static_cast<std::int32_t>(std::ranges::find(names, name) - names.begin());
}

/// The EBU code of a language given by three letters or as the code in hexadecimal.
std::int32_t languageCodeOf(const std::string& text) {
    if (const auto language = ZHLLanguageTable::languageForISO639(text)) return language->code;
    const bool isHex = !text.empty() && text.size() <= 2 &&
                       text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (isHex) {
        const std::int32_t code = std::stoi(text, nullptr, 16);
        if (ZHLLanguageTable::languageForCode(code)) return code;
    }
    throw CLI::ValidationError(fmt::format(
        "There is no language \"{}\". Write three letters such as deu, or an EBU code such as 08.", text));
}

}  // namespace

void CaptionOptions::addTo(CLI::App& command, const std::string& prefix) {
    command
        .add_option(prefix + "channel", channel_,
                    "CEA-608 channel, 1 to 4, written to or read from; default 1")
        ->check(CLI::Range(1, 4));
    command
        .add_option(prefix + "output", output_,
                    "What captions are sent as: cea608, or op47 teletext subtitles")
        ->check(CLI::IsMember({"cea608", "op47"}))
        ->capture_default_str();
    command
        .add_option(prefix + "justify", justify_, "Where lines stand; default the file's own, else center")
        ->check(oneOf(justifications));
    command.add_option(prefix + "rows", rows_, "Rows of a subtitle; default 4 for captions, 3 for teletext")
        ->check(CLI::Range(1, 15));
    command
        .add_option(prefix + "columns", columns_,
                    "Characters of a row; default 32 for captions, 36 for teletext")
        ->check(CLI::Range(8, 40));
    command
        .add_option(prefix + "overlap", overlap_,
                    "What becomes of a subtitle that starts before the last has ended")
        ->check(oneOf(overlaps))
        ->capture_default_str();
    command.add_flag(prefix + "double-height", doubleHeight_, "Teletext rows of double height");
    command.add_flag(prefix + "west-european", westEuropean_,
                     "Send the extended characters of CEA-608 too; few decoders read them");
    command
        .add_option(prefix + "language", language_,
                    "Language of teletext: \"fra\", or an EBU code such as 0F")
        ->option_text("CODE");
    command
        .add_option(prefix + "programme-start", programmeStart_,
                    "EBU STL: keep its times, or subtract the start of its programme from them")
        ->check(CLI::IsMember({"keep", "subtract"}))
        ->capture_default_str();
}

CaptionSettings CaptionOptions::settings() const {
    CaptionSettings settings;
    if (output_ == "op47") settings.output = CaptionSettings::Output::OP47;
    settings.channelWasAsked = channel_ > 0;
    if (channel_ > 0) settings.channel = channel_;
    if (!justify_.empty()) settings.justification = indexOf(justifications, justify_);
    if (rows_ > 0) settings.rows = rows_;
    if (columns_ > 0) settings.columns = columns_;
    settings.overlap = indexOf(overlaps, overlap_);
    settings.doubleHeight = doubleHeight_;
    settings.westEuropean = westEuropean_;
    if (!language_.empty()) settings.language = languageCodeOf(language_);
    settings.subtractsProgrammeStart = programmeStart_ == "subtract";
    return settings;
}

}  // namespace zenquor::tools
