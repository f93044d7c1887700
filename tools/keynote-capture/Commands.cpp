#include "tools/keynote-capture/Commands.h"

#include "commandline/Program.h"
#include "host/CaptureServiceClient.h"
#include "tools/keynote-capture/EventWriter.h"

namespace keynote_capture {

void complain(std::string_view sentence) {
    complainAs("keynote-capture", std::string(sentence));
}

ExitStatus reported(const Error& error) {
    complain(sentenceFor(error));
    // The client library's own errors mean that nobody answered.
    return error.domain() == host::kCaptureServiceClientErrorDomain ? kNoService : kOperationFailed;
}

}  // namespace keynote_capture
