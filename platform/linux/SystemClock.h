#pragma once

#include "ports/Clock.h"

/// The system's clocks: `CLOCK_REALTIME` for dates, `CLOCK_MONOTONIC` for measuring.
class SystemClock final : public Clock {
public:
    [[nodiscard]] Date now() const override;
    [[nodiscard]] Instant steadyNow() const override;
};
