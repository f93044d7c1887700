#include "platform/linux/files/MoveAcrossFileSystems.h"

#include "runtime/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace files {

namespace {

using std::filesystem::path;

/// How long ago a file must have changed to count as finished where the file system does not tell about writers.
constexpr time_t kRestSeconds = 3;

/// A read lease is granted only while no process has the file open for writing, and holds up those who would open it.
bool takeLease(int descriptor) {
    // By default a writer who arrives later would end this process with SIGIO; SIGURG is ignored unless asked for.
    return ::fcntl(descriptor, F_SETSIG, SIGURG) == 0 && ::fcntl(descriptor, F_SETLEASE, F_RDLCK) == 0;
}

/// A new hidden file beside another one; removed again unless it is published.
class HiddenFile {
public:
    explicit HiddenFile(const path& neighbour)
        : name_((neighbour.parent_path() / ".keynote-capture-XXXXXX").string()),
          file_(::mkostemp(name_.data(), O_CLOEXEC)),
          isHidden_(file_) {}
    ~HiddenFile() {
        file_ = runtime::FileDescriptor();  // a network file system would keep what is removed while it is open
        if (isHidden_) ::unlink(name_.c_str());
    }
    HiddenFile(const HiddenFile&) = delete;
    HiddenFile& operator=(const HiddenFile&) = delete;

    [[nodiscard]] const runtime::FileDescriptor& file() const { return file_; }

    /// Whether this file, which nobody else writes, is granted a lease. It can be written no more.
    bool isGrantedLease() {
        file_ = runtime::FileDescriptor(::open(name_.c_str(), O_RDONLY | O_CLOEXEC));
        return file_ && takeLease(file_.get());
    }

    /// Gives the file its name for good.
    int publish(const path& destination) {
        if (const int error = renameExclusively(name_, destination)) return error;
        isHidden_ = false;
        const runtime::FileDescriptor folder(
            ::open(destination.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder) ::fsync(folder.get());
        return 0;
    }

private:
    std::string name_;
    runtime::FileDescriptor file_;
    bool isHidden_;
};

/// The source of a move, and whether it is at rest.
class Source {
public:
    /// Nothing, with `errno` set, when the path is no regular file that can be read.
    static std::optional<Source> open(const path& path) {
        runtime::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        if (!file && errno == EAGAIN) errno = EBUSY;  // somebody else's write lease
        Source source(path, std::move(file));
        if (!source.file_ || ::fstat(source.descriptor(), &source.status_) != 0) return std::nullopt;
        if (S_ISREG(source.status_.st_mode)) return source;
        errno = EINVAL;
        return std::nullopt;
    }

    /// 0 when nobody writes the file; then `status` tells what it is like. Else `EBUSY`, or what went wrong.
    int checkRest() {
        leased_ = takeLease(descriptor());
        const bool looksWritten = !leased_ && errno == EAGAIN;
        if (::fstat(descriptor(), &status_) != 0) return errno;
        return leased_ ? 0 : checkRestByAge(looksWritten);
    }

    /// Whether the path still names this file and nobody has written it, or asked to, since `checkRest`.
    [[nodiscard]] bool hasRested() const {
        struct stat now {};
        if (::lstat(path_.c_str(), &now) != 0 || now.st_ino != status_.st_ino || now.st_dev != status_.st_dev)
            return false;
        const bool isUnchanged = now.st_size == status_.st_size && now.st_mtim.tv_sec == status_.st_mtim.tv_sec &&
                                 now.st_mtim.tv_nsec == status_.st_mtim.tv_nsec;
        return isUnchanged && (!leased_ || ::fcntl(descriptor(), F_GETLEASE) == F_RDLCK);
    }

    [[nodiscard]] int descriptor() const { return file_.get(); }
    [[nodiscard]] const struct stat& status() const { return status_; }

private:
    Source(const path& path, runtime::FileDescriptor file) : path_(path), file_(std::move(file)) {}

    /// Network file systems refuse leases although nobody writes. A new file beside the source tells whether this one
    /// does, and what time it is on the clock that stamps the source.
    int checkRestByAge(bool looksWritten) const {
        HiddenFile fresh(path_);
        struct stat now {};
        if (!fresh.file() || ::fstat(fresh.file().get(), &now) != 0) return looksWritten ? EBUSY : errno;
        if (looksWritten && fresh.isGrantedLease()) return EBUSY;
        return now.st_mtim.tv_sec - status_.st_mtim.tv_sec > kRestSeconds ? 0 : EBUSY;
    }

    const path& path_;
    runtime::FileDescriptor file_;
    struct stat status_ {};
    bool leased_ = false;
};

bool copyBytes(int from, const runtime::FileDescriptor& to) {
    std::array<char, 32768> buffer{};
    off_t position = 0;
    for (;;) {
        const auto count = ::pread(from, buffer.data(), buffer.size(), position);
        if (count == 0) return true;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 || !to.writeAll({buffer.data(), static_cast<std::size_t>(count)})) return false;
        position += count;
    }
}

/// Permissions and times as far as the file system has them, or lets anybody but the owner set them.
void copyAttributes(const struct stat& status, int to) {
    const std::array times{status.st_atim, status.st_mtim};
    ::fchmod(to, status.st_mode & 07777);
    ::futimens(to, times.data());
}

bool isTaken(const path& name) {
    struct stat status {};
    return ::lstat(name.c_str(), &status) == 0;
}

/// Ends a move for which both names exist: removes the old one, or the new one where that fails.
int keepOnly(const path& to, const path& from) {
    if (::unlink(from.c_str()) == 0) return 0;
    const int error = errno;
    ::unlink(to.c_str());
    return error;
}

}  // namespace

int moveAcrossFileSystems(const path& from, const path& to) {
    if (isTaken(to)) return EEXIST;
    auto source = Source::open(from);
    if (!source) return errno;
    if (const int error = source->checkRest()) return error;

    HiddenFile copy(to);
    if (!copy.file() || !copyBytes(source->descriptor(), copy.file())) return errno;
    copyAttributes(source->status(), copy.file().get());
    if (::fsync(copy.file().get()) != 0) return errno;
    if (!source->hasRested()) return EBUSY;
    if (const int error = copy.publish(to)) return error;
    return keepOnly(to, from);
}

int renameExclusively(const path& from, const path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // Without that flag a hard link is the call that refuses an existing name; without hard links we have to look.
    if (::link(from.c_str(), to.c_str()) == 0) return keepOnly(to, from);
    if (errno == EEXIST || errno == EXDEV || errno == ENOENT) return errno;
    if (isTaken(to)) return EEXIST;
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

}  // namespace files
