#pragma once

#include "tools/keynote-capture/office/Offices.h"

#include <sys/types.h>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace keynote_capture {

/// What this computer can tell about a recording, without the bus.
struct MachineFacts {
    bool officeIsInstalled = false;
    std::optional<pid_t> office;  ///< that runs with the user's profile
    OfficePipe pipe = OfficePipe::absent;
    bool officeIsSetUp = false;  ///< will listen on the pipe when it starts
    std::string x11Display;
    bool isWayland = false;
    bool directoryCanBeWritten = false;
    std::optional<std::uintmax_t> freeBytes;  ///< for this user, where the directory is or will be
    bool clockIsSynchronised = false;
};

/// `directory` is where captures go; it need not exist.
[[nodiscard]] MachineFacts lookAtMachine(const std::filesystem::path& directory, const std::string& pipe);

}  // namespace keynote_capture
