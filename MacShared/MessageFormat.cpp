#include "MacShared/MessageFormat.h"

#include <algorithm>
#include <cstdio>

namespace shared {

namespace {

/// Prints a number with the flags and width of its conversion, in the widest type of its kind.
template <class Number>
void appendNumber(std::string& result, const Conversion& conversion, const char* type, Number number) {
    std::string spec;
    for (const char c : conversion.text.substr(0, conversion.text.size() - 1)) {
        if (c != 'l' && c != 'z') spec += c;
    }
    spec += type;
    // A width comes from a format of ours and is small; the largest number in plain digits has 309 before its point.
    char buffer[512];
    const int length = std::snprintf(buffer, sizeof buffer, spec.c_str(), number);
    if (length > 0) result.append(buffer, std::min(static_cast<std::size_t>(length), sizeof buffer - 1));
}

void append(std::string& result, const Conversion& conversion, const FormatArgument& argument) {
    if (const auto* text = std::get_if<std::string>(&argument)) {
        result += *text;
    } else if (const auto* integer = std::get_if<std::int64_t>(&argument)) {
        appendNumber(result, conversion, "lld", static_cast<long long>(*integer));
    } else if (const auto* natural = std::get_if<std::uint64_t>(&argument)) {
        appendNumber(result, conversion, "llu", static_cast<unsigned long long>(*natural));
    } else {
        appendNumber(result, conversion, "f", std::get<double>(argument));
    }
}

}  // namespace

std::string formatMessage(std::string_view format, std::span<const FormatArgument> arguments) {
    std::string result;
    result.reserve(format.size() + 64);
    std::size_t next = 0;
    while (true) {
        const auto percent = format.find('%');
        result += format.substr(0, percent);
        if (percent == std::string_view::npos) return result;
        const auto conversion = conversionAt(format, percent);
        // A format was checked by the compiler, so arguments fit; what is missing prints nothing.
        if (conversion.letter == '%') {
            result += '%';
        } else if (next < arguments.size()) {
            append(result, conversion, arguments[next++]);
        }
        format.remove_prefix(percent + conversion.text.size());
    }
}

}  // namespace shared
