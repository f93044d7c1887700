#include "presenters/impress/Turns.h"

#include "bus/Names.h"
#include "bus/ProgramServer.h"

#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace impress {
namespace {

using namespace std::chrono_literals;

/// How long the daemon may need to notice that the process from which this one was made has gone.
constexpr auto kLongestHandOver = 2s;
constexpr auto kReplyTimeout = 5s;

}  // namespace

Turns::Turns(bus::SessionBus& bus, const std::string& pipe)
    : bus_(bus),
      daemon_(bus.connection(), bus::kBusDaemon, bus::kBusDaemonPath),
      name_(bus::bridgeName(pipe)),
      jobName_(name_ + ".Job") {}

bool Turns::stand() {
    const auto deadline = std::chrono::steady_clock::now() + kLongestHandOver;
    while (!take(name_)) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(50ms);
    }
    return true;
}

void Turns::goFirst() {
    goesFirst_ = true;
    // Another job has the name at the same time: it goes first for both.
    static_cast<void>(take(jobName_));
}

bool Turns::isOthersTurn() {
    if (goesFirst_) return false;
    const auto answer = std::make_shared<std::promise<bool>>();
    daemon_.ask<bool>(bus::makeCall<bool>(bus::kBusDaemon, "NameHasOwner", jobName_), kReplyTimeout,
                      [answer](const bus::Failure*, bool hasOwner) { answer->set_value(hasOwner); });
    return answer->get_future().get();
}

bool Turns::take(const std::string& name) {
    try {
        bus_.connection().requestName(name);
        return true;
    } catch (const bus::Failure&) {
        return false;
    }
}

}  // namespace impress
