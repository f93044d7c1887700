#pragma once

#include "base/Time.h"

#include <sdbus-c++/sdbus-c++.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

/// Versions 1 and 2 of the bus library as one; what differs between them is here and nowhere else. What they have in
/// common is used directly, with names as these types where a function takes one, and messages taken as `auto&&`.
namespace bus {

#if KCS_SDBUS_VERSION == 1

using ServiceName = std::string;
using InterfaceName = std::string;
using MemberName = std::string;  ///< of a method, signal or property
using ErrorName = std::string;

/// Serves one message that has arrived; whether there may be more.
inline bool processOne(sdbus::IConnection& connection) {
    return connection.processPendingRequest();
}

/// When something is due although nothing arrives; never at the end of time.
inline Instant dueTime(const sdbus::IConnection::PollData& data) {
    return data.timeout_usec == UINT64_MAX ? Instant::max() : Instant(std::chrono::microseconds(data.timeout_usec));
}

inline sdbus::Slot addMatch(sdbus::IConnection& connection, const std::string& rule, sdbus::message_handler handler) {
    return connection.addMatch(rule, std::move(handler));
}

/// `handler` gets the reply, and the error as a pointer or an optional value.
template <typename Handler>
void callAsync(sdbus::IProxy& proxy, const sdbus::MethodCall& call, std::uint64_t microseconds, Handler handler) {
    static_cast<void>(proxy.callMethod(call, std::move(handler), microseconds));
}

/// Empty when it has none.
inline std::string senderOf(const sdbus::Message& message) {
    return message.getSender();
}

/// Who has sent the message that the object handles; empty outside of that.
inline std::string callerOf(const sdbus::IObject& object) {
    const auto* const message = object.getCurrentlyProcessedMessage();
    return message == nullptr ? std::string() : senderOf(*message);
}

/// Members of an object without an adaptor are there after `finishRegistration`, with version 2 at once.
template <typename Function>
void addMethod(sdbus::IObject& object, const char* interface, const char* name, Function function) {
    object.registerMethod(name).onInterface(interface).implementedAs(std::move(function));
}
inline void addProperty(sdbus::IObject& object, const char* interface, const char* name, const char* type,
                        sdbus::property_get_callback get) {
    object.registerProperty(interface, name, type, std::move(get));
}
inline bool hasType(const sdbus::Variant& variant) {
    return !variant.isEmpty();
}
inline void finishRegistration(sdbus::IObject& object) {
    object.finishRegistration();
}

#else

using sdbus::InterfaceName;
using sdbus::MemberName;
using sdbus::ServiceName;
using ErrorName = sdbus::Error::Name;

inline bool processOne(sdbus::IConnection& connection) {
    return connection.processPendingEvent();
}

inline Instant dueTime(const sdbus::IConnection::PollData& data) {
    return data.timeout == std::chrono::microseconds::max() ? Instant::max() : Instant(data.timeout);
}

inline sdbus::Slot addMatch(sdbus::IConnection& connection, const std::string& rule, sdbus::message_handler handler) {
    return connection.addMatch(rule, std::move(handler), sdbus::return_slot);
}

template <typename Handler>
void callAsync(sdbus::IProxy& proxy, const sdbus::MethodCall& call, std::uint64_t microseconds, Handler handler) {
    static_cast<void>(proxy.callMethodAsync(call, std::move(handler), microseconds));
}

inline std::string senderOf(const sdbus::Message& message) {
    const char* const sender = message.getSender();
    return sender == nullptr ? std::string() : sender;
}

inline std::string callerOf(const sdbus::IObject& object) {
    return senderOf(object.getCurrentlyProcessedMessage());
}

template <typename Function>
void addMethod(sdbus::IObject& object, const char* interface, const char* name, Function function) {
    object.addVTable(InterfaceName(interface), sdbus::registerMethod(name).implementedAs(std::move(function)));
}
inline void addProperty(sdbus::IObject& object, const char* interface, const char* name, const char* type,
                        sdbus::property_get_callback get) {
    object.addVTable(InterfaceName(interface),
                     sdbus::PropertyVTableItem{MemberName(name), sdbus::Signature(type), std::move(get), {}, {}});
}
inline void finishRegistration(sdbus::IObject& /*object*/) {}
/// One that was read where a message holds something else than a variant has none, and is compared nevertheless.
inline bool hasType(const sdbus::Variant& variant) {
    return !variant.isEmpty() && variant.peekValueType() != nullptr;
}

#endif

/// Whether there is a value of this type. There is none where a message ended before it, which version 2 does not
/// check.
template <typename Value>
bool holds(const sdbus::Variant& variant) {
    return hasType(variant) && variant.containsValueOfType<Value>();
}

/// An object of somebody on the bus.
inline auto createProxy(sdbus::IConnection& connection, const std::string& name, const std::string& path) {
    return sdbus::createProxy(connection, ServiceName(name), sdbus::ObjectPath(path));
}

/// An object of the connection's own.
inline auto createObject(sdbus::IConnection& connection, const std::string& path) {
    return sdbus::createObject(connection, sdbus::ObjectPath(path));
}

inline auto createCall(sdbus::IProxy& proxy, const std::string& interface, const std::string& member) {
    return proxy.createMethodCall(InterfaceName(interface), MemberName(member));
}

inline auto createSignal(sdbus::IObject& object, const std::string& interface, const std::string& member) {
    return object.createSignal(InterfaceName(interface), MemberName(member));
}

}  // namespace bus
