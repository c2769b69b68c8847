#pragma once
// The result of a platform operation.

#include <cstdint>

namespace zenquor::platform {

/// 0 is success; anything else says what failed. Negative values of libavcodec and libavformat pass through unchanged.
using Status = std::int32_t;

inline constexpr Status noErr = 0;
inline constexpr Status parameterErr = -50;                  // a value outside what the operation takes
inline constexpr Status memFullErr = -108;                   // an allocation failed
inline constexpr Status blockBufferEmptyErr = -12702;        // a block of no bytes
inline constexpr Status blockBufferRangeErr = -12704;        // bytes outside the block
inline constexpr Status sampleBufferInvalidErr = -12731;     // timing, sizes or format do not fit the data
inline constexpr Status propertyNotSupportedErr = -12900;    // the session has no such property
inline constexpr Status encoderNotFoundErr = -12908;         // no encoder of that kind on this machine
inline constexpr Status sessionInvalidErr = -12903;          // the session was invalidated or never opened
inline constexpr Status pixelTransferNotSupportedErr = -12905;

}  // namespace zenquor::platform
