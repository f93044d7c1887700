#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string_view>

namespace keynote_capture {

/// The slide numbers of a list like "1-9,12"; nothing unless it is well formed, every number is from 1 to 99999, and
/// there are at most 10000.
[[nodiscard]] std::optional<std::set<std::int64_t>> slidesFrom(std::string_view text);

}  // namespace keynote_capture
