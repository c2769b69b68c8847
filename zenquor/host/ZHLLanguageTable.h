#pragma once
// The language codes of subtitle files and teletext services.

#include <cstdint>
#include <optional>
#include <string_view>

namespace zenquor {

/// Looks up the one-byte language codes of the EBU, which say less and more than ISO 639: 0x09 is English.
///
/// Thread-safety: Safe; constant tables.
/// Standards:     EBU Tech 3264 appendix 3 (codes), ISO 639-2/T (three-letter codes).
class ZHLLanguageTable final {
public:
    struct Language {
        std::int32_t code;          ///< EBU code, 0x00 to 0x7F
        std::string_view iso639_2;  ///< three letters, "und" where the code names no language
        std::string_view name;      ///< English name
    };

    /// @return nothing for a code that the table does not assign.
    static std::optional<Language> languageForCode(std::int32_t code);
    /// The first language with the three-letter code; nothing for a code that no entry has, and for "und".
    static std::optional<Language> languageForISO639(std::string_view code);
    /// The English name, or "unknown".
    static std::string_view nameForCode(std::int32_t code);
};

}  // namespace zenquor
