#pragma once

#include <sys/types.h>
#include <string>
#include <thread>
#include <vector>

/// Ends the process when it is told to, and replaces it by a fresh one when the office is gone. Both happen at once,
/// whatever the other threads are waiting for: the kernel closes the bus connection, and with it the program's name
/// leaves the bus. A fresh process has no state of an office that no longer exists.
class Lifeline {
public:
    /// Must be made before any other thread, because it takes over the signals SIGTERM, SIGINT and SIGHUP.
    /// `restartArguments` are the fresh process's command line, its name first.
    explicit Lifeline(std::vector<std::string> restartArguments);
    Lifeline(const Lifeline&) = delete;
    Lifeline& operator=(const Lifeline&) = delete;

    /// Restarts this process when `office` ends. Nothing for 0.
    void watch(pid_t office) const;
    /// Restarts this process. Any thread; returns before it happens.
    void restart() const;

private:
    void run(int signals) const;

    std::vector<std::string> restartArguments_;
    int events_;
    int restart_;
};
