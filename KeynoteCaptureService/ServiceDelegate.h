#pragma once

#include "ports/ServiceListener.h"

/// Accepts every host and gives each a capture service of its own.
class ServiceDelegate final : public ServiceListenerDelegate {
public:
    [[nodiscard]] bool listenerShouldAcceptNewConnection(
        const std::shared_ptr<ServiceConnection>& newConnection) override;
};
