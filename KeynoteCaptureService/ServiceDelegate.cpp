#include "KeynoteCaptureService/ServiceDelegate.h"

#include "KeynoteCaptureService/KeynoteCaptureService.h"

bool ServiceDelegate::listenerShouldAcceptNewConnection(const std::shared_ptr<ServiceConnection>& newConnection) {
    const auto service = KeynoteCaptureService::initWithDelegate(newConnection->remoteObjectProxy());
    newConnection->setExportedObject(service);
    newConnection->setInvalidationHandler(
        [weakConnection = std::weak_ptr(newConnection), weakService = std::weak_ptr(service)] {
            if (const auto exported = weakService.lock()) {
                exported->setDelegate(nullptr);
                exported->stopDetectionAndCapture();
            }
            if (const auto connection = weakConnection.lock()) connection->setExportedObject(nullptr);
        });
    newConnection->resume();
    return true;
}
