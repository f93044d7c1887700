#include "MacShared/Description.h"

#include <fmt/format.h>
#include <algorithm>
#include <cctype>
#include <ctime>

namespace shared {

namespace {

/// Strings inside collections are quoted unless they hold nothing but letters and digits.
std::string quoted(const std::string& text) {
    const auto isPlain = [](unsigned char c) { return std::isalnum(c) != 0 && c < 128; };
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) return text;
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        if (c == '\n') {
            result += "\\n";
        } else {
            result += c;
        }
    }
    return result + '"';
}

template <class Members>
std::string describeMembers(const Members& members, std::string_view open, std::string_view close) {
    std::string result(open);
    std::string_view separator = "\n";
    for (const auto& member : members) {
        result.append(separator).append("    ").append(quoted(member));
        separator = ",\n";
    }
    return result.append("\n").append(close);
}

std::string describeDictionary(const InfoDictionary& dictionary, const std::string& indent);

std::string describeValue(const InfoValue& value, const std::string& indent) {
    if (const auto* text = std::get_if<std::string>(&value)) return quoted(*text);
    if (const auto* integer = std::get_if<std::int64_t>(&value)) return description(*integer);
    // Quoted for its point, as a text with one would be.
    if (const auto* real = std::get_if<double>(&value)) return quoted(description(*real));
    // A dictionary in a dictionary begins on the line of its key, after the indent of the members: so the platform
    // prints it.
    return indent + describeDictionary(std::get<InfoDictionary>(value), indent);
}

std::string describeDictionary(const InfoDictionary& dictionary, const std::string& indent) {
    const std::string inner = indent + "    ";
    std::string result = "{\n";
    for (const auto& [key, value] : dictionary) {
        result += inner + quoted(key) + " = " + describeValue(value, inner) + ";\n";
    }
    return result + indent + "}";
}

}  // namespace

std::string description(double number) {
    return fmt::format("{}", number);
}

std::string description(Date date) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
    const std::time_t time = std::chrono::system_clock::to_time_t(std::chrono::system_clock::time_point(seconds));
    std::tm utc{};
    // A year beyond what the C library counts; logging must not fail for it.
    if (gmtime_r(&time, &utc) == nullptr) return std::to_string(time);
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
                       utc.tm_hour, utc.tm_min, utc.tm_sec);
}

std::string description(const Error& error) {
    const auto text = error.userInfo().find(NSLocalizedDescriptionKey);
    return fmt::format("Error Domain={} Code={} \"{}\"", error.domain(), error.code(),
                       text == error.userInfo().end() ? "(null)" : text->second);
}

std::string description(const std::set<std::string>& members) {
    return describeMembers(members, "{(", ")}");
}

std::string description(const std::vector<std::string>& members) {
    return describeMembers(members, "(", ")");
}

std::string description(const InfoDictionary& dictionary) {
    return describeDictionary(dictionary, "");
}

std::string description(const std::map<std::string, std::string>& dictionary) {
    return description(InfoDictionary(dictionary.begin(), dictionary.end()));
}

std::string stringFromRect(const Rect& rect) {
    return fmt::format("{{{{{}, {}}}, {{{}, {}}}}}", rect.x, rect.y, rect.width, rect.height);
}

}  // namespace shared
