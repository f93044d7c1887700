#pragma once

#include "base/Error.h"
#include "base/Time.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// One call of the capture service's delegate, as a value.
struct ProgramLaunched {};
struct ProgramTerminated {};
struct StartedPresenting {
    std::optional<std::string> presentationID;
    std::optional<std::filesystem::path> originalDocumentPath;
    std::optional<std::string> archive;  ///< a file name in the presentation's capture directory
    ErrorPtr error;
};
struct PresentedSlide {
    std::optional<std::string> presentationID;
    std::int64_t number = 0;
    Date at;
    std::optional<std::filesystem::path> imageFilePath;
};
struct StoppedPresenting {
    std::optional<std::string> presentationID;
    ErrorPtr error;
};
struct ExtractedSlideFiles {
    std::string presentationPath;
    ErrorPtr error;
};
struct SavingEnded {
    ErrorPtr error;
};
using DelegateCall = std::variant<ProgramLaunched, ProgramTerminated, StartedPresenting, PresentedSlide,
                                  StoppedPresenting, ExtractedSlideFiles, SavingEnded>;

/// What else can happen to a command.
struct StartFailed {  ///< or another request that was refused
    ErrorPtr error;
};
/// A deck is open in the presentation program, or could not be opened.
struct DeckRead {
    std::vector<std::int64_t> slides;  ///< the numbers of all its slides
    ErrorPtr error;
};
struct ServiceAnswered {};
struct WindowsDescribed {
    std::optional<std::string> text;
};
struct ServiceLost {};
struct Interrupted {};   ///< SIGINT or SIGTERM
struct OutputClosed {};  ///< nobody reads standard output any more
struct TimedOut {};
using Event = std::variant<DelegateCall, StartFailed, ServiceAnswered, DeckRead, WindowsDescribed, ServiceLost,
                           Interrupted, OutputClosed, TimedOut>;
