#pragma once
// The date and time of day that stand in a caption file's header.

#include <chrono>
#include <string>

namespace zenquor::detail {

/// "Sunday, December 29, 2025": English, GMT. The year is the one that the day's week belongs to, weeks from
/// Sunday to Saturday, the first one holding 1 January; so it is the next year's in a year's last days.
std::string creationDate(std::chrono::system_clock::time_point time);
/// "HH:mm:ss", GMT.
std::string creationTime(std::chrono::system_clock::time_point time);

}  // namespace zenquor::detail
