#include "platform/linux/search/BundleWalk.h"

#include "platform/linux/files/OpenEntry.h"
#include "platform/linux/files/PropertyList.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <climits>
#include <cstring>
#include <string_view>
#include <utility>

namespace search {

namespace {

constexpr std::size_t kBufferSize = 64 << 10;
constexpr int kDirectory = O_RDONLY | O_DIRECTORY;
constexpr const char* kIdentifierKey = "CFBundleIdentifier";

bool isSelfOrParent(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

BundleWalk::BundleWalk(WalkPlan plan, std::string bundleIdentifier, WalkProgress& progress)
    : plan_(std::move(plan)), bundleIdentifier_(std::move(bundleIdentifier)), progress_(progress) {}

std::set<std::filesystem::path> BundleWalk::run(const std::stop_token& stop) {
    for (const auto& root : plan_.roots) walkRoot(root, stop);
    return std::move(found_);
}

void BundleWalk::walkRoot(const std::filesystem::path& root, const std::stop_token& stop) {
    runtime::FileDescriptor directory(::open(root.c_str(), kDirectory | O_NOFOLLOW | O_CLOEXEC));
    if (!directory) return;
    // Names are appended with a slash before them.
    path_ = root == "/" ? "" : root.native();
    arrive(std::move(directory));
    while (!levels_.empty() && !stop.stop_requested()) {
        const auto* entry = nextEntry();
        if (entry == nullptr) {
            leave();
        } else if (isDirectory(*entry)) {
            enter(entry->d_name);
        }
    }
    levels_.clear();
}

/// Takes up the directory at `path_`, unless it is a bundle.
void BundleWalk::arrive(runtime::FileDescriptor directory) {
    progress_.directories.fetch_add(1, std::memory_order_relaxed);
    if (path_.ends_with(".app") && isBundle(directory.get())) return;
    auto& reader = readerOf(levels_.size());
    // The reader is taken from a level further up, which remembers what its directory was.
    if (levels_.size() >= kOpenLevels && reader.level == levels_.size() - kOpenLevels) {
        struct stat status {};
        ::fstat(reader.directory.get(), &status);
        auto& above = levels_[reader.level];
        above.device = status.st_dev;
        above.inode = status.st_ino;
    }
    if (!reader.buffer) reader.buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    reader.level = levels_.size();
    reader.directory = std::move(directory);
    reader.next = reader.end = 0;
    levels_.push_back({.pathLength = path_.size()});
}

/// Notes a bundle that is looked for. One without an information dictionary is a mere directory.
bool BundleWalk::isBundle(int directory) {
    const auto contents = files::openEntry(directory, "Contents", O_PATH | O_DIRECTORY);
    if (!contents) return false;
    const auto info = files::readPropertyScalarsIn(contents.get(), "Info.plist");
    if (!info) return false;
    // A set: bind mounts and overlays may show a bundle twice.
    if (files::stringIn(*info, kIdentifierKey) == bundleIdentifier_ && found_.insert(path_).second) ++progress_.found;
    return true;
}

/// The next entry of the directory where the walk is; null at its end and when it cannot be read on.
const dirent64* BundleWalk::nextEntry() {
    auto& from = reader();
    if (from.next == from.end) {
        const auto size = ::getdents64(from.directory.get(), from.buffer.get(), kBufferSize);
        if (size <= 0) return nullptr;
        from.next = 0;
        from.end = static_cast<std::size_t>(size);
    }
    const auto* entry = reinterpret_cast<const dirent64*>(from.buffer.get() + from.next);
    from.next += entry->d_reclen;
    // For the case that the reader is taken away.
    levels_.back().resume = entry->d_off;
    return entry;
}

bool BundleWalk::isDirectory(const dirent64& entry) {
    if (entry.d_type == DT_DIR) return !isSelfOrParent(entry.d_name);
    // Some file systems do not tell kinds with names; only then is each entry looked at.
    if (entry.d_type != DT_UNKNOWN || isSelfOrParent(entry.d_name)) return false;
    struct stat status {};
    return ::fstatat(reader().directory.get(), entry.d_name, &status, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) == 0 &&
           S_ISDIR(status.st_mode);
}

void BundleWalk::enter(const char* name) {
    path_.resize(levels_.back().pathLength);
    (path_ += '/') += name;
    // A longer path could not be handed to anybody.
    if (path_.size() >= PATH_MAX || (!plan_.leftOut.empty() && plan_.leftOut.contains(path_))) return;
    auto directory = files::openEntry(reader().directory.get(), name, kDirectory);
    if (directory) arrive(std::move(directory));
}

void BundleWalk::leave() {
    reader().directory = runtime::FileDescriptor();
    levels_.pop_back();
    if (!levels_.empty() && reader().level != levels_.size() - 1) openAgain();
}

/// Goes on with a directory whose reader was taken away. When another one stands at its path meanwhile, it counts as
/// read to the end.
void BundleWalk::openAgain() {
    const auto& level = levels_.back();
    const auto path = level.pathLength == 0 ? "/" : path_.substr(0, level.pathLength);
    runtime::FileDescriptor directory(::open(path.c_str(), kDirectory | O_CLOEXEC));
    struct stat status {};
    const bool same = directory && ::fstat(directory.get(), &status) == 0 && status.st_dev == level.device &&
                      status.st_ino == level.inode && ::lseek64(directory.get(), level.resume, SEEK_SET) >= 0;
    auto& to = reader();
    to.level = levels_.size() - 1;
    to.next = to.end = 0;
    to.directory = same ? std::move(directory) : runtime::FileDescriptor();
}

}  // namespace search
