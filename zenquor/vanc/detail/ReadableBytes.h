#pragma once
// Bytes of unknown meaning for a person's eyes.

#include <cstdint>
#include <span>
#include <string>

namespace zenquor::detail {

/// The bytes as text in quotes when they are well-formed UTF-8 without characters that cannot be seen, else as
/// "0x…"; "none" for no bytes.
std::string readableBytes(std::span<const std::uint8_t> bytes);

}  // namespace zenquor::detail
