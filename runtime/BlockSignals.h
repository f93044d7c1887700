#pragma once

#include <csignal>

namespace runtime {

/// Leaves all signals to other threads. Where the other end of a socket has gone, writing to it then fails, instead of
/// ending the process by SIGPIPE. On the thread that is to be spared.
inline void blockSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace runtime
