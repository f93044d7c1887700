#pragma once

#include "base/Time.h"

#include <algorithm>
#include <optional>

/// When something happened, as far as it is known: not before `earliest` and not after `latest`.
struct TimeBounds {
    std::optional<Instant> earliest;  ///< nothing when it may have happened at any time before `latest`
    Instant latest;

    bool operator==(const TimeBounds&) const = default;

    /// What both tell together; nothing when they contradict each other.
    [[nodiscard]] std::optional<TimeBounds> with(const TimeBounds& other) const {
        TimeBounds both{std::max(earliest, other.earliest), std::min(latest, other.latest)};
        return both.earliest > both.latest ? std::nullopt : std::optional(both);
    }
};
