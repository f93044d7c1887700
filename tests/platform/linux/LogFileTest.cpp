#include "MacShared/LogRun.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "platform/linux/files/LinuxDirectories.h"
#include "platform/linux/files/LinuxFileManager.h"
#include "platform/linux/text/IcuTextServices.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "tests/support/Replaced.h"
#include "tests/support/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <map>
#include <thread>

namespace {

/// The log with real files and dates, in a process that is told the time.
TEST(LogFile, LinesOfSeveralThreadsStayWholeAndBearTheYearOfTheirWeek) {
    const TemporaryDirectory data;
    ::setenv("XDG_DATA_HOME", data.path.c_str(), 1);
    ::setenv("LC_ALL", "C", 1);
    ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    ::tzset();
    simulated::SimulatedPlatform rest;
    files::LinuxFileManager files;
    text::IcuTextServices text;
    files::LinuxDirectories directories;
    const Platform services = replaced(platform(), files, directories, text);
    installPlatform(&services);
    shared::beginNewLogRun();
    rest.unifiedLog.enabled = false;
    using namespace std::chrono;
    rest.dispatch.stall(sys_days(2024y / December / 31) - 1h - rest.dispatch.now());

    constexpr int kLines = 2000;
    const auto work = [](const char* name) {
        for (int i = 0; i < kLines; ++i) VELLog("%s %d", name, i);
    };
    std::thread other(work, "A");
    work("B");
    other.join();

    std::map<char, int> next;
    std::ifstream file(*logFileURL());
    for (std::string line; std::getline(file, line);) {
        const char thread = line.at(29);
        ASSERT_EQ(line, fmt::format("2025-12-31 00:00:00.000+0100 {} {}", thread, next[thread]++));
    }
    EXPECT_EQ(next, (std::map<char, int>{{'A', kLines}, {'B', kLines}}));
    shared::beginNewLogRun();
    ::unsetenv("XDG_DATA_HOME");
}

}  // namespace
