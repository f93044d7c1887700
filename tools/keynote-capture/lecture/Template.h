#pragma once

#include <map>
#include <string>
#include <string_view>

namespace keynote_capture {

/// The template with each `{{name}}` replaced by its value; names without one stay. What values hold is not replaced
/// again.
[[nodiscard]] std::string filledIn(std::string_view text, const std::map<std::string_view, std::string>& values);

/// A source of a content security policy that allows a script or a style with exactly this text.
[[nodiscard]] std::string hashSourceOf(std::string_view text);

}  // namespace keynote_capture
