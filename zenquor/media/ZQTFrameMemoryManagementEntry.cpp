#include "zenquor/media/ZQTFrameMemoryManagementEntry.h"

#include <algorithm>

namespace zenquor {

ZQTFrameMemoryManagementEntry::ZQTFrameMemoryManagementEntry(std::uint32_t size)
    : pointer_(static_cast<std::uint8_t*>(std::malloc(std::max<std::size_t>(size, 1)))) {}

ZQTFrameMemoryManagementEntry ZQTFrameMemoryManagementEntry::initWithSize(std::uint32_t size) {
    return ZQTFrameMemoryManagementEntry(size);
}

}  // namespace zenquor
