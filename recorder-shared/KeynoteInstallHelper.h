#pragma once

#include "base/Error.h"
#include "ports/Bundle.h"
#include "ports/MetadataQuery.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Answers which copies of the presentation program are installed and running, and which of them can be used.
///
/// Two generations of the plug-in split the versions: below 6.0 the *legacy* plug-in, which is installed into the
/// program's own bundle; from 6.5 on the *new* one; those between have none and are not supported. A version that
/// does not parse, or nothing, counts as 0.0.0.0 and so as a legacy version.
///
/// The checks of versions and of running programs answer at once, from any thread, and keep no state. The *survey* of
/// installed programs searches the whole computer: `fetchKeynoteBundles` starts a query, the query's end comes in as
/// `finishedQuery`, and the callback gets the bundles. An instance holds one survey at a time: a new one replaces one
/// under way, whose caller is not called any more. Surveys belong to the main queue.
class KeynoteInstallHelper {
public:
    using KeynoteBundles = std::vector<std::shared_ptr<const Bundle>>;
    using BundleCallback = std::function<void(const KeynoteBundles& bundles)>;
    using FailureCallback = std::function<void(const ErrorPtr& error)>;
    /// What follows from the copies that are installed. The three flags are independent.
    struct Status {
        bool found = false;                         ///< a usable one
        bool unsupported = false;                   ///< one that cannot be used
        bool pluginMissing = false;                 ///< a legacy one without the current plug-in
        std::optional<std::string> highestVersion;  ///< of the usable ones
    };
    /// The members of `Status` in their order.
    using StatusCallback = std::function<void(bool found, bool unsupported, bool pluginMissing,
                                              const std::optional<std::string>& highestVersion)>;

    /// `sharedInstance`: made at the first call, never released. The platform must be installed by then.
    [[nodiscard]] static KeynoteInstallHelper& sharedInstance();

    /// `isSupportedKeynoteVersionForLegacyPlugin:`: below 6.0.
    [[nodiscard]] static bool isSupportedKeynoteVersionForLegacyPlugin(const std::optional<std::string>& version);
    /// `isSupportedKeynoteVersionForNewPlugin:`: 6.5 or above.
    [[nodiscard]] static bool isSupportedKeynoteVersionForNewPlugin(const std::optional<std::string>& version);
    /// `isSupportedKeynoteVersion:`: either of the two.
    [[nodiscard]] static bool isSupportedKeynoteVersion(const std::optional<std::string>& version);
    /// `maxOfVersion:andVersion:`: the greater one as it was passed, the first on a tie; the other one when one is
    /// nothing.
    [[nodiscard]] static std::optional<std::string> maxOfVersion(const std::optional<std::string>& version,
                                                                 const std::optional<std::string>& andVersion);

    /// `fetchRunningKeynoteBundles`: the bundles of the running programs, in the order in which they appeared.
    [[nodiscard]] static KeynoteBundles fetchRunningKeynoteBundles();
    /// `isUnsupportedKeynoteRunning`: whether a program from 6.0 up to 6.5 runs.
    [[nodiscard]] static bool isUnsupportedKeynoteRunning();
    /// `conflictingKeynoteVersionsRunning`: the versions of all running programs of the new plug-in, each as often as
    /// it runs; nothing when fewer than two run.
    [[nodiscard]] static std::optional<std::vector<std::string>> conflictingKeynoteVersionsRunning();
    /// `isDisabledKeynoteRunning`: whether a legacy program runs that lacks the current plug-in.
    [[nodiscard]] static bool isDisabledKeynoteRunning();
    /// `isKeynotePluginInstalledToBundle:`: whether the legacy plug-in in the program's bundle has exactly the build
    /// that this process carries in its main bundle. Older, newer and unknown builds do not count.
    [[nodiscard]] static bool isKeynotePluginInstalledToBundle(const Bundle& keynoteBundle);

    /// Judges installed copies; those without a version are skipped. Any thread.
    [[nodiscard]] static Status statusOf(const KeynoteBundles& bundles);
    /// `checkForKeynoteStatusSuccess:failure:`: surveys with the shared instance and calls one of the two, when
    /// `fetchKeynoteBundles` would.
    static void checkForKeynoteStatus(StatusCallback success, const FailureCallback& failure);

    /// `init`: observes the end of queries until destruction.
    KeynoteInstallHelper();
    KeynoteInstallHelper(const KeynoteInstallHelper&) = delete;
    KeynoteInstallHelper& operator=(const KeynoteInstallHelper&) = delete;

    /// `fetchKeynoteBundlesSuccess:failure:`: surveys the installed programs. Success comes later, with a possibly
    /// empty list; failure comes at once, with domain "Veldrin" and code 99, when the search cannot be started. Either
    /// may be empty.
    void fetchKeynoteBundles(BundleCallback success, const FailureCallback& failure);
    /// `finishedQuery:`: a query has finished; one that is not `keynoteQuery` is ignored.
    void finishedQuery(const MetadataQuery& sender);

    /// The search in progress, or null. One that could not be started stays until the next survey.
    [[nodiscard]] const std::shared_ptr<MetadataQuery>& keynoteQuery() const { return keynoteQuery_; }
    void setKeynoteQuery(std::shared_ptr<MetadataQuery> query) { keynoteQuery_ = std::move(query); }
    /// The success callback of the survey in progress, or none.
    [[nodiscard]] const BundleCallback& bundleCallback() const { return bundleCallback_; }
    void setBundleCallback(BundleCallback callback) { bundleCallback_ = std::move(callback); }

private:
    std::shared_ptr<MetadataQuery> keynoteQuery_;
    BundleCallback bundleCallback_;
    const Handle didFinish_;
};
