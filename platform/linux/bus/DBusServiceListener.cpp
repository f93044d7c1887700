#include "platform/linux/bus/DBusServiceListener.h"

#include "bus/Names.h"
#include "bus/TimelineContract.h"
#include "platform/linux/bus/DBusServedHost.h"
#include "ports/Log.h"
#include "runtime/LoopDispatch.h"

#include <cstdlib>
#include <map>

namespace bus {
namespace {

constexpr std::size_t kMostHosts = 256;

/// Serves the call on its host's queue. Bus thread.
void push(const std::shared_ptr<DBusServedHost>& host, const HostCall& call) {
    const auto serve = [host, call] {
        call.refuseFailure([&] {
            call.check();
            const auto service = host->object();
            if (call.kind == HostCall::Kind::extraction) call.succeed();
            if (call.kind == HostCall::Kind::waitForSaving) host->beginWait();
            call.run(*service);
        });
    };
    if (call.kind != HostCall::Kind::extraction) return host->push(serve);
    call.check();
    host->pushExtraction(serve);
    if (host->isSetUp()) call.succeed();  // its turn may be long in coming
}

}  // namespace

/// The hosts by unique name. Bus thread.
class DBusServiceListener::Hosts {
public:
    Hosts(std::shared_ptr<SessionBus> bus, Peer& daemon, ServiceListenerDelegate* delegate, const HostHooks& hooks,
          const runtime::Workers& workers)
        : bus_(std::move(bus)),
          daemon_(daemon),
          delegate_(delegate),
          hooks_(hooks),
          workers_(workers),
          timeline_(serveTimeline(bus_)) {}

    [[nodiscard]] bool empty() const { return hosts_.empty(); }

    /// The host of this name, known from its first call on. Throws `Failure` when there are too many.
    std::shared_ptr<DBusServedHost> named(const std::string& name) {
        const auto found = hosts_.find(name);
        return found != hosts_.end() ? found->second.host : add(name);
    }

private:
    struct Entry {
        std::shared_ptr<DBusServedHost> host;
        Handle watch;
    };

    std::shared_ptr<DBusServedHost> add(const std::string& name) {
        if (hosts_.size() == kMostHosts) {
            throw Failure(kLimitsExceeded, "The capture service has 256 hosts already; disconnect one first.");
        }
        // Watched first, so that nothing is made for a host whose leaving could be missed.
        auto watch = watchLeaving(name);
        auto host = std::make_shared<DBusServedHost>(bus_, name, delegate_, timeline_, workers_);
        hosts_.emplace(name, Entry{host, std::move(watch)});
        if (hooks_.hostCame) hooks_.hostCame();
        checkPresence(name);
        return host;
    }

    Handle watchLeaving(const std::string& name) {
        return bus_->connection().watchNames("arg0='" + name + "'",
                                             [this](const auto& left, const auto&) { removeLater(left); });
    }

    /// A host that left before it was watched.
    void checkPresence(const std::string& name) {
        daemon_.ask<bool>(makeCall<bool>(kBusDaemon, "NameHasOwner", name), Peer::kDefaultTimeout,
                          [this, name](const Failure* failure, bool present) {
                              if (failure == nullptr && !present) removeLater(name);
                          });
    }

    void removeLater(const std::string& name) {
        bus_->post([this, name] { remove(name); });
    }

    void remove(const std::string& name) {
        // Told twice when a host leaves while its presence is being checked.
        auto node = hosts_.extract(name);
        if (!node) return;
        node.mapped().host->leave();
        if (hooks_.hostLeft) hooks_.hostLeft();
    }

    const std::shared_ptr<SessionBus> bus_;
    Peer& daemon_;
    ServiceListenerDelegate* const delegate_;
    const HostHooks& hooks_;
    const runtime::Workers& workers_;
    const std::shared_ptr<TimelineListener> timeline_;
    std::map<std::string, Entry> hosts_;
};

DBusServiceListener::DBusServiceListener(std::shared_ptr<SessionBus> bus, runtime::LoopDispatch& dispatch,
                                         ConsoleLog& consoleLog, HostHooks hooks)
    : bus_(std::move(bus)),
      dispatch_(dispatch),
      consoleLog_(consoleLog),
      hooks_(std::move(hooks)),
      workers_([&consoleLog](const std::string& what) { consoleLog.write("A host's call failed: " + what); }) {}

DBusServiceListener::~DBusServiceListener() {
    if (bus_) bus_->stop();
}

int DBusServiceListener::resume() {
    if (!publish()) return EXIT_FAILURE;
    bus_->start([this] {
        consoleLog_.write("Lost the connection to the session bus; the capture service ends.");
        dispatch_.stop(EXIT_FAILURE);
    });
    const int status = dispatch_.run();
    // Calls under way may still send, so the bus goes last.
    workers_.stop();
    workers_.join();
    bus_->stop();
    return status;
}

/// Exports the object, then takes the name, so that the first call finds everything in place.
bool DBusServiceListener::publish() {
    if (!bus_) return false;
    try {
        daemon_ = std::make_unique<Peer>(bus_->connection(), kBusDaemon, kBusDaemonPath);
        hosts_ = std::make_unique<Hosts>(bus_, *daemon_, delegate_, hooks_, workers_);
        exportedObject_ = serveHosts(bus_, [this](HostCall call) {
            bus_->post(
                [this, call = std::move(call)] { call.refuseFailure([&] { push(hosts_->named(call.host), call); }); });
        });
        bus_->connection().requestName(kServiceName);
        return true;
    } catch (const Failure& failure) {
        consoleLog_.write("Cannot serve as " + std::string(kServiceName) + " on the session bus: " + failure.what() +
                          ". Is another capture service running?");
        return false;
    }
}

void DBusServiceListener::endIfUnused() {
    bus_->post([this] { giveNameBack(); });
}

/// The daemon's next answer comes after every call that was sent to the name while it was ours.
void DBusServiceListener::giveNameBack() {
    if (!hosts_->empty()) return;  // one has come since
    try {
        bus_->connection().releaseName(kServiceName);
        daemon_->ask<std::string>(
            makeCall<std::string>(kBusDaemon, "GetId"), Peer::kDefaultTimeout,
            [this](const Failure*, const std::string&) { bus_->post([this] { endOrTakeNameAgain(); }); });
    } catch (const Failure&) {
        dispatch_.stop(EXIT_SUCCESS);
    }
}

void DBusServiceListener::endOrTakeNameAgain() {
    try {
        if (hosts_->empty()) return dispatch_.stop(EXIT_SUCCESS);
        bus_->connection().requestName(kServiceName);
    } catch (const Failure&) {
        // A new process has the name by now; this one serves the hosts it has.
    }
}

}  // namespace bus
