#include "CaptionsCommand.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>

#include <fmt/format.h>

#include "CaptionCheck.h"
#include "CaptionConversion.h"
#include "CaptionFile.h"
#include "ExitStatus.h"
#include "LogOption.h"
#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/host/ZHLLanguageTable.h"

namespace zenquor::tools {
namespace {

/// The arguments as they were typed.
struct Arguments {
    bool check = false, json = false, doubleHeight = false, westEuropean = false;
    std::string input, output, rate, kind = "cea608", justify, overlap = "ignore", language, log;
    std::int32_t channel = 1, rows = 0, columns = 0;
};

const std::map<std::string, int> rates = {{"2398", 0}, {"24", 1}, {"25", 2},   {"2997", 3},
                                          {"30", 4},   {"50", 5}, {"5994", 6}, {"60", 7}};
const std::map<std::string, std::int32_t> justifications = {
    {"unchanged", 0}, {"left", 1}, {"center", 2}, {"right", 3}};
const std::map<std::string, std::int32_t> overlaps = {{"ignore", 0}, {"merge", 1}, {"remove", 2}};

template <typename Value>
CLI::IsMember oneOf(const std::map<std::string, Value>& table) {
    std::vector<std::string> names;
    for (const auto& [name, value] : table) names.push_back(name);
    return CLI::IsMember(names);
}

/// A mistake in the arguments, told to the person in one sentence.
[[noreturn]] void refuse(const std::string& sentence) {
    throw CLI::ValidationError(sentence);
}

CaptionSettings settingsOf(const Arguments& arguments, const CLI::App& command) {
    CaptionSettings settings;
    settings.output =
        arguments.kind == "op47" ? CaptionSettings::Output::OP47 : CaptionSettings::Output::CEA608;
    settings.channel = arguments.channel;
    settings.channelWasAsked = command.count("--channel") > 0;
    if (!arguments.justify.empty()) settings.justification = justifications.at(arguments.justify);
    if (arguments.rows > 0) settings.rows = arguments.rows;
    if (arguments.columns > 0) settings.columns = arguments.columns;
    settings.overlap = overlaps.at(arguments.overlap);
    settings.doubleHeight = arguments.doubleHeight;
    settings.westEuropean = arguments.westEuropean;
    if (!arguments.language.empty()) settings.language = languageCodeOf(arguments.language);
    return settings;
}

CaptionConversion conversionOf(const Arguments& arguments, const CLI::App& command) {
    CaptionConversion conversion{arguments.input, arguments.output, settingsOf(arguments, command),
                                 std::nullopt};
    if (!arguments.rate.empty())
        conversion.rate = ZQCKTimebase::timebaseForFramerate(rates.at(arguments.rate));
    const auto kind = captionFileKindByName(conversion.output);
    if (kind == CaptionFileKind::Movie || kind == CaptionFileKind::EBUSTL)
        refuse(fmt::format("\"{}\" must end in .srt, .scc or .mcc.", arguments.output));
    if (conversion.settings.output == CaptionSettings::Output::OP47 && kind != CaptionFileKind::SubRip)
        refuse(
            "SCC and MCC files carry captions, not OP-47 teletext: leave --output away, or write an .srt.");
    std::error_code status;
    if (std::filesystem::equivalent(conversion.input, conversion.output, status))
        refuse("IN and OUT are the same file.");
    return conversion;
}

void describe(CLI::App& command, Arguments& a) {
    command.add_option("IN", a.input, "SubRip, EBU STL, SCC or MCC file, or a movie with a caption track")
        ->required()
        ->check(CLI::ExistingFile)
        ->type_name("");
    command.add_option("OUT", a.output, "File to write: .srt, .scc or .mcc")->type_name("");
    command.add_flag("--check", a.check, "Say what is wrong with IN, and write nothing");
    command.add_flag("--json", a.json, "With --check: one JSON object for programs");
    command
        .add_option("--rate", a.rate,
                    "Frame rate of the frames in between; default the file's own, 29.97 for SubRip")
        ->check(oneOf(rates));
    command.add_option("--channel", a.channel, "CEA-608 channel, 1 to 4, written to or read from")
        ->check(CLI::Range(1, 4))
        ->capture_default_str();
    command.add_option("--output", a.kind, "Packets in between: cea608 captions or op47 teletext subtitles")
        ->check(CLI::IsMember({"cea608", "op47"}))
        ->capture_default_str();
    command.add_option("--justify", a.justify, "Where lines stand; default the file's own, else center")
        ->check(oneOf(justifications));
    command.add_option("--rows", a.rows, "Rows of a subtitle; default 4 for captions, 3 for teletext")
        ->check(CLI::Range(1, 15));
    command
        .add_option("--columns", a.columns, "Characters of a row; default 32 for captions, 36 for teletext")
        ->check(CLI::Range(1, 40));
    command
        .add_option("--overlap", a.overlap,
                    "What becomes of a subtitle that starts before the last has ended")
        ->check(oneOf(overlaps))
        ->capture_default_str();
    command.add_flag("--double-height", a.doubleHeight, "Teletext rows of double height");
    command.add_flag("--west-european", a.westEuropean,
                     "Send the extended characters of CEA-608 too; few decoders read them");
    command.add_option("--language", a.language, "Language of teletext: \"fra\", or an EBU code such as 0F")
        ->option_text("CODE");
    addLogOption(command, a.log);
}

}  // namespace

std::int32_t languageCodeOf(const std::string& text) {
    if (const auto language = ZHLLanguageTable::languageForISO639(text)) return language->code;
    const bool isHex = !text.empty() && text.size() <= 2 &&
                       text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (isHex) {
        const std::int32_t code = std::stoi(text, nullptr, 16);
        if (ZHLLanguageTable::languageForCode(code)) return code;
    }
    refuse(fmt::format(
        "There is no language \"{}\". Write three letters such as deu, or an EBU code such as 08.", text));
}

void addCaptionsCommand(CLI::App& app, int& status) {
    auto* const command = app.add_subcommand("captions", "Convert or check a caption or subtitle file");
    const auto arguments = std::make_shared<Arguments>();
    describe(*command, *arguments);
    command->footer(
        "What is written is what a recording would carry: IN is played frame by frame, and an .srt is what "
        "a\n"
        "viewer would see of that.\n"
        "Exit status: 0 written, or nothing wrong; 1 it failed, or something is wrong; 2 wrong arguments.");
    command->callback([arguments, command, &status] {
        applyLogOption(arguments->log);
        if (arguments->check) {
            if (!arguments->output.empty()) refuse("--check writes nothing: give one file.");
            status = checkCaptions(arguments->input, settingsOf(*arguments, *command), arguments->json);
            return;
        }
        if (arguments->output.empty()) refuse("Give a file to write, or --check.");
        status = conversionOf(*arguments, *command).run() ? ExitSuccess : ExitFailure;
    });
}

}  // namespace zenquor::tools
