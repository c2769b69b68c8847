#pragma once
// Between UTF-8, which files and logs speak, and the UTF-16 code units that captions and teletext are counted
// in.

#include <string>
#include <string_view>

namespace zenquor {

/// Each ill-formed part (overlong form, lone continuation, surrogate, value above U+10FFFF, cut sequence)
/// becomes one U+FFFD, the longest well-formed beginning of a sequence counting as one part.
///
/// Standards: Unicode 15 section 3.9 (substitution of maximal subparts).
std::u16string utf16FromUTF8(std::string_view text);

/// A surrogate without its partner becomes U+FFFD.
std::string utf8FromUTF16(std::u16string_view text);

/// A surrogate or a value above U+10FFFF becomes U+FFFD.
std::string utf8FromUTF32(std::u32string_view text);

}  // namespace zenquor
