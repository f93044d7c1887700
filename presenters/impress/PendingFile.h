#pragma once

#include <filesystem>
#include <system_error>

namespace impress {

/// A file that the office writes for us under a hidden name in the target's folder, and that takes its own name only
/// when complete: whoever watches the folder never sees half a file.
class PendingFile {
public:
    explicit PendingFile(std::filesystem::path target);
    /// Removes what was written, unless it was committed.
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    /// Where to write.
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// Gives the file its own name, replacing a file of that name. An empty file counts as an error.
    [[nodiscard]] std::error_code commit();

    /// Removes the files being written: for a process that is about to end. Any thread.
    static void abandon() noexcept;

private:
    std::filesystem::path target_;
    std::filesystem::path path_;
};

}  // namespace impress
