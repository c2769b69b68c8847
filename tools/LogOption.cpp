#include "LogOption.h"

#include <CLI/CLI.hpp>

#include <map>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor::tools {

void addLogOption(CLI::App& command, std::string& level) {
    command.add_option("--log", level, "Show the library's log on standard error: debug, default, error")
        ->check(CLI::IsMember({"debug", "default", "error"}))
        ->option_text("LEVEL");
}

void applyLogOption(const std::string& level) {
    static const std::map<std::string, ZLGLevel> levels = {
        {"debug", ZLGLevel::Debug}, {"default", ZLGLevel::Default}, {"error", ZLGLevel::Error}};
    const auto found = levels.find(level);
    ZLGGetHandle().setLevel(found == levels.end() ? ZLGLevel::Off : found->second);
}

}  // namespace zenquor::tools
