#pragma once

#include "base/Time.h"

/// The only source of "now". Callable from any thread.
class Clock {
public:
    virtual ~Clock() = default;
    /// The current date and time. May jump when the user sets the clock: for time stamps, never for measuring.
    [[nodiscard]] virtual Date now() const = 0;
    /// The steady time, for measuring how long something took.
    [[nodiscard]] virtual Instant steadyNow() const = 0;
};
