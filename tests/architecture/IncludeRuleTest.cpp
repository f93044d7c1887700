#include <gtest/gtest.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// Which folders of ours the files of a folder may include, besides its own. The longest matching folder counts.
const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"base", {}},
    {"ports", {"base"}},
    {"KeynoteCaptureService", {"recorder-shared", "MacShared", "ports", "base"}},
    {"recorder-shared", {"MacShared", "ports", "base"}},
    {"MacShared", {"ports", "base"}},
    {"runtime", {"ports", "base"}},
    {"bus", {"runtime", "ports", "base"}},
    {"platform/linux", {"bus", "runtime", "ports", "base"}},
    {"platform/simulated", {"presenters/model", "ports", "base"}},
    {"presenters/model", {"ports", "base"}},
    {"presenters/simulator", {"commandline", "presenters/model", "bus", "runtime", "ports", "base"}},
    {"presenters/impress", {"commandline", "presenters/model", "bus", "runtime", "ports", "base"}},
    {"commandline", {"runtime", "base"}},
    {"host", {"bus", "runtime", "ports", "base"}},
    {"simulation",
     {"host", "KeynoteCaptureService", "recorder-shared", "MacShared", "platform/simulated", "presenters/model",
      "ports", "base"}},
    {"tools", {"commandline", "runtime", "host", "recorder-shared", "MacShared", "ports", "base"}},
};

/// The wiring: the files of a program that know the platform.
const std::set<fs::path> kWiring = {"KeynoteCaptureService/CommandLine.cpp",
                                    "KeynoteCaptureService/main.cpp",
                                    "tools/keynote-capture/KeynotesCommand.cpp",
                                    "tools/keynote-capture/OpenDeck.cpp",
                                    "tools/keynote-capture/lecture/LectureFiles.cpp",
                                    "tools/keynote-capture/office/SetupCommand.cpp",
                                    "tools/keynote-capture/status/BusFacts.cpp",
                                    "tools/manual/main.cpp",
                                    "tools/soap-call/soap-call.cpp"};

/// What the product gets from the ports instead: time, threads, descriptors, systems and buses.
const std::regex kForbiddenInProduct(
    R"(<(sdbus-c\+\+|systemd|boost/asio|xcb|unistd\.h|fcntl\.h|thread|dlfcn\.h|sys/(?!types\.h))|_clock::now|sleep_(for|until)|)"
    R"(#\s*if.*(__linux__|__APPLE__|_WIN32))");
/// What `bus` alone knows: its library, and the glue that is generated for it.
const std::regex kForbiddenOutsideOfBus(R"([sS]dbus|KCS_SDBUS|<bus/|"bus/\w*(Proxy|Adaptor)\.h")");
const std::set<std::string> kProduct = {"KeynoteCaptureService", "recorder-shared", "MacShared", "MacShared/SOAP"};

std::string folderOf(const fs::path& file) {
    return file.parent_path().generic_string();
}

std::vector<fs::path> sources(const std::string& folder) {
    std::vector<fs::path> files;
    const fs::path root = KCS_SOURCE_DIR;
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
        const auto extension = entry.path().extension();
        if (extension == ".h" || extension == ".cpp") files.push_back(entry.path().lexically_relative(root));
    }
    return files;
}

std::vector<std::string> linesOf(const fs::path& file) {
    std::ifstream in(fs::path(KCS_SOURCE_DIR) / file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

bool isBelow(const std::string& folder, const std::string& parent) {
    return folder == parent || folder.starts_with(parent + "/");
}

bool isOurs(const std::string& folder) {
    return !folder.empty() && fs::exists(fs::path(KCS_SOURCE_DIR) / folder.substr(0, folder.find('/')));
}

TEST(Architecture, FoldersIncludeOnlyWhatTheyMay) {
    const std::regex include(R"re(^\s*#\s*include\s*["<]([^">]+)[">])re");
    std::size_t seen = 0;
    for (const auto& [folder, allowed] : kMayInclude) {
        for (const fs::path& file : sources(folder)) {
            if (kWiring.contains(file)) continue;
            for (const std::string& line : linesOf(file)) {
                std::smatch match;
                if (!std::regex_search(line, match, include)) continue;
                const std::string included = folderOf(match[1].str());
                if (!isOurs(included)) continue;
                ++seen;
                bool fine = isBelow(included, folder);
                for (const std::string& other : allowed) fine = fine || isBelow(included, other);
                EXPECT_TRUE(fine) << file << " must not include " << match[1];
            }
        }
    }
    EXPECT_GT(seen, 100U) << "the test looks at the wrong place";
}

void expectNowhere(const std::string& folder, const std::regex& forbidden, const std::set<fs::path>& except) {
    for (const fs::path& file : sources(folder)) {
        if (except.contains(file)) continue;
        for (const std::string& line : linesOf(file)) {
            EXPECT_FALSE(std::regex_search(line, forbidden)) << file << ": " << line;
        }
    }
}

TEST(Architecture, ProductTouchesThePlatformThroughPortsOnly) {
    for (const std::string& folder : kProduct) expectNowhere(folder, kForbiddenInProduct, kWiring);
}

TEST(Architecture, OnlyTheBusFolderKnowsTheBusLibrary) {
    for (const auto& [folder, allowed] : kMayInclude) {
        if (folder != "bus") expectNowhere(folder, kForbiddenOutsideOfBus, {});
    }
    expectNowhere("bus", std::regex("KCS_SDBUS_VERSION"), {"bus/Sdbus.h"});
}

/// As many as can be seen at once.
TEST(Architecture, FoldersHaveAtMostFortyFiles) {
    std::map<fs::path, int> files;
    for (const auto& [folder, allowed] : kMayInclude) {
        for (const auto& entry : fs::recursive_directory_iterator(fs::path(KCS_SOURCE_DIR) / folder)) {
            if (entry.is_regular_file()) ++files[entry.path().parent_path()];
        }
    }
    for (const auto& [folder, count] : files) EXPECT_LE(count, 40) << folder << ": move what belongs together";
}

}  // namespace
