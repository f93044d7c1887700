#include "host/CaptureServiceClient.h"
#include "tools/PrintableText.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/EventWriter.h"
#include "tools/keynote-capture/Inbox.h"

#include <cerrno>
#include <cstring>
#include <set>

namespace {

/// The state of one recording. Each handler answers the exit status when the event ends the recording.
class Recording {
public:
    Recording(const RecordOptions& options, host::CaptureServiceClient& client)
        : client_(client), writer_(options.json ? makeJSONEventWriter() : makeTextEventWriter(options.directory)) {}

    std::optional<ExitStatus> operator()(const host::DelegateCall& call) {
        if (!writer_->write(call)) return outputFailed();
        std::visit([this](const auto& each) { this->note(each); }, call);
        if (stopping_ && unfinishedShows_.empty()) return finished();
        return std::nullopt;
    }
    std::optional<ExitStatus> operator()(const RequestRefused& failure) { return reported(*failure.error); }
    std::optional<ExitStatus> operator()(const ServiceLost&) {
        complain("The capture service has gone; the recording has ended.");
        return kNoService;
    }
    std::optional<ExitStatus> operator()(const Interrupted&) {
        if (stopping_ || unfinishedShows_.empty()) return finished();
        stopping_ = true;
        complain(
            "The slide images come when the slide show has ended; waiting for that. "
            "Interrupt again to stop at once without them.");
        return std::nullopt;
    }
    std::optional<ExitStatus> operator()(const OutputClosed&) { return finished(); }
    template <typename Other>
    std::optional<ExitStatus> operator()(const Other& /*nothing of a recording*/) {
        return std::nullopt;
    }

private:
    void note(const host::StartedPresenting& call) {
        unfinishedShows_.insert(call.presentationID);
        sawError_ = sawError_ || call.error;
    }
    void note(const host::StoppedPresenting& call) {
        const auto found = unfinishedShows_.find(call.presentationID);
        if (found != unfinishedShows_.end()) unfinishedShows_.erase(found);
        sawError_ = sawError_ || call.error;
    }
    template <typename Other>
    void note(const Other&) {}

    ExitStatus finished() {
        client_.stopDetectionAndCapture();
        return sawError_ || !unfinishedShows_.empty() ? kOperationFailed : kDone;
    }

    ExitStatus outputFailed() {
        // Its reader has seen enough, as head(1) does: no failure.
        if (errno == EPIPE) return finished();
        complain(std::string("Cannot write the events: ") + std::strerror(errno));
        client_.stopDetectionAndCapture();
        return kOperationFailed;
    }

    host::CaptureServiceClient& client_;
    const std::unique_ptr<EventWriter> writer_;
    std::multiset<std::optional<std::string>> unfinishedShows_;  ///< started, and their images are not in place yet
    bool stopping_ = false;
    bool sawError_ = false;
};

}  // namespace

ExitStatus record(const RecordOptions& options) {
    Inbox inbox;
    ErrorPtr error;
    const auto client = host::CaptureServiceClient::connect(
        inbox, [&inbox] { inbox.post(ServiceLost{}); }, error);
    if (!client) return reported(*error);
    // Before the start, so that the first poll already goes by it.
    if (options.pollingInterval) client->setKeynotePollingInterval(*options.pollingInterval);
    client->startDetectionAndCaptureTo(options.directory, options.recordingID,
                                       [&inbox](const ErrorPtr& failure) { inbox.post(RequestRefused{failure}); });
    // On standard error: standard output has the events only.
    if (!options.json) {
        complain("Captures go to " + printableText(options.directory.native()) + "; interrupt (Ctrl-C) to stop.");
    }
    Recording recording(options, *client);
    for (;;) {
        if (const auto status = std::visit(recording, inbox.next())) return *status;
    }
}
