#pragma once

#include "simulation/Program.h"

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace simulation {

class Host;
class Promises;
class World;

/// A poll as it has to be made, and what comes of it.
struct Poll {
    ProcessPtr process;
    Instant sent;
    Instant due;  ///< when its answer or its time-out comes
    Screen screen;
    bool fails = false;
};

/// What one host is promised to be told, and when: which program is followed, when it is polled, and what follows from
/// what the polls find. Written from what hosts are promised; it knows the service from nowhere.
///
/// Everything happens at the moment at which it is due, or right after a time during which nothing could run.
class Watch {
public:
    using Path = std::filesystem::path;

    /// A call that is promised, in words, at a moment or, where the moment is left open, between two.
    struct Promised {
        Instant earliest;
        Instant latest;
        std::string words;
        [[nodiscard]] bool isLoose() const { return earliest != latest; }
    };
    /// A show that the host knows of.
    struct Show {
        std::optional<std::string> id;  ///< known from the call that starts it
        std::optional<Path> directory;
        bool isPrepared = false;  ///< its directories could be made
    };

    Watch(World& world, Promises& promises, const Host& host) : world_(world), promises_(promises), host_(host) {}

    // What happens.
    void start(const Path& captures, const std::string& recording);
    void failToStart(const std::optional<Path>& captures);
    void stop();
    void leave();
    void setInterval(Duration interval);
    void listComes(const std::vector<ProcessPtr>& processes);
    void identifierChanges(const Process& process);
    /// Everything that is due before `limit` happens; at it, too, if it is included.
    void advance(Instant limit, bool isIncluded);

    // What the host is told.
    /// Takes a call off the list; the reason when it was not promised now.
    [[nodiscard]] std::optional<std::string> take(const std::string& words);
    /// The show that has just begun gets its identifier and its directory.
    void showIsNamed(const std::string& id, bool isPrepared);
    /// The first call that should have come before this moment.
    [[nodiscard]] const Promised* overdue(Instant now) const;

    [[nodiscard]] bool isMonitoring() const { return isMonitoring_; }
    [[nodiscard]] const std::optional<Path>& captures() const { return captures_; }
    [[nodiscard]] const std::string& recording() const { return recording_; }
    [[nodiscard]] const Screen& lastSeen() const { return lastSeen_; }
    [[nodiscard]] const std::optional<std::string>& documentID() const { return documentID_; }
    [[nodiscard]] const ProcessPtr& followed() const { return followed_; }
    /// Whether the program was reached under the process identifier that it has.
    [[nodiscard]] bool isConnected() const { return isConnected_; }

private:
    struct Slide {
        Instant due;
        std::int64_t number = 0;
        std::optional<Path> directory;
    };
    /// Images that are awaited after a show.
    struct Wait {
        std::optional<std::string> id;
        std::set<std::string> names;
        Path from;
        Instant start;
        Instant next;
    };

    void tick(Instant now);
    void look(Instant now);
    void answer(Instant now);
    void evaluate(const Screen& screen, bool isThere, Instant now);
    void begin(Instant now);
    void end(bool isThere, Instant now);
    void slideComes(Instant now);
    void tellSlide(Instant now);
    void lookForImages(std::size_t index, Instant now);
    void stopFollowing(Instant now);
    void dropAnswer(Instant now);
    void tellLaunch(Instant now);
    void promise(std::string words, Instant now) { promised_.push_back({now, now, std::move(words)}); }

    World& world_;
    Promises& promises_;
    const Host& host_;

    bool isMonitoring_ = false;
    bool keepsWaits_ = true;
    std::optional<Path> captures_;
    std::string recording_;
    Duration interval_ = std::chrono::milliseconds(250);
    ProcessPtr followed_;
    bool isConnected_ = false;
    bool launchIsUntold_ = false;
    std::optional<Instant> nextTick_;
    std::optional<Poll> poll_;
    bool isPlaying_ = false;
    std::int64_t slide_ = 0;
    std::optional<std::string> documentID_;
    Screen lastSeen_;
    Show show_;
    std::set<std::string> names_;
    std::deque<Slide> slides_;
    std::vector<Wait> waits_;
    std::deque<Promised> promised_;
};

}  // namespace simulation
