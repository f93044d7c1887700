#include "bus/Peer.h"

#include "bus/Callbacks.h"
#include "bus/Connection.h"
#include "bus/Library.h"
#include "bus/Names.h"

#include <sdbus-c++/IProxy.h>
#include <sdbus-c++/Message.h>
#include <cstdint>

namespace bus {
namespace {

sdbus::MethodCall messageOf(const Event& event, sdbus::IProxy& proxy) {
    auto message = proxy.createMethodCall(event.interface, event.member);
    event.write(message);
    return message;
}

using Clock = std::chrono::steady_clock;

std::uint64_t microsecondsOf(Peer::Timeout timeout) {
    return timeout == Peer::kForever ? UINT64_MAX : static_cast<std::uint64_t>(timeout.count());
}

Failure forged() {
    return {kForged, "somebody else answered"};
}

}  // namespace

Peer::Peer(Connection& connection, std::string name, const char* path)
    : name_(std::move(name)),
      proxy_(translated([&] { return sdbus::createProxy(connection.library(), name_, path); })) {}

Peer::~Peer() = default;

void Peer::tell(const Event& event) {
    translated([&] {
        auto message = messageOf(event, *proxy_);
        message.dontExpectReply();
        static_cast<void>(proxy_->callMethod(message));
    });
}

/// Who owns a well-known name is not known here. The library signs as the daemon what it makes of a time-out.
bool Peer::isForged(const sdbus::Message& reply) const {
    if (!name_.starts_with(':') && name_ != kBusDaemon) return false;
    const auto sender = reply.getSender();
    return sender != name_ && sender != kBusDaemon;
}

std::optional<Failure> Peer::failureOf(const std::function<void()>& work) {
    try {
        work();
        return std::nullopt;
    } catch (const sdbus::Error& error) {
        return failureFrom(error);
    } catch (const Failure& failure) {
        return failure;
    } catch (const std::exception& error) {
        return Failure(kFailed, error.what());
    }
}

void Peer::send(const Event& event, Timeout timeout, Hear hear) {
    const auto sent = Clock::now();
    const auto answer = [this, hear = std::move(hear), sent, timeout](sdbus::MethodReply& reply,
                                                                      const sdbus::Error* error) {
        guarded([&] {
            std::optional<Failure> failure;
            if (error != nullptr) failure = failureFrom(*error);
            // The library tells a time-out by the name that the daemon gives to the end of the one who is asked.
            const auto passed = std::chrono::duration_cast<Timeout>(Clock::now() - sent);
            const bool isLate = timeout != kDefaultTimeout && passed >= timeout;
            if (failure && isLate) failure = Failure(kTimeout, "no answer in time");
            if (isForged(reply)) failure = forged();
            hear(&reply, failure ? &*failure : nullptr);
        });
    };
    const auto failure = failureOf(
        [&] { static_cast<void>(proxy_->callMethod(messageOf(event, *proxy_), answer, microsecondsOf(timeout))); });
    if (failure) throw Failure(*failure);
}

void Peer::exchange(const Event& event, Timeout timeout, const std::function<void(sdbus::Message&)>& read) {
    translated([&] {
        auto reply = proxy_->callMethod(messageOf(event, *proxy_), microsecondsOf(timeout));
        if (isForged(reply)) throw forged();
        read(reply);
    });
}

}  // namespace bus
