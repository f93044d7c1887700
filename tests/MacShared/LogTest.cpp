#include "MacShared/LogRun.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "MacShared/NSFileManager+VELAdditions.h"
#include "platform/simulated/SimulatedPlatform.h"

#include <gtest/gtest.h>
#include <chrono>

namespace {

constexpr const char* kFile = "/home/lecturer/.local/share/KeynoteCaptureService/Veldrin.log";

class Log : public testing::Test {
protected:
    Log() { shared::beginNewLogRun(); }
    simulated::SimulatedPlatform platform;
};

TEST_F(Log, MessageGoesToBothPlaces) {
    VELLog("keynoteBundlePath (%@)", "/Applications/Keynote.app");
    platform.dispatch.stall(std::chrono::milliseconds(123));
    VELLog("two\nlines");
    EXPECT_EQ(platform.files.contents(kFile),
              "2024-03-05 13:07:09.000+0000 keynoteBundlePath (/Applications/Keynote.app)\n"
              "2024-03-05 13:07:09.123+0000 two\nlines\n");
    EXPECT_EQ(platform.files.writes(), 2U) << "one a line, so that those of other threads fall between lines";
    ASSERT_EQ(platform.unifiedLog.entries.size(), 2U);
    EXPECT_EQ(platform.unifiedLog.entries[0].subsystem, "com.veldrin.KeynoteCaptureService");
    EXPECT_EQ(platform.unifiedLog.entries[0].category, "");
    EXPECT_EQ(platform.unifiedLog.entries[0].message, "keynoteBundlePath (/Applications/Keynote.app)");
}

TEST_F(Log, YearIsTheOneOfTheWeek) {
    using namespace std::chrono;
    platform.dispatch.stall(sys_days(2024y / December / 31) - platform.dispatch.now());
    VELLog("a");
    EXPECT_EQ(platform.files.contents(kFile), "2025-12-31 00:00:00.000+0000 a\n");
}

TEST_F(Log, FirstMessageOfARunEmptiesTheFile) {
    ASSERT_EQ(platform.files.createDirectory(std::filesystem::path(kFile).parent_path()), nullptr);
    ASSERT_EQ(platform.files.createFile(kFile, "what an earlier and much longer run has left behind\n"), nullptr);
    EXPECT_TRUE(logFileURL());
    EXPECT_EQ(platform.files.sizeOf(kFile), 52U) << "looking alone changes nothing";
    VELLog("a");
    EXPECT_EQ(platform.files.contents(kFile), "2024-03-05 13:07:09.000+0000 a\n");
}

TEST_F(Log, FolderIsNamedAfterTheExecutable) {
    platform.bundles.setMainBundle({{"CFBundleExecutable", "Veldrin"}});
    VELLog("a");
    EXPECT_TRUE(platform.files.contents("/home/lecturer/.local/share/Veldrin Recorder/Veldrin.log"));
    EXPECT_EQ(platform.unifiedLog.entries.at(0).subsystem, "") << "no identifier, no subsystem";
    platform.bundles.setMainBundle({});
    EXPECT_EQ(logFileURL(), "/home/lecturer/.local/share/Veldrin.log");
}

TEST_F(Log, EachBundleKeepsItsPlaceInTheUnifiedLog) {
    const auto main = defaultLog();
    EXPECT_EQ(main->subsystem, "com.veldrin.KeynoteCaptureService");
    EXPECT_EQ(defaultLog(platform.bundles.mainBundle()), main);
    platform.bundles.setMainBundle({{"CFBundleIdentifier", "another"}});
    EXPECT_EQ(defaultLog()->subsystem, "another");
    EXPECT_EQ(main.use_count(), 1) << "goes with its bundle";
}

TEST_F(Log, WithoutAFileTheUnifiedLogStillHears) {
    platform.files.readOnly = {"/"};
    for (int i = 0; i < 3; ++i) VELLog("message %d", i);
    EXPECT_EQ(platform.unifiedLog.entries.size(), 3U);
    ASSERT_EQ(platform.consoleLog.messages.size(), 2U) << "said at the first call only";
    EXPECT_TRUE(platform.consoleLog.messages[0].starts_with(
        "Unable to find or create application support directory:\nError Domain=NSPOSIXErrorDomain Code=13"));
    EXPECT_EQ(platform.consoleLog.messages[1], "Unable to create log file at: (null)");
}

TEST_F(Log, ConsoleTellsWhatIsMissing) {
    platform.files.unopenable = {kFile};
    VELLog("a");
    ASSERT_EQ(platform.consoleLog.messages.size(), 1U);
    EXPECT_TRUE(platform.consoleLog.messages[0].starts_with(std::string("Unable to open log file at: ") + kFile +
                                                            ", error: Error Domain=NSPOSIXErrorDomain Code=13"));
    platform.directories.applicationSupport = std::nullopt;
    EXPECT_FALSE(applicationSupportDirectory());
    EXPECT_EQ(platform.consoleLog.messages.at(1), "Unable to find or create application support directory:\n(null)");
}

TEST_F(Log, DisabledUnifiedLogGetsNothing) {
    platform.unifiedLog.enabled = false;
    VELLog("a");
    EXPECT_TRUE(platform.unifiedLog.entries.empty());
    EXPECT_TRUE(platform.files.contents(kFile));
}

TEST_F(Log, FindOrCreateDirectoryIgnoresKindAndDomain) {
    ErrorPtr error = makeError("Stale", 1);
    const auto first =
        findOrCreateDirectory(platform.files, SearchPathDirectory::caches, SearchPathDomain::system, "Logs", &error);
    EXPECT_EQ(first, "/home/lecturer/.local/share/Logs");
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(
        findOrCreateDirectory(platform.files, SearchPathDirectory::documents, SearchPathDomain::local, "Logs", nullptr),
        first);
    const std::pair<const char*, const char*> below[] = {{"/a/b/", "/a/b"},   {"..", ""}, {"../../a", "/a"},
                                                         {"a/../../b", "/b"}, {"", ""},   {"a..b", "/a..b"}};
    for (const auto& [component, end] : below) {
        const auto directory = findOrCreateDirectory(platform.files, SearchPathDirectory::applicationSupport,
                                                     SearchPathDomain::user, component, nullptr);
        ASSERT_TRUE(directory);
        EXPECT_EQ(directory->native(), platform.directories.applicationSupport->native() + end) << component;
    }
    platform.directories.applicationSupport = std::nullopt;
    error = makeError("Stale", 1);
    EXPECT_FALSE(findOrCreateDirectory(platform.files, SearchPathDirectory::applicationSupport, SearchPathDomain::user,
                                       std::nullopt, &error));
    EXPECT_EQ(error, nullptr) << "no such place is no error";
}

}  // namespace
