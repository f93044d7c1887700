#pragma once

#include <cstddef>
#include <string_view>

/// UTF-8 as RFC 3629 has it: no surrogates, nothing overlong, nothing beyond U+10FFFF. Any thread.
namespace utf8 {

/// The length in bytes of the character at the start of a text that is not empty; 0 when the bytes are none.
[[nodiscard]] std::size_t characterLength(std::string_view text);
/// Whether the bytes are UTF-8 throughout. An empty text is.
[[nodiscard]] bool isValid(std::string_view bytes);

}  // namespace utf8
