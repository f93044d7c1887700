#include "base/FileURL.h"

#include <charconv>

namespace {

bool isUnreserved(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        // A percent sign without two digits makes the text no URL: to guess would lead to another file.
        const auto digits = text.substr(i + 1, 2);
        const auto* const end = digits.data() + digits.size();
        unsigned char byte = 0;
        if (digits.size() < 2 || std::from_chars(digits.data(), end, byte, 16).ptr != end) return std::nullopt;
        result += static_cast<char>(byte);
        i += 2;
    }
    return result;
}

}  // namespace

std::string urlFromPath(const std::filesystem::path& path) {
    static constexpr std::string_view kHex = "0123456789ABCDEF";
    std::string url = "file://";
    for (const char c : path.native()) {
        const auto byte = static_cast<unsigned char>(c);
        if (isUnreserved(byte) || c == '/') {
            url += c;
        } else {
            url += {'%', kHex[byte >> 4U], kHex[byte & 15U]};
        }
    }
    return url;
}

std::optional<std::filesystem::path> pathFromURL(std::string_view url) {
    for (const std::string_view prefix : {"file://localhost/", "file:///"}) {
        if (!url.starts_with(prefix)) continue;
        auto path = percentDecoded(url.substr(prefix.size() - 1));
        // The system would take a path with a NUL byte for a shorter one.
        if (!path || path->find('\0') != std::string::npos) return std::nullopt;
        path->erase(path->find_last_not_of('/') + 1);  // a directory's URL ends with one
        return std::filesystem::path(path->empty() ? "/" : *path);
    }
    return std::nullopt;
}
