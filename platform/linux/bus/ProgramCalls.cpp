#include "platform/linux/bus/ProgramCalls.h"

#include "runtime/LoopDispatch.h"

#include <utility>

namespace {

using namespace std::chrono_literals;

/// Other tasks of the main queue get their turn after so many messages.
constexpr int kMostAtOnce = 64;
/// How soon what the daemon could not take at once is sent again.
constexpr auto kSendAgain = 10ms;

}  // namespace

/// Why it could not be sent, if so.
std::optional<bus::Failure> ProgramCalls::trySending(std::chrono::milliseconds timeout,
                                                     const std::function<void()>& send) {
    try {
        if (!connection_) open();
        send();
        wakeAt(Instant::clock::now() + timeout);
        return std::nullopt;
    } catch (const bus::Failure& failure) {
        serve();  // finds out whether the connection broke
        return failure;
    } catch (const std::exception& problem) {
        return bus::Failure(bus::kProgramFailed, problem.what());
    }
}

void ProgramCalls::open() {
    auto connection = std::make_unique<bus::Connection>();
    watch_ = dispatch_.mainQueue().watch(connection->descriptor(), [this] { serve(); });
    connection_ = std::move(connection);
}

void ProgramCalls::close() {
    watch_.reset();
    programs_.clear();
    connection_.reset();
}

void ProgramCalls::end() {
    hasEnded_ = true;
    close();
}

/// Those who owe nothing any more are forgotten when somebody else is called.
ProgramCalls::Program& ProgramCalls::programOf(const std::string& owner) {
    if (!programs_.contains(owner)) {
        std::erase_if(programs_, [](const auto& each) { return each.second.isOwing.use_count() == 1; });
        programs_[owner].peer = std::make_unique<bus::Peer>(*connection_, owner, bus::kProgramPath);
    }
    return programs_[owner];
}

void ProgramCalls::serve() {
    if (!connection_) return;
    try {
        int served = 0;
        while (served < kMostAtOnce && connection_->processPending()) ++served;
        const auto now = Instant::clock::now();
        if (served == kMostAtOnce) wakeAt(now);
        if (connection_->hasUnsent()) wakeAt(now + kSendAgain);
        if (const auto deadline = connection_->deadline()) wakeAt(*deadline);
    } catch (const bus::Failure&) {
        close();
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
