#include "bus/Connection.h"

#include "bus/Failure.h"
#include "bus/Names.h"
#include "bus/Sdbus.h"

#include <poll.h>
#include <chrono>
#include <utility>

namespace bus {
namespace {

using namespace std::chrono_literals;

/// Other tasks of the loop get their turn after so many messages.
constexpr int kMostAtOnce = 64;
/// How soon what the daemon could not take at once is sent again.
constexpr auto kSendAgain = 10ms;

/// Whether the connection serves nothing any more: it is closed, or stuck in a callback that never returned to it.
bool isLost(const sdbus::IConnection& connection, const sdbus::Error& failure) {
    if (failure.getName() == "System.Error.EBUSY") return true;
    try {
        static_cast<void>(connection.getEventLoopPollData());  // throws when closed
        return false;
    } catch (const sdbus::Error&) {
        return true;
    }
}

/// Serves one message that has arrived; whether there may be more. Throws when the bus has gone away.
bool processPending(sdbus::IConnection& connection) {
    try {
        return processOne(connection);
    } catch (const sdbus::Error& failure) {
        if (isLost(connection, failure)) throw;
        return true;
    }
}

}  // namespace

/// On the loop's thread, but for its construction and `wake`.
class Connection::Server : public std::enable_shared_from_this<Server> {
public:
    Server(sdbus::IConnection& connection, runtime::Loop& loop, std::function<void()> onLost)
        : connection_(connection), loop_(loop), onLost_(std::move(onLost)) {}

    void begin() { watch_ = loop_.watch(connection_.getEventLoopPollData().fd, serving()); }
    void wake() { loop_.async(serving()); }

private:
    /// Whoever is told that the bus has gone may drop the connection, and so this.
    Task serving() {
        return [weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->serve();
        };
    }

    void serve() {
        // A wake-up may be due after the bus has gone.
        if (!watch_) return;
        try {
            for (int served = 0; served < kMostAtOnce && processPending(connection_);) ++served;
            const auto data = connection_.getEventLoopPollData();
            if ((data.events & POLLOUT) != 0) wakeAt(Instant::clock::now() + kSendAgain);
            // Overdue at once is what was read by somebody who waited for a reply: nothing need arrive for it.
            wakeAt(dueTime(data));
        } catch (const sdbus::Error&) {
            watch_.reset();
            onLost_();
        }
    }

    /// The library counts time-outs but does not watch the clock.
    void wakeAt(Instant time) {
        if (time >= wakeTime_) return;
        wakeTime_ = time;
        loop_.after(time - Instant::clock::now(), [weak = weak_from_this(), time] {
            const auto self = weak.lock();
            if (!self || self->wakeTime_ != time) return;
            self->wakeTime_ = Instant::max();
            self->serve();
        });
    }

    sdbus::IConnection& connection_;
    runtime::Loop& loop_;
    const std::function<void()> onLost_;
    Handle watch_;                       ///< null when the bus has gone
    Instant wakeTime_ = Instant::max();  ///< when `serve` runs next even if nothing arrives
};

Connection::Connection() : library_(translated([] { return sdbus::createSessionBusConnection(); })) {}

Connection::~Connection() = default;

void Connection::serveOn(runtime::Loop& loop, std::function<void()> onLost) {
    server_ = std::make_shared<Server>(*library_, loop, std::move(onLost));
    if (const auto failure = failureOf(kFailed, [this] { server_->begin(); })) throw Failure(*failure);
}

void Connection::wake() const {
    if (server_) server_->wake();
}

void Connection::requestName(const std::string& name) {
    translated([&] { library_->requestName(ServiceName(name)); });
    wake();
}

void Connection::releaseName(const std::string& name) {
    translated([&] { library_->releaseName(ServiceName(name)); });
    wake();
}

Handle Connection::addMatch(const std::string& rule, std::function<void(sdbus::Message&)> callback) {
    struct Match final : Registration {
        explicit Match(sdbus::Slot taken) : slot(std::move(taken)) {}
        const sdbus::Slot slot;
    };
    const auto call = [callback = std::move(callback)](auto&& message) { guarded([&] { callback(message); }); };
    auto match = translated([&] { return std::make_unique<Match>(bus::addMatch(*library_, rule, call)); });
    wake();
    return match;
}

Handle Connection::watchNames(const std::string& condition,
                              std::function<void(const std::string& name, const std::string& owner)> changed) {
    const std::string rule =
        "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
        "interface='org.freedesktop.DBus',member='NameOwnerChanged'," +
        condition;
    return addMatch(rule, [changed = std::move(changed)](sdbus::Message& message) {
        if (senderOf(message) != kBusDaemon) return;
        std::string name;
        std::string before;
        std::string now;
        message >> name >> before >> now;
        changed(name, now);
    });
}

}  // namespace bus
