#include "platform/linux/bus/ProgramFinder.h"

#include "bus/Names.h"

#include <utility>

ProgramFinder::ProgramFinder(std::shared_ptr<bus::SessionBus> bus, std::shared_ptr<ProgramList> list)
    : bus_(std::move(bus)), list_(std::move(list)), daemon_(bus_->connection(), bus::kBusDaemon, bus::kBusDaemonPath) {}

void ProgramFinder::find(const std::string& bundleIdentifier, Found found) {
    std::unique_lock lock(mutex_);
    if (isShutDown_) {
        lock.unlock();
        return found(std::nullopt);
    }
    const std::uint64_t number = ++lastNumber_;
    waits_.emplace(number, Wait{bundleIdentifier, std::move(found)});
    lock.unlock();
    bus_->post([this] { check(); });
    bus_->after(kPatience, [this, number] { giveUp(number); });
}

void ProgramFinder::check() {
    std::vector<std::pair<Found, std::optional<std::string>>> ended;
    std::vector<std::pair<std::uint64_t, std::string>> starts;
    {
        const std::lock_guard lock(mutex_);
        const bool isComplete = list_->isComplete();
        for (auto each = waits_.begin(); each != waits_.end();) {
            auto& [number, wait] = *each;
            auto owner = list_->ownerOfBundle(wait.bundleIdentifier);
            if (owner || (isComplete && wait.hasFailed)) {
                ended.emplace_back(std::move(wait.found), std::move(owner));
                each = waits_.erase(each);
                continue;
            }
            if (isComplete && !std::exchange(wait.isStarting, true)) starts.emplace_back(number, wait.bundleIdentifier);
            ++each;
        }
    }
    for (const auto& [number, bundleIdentifier] : starts) start(number, bundleIdentifier);
    for (const auto& [found, owner] : ended) found(owner);
}

void ProgramFinder::start(std::uint64_t number, const std::string& bundleIdentifier) {
    const auto answer = [this, number](const bus::Failure* failure, std::uint32_t) {
        if (failure != nullptr) bus_->post([this, number] { failed(number); });  // after what appeared meanwhile
    };
    try {
        daemon_.ask<std::uint32_t>(
            bus::makeCall<std::uint32_t>(bus::kBusDaemon, "StartServiceByName", bundleIdentifier, std::uint32_t{0}),
            kPatience, answer);
    } catch (const bus::Failure&) {
        giveUp(number);
    }
}

void ProgramFinder::failed(std::uint64_t number) {
    {
        const std::lock_guard lock(mutex_);
        const auto wait = waits_.find(number);
        if (wait == waits_.end()) return;
        wait->second.hasFailed = true;
    }
    check();
}

void ProgramFinder::giveUp(std::uint64_t number) {
    std::unique_lock lock(mutex_);
    const auto wait = waits_.extract(number);
    lock.unlock();
    if (wait) wait.mapped().found(std::nullopt);
}

void ProgramFinder::shutDown() {
    Waits ended;
    {
        const std::lock_guard lock(mutex_);
        isShutDown_ = true;
        ended.swap(waits_);
    }
    for (const auto& [number, wait] : ended) wait.found(std::nullopt);
}
