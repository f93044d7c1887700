#pragma once

#include <string_view>

namespace utf8 {

/// Whether the bytes are UTF-8 throughout: no surrogates, nothing overlong, nothing beyond U+10FFFF (RFC 3629).
[[nodiscard]] bool isValid(std::string_view bytes);

}  // namespace utf8
