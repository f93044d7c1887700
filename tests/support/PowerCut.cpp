#include "tests/support/PowerCut.h"

#include "tests/support/TemporaryDirectory.h"

#include <sys/stat.h>
#include <set>

namespace {

namespace fs = std::filesystem;

/// The bytes of a file that reach the disk, when not all are synced: all, those that are, or some of the others too.
std::vector<std::string> versions(const std::string& current, const std::string& synced) {
    if (current == synced) return {current};
    const auto kept = current.starts_with(synced) ? synced.size() : 0;
    return {current, synced, current.substr(0, kept + (current.size() - kept) / 2)};
}

}  // namespace

PowerCut::PowerCut(const Roots& roots) {
    for (const auto& root : roots) {
        read(root);
        for (const auto& entry : fs::recursive_directory_iterator(root)) read(entry.path());
        roots_.push_back(identityOf(root));
    }
    for (auto& [identity, file] : files_) file.synced = file.current;
    for (auto& [identity, directory] : directories_) directory.synced = directory.current;
}

PowerCut::Identity PowerCut::identityOf(const Path& path) {
    struct stat status {};
    static_cast<void>(::lstat(path.c_str(), &status));
    auto& identity = known_[{status.st_dev, status.st_ino}];
    if (identity == 0) identity = ++latest_;
    return identity;
}

/// Looks what the file or the directory holds now.
void PowerCut::read(const Path& path) {
    if (!fs::is_directory(path)) {
        files_[identityOf(path)].current = contentsOf(path);
        return;
    }
    auto& names = directories_[identityOf(path)].current;
    names.clear();
    for (const auto& entry : fs::directory_iterator(path)) names[entry.path().filename()] = identityOf(entry.path());
}

void PowerCut::note(const FileCall& call) {
    if (call.made) {
        struct stat status {};
        static_cast<void>(::lstat(call.path.c_str(), &status));
        known_[{status.st_dev, status.st_ino}] = ++latest_;
    }
    for (const auto& path : {call.path, call.to}) {
        if (fs::exists(path)) read(path);
        if (directories_.contains(identityOf(path.parent_path()))) read(path.parent_path());
    }
    if (call.name != "sync" || call.result != 0) return;
    const auto identity = identityOf(call.path);
    if (const auto file = files_.find(identity); file != files_.end()) file->second.synced = file->second.current;
    if (const auto found = directories_.find(identity); found != directories_.end()) {
        found->second.synced = found->second.current;
    }
}

void PowerCut::forEach(const std::function<void(const Roots& copies)>& look) const {
    std::vector<std::vector<Files>> chosen{{}};
    for (const auto root : roots_) {
        std::set<Files> states;
        for (const bool isCurrent : {true, false}) {
            for (std::size_t version = 0; version < 3; ++version) {
                Files files;
                collect(root, isCurrent, version, {}, files);
                states.insert(std::move(files));
            }
        }
        std::vector<std::vector<Files>> longer;
        for (const auto& before : chosen) {
            for (const auto& state : states) (longer.emplace_back(before)).push_back(state);
        }
        chosen = std::move(longer);
    }
    for (const auto& disks : chosen) show(disks, look);
}

void PowerCut::show(const std::vector<Files>& disks, const std::function<void(const Roots& copies)>& look) {
    const TemporaryDirectory place("/dev/shm");
    Roots copies;
    for (const auto& files : disks) {
        copies.push_back(place.path / std::to_string(copies.size()));
        fs::create_directory(copies.back());
        for (const auto& [path, bytes] : files) {
            bytes ? writeFile(copies.back() / path, *bytes) : void(fs::create_directories(copies.back() / path));
        }
    }
    look(copies);
}

/// What is left when either the names as they are now or those that are synced come to the disk.
void PowerCut::collect(Identity directory, bool isCurrent, std::size_t version, const Path& at, Files& files) const {
    const auto& names = directories_.at(directory);
    for (const auto& [name, identity] : isCurrent ? names.current : names.synced) {
        if (directories_.contains(identity)) {
            files.emplace(at / name, std::nullopt);
            collect(identity, isCurrent, version, at / name, files);
        } else {
            const auto& [current, synced] = files_.at(identity);
            const auto all = versions(current, synced);
            files.emplace(at / name, all.at(version % all.size()));
        }
    }
}
