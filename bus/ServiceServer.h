#pragma once

#include "base/Registration.h"
#include "bus/Failure.h"
#include "ports/KeynoteCaptureServiceProtocol.h"

#include <functional>
#include <memory>
#include <string>

namespace bus {

class SessionBus;

/// A call of a host, with what has become of its arguments. `refuse` counts unless it has been answered before; an
/// answer that nobody gives says success, with empty values. After the bus has stopped none is sent.
struct HostCall {
    enum class Kind { plain, extraction, waitForSaving };
    using Service = KeynoteCaptureServiceProtocol;

    Kind kind = Kind::plain;
    std::string host;                   ///< its unique name
    std::function<void()> check;        ///< throws `Failure` when an argument is not to be served
    std::function<void(Service&)> run;  ///< what it does; may throw, too
    std::function<void()> succeed;      ///< answers before it is done
    std::function<void(const Failure& failure)> refuse;

    /// Does something for the call, and refuses it with what that throws.
    void refuseFailure(const std::function<void()>& work) const {
        if (const auto failure = failureOf(kFailed, work)) refuse(*failure);
    }
};

/// Puts the capture service on a bus, under no name yet, until the handle is dropped. `take` is called on the bus
/// thread, under the library's lock: it leaves the serving to others. Throws `Failure` when the bus refuses.
[[nodiscard]] Handle serveHosts(const std::shared_ptr<SessionBus>& bus, std::function<void(HostCall call)> take);

}  // namespace bus
