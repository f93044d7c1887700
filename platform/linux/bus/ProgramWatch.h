#pragma once

#include "bus/ProgramContract.h"
#include "bus/SessionBus.h"
#include "platform/linux/bus/ProgramList.h"

#include <chrono>
#include <map>

namespace bus {

/// Keeps the list of programs: hears which names come and go, and asks their owners what they are. Everything after
/// construction happens on the bus thread; callbacks of the library only post tasks.
class ProgramWatch {
public:
    /// `changed` is called after each change of the list. A program that has not answered within `patience` no longer
    /// keeps the list from being complete, and is listed when it does answer. The bus must not have been started, and
    /// must have been stopped when the watch is destroyed; the queue must outlive both. Throws `Failure` when the
    /// bus has gone.
    ProgramWatch(std::shared_ptr<SessionBus> bus, DispatchQueue& mainQueue, std::vector<std::string> bundleIdentifiers,
                 std::shared_ptr<ProgramList> list, std::function<void()> changed, std::chrono::milliseconds patience);

private:
    enum class Appearance { before, seen };  ///< before the watch began, or seen by it

    struct Program {
        std::uint64_t query = 0;
        std::string owner;
        std::uint64_t order = 0;
        std::unique_ptr<Peer> peer;  ///< keeps the query alive
        bool isAwaited = true;
        std::shared_ptr<RunningProgram> program;  ///< null until it has answered
    };

    void watchNames(const std::string& identifier);
    void listNames(Appearance appearance);
    void namesListed(const std::vector<std::string>& names, Appearance appearance);
    void askForOwner(const std::string& name, Appearance appearance);
    void ownerChanged(const std::string& name, const std::string& owner);
    [[nodiscard]] const std::string* identifierOf(const std::string& name) const;
    [[nodiscard]] bool hasPlaceFor(const std::string& owner) const;
    [[nodiscard]] bool isOwner(const std::string& uniqueName) const;
    void add(const std::string& name, const std::string& owner, Appearance appearance);
    void ask(const std::string& name, Program& program);
    void answered(const std::string& name, Program& program, const ProgramFacts& facts);
    void noLongerAwaited(const std::string& name, std::uint64_t query);
    [[nodiscard]] Program* programOf(const std::string& name, std::uint64_t query);
    void processChanged(const std::string& owner, pid_t process);
    void post(std::function<void()> task);
    void settle();

    const std::shared_ptr<SessionBus> bus_;
    DispatchQueue& mainQueue_;
    const std::vector<std::string> bundleIdentifiers_;
    const std::shared_ptr<ProgramList> list_;
    const std::function<void()> changed_;
    const std::chrono::milliseconds patience_;
    Peer daemon_;
    std::vector<Handle> matches_;
    std::map<std::string, Program> programs_;  ///< by name
    std::uint64_t lastQuery_ = 0;
    std::uint64_t lastChange_ = 0;  ///< counts who got which process identifier when
    int questionsToDaemon_ = 0;     ///< not answered yet
    bool wasTurnedAway_ = false;    ///< a name found no place since the names were listed
    bool isPlaceFree_ = false;      ///< a place has become free since then
};

}  // namespace bus
