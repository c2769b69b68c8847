#pragma once
// What partitions and header metadata tell of a file as a whole.

#include <string>
#include <vector>

#include "zenquor/mxf/FileReport.h"
#include "zenquor/mxf/detail/HeaderMetadata.h"
#include "zenquor/mxf/detail/PartitionMap.h"

namespace zenquor::mxf::detail {

/// Fills everything but streams, index, edit units and faults.
void describeFile(FileReport& report, const FileView& file, const PartitionMap& partitions,
                  const HeaderMetadata& metadata);

/// Timecode tracks, those of material packages first, then those of this file's essence, then of tapes.
std::vector<TimecodeReport> timecodesOf(const HeaderMetadata& metadata);

/// Adds a sentence when the file ends before its footer.
void describeLostEnd(std::vector<std::string>& faults, const FileView& file, const PartitionMap& partitions);

}  // namespace zenquor::mxf::detail
