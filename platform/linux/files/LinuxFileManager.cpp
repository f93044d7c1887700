#include "platform/linux/files/LinuxFileManager.h"

#include "platform/linux/files/MoveAcrossFileSystems.h"
#include "runtime/FileDescriptor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <cerrno>
#include <system_error>

namespace files {

namespace {

using std::filesystem::path;

ErrorPtr fileError(int code, const char* what, const path& path) {
    Error::UserInfo info;
    info.emplace(NSLocalizedDescriptionKey,
                 fmt::format("{} {}: {}", what, path.native(), std::generic_category().message(code)));
    info.emplace(NSFilePathErrorKey, path.native());
    return std::make_shared<const Error>(NSPOSIXErrorDomain, code, std::move(info));
}

class LinuxFileHandle final : public FileHandle {
public:
    explicit LinuxFileHandle(runtime::FileDescriptor file) : file_(std::move(file)) {}
    void write(std::string_view bytes) override {
        // One call: the kernel keeps the bytes of a call together, so lines of several threads do not mix.
        [[maybe_unused]] const auto dropped = ::write(file_.get(), bytes.data(), bytes.size());
    }

private:
    const runtime::FileDescriptor file_;
};

}  // namespace

FileKind LinuxFileManager::kindOf(const path& path) const {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return FileKind::none;
    return S_ISDIR(status.st_mode) ? FileKind::directory : FileKind::file;
}

std::optional<std::uint64_t> LinuxFileManager::sizeOf(const path& path) const {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

ErrorPtr LinuxFileManager::createDirectory(const path& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    // Whatever the library says: what is in the way is a file, which the caller may tell apart.
    if (error && kindOf(path) == FileKind::file) error = std::make_error_code(std::errc::file_exists);
    return error ? fileError(error.value(), "Could not create the directory", path) : nullptr;
}

ErrorPtr LinuxFileManager::createFile(const path& path, std::string_view contents) {
    // A pipe that nobody reads would keep the call waiting; without blocking it fails.
    const runtime::FileDescriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666));
    if (!file || !file.writeAll(contents)) return fileError(errno, "Could not write the file", path);
    return nullptr;
}

ErrorPtr LinuxFileManager::moveItem(const path& from, const path& to) {
    struct stat status {};
    if (::lstat(from.c_str(), &status) != 0) return fileError(errno, "Could not move the file", from);
    // A link would be moved in place of what it leads to, and a directory with all that is in it.
    if (!S_ISREG(status.st_mode)) return fileError(EINVAL, "Not moved, because it is no regular file:", from);
    int error = renameExclusively(from, to);
    if (error == EXDEV) error = moveAcrossFileSystems(from, to);
    return error == 0 ? nullptr : fileError(error, "Could not move the file to", to);
}

std::unique_ptr<FileHandle> LinuxFileManager::openForWriting(const path& path, ErrorPtr& error) {
    runtime::FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
    error = file ? nullptr : fileError(errno, "Could not open for writing", path);
    return file ? std::make_unique<LinuxFileHandle>(std::move(file)) : nullptr;
}

std::optional<path> LinuxFileManager::resolvingSymbolicLinks(const path& path) const {
    std::error_code error;
    auto resolved = std::filesystem::canonical(path, error);
    return error ? std::nullopt : std::optional(std::move(resolved));
}

}  // namespace files
