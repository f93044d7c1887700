#pragma once

#include "base/Error.h"
#include "ports/CaptureErrors.h"

#include <string>

/// The localised descriptions of the service's errors, looked up in the main bundle once in the process's life.
struct ErrorDescriptions {
    std::string fileExistsAtDirectoryPath;
    std::string missingCaptureDirectory;
    std::string missingRecordingID;
    std::string archiveNotSaved;
    std::string missingDirectoryPath;

    [[nodiscard]] static const ErrorDescriptions& shared();
};

/// An error of the service's domain; an empty description gives none.
[[nodiscard]] ErrorPtr captureError(KeynoteCaptureServiceError code, const std::string& description = {});
