#pragma once
// Big-endian integers in byte buffers. The caller has checked that the bytes are there.

#include <cstdint>

namespace zenquor {

inline std::uint16_t readBE16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}
inline std::uint32_t readBE32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(readBE16(p)) << 16 | readBE16(p + 2);
}
inline std::uint64_t readBE64(const std::uint8_t* p) {
    return static_cast<std::uint64_t>(readBE32(p)) << 32 | readBE32(p + 4);
}
inline void writeBE16(std::uint8_t* p, std::uint16_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 8);
    p[1] = static_cast<std::uint8_t>(v);
}
inline void writeBE32(std::uint8_t* p, std::uint32_t v) {
    writeBE16(p, static_cast<std::uint16_t>(v >> 16));
    writeBE16(p + 2, static_cast<std::uint16_t>(v));
}
inline void writeBE64(std::uint8_t* p, std::uint64_t v) {
    writeBE32(p, static_cast<std::uint32_t>(v >> 32));
    writeBE32(p + 4, static_cast<std::uint32_t>(v));
}

}  // namespace zenquor
