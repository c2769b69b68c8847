#pragma once
// What the filler packets of a teletext stream are made from.

#include <cstdint>
#include <string>
#include <utility>

#include "zenquor/core/Guarded.h"

namespace zenquor {

/// Counts through the contents of filler packets: independent data lines (packet 31, format A) that receivers
/// of pages pass over.
///
/// Thread-safety: Safe; one packet is made under one lock, so that no two carry the same continuity value.
/// Standards:     ETS 300 706, independent data lines.
class ZQRVANCTeletextDummyIDLPacketGenerator final {
public:
    /// An address longer than this does not fit the three bits of its length.
    static constexpr std::size_t maximumAddressLength = 7;
    /// Content bytes that are alike before the next value follows.
    static constexpr std::uint32_t bytesPerContent = 8;

    struct State {
        std::uint32_t magazine = 8;        // 1 to 8
        std::string address = "0";         // decimal digits, at most maximumAddressLength
        std::uint8_t continuity = 0;       // of the next packet; wraps
        std::uint8_t payloadContent = 0;   // the next content byte; wraps
        std::uint32_t payloadCounter = 0;  // content bytes since payloadContent last changed
    };

    /// The one that OP-47 packets are filled up from.
    static ZQRVANCTeletextDummyIDLPacketGenerator& sharedGenerator();

    std::uint32_t magazine() const { return state_.load().magazine; }
    void setMagazine(std::uint32_t magazine);
    std::string address() const { return state_.load().address; }
    /// Keeps the decimal digits of @p address, at most maximumAddressLength of them.
    void setAddress(std::string address);
    std::uint8_t continuity() const { return state_.load().continuity; }
    void setContinuity(std::uint8_t continuity);
    std::uint8_t payloadContent() const { return state_.load().payloadContent; }
    void setPayloadContent(std::uint8_t content);
    std::uint32_t payloadCounter() const { return state_.load().payloadCounter; }
    void setPayloadCounter(std::uint32_t counter);

    /// Runs @p function on the state under the lock; it must not call the generator.
    template <typename F>
    decltype(auto) withState(F&& function) {
        return state_.with(std::forward<F>(function));
    }

private:
    Guarded<State> state_;
};

}  // namespace zenquor
