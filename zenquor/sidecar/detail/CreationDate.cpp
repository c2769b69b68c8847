#include "zenquor/sidecar/detail/CreationDate.h"

#include <fmt/format.h>

namespace zenquor::detail {
namespace {

using std::chrono::days;

constexpr const char* weekdays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                    "Thursday", "Friday", "Saturday"};
constexpr const char* months[] = {"January", "February", "March",     "April",   "May",      "June",
                                  "July",    "August",   "September", "October", "November", "December"};

}  // namespace

std::string creationDate(std::chrono::system_clock::time_point time) {
    const auto day = std::chrono::floor<days>(time);
    const std::chrono::year_month_day date(day);
    const unsigned weekday = std::chrono::weekday(day).c_encoding();
    // The week that holds 1 January is the new year's, so the year of its Saturday is the year of the week.
    const std::chrono::year_month_day saturday(day + days(6 - weekday));
    return fmt::format("{}, {} {}, {}", weekdays[weekday], months[static_cast<unsigned>(date.month()) - 1],
                       static_cast<unsigned>(date.day()), static_cast<int>(saturday.year()));
}

std::string creationTime(std::chrono::system_clock::time_point time) {
    const auto sinceMidnight = time - std::chrono::floor<days>(time);
    const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::seconds>(sinceMidnight));
    return fmt::format("{:02}:{:02}:{:02}", clock.hours().count(), clock.minutes().count(),
                       clock.seconds().count());
}

}  // namespace zenquor::detail
