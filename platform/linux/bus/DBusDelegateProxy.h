#pragma once

#include "bus/DelegateContract.h"
#include "bus/SessionBus.h"

#include <atomic>
#include <memory>
#include <string>

namespace bus {

/// A host's end of the connection: each call is one message that expects no reply. Any thread; may outlive the host and
/// the bus, and is silent then.
class DBusDelegateProxy final : public DelegateEvents {
public:
    /// The host's unique name on the bus.
    DBusDelegateProxy(std::shared_ptr<SessionBus> bus, const std::string& host);

    /// The host has left: nothing is sent any more.
    void invalidate() { valid_ = false; }
    /// Counts a wait for saving, whose end is told through here. False when `most` have not ended.
    [[nodiscard]] bool beginWait(int most);

    void savedArchiveDocuments() override;
    void failedToSaveArchiveDocumentError(const ErrorPtr& error) override;

private:
    void send(const Event& event) override;

    const std::shared_ptr<SessionBus> bus_;
    Peer host_;
    std::atomic<bool> valid_ = true;
    std::atomic<int> waits_ = 0;  ///< for saving, begun and not ended
};

}  // namespace bus
