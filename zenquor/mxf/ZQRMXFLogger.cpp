#include "zenquor/mxf/ZQRMXFLogger.h"

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {

void ZQRMXFLogger::forwardError(std::string_view message) {
    ZLGGetHandle().error("NabletMXF Error: {}", message);
}

void ZQRMXFLogger::forwardWarning(std::string_view message) {
    ZLGGetHandle().log("NabletMXF Warning: {}", message);
}

void ZQRMXFLogger::forwardInfo(std::string_view message) {
    ZLGGetHandle().debug("NabletMXF Info: {}", message);
}

void ZQRMXFLogger::forwardDebug(std::string_view message) {
    ZLGGetHandle().debug("NabletMXF Debug: {}", message);
}

}  // namespace zenquor
