#pragma once

#include "ports/Text.h"

namespace text {

/// Text services of ICU and libuuid. ICU's objects are made at their first use, because they take about 2 MiB.
///
/// Date formatter: the locale that the environment names for dates, and the process's time zone as the C library knows
/// it, both as they are at the first use; zones have an offset and no name. Weeks count as the locale counts them; the
/// C locale names no country, so there they count by ISO 8601, as everywhere else in the C library. At most one run of
/// the letter S in a pattern. Number formatter: ICU's strict decimal parser without grouping and exponents; no
/// infinity, not-a-number, or text beyond 1000 bytes.
class IcuTextServices final : public TextServices {
public:
    [[nodiscard]] std::shared_ptr<const DateFormatter> makeDateFormatter(const std::string& pattern) override;
    [[nodiscard]] std::shared_ptr<const NumberFormatter> makeNumberFormatter(const std::string& locale) override;
    [[nodiscard]] std::string makeUUID() override;
};

}  // namespace text
