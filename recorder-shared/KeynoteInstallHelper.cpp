#include "recorder-shared/KeynoteInstallHelper.h"

#include "recorder-shared/VELVersion.h"

bool KeynoteInstallHelper::isSupportedKeynoteVersionForLegacyPlugin(const std::optional<std::string>& version) {
    static const VELVersion kEndOfLegacyPlugin(6, 0, 0, 0);
    return kEndOfLegacyPlugin.compareTo(VELVersion::versionWithString(version)) > 0;
}

bool KeynoteInstallHelper::isSupportedKeynoteVersionForNewPlugin(const std::optional<std::string>& version) {
    static const VELVersion kStartOfNewPlugin(6, 5, 0, 0);
    return kStartOfNewPlugin.compareTo(VELVersion::versionWithString(version)) <= 0;
}

bool KeynoteInstallHelper::isSupportedKeynoteVersion(const std::optional<std::string>& version) {
    return isSupportedKeynoteVersionForLegacyPlugin(version) || isSupportedKeynoteVersionForNewPlugin(version);
}
