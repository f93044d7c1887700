#include "commandline/PrintableText.h"

#include <fmt/format.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>

namespace {

bool needsEscape(UChar32 character) {
    switch (u_charType(character)) {
        case U_CONTROL_CHAR:
        case U_LINE_SEPARATOR:
        case U_PARAGRAPH_SEPARATOR:
            return true;
        default:
            // These reorder what stands around them: a name could make a line say something else.
            return u_hasBinaryProperty(character, UCHAR_BIDI_CONTROL) != 0;
    }
}

void append(std::string& result, UChar32 character, std::string_view bytes, LineFeeds lineFeeds) {
    if (character < 0) {
        // U+FFFD for bytes that are no UTF-8, which terminals show in their own ways.
        result += "\xEF\xBF\xBD";
    } else if (character == '\n') {
        result += lineFeeds == LineFeeds::kept ? "\n" : "\\n";
    } else if (needsEscape(character)) {
        result += fmt::format("\\u{{{:x}}}", static_cast<std::uint32_t>(character));
    } else {
        result += bytes;
    }
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // inside U8_NEXT

/// Calls `use(code point or -1, its bytes)` for each character.
template <typename Use>
void forEachCharacter(std::string_view text, Use&& use) {
    const auto size = static_cast<std::int64_t>(text.size());
    for (std::int64_t next = 0; next < size;) {
        const std::int64_t start = next;
        UChar32 character = 0;
        U8_NEXT(text, next, size, character);
        use(character, text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(next - start)));
    }
}

#pragma GCC diagnostic pop

}  // namespace

std::string printableText(std::string_view text, LineFeeds lineFeeds) {
    std::string result;
    result.reserve(text.size());
    forEachCharacter(text,
                     [&](UChar32 character, std::string_view bytes) { append(result, character, bytes, lineFeeds); });
    return result;
}

std::string printableJSON(std::string_view json) {
    std::string result;
    result.reserve(json.size());
    forEachCharacter(json, [&](UChar32 character, std::string_view bytes) {
        // All of these lie below U+10000, so that one escape says them.
        if (character >= 0 && character != '\n' && needsEscape(character)) {
            result += fmt::format("\\u{:04x}", static_cast<std::uint32_t>(character));
        } else {
            result += bytes;
        }
    });
    return result;
}
