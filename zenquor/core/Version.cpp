#include "zenquor/core/Version.h"

#define ZENQUOR_TEXT_OF(x) #x
#define ZENQUOR_TEXT(x) ZENQUOR_TEXT_OF(x)

namespace zenquor {

const char* versionString() {
    return ZENQUOR_TEXT(ZENQUOR_VERSION_MAJOR) "." ZENQUOR_TEXT(ZENQUOR_VERSION_MINOR) "." ZENQUOR_TEXT(
        ZENQUOR_VERSION_PATCH);
}

}  // namespace zenquor
