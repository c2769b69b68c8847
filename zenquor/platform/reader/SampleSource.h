#pragma once
// Where an output's samples come from.

#include "zenquor/core/ZQError.h"
#include "zenquor/platform/SampleBuffer.h"

namespace zenquor::platform::detail {

/// Gives one track's samples in order.
///
/// Thread-safety: One thread at a time.
class SampleSource {
public:
    virtual ~SampleSource() = default;
    /// The next sample, or null at the end and after a failure.
    virtual SampleBufferPtr next() = 0;
    /// Why there are no more samples; null when they simply ended.
    virtual ZQErrorPtr error() const { return nullptr; }
};

}  // namespace zenquor::platform::detail
