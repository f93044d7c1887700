#include "tests/support/PrivateMounts.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

namespace {

void require(bool done, const char* what) {
    if (done) return;
    std::cerr << what << ": " << std::strerror(errno)
              << "\nThis test needs to run as root or with unprivileged user namespaces "
                 "(sysctl kernel.unprivileged_userns_clone=1).\n";
    std::_Exit(2);
}

void write(const char* path, const std::string& text) {
    std::ofstream(path) << text;
}

}  // namespace

void enterPrivateMounts() {
    const auto user = std::to_string(::getuid());
    if (::getuid() == 0) {
        require(::unshare(CLONE_NEWNS) == 0, "Could not enter a mount namespace");
    } else {
        require(::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "Could not enter a user namespace");
        write("/proc/self/uid_map", user + " " + user + " 1\n");
    }
    require(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "Could not make mounts private");
}

void mountTmpfs(const std::string& directory, const std::string& size) {
    require(::mount("tmpfs", directory.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0, "Could not mount a tmpfs");
}
