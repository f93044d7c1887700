#pragma once

#include "base/OwedAnswer.h"
#include "bus/Connection.h"
#include "bus/Names.h"
#include "bus/Peer.h"
#include "ports/Dispatch.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
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
        // When the connection breaks all that is owed goes with it, and is told so.
        using Owed = OwedAnswer<const bus::Failure*, Value>;
        const auto tell = [weak = weak_from_this(), answer](const bus::Failure* failure, Value value) {
            const auto self = weak.lock();
            if (self && !self->hasEnded_) answer(failure, std::move(value));
        };
        const auto owed = std::make_shared<Owed>(tell, &kConnectionBroke, Value{});
        const auto failure = trySending(timeout, [&] {
            auto& [peer, isOwing] = programOf(owner);
            peer->ask<Value>(event, timeout, [owed, isOwing = isOwing](const bus::Failure* why, Value value) {
                owed->give(why, std::move(value));
            });
        });
        if (failure) owed->give(&*failure, {});
    }
    /// Closes the connection; nobody hears anything any more.
    void end();

private:
    inline static const bus::Failure kConnectionBroke{bus::kProgramFailed, "the connection to the bus broke"};
    struct Program {
        std::unique_ptr<bus::Peer> peer;                                ///< keeps its calls alive
        std::shared_ptr<void> isOwing = std::make_shared<std::byte>();  ///< shared with the replies that it owes
    };

    [[nodiscard]] std::optional<bus::Failure> trySending(std::chrono::milliseconds timeout,
                                                         const std::function<void()>& send);
    void open();
    void close();
    [[nodiscard]] Program& programOf(const std::string& owner);
    void serve();
    void wakeAt(Instant time);

    runtime::LoopDispatch& dispatch_;
    std::unique_ptr<bus::Connection> connection_;
    std::map<std::string, Program> programs_;  ///< by unique name
    bool hasEnded_ = false;
    Handle watch_;
    Instant wakeTime_ = Instant::max();  ///< when `serve` runs next even if nothing arrives
};
