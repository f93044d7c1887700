#pragma once

#include "runtime/LoopThread.h"

#include <systemd/sd-bus.h>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace fuzz {

/// A session bus in this process, which the environment names while it lives: it knows two owners of names, and lets
/// whoever feeds it say anything to anybody and answer for everybody. Whatever comes must be answered once, and in
/// time; otherwise the process ends.
class FalseBus {
public:
    FalseBus();
    ~FalseBus();
    FalseBus(const FalseBus&) = delete;
    FalseBus& operator=(const FalseBus&) = delete;

    /// The unique name that a presentation program has.
    static constexpr const char* kProgram = ":1.90";

    /// What is sent, and to which connection, from 1 in the order in which they came.
    struct Message {
        int connection = 1;
        std::string sender;
        std::uint8_t type = SD_BUS_MESSAGE_METHOD_CALL;
        std::string path;
        std::string interface;
        std::string member;
    };
    /// Fills in the values; false when the bus could carry no such message.
    using Fill = std::function<bool(sd_bus_message* message)>;

    /// Sends the message if there can be one. Of a call, the answer is awaited by `settle`.
    void send(const Message& message, const Fill& fill);
    /// What everybody is answered from now on who calls the member of anybody but the bus itself: the values, or
    /// without a `fill` the error. Before that it is an error, too.
    void answerCalls(const std::string& member, Fill fill, const std::string& error = {});
    /// What is sent when the owner of a name changes. `owner` is empty for none.
    void tellOwner(int connection, const std::string& name, const std::string& owner);
    /// Waits until each connection has come so far that it has taken all that was sent, and all calls are answered.
    void settle();

private:
    struct Connection;
    struct Answer {
        Fill fill;
        std::string error;
    };

    void accept();
    void serve(Connection& connection);
    void received(Connection& connection, sd_bus_message* message);
    void answered(Connection& connection, sd_bus_message* message);
    void answerAsDaemon(Connection& connection, sd_bus_message* call);
    void answerAsAnybody(sd_bus_message* call);
    void deliver(Connection& connection, const Message& message, const Fill& fill);

    const std::string path_;
    const int listener_;
    std::map<std::string, Answer> answers_;  ///< by member; the loop's thread only, as is what follows
    std::string serviceOwner_;
    std::vector<std::unique_ptr<Connection>> connections_;
    Handle watch_;
    std::mutex mutex_;
    std::condition_variable allAnswered_;
    std::size_t owed_ = 0;  ///< calls without an answer; guarded by `mutex_`
    runtime::LoopThread thread_;
};

}  // namespace fuzz
