#include "zenquor/core/UUIDSource.h"

#include <uuid/uuid.h>

#include <utility>

#include "zenquor/core/Guarded.h"

namespace zenquor {
namespace {

Guarded<UUIDSource::Source>& pinnedSource() {
    static Guarded<UUIDSource::Source> source;
    return source;
}

}  // namespace

UUIDSource::UUID UUIDSource::next() {
    if (const Source source = pinnedSource().load()) return source();
    UUID uuid{};
    uuid_generate_random(uuid.data());
    return uuid;
}

std::string UUIDSource::text(const UUID& uuid) {
    char text[37] = {};
    uuid_unparse_upper(uuid.data(), text);
    return text;
}

void UUIDSource::pin(Source source) {
    pinnedSource().store(std::move(source));
}

}  // namespace zenquor
