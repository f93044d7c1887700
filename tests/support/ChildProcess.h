#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

/// A program under test with its input and both outputs on pipes. Every wait ends at `kDeadline` and fails the test
/// with an exception then. What still runs at the end is killed with what it has started, itself also when the test
/// dies.
class ChildProcess {
public:
    /// The first word is the program, looked for in PATH.
    explicit ChildProcess(std::vector<std::string> command, const std::string& directory = ".");
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    void send(int signal) const;

    /// Writes a line to its standard input.
    void writeLine(const std::string& line) const;
    void closeInput();
    /// For a program that acknowledges commands as the simulator does: writes the command and waits for its "ok".
    void play(const std::string& command);

    /// The next line of standard output without its line feed; nothing at the end.
    std::optional<std::string> readLine();
    /// Reads lines up to one that begins so, and answers that one.
    std::string waitForLine(const std::string& beginning);
    /// Waits until standard error holds the text.
    void waitForComplaint(const std::string& text);
    /// Goes away as a reader of standard output.
    void closeOutput();

    /// Waits for the end: the exit status; a signal that ended it counts as 128 and more.
    int exitStatus();
    /// The rest of standard output, after `exitStatus`.
    std::string restOfOutput();
    /// What it has written to standard error until now.
    const std::string& complaintsUntilNow();
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
    int input_ = -1;
    Stream output_;
    Stream errors_;
};
