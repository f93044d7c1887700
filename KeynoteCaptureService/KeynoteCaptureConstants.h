#pragma once

#include "ports/CaptureErrors.h"
#include "ports/CaptureNames.h"

#include <chrono>

/// JPEG compression factor of exported slide images, 0 to 1.
inline constexpr double KeynoteCaptureServiceImageCompressionFactor = 0.8;

/// How long a slide image monitor waits for expected images.
inline constexpr std::chrono::duration<double> KeynoteCaptureSlideImageFileMonitorTimeout{90.0};

/// How long an event that holds up the main queue may wait for the program's reply: 30 of the platform's ticks of 1/60
/// second.
inline constexpr std::chrono::milliseconds kReplyTimeout{500};

inline constexpr const char* kKeynoteApplicationName = "Keynote";
