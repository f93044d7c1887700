#pragma once

#include "tools/keynote-capture/ShowJournal.h"
#include "tools/keynote-capture/lecture/Leaves.h"

namespace keynote_capture {

/// One presentation of a recording: what is told of it goes into its journal, and images that are missing in the end
/// can be made from its archive copy,
/// as can the text of its slides. When all is done, its chapters and its page are made.
class RecordedShow {
public:
    enum class State {
        running,  ///< it is shown, or its images are awaited
        lacking,  ///< over, and images or the text are missing that may be made from the archive copy
        mending,  ///< they are being made
        done,     ///< nothing more is done for it
    };

    /// A show that begins.
    RecordedShow(const std::filesystem::path& captureDirectory, const RecorderFacts& facts,
                 const host::StartedPresenting& call);
    /// A show that another recorder has left in the directory.
    RecordedShow(std::filesystem::path directory, JournalContent content);

    void note(const host::DelegateCall& call);
    void note(const TimelineReport& report);
    /// Its images were told.
    void end(const host::StoppedPresenting& call);
    /// The service that told of it has gone.
    void lose(const std::string& reason);
    /// From now on the images that are missing are being made. Halves of them give way, under hidden names.
    void mend();
    /// That has come to an end. The second time it stays as it is.
    void mended();
    /// What is missing will not be made.
    void giveUp() { finish(); }
    /// Whether this show, which has just begun, is one that was lost: then the journal says so.
    [[nodiscard]] bool continues(const RecordedShow& lost) const;
    void writeContinues(const RecordedShow& lost);

    [[nodiscard]] State state() const { return state_; }
    [[nodiscard]] const std::optional<std::string>& presentationID() const { return presentationID_; }
    [[nodiscard]] std::filesystem::path archive() const { return directory_ / archive_.value_or(""); }
    /// The names of the images of slides that were shown and are not there, or not whole. Looks.
    [[nodiscard]] std::vector<std::string> missingImages() const;
    /// Whether the text of its slides is there. Looks.
    [[nodiscard]] bool hasText() const;
    /// Whether there is an archive copy that something can be made from. Looks.
    [[nodiscard]] bool hasArchive() const;
    /// What has been made of it once it was done.
    [[nodiscard]] const Leaves& leaves() const { return leaves_; }
    /// Why it is not complete as it stands, fit for a terminal.
    [[nodiscard]] std::optional<std::string> problem() const;

private:
    [[nodiscard]] bool hasDirectory() const;
    [[nodiscard]] bool canBeMended() const;
    void noteDeckFile();
    void noteArchive();
    void syncFiles() const;
    void settle();
    void finish();

    const std::optional<std::string> presentationID_;
    const std::filesystem::path directory_;
    const std::optional<std::filesystem::path> deck_;
    const std::optional<std::string> archive_;
    ShowJournal journal_;
    std::set<std::int64_t> slides_;
    std::optional<TimeBounds> started_;
    State state_ = State::running;
    ErrorPtr startError_;   ///< told by the service
    ErrorPtr endError_;     ///< the same
    bool wasLost_ = false;  ///< it was seen by a service, or a recorder, that has gone
    bool hasGap_ = false;
    int attempts_ = 0;                          ///< to make what is missing
    std::optional<std::string> archiveDigest_;  ///< as it stands in the journal
    std::optional<Json> finished_;              ///< what the journal's last line tells
    Leaves leaves_;
};

}  // namespace keynote_capture
