#include "bus/Convert.h"

#include "base/UTF8.h"
#include "bus/Names.h"

#include <algorithm>
#include <charconv>

namespace bus {
namespace {

bool isUnreserved(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const int high = hexValue(text[i + 1]);
        const int low = hexValue(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        result += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return result;
}

std::string errorNameFrom(const Error& error) {
    std::string name = kErrorPrefix + error.domain() + ".Code" + std::to_string(error.code());
    for (char& c : name) {
        const bool allowed = isUnreserved(static_cast<unsigned char>(c)) && c != '-' && c != '~';
        if (!allowed) c = '_';
    }
    return name;
}

}  // namespace

std::string validUTF8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        // NUL ends a text on the bus.
        const std::size_t length = text.front() == '\0' ? 0 : utf8::characterLength(text);
        result += length == 0 ? "\uFFFD" : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

std::string urlFromPath(const Path& path) {
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

std::optional<Path> pathFromURL(std::string_view url) {
    for (const std::string_view prefix : {"file://localhost/", "file:///"}) {
        if (!url.starts_with(prefix)) continue;
        auto path = percentDecoded(url.substr(prefix.size() - 1));
        if (!path || path->find('\0') != std::string::npos) return std::nullopt;
        path->erase(path->find_last_not_of('/') + 1);  // a directory's URL ends with one
        return Path(path->empty() ? "/" : *path);
    }
    return std::nullopt;
}

std::string textFrom(const std::optional<std::string>& value) {
    return value ? validUTF8(*value) : std::string();
}

std::string textFrom(const std::optional<Path>& url) {
    return url ? urlFromPath(*url) : std::string();
}

std::optional<std::string> optionalFrom(const std::string& text) {
    if (text.empty()) return std::nullopt;
    return text;
}

std::optional<Path> optionalPathFrom(const std::string& url) {
    if (url.empty()) return std::nullopt;
    auto path = pathFromURL(url);
    if (!path) {
        throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs",
                           "Not a file URL; pass one like file:///home/me/captures.");
    }
    return path;
}

ErrorStruct structFrom(const ErrorPtr& error) {
    if (!error) return {};
    std::map<std::string, sdbus::Variant> info;
    for (const auto& [key, value] : error->userInfo()) info.emplace(validUTF8(key), sdbus::Variant(validUTF8(value)));
    return ErrorStruct(validUTF8(error->domain()), static_cast<std::int32_t>(error->code()), std::move(info));
}

ErrorPtr errorFrom(const ErrorStruct& value) {
    const auto& [domain, code, variants] = static_cast<const ErrorStruct::tuple&>(value);
    if (domain.empty()) return nullptr;
    Error::UserInfo info;
    for (const auto& [key, variant] : variants) {
        if (variant.containsValueOfType<std::string>()) info.emplace(key, variant.get<std::string>());
    }
    return std::make_shared<const Error>(domain, code, std::move(info));
}

sdbus::Error busErrorFrom(const Error& error) {
    return {errorNameFrom(error), validUTF8(error.localizedDescription())};
}

ErrorPtr errorFrom(const sdbus::Error& error) {
    const std::string& name = error.getName();
    const auto codeAt = name.rfind(".Code");
    if (name.starts_with(kErrorPrefix) && codeAt != std::string::npos) {
        const std::size_t start = std::string_view(kErrorPrefix).size();
        std::string digits = name.substr(codeAt + 5);
        if (digits.starts_with('_')) digits.front() = '-';
        std::int64_t code = 0;
        const auto* end = digits.data() + digits.size();
        if (std::from_chars(digits.data(), end, code).ptr == end) {
            return makeError(name.substr(start, codeAt - start), code, error.getMessage());
        }
    }
    return makeError(name, 0, error.getMessage());
}

std::int64_t microsecondsFrom(Date date) {
    return date.time_since_epoch().count();
}

Date dateFrom(std::int64_t microseconds) {
    return Date(std::chrono::microseconds(microseconds));
}

}  // namespace bus
