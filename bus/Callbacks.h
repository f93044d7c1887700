#pragma once

#include <sdbus-c++/Error.h>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IProxy.h>
#include <sdbus-c++/Message.h>

#include <exception>
#include <functional>
#include <string>

/// What the bus library calls back. There is C below it: an exception that leaves a callback ruins the connection,
/// which serves nothing from then on. The library itself stops its own errors in methods and replies, but none in
/// matches, and no other exception anywhere.
namespace bus {

/// Says on standard error that a callback has failed.
void complainOfCallback(const char* reason) noexcept;

/// Runs the work of a callback. What it throws ends here: a message that cannot be read or answered is dropped without
/// a word, since anybody may send such; anything else gets a line on standard error.
template <typename Work>
void guarded(const Work& work) noexcept {
    try {
        work();
    } catch (const sdbus::Error&) {
        return;
    } catch (const std::exception& error) {
        complainOfCallback(error.what());
    } catch (...) {
        complainOfCallback("unknown reason");
    }
}

/// Has `callback` called, guarded, with each message that the rule describes, until the slot is dropped. The message
/// may hold anything unless the rule names the sender. Throws `sdbus::Error` when the connection is closed.
[[nodiscard]] sdbus::Slot addMatch(sdbus::IConnection& connection, const std::string& rule,
                                   std::function<void(sdbus::Message&)> callback);

/// Has `changed` called, guarded, with each name whose owner changes and its new owner, empty for none, until the slot
/// is dropped. `condition` names one or several: "arg0='...'". Only the bus daemon is believed: the library hands over
/// a signal that anybody else has addressed to this connection, whatever sender the rule names. Throws as `addMatch`.
[[nodiscard]] sdbus::Slot watchNames(sdbus::IConnection& connection, const std::string& condition,
                                     std::function<void(const std::string& name, const std::string& owner)> changed);

/// Whether the reply that a callback of the proxy is given comes from the peer, or from the bus daemon in its place.
/// The daemon passes on replies that nobody has asked for, and the library takes the first one with the right number.
[[nodiscard]] bool isReplyFrom(const sdbus::IProxy& proxy, const std::string& peer);

}  // namespace bus
