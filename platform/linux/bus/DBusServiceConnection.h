#pragma once

#include "platform/linux/bus/DBusDelegateProxy.h"
#include "ports/ServiceListener.h"

#include <mutex>
#include <utility>

namespace bus {

/// The connection of one host, known by its unique name on the bus. Any thread; `invalidate` may come while the host's
/// call runs.
class DBusServiceConnection final : public ServiceConnection {
public:
    using Service = std::shared_ptr<KeynoteCaptureServiceProtocol>;

    DBusServiceConnection(std::shared_ptr<SessionBus> bus, const std::string& host,
                          std::shared_ptr<TimelineListener> timeline)
        : proxy_(std::make_shared<DBusDelegateProxy>(std::move(bus), host)), timeline_(std::move(timeline)) {}

    [[nodiscard]] std::shared_ptr<KeynoteCaptureServiceDelegate> remoteObjectProxy() override { return proxy_; }
    [[nodiscard]] std::shared_ptr<TimelineListener> timelineListener() override { return timeline_; }
    void setExportedObject(Service object) override {
        const std::lock_guard lock(mutex_);
        exportedObject_.swap(object);  // what it was is freed outside the lock
    }
    [[nodiscard]] Service exportedObject() const override {
        const std::lock_guard lock(mutex_);
        return exportedObject_;
    }
    void setInvalidationHandler(std::function<void()> handler) override {
        const std::lock_guard lock(mutex_);
        invalidationHandler_ = std::move(handler);
    }
    void resume() override { resumed_ = true; }

    /// Who serves the host's calls now; null before `resume`.
    [[nodiscard]] Service servingObject() const { return resumed_ ? exportedObject() : nullptr; }
    [[nodiscard]] DBusDelegateProxy& proxy() { return *proxy_; }
    /// The host has left: silences the proxy and calls the invalidation handler, once.
    void invalidate() {
        proxy_->invalidate();
        std::unique_lock lock(mutex_);
        const auto handler = std::exchange(invalidationHandler_, nullptr);
        lock.unlock();
        if (handler) handler();
    }

private:
    const std::shared_ptr<DBusDelegateProxy> proxy_;
    const std::shared_ptr<TimelineListener> timeline_;
    std::atomic<bool> resumed_ = false;
    mutable std::mutex mutex_;
    Service exportedObject_;  ///< this and what follows guarded by `mutex_`
    std::function<void()> invalidationHandler_;
};

}  // namespace bus
