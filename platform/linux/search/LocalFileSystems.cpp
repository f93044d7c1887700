#include "platform/linux/search/LocalFileSystems.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>

namespace search {

namespace {

namespace fs = std::filesystem;

using Kinds = std::set<std::string, std::less<>>;

struct Mount {
    int id = 0;
    int parent = 0;
    std::string device;
    std::string root;  ///< the directory of its file system that it shows
    std::string point;
    std::string kind;
    std::string options;  ///< the file system's own
};

/// Undoes the kernel's `\040`.
std::string unescaped(std::string text) {
    for (auto at = text.find('\\'); at < text.size() && text.size() - at > 3; at = text.find('\\', at + 1)) {
        unsigned char character = 0;
        const auto* const end = text.data() + at + 4;
        const auto [stop, error] = std::from_chars(end - 3, end, character, 8);
        if (stop == end && error == std::errc()) text.replace(at, 4, 1, static_cast<char>(character));
    }
    return text;
}

std::vector<Mount> parseMounts(std::string_view text) {
    std::vector<Mount> mounts;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        Mount mount;
        std::string word;
        words >> mount.id >> mount.parent >> mount.device >> mount.root >> mount.point;
        // Optional fields, any number of them (proc(5)).
        while (words >> word && word != "-") continue;
        words >> mount.kind >> word >> mount.options;
        if (mount.kind.empty()) continue;
        mount.kind.erase(std::min(mount.kind.find('.'), mount.kind.size()));  // fuse.sshfs
        for (auto* field : {&mount.root, &mount.point, &mount.options}) *field = unescaped(std::move(*field));
        mounts.push_back(std::move(mount));
    }
    return mounts;
}

/// Those on block devices, which the kernel tells, and those that need none.
Kinds localKinds(std::string_view text) {
    Kinds kinds{"aufs", "bcachefs", "ecryptfs", "overlay", "ramfs", "rootfs", "tmpfs", "ubifs", "zfs"};
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('\t')) kinds.insert(line.substr(1));
    }
    return kinds;
}

bool isAtOrBelow(std::string_view path, std::string_view ancestor) {
    if (ancestor == "/") return true;
    return path.starts_with(ancestor) && (path.size() == ancestor.size() || path[ancestor.size()] == '/');
}

/// `path` with its beginning `from` replaced by `to`.
std::string moved(const std::string& path, const std::string& from, const std::string& to) {
    const auto rest = path.substr(from == "/" ? 0 : from.size());
    const auto result = (to == "/" ? "" : to) + (rest == "/" ? "" : rest);
    return result.empty() ? "/" : result;
}

/// The path and what it lies in, up to and with "/".
std::vector<std::string> upwards(std::string path) {
    std::vector<std::string> paths{path};
    while (path.size() > 1) {
        path.erase(std::max<std::size_t>(path.rfind('/'), 1));
        paths.push_back(path);
    }
    return paths;
}

class Planner {
public:
    Planner(std::vector<Mount> mounts, Kinds kinds) : mounts_(std::move(mounts)), kinds_(std::move(kinds)) {
        for (const auto& mount : mounts_) {
            byID_.emplace(mount.id, &mount);
            byPoint_[mount.point].push_back(&mount);
        }
    }

    WalkPlan plan() {
        for (const auto& mount : mounts_) {
            // In the order of the mounts: of several that show a directory the first is walked.
            if (kinds_.contains(mount.kind) && isVisible(mount)) consider(mount);
        }
        for (const auto* root : chosen_) addLayers(*root);
        WalkPlan plan;
        for (const auto* root : chosen_) {
            if (!leftOut_.contains(root->point)) plan.roots.emplace_back(root->point);
        }
        plan.leftOut = std::move(leftOut_);
        return plan;
    }

private:
    [[nodiscard]] bool isAncestor(const Mount& ancestor, const Mount& mount) const {
        for (const auto* at = &mount; at != &ancestor;) {
            const auto parent = byID_.find(at->parent);
            if (parent == byID_.end() || parent->second == at) return false;
            at = parent->second;
        }
        return true;
    }

    /// Whatever stands on the way to a mount must carry it; else it covers it.
    [[nodiscard]] bool isVisible(const Mount& mount) const {
        for (const auto& path : upwards(mount.point)) {
            const auto found = byPoint_.find(path);
            if (found == byPoint_.end()) continue;
            if (!std::ranges::all_of(found->second, [&](auto* other) { return isAncestor(*other, mount); }))
                return false;
        }
        return true;
    }

    /// Whether a walk of `root` sees what `mount` shows.
    [[nodiscard]] bool shows(const Mount& root, const Mount& mount) const {
        if (root.device != mount.device || !isAtOrBelow(mount.root, root.root)) return false;
        for (const auto& path : upwards(moved(mount.root, root.root, root.point))) {
            if (path == root.point) return true;
            if (byPoint_.contains(path)) return false;
        }
        return true;
    }

    void consider(const Mount& mount) {
        if (std::ranges::any_of(chosen_, [&](const auto* root) { return shows(*root, mount); })) return;
        for (const auto* root : chosen_) {
            // This mount shows more than one chosen before it; what that one shows need not be seen twice.
            if (root->device == mount.device && root->root != mount.root && isAtOrBelow(root->root, mount.root)) {
                leftOut_.insert(moved(root->root, mount.root, mount.point));
            }
        }
        chosen_.push_back(&mount);
    }

    /// Leaves out an overlay's layers, unless it covers one of them or a part of it.
    void addLayers(const Mount& mount) {
        if (mount.kind != "overlay") return;
        std::istringstream options(mount.options);
        for (std::string option; std::getline(options, option, ',');) {
            const auto name = option.substr(0, option.find('='));
            if (!name.starts_with("lowerdir") && name != "upperdir" && name != "workdir") continue;
            std::istringstream layers(option.substr(std::min(name.size() + 1, option.size())));
            for (std::string layer; std::getline(layers, layer, ':');) {
                std::error_code failure;
                const auto path = fs::weakly_canonical(layer, failure).native();
                if (!failure && layer.starts_with('/') && !isAtOrBelow(mount.point, path)) leftOut_.insert(path);
            }
        }
    }

    const std::vector<Mount> mounts_;
    const Kinds kinds_;
    std::map<int, const Mount*> byID_;
    std::map<std::string, std::vector<const Mount*>> byPoint_;
    std::vector<const Mount*> chosen_;
    std::set<std::string, std::less<>> leftOut_;
};

std::string contentsOf(const char* file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

}  // namespace

WalkPlan planWalk(std::string_view mounts, std::string_view kinds) {
    return Planner(parseMounts(mounts), localKinds(kinds)).plan();
}

std::optional<WalkPlan> planWalkOfComputer() {
    auto plan = planWalk(contentsOf("/proc/self/mountinfo"), contentsOf("/proc/filesystems"));
    if (plan.roots.empty()) return std::nullopt;
    return plan;
}

WalkPlan planWalkBelow(const std::vector<fs::path>& directories) {
    WalkPlan plan;
    const auto add = [&](const fs::path& root) {
        if (std::ranges::find(plan.roots, root) == plan.roots.end()) plan.roots.push_back(root);
    };
    for (const auto& directory : directories) {
        std::error_code failure;
        if (auto root = fs::canonical(directory, failure); !failure) add(root);
    }
    const auto named = plan.roots;
    // A walk never crosses a mount, so those below a named directory are roots of their own.
    const auto computer = planWalkOfComputer().value_or(WalkPlan{});
    for (const auto& mount : computer.roots) {
        const auto isNamed = [&](const auto& root) { return isAtOrBelow(mount.native(), root.native()); };
        if (std::ranges::any_of(named, isNamed)) add(mount);
    }
    return plan;
}

}  // namespace search
