#include "tools/keynote-capture/lecture/JournalLine.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace keynote_capture {
namespace {

constexpr std::string_view kDateForm = "0000-00-00T00:00:00.000000Z";
constexpr std::int64_t kMostMicroseconds = std::int64_t{1} << 52U;

/// The numbers of a text that has the form of a date: year, month, day, hour, minute, second, microsecond.
std::optional<std::array<int, 7>> numbersOf(std::string_view text) {
    static constexpr std::array<std::pair<std::size_t, std::size_t>, 7> kPlaces{
        {{0, 4}, {5, 2}, {8, 2}, {11, 2}, {14, 2}, {17, 2}, {20, 6}}};
    if (text.size() != kDateForm.size()) return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (kDateForm[i] == '0' ? !isDigit : text[i] != kDateForm[i]) return std::nullopt;
    }
    std::array<int, 7> numbers{};
    for (std::size_t i = 0; i < kPlaces.size(); ++i) {
        const auto [begin, length] = kPlaces.at(i);
        std::from_chars(text.data() + begin, text.data() + begin + length, numbers.at(i));
    }
    return numbers;
}

std::optional<Date> dateFrom(std::string_view text) {
    using namespace std::chrono;
    const auto numbers = numbersOf(text);
    if (!numbers) return std::nullopt;
    const auto [y, mo, d, h, mi, s, us] = *numbers;
    const year_month_day date{year(y), month(static_cast<unsigned>(mo)), day(static_cast<unsigned>(d))};
    if (y < 1970 || !date.ok() || h > 23 || mi > 59 || s > 60) return std::nullopt;
    return Date(sys_days(date)) + hours(h) + minutes(mi) + seconds(s) + microseconds(us);
}

std::optional<Instant> instantFrom(const Json& value) {
    if (!value.is_number_integer()) return std::nullopt;
    const auto count = value.get<std::int64_t>();
    if (count > kMostMicroseconds || count < -kMostMicroseconds) return std::nullopt;
    return Instant(std::chrono::microseconds(count));
}

}  // namespace

std::vector<Json> objectsFrom(const std::vector<std::string>& lines) {
    std::vector<Json> objects;
    for (const auto& line : lines) {
        auto object = Json::parse(line, nullptr, false);
        if (object.is_object()) objects.push_back(std::move(object));
    }
    return objects;
}

std::optional<Date> dateMember(const Json& object, const char* key) {
    const auto text = member<std::string>(object, key);
    return text ? dateFrom(*text) : std::nullopt;
}

std::optional<TimeBounds> steadyBounds(const Json& entry) {
    const auto steady = entry.find("steady");
    if (steady == entry.end() || !steady->is_array() || steady->size() != 2) return std::nullopt;
    const auto latest = instantFrom(steady->at(1));
    if (!latest) return std::nullopt;
    const auto earliest = instantFrom(steady->at(0));
    return TimeBounds{earliest && *earliest <= *latest ? earliest : std::nullopt, *latest};
}

}  // namespace keynote_capture
