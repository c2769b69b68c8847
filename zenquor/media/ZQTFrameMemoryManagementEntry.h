#pragma once
// One scratch buffer of a ZQTFrameMemoryManagement.

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace zenquor {

/// A buffer with its use count.
///
/// Thread-safety: Confined to its manager's lock.
/// Ownership:     owns the buffer.
class ZQTFrameMemoryManagementEntry final {
public:
    /// An entry with one use and a new buffer of @p size bytes; the pointer is null when memory is short.
    static ZQTFrameMemoryManagementEntry entryWithSize(std::uint32_t size) { return initWithSize(size); }
    static ZQTFrameMemoryManagementEntry initWithSize(std::uint32_t size);

    std::uint8_t* pointer() const { return pointer_.get(); }
    /// Uses of the buffer.
    std::uint32_t ref() const { return ref_; }
    void setRef(std::uint32_t ref) { ref_ = ref; }
    /// Whether the buffer may be handed out again.
    bool ready() const { return ready_; }
    void setReady(bool ready) { ready_ = ready; }

private:
    struct Free {
        void operator()(std::uint8_t* pointer) const { std::free(pointer); }
    };
    explicit ZQTFrameMemoryManagementEntry(std::uint32_t size);

    std::unique_ptr<std::uint8_t, Free> pointer_;
    std::uint32_t ref_ = 1;
    bool ready_ = false;
};

}  // namespace zenquor
