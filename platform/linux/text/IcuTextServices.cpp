#include "platform/linux/text/IcuTextServices.h"

#include "platform/linux/text/IcuText.h"

#include <unicode/unum.h>
#include <uuid/uuid.h>
#include <algorithm>
#include <array>
#include <charconv>
#include <mutex>

namespace text {

namespace {

constexpr std::size_t kLongestText = 1000;
constexpr std::int64_t kMostIntegerDigits = 38;

UNumberFormat* openFormat(const std::string& locale) {
    UErrorCode status = U_ZERO_ERROR;
    auto* const format = unum_open(UNUM_DECIMAL, nullptr, 0, locale.c_str(), nullptr, &status);
    if (U_FAILURE(status)) return nullptr;
    // Strict: blanks, separators of thousands and exponents make a text no number.
    unum_setAttribute(format, UNUM_LENIENT_PARSE, 0);
    unum_setAttribute(format, UNUM_GROUPING_USED, 0);
    unum_setAttribute(format, UNUM_PARSE_NO_EXPONENT, 1);
    return format;
}

/// The integer part modulo 2^64 of [-]digits[.digits][E[-]digits].
std::uint64_t integerPart(std::string_view number) {
    const bool negative = number.starts_with('-');
    if (negative) number.remove_prefix(1);
    std::int64_t exponent = 0;
    if (const auto e = number.find('E'); e != std::string_view::npos) {
        std::from_chars(number.data() + e + 1, number.data() + number.size(), exponent);
        number = number.substr(0, e);
    }
    const auto point = std::min(number.find('.'), number.size());
    std::string digits(number);
    std::erase(digits, '.');
    const auto integerDigits = static_cast<std::int64_t>(point) + exponent;
    if (digits == "0" || integerDigits <= 0 || integerDigits > kMostIntegerDigits) return 0;
    // Cuts the fraction off, or adds the zeros that the exponent stands for.
    digits.resize(static_cast<std::size_t>(integerDigits), '0');
    std::uint64_t value = 0;
    for (const char digit : digits) value = value * 10 + static_cast<std::uint64_t>(digit - '0');
    return negative ? 0 - value : value;
}

/// Strict, whole text, no grouping, no exponent.
class IcuNumberFormatter final : public NumberFormatter {
public:
    explicit IcuNumberFormatter(std::string locale) : locale_(std::move(locale)) {}
    [[nodiscard]] std::optional<DecimalNumber> numberFromString(std::string_view text) const override;

private:
    const std::string locale_;
    mutable std::mutex mutex_;                          ///< guards the parser
    mutable icu::LocalUNumberFormatPointer icuFormat_;  ///< made at the first use
};

std::optional<DecimalNumber> IcuNumberFormatter::numberFromString(std::string_view text) const {
    if (text.size() > kLongestText) return std::nullopt;
    const auto utf16 = utf16From(text);
    if (!utf16) return std::nullopt;

    std::array<char, kLongestText + 32> decimal{};
    std::int32_t end = 0;
    UErrorCode status = U_ZERO_ERROR;
    const std::lock_guard lock(mutex_);
    if (icuFormat_.isNull()) icuFormat_.adoptInstead(openFormat(locale_));
    if (icuFormat_.isNull()) return std::nullopt;
    const auto length =
        unum_parseDecimal(icuFormat_.getAlias(), utf16->data(), static_cast<std::int32_t>(utf16->size()), &end,
                          decimal.data(), static_cast<std::int32_t>(decimal.size()), &status);
    // ICU stops at the first letter that belongs to no number and is content; the whole text is to be one.
    if (U_FAILURE(status) || static_cast<std::size_t>(end) != utf16->size()) return std::nullopt;

    std::string digits(decimal.data(), static_cast<std::size_t>(length));
    if (digits.find_first_not_of("-0123456789.E+") != std::string::npos) return std::nullopt;  // infinity, not a number
    std::erase(digits, '+');
    const auto value = integerPart(digits);
    return DecimalNumber{std::move(digits), value};
}

}  // namespace

std::shared_ptr<const NumberFormatter> IcuTextServices::makeNumberFormatter(const std::string& locale) {
    return std::make_shared<const IcuNumberFormatter>(locale);
}

std::string IcuTextServices::makeUUID() {
    uuid_t uuid{};
    // Never by time and network address: presentation IDs are published.
    uuid_generate_random(uuid);
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_upper(uuid, text.data());
    return text.data();
}

}  // namespace text
