#pragma once
// Characters that packets X/26 of a teletext page put into its rows.

#include <cstdint>
#include <span>

namespace zenquor::detail {

/// Reads the packets X/26 of one transmission of a page.
///
/// Standards: ETSI EN 300 706, 8.3 (Hamming 24/18), 9.4.1 (layout), 12.3 (meaning), 15.6.3 (G2).
class TeletextEnhancement {
public:
    struct Place {
        int row = 0;     ///< from 1
        int column = 0;  ///< from 0
    };

    /// To be called at each header of the page.
    void restart() { *this = {}; }

    /// Calls @p put(Place, char16_t) for each character of a packet's 40 payload bytes.
    template <typename Put>
    void read(std::span<const std::uint8_t> payload, Put&& put) {
        for (std::size_t at = 1; at + 3 <= payload.size() && !ended_; at += 3) {
            Place place;
            if (const char16_t character = readTriplet(payload.subspan(at).first<3>(), place))
                put(place, character);
        }
    }

private:
    /// The character and its place; 0 for a triplet with another meaning.
    char16_t readTriplet(std::span<const std::uint8_t, 3> bytes, Place& place);

    int row_ = 0;
    bool ended_ = false;
};

}  // namespace zenquor::detail
