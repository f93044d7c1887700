#pragma once

#include <optional>
#include <string>

/// Answers which versions of the presentation program can be used. Two generations of the plug-in split them:
/// below 6.0 the legacy plug-in, from 6.5 on the new one; those between have none and are not supported.
/// A version that does not parse, or nothing, counts as 0.0.0.0.
class KeynoteInstallHelper {
public:
    /// `isSupportedKeynoteVersionForLegacyPlugin:`: below 6.0.
    [[nodiscard]] static bool isSupportedKeynoteVersionForLegacyPlugin(const std::optional<std::string>& version);
    /// `isSupportedKeynoteVersionForNewPlugin:`: 6.5 or above.
    [[nodiscard]] static bool isSupportedKeynoteVersionForNewPlugin(const std::optional<std::string>& version);
    /// `isSupportedKeynoteVersion:`: either of the two.
    [[nodiscard]] static bool isSupportedKeynoteVersion(const std::optional<std::string>& version);
};
