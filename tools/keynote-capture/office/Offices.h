#pragma once

#include <sys/types.h>
#include <filesystem>
#include <optional>
#include <string>

namespace keynote_capture {

/// The folder where this user's office keeps its settings, unless it is told otherwise; it need not exist.
[[nodiscard]] std::filesystem::path officeProfile();
/// The file with the settings in such a folder.
[[nodiscard]] std::filesystem::path settingsIn(const std::filesystem::path& profile);
/// The first bytes of a file; nothing when it cannot be read or is no regular file.
[[nodiscard]] std::optional<std::string> contentOf(const std::filesystem::path& file, std::size_t most);

/// The process of the office that this user runs with the profile; nothing when none does.
[[nodiscard]] std::optional<pid_t> runningOffice(const std::filesystem::path& profile);

/// The pipe on which offices of this user listen, by its name.
enum class OfficePipe { absent, listening, foreign };
/// Whether somebody listens there, seen from outside: nobody is connected. `foreign` when it belongs to another user.
[[nodiscard]] OfficePipe officePipe(const std::string& name);

}  // namespace keynote_capture
