#pragma once

#include "bus/Failure.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace sdbus {
class IProxy;
class Message;
class MethodCall;
}  // namespace sdbus

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
    /// once, guarded, on the thread that serves the connection, under the library's lock. Throws `Failure` when the
    /// call cannot be sent.
    template <typename Value>
    void ask(const Call<Value>& call, Timeout timeout,
             std::function<void(const Failure* failure, Value value)> answer) {
        send(call, timeout,
             [read = call.read, answer = std::move(answer)](sdbus::Message* reply, const Failure* failure) {
                 Value value{};
                 std::optional<Failure> unread;
                 if (failure == nullptr) unread = failureOf([&] { value = read(*reply); });
                 answer(unread ? &*unread : failure, std::move(value));
             });
    }
    /// The same, waiting for the reply. Throws `Failure` when none comes.
    template <typename Value>
    [[nodiscard]] Value wait(const Call<Value>& call, Timeout timeout = kDefaultTimeout) {
        Value value{};
        exchange(call, timeout, [&](sdbus::Message& reply) { value = call.read(reply); });
        return value;
    }
    /// Sends what expects no reply. Throws `Failure` when it cannot be sent.
    void tell(const Event& event);

private:
    using Hear = std::function<void(sdbus::Message* reply, const Failure* failure)>;

    [[nodiscard]] static std::optional<Failure> failureOf(const std::function<void()>& work);
    [[nodiscard]] bool isForged(const sdbus::Message& reply) const;
    void send(const Event& event, Timeout timeout, Hear hear);
    void exchange(const Event& event, Timeout timeout, const std::function<void(sdbus::Message&)>& read);

    const std::string name_;
    const std::unique_ptr<sdbus::IProxy> proxy_;
};

}  // namespace bus
