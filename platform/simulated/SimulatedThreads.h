#pragma once

#include "ports/Thread.h"

#include <memory>
#include <string>
#include <vector>

namespace simulated {

class SimulatedDispatch;

/// Threads in virtual time. Each is a thread of the system, but they and the one that runs the dispatch take turns: one
/// runs until it waits. Starting and work are events of the dispatch. Only the thread that runs the dispatch may wait
/// for a condition; the rest of the world goes on meanwhile.
class SimulatedThreads final : public Threads {
public:
    explicit SimulatedThreads(SimulatedDispatch& dispatch) : dispatch_(dispatch) {}
    ~SimulatedThreads() override;
    SimulatedThreads(const SimulatedThreads&) = delete;
    SimulatedThreads& operator=(const SimulatedThreads&) = delete;

    void detachNewThread(std::string label, Main main) override;
    [[nodiscard]] std::shared_ptr<Condition> makeCondition() override;

    /// How long a new thread takes to start.
    Duration startDelay{};
    /// Run loops fail from now on.
    bool runLoopsFail = false;
    /// What threads threw out of their `main`, which would have ended the process.
    std::vector<std::string> deadly;
    /// Threads that have not ended.
    [[nodiscard]] std::size_t running() const;

private:
    class OneThread;
    class OneCondition;

    SimulatedDispatch& dispatch_;
    std::vector<std::shared_ptr<OneThread>> threads_;
};

}  // namespace simulated
