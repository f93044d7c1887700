#pragma once

#include "bus/Peer.h"
#include "bus/SessionBus.h"

#include <string>

namespace impress {

/// How the bridges of a session agree who serves the offices that listen on a pipe. One bridge stands: it waits for the
/// user's offices for as long as the session lasts. A bridge that has a job, a deck to present or a caller for whom it
/// was started, goes first, so that an office which is there for the job only ends with it.
class Turns {
public:
    /// The bus thread must run.
    Turns(bus::SessionBus& bus, const std::string& pipe);

    /// Becomes the bridge that stands. False when another one does.
    [[nodiscard]] bool stand();
    /// From now on this bridge has a job.
    void goFirst();
    /// Whether this bridge is to leave the offices to one that has a job.
    [[nodiscard]] bool isOthersTurn();

private:
    [[nodiscard]] bool take(const std::string& name);

    bus::SessionBus& bus_;
    bus::Peer daemon_;
    const std::string name_;     ///< of the bridge that stands
    const std::string jobName_;  ///< of one that has a job
    bool goesFirst_ = false;
};

}  // namespace impress
