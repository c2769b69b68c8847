#pragma once
// How the codecs of the system are recorded in movies.

#include <cstdint>

#include "zenquor/core/FourCC.h"

namespace zenquor::platform::quicktime {

/// What a codec needs besides the entry that all have.
enum class CodecFamily {
    Other,         // nothing
    Uncompressed,  // Y'CbCr as it is: version 2, lossless quality
    ProRes,
    AVC,   // avcC
    HEVC,  // hvcC
    DNxHD,
    DNxHR,
};

struct CodecEntry {
    FourCC code;      // of the format description
    FourCC recorded;  // of the sample entry
    CodecFamily family;
    std::uint32_t compressionID;  // DNxHD and DNxHR: SMPTE ST 2019-1; else 0
};

/// The entry for a code; codes without one are recorded as they are.
CodecEntry codecEntry(FourCC code);

}  // namespace zenquor::platform::quicktime
