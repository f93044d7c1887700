#include "presenters/impress/CommandLanes.h"

#include <functional>
#include <utility>

namespace impress {

CommandLanes::CommandLanes(const runtime::Workers& workers) : workers_(workers), order_(workers.makeQueue(kCapacity)) {}

bool CommandLanes::pushInOrder(Command command) {
    command = counted(std::move(command));
    // This command is counted already, and counts no more once it is dropped here.
    return *accepted_ <= kCapacity && order_->push(std::move(command));
}

bool CommandLanes::pushInLane(const std::string& lane, Command command) {
    command = counted(std::move(command));
    return *accepted_ <= kCapacity &&
           order_->push(std::bind_front(&CommandLanes::enter, this, lane, std::move(command)));
}

/// Counts until the command is done, or dropped.
CommandLanes::Command CommandLanes::counted(Command command) const {
    ++*accepted_;
    std::shared_ptr<void> place(nullptr, [accepted = accepted_](void*) { --*accepted; });
    return [place = std::move(place), command = std::move(command)]() mutable {
        command();
        place.reset();  // before the office's objects go, which may wait for the office
    };
}

void CommandLanes::enter(const std::string& lane, const Command& command) {
    // A lane that nobody has commands in is gone; its name would stay for ever.
    std::erase_if(lanes_, [](const auto& each) { return each.second.expired(); });
    auto& known = lanes_[lane];
    auto queue = known.lock();
    if (!queue) known = queue = workers_.makeQueue(kCapacity);
    // Without a thread for the lane, in which nothing waits then, the order waits for the command.
    if (!queue->push([queue, command] { command(); })) command();
}

}  // namespace impress
