// The command zenquor: records, inspects and lists ancillary data, on the library's public classes.

#include <CLI/CLI.hpp>

#include <fmt/format.h>

#include "AncCommand.h"
#include "CaptionsCommand.h"
#include "ExitStatus.h"
#include "InspectCommand.h"
#include "RecordCommand.h"
#include "zenquor/core/Version.h"

int main(int argc, char** argv) {
    using namespace zenquor::tools;
    CLI::App app(
        "Records broadcast video with sound, timecode and captions, and looks into what was recorded.",
        "zenquor");
    app.set_version_flag("--version", std::string("zenquor ") + zenquor::versionString());
    app.require_subcommand(1);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return fmt::format("zenquor: {} Try --help.\n", error.what());
    });

    int status = ExitSuccess;
    addRecordCommand(app, status);
    addInspectCommand(app, status);
    addAncCommand(app, status);
    addCaptionsCommand(app, status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitSuccess : ExitWrongArguments;
    }
    return status;
}
