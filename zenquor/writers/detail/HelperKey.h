#pragma once
// Where a writer finds its coded picture on a frame.

#include <cstddef>
#include <string>

namespace zenquor::detail {

/// The first character of a writer's ID: the name of the encoder whose result the writer takes. Empty for an
/// empty ID.
inline std::string helperKeyForWriterID(const std::string& movieWriterID) {
    std::size_t length = movieWriterID.empty() ? 0 : 1;
    // The bytes that continue a UTF-8 character start with the bits 10.
    while (length < movieWriterID.size() &&
           (static_cast<unsigned char>(movieWriterID[length]) & 0xC0) == 0x80)
        ++length;
    return movieWriterID.substr(0, length);
}

}  // namespace zenquor::detail
