#pragma once

#include "ports/FileManager.h"
#include "presenters/model/ProgramOutput.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace simulated {

/// Files in memory, for the service and for the simulated presentation program. An open file stays whole when it is
/// renamed or removed. Failures can be switched on.
class SimulatedFileManager final : public FileManager, public presenters::ProgramOutput {
public:
    using Path = std::filesystem::path;

    SimulatedFileManager();

    [[nodiscard]] FileKind kindOf(const Path& path) const override;
    [[nodiscard]] std::optional<std::uint64_t> sizeOf(const Path& path) const override;
    [[nodiscard]] ErrorPtr createDirectory(const Path& path) override;
    [[nodiscard]] ErrorPtr createFile(const Path& path, std::string_view contents) override;
    [[nodiscard]] ErrorPtr moveItem(const Path& from, const Path& to) override;
    [[nodiscard]] std::unique_ptr<FileHandle> openForWriting(const Path& path, ErrorPtr& error) override;
    [[nodiscard]] std::optional<Path> resolvingSymbolicLinks(const Path& path) const override;

    [[nodiscard]] std::unique_ptr<File> openFile(const Path& path, ErrorPtr& error) override;
    [[nodiscard]] ErrorPtr rename(const Path& from, const Path& to) override;

    /// The contents of a file; nothing when none stands there.
    [[nodiscard]] std::optional<std::string> contents(const Path& path) const;
    /// The names in a directory, sorted.
    [[nodiscard]] std::vector<std::string> list(const Path& directory) const;
    /// How often the service has written through a handle.
    [[nodiscard]] std::size_t writes() const { return *writes_; }
    void remove(const Path& path) { nodes_.erase(path); }

    /// Hears of every file after it was made, emptied or moved; the first path is empty unless it was moved.
    std::function<void(const Path& from, const Path& to)> observer;
    /// Directories in which nothing can be created, renamed or removed.
    std::set<Path> readOnly;
    /// Files that exist and still cannot be opened.
    std::set<Path> unopenable;
    /// Directories on file systems of their own; a file that is open is not moved from one to another.
    std::set<Path> mounts;
    /// What `resolvingSymbolicLinks` makes of a path; of any other one itself, when something stands there.
    std::map<Path, Path> symbolicLinks;

private:
    /// The contents of a file; none for a directory.
    using Node = std::shared_ptr<std::string>;
    class OpenFile;

    [[nodiscard]] Path fileSystemOf(const Path& path) const;
    [[nodiscard]] ErrorPtr checkParent(const Path& path) const;
    [[nodiscard]] Node fileAt(const Path& path) const;

    std::map<Path, Node> nodes_;
    const std::shared_ptr<std::size_t> writes_ = std::make_shared<std::size_t>(0);  ///< open files may outlive this
};

}  // namespace simulated
