#include "zenquor/media/ZQTFrameMemoryManagement.h"

#include <algorithm>
#include <utility>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {
namespace {

std::uint64_t addressOf(const std::uint8_t* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

}  // namespace

std::shared_ptr<ZQTFrameMemoryManagement> ZQTFrameMemoryManagement::init() {
    return std::shared_ptr<ZQTFrameMemoryManagement>(new ZQTFrameMemoryManagement);
}

std::uint8_t* ZQTFrameMemoryManagement::allocatePointer(std::uint32_t size) {
    const std::lock_guard lock(mutex_);
    const auto free =
        std::find_if(entries_.begin(), entries_.end(), [](const auto& e) { return e.second.ready(); });
    if (free != entries_.end()) {
        free->second.setReady(false);
        return free->second.pointer();
    }
    auto entry = ZQTFrameMemoryManagementEntry::entryWithSize(size);
    std::uint8_t* const pointer = entry.pointer();
    if (pointer) entries_.emplace(addressOf(pointer), std::move(entry));
    return pointer;
}

void ZQTFrameMemoryManagement::retainPointer(const std::uint8_t* pointer) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(addressOf(pointer));
    if (found != entries_.end()) found->second.setRef(found->second.ref() + 1);
}

void ZQTFrameMemoryManagement::freePointer(const std::uint8_t* pointer) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(addressOf(pointer));
    if (found == entries_.end()) {
        ZLGGetHandle().error("ZQTFrameMemoryManagement could not free unknown pointer {}",
                             addressOf(pointer));
        return;
    }
    auto& entry = found->second;
    if (entry.ref() == 1) {
        entry.setReady(true);
    } else {
        entry.setRef(entry.ref() - 1);
    }
}

}  // namespace zenquor
