#pragma once

#include "presenters/model/PresentationProgramModel.h"
#include "presenters/simulator/Decks.h"
#include "presenters/simulator/Script.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace simulator {

/// Plays a script on a simulated program: commands one after the other in the order added, each acknowledged when it is
/// done. Everything on the queue's thread.
class Simulator {
public:
    struct Entry {
        Command command;
        std::string text;   ///< what it is acknowledged with, after "ok"
        std::string place;  ///< where it stands: "file:line"
    };

    /// What the commands need of the process. All must be set.
    struct Process {
        std::function<void(const std::string& line)> say;  ///< tells a person or a test one line
        std::function<void(std::uint32_t)> announcePid;
        std::function<void()> die;  ///< ends the process at once, as a crash does
        /// The script has ended: with an empty sentence, or because a command could not be carried out.
        std::function<void(const std::string& sentence)> finished;
    };

    /// The queue and the model must outlive the simulator, which becomes the model's observer and
    /// reader; `changed` is called on.
    Simulator(DispatchQueue& queue, presenters::PresentationProgramModel& model, Process process,
              std::function<void()> changed);

    void add(Entry entry);
    /// No more commands come: when those added are done, the program quits and the script has ended.
    void end();

    // What commands do.

    [[nodiscard]] presenters::PresentationProgramModel& model() { return model_; }
    [[nodiscard]] Decks& decks() { return decks_; }
    [[nodiscard]] const Process& process() const { return process_; }
    /// What the call answers to the ID of the frontmost document of this name; fails when none is open.
    [[nodiscard]] ErrorPtr withDocument(const std::string& name,
                                        const std::function<ErrorPtr(const std::string& id)>& call) const;
    /// Starts a show, of the front document when no name is given. Jobs count from here on.
    [[nodiscard]] ErrorPtr startShow(const std::optional<std::string>& name, std::optional<std::int64_t> slide);
    [[nodiscard]] ErrorPtr quit();
    [[nodiscard]] Outcome wait(Duration duration);
    /// Waits until a job of this kind has ended and none is pending, or the limit has passed.
    [[nodiscard]] Outcome waitFor(presenters::ProgramJob::Kind kind, Duration limit);

private:
    void playFront();
    void finishFront();
    void finishWaiting(const std::string& acknowledgement);
    void jobEnded(const presenters::ProgramJob& job);
    void imageWritten(const presenters::ProgramJob& job);

    DispatchQueue& queue_;
    presenters::PresentationProgramModel& model_;
    const Process process_;
    Decks decks_;
    std::deque<Entry> entries_;  ///< the first one is under way
    bool ended_ = false;
    std::map<presenters::ProgramJob::Kind, int> jobsEnded_;  ///< since the show started
    std::optional<presenters::ProgramJob::Kind> waitsFor_;
    std::uint64_t waits_ = 0;  ///< tells the limit of an earlier wait from the present one's
};

}  // namespace simulator
