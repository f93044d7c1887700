#include "tests/platform/linux/files/FileSystemFaults.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <cstdarg>

FileSystemFaults fileSystemFaults;

namespace {

template <class... Args>
int callUnless(int error, long number, Args... arguments) {
    if (error == 0) return static_cast<int>(::syscall(number, arguments...));
    errno = error;
    return -1;
}

}  // namespace

// These take the place of the C library's.

extern "C" int fcntl(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return callUnless(command == F_SETLEASE ? fileSystemFaults.leaseError : 0, SYS_fcntl, file, command, argument);
}

extern "C" int fchmod(int file, mode_t mode) noexcept {
    return callUnless(fileSystemFaults.ownerError, SYS_fchmod, file, mode);
}

extern "C" int futimens(int file, const timespec* times) noexcept {
    return callUnless(fileSystemFaults.ownerError, SYS_utimensat, file, nullptr, times, 0);
}
