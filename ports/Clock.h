#pragma once

#include "base/Time.h"

/// The only source of "now". Callable from any thread; neither call fails or waits.
class Clock {
public:
    virtual ~Clock() = default;
    /// The current date and time. It jumps when somebody sets the clock: for time stamps, never for measuring.
    [[nodiscard]] virtual Date now() const = 0;
    /// The steady time, which never goes back: for deadlines, and to measure how long something took.
    [[nodiscard]] virtual Instant steadyNow() const = 0;
};
