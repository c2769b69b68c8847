#pragma once
// From one caption file to another, by way of the frames in between.

#include <filesystem>
#include <optional>

#include "CaptionSettings.h"
#include "zenquor/core/ZQCKTimebase.h"

namespace zenquor::tools {

struct CaptionConversion {
    std::filesystem::path input, output;
    CaptionSettings settings;
    std::optional<ZQCKTimebase> rate;  // of the frames in between; nothing: the input's own

    /// Plays the input out frame by frame, collects the output, and prints what became of it.
    /// @return whether the output is there and whole.
    bool run() const;
};

}  // namespace zenquor::tools
