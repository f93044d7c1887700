#pragma once

#include "base/Error.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

/// What stands at a path, symbolic links followed.
enum class FileKind { none, file, directory };

/// A file open for writing. Dropping the handle closes it.
class FileHandle {
public:
    virtual ~FileHandle() = default;
    /// Writes the bytes at the current position with a single call, so that those of several threads do not mix.
    /// Nobody hears of a failure. Any thread.
    virtual void write(std::string_view bytes) = 0;
};

/// The file system. Callable from any thread; calls wait for the disk, never for another program. Paths are absolute.
/// Errors are of `NSPOSIXErrorDomain` with the path in the user information; null means success.
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
    /// Creates the file with these contents, or replaces what it held. A reader may see a part of it meanwhile, and a
    /// failure may leave one.
    [[nodiscard]] virtual ErrorPtr createFile(const std::filesystem::path& path, std::string_view contents) = 0;
    /// Moves a regular file. What exists at the destination is never replaced (`EEXIST`); a link, a pipe or a directory
    /// is not moved (`EINVAL`). Within a file system the file is renamed, so that a program which still writes goes on
    /// writing into the moved file. Across file systems the source is removed only once a complete copy is on disk,
    /// which takes as long as copying does. While somebody has such a source open for writing the call fails at once
    /// with `EBUSY`; the caller may try again later. A failure leaves the source as it was and nothing at the
    /// destination.
    [[nodiscard]] virtual ErrorPtr moveItem(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    /// Opens an existing file for writing at its start, its contents kept. On failure null, with `error` set; on
    /// success `error` is null.
    [[nodiscard]] virtual std::unique_ptr<FileHandle> openForWriting(const std::filesystem::path& path,
                                                                     ErrorPtr& error) = 0;
    /// The path with every symbolic link on it followed; nothing when nothing stands there.
    [[nodiscard]] virtual std::optional<std::filesystem::path> resolvingSymbolicLinks(
        const std::filesystem::path& path) const = 0;
};
