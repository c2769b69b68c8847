#include "zenquor/core/ZQCKTimebase.h"

namespace zenquor {

std::string ZQCKTimebase::description() const {
    static constexpr const char* names[frameRateCount] = {"23.98", "24", "25",       "29.97 DF",
                                                          "30",    "50", "59.94 DF", "60"};
    return names[code_];
}

}  // namespace zenquor
