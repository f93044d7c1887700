#pragma once

#include "KeynoteCaptureService/ServiceDelegate.h"
#include "simulation/Event.h"
#include "simulation/Host.h"
#include "simulation/Program.h"
#include "simulation/Promises.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace simulation {

/// Where programs may write.
inline constexpr const char* kSandbox =
    "/home/lecturer/Library/Containers/com.apple.iWork.Keynote/Data/Documents/Veldrin";

/// A wait for saving, or an extraction, that a host of its own asks for.
struct Errand {
    HostPtr host;
    Instant begun;
    std::string deck;                ///< that is extracted; empty for a wait
    std::vector<std::string> names;  ///< of the images that are wanted
    ProcessPtr asked{};              ///< the only process that ran when it was begun
    std::size_t launches = 0;        ///< programs that had run by then
    int saves = 0;                   ///< that the program has to end before
    int answers = 0;
    bool isCut = false;  ///< the service ended first
};

/// A host that has asked for the windows of the program that is watched for it, and what it was answered.
struct WindowQuery {
    HostPtr host;
    bool areScriptable = false;
    ProcessPtr asked;          ///< null when none is watched
    bool isConnected = false;  ///< it has been asked something before
    std::vector<std::optional<std::string>> replies{};
};

/// A start, and what its host was answered.
struct Begun {
    HostPtr host;
    Instant at;
    Start how = Start::fine;
    std::vector<ErrorPtr> replies{};
    bool isCut = false;  ///< the service ended first
};

/// The whole service on the simulated platform, with hosts, programs, disks and clocks: carries the events of a lecture
/// out, one step at a time, and tells the promises what happens.
class World {
public:
    explicit World(Story::Reader reader);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// Carries out everything, then ends it: programs quit, hosts leave, and what waits comes to its end. Answers the
    /// sentence about the first promise that was broken.
    [[nodiscard]] std::optional<std::string> run(const Events& events);
    /// The same, should something be thrown on the way.
    [[nodiscard]] const std::optional<std::string>& objection() const { return story_.objection(); }

    [[nodiscard]] Instant now() const { return platform.dispatch.steadyNow(); }
    /// When what is due at a moment is done: then, or as soon as anything can run.
    [[nodiscard]] Instant whenDone(Instant due) const;
    /// The supported programs of the list that hosts know, in its order.
    [[nodiscard]] std::vector<ProcessPtr> listedProcesses() const;
    /// When a program had this image in the directory, under one of the names that programs use.
    [[nodiscard]] std::optional<Instant> imageCame(const std::filesystem::path& directory,
                                                   const std::string& name) const;
    /// Whether nothing could be made in the directory at some time.
    [[nodiscard]] bool wasLocked(const std::filesystem::path& directory) const { return locked_.contains(directory); }
    /// How many programs have run so far.
    [[nodiscard]] std::size_t launches() const { return launches_; }
    [[nodiscard]] bool hasOtherFileSystems() const { return !platform.files.mounts.empty(); }
    [[nodiscard]] const std::vector<std::unique_ptr<Program>>& programs() const { return programs_; }
    [[nodiscard]] const std::vector<HostPtr>& hosts() const { return hosts_; }
    [[nodiscard]] std::vector<Errand>& errands() { return errands_; }
    [[nodiscard]] const std::vector<std::unique_ptr<Begun>>& starts() const { return starts_; }
    [[nodiscard]] const std::vector<std::unique_ptr<WindowQuery>>& windowQueries() const { return windowQueries_; }
    /// How often the service was killed.
    [[nodiscard]] int kills() const { return kills_; }
    /// How often a host has asked for a stop.
    [[nodiscard]] int stops() const { return stops_; }

    simulated::SimulatedPlatform platform;

private:
    void prepare();
    void apply(const Event& event);
    void applyToHost(const Event& event);
    void applyToProgram(const Event& event);
    void applyToWorld(const Event& event);
    void runUntil(Instant end);
    [[nodiscard]] bool unlessServiceEnds(const std::function<bool()>& happen);
    void beginServiceAnew();
    void passTo(Instant moment);
    void finish();
    void dismissHosts();
    void quit(Program& program);
    void listChanges();

    HostPtr connect();
    HostPtr& recorder(int who) { return recorders_[who]; }
    void start(int who, Start how);
    void stop(int who);
    void leave(HostPtr& host);
    void extract(std::int64_t images);
    void waitForSaving();
    void askForWindows(const HostPtr& host, bool areScriptable);
    void fail(int who, Disk how);
    void launch(int who, std::int64_t variant);

    Story story_;
    std::vector<std::unique_ptr<Program>> programs_;
    std::vector<ProcessPtr> running_;
    std::deque<std::vector<ProcessPtr>> lists_;  ///< that nobody has heard of yet
    std::vector<ProcessPtr> listed_;
    Promises promises_;
    ServiceDelegate delegate_;
    std::vector<HostPtr> hosts_;
    std::map<int, HostPtr> recorders_;
    std::vector<Errand> errands_;
    std::vector<std::unique_ptr<Begun>> starts_;
    std::vector<std::unique_ptr<WindowQuery>> windowQueries_;
    std::vector<std::pair<Instant, Instant>> stalls_;
    std::unordered_map<std::string, Instant> images_;
    std::set<std::filesystem::path> locked_;
    std::size_t launches_ = 0;
    int stops_ = 0;
    int kills_ = 0;
    bool hasEnded_ = false;  ///< all that was going on has come to its end
    Handle listObservation_;
};

}  // namespace simulation
