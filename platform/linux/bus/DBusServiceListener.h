#pragma once

#include "bus/Peer.h"
#include "bus/ServiceServer.h"
#include "bus/SessionBus.h"
#include "ports/ServiceListener.h"
#include "runtime/WorkQueue.h"

#include <functional>
#include <memory>

namespace runtime {
class LoopDispatch;
}
class ConsoleLog;

namespace bus {

/// Serves hosts on the session bus under the service's well-known name.
///
/// A host is whoever calls a method of the protocol, known by its unique name. Its first call makes a connection, which
/// the delegate sets up and accepts; later calls go to the same exported object. When the unique name leaves the bus
/// the connection is invalidated and dropped.
///
/// The calls of a host, its set-up among them, run in the order in which the daemon saw them on a queue of that host,
/// so one that waits for a program holds up no other host. Invalidations come at once, on the bus thread.
///
/// A call that cannot be served is answered with an error: no exported object, too many hosts, calls or extractions
/// that wait, texts that are too long, or a handler that failed. After a refused set-up the host's next call tries
/// anew.
class DBusServiceListener final : public ServiceListener {
public:
    /// Told on the bus thread when a host has come or left; either may be empty.
    struct HostHooks {
        std::function<void()> hostCame;
        std::function<void()> hostLeft;
    };

    /// The bus may be null: `resume` fails then, whoever tried to open it has said why. Dispatch and log must outlive
    /// the listener.
    DBusServiceListener(std::shared_ptr<SessionBus> bus, runtime::LoopDispatch& dispatch, ConsoleLog& consoleLog,
                        HostHooks hooks);
    ~DBusServiceListener() override;
    DBusServiceListener(const DBusServiceListener&) = delete;
    DBusServiceListener& operator=(const DBusServiceListener&) = delete;

    void setDelegate(ServiceListenerDelegate* delegate) override { delegate_ = delegate; }
    /// Takes the name, starts the bus thread and runs the main queue. Status 1 when the name is taken or the bus goes
    /// away; the console log has a sentence then.
    [[nodiscard]] int resume() override;
    /// Ends `resume` with status 0 unless a host comes meanwhile: the name is given back first, so that no call is lost
    /// between two processes. Any thread, after `resume` has begun.
    void endIfUnused();

private:
    class Hosts;

    [[nodiscard]] bool publish();
    void giveNameBack();
    void endOrTakeNameAgain();

    const std::shared_ptr<SessionBus> bus_;
    runtime::LoopDispatch& dispatch_;
    ConsoleLog& consoleLog_;
    const HostHooks hooks_;
    const runtime::Workers workers_;
    ServiceListenerDelegate* delegate_ = nullptr;
    std::unique_ptr<Peer> daemon_;
    std::unique_ptr<Hosts> hosts_;
    Handle exportedObject_;
};

}  // namespace bus
