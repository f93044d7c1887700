#include "tools/keynote-capture/EventWriter.h"

#include "tools/PrintableText.h"

#include <cstdio>

bool EventWriter::write(const DelegateCall& call) const {
    const std::string line = lineFor(call) + '\n';
    return std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fflush(stdout) == 0;
}

std::string sentenceFor(const Error& error) {
    const bool hasNoText =
        error.domain() == "KeynoteCaptureServiceErrorDomain" && error.userInfo().count(NSLocalizedDescriptionKey) == 0;
    if (hasNoText && error.code() == 5) {
        return "Not all slide images arrived; the presentation program did not export them in time.";
    }
    if (hasNoText && error.code() == 6) return "The presentation program ended before it had finished saving.";
    return printableText(error.localizedDescription());
}
