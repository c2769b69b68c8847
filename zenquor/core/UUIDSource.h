#pragma once
// The one place that unique identifiers come from, so that a test can pin them.

#include <array>
#include <cstdint>
#include <functional>
#include <string>

namespace zenquor {

/// Random (version 4) identifiers, RFC 4122.
///
/// Thread-safety: Safe.
class UUIDSource {
public:
    using UUID = std::array<std::uint8_t, 16>;
    using Source = std::function<UUID()>;

    static UUID next();
    /// Upper-case text with hyphens, 36 characters.
    static std::string text(const UUID& uuid);
    /// Replaces the generator; an empty source restores it.
    static void pin(Source source);
};

}  // namespace zenquor
