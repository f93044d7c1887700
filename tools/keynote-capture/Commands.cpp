#include "tools/keynote-capture/Commands.h"

#include "host/CaptureServiceClient.h"
#include "tools/keynote-capture/EventWriter.h"

#include <cstdio>

namespace keynote_capture {

void complain(std::string_view sentence) {
    const std::string line = "keynote-capture: " + std::string(sentence) + '\n';
    // One write, so that a line of another thread does not fall into it.
    std::fwrite(line.data(), 1, line.size(), stderr);
}

ExitStatus reported(const Error& error) {
    complain(sentenceFor(error));
    // The client library's own errors mean that nobody answered.
    return error.domain() == host::kCaptureServiceClientErrorDomain ? kNoService : kOperationFailed;
}

}  // namespace keynote_capture
