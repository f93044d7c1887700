#pragma once

#include "ports/FileManager.h"

namespace files {

/// Local files through POSIX calls. Nothing here ever waits for the other end of a pipe, or for a writer; a move across
/// file systems takes time in proportion to the file.
class LinuxFileManager final : public FileManager {
public:
    [[nodiscard]] FileKind kindOf(const std::filesystem::path& path) const override;
    [[nodiscard]] std::optional<std::uint64_t> sizeOf(const std::filesystem::path& path) const override;
    [[nodiscard]] ErrorPtr createDirectory(const std::filesystem::path& path) override;
    [[nodiscard]] ErrorPtr createFile(const std::filesystem::path& path, std::string_view contents) override;
    [[nodiscard]] ErrorPtr moveItem(const std::filesystem::path& from, const std::filesystem::path& to) override;
    [[nodiscard]] std::unique_ptr<FileHandle> openForWriting(const std::filesystem::path& path,
                                                             ErrorPtr& error) override;
    [[nodiscard]] std::optional<std::filesystem::path> resolvingSymbolicLinks(
        const std::filesystem::path& path) const override;
};

}  // namespace files
