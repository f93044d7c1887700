#include "platform/simulated/SimulatedPlatform.h"
#include "recorder-shared/KeynoteInstallHelper.h"

#include <gtest/gtest.h>
#include <tuple>

using namespace std::chrono_literals;

namespace {

constexpr const char* kQuery = "kMDItemCFBundleIdentifier == \"com.apple.iWork.Keynote\"";
constexpr const char* kPlugin = "VeldrinKeynoteExtensions.sfxplugin";

using Text = std::optional<std::string>;
using Path = std::filesystem::path;
using Texts = std::vector<std::string>;
/// Whether one was found, an unsupported one, one without its plug-in; and the highest version.
using Status = std::tuple<bool, bool, bool, Text>;

/// An installed program by its version, and the build of the plug-in in it.
struct Installed {
    Text version;
    Text pluginBuild;
};

class KeynoteInstall : public testing::Test {
protected:
    KeynoteInstall() { carry("7"); }

    /// The plug-in of a build as a resource of a bundle.
    simulated::SimulatedBundle::Resources plugin(const Path& bundle, const Path& resource, const Text& build) {
        if (!build) return {};
        platform.bundles.install(bundle / "Contents/Resources" / resource, {{"CFBundleVersion", *build}});
        return {resource};
    }

    /// The build of the plug-in that this program carries.
    void carry(const Text& build) {
        const auto own = platform.bundles.mainBundle()->path();
        platform.bundles.setMainBundle({}, plugin(own, kPlugin, build));
    }

    Path install(const Installed& program) {
        Path path = "/Applications/Keynote " + std::to_string(++installed_) + ".app";
        simulated::SimulatedBundle::Info info;
        if (program.version) info["CFBundleShortVersionString"] = *program.version;
        platform.bundles.install(path, info, plugin(path, Path("Animations") / kPlugin, program.pluginBuild));
        return path;
    }

    void run(const std::optional<Path>& path, const char* identifier = "com.apple.iWork.Keynote") {
        platform.workspace.add(std::make_shared<simulated::SimulatedApplication>(identifier, path, ++installed_));
    }

    std::string message(std::size_t index) const { return platform.unifiedLog.entries.at(index).message; }

    simulated::SimulatedPlatform platform;

private:
    int installed_ = 0;
};

TEST_F(KeynoteInstall, GreaterVersionIsTheFirstOnATie) {
    const std::tuple<Text, Text, Text> cases[] = {
        {"6.5", "6.5.0", "6.5"}, {"6.5.0", "6.5", "6.5.0"}, {"9.9", "10", "10"}, {"10", "9.9", "10"},
        {{}, "7.0", "7.0"},      {"7.0", {}, "7.0"},        {{}, {}, {}},        {"x", "0.1", "0.1"},
        {"0.1", "x", "0.1"},     {"x", "1.2.3.4.5", "x"},
    };
    for (const auto& [first, second, greater] : cases) {
        EXPECT_EQ(KeynoteInstallHelper::maxOfVersion(first, second), greater)
            << first.value_or("nil") << " and " << second.value_or("nil");
    }
}

TEST_F(KeynoteInstall, RunningPrograms) {
    EXPECT_FALSE(KeynoteInstallHelper::isUnsupportedKeynoteRunning());
    EXPECT_FALSE(KeynoteInstallHelper::isDisabledKeynoteRunning());
    EXPECT_FALSE(KeynoteInstallHelper::conflictingKeynoteVersionsRunning());

    run(std::nullopt);
    run("/gone.app");
    run(install({"6.2", {}}), "com.apple.iWork.Keynote2");
    run(install({"5.3", "7"}));
    run(install({"7.1", {}}));
    EXPECT_EQ(KeynoteInstallHelper::fetchRunningKeynoteBundles().size(), 2U);
    EXPECT_FALSE(KeynoteInstallHelper::isUnsupportedKeynoteRunning());
    EXPECT_FALSE(KeynoteInstallHelper::isDisabledKeynoteRunning()) << "the new plug-in is not looked for";
    EXPECT_FALSE(KeynoteInstallHelper::conflictingKeynoteVersionsRunning());

    run(install({"14.2", {}}));
    run(install({"7.1", {}}));
    EXPECT_EQ(KeynoteInstallHelper::conflictingKeynoteVersionsRunning(), (Texts{"7.1", "14.2", "7.1"}));

    run(install({"no version", {}}));
    EXPECT_FALSE(KeynoteInstallHelper::isUnsupportedKeynoteRunning()) << "counts as below 6.0";
    EXPECT_TRUE(KeynoteInstallHelper::isDisabledKeynoteRunning());
    run(install({"6.4.9", {}}));
    EXPECT_TRUE(KeynoteInstallHelper::isUnsupportedKeynoteRunning());
}

TEST_F(KeynoteInstall, PluginMustBeOfExactlyTheCarriedBuild) {
    const std::tuple<Text, Text, bool> cases[] = {{"7", "7", true}, {"7", "8", false}, {"7", "7.0", false},
                                                  {"7", {}, false}, {{}, "7", false},  {{}, {}, false}};
    for (const auto& [carried, installed, current] : cases) {
        carry(carried);
        const auto keynote = platform.bundles.bundleAtPath(install({"5.3", installed}));
        EXPECT_EQ(KeynoteInstallHelper::isKeynotePluginInstalledToBundle(*keynote), current)
            << carried.value_or("nil") << " and " << installed.value_or("nil");
    }
    const std::string first = "/Applications/Keynote 1.app";
    EXPECT_EQ(message(0), "keynoteBundlePath (" + first + ")");
    EXPECT_EQ(message(1), "veldrinPluginBundlePath (" + first + "/Contents/Resources/Animations/" + kPlugin + ")");
    EXPECT_EQ(message(2), "oldPluginVersion (7), newPluginVersion (7)");
    EXPECT_EQ(message(10), "veldrinPluginBundlePath ((null))");
    EXPECT_EQ(message(17), "oldPluginVersion ((null)), newPluginVersion ((null))");
}

/// All statuses in one test, because the shared instance stays with the platform that it began with.
TEST_F(KeynoteInstall, Status) {
    const std::pair<std::vector<Installed>, Status> cases[] = {
        {{}, {false, false, false, {}}},
        {{{{}, "7"}}, {false, false, false, {}}},
        {{{"5.3", "7"}, {"6.2", {}}, {"7.1", {}}}, {true, true, false, "7.1"}},
        {{{"5.3", "8"}, {"6.4.9", {}}}, {false, true, true, {}}},
        {{{"14.2", {}}, {"9.9", {}}, {"14.2.0", {}}, {"5.0", {}}}, {true, false, true, "14.2"}},
        {{{"", "7"}, {"x.y", {}}}, {true, false, true, ""}},
    };
    for (const auto& [installed, expected] : cases) {
        auto& results = platform.metadataQueries.results[kQuery];
        results.clear();
        for (const auto& program : installed) results.emplace_back(install(program));
        std::vector<Status> answers;
        KeynoteInstallHelper::checkForKeynoteStatus(
            [&](bool found, bool unsupported, bool pluginMissing, const Text& highest) {
                answers.emplace_back(found, unsupported, pluginMissing, highest);
            },
            [](const ErrorPtr& error) { ADD_FAILURE() << error->localizedDescription(); });
        EXPECT_TRUE(answers.empty());
        platform.dispatch.runFor(1s);
        EXPECT_EQ(answers, std::vector{expected}) << installed.size();
    }
    EXPECT_EQ(message(0), "version keynote (null)");
    EXPECT_EQ(message(1), "version keynote 5.3");

    KeynoteInstallHelper::checkForKeynoteStatus({}, {});
    platform.dispatch.runFor(1s);
    platform.metadataQueries.failsToStart = true;
    KeynoteInstallHelper::checkForKeynoteStatus({}, {});
    Texts failures;
    KeynoteInstallHelper::checkForKeynoteStatus(
        [&](auto...) { failures.emplace_back("success"); },
        [&](const ErrorPtr& error) {
            failures.push_back(error->domain() + std::to_string(error->code()) + error->localizedDescription());
        });
    EXPECT_EQ(failures, Texts{"Veldrin99Cannot detect Keynote installation"}) << "at once";
}

TEST_F(KeynoteInstall, SurveyIsReplacedByTheNextOne) {
    const auto good = install({"7.1", {}});
    platform.metadataQueries.results[kQuery] = {std::nullopt, good, "/gone.app", good};
    Texts events;
    const auto noting = [&](const std::string& name) {
        return [&events, name](const KeynoteInstallHelper::KeynoteBundles& bundles) {
            events.push_back(name + " " + std::to_string(bundles.size()));
        };
    };
    const auto failing = [&](const ErrorPtr& error) {
        events.push_back(error->domain() + std::to_string(error->code()) + error->localizedDescription());
    };

    KeynoteInstallHelper helper;
    helper.fetchKeynoteBundles(noting("late"), failing);
    const auto foreign = platform.metadataQueries.makeQuery(kQuery);
    ASSERT_TRUE(foreign->start());
    const auto replaced = helper.keynoteQuery();
    platform.dispatch.runFor(500ms);
    helper.fetchKeynoteBundles(noting("second"), failing);
    platform.dispatch.runFor(500ms);
    EXPECT_EQ(replaced->resultCount(), 4U) << "it has finished";
    EXPECT_EQ(foreign->resultCount(), 4U);
    EXPECT_EQ(events, Texts{});
    platform.dispatch.runFor(500ms);
    EXPECT_EQ(events, Texts{"second 2"});
    EXPECT_FALSE(helper.keynoteQuery());
    EXPECT_FALSE(helper.bundleCallback());

    events.clear();
    platform.metadataQueries.failsToStart = true;
    helper.fetchKeynoteBundles(noting("never"), failing);
    EXPECT_EQ(events, Texts{"Veldrin99Cannot detect Keynote installation"});
    EXPECT_TRUE(helper.keynoteQuery()) << "nothing is undone";
    EXPECT_TRUE(helper.bundleCallback());

    events.clear();
    platform.metadataQueries.failsToStart = false;
    helper.fetchKeynoteBundles(
        [&](const auto&) {
            events.emplace_back("first");
            helper.fetchKeynoteBundles(noting("from within"), failing);
        },
        failing);
    platform.dispatch.runFor(10s);
    EXPECT_EQ(events, (Texts{"first", "from within 2"}));
}

}  // namespace
