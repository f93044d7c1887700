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
    [[nodiscard]] virtual std::string stringFromDate(Date date) const = 0;
};

/// An exact decimal number, of any size.
struct DecimalNumber {
    std::string digits;  ///< in the form [-]digits[.digits][E[-]digits]
    /// The integer part modulo 2^64, negative numbers in two's complement; 0 when it has more than 38 digits.
    std::uint64_t unsignedIntegerValue = 0;
};

/// Parses numbers in decimal style, without exponents or other letters. Callable from any thread.
class NumberFormatter {
public:
    virtual ~NumberFormatter() = default;
    /// The number that the whole text stands for, or nothing.
    [[nodiscard]] virtual std::optional<DecimalNumber> numberFromString(std::string_view text) const = 0;
};

/// The platform's text services. Callable from any thread.
class TextServices {
public:
    virtual ~TextServices() = default;
    [[nodiscard]] virtual std::shared_ptr<const DateFormatter> makeDateFormatter(const std::string& pattern) = 0;
    /// A strict decimal parser with exact results for a fixed locale such as "en_US_POSIX".
    [[nodiscard]] virtual std::shared_ptr<const NumberFormatter> makeNumberFormatter(const std::string& locale) = 0;
    /// A new random (version 4) UUID: 36 characters, upper-case hexadecimal, from the system's generator.
    [[nodiscard]] virtual std::string makeUUID() = 0;
};
