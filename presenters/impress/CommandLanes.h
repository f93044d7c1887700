#pragma once

#include "runtime/WorkQueue.h"

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace impress {

/// Runs accepted commands on workers. All commands take their turn in one order, that of their arrival.
/// A command in order is done within its turn, so it is done when the next one's turn comes. A command in a lane only
/// enters its lane then: commands of one lane run one after the other, lanes run side by side, and nothing waits for a
/// lane but the lane itself.
class CommandLanes {
public:
    using Command = Task;  ///< must not throw

    /// Commands accepted and not yet done; more are refused.
    static constexpr std::size_t kCapacity = 128;

    /// The workers must have stopped and joined when the lanes go.
    explicit CommandLanes(const runtime::Workers& workers);
    CommandLanes(const CommandLanes&) = delete;
    CommandLanes& operator=(const CommandLanes&) = delete;

    /// Runs the command in order. False when there is no room, or no thread to be had. Any thread.
    [[nodiscard]] bool pushInOrder(Command command);
    /// Runs the command in the lane of this name. False when there is no room, or no thread to be had. Any thread.
    [[nodiscard]] bool pushInLane(const std::string& lane, Command command);
    /// Whether every accepted command is done. Any thread.
    [[nodiscard]] bool isEmpty() const { return *accepted_ == 0; }

private:
    [[nodiscard]] Command counted(Command command) const;
    void enter(const std::string& lane, const Command& command);

    const runtime::Workers& workers_;
    const std::unique_ptr<runtime::WorkQueue> order_;
    /// While they have commands, which own them. Used in turns only.
    std::map<std::string, std::weak_ptr<runtime::WorkQueue>> lanes_;
    /// Commands that wait may outlive this object.
    const std::shared_ptr<std::atomic<std::size_t>> accepted_ = std::make_shared<std::atomic<std::size_t>>(0);
};

}  // namespace impress
