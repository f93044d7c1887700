#pragma once

#include "ports/Text.h"

#include <memory>
#include <optional>
#include <string_view>

/// The shared number parser: decimal style, exact decimals, locale "en_US_POSIX" whatever the user's settings are.
[[nodiscard]] std::shared_ptr<const NumberFormatter> numberFormatter();

/// `numberFromServerString:`: the number that the whole text stands for, or nothing.
[[nodiscard]] std::optional<DecimalNumber> numberFromServerString(std::string_view string);
