#pragma once

#include "platform/linux/bus/SessionBus.h"

#include <sdbus-c++/Error.h>
#include <sdbus-c++/MethodResult.h>
#include <atomic>
#include <memory>
#include <utility>

/// The answer that a host's call still owes. Exactly one is sent, from any thread: the first of `succeed` and `fail`,
/// or success with empty results when the last owner lets go. Nothing is sent once the bus has stopped.
template <typename... Results>
class PendingReply {
public:
    PendingReply(std::shared_ptr<SessionBus> bus, sdbus::Result<Results...>&& result)
        : bus_(std::move(bus)), result_(std::move(result)) {}
    ~PendingReply() { succeed(Results{}...); }
    PendingReply(const PendingReply&) = delete;
    PendingReply& operator=(const PendingReply&) = delete;

    void succeed(const Results&... results) noexcept {
        if (!take()) return;
        attempt([&] { result_.returnResults(results...); });
    }
    void fail(const sdbus::Error& error) noexcept {
        if (!take()) return;
        if (attempt([&] { result_.returnError(error); })) return;
        attempt([&] { result_.returnError(sdbus::Error(kFailed, "The call failed.")); });
    }

private:
    [[nodiscard]] bool take() { return !answered_.exchange(true) && !bus_->hasStopped(); }

    template <typename Send>
    static bool attempt(const Send& send) noexcept {
        try {
            send();
            return true;
        } catch (const std::exception&) {
            return false;  // the host or the bus is gone, or a text cannot travel
        }
    }

    const std::shared_ptr<SessionBus> bus_;
    const sdbus::Result<Results...> result_;
    std::atomic<bool> answered_ = false;
};
