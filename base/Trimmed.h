#pragma once

#include <algorithm>
#include <string_view>

/// The text without those letters at its ends.
[[nodiscard]] inline std::string_view trimmed(std::string_view text, std::string_view letters) {
    text.remove_prefix(std::min(text.find_first_not_of(letters), text.size()));
    return text.substr(0, text.find_last_not_of(letters) + 1);
}
