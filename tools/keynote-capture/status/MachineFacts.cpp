#include "tools/keynote-capture/status/MachineFacts.h"

#include "tools/keynote-capture/office/OfficeSettings.h"

#include <sys/timex.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostSettings = 64UL << 20U;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

bool isInPath(const std::string& program) {
    const auto path = variable("PATH");
    for (std::string_view rest = path; !rest.empty();) {
        const auto folder = rest.substr(0, rest.find(':'));
        if (access((fs::path(folder) / program).c_str(), X_OK) == 0) return true;
        rest.remove_prefix(std::min(folder.size() + 1, rest.size()));
    }
    return false;
}

/// What this user has set counts before what is set for all.
bool isSetUp(const std::string& pipe) {
    const auto settings = contentOf(settingsIn(officeProfile()), kMostSettings);
    if (const auto connection = settings ? connectionIn(*settings) : std::nullopt) {
        return connection == connectionOnPipe(pipe);
    }
    const auto forAll = contentOf(KCS_OFFICE_REGISTRY "/keynote-capture.xcd", kMostSettings);
    return forAll && connectionIn(*forAll) == connectionOnPipe(pipe);
}

/// The directory itself, or where it would be made.
fs::path nearestThatExists(fs::path directory) {
    std::error_code failure;
    while (!fs::exists(directory, failure) && directory.has_relative_path()) directory = directory.parent_path();
    return directory;
}

bool isClockSynchronised() {
    timex clock{};
    return adjtimex(&clock) != TIME_ERROR && (clock.status & STA_UNSYNC) == 0;
}

}  // namespace

MachineFacts lookAtMachine(const fs::path& directory, const std::string& pipe) {
    MachineFacts facts;
    facts.officeIsInstalled = isInPath("soffice") || isInPath("libreoffice");
    facts.office = runningOffice(officeProfile());
    facts.pipe = officePipe(pipe);
    facts.officeIsSetUp = isSetUp(pipe);
    facts.x11Display = variable("DISPLAY");
    facts.isWayland = !variable("WAYLAND_DISPLAY").empty();
    const auto nearest = nearestThatExists(directory);
    std::error_code failure;
    const auto space = fs::space(nearest, failure);
    if (!failure) facts.freeBytes = space.available;
    facts.directoryCanBeWritten = fs::is_directory(nearest, failure) && access(nearest.c_str(), W_OK | X_OK) == 0;
    facts.clockIsSynchronised = isClockSynchronised();
    return facts;
}

}  // namespace keynote_capture
