#include "MacShared/VELVersionInfo.h"

#include "ports/Bundle.h"
#include "ports/FileManager.h"
#include "ports/OperatingSystem.h"
#include "ports/Platform.h"

namespace {
constexpr const char* kSystemVersionFile = "/System/Library/CoreServices/SystemVersion.plist";
}

std::optional<std::string> VELVersionInfo::osVersionString() {
    const auto& services = platform();
    // A file that is there but says nothing is not replaced by a guess.
    if (services.fileManager.kindOf(kSystemVersionFile) == FileKind::none) {
        return services.operatingSystem.versionString();
    }
    return services.bundles.propertyListString(kSystemVersionFile, "ProductVersion");
}

std::optional<std::string> VELVersionInfo::appVersionString() {
    return platform().bundles.mainBundle()->infoString("CFBundleShortVersionString");
}

std::optional<std::string> VELVersionInfo::buildVersionString() {
    return platform().bundles.mainBundle()->infoString("CFBundleVersion");
}
