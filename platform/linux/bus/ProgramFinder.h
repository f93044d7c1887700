#pragma once

#include "bus/Peer.h"
#include "bus/SessionBus.h"
#include "platform/linux/bus/ProgramList.h"

#include <chrono>
#include <cstdint>
#include <map>

namespace bus {

/// Finds a program that runs, or has the bus start one and waits until it is listed.
class ProgramFinder {
public:
    /// How long a wait lasts.
    static constexpr std::chrono::seconds kPatience{30};
    /// Called with the program's unique name, or with nothing when it could not be started, is not listed within half a
    /// minute, or waits have been ended. On the bus thread.
    using Found = std::function<void(const std::optional<std::string>& owner)>;

    /// The bus must be stopped when the finder is destroyed.
    ProgramFinder(std::shared_ptr<SessionBus> bus, std::shared_ptr<ProgramList> list);

    /// Calls `found` once, later, unless the bus thread ends before. Any thread.
    void find(const std::string& bundleIdentifier, Found found);
    /// Looks again who is found; for each change of the list. Bus thread.
    void check();
    /// Ends all waits, now and from now on. Any thread.
    void shutDown();

private:
    struct Wait {
        std::string bundleIdentifier;
        Found found;
        bool isStarting = false;
        bool hasFailed = false;  ///< the bus cannot start it
    };

    void start(std::uint64_t number, const std::string& bundleIdentifier);
    void failed(std::uint64_t number);
    void end(std::uint64_t number, const std::optional<std::string>& owner);

    const std::shared_ptr<SessionBus> bus_;
    const std::shared_ptr<ProgramList> list_;
    Peer daemon_;
    std::map<std::uint64_t, Wait> waits_;  ///< bus thread, as is what follows
    std::uint64_t lastNumber_ = 0;
    bool isShutDown_ = false;
};

}  // namespace bus
