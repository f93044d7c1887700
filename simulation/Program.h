#pragma once

#include "platform/simulated/SimulatedPlatform.h"
#include "simulation/Event.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

// What the simulation is played on has namespaces of its own.
namespace simulated {}
namespace presenters {}

namespace simulation {

using namespace simulated;
using namespace presenters;

class Program;

/// One run of a program, as the list of running applications shows it. It stays the same while its process identifier
/// changes, and is gone for good when the program quits.
struct Process {
    Program& program;
    std::shared_ptr<SimulatedApplication> application;
    bool isSupported = true;
};
using ProcessPtr = std::shared_ptr<const Process>;

/// What a poll finds when it is answered.
struct Screen {
    std::optional<bool> playing;
    bool isFilled = false;  ///< a window of the program is as large as the screen
    std::optional<std::string> documentID;
    std::optional<std::filesystem::path> file;
    std::int64_t slide = 0;
};

/// What really happened on the screen, which the service can only find out.
struct Truth {
    struct Visit {
        Instant at;
        std::int64_t slide = 0;
    };
    std::vector<Instant> starts;
    std::vector<Instant> ends;
    std::vector<Visit> visits;       ///< of the presented document, and of the front one during a show
    std::vector<Instant> presented;  ///< the visits of the presented document since the latest start
    bool isIncomplete = false;       ///< since the latest start the program has kept times to itself, or got them wrong
    bool isHidden = false;           ///< since then another document was in front
};

/// A presentation program with its decks, and what is true of it.
class Program {
public:
    Program(simulated::SimulatedPlatform& platform, int index);

    /// What happens to programs; see `Kind`. Nothing happens where it makes no sense.
    void launch(std::int64_t variant);
    void quit();
    void changeIdentifier();
    void open(std::int64_t deck);
    void bringToFront(std::int64_t deck);
    void editFrontDeck(std::int64_t slides);
    void closeFrontDeck();
    void startShow(std::int64_t deck);
    void beginFault(const Fault& fault);
    void endFaults();
    void setClockWrong(Duration by);

    /// The running process; null when there is none.
    [[nodiscard]] const ProcessPtr& process() const { return process_; }
    /// Whether events reach this process, which may be an earlier one.
    [[nodiscard]] bool isReached(const Process& process) const;
    [[nodiscard]] Screen screen() const;
    [[nodiscard]] const Truth& truth() const { return truth_; }
    /// Whether this run of the program tells its times, faults apart.
    [[nodiscard]] bool watchesItself() const { return tellsTimes_; }
    [[nodiscard]] bool tellsTimes() const { return tellsTimes_ && !model.faults().lacksTimes; }
    /// How long the program needs to answer a poll; nothing when it never does.
    [[nodiscard]] std::optional<Duration> answerTime() const;
    [[nodiscard]] bool refuses(const std::string& call) const { return model.faults().refuses(call); }
    /// How many documents were saved, or could not be.
    [[nodiscard]] int savesEnded() const { return savesEnded_; }

    PresentationProgramModel model;

private:
    struct Seen {
        bool plays = false;
        std::int64_t presented = 0;
        std::int64_t front = 0;
    };

    [[nodiscard]] pid_t nextIdentifier();
    [[nodiscard]] const ProgramDocument* deckNumber(std::int64_t deck) const;
    void noteScreen();
    void layOutWindow();

    simulated::SimulatedPlatform& platform_;
    const int index_;
    int savesEnded_ = 0;
    int identifiers_ = 0;
    bool tellsTimes_ = false;
    Duration clockIsWrong_{};
    ProcessPtr process_;
    Seen seen_;
    Truth truth_;
};

}  // namespace simulation
