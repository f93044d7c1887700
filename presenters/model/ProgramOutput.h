#pragma once

#include "base/Error.h"

#include <filesystem>
#include <memory>
#include <string_view>

namespace presenters {

/// Where a presentation program writes. A small interface, so that the files may be real or simulated.
class ProgramOutput {
public:
    /// A file open for writing; dropping it closes the file. Writing goes on into the same file when it is renamed.
    class File {
    public:
        virtual ~File() = default;
        [[nodiscard]] virtual ErrorPtr append(std::string_view bytes) = 0;
    };

    virtual ~ProgramOutput() = default;
    /// Creates the directory with its parents; an existing directory is success.
    [[nodiscard]] virtual ErrorPtr createDirectory(const std::filesystem::path& path) = 0;
    /// Creates the file, or empties an existing one; null with `error` set when it cannot.
    [[nodiscard]] virtual std::unique_ptr<File> openFile(const std::filesystem::path& path, ErrorPtr& error) = 0;
    /// Renames within a directory, over an existing file.
    [[nodiscard]] virtual ErrorPtr rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
};

}  // namespace presenters
