#include "tools/keynote-capture/EventWriter.h"

#include "commandline/PrintableText.h"
#include "ports/CaptureErrors.h"

#include <cstdio>

namespace keynote_capture {

bool EventWriter::write(const host::DelegateCall& call) const {
    const std::string line = lineFor(call);
    // Flushed line by line: whoever reads a pipe wants to know of a slide when it is shown.
    return std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fflush(stdout) == 0;
}

std::string sentenceFor(const Error& error) {
    // The service sends these two codes without a description.
    const bool hasNoText =
        error.domain() == KeynoteCaptureServiceErrorDomain && !error.userInfo().contains(NSLocalizedDescriptionKey);
    const auto code = static_cast<KeynoteCaptureServiceError>(error.code());
    if (hasNoText && code == KeynoteCaptureServiceError::slideImagesMissing) {
        return "Not all slide images arrived; the presentation program did not export them in time.";
    }
    if (hasNoText && code == KeynoteCaptureServiceError::keynoteNotRunning) {
        return "The presentation program ended before it had finished saving.";
    }
    return printableText(error.localizedDescription());
}

}  // namespace keynote_capture
