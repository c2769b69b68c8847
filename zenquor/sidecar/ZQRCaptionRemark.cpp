#include "zenquor/sidecar/ZQRCaptionRemark.h"

#include <array>
#include <cstddef>

namespace zenquor {

const char* ZQRCaptionRemark::nameOfKind(Kind kind) {
    static constexpr std::array<const char*, 12> names = {"parity",   "checksum", "sequence", "count",
                                                          "timing",   "overlap",  "length",   "code",
                                                          "timecode", "safearea", "format",   "loss"};
    return names.at(static_cast<std::size_t>(kind));
}

}  // namespace zenquor
