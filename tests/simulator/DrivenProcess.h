#pragma once

#include <sys/types.h>
#include <optional>
#include <string>
#include <vector>

/// A keynote-simulator under test, driven through its standard input and output. Every wait has a deadline and fails
/// the test with an exception after it. What still runs at the end is killed.
class DrivenProcess {
public:
    /// The first argument is the program.
    explicit DrivenProcess(std::vector<std::string> arguments);
    ~DrivenProcess();
    DrivenProcess(const DrivenProcess&) = delete;
    DrivenProcess& operator=(const DrivenProcess&) = delete;

    /// Sends a command to a simulator and waits until it is acknowledged.
    void play(const std::string& command);
    /// Sends a command and does not wait.
    void send(const std::string& command) const;
    void closeInput();
    /// Reads lines up to one that begins so, and answers that one.
    std::string waitForLine(const std::string& beginning);
    /// Waits for the end: the exit status; a signal that ended it counts as 128 and more.
    int exitStatus();
    /// Standard error, after `exitStatus`.
    std::string complaints();
    [[nodiscard]] pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string unread_;
    std::optional<int> status_;
};
