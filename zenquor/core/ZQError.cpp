#include "zenquor/core/ZQError.h"

#include <utility>

#include <fmt/format.h>

namespace zenquor {

ZQError::ZQError(std::string_view domain, int code, std::string description,
                 std::string userInterfaceDescription)
    : domain_(domain),
      code_(code),
      text_(std::move(description)),
      userText_(std::move(userInterfaceDescription)) {}

ZQErrorPtr ZQError::errorWithDomain(std::string_view domain, int code, std::string description,
                                    std::string userInterfaceDescription) {
    return ZQErrorPtr(new ZQError(domain, code, std::move(description), std::move(userInterfaceDescription)));
}

std::string ZQError::description() const {
    return fmt::format("Error Domain={} Code={} \"{}\"", domain_, code_, text_);
}

std::string ZQError::writeError() {
    return "The recording could not be written. Check that the target disk is connected, has free space and "
           "is fast "
           "enough, then start the recording again.";
}
std::string ZQError::encodingError() {
    return "The picture could not be encoded. Check the codec settings of the capture preset, then start the "
           "recording again.";
}
std::string ZQError::missingEncoder() {
    return "This system has no encoder for the chosen codec. Choose another codec in the capture preset or "
           "install "
           "the encoder.";
}
std::string ZQError::noHardwareEncoder() {
    return "No hardware encoder is free, so the processor encodes instead. Close other encoding programs or "
           "lower the "
           "load if frames are dropped.";
}
std::string ZQError::MXFWriteError() {
    return "The MXF file could not be written. Check that the target disk is connected, has free space and "
           "is fast "
           "enough, then start the recording again.";
}
std::string ZQError::MXFEncodingError() {
    return "The picture could not be encoded for MXF. Check that the codec of the capture preset may be "
           "stored in MXF, "
           "then start the recording again.";
}

}  // namespace zenquor
