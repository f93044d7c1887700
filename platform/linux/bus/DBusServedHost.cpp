#include "platform/linux/bus/DBusServedHost.h"

#include <utility>

namespace bus {
namespace {

constexpr std::size_t kMostCalls = 1000;
constexpr long kMostExtractions = 32;
constexpr int kMostWaits = 32;

}  // namespace

DBusServedHost::DBusServedHost(std::shared_ptr<SessionBus> bus, std::string name, ServiceListenerDelegate* delegate,
                               std::shared_ptr<TimelineListener> timeline, const runtime::Workers& workers)
    : bus_(std::move(bus)),
      name_(std::move(name)),
      delegate_(delegate),
      timeline_(std::move(timeline)),
      calls_(workers.makeQueue(kMostCalls)) {}

void DBusServedHost::push(Task call) {
    if (calls_->push(std::move(call))) return;
    throw Failure(kLimitsExceeded, "Too many calls of this host are waiting; call again when some are answered.");
}

void DBusServedHost::pushExtraction(Task call) {
    // The host itself owns one; the extraction under way is not among those that wait.
    if (extraction_.use_count() - 1 > kMostExtractions) {
        throw Failure(kLimitsExceeded, "Too many extractions are waiting; ask again when some have ended.");
    }
    push([extraction = extraction_, call = std::move(call)] { call(); });
}

DBusServedHost::Service DBusServedHost::object() {
    // Only calls of this host come here, one at a time, so nobody else connects meanwhile.
    auto present = connection();
    if (!present) present = connect();
    auto object = present->servingObject();
    if (!object) throw Failure(kFailed, "The capture service has no object to serve this host any more.");
    return object;
}

bool DBusServedHost::isSetUp() const {
    const auto present = connection();
    return present && present->servingObject();
}

std::shared_ptr<DBusServiceConnection> DBusServedHost::connection() const {
    const std::lock_guard lock(mutex_);
    return connection_;
}

std::shared_ptr<DBusServiceConnection> DBusServedHost::connect() {
    auto made = std::make_shared<DBusServiceConnection>(bus_, name_, timeline_);
    const bool accepted = delegate_ != nullptr && delegate_->listenerShouldAcceptNewConnection(made);
    if (!accepted || !made->servingObject()) {
        throw Failure(kFailed,
                      "The capture service could not set itself up for this host, probably because a directory "
                      "cannot be created; see its log, then call again.");
    }
    // It may have left while the service set itself up; then `leave` found no connection to invalidate.
    std::unique_lock lock(mutex_);
    connection_ = made;
    const bool hasLeft = hasLeft_;
    lock.unlock();
    if (hasLeft) made->invalidate();
    return made;
}

void DBusServedHost::beginWait() const {
    if (connection()->proxy().beginWait(kMostWaits)) return;
    throw Failure(kLimitsExceeded, "32 waits for saving of this host have not ended; ask again when one has.");
}

void DBusServedHost::leave() {
    calls_->end();
    std::unique_lock lock(mutex_);
    hasLeft_ = true;
    const auto present = connection_;
    lock.unlock();
    if (present) present->invalidate();
}

}  // namespace bus
