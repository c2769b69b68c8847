#pragma once
// The subcommand "anc".

namespace CLI {
class App;
}

namespace zenquor::tools {

/// Adds the subcommand to @p app. When it is the one chosen, parsing runs it and stores its exit status.
void addAncCommand(CLI::App& app, int& status);

}  // namespace zenquor::tools
