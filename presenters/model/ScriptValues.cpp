#include "presenters/model/ScriptValues.h"

#include "ports/Dispatch.h"

#include <charconv>
#include <cmath>
#include <functional>

namespace {

/// Calls `take` with each member of a comma-separated list until it answers false; whether it never did.
bool eachMember(std::string_view text, const std::function<bool(std::string_view)>& take) {
    while (true) {
        const auto comma = text.find(',');
        if (!take(text.substr(0, comma))) return false;
        if (comma == std::string_view::npos) return true;
        text.remove_prefix(comma + 1);
    }
}

}  // namespace

std::optional<std::int64_t> wholeNumberFrom(std::string_view text, std::int64_t least, std::int64_t most) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc() || stop != end || number < least || number > most) return std::nullopt;
    return number;
}

std::optional<Duration> secondsFrom(std::string_view text) {
    static constexpr double kDay = std::chrono::duration<double>(kLongestDelay).count();
    double seconds = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, seconds);
    if (failure != std::errc() || stop != end || !(seconds >= 0 && seconds <= kDay)) return std::nullopt;
    return delayFromSeconds(seconds);
}

std::optional<std::set<std::string>> wordsFrom(std::string_view text) {
    std::set<std::string> words;
    const bool complete = eachMember(text, [&words](std::string_view word) {
        if (word.empty()) return false;
        words.emplace(word);
        return true;
    });
    if (!complete) return std::nullopt;
    return words;
}

std::optional<std::set<std::int64_t>> slideNumbersFrom(std::string_view text) {
    std::set<std::int64_t> numbers;
    const bool complete = eachMember(text, [&numbers](std::string_view word) {
        const auto number = wholeNumberFrom(word, 1, kMostSlides);
        if (number) numbers.insert(*number);
        return number.has_value();
    });
    if (!complete) return std::nullopt;
    return numbers;
}
