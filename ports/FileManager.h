#pragma once

#include "base/Error.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// What stands at a path, symbolic links followed.
enum class FileKind { none, file, directory };

/// A file open for writing. Closing happens when the handle is dropped.
class FileHandle {
public:
    virtual ~FileHandle() = default;
    /// Writes the bytes at the current position with a single call. A failure is dropped. Any thread.
    virtual void write(std::string_view bytes) = 0;
};

/// The file system. Callable from any thread. Errors are of `NSPOSIXErrorDomain` with the path in the user
/// information; null means success. Paths are absolute.
class FileManager {
public:
    virtual ~FileManager() = default;
    /// What stands at the path; anything that is neither a directory nor missing counts as a file. A path that cannot
    /// be looked at counts as missing.
    [[nodiscard]] virtual FileKind kindOf(const std::filesystem::path& path) const = 0;
    /// Size in bytes, or nothing when the file cannot be looked at.
    [[nodiscard]] virtual std::optional<std::uint64_t> sizeOf(const std::filesystem::path& path) const = 0;
    /// Creates the directory with all missing parents; an existing directory is success.
    [[nodiscard]] virtual ErrorPtr createDirectory(const std::filesystem::path& path) = 0;
    /// Creates the file with these contents, or replaces what it held; not atomically.
    [[nodiscard]] virtual ErrorPtr createFile(const std::filesystem::path& path, std::string_view contents) = 0;
    /// Moves a regular file, never over anything that exists; what is a link, a pipe or a directory stays (`EINVAL`).
    /// Within a file system the file is renamed, so a writer that still has it open goes on writing into the moved
    /// file. Across file systems the source goes only once a complete copy is on disk, which takes as long as copying
    /// does; when somebody has the source open for writing it fails with `EBUSY` at once: try again later. On failure
    /// the source is untouched and nothing is left at the destination.
    [[nodiscard]] virtual ErrorPtr moveItem(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    /// Opens an existing file for writing at its start; null with `error` set when it cannot.
    [[nodiscard]] virtual std::unique_ptr<FileHandle> openForWriting(const std::filesystem::path& path,
                                                                     ErrorPtr& error) = 0;
    /// The path with every symbolic link on it followed; nothing when nothing stands there.
    [[nodiscard]] virtual std::optional<std::filesystem::path> resolvingSymbolicLinks(
        const std::filesystem::path& path) const = 0;
    /// The user's home directory.
    [[nodiscard]] virtual std::filesystem::path homeDirectory() const = 0;
    /// The home directory of another user by name; nothing when there is no such user.
    [[nodiscard]] virtual std::optional<std::filesystem::path> homeDirectoryForUser(const std::string& user) const = 0;
    /// The user's Application Support directory, created when missing; nothing when there is none.
    [[nodiscard]] virtual std::optional<std::filesystem::path> applicationSupportDirectory() = 0;
};
