#pragma once

#include <sys/types.h>
#include <atomic>
#include <chrono>
#include <string>

namespace impress {

/// An office that this process has started in the background. Callable from any thread.
class OfficeProcess {
public:
    enum class Windows { ifThereIsADisplay, never };

    /// Starts the office so that it listens on the pipe. With windows it is the user's office, which shows none until
    /// one is needed. Without, it keeps a profile of its own, so that it can never take the place of the user's. When
    /// an office runs already with the profile, that one begins to listen. False when the office cannot be started.
    [[nodiscard]] bool start(const std::string& pipe, Windows windows);
    /// Whether this is the process that was started, and no office of the user's.
    [[nodiscard]] bool isOwn(pid_t office) const;
    /// Whether the office shows nothing, so that it is of no use without this process.
    [[nodiscard]] bool isHeadless() const { return headless_; }
    /// Asks the processes of the office to end at once. Nothing when none was started.
    void end() const;
    /// Waits for the end of the office; asks for it when it takes longer than `patience`.
    void endWithin(std::chrono::seconds patience);

private:
    std::atomic<pid_t> group_ = 0;
    std::atomic<bool> headless_ = false;
};

}  // namespace impress
