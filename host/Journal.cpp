#include "host/Journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <array>

namespace host {
namespace {

constexpr std::size_t kMostBytes = 64UL << 20U;

/// Whether the file has content that does not end with a line feed.
bool endsTorn(const runtime::FileDescriptor& file) {
    const off_t size = lseek(file.get(), 0, SEEK_END);
    char last = '\n';
    return size > 0 && pread(file.get(), &last, 1, size - 1) == 1 && last != '\n';
}

/// A name is on the disk only when its directory is, whose own name may be as new: up to where the file system begins.
void syncDirectoriesOf(std::filesystem::path file) {
    std::optional<dev_t> device;
    while (file.has_relative_path()) {
        file = file.parent_path();
        struct stat status {};
        if (stat(file.c_str(), &status) != 0 || status.st_dev != device.value_or(status.st_dev)) return;
        device = status.st_dev;
        sync(file);
    }
}

}  // namespace

void sync(const std::filesystem::path& path) {
    const runtime::FileDescriptor opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (opened) static_cast<void>(fsync(opened.get()));
}

std::optional<Journal> Journal::open(const std::filesystem::path& file) {
    // A link that somebody has put there is not followed, and a pipe does not stop us.
    runtime::FileDescriptor opened(
        ::open(file.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644));
    if (!opened || flock(opened.get(), LOCK_EX | LOCK_NB) != 0) return std::nullopt;
    const bool isTorn = endsTorn(opened);
    syncDirectoriesOf(file);
    return Journal(std::move(opened), isTorn);
}

bool Journal::append(std::string_view line) {
    std::string bytes;
    bytes.reserve(line.size() + 2);
    // Half a line is closed, so that it spoils no other.
    if (isTorn_) bytes += '\n';
    bytes.append(line) += '\n';
    isTorn_ = !file_.writeAll(bytes);
    return !isTorn_ && fdatasync(file_.get()) == 0;
}

bool isBeingWritten(const std::filesystem::path& journal) {
    const runtime::FileDescriptor opened(::open(journal.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return opened && flock(opened.get(), LOCK_SH | LOCK_NB) != 0;
}

std::vector<std::string> journalLines(const std::filesystem::path& file) {
    std::vector<std::string> lines;
    const runtime::FileDescriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    std::string line;
    std::array<char, 65536> piece{};
    std::size_t total = 0;
    ssize_t length = 0;
    while (total < kMostBytes && (length = read(opened.get(), piece.data(), piece.size())) > 0) {
        total += static_cast<std::size_t>(length);
        for (const char byte : std::string_view(piece.data(), static_cast<std::size_t>(length))) {
            if (byte == '\n') {
                lines.push_back(std::exchange(line, {}));
            } else {
                line += byte;
            }
        }
    }
    return lines;
}

}  // namespace host
