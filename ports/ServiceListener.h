#pragma once

#include "ports/KeynoteCaptureServiceDelegate.h"
#include "ports/KeynoteCaptureServiceProtocol.h"
#include "ports/Timeline.h"

#include <functional>
#include <memory>

/// One host's connection. Its operations may be called from any thread; it is set up before `resume`.
class ServiceConnection {
public:
    virtual ~ServiceConnection() = default;
    /// The host's end. Calls on it are sent without waiting, from any thread, and go nowhere once the host is gone.
    /// Never null.
    [[nodiscard]] virtual std::shared_ptr<KeynoteCaptureServiceDelegate> remoteObjectProxy() = 0;
    /// Whoever follows the timeline. May be told when the host has gone, too; goes nowhere once the service ends.
    /// Never null.
    [[nodiscard]] virtual std::shared_ptr<TimelineListener> timelineListener() = 0;
    /// Who serves the host's calls; the connection keeps it. Null: every call is refused with an error.
    virtual void setExportedObject(std::shared_ptr<KeynoteCaptureServiceProtocol> object) = 0;
    /// What was set; null when nothing was.
    [[nodiscard]] virtual std::shared_ptr<KeynoteCaptureServiceProtocol> exportedObject() const = 0;
    /// The handler is called once, when the host has left, on a thread of the platform's. It must not wait. What keeps
    /// the connection alive must not be kept by its handler.
    virtual void setInvalidationHandler(std::function<void()> handler) = 0;
    /// Begins to deliver the host's calls to the exported object, one after the other. To be called once.
    virtual void resume() = 0;
};

/// Decides about new connections.
class ServiceListenerDelegate {
public:
    virtual ~ServiceListenerDelegate() = default;
    /// `listener:shouldAcceptNewConnection:`: sets the connection up and answers whether it is accepted. False: the
    /// host's calls are refused with an error. Runs where the host's calls will; other hosts do not wait for it.
    [[nodiscard]] virtual bool listenerShouldAcceptNewConnection(
        const std::shared_ptr<ServiceConnection>& newConnection) = 0;
};

/// Waits for hosts. Used by the main thread.
class ServiceListener {
public:
    virtual ~ServiceListener() = default;
    /// Who decides about hosts. To be called before `resume`; the caller keeps the delegate longer than the listener.
    virtual void setDelegate(ServiceListenerDelegate* delegate) = 0;
    /// Hands the main thread over to the service's main loop. Returns only when the process is to end, with its exit
    /// status: 0, or another one when hosts cannot be served.
    [[nodiscard]] virtual int resume() = 0;
};
