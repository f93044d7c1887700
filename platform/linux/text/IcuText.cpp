#include "platform/linux/text/IcuText.h"

#include <unicode/ustring.h>
#include <cstdint>
#include <limits>

namespace text {

namespace {
constexpr std::size_t kLongest = std::numeric_limits<std::int32_t>::max() / 4;
}

std::optional<std::u16string> utf16From(std::string_view utf8) {
    if (utf8.size() > kLongest) return std::nullopt;
    std::u16string utf16(utf8.size(), u'\0');
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(utf16.data(), static_cast<std::int32_t>(utf16.size()), &length, utf8.data(),
                  static_cast<std::int32_t>(utf8.size()), &status);
    if (U_FAILURE(status)) return std::nullopt;
    utf16.resize(static_cast<std::size_t>(length));
    return utf16;
}

std::string utf8From(std::u16string_view utf16) {
    constexpr UChar32 kReplacement = 0xFFFD;
    // ICU counts in 32 bits, and the result is three times as long.
    utf16 = utf16.substr(0, kLongest);
    // The most that a unit takes; pairs take four bytes for two.
    std::string utf8(utf16.size() * 3, '\0');
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8WithSub(utf8.data(), static_cast<std::int32_t>(utf8.size()), &length, utf16.data(),
                       static_cast<std::int32_t>(utf16.size()), kReplacement, nullptr, &status);
    utf8.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return utf8;
}

}  // namespace text
