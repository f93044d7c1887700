#pragma once

#include <chrono>

/// A moment of civil time (UTC), in whole microseconds since 1970; what dates on the bus carry.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

using Duration = std::chrono::nanoseconds;

/// A moment on a clock that never jumps; only differences mean something.
using Instant = std::chrono::time_point<std::chrono::steady_clock, Duration>;

/// The only source of "now". Callable from any thread.
class Clock {
public:
    virtual ~Clock() = default;
    /// The current date and time. May jump when the user sets the clock: for time stamps, never for measuring.
    [[nodiscard]] virtual Date now() const = 0;
    /// The steady time, for measuring how long something took.
    [[nodiscard]] virtual Instant steadyNow() const = 0;
};
