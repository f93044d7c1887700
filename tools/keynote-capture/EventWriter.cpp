#include "tools/keynote-capture/EventWriter.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "host/CaptureServiceClient.h"
#include "ports/CaptureErrors.h"

#include <cstdio>

namespace keynote_capture {

bool EventWriter::write(const host::DelegateCall& call) const {
    const std::string line = lineFor(call);
    // Flushed line by line: whoever reads a pipe wants to know of a slide when it is shown.
    return std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fflush(stdout) == 0;
}

namespace {

/// The client library's own sentences end with a reason in brackets, which has no translation.
std::string clientSentence(const std::string& text) {
    const auto reason = text.find(" (");
    if (reason == std::string::npos) return translation(text.c_str());
    return translation(text.substr(0, reason + 2).c_str()) + text.substr(reason + 2);
}

}  // namespace

std::string sentenceFor(const Error& error) {
    // The service sends these two codes without a description.
    const bool hasNoText =
        error.domain() == KeynoteCaptureServiceErrorDomain && !error.userInfo().contains(NSLocalizedDescriptionKey);
    const auto code = static_cast<KeynoteCaptureServiceError>(error.code());
    if (hasNoText && code == KeynoteCaptureServiceError::slideImagesMissing) {
        return translated("Not all slide images arrived; the presentation program did not export them in time.");
    }
    if (hasNoText && code == KeynoteCaptureServiceError::keynoteNotRunning) {
        return translated("The presentation program ended before it had finished saving.");
    }
    const auto text = error.localizedDescription();
    return printableText(error.domain() == host::kCaptureServiceClientErrorDomain ? clientSentence(text) : text);
}

}  // namespace keynote_capture
