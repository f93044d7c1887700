#pragma once

#include "base/Error.h"
#include "base/Geometry.h"
#include "base/Time.h"

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace shared {

/// The text that `%@` prints for a value: what the platform's own objects describe themselves with.

[[nodiscard]] inline std::string description(std::string_view text) {
    return std::string(text);
}
/// A template, so that nothing else becomes a path on its way here.
template <std::same_as<std::filesystem::path> Path>
[[nodiscard]] std::string description(const Path& path) {
    return path.native();
}
template <std::integral T>
[[nodiscard]] std::string description(T number) {
    return std::to_string(number);
}
[[nodiscard]] std::string description(double number);
/// UTC, whole seconds: `2024-03-05 13:07:09 +0000`.
[[nodiscard]] std::string description(Date date);
/// `Error Domain=D Code=5 "text"`, with `(null)` when the error has no description of its own.
[[nodiscard]] std::string description(const Error& error);
/// `{(`, then one member a line, then `)}`.
[[nodiscard]] std::string description(const std::set<std::string>& members);
/// `(`, then one member a line, then `)`.
[[nodiscard]] std::string description(const std::vector<std::string>& members);

/// A value of an information dictionary.
struct InfoValue;
using InfoDictionary = std::map<std::string, InfoValue>;
struct InfoValue : std::variant<std::string, std::int64_t, double, InfoDictionary> {
    using variant::variant;
};
/// `{`, then `key = value;` a line in the order of the keys, then `}`; four blanks a level.
[[nodiscard]] std::string description(const InfoDictionary& dictionary);
[[nodiscard]] std::string description(const std::map<std::string, std::string>& dictionary);

template <class T>
[[nodiscard]] std::string description(const std::optional<T>& value) {
    return value ? description(*value) : "(null)";
}
template <class T>
[[nodiscard]] std::string description(const std::shared_ptr<T>& value) {
    return value ? description(*value) : "(null)";
}

/// A rectangle as text: `{{x, y}, {width, height}}`.
[[nodiscard]] std::string stringFromRect(const Rect& rect);

}  // namespace shared
