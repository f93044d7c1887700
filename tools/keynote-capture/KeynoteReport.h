#pragma once

#include "recorder-shared/KeynoteInstallHelper.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace keynote_capture {

/// How a copy of the presentation program stands to our plug-in.
enum class PluginState {
    notNeeded,  ///< its plug-in generation is not installed into the program
    current,    ///< has the legacy plug-in of our build
    missing,    ///< needs the legacy plug-in and lacks it, or has another build of it
    none,       ///< there is no plug-in for its version
};

/// A copy of the presentation program, judged by its information dictionary.
struct KeynoteCopy {
    std::filesystem::path path;
    std::optional<std::string> version;
    bool supported = false;
    const char* reason = "";  ///< why it is not supported; an English sentence without its full stop
    PluginState plugin = PluginState::none;
};

[[nodiscard]] KeynoteCopy judgedCopy(const Bundle& bundle);

/// What runs. Nothing is known about the checks when running programs cannot be seen.
struct RunningKeynotes {
    struct Checks {
        bool unsupported = false;                             ///< `isUnsupportedKeynoteRunning`
        bool disabled = false;                                ///< `isDisabledKeynoteRunning`
        std::optional<std::vector<std::string>> conflicting;  ///< `conflictingKeynoteVersionsRunning`
    };
    std::vector<KeynoteCopy> copies;
    std::optional<Checks> checks;
};

/// Puts what was found into words, each part with its line feeds. What comes from disks and programs is made harmless.
class KeynoteReport {
public:
    virtual ~KeynoteReport() = default;
    [[nodiscard]] virtual std::string running(const RunningKeynotes& running) const = 0;
    [[nodiscard]] virtual std::string installed(const std::vector<KeynoteCopy>& copies) const = 0;
    [[nodiscard]] virtual std::string status(const KeynoteInstallHelper::Status& status) const = 0;
};

/// JSON Lines: an object per copy, one for the checks of what runs, one for the status. What is absent or unknown is
/// null.
[[nodiscard]] std::unique_ptr<KeynoteReport> makeJSONKeynoteReport();
/// Headings and aligned columns for people.
[[nodiscard]] std::unique_ptr<KeynoteReport> makeTextKeynoteReport();

}  // namespace keynote_capture
