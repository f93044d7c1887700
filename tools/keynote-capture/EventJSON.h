#pragma once

#include "host/DelegateCalls.h"
#include "ports/Timeline.h"

#include <nlohmann/json.hpp>
#include <string>

namespace keynote_capture {

using Json = nlohmann::ordered_json;

/// `event` first, then the operation's arguments by label. What is absent is null; a date is ISO 8601, UTC, with
/// microseconds; a path is a URL.
[[nodiscard]] Json jsonOf(const host::DelegateCall& call);
/// `event` first, then when it happened: earliest and latest by the calendar, and the same by the steady clock in
/// microseconds. The slide's position only where it is known.
[[nodiscard]] Json jsonOf(const TimelineReport& report);
[[nodiscard]] Json jsonOf(const std::optional<std::string>& text);
[[nodiscard]] Json jsonOf(Date date);
[[nodiscard]] Json jsonOf(const std::optional<std::filesystem::path>& path);
/// Earliest, which may be null, and latest in microseconds.
[[nodiscard]] Json jsonOf(const TimeBounds& steady);
/// One line without its end. What is not UTF-8 is replaced.
[[nodiscard]] std::string lineOf(const Json& json);
/// A whole line of standard output, in version 1 of its format, which the object tells last.
[[nodiscard]] std::string outputLineOf(Json json);

}  // namespace keynote_capture
