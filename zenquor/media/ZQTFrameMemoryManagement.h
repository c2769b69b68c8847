#pragma once
// Scratch buffers for encoders, reused from frame to frame.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "zenquor/core/ZQObject.h"
#include "zenquor/media/ZQTFrameMemoryManagementEntry.h"

namespace zenquor {

/// A pool of buffers of one size.
///
/// Lifecycle:     allocatePointer(), use, freePointer(); buffers live until the manager goes.
/// Thread-safety: Safe.
/// Ownership:     owns the buffers; pointers are lent.
class ZQTFrameMemoryManagement final : public ZQObject {
public:
    static std::shared_ptr<ZQTFrameMemoryManagement> init();

    /// A buffer with one use on it. A freed buffer is handed out again without looking at its size: give each
    /// size a manager of its own.
    /// @param size  bytes.
    /// @return null when memory is short.
    std::uint8_t* allocatePointer(std::uint32_t size);
    /// Adds a use; an unknown pointer is ignored.
    void retainPointer(const std::uint8_t* pointer);
    /// Ends a use; after the last one the buffer may be handed out again. An unknown pointer is logged.
    void freePointer(const std::uint8_t* pointer);

private:
    ZQTFrameMemoryManagement() = default;

    std::mutex mutex_;
    std::map<std::uint64_t, ZQTFrameMemoryManagementEntry> entries_;  // by address
};

using ZQTFrameMemoryManagementPtr = std::shared_ptr<ZQTFrameMemoryManagement>;

}  // namespace zenquor
