#include "presenters/model/ScriptValues.h"

#include "ports/Dispatch.h"

#include <charconv>
#include <functional>

namespace presenters {
namespace {

/// The number that the whole text spells. "nan" lies between no limits.
template <typename Number>
std::optional<Number> numberFrom(std::string_view text, Number least, Number most) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc() || stop != end || !(least <= number && number <= most)) return std::nullopt;
    return number;
}

/// The members of a comma-separated list as `read` has them; nothing when it has nothing for one.
template <typename Member>
std::optional<std::set<Member>> membersFrom(std::string_view text,
                                            const std::function<std::optional<Member>(std::string_view)>& read) {
    std::set<Member> members;
    while (true) {
        const auto comma = text.find(',');
        auto member = read(text.substr(0, comma));
        if (!member) return std::nullopt;
        members.insert(*std::move(member));
        if (comma == std::string_view::npos) return members;
        text.remove_prefix(comma + 1);
    }
}

}  // namespace

std::optional<std::int64_t> wholeNumberFrom(std::string_view text, std::int64_t least, std::int64_t most) {
    return numberFrom(text, least, most);
}

std::optional<Duration> secondsFrom(std::string_view text) {
    const auto seconds = numberFrom(text, 0.0, std::chrono::duration<double>(kLongestDelay).count());
    return seconds ? std::optional(delayFromSeconds(*seconds)) : std::nullopt;
}

std::optional<std::set<std::string>> wordsFrom(std::string_view text) {
    return membersFrom<std::string>(
        text, [](auto word) { return word.empty() ? std::nullopt : std::optional<std::string>(word); });
}

std::optional<std::set<std::int64_t>> slideNumbersFrom(std::string_view text) {
    return membersFrom<std::int64_t>(text, [](auto word) { return wholeNumberFrom(word, 1, kMostSlides); });
}

}  // namespace presenters
