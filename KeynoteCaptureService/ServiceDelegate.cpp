#include "KeynoteCaptureService/ServiceDelegate.h"

#include "KeynoteCaptureService/KeynoteCaptureService.h"

bool ServiceDelegate::listenerShouldAcceptNewConnection(const std::shared_ptr<ServiceConnection>& newConnection) {
    const auto service = KeynoteCaptureService::initWithDelegate(newConnection->remoteObjectProxy());
    if (service) service->setTimelineListener(newConnection->timelineListener());
    newConnection->setInvalidationHandler(
        // Weakly: the connection owns both the handler and the service, and would keep itself alive.
        [weakConnection = std::weak_ptr(newConnection), weakService = std::weak_ptr(service)] {
            const auto exported = weakService.lock();
            // Whatever comes of the stop: nothing is kept for a host that has left.
            if (const auto connection = weakConnection.lock()) connection->setExportedObject(nullptr);
            if (!exported) return;
            // First: what the stop finds is not told to a host that has left.
            exported->setDelegate(nullptr);
            exported->stopDetectionAndCapture();
        });
    // Null when the service cannot be set up: the connection then refuses the host's calls.
    newConnection->setExportedObject(service);
    newConnection->resume();
    return true;
}
