#pragma once
// The few settings that a host may change for the whole process.

#include <cstdint>
#include <string>
#include <string_view>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/ZQValue.h"

namespace zenquor {

/// Process-wide settings by key. An absent key reads as 0, false or an empty text. Nothing is kept on disk:
/// the host sets what it wants to change before it starts a recording.
///
/// Thread-safety: Safe.
class ZQUserDefaults {
public:
    static ZQUserDefaults& standardUserDefaults();

    std::int64_t integerForKey(std::string_view key) const;
    bool boolForKey(std::string_view key) const;
    std::string stringForKey(std::string_view key) const;
    void setValue(std::string key, ZQValue value);
    void removeValue(std::string_view key);

private:
    Guarded<ZQDictionary> values_;
};

}  // namespace zenquor
