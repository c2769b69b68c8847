#include "zenquor/sidecar/ZQREBUSTLAlphabet.h"

namespace zenquor {

ZQREBUSTLAlphabetPtr ZQREBUSTLAlphabet::initWithFillerCharacter(char16_t filler) {
    return ZQREBUSTLAlphabetPtr(new ZQREBUSTLAlphabet(filler));
}

void ZQREBUSTLAlphabet::encodeCharacter(std::uint8_t) {}

void ZQREBUSTLAlphabet::output(char16_t character) const {
    if (outputCharacter_) outputCharacter_(character);
}

}  // namespace zenquor
