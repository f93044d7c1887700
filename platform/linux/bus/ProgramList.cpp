#include "platform/linux/bus/ProgramList.h"

#include <algorithm>
#include <utility>

namespace bus {

RunningProgram::RunningProgram(Facts facts, DispatchQueue& mainQueue)
    : facts_(std::move(facts)),
      mainQueue_(mainQueue),
      processIdentifier_(facts_.processIdentifier),
      since_(facts_.since) {}

void RunningProgram::setProcessIdentifier(pid_t processIdentifier, std::uint64_t since) {
    if (processIdentifier_ == processIdentifier) return;
    // In this order: whoever reads the new process must not find it older than it is.
    since_ = since;
    processIdentifier_ = processIdentifier;
    mainQueue_.async([weak = std::weak_ptr(observers_)] {
        if (const auto observers = weak.lock()) observers->notify();
    });
}

ProgramList::ProgramList(DispatchQueue& mainQueue) : mainQueue_(mainQueue) {}

void ProgramList::publish(Programs programs, bool isComplete) {
    State state{std::move(programs), isComplete};
    {
        const std::lock_guard lock(mutex_);
        if (state.programs == now_.programs && state.isComplete == now_.isComplete) return;
        now_ = state;
    }
    // With its own copy: by the time the queue gets to it, the list may have changed again.
    mainQueue_.async([weak = weak_from_this(), state = std::move(state)] {
        if (const auto self = weak.lock()) self->tell(state);
    });
}

void ProgramList::tell(const State& state) {
    bool areOthers = false;
    {
        const std::lock_guard lock(mutex_);
        // Being complete is no news to observers, who see programs only.
        areOthers = state.programs != told_.programs;
        told_ = state;
    }
    if (areOthers) observers_.notify();
}

std::optional<std::string> ProgramList::ownerOfBundle(const std::string& bundleIdentifier) const {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(now_.programs.rbegin(), now_.programs.rend(), [&](const auto& program) {
        return program->bundleIdentifier() == bundleIdentifier;
    });
    return found == now_.programs.rend() ? std::nullopt : std::optional((*found)->owner());
}

std::optional<std::string> ProgramList::ownerOfProcess(pid_t processIdentifier) const {
    const std::lock_guard lock(mutex_);
    const RunningProgram* first = nullptr;
    for (const auto& program : now_.programs) {
        if (program->processIdentifier() != processIdentifier) continue;
        // A program can claim any process; whoever had it first is believed.
        if (first == nullptr || program->since() < first->since()) first = program.get();
    }
    return first == nullptr ? std::nullopt : std::optional(first->owner());
}

bool ProgramList::isComplete() const {
    const std::lock_guard lock(mutex_);
    return now_.isComplete;
}

std::vector<std::shared_ptr<RunningApplication>> ProgramList::toldPrograms() const {
    const std::lock_guard lock(mutex_);
    return {told_.programs.begin(), told_.programs.end()};
}

bool ProgramList::toldIsComplete() const {
    const std::lock_guard lock(mutex_);
    return told_.isComplete;
}

}  // namespace bus
