#include "fuzz/MessageText.h"

#include <systemd/sd-bus.h>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace fuzz {

namespace {

constexpr std::size_t kLongestText = 70'000;
constexpr long long kMostElements = 2'000;

/// The length of the first whole type; 0 when there is none.
std::size_t typeLength(std::string_view types) {
    if (types.starts_with('a')) {
        const auto element = typeLength(types.substr(1));
        return element == 0 ? 0 : element + 1;
    }
    int open = 0;
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (types[i] == '(' || types[i] == '{') ++open;
        if (types[i] == ')' || types[i] == '}') --open;
        if (open <= 0) return i + 1;
    }
    return 0;
}

template <typename Number>
bool appendNumber(sd_bus_message* message, char type, Number number) {
    return ::sd_bus_message_append_basic(message, type, &number) >= 0;
}

bool appendBasic(sd_bus_message* message, char type, Words& words) {
    switch (type) {
        case 's':
        case 'o':
        case 'g':
            return ::sd_bus_message_append_basic(message, type, words.text().c_str()) >= 0;
        case 'd':
            return appendNumber(message, type, words.real());
        case 'y':
            return appendNumber(message, type, static_cast<std::uint8_t>(words.integer()));
        case 'n':
        case 'q':
            return appendNumber(message, type, static_cast<std::int16_t>(words.integer()));
        case 'b':
        case 'i':
        case 'u':
            return appendNumber(message, type, static_cast<std::int32_t>(words.integer()));
        case 'x':
        case 't':
            return appendNumber(message, type, words.integer());
        default:
            return false;
    }
}

bool appendIn(sd_bus_message* message, char container, const std::string& types, int times, Words& words) {
    if (::sd_bus_message_open_container(message, container, types.c_str()) < 0) return false;
    for (int i = 0; i < times; ++i) {
        if (!appendValues(message, types, words)) return false;
    }
    return ::sd_bus_message_close_container(message) >= 0;
}

bool appendValue(sd_bus_message* message, const std::string& type, Words& words) {
    switch (type.front()) {
        case 'a':
            return appendIn(message, 'a', type.substr(1),
                            static_cast<int>(std::clamp(words.integer(), 0LL, kMostElements)), words);
        case '(':
            // The library writes an empty struct, which no bus carries.
            return type.size() > 2 && appendIn(message, 'r', type.substr(1, type.size() - 2), 1, words);
        case '{':
            return appendIn(message, 'e', type.substr(1, type.size() - 2), 1, words);
        case 'v':
            return appendIn(message, 'v', std::string(words.next()), 1, words);
        default:
            return appendBasic(message, type.front(), words);
    }
}

}  // namespace

std::string_view Words::next() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
    const auto word = rest_.substr(0, rest_.find(' '));
    rest_.remove_prefix(word.size());
    return word;
}

std::string Words::text() {
    const auto word = next();
    if (word == "-") return {};
    const auto star = word.rfind('*');
    if (star == std::string_view::npos || star == 0) return std::string(word);
    const auto times = std::strtoul(std::string(word.substr(star + 1)).c_str(), nullptr, 10);
    std::string text;
    for (std::size_t i = 0; i < times && text.size() < kLongestText; ++i) text += word.substr(0, star);
    return text;
}

long long Words::integer() {
    return std::strtoll(std::string(next()).c_str(), nullptr, 10);
}

double Words::real() {
    return std::strtod(std::string(next()).c_str(), nullptr);
}

bool appendValues(sd_bus_message* message, std::string_view types, Words& words) {
    while (!types.empty()) {
        const auto length = typeLength(types);
        if (length == 0 || !appendValue(message, std::string(types.substr(0, length)), words)) return false;
        types.remove_prefix(length);
    }
    return true;
}

}  // namespace fuzz
