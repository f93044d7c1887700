#pragma once

#include "base/Registration.h"

#include <functional>
#include <string>

namespace sdbus {
class IConnection;
class Message;
}  // namespace sdbus

/// What the bus library calls back. There is C below it: an exception that leaves a callback ruins the connection,
/// which serves nothing from then on. The library itself stops its own errors in methods and replies, but none in
/// matches, and no other exception anywhere.
namespace bus {

/// Runs the work of a callback. What it throws ends here: a message that cannot be read or answered is dropped without
/// a word, since anybody may send such; anything else gets a line on standard error.
void guarded(const std::function<void()>& work) noexcept;

/// Has `callback` called, guarded, with each message that the rule describes, until the handle is dropped. The message
/// may hold anything unless the rule names the sender. Throws `Failure` when the connection is closed.
[[nodiscard]] Handle addMatch(sdbus::IConnection& connection, const std::string& rule,
                              std::function<void(sdbus::Message&)> callback);

}  // namespace bus
