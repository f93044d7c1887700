#pragma once

#include <chrono>

/// A moment of civil time (UTC), in whole microseconds since 1970; what dates on the bus carry.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// A length of time, negative when it goes back.
using Duration = std::chrono::nanoseconds;

/// A moment on a clock that never jumps. Only the difference of two means something; all processes of a machine share
/// the clock.
using Instant = std::chrono::time_point<std::chrono::steady_clock, Duration>;

/// The longest delay or period; longer and infinite ones become this, so that arithmetic on deadlines never overflows.
inline constexpr Duration kLongestDelay = std::chrono::hours(24);

/// Turns seconds from outside into a delay of 0 to `kLongestDelay`; negative and not-a-number become 0.
[[nodiscard]] inline Duration delayFromSeconds(double seconds) {
    if (!(seconds > 0)) return Duration::zero();
    if (seconds >= std::chrono::duration<double>(kLongestDelay).count()) return kLongestDelay;
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}
