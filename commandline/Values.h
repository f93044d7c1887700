#pragma once

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

/// What options may say. Each check answers what is wrong in words that follow "--option: ", or nothing.
using ValueCheck = std::string (*)(const std::string&);

[[nodiscard]] std::string checkNotEmpty(const std::string& text);
[[nodiscard]] std::string checkDirectory(const std::string& text);
[[nodiscard]] std::string checkFile(const std::string& text);
/// A time in seconds.
[[nodiscard]] std::string checkInterval(const std::string& text);

/// The number that the text is, all of it; nothing when it is none, or not finite.
[[nodiscard]] std::optional<double> numberIn(const std::string& text);

/// Such a check as the library wants it.
[[nodiscard]] inline CLI::Validator valueCheck(ValueCheck check) {
    return {check, ""};
}
/// A number within these bounds, both included.
[[nodiscard]] CLI::Validator rangeCheck(double least, double most);
