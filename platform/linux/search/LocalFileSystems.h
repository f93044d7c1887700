#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace search {

/// Where a walk of the computer begins and what it must not enter, so that it sees every local directory once.
///
/// A walk never leaves the mount in which it begins; so each mount that counts is a root of its own. Those count whose
/// file systems keep their files on a local disk or in memory; pseudo and network file systems and what user processes
/// serve are left out. A mount that others cover, of which every way in leads through another file system, is no root,
/// nor is a bind mount of what another root shows already. Subvolumes are directories to a walk. An overlay is walked,
/// so that containers and live systems see their own root, and its layers are not walked again.
struct WalkPlan {
    std::vector<std::filesystem::path> roots;
    std::set<std::string, std::less<>> leftOut;  ///< directories below the roots, as absolute paths
};

/// The plan for the whole computer; nothing when the kernel does not list its mounts.
[[nodiscard]] std::optional<WalkPlan> planWalkOfComputer();
/// The plan for directories that somebody names, whatever their file system: those with the mounts below them that
/// count. One that does not exist is left out.
[[nodiscard]] WalkPlan planWalkBelow(const std::vector<std::filesystem::path>& directories);

/// The plan for mounts as in `/proc/self/mountinfo` and kinds of file systems as in `/proc/filesystems`.
[[nodiscard]] WalkPlan planWalk(std::string_view mounts, std::string_view kinds);

}  // namespace search
