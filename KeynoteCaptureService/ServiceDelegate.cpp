#include "KeynoteCaptureService/ServiceDelegate.h"

#include "KeynoteCaptureService/KeynoteCaptureService.h"

bool ServiceDelegate::listenerShouldAcceptNewConnection(const std::shared_ptr<ServiceConnection>& newConnection) {
    const auto service = KeynoteCaptureService::initWithDelegate(newConnection->remoteObjectProxy());
    if (service) service->setTimelineListener(newConnection->timelineListener());
    // Null when the service cannot be set up: the connection then refuses the host's calls.
    newConnection->setExportedObject(service);
    newConnection->setInvalidationHandler(
        // Weakly: the connection owns both the handler and the service, and would keep itself alive.
        [weakConnection = std::weak_ptr(newConnection), weakService = std::weak_ptr(service)] {
            if (const auto exported = weakService.lock()) {
                // First: what the stop finds is not told to a host that has left.
                exported->setDelegate(nullptr);
                exported->stopDetectionAndCapture();
            }
            if (const auto connection = weakConnection.lock()) connection->setExportedObject(nullptr);
        });
    newConnection->resume();
    return true;
}
