#include "zenquor/platform/detail/PCMSamples.h"

#include <algorithm>
#include <cstring>

namespace zenquor::platform::detail {
namespace {

/// The container's bytes as a number in the high bits.
template <std::size_t bytes, bool bigEndian>
std::uint32_t readHigh(const std::uint8_t* p) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        const std::size_t significance = bigEndian ? bytes - 1 - i : i;
        value |= static_cast<std::uint32_t>(p[i]) << (32 - 8 * bytes + 8 * significance);
    }
    return value;
}

template <std::size_t bytes, bool bigEndian>
void writeHigh(std::uint8_t* p, std::uint32_t value) {
    for (std::size_t i = 0; i < bytes; ++i) {
        const std::size_t significance = bigEndian ? bytes - 1 - i : i;
        p[i] = static_cast<std::uint8_t>(value >> (32 - 8 * bytes + 8 * significance));
    }
}

/// How the number lies in its container, seen with the container in the high bits.
struct Alignment {
    explicit Alignment(const PCMLayout& layout)
        : shift(layout.isAlignedHigh ? 0 : layout.bytes * 8 - layout.bits),
          mask(~std::uint32_t{0} << (32 - layout.bits)),
          offset(layout.isSigned ? 0 : 0x80000000) {}

    std::uint32_t shift;   // unused bits above the number
    std::uint32_t mask;    // the number's bits when it lies high
    std::uint32_t offset;  // turns unsigned numbers into signed ones and back
};

template <std::size_t bytes, bool bigEndian>
void load(const PCMLayout& layout, ChannelRun from, std::int32_t* to, std::size_t count) {
    const Alignment alignment(layout);
    for (std::size_t i = 0; i < count; ++i, from.first += from.stride) {
        const std::uint32_t value = readHigh<bytes, bigEndian>(from.first) << alignment.shift;
        to[i] = static_cast<std::int32_t>((value & alignment.mask) ^ alignment.offset);
    }
}

template <std::size_t bytes, bool bigEndian>
void store(const PCMLayout& layout, const std::int32_t* from, ChannelRun to, std::size_t count) {
    const Alignment alignment(layout);
    for (std::size_t i = 0; i < count; ++i, to.first += to.stride) {
        std::uint32_t value = (static_cast<std::uint32_t>(from[i]) ^ alignment.offset) & alignment.mask;
        // A signed number in the low bits fills the bits above it with its sign.
        value = layout.isSigned
                    ? static_cast<std::uint32_t>(static_cast<std::int32_t>(value) >> alignment.shift)
                    : value >> alignment.shift;
        writeHigh<bytes, bigEndian>(to.first, value);
    }
}

template <std::size_t bytes>
void copy(bool reversed, ChannelRun from, ChannelRun to, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, from.first += from.stride, to.first += to.stride) {
        std::memcpy(to.first, from.first, bytes);
        if (reversed) std::reverse(to.first, to.first + bytes);
    }
}

}  // namespace

void loadIntegers(const PCMLayout& layout, ChannelRun from, std::int32_t* to, std::size_t count) {
    static constexpr decltype(&load<2, false>) loops[3][2] = {
        {load<2, false>, load<2, true>}, {load<3, false>, load<3, true>}, {load<4, false>, load<4, true>}};
    loops[layout.bytes - 2][layout.isBigEndian](layout, from, to, count);
}

void storeIntegers(const PCMLayout& layout, const std::int32_t* from, ChannelRun to, std::size_t count) {
    static constexpr decltype(&store<2, false>) loops[3][2] = {{store<2, false>, store<2, true>},
                                                               {store<3, false>, store<3, true>},
                                                               {store<4, false>, store<4, true>}};
    loops[layout.bytes - 2][layout.isBigEndian](layout, from, to, count);
}

void copySamples(std::size_t bytes, bool reversed, ChannelRun from, ChannelRun to, std::size_t count) {
    switch (bytes) {
        case 2:
            return copy<2>(reversed, from, to, count);
        case 3:
            return copy<3>(reversed, from, to, count);
        case 4:
            return copy<4>(reversed, from, to, count);
        case 8:
            return copy<8>(reversed, from, to, count);
        default:
            return;
    }
}

}  // namespace zenquor::platform::detail
