#pragma once

#include "bus/Failure.h"

#include <sdbus-c++/Message.h>
#include <sdbus-c++/Types.h>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace sdbus {
class IProxy;
}

namespace bus {

class Connection;

/// What a reply says that says nothing.
struct Nothing {};

/// What is called: a method and its arguments.
struct Event {
    const char* interface = nullptr;
    const char* member = nullptr;
    std::function<void(sdbus::MethodCall&)> write;  ///< puts the arguments into the message
};

/// An event whose reply is read as a value.
template <typename Value = Nothing>
struct Call : Event {
    std::function<Value(sdbus::Message&)> read;  ///< throws when the reply makes no sense
};

/// The one value of a reply.
template <typename Value>
Value valueFrom(sdbus::Message& reply) {
    Value value{};
    if constexpr (!std::is_same_v<Value, Nothing>) reply >> value;
    return value;
}

/// A call with these arguments, in the types of the library.
template <typename Value = Nothing, typename... Arguments>
Call<Value> makeCall(const char* interface, const char* member, const Arguments&... arguments) {
    const auto write = [arguments...](sdbus::MethodCall& call) { static_cast<void>((call << ... << arguments)); };
    return {{interface, member, write}, &valueFrom<Value>};
}

/// The same, with a reply to be read in another way.
template <typename Value>
Call<Value> readBy(Value (*read)(sdbus::Message&), Call<> call) {
    return {{static_cast<Event&&>(call)}, read};
}

/// An object of somebody on the bus, to be called. Replies of a unique name and of the bus daemon count only from these
/// themselves: the daemon passes on replies that nobody has asked for, and the library takes the first one with the
/// right number. Any thread.
class Peer {
public:
    using Timeout = std::chrono::microseconds;
    static constexpr Timeout kDefaultTimeout{0};  ///< the library's, half a minute or so
    static constexpr Timeout kForever = Timeout::max();

    /// The connection must outlive the peer. The name and the object's path.
    Peer(Connection& connection, std::string name, const char* path);
    /// Of calls that are owed a reply nothing is heard any more.
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// Sends the call. `answer` is told what the reply says, or why there is none (after the time-out `kTimeout`),
    /// once, guarded, on the loop that serves the connection, under the library's lock. Throws `Failure` when the call
    /// cannot be sent.
    template <typename Value>
    void ask(const Call<Value>& call, Timeout timeout,
             std::function<void(const Failure* failure, Value value)> answer) {
        send(call, timeout,
             [read = call.read, answer = std::move(answer)](sdbus::Message* reply, const Failure* failure) {
                 Value value{};
                 std::optional<Failure> unread;
                 if (failure == nullptr) unread = failureOf(kFailed, [&] { value = read(*reply); });
                 answer(unread ? &*unread : failure, std::move(value));
             });
    }
    /// Sends what expects no reply. Throws `Failure` when it cannot be sent.
    void tell(const Event& event);

private:
    using Hear = std::function<void(sdbus::Message* reply, const Failure* failure)>;

    [[nodiscard]] bool isForged(const sdbus::Message& reply) const;
    void send(const Event& event, Timeout timeout, Hear hear);

    const Connection& connection_;
    const std::string name_;
    const std::unique_ptr<sdbus::IProxy> proxy_;
};

}  // namespace bus
