#pragma once

#include "ports/AutomaticTermination.h"
#include "ports/Dispatch.h"

#include <optional>

/// Ends a process that nobody needs: it is idle while no host is connected and no disable of automatic termination is
/// pending (disables minus enables is zero or less). The last host's leaving ends the disables that it left behind.
/// Once it has been idle for the idle time without a break, counted from the start or from the last change that made it
/// idle, `onIdle` runs on the main queue.
class IdleTermination final : public AutomaticTermination {
public:
    /// Without an idle time `onIdle` never runs. The dispatch must outlive this object.
    IdleTermination(Dispatch& dispatch, std::optional<Duration> idleTime, Task onIdle);
    ~IdleTermination() override;
    IdleTermination(const IdleTermination&) = delete;
    IdleTermination& operator=(const IdleTermination&) = delete;

    void disable(const std::string& reason) override;
    void enable(const std::string& reason) override;
    /// A host has connected. Any thread.
    void hostConnected();
    /// A host that had connected is gone. Any thread.
    void hostLeft();

private:
    struct State;
    const std::shared_ptr<State> state_;
};
