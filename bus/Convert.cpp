#include "bus/Convert.h"

#include "base/UTF8.h"
#include "bus/Names.h"
#include "bus/Sdbus.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace bus {
namespace {

std::string errorNameFrom(const Error& error) {
    std::string name = kErrorPrefix + error.domain() + ".Code" + std::to_string(error.code());
    for (char& c : name) {
        // The bus lets no other character into the name of an error, and no digit behind a dot: hence "Code".
        const bool allowed = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.';
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
    // Told to the caller, because a relative path would mean another directory to the service.
    if (!path) {
        throw Failure(kInvalidArguments, "Not a file URL; pass one like file:///home/me/captures.");
    }
    return path;
}

Failure failureFrom(const Error& error) {
    return {errorNameFrom(error), validUTF8(error.localizedDescription())};
}

ErrorPtr errorFrom(const Failure& failure) {
    const std::string& name = failure.name();
    // The last one counts: a domain may hold ".Code" itself.
    const auto codeAt = name.rfind(".Code");
    if (name.starts_with(kErrorPrefix) && codeAt != std::string::npos) {
        const std::size_t start = std::string_view(kErrorPrefix).size();
        std::string digits = name.substr(codeAt + 5);
        // A name cannot hold a minus sign, see `errorNameFrom`.
        if (digits.starts_with('_')) digits.front() = '-';
        std::int64_t code = 0;
        const auto* end = digits.data() + digits.size();
        if (std::from_chars(digits.data(), end, code).ptr == end) {
            return makeError(name.substr(start, codeAt - start), code, failure.what());
        }
    }
    return makeError(name, 0, failure.what());
}

ErrorStruct structFrom(const ErrorPtr& error) {
    if (!error) return {};
    std::map<std::string, sdbus::Variant> info;
    for (const auto& [key, value] : error->userInfo()) info.emplace(validUTF8(key), sdbus::Variant(validUTF8(value)));
    // The contract has 32 bits for a code.
    return ErrorStruct(validUTF8(error->domain()), static_cast<std::int32_t>(error->code()), std::move(info));
}

ErrorPtr errorFrom(const ErrorStruct& value) {
    const auto& [domain, code, variants] = static_cast<const ErrorStruct::tuple&>(value);
    if (domain.empty()) return nullptr;
    Error::UserInfo info;
    for (const auto& [key, variant] : variants) {
        if (holds<std::string>(variant)) info.emplace(key, variant.get<std::string>());
    }
    return std::make_shared<const Error>(domain, code, std::move(info));
}

std::pair<std::int64_t, std::int64_t> microsecondsFrom(const TimeBounds& bounds) {
    using std::chrono::microseconds;
    return {std::chrono::floor<microseconds>(bounds.earliest.value_or(Instant()).time_since_epoch()).count(),
            std::chrono::ceil<microseconds>(bounds.latest.time_since_epoch()).count()};
}

std::int64_t microsecondsFrom(Date date) {
    return date.time_since_epoch().count();
}

Date dateFrom(std::int64_t microseconds) {
    return Date(std::chrono::microseconds(microseconds));
}

}  // namespace bus
