#pragma once
// One text and timing block of an EBU STL file.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/sidecar/ZQREBUSTLAlphabet.h"
#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor {

/// A subtitle as EBU STL carries it. Its lines keep the teletext control codes of the file.
///
/// Lifecycle:     made from the bytes of the file, prepared once, then shown by one output.
/// Thread-safety: as ZQRSubtitleBlock.
/// Standards:     EBU Tech 3264 (TTI block).
class ZQREBUSTLBlock final : public ZQRSubtitleBlock {
public:
    static constexpr std::size_t size = 128;
    /// Extension block numbers from here on, other than lastExtensionBlock, hold no text for the screen.
    static constexpr std::int32_t firstReservedExtensionBlock = 0xF0;
    static constexpr std::int32_t userDataExtensionBlock = 0xFE;
    static constexpr std::int32_t lastExtensionBlock = 0xFF;

    /// Reads a block. Text of a block that is not displayable() is not decoded. Times beyond the day are cut
    /// to the last that exists.
    /// @param alphabet          reads the text; its output is taken for the time of the call. None gives no
    ///                          lines.
    /// @param removeEmptyLines  leaves out lines without any code.
    static std::shared_ptr<ZQREBUSTLBlock> initWithTTIBlock(std::span<const std::uint8_t, size> bytes,
                                                            ZQCKTimebase timebase,
                                                            const ZQREBUSTLAlphabetPtr& alphabet,
                                                            bool removeEmptyLines);

    /// False for comments, user data and reserved blocks.
    bool displayable() const override;
    std::string debugDescriptionHeader() const override;

    std::int32_t subtitleGroupNumber() const { return subtitleGroupNumber_; }
    void setSubtitleGroupNumber(std::int32_t number) { subtitleGroupNumber_ = number; }
    /// 0 to 0xEF: the text goes on in the next block; see the constants for the others.
    std::int32_t extensionBlockNumber() const { return extensionBlockNumber_; }
    void setExtensionBlockNumber(std::int32_t number) { extensionBlockNumber_ = number; }
    /// 0 single, 1 first, 2 intermediate, 3 last of a cumulative set.
    std::int32_t cumulativeStatus() const { return cumulativeStatus_; }
    void setCumulativeStatus(std::int32_t status) { cumulativeStatus_ = status; }
    /// A note for the translator, not for the screen.
    bool comment() const { return comment_; }
    void setComment(bool comment) { comment_ = comment; }

    /// "single", "first", "intermediate", "last".
    static const std::array<std::string_view, 4>& cumulativeStrings();

private:
    ZQREBUSTLBlock() = default;

    void readText(std::span<const std::uint8_t> text, ZQREBUSTLAlphabet& alphabet, bool removeEmptyLines);

    std::int32_t subtitleGroupNumber_ = 0;
    std::int32_t extensionBlockNumber_ = lastExtensionBlock;
    std::int32_t cumulativeStatus_ = 0;
    bool comment_ = false;
};

using ZQREBUSTLBlockPtr = std::shared_ptr<ZQREBUSTLBlock>;

}  // namespace zenquor
