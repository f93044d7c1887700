#pragma once

#include "base/Time.h"

#include <cstdint>
#include <ctime>

namespace keynote_capture {

/// A date as whole seconds since 1970 and the microseconds (0 to 999999) after them.
struct DateParts {
    std::time_t second;
    std::int64_t microsecond;
};

/// Exact for every date that the bus can carry.
[[nodiscard]] inline DateParts partsOf(Date date) {
    constexpr std::int64_t kMillion = 1'000'000;
    const std::int64_t count = date.time_since_epoch().count();
    const std::int64_t rest = count % kMillion;
    if (rest >= 0) return {count / kMillion, rest};
    return {count / kMillion - 1, rest + kMillion};  // rounding down first would leave the range of dates
}

}  // namespace keynote_capture
