#pragma once

#include "host/DelegateCalls.h"
#include "ports/ServiceListener.h"
#include "simulation/Watch.h"

#include <memory>
#include <string>

namespace simulation {

class Promises;

/// A host with its connection: what the service knows of it, and what it is told. Until it leaves, it and the service
/// keep each other.
class Host final : public host::DelegateCalls,
                   public TimelineListener,
                   public ServiceConnection,
                   public std::enable_shared_from_this<Host> {
public:
    Host(World& world, Promises& promises, int number);

    /// The connection ends.
    void leave();
    [[nodiscard]] bool hasLeft() const { return hasLeft_; }
    /// The service ends: whatever it was about to tell does not arrive.
    void loseService();
    /// Whether the service's object for this host is still there.
    [[nodiscard]] bool isServed() const { return !everServed_.expired(); }
    /// How traces call it, and its recording ID.
    [[nodiscard]] const std::string& name() const { return name_; }

    [[nodiscard]] std::shared_ptr<KeynoteCaptureServiceDelegate> remoteObjectProxy() override;
    [[nodiscard]] std::shared_ptr<TimelineListener> timelineListener() override;
    void setExportedObject(std::shared_ptr<KeynoteCaptureServiceProtocol> object) override;
    [[nodiscard]] std::shared_ptr<KeynoteCaptureServiceProtocol> exportedObject() const override;
    void setInvalidationHandler(std::function<void()> handler) override;
    void resume() override {}
    void timelineReport(const TimelineReport& report) override;

    Watch watch;  ///< what it is promised

private:
    void take(const host::DelegateCall& call) override;

    Promises& promises_;
    const std::string name_;
    bool hasLeft_ = false;
    bool hasLostService_ = false;
    std::function<void()> invalidate_;
    std::shared_ptr<KeynoteCaptureServiceProtocol> object_;
    std::weak_ptr<KeynoteCaptureServiceProtocol> everServed_;
};
using HostPtr = std::shared_ptr<Host>;

}  // namespace simulation
