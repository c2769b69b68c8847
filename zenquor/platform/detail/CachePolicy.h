#pragma once
// The writers' side of the buffer cache policy: a cheap way to see that it changed.

#include <cstdint>

namespace zenquor::platform::detail {

/// A number that changes whenever a file's cache is switched off, so that a writer looks its own file up only
/// then.
///
/// Thread-safety: Safe; one atomic load.
std::uint64_t bufferCachePolicyGeneration();

}  // namespace zenquor::platform::detail
