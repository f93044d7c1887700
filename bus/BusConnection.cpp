#include "bus/BusConnection.h"

#include "bus/Library.h"
#include "bus/Names.h"

#include <sdbus-c++/sdbus-c++.h>
#include <cstdint>
#include <future>
#include <optional>
#include <utility>

namespace bus {
namespace {

/// Of the bus protocol: a flag of requests for names, and an answer.
constexpr std::uint32_t kDoNotQueue = 4;
constexpr std::uint32_t kExists = 3;

/// Whether the connection serves nothing any more: it is closed, or stuck in a callback that never returned to it.
bool isLost(const sdbus::IConnection& connection, const sdbus::Error& failure) {
    if (failure.getName() == "System.Error.EBUSY") return true;
    try {
        static_cast<void>(connection.getEventLoopPollData());  // throws when closed
        return false;
    } catch (const sdbus::Error&) {
        return true;
    }
}

/// Answers whether the bus has stayed until somebody asked the loop to end.
bool serve(sdbus::IConnection& connection) {
    while (true) {
        try {
            connection.enterEventLoop();
            return true;
        } catch (const sdbus::Error& failure) {
            if (isLost(connection, failure)) return false;
        }
    }
}

}  // namespace

std::unique_ptr<sdbus::IConnection> openSessionBus() {
    return sdbus::createSessionBusConnection();
}

bool processPending(sdbus::IConnection& connection) {
    try {
        return connection.processPendingRequest();
    } catch (const sdbus::Error& failure) {
        if (isLost(connection, failure)) throw;
        return true;
    }
}

EventLoopThread::EventLoopThread(sdbus::IConnection& connection, std::function<void()> onLost)
    : connection_(connection),
      daemon_(sdbus::createProxy(connection, kBusDaemon, kBusDaemonPath)),
      thread_([&connection, onLost = std::move(onLost)] {
          if (!serve(connection)) onLost();
      }) {}

void EventLoopThread::requestName(const std::string& name) {
    const auto outcome = std::make_shared<std::promise<std::optional<Failure>>>();
    daemon_->callMethodAsync("RequestName")
        .onInterface(kBusDaemon)
        .withArguments(name, kDoNotQueue)
        .uponReplyInvoke([outcome](const sdbus::Error* error, std::uint32_t answer) {
            std::optional<Failure> failure;
            if (error != nullptr) failure = failureFrom(*error);
            if (error == nullptr && answer == kExists) failure = Failure(kFailed, "somebody else has it");
            outcome->set_value(failure);
        });
    if (const auto failure = outcome->get_future().get()) throw Failure(*failure);
}

EventLoopThread::~EventLoopThread() {
    connection_.leaveEventLoop();
    thread_.join();
}

}  // namespace bus
