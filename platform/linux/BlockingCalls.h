#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

class ConsoleLog;

/// Calls of hosts that block for long, one after the other on a thread of their own, which starts with the first.
class BlockingCalls {
public:
    using Call = std::function<void()>;

    /// The console log, which is told of exceptions, must outlive the calls.
    explicit BlockingCalls(ConsoleLog& consoleLog) : consoleLog_(consoleLog) {}
    ~BlockingCalls() { stop(); }
    BlockingCalls(const BlockingCalls&) = delete;
    BlockingCalls& operator=(const BlockingCalls&) = delete;

    /// Adds a call behind those that wait. False when 32 wait already, or after `stop`. Any thread.
    [[nodiscard]] bool add(const std::string& host, Call call);
    /// Drops the host's calls that wait; one under way goes on. Any thread.
    void drop(const std::string& host);
    /// Waits for the call under way and drops the others. Not on the calls' thread.
    void stop();

private:
    struct Waiting {
        std::string host;
        Call call;
    };

    void run();
    void make(const Call& call) const;

    ConsoleLog& consoleLog_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Waiting> waiting_;  ///< this and what follows guarded by `mutex_`
    bool stopped_ = false;
    std::thread thread_;
};
