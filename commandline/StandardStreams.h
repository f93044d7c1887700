#pragma once

#include <fcntl.h>
#include <unistd.h>

/// Standard streams that are closed would be taken by the first files that we open.
inline void openStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0) static_cast<void>(open("/dev/null", O_RDWR));
    }
}
