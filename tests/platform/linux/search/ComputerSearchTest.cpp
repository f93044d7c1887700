#include "platform/linux/search/ComputerSearch.h"
#include "platform/simulated/SimulatedServices.h"
#include "runtime/LoopDispatch.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <iostream>

namespace {

namespace fs = std::filesystem;
using Paths = std::set<fs::path>;

constexpr const char* kQuery = "kMDItemCFBundleIdentifier == \"com.example.Program\"";

std::string plistWith(const std::string& content) {
    return "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>com.example.Program</string>" + content +
           "</dict></plist>";
}

void makeBundle(const fs::path& path, const std::string& content = {}) {
    writeFile(path / "Contents/Info.plist", plistWith(content));
}

std::string repeated(const std::string& text, int times) {
    std::string result;
    while (times-- > 0) result += text;
    return result;
}

Paths bundlesBelow(const fs::path& root, const std::stop_token& stop = {}) {
    search::WalkProgress progress;
    return search::BundleWalk(search::planWalkBelow({root}), "com.example.Program", progress).run(stop);
}

TEST(ComputerSearch, FindsTheBundlesThatCarryTheIdentifierWhateverLiesBesideThem) {
    const TemporaryDirectory root;
    Paths expected;
    const auto deep = repeated("level/", 200);
    for (const auto& name : std::vector<std::string>{"A.app", "New\nline.app", "\xFFname.app", "no.app/Inner.app",
                                                     deep + "Deep.app", deep + "zzz/Beside.app", "level/After.app"}) {
        makeBundle(root.path / name);
        expected.insert(root.path / name);
    }
    makeBundle(root.path / "Number.app", "<key>CFBundleShortVersionString</key><integer>7</integer>");
    expected.insert(root.path / "Number.app");
    const auto info = [&](const char* name) {
        fs::create_directories(root.path / name / "Contents");
        return root.path / name / "Contents/Info.plist";
    };
    std::string utf16 = "\xFF\xFE";
    for (const char letter : plistWith("")) (utf16 += letter) += '\0';
    writeFile(info("Utf16.app"), utf16);
    makeBundle(root.path / "Entities.app", "<key>K</key><string>" + repeated("&amp;", 200'000) + "</string>");
    expected.insert({root.path / "Utf16.app", root.path / "Entities.app"});
    fs::create_directory_symlink(root.path, root.path / "around");
    EXPECT_EQ(bundlesBelow(root.path), expected);
    EXPECT_EQ(bundlesBelow(root.path / "around/A.app"), Paths{root.path / "A.app"});
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(bundlesBelow(root.path, stop.get_token()), Paths{});

    makeBundle(root.path / "A.app/Contents/Inside.app");
    fs::create_directory_symlink("A.app", root.path / "Link.app");
    fs::create_directories(root.path / "LinkedContents.app");
    fs::create_directory_symlink("../A.app/Contents", root.path / "LinkedContents.app/Contents");
    writeFile(root.path / "File.app", "");
    fs::create_directories(root.path / "Directory.app/Contents/Info.plist");
    ASSERT_EQ(::mkfifo(info("Pipe.app").c_str(), 0600), 0);
    for (const char* target : {"/dev/zero", "Info.plist", "../../A.app/Contents/Info.plist"}) {
        const auto name = "Link" + std::to_string(std::string(target).size()) + ".app";
        fs::create_symlink(target, info(name.c_str()));
    }
    writeFile(info("Huge.app"), plistWith(""));
    fs::resize_file(info("Huge.app"), 1 << 30);
    const auto utf8 = plistWith("");
    writeFile(info("Cut.app"), utf8.substr(0, utf8.size() / 2));
    writeFile(info("Nested.app"), plistWith(repeated("<key>K</key><dict>", 50'000)));
    writeFile(info("Other.app"), repeated(utf8, 1).replace(utf8.find("Program"), 7, "Another"));
    EXPECT_EQ(bundlesBelow(root.path), expected);
}

/// Runs in a process of its own, which mounts: answers 0 when each bundle is found once.
[[noreturn]] void walkMounts(const fs::path& root) {
    enterPrivateMounts();
    for (const char* name : {"again", "memory", "pseudo"}) fs::create_directories(root / name);
    makeBundle(root / "tree/A.app");
    mountTmpfs(root / "memory", "1m");
    makeBundle(root / "memory/B.app");
    const bool mounted = ::mount((root / "tree").c_str(), (root / "again").c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                         ::mount("/proc", (root / "pseudo").c_str(), nullptr, MS_BIND, nullptr) == 0;
    const auto found = bundlesBelow(root);
    for (const auto& path : found) std::cerr << path << '\n';
    std::_Exit(mounted && found == Paths{root / "tree/A.app", root / "memory/B.app"} ? 0 : 1);
}

TEST(ComputerSearch, SeesEachDirectoryOnceAndNoPseudoFileSystem) {
    const TemporaryDirectory root;
    EXPECT_EXIT(walkMounts(fs::canonical(root.path)), testing::ExitedWithCode(0), "");
}

TEST(ComputerSearch, WalksLocalFileSystemsFromWhereTheyAreSeen) {
    struct Case {
        std::string name;
        std::string mounts;
        std::vector<fs::path> roots;
        std::set<std::string, std::less<>> leftOut;
    };
    const std::string disk = "1 0 8:1 / / rw shared:1 - ext4 /dev/sda1 rw\n";
    for (const Case& each : std::vector<Case>{
             {"kinds",
              disk + "2 1 0:2 / /proc rw - proc proc rw\n3 1 0:3 / /net rw - nfs4 h:/ rw\n"
                     "4 1 0:4 / /far rw - fuse.sshfs h: rw\n5 1 8:2 / /my\\040disk rw - fuseblk /dev/sdb1 rw\n"
                     "6 1 0:6 / /tmp rw - tmpfs tmpfs rw\nnonsense\n",
              {"/", "/my disk", "/tmp"},
              {}},
             {"bind mounts", disk + "2 1 8:1 /srv /export rw - ext4 d rw\n3 1 8:1 / /all rw - ext4 d rw\n", {"/"}, {}},
             {"a bind mount of what is covered at its place",
              disk + "2 1 8:2 / /home rw - ext4 d rw\n3 1 8:1 /home/old /old rw - ext4 d rw\n",
              {"/", "/home", "/old"},
              {}},
             {"a directory mounted upon itself", disk + "2 1 8:1 /usr /usr ro - ext4 d rw\n", {"/", "/usr"}, {}},
             {"covered mounts",
              disk + "2 1 8:2 / /mnt/a rw - ext4 d rw\n3 1 0:3 / /mnt rw - nfs h:/ rw\n4 1 8:4 / /x rw - ext4 d rw\n"
                     "5 4 0:5 / /x rw - proc proc rw\n",
              {"/"},
              {}},
             {"subvolumes",
              "1 0 0:9 /@ / rw - btrfs d rw\n2 1 0:9 /@home /home rw - btrfs d rw\n3 1 0:9 / /top rw - btrfs d rw\n",
              {"/", "/home", "/top"},
              {"/top/@", "/top/@home"}},
             {"a live system",
              "1 0 0:9 / / rw - overlay overlay rw,lowerdir=/live/image:/,upperdir=/live/rw/up,workdir=/live/rw/w\n"
              "2 1 7:0 / /live/image ro - squashfs /dev/loop0 ro\n3 1 0:3 / /live/rw rw - tmpfs tmpfs rw\n",
              {"/", "/live/rw"},
              {"/live/image", "/live/rw/up", "/live/rw/w"}}}) {
        const auto plan = search::planWalk(each.mounts, "nodev\tproc\n\text4\n\tfuseblk\n\tbtrfs\n\tsquashfs\n");
        EXPECT_EQ(plan.roots, each.roots) << each.name;
        EXPECT_EQ(plan.leftOut, each.leftOut) << each.name;
    }
}

TEST(ComputerSearch, TellsTheEndOfAQueryOnTheMainQueue) {
    const TemporaryDirectory root;
    makeBundle(root.path / "B.app");
    makeBundle(root.path / "A.app");
    simulated::SimulatedConsoleLog console;
    runtime::LoopDispatch dispatch(console);
    search::ComputerSearch search(dispatch.mainQueue(), {root.path});
    search::ComputerSearch elsewhere(dispatch.mainQueue(), {root.path / "gone"});

    for (const char* text : {"", "kMDItemCFBundleIdentifier == \"\"", "kMDItemCFBundleIdentifier == \"com.*\"",
                             "kMDItemFSName == \"A\"", "kMDItemCFBundleIdentifier == \"a\" || b == \"c\""}) {
        EXPECT_FALSE(search.makeQuery(text)->start()) << text;
    }
    EXPECT_FALSE(elsewhere.makeQuery(kQuery)->start()) << "there is nothing to search";

    const auto query = search.makeQuery(kQuery);
    auto dropped = search.makeQuery(kQuery);
    std::vector<const MetadataQuery*> finished;
    const auto observer = search.observeDidFinish([&](const MetadataQuery& sender) {
        finished.push_back(&sender);
        EXPECT_EQ(sender.resultCount(), 2U);
        EXPECT_EQ(sender.pathAt(0), root.path / "A.app");
        dispatch.stop(0);
    });
    search.observeDidFinish([](const MetadataQuery&) { ADD_FAILURE() << "its handle is dropped"; }).reset();
    dispatch.mainQueue().async([&] {
        EXPECT_TRUE(dropped->start());
        dropped.reset();
        EXPECT_TRUE(query->start());
    });
    EXPECT_EQ(dispatch.run(), 0);
    EXPECT_EQ(finished, std::vector<const MetadataQuery*>{query.get()});
}

}  // namespace
