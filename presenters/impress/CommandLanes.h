#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>

/// Runs accepted commands on threads of its own. All commands take their turn in one order, that of their arrival.
/// A command in order is done within its turn, so it is done when the next one's turn comes. A command in a lane only
/// enters its lane then: commands of one lane run one after the other, lanes run side by side, and nothing waits for a
/// lane but the lane itself.
class CommandLanes {
public:
    using Command = std::function<void()>;  ///< must not throw

    /// Commands accepted and not yet done; more are refused.
    static constexpr std::size_t kCapacity = 128;

    CommandLanes() = default;
    /// Waits for the running commands; those behind them are dropped.
    ~CommandLanes();
    CommandLanes(const CommandLanes&) = delete;
    CommandLanes& operator=(const CommandLanes&) = delete;

    /// Runs the command in order. False when there is no room. Any thread.
    [[nodiscard]] bool pushInOrder(Command command);
    /// Runs the command in the lane of this name. False when there is no room. Any thread.
    [[nodiscard]] bool pushInLane(const std::string& lane, Command command);
    /// Whether every accepted command is done. Any thread.
    [[nodiscard]] bool isEmpty() const;

private:
    [[nodiscard]] bool accept();
    void enqueue(const std::string& lane, Command command);
    void run(const std::string& lane);
    [[nodiscard]] Command done(Command command);

    mutable std::mutex mutex_;
    std::condition_variable laneEnded_;
    std::map<std::string, std::deque<Command>> lanes_;  ///< one thread each
    std::size_t accepted_ = 0;
    bool ended_ = false;
};
