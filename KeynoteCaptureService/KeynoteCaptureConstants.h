#pragma once

#include <chrono>
#include <cstdint>

/// Domain of every error that the service makes itself.
inline constexpr const char* KeynoteCaptureServiceErrorDomain = "KeynoteCaptureServiceErrorDomain";

/// Codes in `KeynoteCaptureServiceErrorDomain`.
enum class KeynoteCaptureServiceError : std::int64_t {
    fileExistsAtDirectoryPath = 1,
    missingStartArgument = 2,
    archiveNotSaved = 3,
    missingDirectoryPath = 4,
    slideImagesMissing = 5,
    keynoteNotRunning = 6,
};

/// JPEG compression factor of exported slide images, 0 to 1.
inline constexpr double KeynoteCaptureServiceImageCompressionFactor = 0.8;

/// How long a slide image monitor waits for expected images.
inline constexpr std::chrono::duration<double> KeynoteCaptureSlideImageFileMonitorTimeout{90.0};

/// How long an event that holds up the main queue may wait for the program's reply: 30 of the platform's ticks of 1/60
/// second.
inline constexpr std::chrono::milliseconds kReplyTimeout{500};

inline constexpr const char* kKeynoteBundleIdentifier = "com.apple.iWork.Keynote";
inline constexpr const char* kKeynoteApplicationName = "Keynote";
