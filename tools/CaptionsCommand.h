#pragma once
// zenquor captions: converts and checks caption files.

#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace zenquor::tools {

/// Adds the subcommand to @p app; what it returns goes to @p status.
void addCaptionsCommand(CLI::App& app, int& status);

/// The EBU code of a language given by three letters or as the code in hexadecimal. Refuses anything else as a wrong
/// argument.
std::int32_t languageCodeOf(const std::string& text);

}  // namespace zenquor::tools
