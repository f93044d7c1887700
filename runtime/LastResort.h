#pragma once

#include <chrono>

namespace runtime {

/// Ends the process when its threads do not: a file system that does not answer cannot be told to give up. One in a
/// process.
class LastResort {
public:
    LastResort() = default;
    /// The process ends by itself in time.
    ~LastResort();
    LastResort(const LastResort&) = delete;
    LastResort& operator=(const LastResort&) = delete;

    /// Ends the process with the status once that time has passed. Any thread; the latest call counts.
    void endProcessAfter(std::chrono::milliseconds time, int status);
};

}  // namespace runtime
