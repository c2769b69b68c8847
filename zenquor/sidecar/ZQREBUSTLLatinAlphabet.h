#pragma once
// Character code table 00 of EBU STL: Latin.

#include <cstdint>
#include <memory>
#include <optional>

#include "zenquor/sidecar/ZQREBUSTLAlphabet.h"

namespace zenquor {

/// Latin letters, with marks (0xC0 to 0xCF) that precede the letter they stand on. Control codes below 0x20
/// come out as they are.
///
/// Thread-safety: One thread at a time.
/// Standards:     EBU Tech 3264 appendix 1, after ISO 6937.
class ZQREBUSTLLatinAlphabet final : public ZQREBUSTLAlphabet {
public:
    static std::shared_ptr<ZQREBUSTLLatinAlphabet> initWithFillerCharacter(char16_t filler);

    /// What a mark 0xC0 to 0xCF makes of the letter behind it; nothing for one that cannot carry it.
    static std::optional<char16_t> combinedCharacter(std::uint8_t mark, std::uint8_t letter);

    /// A mark waits for the next byte. A letter that cannot carry it is dropped, the filler takes its place
    /// and the log says so.
    void encodeCharacter(std::uint8_t byte) override;

private:
    explicit ZQREBUSTLLatinAlphabet(char16_t filler) : ZQREBUSTLAlphabet(filler) {}

    std::optional<std::uint8_t> pendingMark_;  // 0xC0 to 0xCF
};

}  // namespace zenquor
