#pragma once
// A codec that a recording can be made with, and how to call it.

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// A codec by its four-character code, with the name shown to the operator and written into movies.
///
/// Thread-safety: Safe; immutable.
class ZHLCompressionComponent final : public ZQObject {
public:
    /// A code and its display name.
    struct Entry {
        FourCC code;
        std::string_view name;
    };

    /// The component of a known code; an unknown one is named by its four characters.
    static std::shared_ptr<const ZHLCompressionComponent> componentWithCode(FourCC code);
    /// The same under another name.
    static std::shared_ptr<const ZHLCompressionComponent> componentWithCode(FourCC code, std::string name);
    /// The display name of a known code, empty for any other.
    static std::string_view displayNameForCode(FourCC code);
    /// Every known code, family by family.
    static std::span<const Entry> knownComponents();

    /// The codec's four-character code.
    FourCC componentString() const { return code_; }
    /// The display name, UTF-8.
    const std::string& name() const { return name_; }
    /// "Apple ProRes 422 (apcn)".
    std::string description() const override;

private:
    ZHLCompressionComponent(FourCC code, std::string name) : code_(code), name_(std::move(name)) {}

    FourCC code_;
    std::string name_;
};

using ZHLCompressionComponentPtr = std::shared_ptr<const ZHLCompressionComponent>;

}  // namespace zenquor
