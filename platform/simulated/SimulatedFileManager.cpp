#include "platform/simulated/SimulatedFileManager.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace simulated {
namespace {

ErrorPtr posixError(int code, const std::filesystem::path& path) {
    return std::make_shared<const Error>(
        NSPOSIXErrorDomain, code,
        Error::UserInfo{{NSLocalizedDescriptionKey, std::strerror(code)}, {NSFilePathErrorKey, path.native()}});
}

}  // namespace

/// A file open for writing, for the service and for the program.
class SimulatedFileManager::OpenFile final : public FileHandle, public File {
public:
    OpenFile(Node node, std::shared_ptr<std::size_t> writes) : node_(std::move(node)), writes_(std::move(writes)) {}

    void write(std::string_view bytes) override {
        ++*writes_;
        node_->replace(position_, bytes.size(), bytes);
        position_ += bytes.size();
    }
    [[nodiscard]] ErrorPtr append(std::string_view bytes) override {
        node_->append(bytes);
        return nullptr;
    }

private:
    const Node node_;
    const std::shared_ptr<std::size_t> writes_;
    std::size_t position_ = 0;
};

SimulatedFileManager::SimulatedFileManager() {
    nodes_.emplace("/", nullptr);
}

FileKind SimulatedFileManager::kindOf(const Path& path) const {
    const auto found = nodes_.find(path);
    if (found == nodes_.end()) return FileKind::none;
    return found->second ? FileKind::file : FileKind::directory;
}

std::optional<std::uint64_t> SimulatedFileManager::sizeOf(const Path& path) const {
    const auto file = fileAt(path);
    return file ? std::optional<std::uint64_t>(file->size()) : std::nullopt;
}

ErrorPtr SimulatedFileManager::createDirectory(const Path& path) {
    const FileKind kind = kindOf(path);
    if (kind == FileKind::directory) return nullptr;
    if (kind == FileKind::file) return posixError(EEXIST, path);
    if (auto error = createDirectory(path.parent_path())) return error;
    if (readOnly.contains(path.parent_path())) return posixError(EACCES, path);
    nodes_.emplace(path, nullptr);
    return nullptr;
}

ErrorPtr SimulatedFileManager::createFile(const Path& path, std::string_view contents) {
    ErrorPtr error;
    if (const auto file = openFile(path, error)) return file->append(contents);
    return error;
}

ErrorPtr SimulatedFileManager::moveItem(const Path& from, const Path& to) {
    // The service moves images only; a directory under an image's name must not go with them.
    if (kindOf(from) == FileKind::directory) return posixError(EINVAL, from);
    if (kindOf(to) != FileKind::none) return posixError(EEXIST, to);
    const auto found = nodes_.find(from);
    const bool isOpen = found != nodes_.end() && found->second.use_count() > 1;
    // The node is shared with whoever has the file open.
    if (isOpen && fileSystemOf(from) != fileSystemOf(to)) return posixError(EBUSY, to);
    return rename(from, to);
}

ErrorPtr SimulatedFileManager::rename(const Path& from, const Path& to) {
    if (kindOf(from) != FileKind::file) return posixError(ENOENT, from);
    // Both directories change, so both must allow it.
    for (const Path& path : {from, to}) {
        if (auto error = checkParent(path)) return error;
    }
    // An open file keeps its node, so writing goes on under the new name.
    auto node = std::exchange(nodes_[from], nullptr);
    nodes_.erase(from);
    nodes_[to] = std::move(node);
    if (observer) observer(from, to);
    return nullptr;
}

std::unique_ptr<FileHandle> SimulatedFileManager::openForWriting(const Path& path, ErrorPtr& error) {
    error = unopenable.contains(path) ? posixError(EACCES, path) : nullptr;
    if (error) return nullptr;
    if (auto file = fileAt(path)) return std::make_unique<OpenFile>(std::move(file), writes_);
    error = posixError(ENOENT, path);
    return nullptr;
}

std::optional<std::filesystem::path> SimulatedFileManager::resolvingSymbolicLinks(const Path& path) const {
    const auto link = symbolicLinks.find(path);
    if (link != symbolicLinks.end()) return link->second;
    return kindOf(path) == FileKind::none ? std::nullopt : std::optional(path);
}

std::unique_ptr<presenters::ProgramOutput::File> SimulatedFileManager::openFile(const Path& path, ErrorPtr& error) {
    error = kindOf(path) == FileKind::directory ? posixError(EISDIR, path) : checkParent(path);
    if (error) return nullptr;
    auto& node = nodes_[path];
    if (node) {
        // Emptied rather than replaced: other handles to the file see that.
        node->clear();
    } else {
        node = std::make_shared<std::string>();
    }
    auto file = std::make_unique<OpenFile>(node, writes_);
    if (observer) observer({}, path);
    return file;
}

std::optional<std::string> SimulatedFileManager::contents(const Path& path) const {
    const auto file = fileAt(path);
    return file ? std::optional(*file) : std::nullopt;
}

std::vector<std::string> SimulatedFileManager::list(const Path& directory) const {
    std::vector<std::string> names;
    for (const auto& [path, node] : nodes_) {
        if (path.has_relative_path() && path.parent_path() == directory) names.push_back(path.filename());
    }
    return names;
}

SimulatedFileManager::Path SimulatedFileManager::fileSystemOf(const Path& path) const {
    Path directory = path.parent_path();
    while (directory.has_relative_path() && !mounts.contains(directory)) directory = directory.parent_path();
    return directory;
}

ErrorPtr SimulatedFileManager::checkParent(const Path& path) const {
    const Path parent = path.parent_path();
    const FileKind kind = kindOf(parent);
    if (kind == FileKind::none) return posixError(ENOENT, path);
    if (kind == FileKind::file) return posixError(ENOTDIR, path);
    return readOnly.contains(parent) ? posixError(EACCES, path) : nullptr;
}

SimulatedFileManager::Node SimulatedFileManager::fileAt(const Path& path) const {
    const auto found = nodes_.find(path);
    return found == nodes_.end() ? nullptr : found->second;
}

}  // namespace simulated
