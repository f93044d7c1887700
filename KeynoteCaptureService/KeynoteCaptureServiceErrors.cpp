#include "KeynoteCaptureService/KeynoteCaptureServiceErrors.h"

#include "ports/Bundle.h"
#include "ports/Platform.h"

const ErrorDescriptions& ErrorDescriptions::shared() {
    // Once: the language of a process does not change, and every failed start would ask again.
    static const ErrorDescriptions descriptions = [] {
        const auto bundle = platform().bundles.mainBundle();
        return ErrorDescriptions{
            bundle->localizedString("File, rather than a directory, exists at specified capture directory"),
            bundle->localizedString(
                "Requested to start capturing with a nil file URL for the content capture directory."),
            bundle->localizedString("Requested to start capturing with a nil recording ID for the working directory."),
            bundle->localizedString("Keynote document could not be saved as to the content capture directory."),
            bundle->localizedString("Unable to create directory, file path is nil."),
        };
    }();
    return descriptions;
}

ErrorPtr captureError(KeynoteCaptureServiceError code, const std::string& description) {
    return makeError(KeynoteCaptureServiceErrorDomain, static_cast<std::int64_t>(code), description);
}
