#pragma once

#include "base/Time.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace presenters {

/// Values in the text of a simulation script. Each function takes the whole text or answers nothing.

inline constexpr std::int64_t kMostSlides = 10000;

/// A whole number of at least `least` and at most `most`.
[[nodiscard]] std::optional<std::int64_t> wholeNumberFrom(std::string_view text, std::int64_t least, std::int64_t most);
/// A number of seconds from 0 to a day, like "0.25".
[[nodiscard]] std::optional<Duration> secondsFrom(std::string_view text);
/// The members of a list like "save,export"; none of them is empty.
[[nodiscard]] std::optional<std::set<std::string>> wordsFrom(std::string_view text);
/// A list of slide numbers like "3,5,12", each from 1 to `kMostSlides`.
[[nodiscard]] std::optional<std::set<std::int64_t>> slideNumbersFrom(std::string_view text);

}  // namespace presenters
