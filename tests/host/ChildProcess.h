#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

/// A program under test with both outputs on pipes. Every wait is bounded by `kDeadline` and fails the test with an
/// exception after that. What still runs at the end is killed.
class ChildProcess {
public:
    explicit ChildProcess(std::vector<std::string> arguments, const std::string& directory = "/");
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void send(int signal) const;
    /// The next line of standard output without its line feed; nothing at the end.
    std::optional<std::string> readLine();
    /// Waits until standard error holds the text.
    void waitForComplaint(const std::string& text);
    /// Goes away as a reader of standard output.
    void closeOutput();
    /// The exit status; a signal that ended it counts as 128 and more.
    int exitStatus();
    /// The rest of standard output, after `exitStatus`.
    std::string restOfOutput();
    /// All of standard error, after `exitStatus`.
    std::string complaints();

private:
    struct Stream {
        int descriptor = -1;
        std::string text;
        /// Reads once; false at the end.
        bool read();
        void readAll();
    };

    pid_t pid_ = -1;
    std::optional<int> status_;
    Stream output_;
    Stream errors_;
};
