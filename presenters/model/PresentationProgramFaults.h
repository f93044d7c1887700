#pragma once

#include "base/Time.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace presenters {

/// What a simulated presentation program does wrong; as made, nothing. The names in the comments are how scripts call
/// the faults. The last group is about answering calls at all and belongs to whoever carries the calls.
struct PresentationProgramFaults {
    static constexpr Duration kUsualImageTime = std::chrono::milliseconds(30);
    static constexpr Duration kUsualSaveTime = std::chrono::milliseconds(50);

    bool lacksPlaying = false;             ///< `lacks-playing`: the program does not tell whether it plays
    bool lacksTimes = false;               ///< `lacks-times`: the program does not tell when its shows did what
    std::set<std::string> refusedCalls;    ///< `refuses CALL,...`: these calls answer an error; "all" for every call
    bool exportsJpeg = false;              ///< `exports-jpeg`: images end in ".jpeg"
    bool exportsNothing = false;           ///< `exports-nothing`: accepts the export and writes nothing
    bool diskFull = false;                 ///< `disk-full`: no byte can be written
    std::set<std::int64_t> leftOutImages;  ///< `leaves-out SLIDE,...`: no image for these slides
    Duration imageTime = kUsualImageTime;  ///< `exports-slowly SECONDS`: time that one image takes
    Duration saveTime = kUsualSaveTime;    ///< `saves-slowly SECONDS`: time that a save takes
    std::int64_t imagePieces = 1;          ///< `writes-in-pieces N`: images grow under their final name, in N pieces

    Duration openTime{};                       ///< `opens-slowly SECONDS`: time that opening a file takes
    bool neverCloses = false;                  ///< `never-closes`: takes orders to close and does nothing
    std::optional<Duration> answersLate;       ///< `answers-late SECONDS`: every answer comes that much later
    bool neverAnswers = false;                 ///< `never-answers`: calls are taken and never answered
    std::optional<std::int64_t> diesInExport;  ///< `dies-in-export N`: the process ends after N images of an export

    /// Whether a call is refused. The calls: presentingState, windows, version, activate, open, close,
    /// slideNumbers, text, save, stop, export.
    [[nodiscard]] bool refuses(const std::string& call) const;
    /// Switches the named fault on, from the words of a script; the value is empty for faults that take none. Answers
    /// nothing on success, else a sentence that says what is wrong and what is allowed; nothing has changed then.
    [[nodiscard]] std::optional<std::string> switchOn(std::string_view name, std::string_view value);
    /// Switches the named fault off again, or all of them for an empty name. Answers as `switchOn`.
    [[nodiscard]] std::optional<std::string> switchOff(std::string_view name);
};

}  // namespace presenters
