#pragma once

#include "base/OwedAnswer.h"
#include "bus/Connection.h"
#include "bus/Names.h"
#include "bus/Peer.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace bus {

/// Calls of presentation programs over a connection of its own: a loop serves it and hears the replies. It is opened at
/// the first call, and anew after it broke. What is not asked for on it is thrown away. On the loop's thread only.
class ProgramCalls {
public:
    /// The loop must outlive this object.
    explicit ProgramCalls(runtime::Loop& loop) : loop_(loop) {}
    ~ProgramCalls() { end(); }
    ProgramCalls(const ProgramCalls&) = delete;
    ProgramCalls& operator=(const ProgramCalls&) = delete;

    /// Calls the owner of a unique name, who has that long to answer; then the failure is `kTimeout`. `answer` is
    /// told what the reply says, or why there is none; exactly once, and before `call` returns when nothing could be
    /// sent. It runs while the library holds its lock: the rest is for a task. Must not throw.
    template <typename Value>
    void call(const std::string& owner, const Call<Value>& event, std::chrono::milliseconds timeout,
              std::function<void(const Failure*, Value)> answer) {
        // When the connection breaks all that is owed goes with it, and is told so.
        const auto owed = completionHandler(std::move(answer), &kConnectionBroke, Value{});
        const auto failure = failureOf(kProgramFailed, [&] {
            auto& [peer, isOwing] = programOf(owner);
            peer->ask<Value>(event, timeout, [owed, isOwing = isOwing](const Failure* why, Value value) {
                owed(why, std::move(value));
            });
        });
        if (failure) owed(&*failure, {});
    }
    /// Closes the connection for good: what is owed fails, and so do all later calls.
    void end();
    [[nodiscard]] runtime::Loop& loop() const { return loop_; }

private:
    inline static const Failure kConnectionBroke{kProgramFailed, "the connection to the bus broke"};
    struct Program {
        std::unique_ptr<Peer> peer;                                     ///< keeps its calls alive
        std::shared_ptr<void> isOwing = std::make_shared<std::byte>();  ///< shared with the replies that it owes
    };

    void close();
    [[nodiscard]] Program& programOf(const std::string& owner);

    runtime::Loop& loop_;
    std::unique_ptr<Connection> connection_;
    std::map<std::string, Program> programs_;  ///< by unique name
    bool hasEnded_ = false;
};

}  // namespace bus
