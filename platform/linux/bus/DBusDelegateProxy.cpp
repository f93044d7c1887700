#include "platform/linux/bus/DBusDelegateProxy.h"

#include "bus/Names.h"

#include <utility>

namespace bus {

DBusDelegateProxy::DBusDelegateProxy(std::shared_ptr<SessionBus> bus, const std::string& host)
    : bus_(std::move(bus)), host_(bus_->connection(), host, kDelegatePath) {}

void DBusDelegateProxy::send(const Event& event) {
    if (!valid_ || bus_->hasStopped()) return;
    try {
        host_.tell(event);
    } catch (const std::exception&) {
        // The bus is gone, which the bus thread sees too and ends the process, or the host takes nothing and what waits
        // for it has used up the library's memory for it.
    }
}

bool DBusDelegateProxy::beginWait(int most) {
    if (++waits_ <= most) return true;
    --waits_;
    return false;
}

void DBusDelegateProxy::savedArchiveDocuments() {
    --waits_;
    DelegateEvents::savedArchiveDocuments();
}

void DBusDelegateProxy::failedToSaveArchiveDocumentError(const ErrorPtr& error) {
    --waits_;
    DelegateEvents::failedToSaveArchiveDocumentError(error);
}

}  // namespace bus
