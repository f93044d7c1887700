#pragma once

#include "platform/linux/bus/DBusServiceConnection.h"
#include "runtime/WorkQueue.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

namespace bus {

/// A host on the bus: its connection, and the queue on which its calls run one after the other. A call that waits holds
/// up the later ones of this host, and nobody else's.
class DBusServedHost {
public:
    using Service = std::shared_ptr<KeynoteCaptureServiceProtocol>;

    /// The delegate, which may be null, must outlive the host.
    DBusServedHost(std::shared_ptr<SessionBus> bus, std::string name, ServiceListenerDelegate* delegate,
                   std::shared_ptr<TimelineListener> timeline, const runtime::Workers& workers);

    /// Runs a call on the host's queue. Throws `Failure` when too many wait there. Any thread.
    void push(Task call);
    /// The same for an extraction, of which fewer may wait.
    void pushExtraction(Task call);
    /// The object that serves the host, made by the first call; a refused set-up is tried again by the next one. Throws
    /// `Failure` when there is none. On the host's queue.
    [[nodiscard]] Service object();
    /// Whether there is such an object. Any thread.
    [[nodiscard]] bool isSetUp() const;
    /// Counts a wait for saving that is about to begin. Throws `Failure` when too many have not ended. On the
    /// host's queue.
    void beginWait() const;
    /// The host has left the bus: its calls that wait are dropped, and its connection is invalidated. Any thread.
    void leave();

private:
    [[nodiscard]] std::shared_ptr<DBusServiceConnection> connection() const;
    [[nodiscard]] std::shared_ptr<DBusServiceConnection> connect();

    const std::shared_ptr<SessionBus> bus_;
    const std::string name_;
    ServiceListenerDelegate* const delegate_;
    const std::shared_ptr<TimelineListener> timeline_;
    const std::unique_ptr<runtime::WorkQueue> calls_;
    /// Each extraction that has not ended owns it, too; counted on the bus thread, where they come.
    const std::shared_ptr<void> extraction_ = std::make_shared<std::byte>();
    mutable std::mutex mutex_;
    std::shared_ptr<DBusServiceConnection> connection_;  ///< this and what follows guarded by `mutex_`
    bool hasLeft_ = false;
};

}  // namespace bus
