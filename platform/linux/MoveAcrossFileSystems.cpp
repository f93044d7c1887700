#include "platform/linux/MoveAcrossFileSystems.h"

#include "platform/linux/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

namespace {

using std::filesystem::path;
using SteadyClock = std::chrono::steady_clock;

constexpr auto kLongestWait = std::chrono::seconds(30);
constexpr auto kPollInterval = std::chrono::milliseconds(20);
/// How long a file must not change to count as finished where the file system does not tell about writers.
constexpr auto kRestTime = std::chrono::seconds(1);

bool isUnchanged(const struct stat& before, const struct stat& after) {
    return before.st_size == after.st_size && before.st_mtim.tv_sec == after.st_mtim.tv_sec &&
           before.st_mtim.tv_nsec == after.st_mtim.tv_nsec;
}

/// The source of a move, and whether it is at rest. A read lease is granted only while no process has the file open for
/// writing, and holds up those who would open it.
class Source {
public:
    /// Nothing, with `errno` set, when the path is no regular file that can be read.
    static std::optional<Source> open(const path& path) {
        FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        Source source(std::move(file));
        if (!source.file_ || ::fstat(source.descriptor(), &source.status_) != 0) return std::nullopt;
        if (S_ISREG(source.status_.st_mode)) return source;
        errno = EXDEV;
        return std::nullopt;
    }

    /// Waits until nobody writes the file; then `status` tells what it is like. 0, `EBUSY`, or what went wrong.
    int waitForRest(SteadyClock::time_point deadline) {
        while (!takeLease()) {
            if (errno != EAGAIN) return waitForStability(deadline);
            if (SteadyClock::now() >= deadline) return EBUSY;
            std::this_thread::sleep_for(kPollInterval);
        }
        return ::fstat(descriptor(), &status_) == 0 ? 0 : errno;
    }

    /// Whether the path still names this file and nobody has written it, or asked to, since `waitForRest`.
    [[nodiscard]] bool hasRested(const path& path) const {
        struct stat now {};
        if (::lstat(path.c_str(), &now) != 0 || now.st_ino != status_.st_ino || now.st_dev != status_.st_dev)
            return false;
        return isUnchanged(status_, now) && (!leased_ || ::fcntl(descriptor(), F_GETLEASE) == F_RDLCK);
    }

    [[nodiscard]] int descriptor() const { return file_.get(); }
    [[nodiscard]] const struct stat& status() const { return status_; }

private:
    explicit Source(FileDescriptor file) : file_(std::move(file)) {}

    bool takeLease() {
        // By default a writer who arrives later would end this process with SIGIO; SIGURG is ignored unless asked for.
        if (::fcntl(descriptor(), F_SETSIG, SIGURG) != 0) return false;
        leased_ = ::fcntl(descriptor(), F_SETLEASE, F_RDLCK) == 0;
        return leased_;
    }

    int waitForStability(SteadyClock::time_point deadline) {
        for (;;) {
            const auto before = status_;
            std::this_thread::sleep_for(kRestTime);
            if (::fstat(descriptor(), &status_) != 0) return errno;
            if (isUnchanged(before, status_)) return 0;
            if (SteadyClock::now() >= deadline) return EBUSY;
        }
    }

    FileDescriptor file_;
    struct stat status_ {};
    bool leased_ = false;
};

/// A hidden file beside the destination; removed again unless it got its name.
class Copy {
public:
    explicit Copy(const path& destination)
        : destination_(destination), name_((destination.parent_path() / ".keynote-capture-XXXXXX").string()) {
        file_ = FileDescriptor(::mkostemp(name_.data(), O_CLOEXEC));
    }
    ~Copy() {
        if (file_ && !named_) ::unlink(name_.c_str());
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    /// Takes over contents, permissions and times; durable on return.
    int fill(const Source& source) {
        if (!file_) return errno;
        std::array<char, 32768> buffer{};
        off_t position = 0;
        for (;;) {
            const auto count = ::pread(source.descriptor(), buffer.data(), buffer.size(), position);
            if (count == 0) break;
            if (count < 0 && errno == EINTR) continue;
            if (count < 0 || !file_.writeAll({buffer.data(), static_cast<std::size_t>(count)})) return errno;
            position += count;
        }
        const auto& status = source.status();
        const std::array times{status.st_atim, status.st_mtim};
        if (::fchmod(file_.get(), status.st_mode & 07777) != 0) return errno;
        if (::futimens(file_.get(), times.data()) != 0) return errno;
        return ::fsync(file_.get()) == 0 ? 0 : errno;
    }

    /// Gives the copy its name for good.
    int publish() {
        if (const int error = renameExclusively(name_, destination_)) return error;
        named_ = true;
        const FileDescriptor folder(::open(destination_.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder) ::fsync(folder.get());
        return 0;
    }

    void withdraw() const { ::unlink(destination_.c_str()); }

private:
    const path& destination_;
    std::string name_;
    FileDescriptor file_;
    bool named_ = false;
};

/// Nothing when the source was written to meanwhile and the copy is worth nothing.
std::optional<int> tryToMove(const Source& source, const path& from, const path& to) {
    Copy copy(to);
    if (const int error = copy.fill(source)) return error;
    if (!source.hasRested(from)) return std::nullopt;
    if (const int error = copy.publish()) return error;
    if (::unlink(from.c_str()) == 0) return 0;
    const int error = errno;
    copy.withdraw();
    return error;
}

}  // namespace

int moveAcrossFileSystems(const path& from, const path& to) {
    struct stat taken {};
    if (::lstat(to.c_str(), &taken) == 0) return EEXIST;
    const auto deadline = SteadyClock::now() + kLongestWait;
    do {
        auto source = Source::open(from);
        if (!source) return errno;
        if (const int error = source->waitForRest(deadline)) return error;
        if (const auto result = tryToMove(*source, from, to)) return *result;
    } while (SteadyClock::now() < deadline);
    return EBUSY;
}

int renameExclusively(const path& from, const path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // Without that flag a hard link is the call that refuses an existing name; without hard links we have to look.
    if (::link(from.c_str(), to.c_str()) == 0) {
        if (::unlink(from.c_str()) == 0) return 0;
        const int error = errno;
        ::unlink(to.c_str());
        return error;
    }
    if (errno == EEXIST || errno == EXDEV || errno == ENOENT) return errno;
    struct stat taken {};
    if (::lstat(to.c_str(), &taken) == 0) return EEXIST;
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}
