#include "platform/linux/text/IcuText.h"
#include "platform/linux/text/IcuTextServices.h"

#include <fmt/format.h>
#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/uloc.h>
#include <unicode/ustring.h>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string_view>

namespace text {

namespace {

/// ICU's locale for the C library's one that names no country.
constexpr const char* kCLocale = "en_US_POSIX";

/// The locale of dates by the C library's rules. ICU goes by the one of messages, and by variables that are empty.
std::string localeOfDates() {
    std::string name;
    for (const char* variable : {"LANG", "LC_TIME", "LC_ALL"}) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') name = value;
    }
    name.erase(std::min(name.find_first_of(".@"), name.size()));
    return name.empty() || name == "C" || name == "POSIX" ? kCLocale : name;
}

/// Seconds east of Greenwich. Asked of the C library, because ICU does not read all forms of `TZ`.
long zoneOffset(std::chrono::sys_seconds second) {
    const std::time_t time = second.time_since_epoch().count();
    std::tm local{};
    return ::localtime_r(&time, &local) == nullptr ? 0 : local.tm_gmtoff;
}

std::u16string zoneName(long offset) {
    const long size = std::abs(offset);
    const auto name =
        fmt::format("GMT{}{:02}:{:02}:{:02}", offset < 0 ? '-' : '+', size / 3600, size / 60 % 60, size % 60);
    return {name.begin(), name.end()};
}

void countWeeksByIso8601(UDateFormat* format) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUCalendarPointer calendar(ucal_clone(udat_getCalendar(format), &status));
    if (U_FAILURE(status)) return;
    ucal_setAttribute(calendar.getAlias(), UCAL_FIRST_DAY_OF_WEEK, UCAL_MONDAY);
    ucal_setAttribute(calendar.getAlias(), UCAL_MINIMAL_DAYS_IN_FIRST_WEEK, 4);
    udat_setCalendar(format, calendar.getAlias());
}

UDateFormat* openFormat(const std::string& pattern, long offset) {
    const auto icuPattern = utf16From(pattern);
    if (!icuPattern) return nullptr;
    const auto locale = localeOfDates();
    const auto zone = zoneName(offset);
    UErrorCode status = U_ZERO_ERROR;
    auto* const format =
        udat_open(UDAT_PATTERN, UDAT_PATTERN, locale.c_str(), zone.data(), static_cast<std::int32_t>(zone.size()),
                  icuPattern->data(), static_cast<std::int32_t>(icuPattern->size()), &status);
    if (U_SUCCESS(status) && locale == kCLocale) countWeeksByIso8601(format);
    return U_SUCCESS(status) ? format : nullptr;
}

/// Formats dates with ICU. A log writes many lines per second, so the text of the latest whole second is kept and only
/// the digits of its fraction are set. Answers the empty text for a pattern that ICU does not take.
class IcuDateFormatter final : public DateFormatter {
public:
    explicit IcuDateFormatter(std::string pattern) : pattern_(std::move(pattern)) {}
    [[nodiscard]] std::string stringFromDate(Date date) const override;

private:
    /// A whole second's text; the fraction's digits are zeros of the locale.
    struct SecondText {
        std::chrono::sys_seconds second;
        std::string text;
        std::size_t fractionStart = 0;  ///< byte position in the text
        std::size_t fractionDigits = 0;
        std::size_t bytesPerDigit = 1;
    };

    [[nodiscard]] SecondText format(std::chrono::sys_seconds second) const;

    const std::string pattern_;
    mutable std::mutex mutex_;                        ///< guards what follows
    mutable icu::LocalUDateFormatPointer icuFormat_;  ///< made at the first use, for one offset of the zone
    mutable long offset_ = 0;                         ///< seconds east of Greenwich
    mutable std::optional<SecondText> latest_;
};

std::string IcuDateFormatter::stringFromDate(Date date) const {
    using std::chrono::floor;
    using std::chrono::milliseconds;
    // The milliseconds are put into the text of their second: formatting by ICU takes many times as long as a line of
    // the log otherwise does, and lines come in bursts.
    const auto second = floor<std::chrono::seconds>(date);
    const auto fraction = static_cast<unsigned>(floor<milliseconds>(date - second).count());

    const std::lock_guard lock(mutex_);
    if (!latest_ || latest_->second != second) latest_ = format(second);
    std::string text = latest_->text;
    const std::array digits{fraction / 100, fraction / 10 % 10, fraction % 10};
    for (std::size_t i = 0; i < std::min(digits.size(), latest_->fractionDigits); ++i) {
        // The ten digits of every script follow one another, and in UTF-8 differ in the last byte only.
        char& last = text[latest_->fractionStart + (i + 1) * latest_->bytesPerDigit - 1];
        last = static_cast<char>(static_cast<unsigned char>(last) + digits[i]);
    }
    return text;
}

IcuDateFormatter::SecondText IcuDateFormatter::format(std::chrono::sys_seconds second) const {
    const long offset = zoneOffset(second);
    // Summer time began or ended, or somebody moved the process to another zone.
    if (icuFormat_.isNull() || offset != offset_) icuFormat_.adoptInstead(openFormat(pattern_, offset));
    offset_ = offset;
    if (icuFormat_.isNull()) return {second, {}};

    std::array<UChar, 512> buffer{};
    UFieldPosition fraction{UDAT_FRACTIONAL_SECOND_FIELD, 0, 0};
    UErrorCode status = U_ZERO_ERROR;
    const auto length =
        udat_format(icuFormat_.getAlias(), static_cast<double>(second.time_since_epoch().count()) * 1000, buffer.data(),
                    static_cast<std::int32_t>(buffer.size()), &fraction, &status);
    if (U_FAILURE(status)) return {second, {}};

    const std::u16string_view all(buffer.data(), static_cast<std::size_t>(length));
    const auto start = static_cast<std::size_t>(fraction.beginIndex);
    const auto zeros = all.substr(start, static_cast<std::size_t>(fraction.endIndex) - start);
    SecondText result{second, utf8From(all), utf8From(all.substr(0, start)).size()};
    result.fractionDigits =
        static_cast<std::size_t>(u_countChar32(zeros.data(), static_cast<std::int32_t>(zeros.size())));
    if (result.fractionDigits > 0) result.bytesPerDigit = utf8From(zeros).size() / result.fractionDigits;
    return result;
}

}  // namespace

std::shared_ptr<const DateFormatter> IcuTextServices::makeDateFormatter(const std::string& pattern) {
    return std::make_shared<const IcuDateFormatter>(pattern);
}

}  // namespace text
