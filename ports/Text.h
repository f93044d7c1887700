#pragma once

#include "base/Time.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Formats dates with a Unicode date pattern in the process's locale and time zone. Callable from any thread.
/// Source of the pattern letters: Unicode Technical Standard #35, part 4.
class DateFormatter {
public:
    virtual ~DateFormatter() = default;
    /// The date as the pattern says, in UTF-8.
    [[nodiscard]] virtual std::string stringFromDate(Date date) const = 0;
};

/// An exact decimal number, of any size.
struct DecimalNumber {
    /// In the form [-]digits[.digits][E[-]digits], whatever the digits of the text were.
    std::string digits;
    /// The integer part modulo 2^64, negative numbers in two's complement; 0 when it has more than 38 digits.
    std::uint64_t unsignedIntegerValue = 0;
};

/// Parses numbers in decimal style, without exponents or other letters. Callable from any thread.
class NumberFormatter {
public:
    virtual ~NumberFormatter() = default;
    /// The number that the whole text stands for. Nothing when it stands for none, or has letters, blanks at its ends
    /// or separators of thousands.
    [[nodiscard]] virtual std::optional<DecimalNumber> numberFromString(std::string_view text) const = 0;
};

/// The platform's text services. Callable from any thread.
class TextServices {
public:
    virtual ~TextServices() = default;
    /// A formatter for a Unicode date pattern, for the locale and time zone of now. Never null.
    [[nodiscard]] virtual std::shared_ptr<const DateFormatter> makeDateFormatter(const std::string& pattern) = 0;
    /// A strict decimal parser with exact results for a fixed locale such as "en_US_POSIX". Never null.
    [[nodiscard]] virtual std::shared_ptr<const NumberFormatter> makeNumberFormatter(const std::string& locale) = 0;
    /// A new random (version 4) UUID: 36 characters, upper-case hexadecimal, from the system's generator.
    [[nodiscard]] virtual std::string makeUUID() = 0;
};
