#pragma once
// zenquor captions: converts and checks caption files.

namespace CLI {
class App;
}

namespace zenquor::tools {

/// Adds the subcommand to @p app; what it returns goes to @p status.
void addCaptionsCommand(CLI::App& app, int& status);

}  // namespace zenquor::tools
