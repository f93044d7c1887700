#pragma once

#include "base/TimeBounds.h"

#include <cstdint>
#include <optional>

/// What an entry of the timeline tells.
enum class TimelineEvent {
    showStarted,
    slideShown,
    showEnded,
    unseenFrom,  ///< from here on nobody saw the show: the program did not answer, or not in time
    unseenTo,    ///< from here on it is seen again
};

/// One thing that happened during a slide show, and how well it is known when. Bounds are always true: nothing is
/// claimed beyond them.
struct TimelineEntry {
    TimelineEvent event{};
    TimeBounds at;
    std::int64_t slideNumber = 0;          ///< 1-based, of `slideShown`
    std::optional<std::int64_t> position;  ///< 1-based place in the show, when the program tells it

    bool operator==(const TimelineEntry&) const = default;
};
