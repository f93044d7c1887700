#pragma once

#include <string_view>

/// Whether the bytes are UTF-8 throughout: no surrogates, nothing overlong, nothing beyond U+10FFFF (RFC 3629).
[[nodiscard]] bool isUTF8(std::string_view bytes);
