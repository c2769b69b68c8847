#pragma once
// What the engine's operations return.

#include <cstdint>

namespace zenquor::mxf {

/// 0 is success, everything else a failure. A sentence about a failure goes to the logger.
enum Status : std::int32_t {
    StatusOK = 0,
    StatusEndOfFile = 1,        // nothing (more) to read now; a growing file may have more later
    StatusBadArgument = -1,     // an operation out of order, an unknown handle or number
    StatusCannotOpen = -2,      // the file cannot be opened or created
    StatusReadFailed = -3,      // the file cannot be read
    StatusWriteFailed = -4,     // the file cannot be written
    StatusBadSample = -5,       // a sample that does not fit its stream
    StatusUnknownEssence = -6,  // essence that no mapping is known for
    StatusNotMXF = -7,          // no header partition
    StatusDamaged = -8,         // the file's structure cannot be followed
};

}  // namespace zenquor::mxf
