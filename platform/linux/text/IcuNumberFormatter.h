#pragma once

#include "ports/Text.h"

#include <unicode/unum.h>
#include <mutex>
#include <string>

/// Parses numbers with ICU: strict, whole text, no grouping, no exponent.
class IcuNumberFormatter final : public NumberFormatter {
public:
    explicit IcuNumberFormatter(std::string locale) : locale_(std::move(locale)) {}
    [[nodiscard]] std::optional<DecimalNumber> numberFromString(std::string_view text) const override;

private:
    const std::string locale_;
    mutable std::mutex mutex_;                          ///< guards the parser
    mutable icu::LocalUNumberFormatPointer icuFormat_;  ///< made at the first use
};
