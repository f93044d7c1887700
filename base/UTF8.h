#pragma once

#include <cstddef>
#include <string_view>

namespace utf8 {

/// The length in bytes of the character at the start of a text that is not empty; 0 when it is none (RFC 3629).
[[nodiscard]] std::size_t characterLength(std::string_view text);
/// Whether the bytes are UTF-8 throughout: no surrogates, nothing overlong, nothing beyond U+10FFFF (RFC 3629).
[[nodiscard]] bool isValid(std::string_view bytes);

}  // namespace utf8
