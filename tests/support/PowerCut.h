#pragma once

#include "tests/support/TracedProcess.h"

#include <cstdint>
#include <map>
#include <utility>

/// What a power cut may leave of some directories, each on a file system of its own. A file's bytes are on the disk
/// once they are synced, and a name once its directory is; whatever else has changed may be there or not.
class PowerCut {
public:
    using Path = std::filesystem::path;
    using Roots = std::vector<Path>;

    /// What stands there now is on the disk.
    explicit PowerCut(const Roots& roots);
    /// Except for the bytes of this file.
    void lose(const Path& file) { files_[identityOf(file)].synced.clear(); }

    /// A process has done this.
    void note(const FileCall& call);
    /// Shows copies of the directories in every state in which a power cut may leave them now, one after the other.
    void forEach(const std::function<void(const Roots& copies)>& look) const;

private:
    /// What stands for a file or a directory while the file systems use their own numbers again.
    using Identity = std::uint64_t;
    template <typename T>
    struct Kept {
        T current;
        T synced;
    };

    /// Below a directory; those without bytes are directories.
    using Files = std::map<Path, std::optional<std::string>>;

    Identity identityOf(const Path& path);
    void read(const Path& path);
    void collect(Identity directory, bool isCurrent, std::size_t version, const Path& at, Files& files) const;
    static void show(const std::vector<Files>& disks, const std::function<void(const Roots& copies)>& look);

    std::vector<Identity> roots_;
    std::map<std::pair<std::uint64_t, std::uint64_t>, Identity> known_;  ///< by device and number
    Identity latest_ = 0;
    std::map<Identity, Kept<std::string>> files_;
    std::map<Identity, Kept<std::map<std::string, Identity>>> directories_;
};
