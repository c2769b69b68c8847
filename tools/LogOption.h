#pragma once
// The option --log, which every subcommand has.

#include <string>

namespace CLI {
class App;
}

namespace zenquor::tools {

/// Adds --log to @p command; what is typed goes to @p level.
void addLogOption(CLI::App& command, std::string& level);
/// Shows the library's log on standard error from that level up; nothing of it for an empty level.
void applyLogOption(const std::string& level);

}  // namespace zenquor::tools
