#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// A path as file URL: every byte but unreserved characters and "/" percent-encoded (RFC 3986, RFC 8089).
[[nodiscard]] std::string urlFromPath(const std::filesystem::path& path);
/// The absolute path of a file URL with an empty or "localhost" host, without slashes at its end; nothing when the text
/// is no such URL or holds a NUL byte.
[[nodiscard]] std::optional<std::filesystem::path> pathFromURL(std::string_view url);
