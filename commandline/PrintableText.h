#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// Whether line feeds stand for themselves.
enum class LineFeeds { escaped, kept };

/// Text from outside, fit for a terminal: control characters, line separators and characters that turn the writing
/// direction become escapes such as `\n` or `\u{1b}`, bytes that are not UTF-8 become U+FFFD. The rest stays.
[[nodiscard]] std::string printableText(std::string_view text, LineFeeds lineFeeds = LineFeeds::escaped);
[[nodiscard]] inline std::string printable(const std::filesystem::path& path) {
    return printableText(path.native());
}

/// The same for JSON in UTF-8, which stays JSON: escapes such as `\u001b`. Line feeds stand for themselves.
[[nodiscard]] std::string printableJSON(std::string_view json);
