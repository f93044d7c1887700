#include "base/UTF8.h"

#include <bit>

namespace {

constexpr std::size_t kLongest = 4;
/// The smallest code point that needs so many bytes, and what lies behind the largest.
constexpr char32_t kSmallest[kLongest + 1] = {0, 0, 0x80, 0x800, 0x10000};
constexpr char32_t kBehindLast = 0x110000;

constexpr bool isSurrogate(char32_t character) {
    return character >= 0xD800 && character < 0xE000;
}

}  // namespace

std::size_t utf8::characterLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) return 1;
    const auto length = static_cast<std::size_t>(std::countl_one(first));
    if (length < 2 || length > kLongest || length > text.size()) return 0;
    char32_t character = first & (0x7FU >> length);
    for (const char next : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(next);
        if (byte >> 6 != 2) return 0;
        character = character << 6 | (byte & 0x3FU);
    }
    const bool valid = character >= kSmallest[length] && character < kBehindLast && !isSurrogate(character);
    return valid ? length : 0;
}

bool utf8::isValid(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto length = characterLength(bytes);
        if (length == 0) return false;
        bytes.remove_prefix(length);
    }
    return true;
}
