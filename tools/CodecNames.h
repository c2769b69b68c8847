#pragma once
// Codecs as a person names them.

#include <string>
#include <string_view>

#include "zenquor/core/FourCC.h"
#include "zenquor/host/ZHLVideoFormat.h"

namespace zenquor::tools {

/// The code that @p name stands for: a name of the list, which depends on the picture format for many codecs, or
/// a four-character code, whose spaces at the end may be left out.
/// @param mistake  a sentence when the result is 0.
FourCC codecNamed(std::string_view name, const ZHLVideoFormat& format, std::string& mistake);

/// Every name with what it stands for, one a line.
std::string codecNameList();

}  // namespace zenquor::tools
