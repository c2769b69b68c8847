#pragma once
// The root of the reference-counted classes: an object that can say what it is.

#include <memory>
#include <string>

namespace zenquor {

/// Base of every class that log lines and errors may name.
///
/// Thread-safety: description() may be called from any thread that holds a reference.
/// Ownership:     objects live in std::shared_ptr, made by the static factories of their classes.
class ZQObject {
public:
    virtual ~ZQObject() = default;

    /// One line that names the object; by default "<Class: 0xADDRESS>" without the namespace.
    virtual std::string description() const;

protected:
    ZQObject() = default;
    ZQObject(const ZQObject&) = default;
    ZQObject& operator=(const ZQObject&) = default;
};

using ZQObjectPtr = std::shared_ptr<ZQObject>;

/// The object's description, or "(null)" for no object.
std::string describe(const ZQObject* object);

}  // namespace zenquor
