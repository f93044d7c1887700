#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// A system call about a file, after the kernel has done it.
struct FileCall {
    std::string name;            ///< as the kernel calls it, "fsync"
    std::filesystem::path path;  ///< what it is about; absolute
    std::filesystem::path to;    ///< the second name of those that have two
    bool made = false;           ///< nothing stood at `path` before, and something does now
    bool mayChange = true;       ///< names, bytes, or what of them is on the disk
    long result = 0;             ///< negative: why it failed
};

/// Processes cannot be traced here: the machine, or whoever confines the test, does not permit it.
class TracingRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Runs the work in a process of its own, which may become another program, and asks after each system call about what
/// lies below the directories whether it goes on. When it does not, SIGKILL ends the process before it does anything
/// more. Answers its exit status, or nothing when it was killed. The caller has no other children meanwhile.
[[nodiscard]] std::optional<int> trace(const std::function<void()>& work,
                                       const std::vector<std::filesystem::path>& directories,
                                       const std::function<bool(const FileCall&)>& goesOn);
