#pragma once

#include "MacShared/Description.h"

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace shared {

/// An argument of a log message in one of the few forms that a conversion takes.
using FormatArgument = std::variant<std::int64_t, std::uint64_t, double, std::string>;

/// One conversion of a printf-like format: everything from "%" to the letter.
struct Conversion {
    std::string_view text;
    char letter = 0;  ///< 0: the conversion is not closed; '%': a literal percent sign
};

/// The conversion that begins at `at`, which must be a "%".
constexpr Conversion conversionAt(std::string_view format, std::size_t at) {
    std::size_t end = at + 1;
    while (end < format.size() && std::string_view("0123456789.-+ lz").find(format[end]) != std::string_view::npos) {
        ++end;
    }
    if (end == format.size()) return {format.substr(at), 0};
    return {format.substr(at, end + 1 - at), format[end]};
}

template <class T>
constexpr bool isAccepted(char letter) {
    using Value = std::remove_cvref_t<T>;
    switch (letter) {
        case '@':
            return requires(const Value& value) {
                description(value);
            };
        case 's':
            return std::convertible_to<Value, std::string_view>;
        case 'd':
            return std::signed_integral<Value> || std::same_as<Value, bool>;
        case 'u':
            return std::unsigned_integral<Value>;
        case 'f':
            return std::floating_point<Value>;
        default:
            return false;
    }
}

template <class T>
FormatArgument formatArgument(char letter, const T& value) {
    if constexpr (std::integral<T>) {
        if (letter == 'd') return static_cast<std::int64_t>(value);
        if (letter == 'u') return static_cast<std::uint64_t>(value);
    } else if constexpr (std::floating_point<T>) {
        if (letter == 'f') return static_cast<double>(value);
    }
    return description(value);
}

/// A printf-like format whose conversions are checked against the argument types at compile time. Conversions:
/// `%@` (anything with a `description`), `%s`, `%d` `%ld` `%zd`, `%u` `%lu` `%llu`, `%f`, and `%%`.
template <class... Args>
class MessageFormat {
public:
    /// Not explicit, so that a literal can stand where a format is wanted.
    template <std::size_t N>
    consteval MessageFormat(const char (&format)[N]) : text_(format, N - 1) {
        constexpr bool (*kAccepts[])(char) = {isAccepted<Args>..., nullptr};
        std::size_t count = 0;
        for (std::size_t i = 0; i < text_.size(); ++i) {
            if (text_[i] != '%') continue;
            const auto conversion = conversionAt(text_, i);
            i += conversion.text.size() - 1;
            if (conversion.letter == '%') continue;
            if (count >= sizeof...(Args)) throw "more conversions than arguments";
            if (!kAccepts[count](conversion.letter)) throw "a conversion does not fit its argument";
            letters_[count++] = conversion.letter;
        }
        if (count != sizeof...(Args)) throw "more arguments than conversions";
    }

    [[nodiscard]] std::string_view text() const { return text_; }
    [[nodiscard]] char letter(std::size_t index) const { return letters_[index]; }

private:
    std::string_view text_;
    char letters_[sizeof...(Args) + 1] = {};
};

/// The message of a checked format and its arguments.
[[nodiscard]] std::string formatMessage(std::string_view format, std::span<const FormatArgument> arguments);

template <class... Args>
[[nodiscard]] std::string formatMessage(const MessageFormat<std::type_identity_t<Args>...>& format,
                                        const Args&... args) {
    if constexpr (sizeof...(Args) == 0) {
        return formatMessage(format.text(), std::span<const FormatArgument>());
    } else {
        std::size_t index = 0;
        const FormatArgument arguments[] = {formatArgument(format.letter(index++), args)...};
        return formatMessage(format.text(), arguments);
    }
}

}  // namespace shared
