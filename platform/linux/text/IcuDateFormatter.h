#pragma once

#include "ports/Text.h"

#include <unicode/udat.h>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>

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
