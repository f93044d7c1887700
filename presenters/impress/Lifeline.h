#pragma once

#include <sys/types.h>
#include <functional>
#include <string>
#include <thread>
#include <vector>

/// Ends the process when it is told to, and ends it or replaces it by a fresh one when the office is gone. All of it
/// happens at once, whatever the other threads are waiting for: the kernel closes the bus connection, and with it the
/// program's name leaves the bus. A fresh process has no state of an office that no longer exists.
class Lifeline {
public:
    /// Must be made before any other thread, because it takes over the signals SIGTERM, SIGINT and SIGHUP.
    /// `restartArguments` are the fresh process's command line, its name first; without any, this process ends with the
    /// office. `onEnd` runs before it ends for a signal.
    Lifeline(std::vector<std::string> restartArguments, std::function<void()> onEnd);
    Lifeline(const Lifeline&) = delete;
    Lifeline& operator=(const Lifeline&) = delete;

    /// Restarts or ends this process when `office` ends. Nothing for 0.
    void watch(pid_t office) const;
    /// Restarts or ends this process. Any thread; returns before it happens.
    void restart() const;

private:
    void run(int signals) const;

    std::vector<std::string> restartArguments_;
    std::function<void()> onEnd_;
    int events_;
    int restart_;
};
