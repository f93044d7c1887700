#include "simulation/Host.h"

#include "simulation/Promises.h"

#include <utility>

namespace simulation {

Host::Host(World& world, Promises& promises, int number)
    : watch(world, promises, *this), promises_(promises), name_("R" + std::to_string(number)) {}

void Host::leave() {
    watch.leave();
    hasLeft_ = true;
    // As platforms do it: the handler runs once.
    if (const auto handler = std::exchange(invalidate_, nullptr)) handler();
}

void Host::loseService() {
    hasLostService_ = true;
    leave();
}

std::shared_ptr<KeynoteCaptureServiceDelegate> Host::remoteObjectProxy() {
    return shared_from_this();
}

std::shared_ptr<TimelineListener> Host::timelineListener() {
    return shared_from_this();
}

void Host::setExportedObject(std::shared_ptr<KeynoteCaptureServiceProtocol> object) {
    object_ = std::move(object);
    if (object_) everServed_ = object_;
}

std::shared_ptr<KeynoteCaptureServiceProtocol> Host::exportedObject() const {
    return object_;
}

void Host::setInvalidationHandler(std::function<void()> handler) {
    invalidate_ = std::move(handler);
}

void Host::timelineReport(const TimelineReport& report) {
    if (!hasLostService_) promises_.reported(*this, report);
}

void Host::take(const host::DelegateCall& call) {
    if (!hasLostService_) promises_.told(*this, call);
}

}  // namespace simulation
