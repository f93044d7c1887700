#include "platform/linux/SystemClock.h"

Date SystemClock::now() const {
    return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
}

Instant SystemClock::steadyNow() const {
    return std::chrono::steady_clock::now();
}
