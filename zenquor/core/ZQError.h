#pragma once
// The error that fallible operations hand out.

#include <memory>
#include <string>
#include <string_view>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

class ZQError;
using ZQErrorPtr = std::shared_ptr<const ZQError>;

/// What went wrong: a domain, a negative code within it, a text for the log and a text for the person at the
/// desk.
///
/// Fallible operations return false (or null) and take an optional `ZQErrorPtr* error` last. Branch on the
/// result, never on the error: a caller may pass none, and some operations succeed with a non-critical error.
///
/// Thread-safety: Safe; immutable.
class ZQError final : public ZQObject {
public:
    static ZQErrorPtr errorWithDomain(std::string_view domain, int code, std::string description,
                                      std::string userInterfaceDescription = {});

    const std::string& domain() const { return domain_; }
    int code() const { return code_; }
    /// The cause, for logs and engineers.
    const std::string& localizedDescription() const { return text_; }
    /// What to tell the operator; the cause where none was given.
    const std::string& userInterfaceDescription() const { return userText_.empty() ? text_ : userText_; }
    /// "Error Domain=… Code=… "…"".
    std::string description() const override;

    /// Texts for the operator, each saying what happened and what to do about it.
    static std::string writeError();
    static std::string encodingError();
    static std::string missingEncoder();
    static std::string noHardwareEncoder();
    static std::string MXFWriteError();
    static std::string MXFEncodingError();

private:
    ZQError(std::string_view domain, int code, std::string description, std::string userInterfaceDescription);

    std::string domain_;
    int code_;
    std::string text_;
    std::string userText_;
};

/// Stores @p value where the caller asked for it. Always returns false, so that `return fail(error, …)` reads
/// well.
inline bool fail(ZQErrorPtr* error, ZQErrorPtr value) {
    if (error) *error = std::move(value);
    return false;
}

}  // namespace zenquor
