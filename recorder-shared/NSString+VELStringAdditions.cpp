#include "recorder-shared/NSString+VELStringAdditions.h"

#include "base/Trimmed.h"
#include "ports/Directories.h"
#include "ports/FileManager.h"
#include "ports/Platform.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>

namespace {

constexpr std::string_view kKeptByURLEncode = ";/?:@&=+$,";
constexpr std::string_view kBase64Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kBase64Padding = '=';
constexpr std::uint8_t kNoDigit = 64;

constexpr std::string_view kWhiteSpace[] = {" ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\u0085",
                                            "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004",
                                            "\u2005", "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u2028",
                                            "\u2029", "\u202F", "\u205F", "\u3000"};

constexpr auto kBase64Digits = [] {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(kNoDigit);
    for (std::size_t i = 0; i < kBase64Alphabet.size(); ++i) {
        digits[static_cast<unsigned char>(kBase64Alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return digits;
}();

/// What a byte becomes: itself, or an escape.
struct Encoded {
    std::array<char, 3> text{};
    std::uint8_t length = 0;
};

constexpr auto kEncodedBytes = [] {
    constexpr std::string_view kHexadecimal = "0123456789ABCDEF";
    std::array<Encoded, 256> encoded{};
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        const auto character = static_cast<char>(i);
        const bool kept = kKeptByURLEncode.find(character) != std::string_view::npos;
        encoded[i] = kept ? Encoded{{character}, 1} : Encoded{{'%', kHexadecimal[i / 16], kHexadecimal[i % 16]}, 3};
    }
    return encoded;
}();

/// Calls `take` with every part between separators; there is always one.
template <class Take>
void split(std::string_view text, char separator, const Take& take) {
    for (;;) {
        const auto end = text.find(separator);
        take(text.substr(0, end));
        if (end == std::string_view::npos) return;
        text.remove_prefix(end + 1);
    }
}

bool beginsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

/// The text without its first characters.
std::string_view withoutCharacters(std::string_view text, std::ptrdiff_t count) {
    const auto end =
        std::find_if(text.begin(), text.end(), [&](char byte) { return beginsCharacter(byte) && --count < 0; });
    return text.substr(static_cast<std::size_t>(end - text.begin()));
}

std::string expandingTilde(std::string_view path) {
    if (!path.starts_with('~')) return std::string(path);
    const auto end = std::min(path.find('/'), path.size());
    const std::string user(path.substr(1, end - 1));
    const auto& directories = platform().directories;
    const auto home =
        user.empty() ? std::optional(directories.homeDirectory()) : directories.homeDirectoryForUser(user);
    // An unknown user's tilde is part of a name.
    return home ? home->native() + std::string(path.substr(end)) : std::string(path);
}

std::string realParent(const std::string& path) {
    return platform().fileManager.resolvingSymbolicLinks(path).value_or(path).parent_path().native();
}

}  // namespace

std::optional<std::string> base64DecodedData(std::string_view string) {
    std::string bytes(string.size() / 4 * 3 + 3, '\0');
    auto out = bytes.begin();
    std::uint32_t group = 0;
    std::size_t digits = 0;
    std::size_t paddings = 0;
    for (const char character : string) {
        const auto digit = kBase64Digits[static_cast<unsigned char>(character)];
        // Line breaks and anything else between digits are skipped, as mail does it (RFC 2045, section 6.8).
        if (digit == kNoDigit) {
            paddings += character == kBase64Padding ? 1 : 0;
            continue;
        }
        // Digits behind the padding: two texts in a row, or none at all.
        if (paddings > 0) return std::nullopt;
        group = group << 6 | digit;
        if (++digits % 4 != 0) continue;
        for (const int shift : {16, 8, 0}) *out++ = static_cast<char>(group >> shift);
    }
    const auto rest = digits % 4;
    if (rest == 1 || paddings != (4 - rest) % 4) return std::nullopt;
    if (rest > 1) *out++ = static_cast<char>(group >> (rest == 2 ? 4 : 10));
    if (rest > 2) *out++ = static_cast<char>(group >> 2);
    bytes.erase(out, bytes.end());
    return bytes;
}

std::map<std::string, std::string> queryParameters(std::string_view string) {
    std::map<std::string, std::string> parameters;
    split(string, '&', [&](std::string_view part) {
        const auto equals = part.find('=');
        // A parameter without a value, or with two, is nobody's.
        if (equals == std::string_view::npos || part.find('=', equals + 1) != std::string_view::npos) return;
        // Of several with one name the last counts.
        parameters.insert_or_assign(std::string(part.substr(0, equals)), part.substr(equals + 1));
    });
    return parameters;
}

std::string urlEncode(std::string_view string) {
    // Room for the worst case, cut at the end: nearly every byte becomes three.
    std::string result(string.size() * 3, '\0');
    auto out = result.begin();
    for (const char byte : string) {
        const auto& encoded = kEncodedBytes[static_cast<unsigned char>(byte)];
        std::copy(encoded.text.begin(), encoded.text.end(), out);
        out += encoded.length;
    }
    result.erase(out, result.end());
    return result;
}

bool isEmpty(std::string_view string) {
    while (!string.empty()) {
        const auto space = std::find_if(std::begin(kWhiteSpace), std::end(kWhiteSpace),
                                        [&](std::string_view each) { return string.starts_with(each); });
        if (space == std::end(kWhiteSpace)) return false;
        string.remove_prefix(space->size());
    }
    return true;
}

std::string trimSlash(std::string_view string) {
    return std::string(trimmed(string, "/"));
}

bool isUnderHomeDirectory(std::string_view string) {
    return stringByStandardizingPath(string).starts_with(platform().directories.homeDirectory().native());
}

std::string pathRelativeToHome(std::string_view string) {
    auto home = platform().directories.homeDirectory().native();
    // The slash behind the home directory goes, too: what is left is relative.
    if (!home.ends_with('/')) home += '/';
    const auto path = stringByStandardizingPath(string);
    return std::string(withoutCharacters(path, std::count_if(home.begin(), home.end(), beginsCharacter)));
}

std::string stringByStandardizingPath(std::string_view string) {
    const auto expanded = expandingTilde(string);
    const bool absolute = expanded.starts_with('/');
    std::string path(absolute ? "/" : "");
    split(expanded, '/', [&](std::string_view component) {
        if (component.empty() || component == ".") return;
        if (absolute && component == "..") {
            // ".." after a link leads to the parent of where it points, so the link is followed first.
            path = realParent(path);
        } else {
            if (!path.empty() && !path.ends_with('/')) path += '/';
            path += component;
        }
    });
    return path;
}

std::string stringWithUUID() {
    return platform().text.makeUUID();
}

std::shared_ptr<const NumberFormatter> numberFormatter() {
    // Never destroyed: whatever ends with the process may still compare versions.
    static const auto* const shared = new std::shared_ptr(platform().text.makeNumberFormatter("en_US_POSIX"));
    return *shared;
}

std::optional<DecimalNumber> numberFromServerString(std::string_view string) {
    return numberFormatter()->numberFromString(string);
}
