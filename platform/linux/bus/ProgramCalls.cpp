#include "platform/linux/bus/ProgramCalls.h"

#include "bus/BusConnection.h"
#include "bus/Callbacks.h"
#include "bus/Names.h"
#include "platform/linux/AsioDispatch.h"

#include <poll.h>
#include <utility>

namespace {

using namespace std::chrono_literals;

/// Other tasks of the main queue get their turn after so many messages.
constexpr int kMostAtOnce = 64;
/// How soon what the daemon could not take at once is sent again.
constexpr auto kSendAgain = 10ms;

}  // namespace

void ProgramCalls::call(const std::string& owner, const char* interface, const char* member,
                        std::chrono::milliseconds timeout, const Write& write, Hear hear) {
    const std::uint64_t number = ++lastCall_;
    const Instant deadline = Instant::clock::now() + timeout;
    owed_.emplace(number, Owed{owner, deadline, std::move(hear)});
    try {
        if (!connection_) open();
        auto& [proxy, owed] = programOf(owner);
        ++owed;
        auto message = proxy->createMethodCall(interface, member);
        write(message);
        const auto answer = [weak = weak_from_this(), number](sdbus::MethodReply& reply, const sdbus::Error* error) {
            bus::guarded([&] {
                if (const auto self = weak.lock()) self->hear(number, error == nullptr ? &reply : nullptr, error);
            });
        };
        static_cast<void>(proxy->callMethod(message, answer, timeout));
        wakeAt(deadline);
    } catch (const sdbus::Error& error) {
        this->hear(number, nullptr, &error);
        serve();  // finds out whether the connection broke
    } catch (const std::exception& problem) {
        const sdbus::Error error(bus::kProgramFailed, problem.what());
        this->hear(number, nullptr, &error);
    }
}

void ProgramCalls::open() {
    auto connection = bus::openSessionBus();
    watch_ = dispatch_.watch(connection->getEventLoopPollData().fd, [this] { serve(); });
    connection_ = std::move(connection);
}

void ProgramCalls::close(const sdbus::Error& reason) {
    const auto owed = std::exchange(owed_, {});
    end();
    for (const auto& [number, each] : owed) each.hear(nullptr, &reason);
}

void ProgramCalls::end() {
    const auto dropped = std::exchange(owed_, {});
    watch_.reset();
    programs_.clear();
    connection_.reset();
}

/// Those who owe nothing any more are forgotten when somebody else is called.
ProgramCalls::Program& ProgramCalls::programOf(const std::string& owner) {
    if (!programs_.contains(owner)) {
        std::erase_if(programs_, [](const auto& each) { return each.second.owed == 0; });
        programs_[owner].proxy = sdbus::createProxy(*connection_, owner, bus::kProgramPath);
    }
    return programs_[owner];
}

void ProgramCalls::hear(std::uint64_t call, sdbus::MethodReply* reply, const sdbus::Error* error) {
    const auto node = owed_.extract(call);
    if (!node) return;
    const auto& owed = node.mapped();
    const auto program = programs_.find(owed.owner);
    if (program != programs_.end()) --program->second.owed;
    // The daemon hands over what anybody calls a reply.
    if (reply != nullptr && reply->getSender() != owed.owner) {
        const sdbus::Error forged(bus::kProgramFailed, "somebody else answered");
        return owed.hear(nullptr, &forged);
    }
    // The library tells a time-out by the name that the daemon gives to the end of the one who is asked.
    const bool isLate = error != nullptr && Instant::clock::now() >= owed.deadline;
    const sdbus::Error timeout("org.freedesktop.DBus.Error.Timeout", "no answer in time");
    owed.hear(reply, isLate ? &timeout : error);
}

void ProgramCalls::serve() {
    if (!connection_) return;
    try {
        int served = 0;
        while (served < kMostAtOnce && connection_->processPendingRequest()) ++served;
        const auto data = connection_->getEventLoopPollData();
        const auto now = Instant::clock::now();
        if (served == kMostAtOnce) wakeAt(now);
        if ((data.events & POLLOUT) != 0) wakeAt(now + kSendAgain);
        if (data.timeout_usec != UINT64_MAX) wakeAt(Instant(std::chrono::microseconds(data.timeout_usec)));
    } catch (const sdbus::Error& error) {
        close(error);
    }
}

/// The library counts time-outs but does not watch the clock.
void ProgramCalls::wakeAt(Instant time) {
    if (time >= wakeTime_) return;
    wakeTime_ = time;
    dispatch_.mainQueue().after(time - Instant::clock::now(), [weak = weak_from_this(), time] {
        const auto self = weak.lock();
        if (!self || self->wakeTime_ != time) return;
        self->wakeTime_ = Instant::max();
        self->serve();
    });
}
