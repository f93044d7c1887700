#include "platform/linux/bus/ProgramFinder.h"

#include "bus/Names.h"

#include <utility>

namespace bus {

ProgramFinder::ProgramFinder(std::shared_ptr<SessionBus> bus, std::shared_ptr<ProgramList> list)
    : bus_(std::move(bus)), list_(std::move(list)), daemon_(bus_->connection(), kBusDaemon, kBusDaemonPath) {}

void ProgramFinder::find(const std::string& bundleIdentifier, Found found) {
    bus_->post([this, bundleIdentifier, found = std::move(found)] {
        // A stop must not have to wait for what is asked for after it.
        if (isShutDown_) return found(std::nullopt);
        const std::uint64_t number = ++lastNumber_;
        waits_.emplace(number, Wait{bundleIdentifier, found});
        bus_->after(kPatience, [this, number] { end(number, std::nullopt); });
        check();
    });
}

void ProgramFinder::check() {
    const bool isComplete = list_->isComplete();
    for (auto each = waits_.begin(); each != waits_.end();) {
        auto& [number, wait] = *each++;  // which may end now
        const auto owner = list_->ownerOfBundle(wait.bundleIdentifier);
        if (owner || (isComplete && wait.hasFailed)) {
            end(number, owner);
            // Not before all programs have said what they are: a second one must not be started beside the first.
        } else if (isComplete && !std::exchange(wait.isStarting, true)) {
            start(number, wait.bundleIdentifier);
        }
    }
}

void ProgramFinder::start(std::uint64_t number, const std::string& bundleIdentifier) {
    const auto answer = [this, number](const Failure* failure, std::uint32_t) {
        if (failure != nullptr) bus_->post([this, number] { failed(number); });  // after what appeared meanwhile
    };
    try {
        daemon_.ask<std::uint32_t>(
            makeCall<std::uint32_t>(kBusDaemon, "StartServiceByName", bundleIdentifier, std::uint32_t{0}), kPatience,
            answer);
    } catch (const Failure&) {
        end(number, std::nullopt);
    }
}

void ProgramFinder::failed(std::uint64_t number) {
    const auto wait = waits_.find(number);
    if (wait == waits_.end()) return;
    wait->second.hasFailed = true;
    check();
}

/// Unless it has ended already.
void ProgramFinder::end(std::uint64_t number, const std::optional<std::string>& owner) {
    if (const auto wait = waits_.extract(number)) wait.mapped().found(owner);
}

void ProgramFinder::shutDown() {
    bus_->post([this] {
        isShutDown_ = true;
        while (!waits_.empty()) end(waits_.begin()->first, std::nullopt);
    });
}

}  // namespace bus
