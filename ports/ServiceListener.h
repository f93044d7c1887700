#pragma once

#include "ports/KeynoteCaptureServiceDelegate.h"
#include "ports/KeynoteCaptureServiceProtocol.h"

#include <functional>
#include <memory>

/// One host's connection. The handler and the accessors run on the connection's thread.
class ServiceConnection {
public:
    virtual ~ServiceConnection() = default;
    /// The host's end: calls on it are sent without waiting, and go nowhere once the host is gone. Never null.
    [[nodiscard]] virtual std::shared_ptr<KeynoteCaptureServiceDelegate> remoteObjectProxy() = 0;
    /// Who serves the host's calls; owned by the connection. Null: every call is refused with an error.
    virtual void setExportedObject(std::shared_ptr<KeynoteCaptureServiceProtocol> object) = 0;
    [[nodiscard]] virtual std::shared_ptr<KeynoteCaptureServiceProtocol> exportedObject() const = 0;
    /// Called once, when the host has left.
    virtual void setInvalidationHandler(std::function<void()> handler) = 0;
    /// Begins to deliver the host's calls to the exported object.
    virtual void resume() = 0;
};

/// Decides about new connections.
class ServiceListenerDelegate {
public:
    virtual ~ServiceListenerDelegate() = default;
    /// `listener:shouldAcceptNewConnection:`: sets the connection up and answers whether it is accepted.
    /// Runs on the connection's thread.
    [[nodiscard]] virtual bool listenerShouldAcceptNewConnection(
        const std::shared_ptr<ServiceConnection>& newConnection) = 0;
};

/// Waits for hosts.
class ServiceListener {
public:
    virtual ~ServiceListener() = default;
    /// The delegate must outlive the listener. Before `resume`.
    virtual void setDelegate(ServiceListenerDelegate* delegate) = 0;
    /// Hands the main thread over to the service's main loop; returns only when the process is to end, with its
    /// exit status.
    [[nodiscard]] virtual int resume() = 0;
};
