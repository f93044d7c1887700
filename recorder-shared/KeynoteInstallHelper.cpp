#include "recorder-shared/KeynoteInstallHelper.h"

#include "MacShared/NSBundle+VELLogAdditions.h"
#include "MacShared/VeldrinError.h"
#include "ports/CaptureNames.h"
#include "ports/Platform.h"
#include "ports/Workspace.h"
#include "recorder-shared/VELVersion.h"

#include <algorithm>

namespace {

using Version = std::optional<std::string>;
using KeynoteBundles = KeynoteInstallHelper::KeynoteBundles;

constexpr const char* kKeynoteVersionKey = "CFBundleShortVersionString";
/// The plug-in counts builds; the program's versions are those that people see.
constexpr const char* kPluginVersionKey = "CFBundleVersion";
constexpr const char* kPluginName = "VeldrinKeynoteExtensions";
constexpr const char* kPluginType = "sfxplugin";
constexpr const char* kPluginFolder = "Animations";

std::string keynoteQueryText() {
    return std::string("kMDItemCFBundleIdentifier == \"") + kKeynoteBundleIdentifier + '"';
}

const std::string& detectionFailedDescription() {
    static const auto* const description =
        new std::string(platform().bundles.mainBundle()->localizedString("Cannot detect Keynote installation"));
    return *description;
}

Version keynoteVersion(const Bundle& keynote) {
    return keynote.infoString(kKeynoteVersionKey);
}

Version pluginVersionAt(const std::optional<std::filesystem::path>& path) {
    const auto plugin = path ? platform().bundles.bundleAtPath(*path) : nullptr;
    return plugin ? plugin->infoString(kPluginVersionKey) : std::nullopt;
}

void addTo(KeynoteInstallHelper::Status& status, const Bundle& keynote) {
    const auto version = keynoteVersion(keynote);
    VELLog("version keynote %@", version);
    // Not a program that anybody could run: a bundle that is being copied, or a damaged one.
    if (!version) return;
    if (!KeynoteInstallHelper::isSupportedKeynoteVersion(version)) {
        status.unsupported = true;
    } else if (KeynoteInstallHelper::isSupportedKeynoteVersionForLegacyPlugin(version) &&
               !KeynoteInstallHelper::isKeynotePluginInstalledToBundle(keynote)) {
        status.pluginMissing = true;
    } else {
        status.highestVersion = KeynoteInstallHelper::maxOfVersion(status.highestVersion, version);
        status.found = true;
    }
}

}  // namespace

KeynoteInstallHelper& KeynoteInstallHelper::sharedInstance() {
    // Never destroyed: the platform that it observes is gone when the process's objects are.
    static auto* const shared = new KeynoteInstallHelper;
    return *shared;
}

KeynoteInstallHelper::KeynoteInstallHelper()
    : didFinish_(
          platform().metadataQueries.observeDidFinish([this](const MetadataQuery& sender) { finishedQuery(sender); })) {
}

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

std::optional<std::string> KeynoteInstallHelper::maxOfVersion(const std::optional<std::string>& version,
                                                              const std::optional<std::string>& andVersion) {
    if (!version) return andVersion;
    if (!andVersion) return version;
    const auto first = VELVersion::versionWithString(version).value_or(VELVersion(0, 0, 0, 0));
    return first.compareTo(VELVersion::versionWithString(andVersion)) < 0 ? andVersion : version;
}

KeynoteBundles KeynoteInstallHelper::fetchRunningKeynoteBundles() {
    const auto& services = platform();
    KeynoteBundles running;
    for (const auto& application : services.workspace.runningApplications()) {
        // Asked before the bundle is read from disk: the list holds every program of the session.
        if (application->bundleIdentifier() != kKeynoteBundleIdentifier) continue;
        const auto url = application->bundleURL();
        if (auto bundle = url ? services.bundles.bundleAtPath(*url) : nullptr) running.push_back(std::move(bundle));
    }
    return running;
}

bool KeynoteInstallHelper::isUnsupportedKeynoteRunning() {
    return !std::ranges::all_of(fetchRunningKeynoteBundles(), [](const auto& keynote) {
        return isSupportedKeynoteVersion(keynoteVersion(*keynote));
    });
}

std::optional<std::vector<std::string>> KeynoteInstallHelper::conflictingKeynoteVersionsRunning() {
    std::vector<std::string> versions;
    for (const auto& keynote : fetchRunningKeynoteBundles()) {
        auto version = keynoteVersion(*keynote);
        if (version && isSupportedKeynoteVersionForNewPlugin(version)) versions.push_back(std::move(*version));
    }
    return versions.size() < 2 ? std::nullopt : std::optional(std::move(versions));
}

bool KeynoteInstallHelper::isDisabledKeynoteRunning() {
    return std::ranges::any_of(fetchRunningKeynoteBundles(), [](const auto& keynote) {
        return isSupportedKeynoteVersionForLegacyPlugin(keynoteVersion(*keynote)) &&
               !isKeynotePluginInstalledToBundle(*keynote);
    });
}

bool KeynoteInstallHelper::isKeynotePluginInstalledToBundle(const Bundle& keynoteBundle) {
    VELLog("keynoteBundlePath (%@)", keynoteBundle.path());
    const auto installedPath = keynoteBundle.pathForResource(kPluginName, kPluginType, kPluginFolder);
    VELLog("veldrinPluginBundlePath (%@)", installedPath);
    const auto installed = pluginVersionAt(installedPath);
    const auto carried = pluginVersionAt(platform().bundles.mainBundle()->pathForResource(kPluginName, kPluginType));
    VELLog("oldPluginVersion (%@), newPluginVersion (%@)", installed, carried);
    return installed && installed == carried;
}

KeynoteInstallHelper::Status KeynoteInstallHelper::statusOf(const KeynoteBundles& bundles) {
    Status status;
    for (const auto& keynote : bundles) addTo(status, *keynote);
    return status;
}

void KeynoteInstallHelper::checkForKeynoteStatus(StatusCallback success, const FailureCallback& failure) {
    sharedInstance().fetchKeynoteBundles(
        [success = std::move(success)](const KeynoteBundles& bundles) {
            const auto status = statusOf(bundles);
            if (success) success(status.found, status.unsupported, status.pluginMissing, status.highestVersion);
        },
        failure);
}

void KeynoteInstallHelper::fetchKeynoteBundles(BundleCallback success, const FailureCallback& failure) {
    bundleCallback_ = std::move(success);
    keynoteQuery_ = platform().metadataQueries.makeQuery(keynoteQueryText());
    if (keynoteQuery_->start()) return;
    if (!failure) return;
    failure(makeError(VeldrinErrorDomain, VeldrinErrorKeynoteDetectionNotStarted, detectionFailedDescription()));
}

void KeynoteInstallHelper::finishedQuery(const MetadataQuery& sender) {
    // The observer hears of all queries of the process, also of one that was replaced.
    if (&sender != keynoteQuery_.get()) return;
    KeynoteBundles bundles;
    for (std::size_t i = 0; i < sender.resultCount(); ++i) {
        const auto path = sender.pathAt(i);
        if (auto bundle = path ? platform().bundles.bundleAtPath(*path) : nullptr) bundles.push_back(std::move(bundle));
    }
    keynoteQuery_ = nullptr;
    // Taken out before the call, so that a survey that the callback starts keeps its own.
    if (const auto callback = std::exchange(bundleCallback_, nullptr)) callback(bundles);
}
