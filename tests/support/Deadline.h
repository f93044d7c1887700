#pragma once

#include <chrono>
#include <functional>

/// How long tests wait for something that must come: far longer than it takes on a busy machine with sanitizers.
inline constexpr std::chrono::seconds kDeadline{40};

/// Asks until it is so; false when the deadline has passed.
[[nodiscard]] bool eventually(const std::function<bool()>& isSo, std::chrono::milliseconds deadline = kDeadline);
