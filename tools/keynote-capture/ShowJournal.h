#pragma once

#include "host/Journal.h"
#include "ports/Timeline.h"
#include "tools/keynote-capture/EventJSON.h"

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace keynote_capture {

/// What a recording says of itself at the beginning of each of its journals.
struct RecorderFacts {
    std::string recordingID;
    std::string toolVersion;
    std::optional<std::string> serviceVersion;
};

/// The journal of one presentation, `timeline.jsonl` in its capture directory. JSON Lines, version 1: a header, then
/// every entry of the timeline and every delegate call as it came, with `received`, and what the recorder itself did.
/// docs/timeline.md describes the lines. What cannot be written is told once on standard error; the recording goes on.
class ShowJournal {
public:
    static constexpr const char* kFileName = "timeline.jsonl";

    /// Goes on with the journal of the directory, or begins one. Nothing is written when the directory is missing.
    explicit ShowJournal(const std::filesystem::path& directory);

    void writeHeader(const RecorderFacts& facts, const host::StartedPresenting& show);
    void write(const host::DelegateCall& call);
    void write(const TimelineReport& report);
    /// From here on the recorder saw nothing of the show. It still did when it received the line before, if any.
    void writeUnseen(const std::string& reason);
    /// What the recorder did, with the fields of its event.
    void write(const char* event, const Json& fields);
    /// Whether everything has been written so far.
    [[nodiscard]] bool isComplete() const { return isComplete_; }

private:
    void append(Json line);

    std::optional<host::Journal> file_;
    std::filesystem::path path_;
    std::optional<Instant> lastReceived_;
    bool isComplete_ = true;
};

/// What a journal says that was found on disk.
struct JournalContent {
    std::optional<std::filesystem::path> deck;
    std::optional<std::string> archive;
    std::set<std::int64_t> slides;      ///< that were shown
    std::optional<TimeBounds> started;  ///< when its clocks are those of this computer since it was started
    bool hasEnded = false;              ///< the show's end is in it
    std::optional<std::string> archiveDigest;
    std::optional<Json> finished;  ///< what its recorder told when it was done with it
};

/// Nothing when there is no journal in the directory, or none that this program understands.
[[nodiscard]] std::optional<JournalContent> readShowJournal(const std::filesystem::path& directory);

}  // namespace keynote_capture
