#pragma once
// Finding a file's items again behind bytes that are none.

#include <cstdint>
#include <optional>

#include "zenquor/mxf/detail/FileView.h"

namespace zenquor::mxf::detail {

/// The nearest place from @p position on, in front of @p limit, where an item of a known kind begins: a partition pack, an
/// element or system item, fill, an index segment, a random index pack. Gives up behind 64 MiB, so that the rest of a huge
/// clip that was cut is not read.
std::optional<std::uint64_t> findNextItem(FileView& file, std::uint64_t position, std::uint64_t limit);

}  // namespace zenquor::mxf::detail
