#pragma once

#include "ports/Clock.h"
#include "ports/Error.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>

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
struct StartFailed {
    ErrorPtr error;
};
struct WindowsDescribed {
    std::optional<std::string> text;
};
struct ServiceLost {};
struct Interrupted {};   ///< SIGINT or SIGTERM
struct OutputClosed {};  ///< nobody reads standard output any more
struct TimedOut {};
using Event =
    std::variant<DelegateCall, StartFailed, WindowsDescribed, ServiceLost, Interrupted, OutputClosed, TimedOut>;
