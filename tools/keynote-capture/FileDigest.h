#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace keynote_capture {

/// The SHA-256 (FIPS 180-4) of a file's content as 64 hexadecimal digits; nothing when it cannot be read.
[[nodiscard]] std::optional<std::string> sha256Of(const std::filesystem::path& file);

}  // namespace keynote_capture
