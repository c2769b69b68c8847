#include "CaptionsCommand.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>

#include <fmt/format.h>

#include "CaptionCheck.h"
#include "CaptionConversion.h"
#include "CaptionFile.h"
#include "CaptionOptions.h"
#include "ExitStatus.h"
#include "LogOption.h"
#include "zenquor/core/ZQCKTimebase.h"

namespace zenquor::tools {
namespace {

/// The arguments as they were typed.
struct Arguments {
    bool check = false, json = false;
    std::string input, output, rate, log;
    CaptionOptions captions;
};

const std::map<std::string, int> rates = {{"2398", 0}, {"24", 1}, {"25", 2},   {"2997", 3},
                                          {"30", 4},   {"50", 5}, {"5994", 6}, {"60", 7}};
/// A mistake in the arguments, told to the person in one sentence.
[[noreturn]] void refuse(const std::string& sentence) {
    throw CLI::ValidationError(sentence);
}

std::optional<ZQCKTimebase> rateOf(const Arguments& arguments) {
    if (arguments.rate.empty()) return std::nullopt;
    return ZQCKTimebase::timebaseForFramerate(rates.at(arguments.rate));
}

CaptionConversion conversionOf(const Arguments& arguments) {
    CaptionConversion conversion{arguments.input, arguments.output, arguments.captions.settings(),
                                 rateOf(arguments)};
    const auto kind = captionFileKindByName(conversion.output);
    if (kind == CaptionFileKind::Movie || kind == CaptionFileKind::MXF || kind == CaptionFileKind::EBUSTL)
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
    command.add_option("IN", a.input, "SubRip, EBU STL, SCC or MCC file, a movie with a caption track, or an MXF file with ancillary data")
        ->required()
        ->check(CLI::ExistingFile)
        ->type_name("");
    command.add_option("OUT", a.output, "File to write: .srt, .scc or .mcc")->type_name("");
    command.add_flag("--check", a.check, "Say what is wrong with IN, and write nothing");
    command.add_flag("--json", a.json, "With --check: one JSON object for programs");
    command
        .add_option("--rate", a.rate,
                    "Frame rate of the frames that are played; default the file's own, 29.97 for SubRip")
        ->check(CLI::IsMember(&rates));
    a.captions.addTo(command, "--");
    addLogOption(command, a.log);
}

}  // namespace

void addCaptionsCommand(CLI::App& app, int& status) {
    auto* const command = app.add_subcommand("captions", "Convert or check a caption or subtitle file");
    const auto arguments = std::make_shared<Arguments>();
    describe(*command, *arguments);
    command->footer(
        "What is written is what a recording would carry: IN is played frame by frame,\n"
        "and an .srt is what a viewer would see of that.\n"
        "Exit status: 0 written, or nothing wrong; 1 it failed, or something is wrong; 2 wrong arguments.");
    command->callback([arguments, &status] {
        applyLogOption(arguments->log);
        if (arguments->check) {
            if (!arguments->output.empty()) refuse("--check writes nothing: give one file.");
            status = checkCaptions(arguments->input, arguments->captions.settings(), rateOf(*arguments),
                                   arguments->json);
            return;
        }
        if (arguments->json) refuse("--json goes with --check.");
        if (arguments->output.empty()) refuse("Give a file to write, or --check.");
        status = conversionOf(*arguments).run() ? ExitSuccess : ExitFailure;
    });
}

}  // namespace zenquor::tools
