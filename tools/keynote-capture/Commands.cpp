#include "tools/keynote-capture/Commands.h"

#include "host/CaptureServiceClient.h"
#include "tools/keynote-capture/EventWriter.h"

#include <cstdio>

void complain(std::string_view sentence) {
    const std::string line = "keynote-capture: " + std::string(sentence) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

ExitStatus reported(const Error& error) {
    complain(sentenceFor(error));
    return error.domain() == kCaptureServiceClientErrorDomain ? kNoService : kOperationFailed;
}
