#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace keynote_capture {

/// The words of a command, split at blanks; quotes of both kinds keep blanks together, and a backslash takes the next
/// character as it is, but between single quotes. Nothing when a quote does not end or there is no word.
[[nodiscard]] std::optional<std::vector<std::string>> wordsOf(std::string_view command);

}  // namespace keynote_capture
