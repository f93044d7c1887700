#pragma once

#include "base/Registration.h"
#include "bus/Peer.h"
#include "ports/Timeline.h"

#include <functional>
#include <memory>
#include <string>

/// The two ends of com.veldrin.KeynoteCaptureTimeline1.xml.
namespace bus {

class Connection;
class SessionBus;

/// Puts the timeline on a bus for as long as the listener lives: what it hears is told to whoever follows, and kept as
/// properties. Any thread; silent once the bus has stopped. Throws `Failure` when the bus refuses.
[[nodiscard]] std::shared_ptr<TimelineListener> serveTimeline(const std::shared_ptr<SessionBus>& bus);

/// Has `listener` told, guarded, what `mayTell` believes of the sender's unique name, on the thread that serves the
/// connection, until the handle is dropped. Entries that make no sense are dropped. Throws `Failure` when the bus
/// refuses.
[[nodiscard]] Handle watchTimeline(Connection& connection, TimelineListener& listener,
                                   std::function<bool(const std::string& sender)> mayTell);

/// The version of the capture service that serves the timeline.
[[nodiscard]] Call<std::string> serviceVersion();

}  // namespace bus
