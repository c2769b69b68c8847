#pragma once
// The options of the command that say what captions are sent as and how they look.

#include <cstdint>
#include <string>

#include "CaptionSettings.h"

namespace CLI {
class App;
}

namespace zenquor::tools {

/// The same options for every subcommand that plays caption files, behind a prefix where it has others too.
class CaptionOptions {
public:
    /// @param prefix  "--" or "--caption-"; this object must stay until the arguments are read.
    void addTo(CLI::App& command, const std::string& prefix);
    /// Refuses an unknown language as a wrong argument.
    CaptionSettings settings() const;

private:
    std::string output_ = "cea608", justify_, overlap_ = "ignore", language_, programmeStart_ = "keep";
    std::int32_t channel_ = 0, rows_ = 0, columns_ = 0;  // 0: not given
    bool doubleHeight_ = false, westEuropean_ = false;
};

}  // namespace zenquor::tools
