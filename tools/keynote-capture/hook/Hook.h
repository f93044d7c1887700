#pragma once

#include <sys/types.h>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace keynote_capture {

/// Runs a command of the user's for each event, one after the other, on a thread of its own: nobody waits for it, and
/// what it does or fails to do changes nothing. It gets the event as one line on standard input; what it prints goes
/// to standard error. One that runs for longer than `kLongestRun` is killed, and when `kMostWaiting` events wait,
/// further ones are left out. Each kind of failure is told once.
class Hook {
public:
    static constexpr std::size_t kMostWaiting = 256;
    static constexpr std::chrono::seconds kLongestRun{10};
    /// How long the end waits for events that are still due.
    static constexpr std::chrono::seconds kLongestEnd{5};

    /// The words of the command, its program first, which is looked for in PATH.
    explicit Hook(std::vector<std::string> command);
    ~Hook();
    Hook(const Hook&) = delete;
    Hook& operator=(const Hook&) = delete;

    /// Runs the command for the line soon. Returns at once.
    void tell(std::string line);

private:
    using Deadline = std::chrono::steady_clock::time_point;

    void work();
    void run(const std::string& line);
    [[nodiscard]] bool waitFor(pid_t process);
    void complainOnce(const std::string& sentence);

    const std::vector<std::string> command_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> lines_;   ///< guarded by `mutex_`
    std::optional<Deadline> endsAt_;  ///< guarded by `mutex_`; when this is to end
    std::set<std::string> told_;      ///< guarded by `mutex_`
    std::thread thread_;
};

}  // namespace keynote_capture
