#pragma once

#include "base/Time.h"
#include "runtime/FileDescriptor.h"
#include "runtime/LoopThread.h"

#include <sys/types.h>
#include <functional>
#include <string>
#include <vector>

namespace impress {

/// Ends the process when it is told to, and ends it or replaces it by a fresh one when the office is gone. All of it
/// happens at once, whatever the other threads are waiting for: the kernel closes the bus connection, and with it the
/// program's name leaves the bus. A fresh process has no state of an office that no longer exists. Only work that is
/// left when the office goes, and can be done without it, holds that up for a while.
class Lifeline {
public:
    /// Takes over the signals SIGTERM, SIGINT and SIGHUP. `restartArguments` are the fresh process's command line, its
    /// name first; without any, this process ends with the office. `onEnd` runs before either, on a thread of this
    /// object.
    Lifeline(std::vector<std::string> restartArguments, std::function<void()> onEnd);
    Lifeline(const Lifeline&) = delete;
    Lifeline& operator=(const Lifeline&) = delete;

    /// How long work that is left holds up the end.
    static constexpr std::chrono::seconds kLongestWork{60};

    /// Restarts or ends this process when `office` ends; by the process's identifier, 0 for unknown. `isAtWork` is then
    /// asked on a thread of this object, until it says no, whether there is work left. Any thread.
    void watch(pid_t office, std::function<bool()> isAtWork);
    /// The office is gone: restarts or ends this process. Any thread; returns before it happens.
    void restart();

private:
    void officeHasGone();
    void endUnlessAtWork();
    [[noreturn]] void end(const std::vector<std::string>& successor);

    const std::vector<std::string> restartArguments_;
    const std::function<void()> onEnd_;
    std::function<bool()> isAtWork_;  ///< this and what follows belongs to the thread
    runtime::FileDescriptor office_;
    Handle watch_;
    Handle looks_;
    Instant deadline_;
    runtime::LoopThread thread_;
};

}  // namespace impress
