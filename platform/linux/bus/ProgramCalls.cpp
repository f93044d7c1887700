#include "platform/linux/bus/ProgramCalls.h"

#include "bus/Names.h"
#include "runtime/LoopDispatch.h"

#include <utility>

namespace {

using namespace std::chrono_literals;

/// Other tasks of the main queue get their turn after so many messages.
constexpr int kMostAtOnce = 64;
/// How soon what the daemon could not take at once is sent again.
constexpr auto kSendAgain = 10ms;

}  // namespace

/// What is owed from now on: `fail` is told why it does not come.
std::uint64_t ProgramCalls::expect(const std::string& owner, std::chrono::milliseconds timeout,
                                   std::function<void(const bus::Failure&)> fail) {
    owed_.emplace(++lastCall_, Owed{owner, Instant::clock::now() + timeout, std::move(fail)});
    return lastCall_;
}

void ProgramCalls::send(std::uint64_t call, const std::function<void(bus::Peer&)>& ask) {
    const auto [owner, deadline, fail] = owed_.at(call);
    try {
        if (!connection_) open();
        auto& [peer, owed] = programOf(owner);
        ++owed;
        ask(*peer);
        wakeAt(deadline);
    } catch (const bus::Failure& failure) {
        static_cast<void>(take(call, &failure));
        serve();  // finds out whether the connection broke
    } catch (const std::exception& problem) {
        const bus::Failure failure(bus::kProgramFailed, problem.what());
        static_cast<void>(take(call, &failure));
    }
}

/// Ends a call; whether it has an answer. Otherwise the failure is told.
bool ProgramCalls::take(std::uint64_t call, const bus::Failure* failure) {
    const auto node = owed_.extract(call);
    if (!node) return false;
    const auto& owed = node.mapped();
    const auto program = programs_.find(owed.owner);
    if (program != programs_.end()) --program->second.owed;
    if (failure == nullptr) return true;
    // The library tells a time-out by the name that the daemon gives to the end of the one who is asked.
    const bool isLate = Instant::clock::now() >= owed.deadline;
    owed.fail(isLate ? bus::Failure(bus::kTimeout, "no answer in time") : *failure);
    return false;
}

void ProgramCalls::open() {
    auto connection = std::make_unique<bus::Connection>();
    watch_ = dispatch_.mainQueue().watch(connection->descriptor(), [this] { serve(); });
    connection_ = std::move(connection);
}

void ProgramCalls::close(const bus::Failure& reason) {
    const auto owed = std::exchange(owed_, {});
    end();
    for (const auto& [number, each] : owed) each.fail(reason);
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
    } catch (const bus::Failure& failure) {
        close(failure);
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
