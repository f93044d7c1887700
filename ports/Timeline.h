#pragma once

#include "base/TimeBounds.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// What an entry of the timeline tells.
enum class TimelineEvent {
    showStarted,
    slideShown,
    showEnded,
    unseenFrom,  ///< from here on nobody saw the show: the program did not answer, or not in time
    unseenTo,    ///< from here on it is seen again
};

/// How the events are named wherever they are told or written down, in their order.
inline constexpr std::array<const char*, 5> kTimelineEventNames = {"showStarted", "slideShown", "showEnded",
                                                                   "unseenFrom", "unseenTo"};
[[nodiscard]] inline const char* nameOf(TimelineEvent event) {
    return kTimelineEventNames.at(static_cast<std::size_t>(event));
}
/// Nothing when no event has this name.
[[nodiscard]] inline std::optional<TimelineEvent> timelineEventNamed(const std::string& name) {
    const auto* const found = std::ranges::find(kTimelineEventNames, name);
    if (found == kTimelineEventNames.end()) return std::nullopt;
    return static_cast<TimelineEvent>(found - kTimelineEventNames.begin());
}

/// One thing that happened during a slide show, and how well it is known when. Bounds are always true: nothing is
/// claimed beyond them.
struct TimelineEntry {
    TimelineEvent event{};
    TimeBounds at;
    std::int64_t slideNumber = 0;          ///< 1-based, of `slideShown`
    std::optional<std::int64_t> position;  ///< 1-based place in the show, when the program tells it

    bool operator==(const TimelineEntry&) const = default;
};

/// Whose entry it is, and when by the calendar.
struct TimelineReport {
    TimelineEntry entry;
    std::string recordingID;
    std::string presentationID;
    std::optional<Date> earliest;  ///< the entry's bounds in civil time, as the clock stands when the entry is made
    Date latest;
};

/// Hears the entries of the shows that a service captures, in order, each once.
class TimelineListener {
public:
    virtual ~TimelineListener() = default;
    /// Between the delegate's calls, as things happen; must not wait. Main queue of the service; in a host the
    /// client's thread.
    virtual void timelineReport(const TimelineReport& report) = 0;
};
