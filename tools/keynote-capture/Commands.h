#pragma once

#include "base/Error.h"
#include "commandline/ExitStatus.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace keynote_capture {

struct RecordOptions {
    std::filesystem::path directory;        ///< absolute; made when missing
    std::string recordingID;                ///< names the recording's working directory
    std::optional<double> pollingInterval;  ///< seconds, above 0
    std::vector<std::string> hook;          ///< the words of a command to run per event; empty for none
    bool json = false;
};

/// Records until interrupted and writes each event as it happens. An interruption during a show, or while its images
/// are awaited, lets the show come to its end first; a second one does not. `kOperationFailed` when starting failed,
/// when an event carried an error, or when a show was given up before its images came.
[[nodiscard]] ExitStatus record(const RecordOptions& options);

struct StopPresentingOptions {
    bool json = false;
};

/// Ends the running slide show. `kOperationFailed` when none runs or its end was not confirmed.
[[nodiscard]] ExitStatus stopPresenting(const StopPresentingOptions& options);

struct WindowsOptions {
    bool scriptable = false;  ///< the program's own, not the window server's
    bool json = false;
};

/// Prints the presentation program's windows: the window server's view, or the program's own. `kOperationFailed` when
/// no program runs.
[[nodiscard]] ExitStatus listWindows(const WindowsOptions& options);

struct ExtractOptions {
    std::filesystem::path deck;                    ///< absolute
    std::optional<std::set<std::int64_t>> slides;  ///< by number; all when not given
    bool replace = false;                          ///< removes images of the same names first
    bool json = false;
};

/// Has the images and the text of a deck written beside it. `kOperationFailed` when the deck cannot be read, when
/// images stand there already, when not everything came, or when interrupted, which ends it at once.
[[nodiscard]] ExitStatus extract(const ExtractOptions& options);

struct WaitForSavingOptions {
    bool json = false;
};

/// Waits until the presentation program has saved what it was asked to. `kOperationFailed` when it ended before that,
/// or when interrupted.
[[nodiscard]] ExitStatus waitForSaving(const WaitForSavingOptions& options);

struct KeynotesOptions {
    std::vector<std::filesystem::path> roots;  ///< where to search; nothing stands for the whole computer
    bool json = false;
};

/// Prints which presentation programs run and which are installed on this computer, needing no service.
/// `kOperationFailed` when the search cannot be started. An interruption ends the process at once.
[[nodiscard]] ExitStatus listKeynotes(const KeynotesOptions& options);

struct SetupOptions {
    std::filesystem::path profile;         ///< the office's, `user` is in it; empty for this user's
    std::string pipe = "keynote-capture";  ///< on which the office is to listen
    bool undo = false;
};

/// Has the office of this user listen for the bridge from its next start on, or no longer. `kOperationFailed` when
/// an office runs, or when its settings cannot be read or written or say something else.
[[nodiscard]] ExitStatus setUpOffice(const SetupOptions& options);

struct StatusOptions {
    std::filesystem::path directory;       ///< absolute; where captures are to go
    std::string pipe = "keynote-capture";  ///< on which the office listens
    bool json = false;
};

/// Prints what a recording needs and whether it is there, with what helps where it is not. Starts the service, and ends
/// within a quarter of a minute whatever hangs. `kNoService` without a bus or a service, `kOperationFailed` when a
/// recording would not work for another reason. A program that does not run yet is none.
[[nodiscard]] ExitStatus status(const StatusOptions& options);

/// The same question on a thread of its own, for a recording that sees no program: tells the first thing that is
/// missing, if any.
void complainOfWhatIsMissing(const std::filesystem::path& directory);

enum class ExportFormat { vtt, ffmetadata, matroska, ogm, json, csv };

struct ExportOptions {
    std::filesystem::path directory;  ///< absolute; of a recording's captures, or of one presentation
    ExportFormat format = ExportFormat::vtt;
    double offset = 0;                           ///< seconds from the video's beginning to the first show's
    std::optional<std::filesystem::path> video;  ///< whose beginning counts instead of `offset`
};

/// Writes what is known of a lecture to standard output, from its files alone. `kOperationFailed` when there is no
/// timeline, when it is not clear which recording is meant, or when the video does not tell its beginning.
[[nodiscard]] ExitStatus exportLecture(const ExportOptions& options);

struct RecoverOptions {
    std::filesystem::path directory;  ///< absolute; of a recording's captures, or of one presentation
};

/// Brings the presentations that a recording has left in the directory, or the one whose directory it is, to the state
/// that they should have: images, text, chapters and page. Prints what it did and what it could not do. `kNoService`
/// when something is missing that only the service can bring and nobody answers; `kOperationFailed` when something is
/// missing all the same, and when interrupted.
[[nodiscard]] ExitStatus recover(const RecoverOptions& options);

/// Writes a sentence for people to standard error.
void complain(std::string_view sentence);

/// Tells people about the error and answers the exit status that it means.
[[nodiscard]] ExitStatus reported(const Error& error);

}  // namespace keynote_capture
