#pragma once

#include <filesystem>

namespace runtime {

/// What is installed with this program, by its name in `share/keynote-capture`: found relative to the executable, so
/// that it works from the build tree, too. Empty when it is not there. Any thread.
[[nodiscard]] inline std::filesystem::path installed(const char* name) {
    std::error_code failure;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", failure).parent_path();
    // Beside bin in the build tree, beside libexec where it is installed.
    for (const char* const up : {"..", "../.."}) {
        auto found = (folder / up / "share/keynote-capture" / name).lexically_normal();
        if (std::filesystem::exists(found, failure)) return found;
    }
    return {};
}

}  // namespace runtime
