#pragma once

#include "platform/linux/DBusDelegateProxy.h"
#include "ports/ServiceListener.h"

#include <utility>

/// The connection of one host, known by its unique name on the bus. Bus thread.
class DBusServiceConnection final : public ServiceConnection {
public:
    DBusServiceConnection(std::shared_ptr<SessionBus> bus, const std::string& host)
        : proxy_(std::make_shared<DBusDelegateProxy>(std::move(bus), host)) {}

    [[nodiscard]] std::shared_ptr<KeynoteCaptureServiceDelegate> remoteObjectProxy() override { return proxy_; }
    void setExportedObject(std::shared_ptr<KeynoteCaptureServiceProtocol> object) override {
        exportedObject_ = std::move(object);
    }
    [[nodiscard]] std::shared_ptr<KeynoteCaptureServiceProtocol> exportedObject() const override {
        return exportedObject_;
    }
    void setInvalidationHandler(std::function<void()> handler) override { invalidationHandler_ = std::move(handler); }
    void resume() override { resumed_ = true; }

    /// Who serves the host's calls now; null before `resume`.
    [[nodiscard]] std::shared_ptr<KeynoteCaptureServiceProtocol> servingObject() const {
        return resumed_ ? exportedObject_ : nullptr;
    }
    /// The host has left: silences the proxy and calls the invalidation handler, once.
    void invalidate() {
        proxy_->invalidate();
        if (const auto handler = std::exchange(invalidationHandler_, nullptr)) handler();
    }

private:
    const std::shared_ptr<DBusDelegateProxy> proxy_;
    std::shared_ptr<KeynoteCaptureServiceProtocol> exportedObject_;
    std::function<void()> invalidationHandler_;
    bool resumed_ = false;
};
