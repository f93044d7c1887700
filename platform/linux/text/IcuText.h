#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace text {

/// Nothing when the bytes are no UTF-8 or more than ICU counts.
[[nodiscard]] std::optional<std::u16string> utf16From(std::string_view utf8);
/// Lone surrogates become the replacement character.
[[nodiscard]] std::string utf8From(std::u16string_view utf16);

}  // namespace text
