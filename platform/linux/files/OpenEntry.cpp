#include "platform/linux/files/OpenEntry.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace files {

namespace {

/// For kernels and sandboxes that do not know openat2: mounts are told by their devices.
runtime::FileDescriptor openEntryOnSameDevice(int directory, const char* name, int flags) {
    runtime::FileDescriptor entry(::openat(directory, name, flags));
    struct stat outside {};
    struct stat inside {};
    const bool same = entry && ::fstat(directory, &outside) == 0 && ::fstat(entry.get(), &inside) == 0 &&
                      outside.st_dev == inside.st_dev;
    return same ? std::move(entry) : runtime::FileDescriptor();
}

}  // namespace

runtime::FileDescriptor openEntry(int directory, const char* name, int flags) {
    flags |= O_NOFOLLOW | O_CLOEXEC;
    open_how how{};
    how.flags = static_cast<unsigned>(flags);
    how.resolve = RESOLVE_NO_XDEV;
    const auto entry = ::syscall(SYS_openat2, directory, name, &how, sizeof how);
    if (entry < 0 && (errno == ENOSYS || errno == EPERM)) return openEntryOnSameDevice(directory, name, flags);
    return runtime::FileDescriptor(static_cast<int>(entry));
}

}  // namespace files
