#pragma once
// How the text bytes of an EBU STL file become characters.

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// The root of the character code tables: takes bytes one by one and hands out characters as they complete.
/// This one hands out nothing.
///
/// Thread-safety: One thread at a time.
class ZQREBUSTLAlphabet : public ZQObject {
public:
    /// Receives one UTF-16 code unit.
    using OutputCharacter = std::function<void(char16_t character)>;

    static std::shared_ptr<ZQREBUSTLAlphabet> initWithFillerCharacter(char16_t filler);

    /// Takes the next byte of a text field.
    virtual void encodeCharacter(std::uint8_t byte);

    const OutputCharacter& outputCharacter() const { return outputCharacter_; }
    /// Where characters go from now on; an empty function drops them.
    void setOutputCharacter(OutputCharacter output) { outputCharacter_ = std::move(output); }
    /// Stands in for what the alphabet cannot read; 0 for nothing.
    char16_t fillerCharacter() const { return fillerCharacter_; }
    void setFillerCharacter(char16_t filler) { fillerCharacter_ = filler; }

protected:
    explicit ZQREBUSTLAlphabet(char16_t filler) : fillerCharacter_(filler) {}
    void output(char16_t character) const;

private:
    char16_t fillerCharacter_;
    OutputCharacter outputCharacter_;
};

using ZQREBUSTLAlphabetPtr = std::shared_ptr<ZQREBUSTLAlphabet>;

}  // namespace zenquor
