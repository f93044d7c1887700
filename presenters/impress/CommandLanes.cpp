#include "presenters/impress/CommandLanes.h"

#include <thread>
#include <utility>

namespace {

constexpr const char* kOrder = "";  ///< the lane through which all commands pass

}  // namespace

CommandLanes::~CommandLanes() {
    std::unique_lock lock(mutex_);
    ended_ = true;
    laneEnded_.wait(lock, [this] { return lanes_.empty(); });
}

bool CommandLanes::pushInOrder(Command command) {
    if (!accept()) return false;
    enqueue(kOrder, done(std::move(command)));
    return true;
}

bool CommandLanes::pushInLane(const std::string& lane, Command command) {
    if (!accept()) return false;
    enqueue(kOrder, std::bind_front(&CommandLanes::enqueue, this, "lane " + lane, done(std::move(command))));
    return true;
}

bool CommandLanes::isEmpty() const {
    const std::lock_guard lock(mutex_);
    return accepted_ == 0;
}

bool CommandLanes::accept() {
    const std::lock_guard lock(mutex_);
    if (accepted_ >= kCapacity) return false;
    ++accepted_;
    return true;
}

CommandLanes::Command CommandLanes::done(Command command) {
    return [this, command = std::move(command)] {
        command();
        const std::lock_guard lock(mutex_);
        --accepted_;
    };
}

void CommandLanes::enqueue(const std::string& lane, Command command) {
    const std::lock_guard lock(mutex_);
    const auto [position, isNew] = lanes_.try_emplace(lane);
    position->second.push_back(std::move(command));
    if (isNew) std::thread([this, lane] { run(lane); }).detach();
}

void CommandLanes::run(const std::string& lane) {
    std::unique_lock lock(mutex_);
    auto& commands = lanes_.at(lane);
    while (!ended_ && !commands.empty()) {
        // Its place stays taken while it runs: the lane exists as long as its thread. What it holds goes outside the
        // lock, because letting go of the office's objects may wait for the office.
        Command command = std::exchange(commands.front(), nullptr);
        lock.unlock();
        command();
        command = nullptr;
        lock.lock();
        commands.pop_front();
    }
    lanes_.erase(lane);
    laneEnded_.notify_all();
}
