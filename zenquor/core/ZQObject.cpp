#include "zenquor/core/ZQObject.h"

#include <cxxabi.h>

#include <cstdlib>
#include <typeinfo>

#include <fmt/format.h>

namespace zenquor {
namespace {

std::string className(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    const std::string name = status == 0 ? demangled.get() : type.name();
    const auto colon = name.rfind("::");
    return colon == std::string::npos ? name : name.substr(colon + 2);
}

}  // namespace

std::string ZQObject::description() const {
    return fmt::format("<{}: {}>", className(typeid(*this)), static_cast<const void*>(this));
}

std::string describe(const ZQObject* object) {
    return object ? object->description() : "(null)";
}

}  // namespace zenquor
