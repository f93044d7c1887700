#include "commandline/Values.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"

#include <cmath>
#include <filesystem>

namespace fs = std::filesystem;

std::string checkNotEmpty(const std::string& text) {
    return text.empty() ? translated("must not be empty") : std::string();
}

std::string checkDirectory(const std::string& text) {
    std::error_code failure;
    return fs::is_directory(text, failure) ? std::string() : translated("there is no directory {}", printable(text));
}

std::string checkFile(const std::string& text) {
    std::error_code failure;
    const bool isFile = fs::exists(text, failure) && !fs::is_directory(text, failure);
    return isFile ? std::string() : translated("there is no file {}", printable(text));
}

std::string checkInterval(const std::string& text) {
    const auto seconds = numberIn(text);
    return seconds && *seconds > 0 ? std::string() : translated("must be a number of seconds above 0");
}

std::optional<double> numberIn(const std::string& text) {
    double number = 0;
    // The library reads "nan" and "inf" as numbers.
    return CLI::detail::lexical_cast(text, number) && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

CLI::Validator rangeCheck(double least, double most) {
    const auto check = [least, most](const std::string& text) {
        const auto number = numberIn(text);
        const bool isInside = number && *number >= least && *number <= most;
        return isInside ? std::string() : translated("must be a number from {} to {}", least, most);
    };
    return {check, ""};
}
