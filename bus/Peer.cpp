#include "bus/Peer.h"

#include "bus/Connection.h"
#include "bus/Names.h"
#include "bus/Sdbus.h"

#include <cstdint>

namespace bus {
namespace {

sdbus::MethodCall messageOf(const Event& event, sdbus::IProxy& proxy) {
    auto message = createCall(proxy, event.interface, event.member);
    event.write(message);
    return message;
}

using Clock = std::chrono::steady_clock;

std::uint64_t microsecondsOf(Peer::Timeout timeout) {
    // The library takes its largest number for "never", and its own default for zero.
    return timeout == Peer::kForever ? UINT64_MAX : static_cast<std::uint64_t>(timeout.count());
}

}  // namespace

Peer::Peer(Connection& connection, std::string name, const char* path)
    : connection_(connection),
      name_(std::move(name)),
      proxy_(translated([&] { return bus::createProxy(connection.library(), name_, path); })) {}

Peer::~Peer() = default;

void Peer::tell(const Event& event) {
    translated([&] {
        auto message = messageOf(event, *proxy_);
        message.dontExpectReply();
        static_cast<void>(proxy_->callMethod(message));
    });
    // What the daemon could not take at once is sent by the loop.
    connection_.wake();
}

/// Who owns a well-known name is not known here. The library signs as the daemon what it makes of a time-out.
bool Peer::isForged(const sdbus::Message& reply) const {
    if (!name_.starts_with(':') && name_ != kBusDaemon) return false;
    const auto sender = senderOf(reply);
    return sender != name_ && sender != kBusDaemon;
}

void Peer::send(const Event& event, Timeout timeout, Hear hear) {
    const auto sent = Clock::now();
    const auto answer = [this, hear = std::move(hear), sent, timeout](auto&& reply, const auto& error) {
        guarded([&] {
            std::optional<Failure> failure;
            if (error) failure = Failure(error->getName(), error->getMessage());
            // The library tells a time-out by the name that the daemon gives to the end of the one who is asked.
            const auto passed = std::chrono::duration_cast<Timeout>(Clock::now() - sent);
            const bool isLate = timeout != kDefaultTimeout && passed >= timeout;
            if (failure && isLate) failure = Failure(kTimeout, "no answer in time");
            if (isForged(reply)) failure = Failure(kForged, "somebody else answered");
            hear(&reply, failure ? &*failure : nullptr);
        });
    };
    const auto failure =
        failureOf(kFailed, [&] { callAsync(*proxy_, messageOf(event, *proxy_), microsecondsOf(timeout), answer); });
    connection_.wake();  // sent or not: a connection that broke is found out so
    if (failure) throw Failure(*failure);
}

}  // namespace bus
