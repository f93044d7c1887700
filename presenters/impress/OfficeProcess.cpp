#include "presenters/impress/OfficeProcess.h"

#include "base/FileURL.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace impress {
namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

/// Where the office without windows keeps its settings.
std::filesystem::path ownProfile() {
    const auto cache = variable("XDG_CACHE_HOME");
    const auto folder = cache.starts_with('/') ? cache : variable("HOME") + "/.cache";
    return std::filesystem::path(folder) / "keynote-capture/office";
}

/// An office without windows does not listen where its user's does, whatever is set for all offices: that one comes
/// later and would find its pipe taken.
constexpr const char* kOwnSettings = R"(<?xml version="1.0" encoding="UTF-8"?>
<oor:items xmlns:oor="http://openoffice.org/2001/registry" xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
<item oor:path="/org.openoffice.Setup/Office"><prop oor:name="ooSetupConnectionURL" oor:op="fuse"><value></value></prop></item>
</oor:items>
)";

/// The office needs its settings when it starts, and writes them anew when it ends.
void writeOwnSettings() {
    std::error_code failure;
    std::filesystem::create_directories(ownProfile() / "user", failure);
    std::ofstream(ownProfile() / "user/registrymodifications.xcu") << kOwnSettings;
}

pid_t spawn(std::vector<std::string> command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (auto& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    // A group of its own, because soffice is a script that starts the office, and both must be told to end.
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t process = 0;
    const int error = posix_spawn(&process, arguments[0], nullptr, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    return error == 0 ? process : 0;
}

}  // namespace

bool OfficeProcess::start(const std::string& pipe, Windows windows) {
    headless_ = windows == Windows::never || (variable("DISPLAY").empty() && variable("WAYLAND_DISPLAY").empty());
    std::vector<std::string> command{OFFICE_PROGRAM, "--accept=pipe,name=" + pipe + ";urp;",
                                     "--nodefault",  "--nologo",
                                     "--norestore",  "--nofirststartwizard"};
    if (headless_) {
        // With its user's profile it would be that user's office, and every deck opened later would stay unseen.
        writeOwnSettings();
        command.emplace_back("--headless");
        command.push_back("-env:UserInstallation=" + urlFromPath(ownProfile()));
    }
    group_ = spawn(std::move(command));
    return group_ != 0;
}

bool OfficeProcess::isOwn(pid_t office) const {
    // By the group: the process that listens is a child of the one that was started.
    return group_ != 0 && office > 0 && getpgid(office) == group_;
}

void OfficeProcess::end() const {
    if (group_ != 0) kill(-group_, SIGTERM);
}

void OfficeProcess::endWithin(std::chrono::seconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (waitpid(group_, nullptr, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) return end();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    group_ = 0;
}

}  // namespace impress
