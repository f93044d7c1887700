#pragma once

#include "platform/linux/search/LocalFileSystems.h"
#include "runtime/FileDescriptor.h"

#include <sys/types.h>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

struct dirent64;

namespace search {

/// How far a walk has come. Read on any thread.
struct WalkProgress {
    std::atomic<std::uint64_t> directories = 0;  ///< entered
    std::atomic<std::uint64_t> found = 0;
};

/// A walk for the application bundles of an identifier: directories `*.app` whose `Contents/Info.plist` carries it as
/// `CFBundleIdentifier`.
///
/// It goes depth first, follows no symbolic link, stays in the mount of each root and does not enter bundles. What it
/// cannot read it skips. It holds at most `kOpenLevels` directories open and some kilobytes for each; beyond that it
/// needs memory for what it finds only. What lies deeper than a path can tell is out of its reach.
class BundleWalk {
public:
    BundleWalk(WalkPlan plan, std::string bundleIdentifier, WalkProgress& progress);

    /// Walks on the calling thread, to the end or until told to stop. Answers the bundles found, ordered by path. Once.
    [[nodiscard]] std::set<std::filesystem::path> run(const std::stop_token& stop);

private:
    static constexpr std::size_t kOpenLevels = 64;

    /// A directory on the way from the root to where the walk is.
    struct Level {
        std::size_t pathLength = 0;
        off64_t resume = 0;  ///< behind the entry read last
        dev_t device = 0;    ///< with the inode, set when its reader is taken away
        ino_t inode = 0;
    };
    /// An open directory and a part of its entries. Deep levels take the readers of those far above them, which open
    /// their directories again when the walk comes back.
    struct Reader {
        std::size_t level = 0;
        runtime::FileDescriptor directory;
        std::unique_ptr<char[]> buffer;
        std::size_t next = 0;
        std::size_t end = 0;
    };

    void walkRoot(const std::filesystem::path& root, const std::stop_token& stop);
    void arrive(runtime::FileDescriptor directory);
    [[nodiscard]] bool isBundle(int directory);
    [[nodiscard]] const dirent64* nextEntry();
    [[nodiscard]] bool isDirectory(const dirent64& entry);
    void enter(const char* name);
    void leave();
    void openAgain();
    [[nodiscard]] Reader& readerOf(std::size_t level) { return readers_[level % kOpenLevels]; }
    [[nodiscard]] Reader& reader() { return readerOf(levels_.size() - 1); }

    const WalkPlan plan_;
    const std::string bundleIdentifier_;
    WalkProgress& progress_;
    std::string path_;  ///< where the walk is; empty for "/"
    std::vector<Level> levels_;
    std::array<Reader, kOpenLevels> readers_;
    std::set<std::filesystem::path> found_;
};

}  // namespace search
