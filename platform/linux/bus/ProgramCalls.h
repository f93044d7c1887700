#pragma once

#include "bus/Connection.h"
#include "bus/Peer.h"
#include "ports/Dispatch.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace runtime {
class LoopDispatch;
}

/// Calls of presentation programs over a connection of its own, for which nobody waits: the main queue serves the
/// connection and hears the replies. It is opened at the first call, and anew after it broke. What is not asked for
/// on it is thrown away. Main queue only.
class ProgramCalls : public std::enable_shared_from_this<ProgramCalls> {
public:
    /// The dispatch must outlive this object.
    explicit ProgramCalls(runtime::LoopDispatch& dispatch) : dispatch_(dispatch) {}
    ~ProgramCalls() { end(); }
    ProgramCalls(const ProgramCalls&) = delete;
    ProgramCalls& operator=(const ProgramCalls&) = delete;

    /// Calls the owner of a unique name, who has that long to answer; then the failure is `bus::kTimeout`. `answer` is
    /// told what the reply says, or why there is none; exactly once before the end, and before `call` returns when
    /// nothing could be sent. It runs while the library holds its lock: the rest is for a task. Must not throw.
    template <typename Value>
    void call(const std::string& owner, const bus::Call<Value>& event, std::chrono::milliseconds timeout,
              std::function<void(const bus::Failure*, Value)> answer) {
        const auto number = expect(owner, timeout, [answer](const bus::Failure& why) { answer(&why, Value{}); });
        send(number, [&](bus::Peer& program) {
            program.ask<Value>(event, timeout,
                               [weak = weak_from_this(), number, answer](const bus::Failure* failure, Value value) {
                                   const auto self = weak.lock();
                                   if (self && self->take(number, failure)) answer(nullptr, std::move(value));
                               });
        });
    }
    /// Closes the connection; nobody hears anything any more.
    void end();

private:
    struct Program {
        std::unique_ptr<bus::Peer> peer;  ///< keeps its calls alive
        int owed = 0;                     ///< replies
    };
    struct Owed {
        std::string owner;
        Instant deadline;
        std::function<void(const bus::Failure&)> fail;
    };

    [[nodiscard]] std::uint64_t expect(const std::string& owner, std::chrono::milliseconds timeout,
                                       std::function<void(const bus::Failure&)> fail);
    void send(std::uint64_t call, const std::function<void(bus::Peer&)>& ask);
    [[nodiscard]] bool take(std::uint64_t call, const bus::Failure* failure);
    void open();
    void close(const bus::Failure& reason);
    [[nodiscard]] Program& programOf(const std::string& owner);
    void serve();
    void wakeAt(Instant time);

    runtime::LoopDispatch& dispatch_;
    std::unique_ptr<bus::Connection> connection_;
    std::map<std::string, Program> programs_;  ///< by unique name
    std::map<std::uint64_t, Owed> owed_;
    std::uint64_t lastCall_ = 0;
    Handle watch_;
    Instant wakeTime_ = Instant::max();  ///< when `serve` runs next even if nothing arrives
};
