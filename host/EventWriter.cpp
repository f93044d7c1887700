#include "host/EventWriter.h"

#include "host/PrintableText.h"

#include <cstdio>

bool EventWriter::write(const DelegateCall& call) const {
    const std::string line = lineFor(call) + '\n';
    return std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fflush(stdout) == 0;
}

std::string sentenceFor(const Error& error) {
    const bool imagesMissing = error.domain() == "KeynoteCaptureServiceErrorDomain" && error.code() == 5;
    if (imagesMissing && error.userInfo().count(NSLocalizedDescriptionKey) == 0) {
        return "Not all slide images arrived; the presentation program did not export them in time.";
    }
    return printableText(error.localizedDescription());
}
