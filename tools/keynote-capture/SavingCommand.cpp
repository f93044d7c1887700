#include "commandline/Translation.h"
#include "host/CaptureServiceClient.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/EventWriter.h"
#include "tools/keynote-capture/Inbox.h"
#include "tools/keynote-capture/ProgressLine.h"

namespace keynote_capture {
namespace {

/// One wait. Each handler answers the exit status when the event ends it.
class Waiting {
public:
    explicit Waiting(bool json) : writer_(json ? makeJSONEventWriter() : makeTextEventWriter({})) {
        line_.show(translated("Waiting for the presentation program to finish saving; interrupt (Ctrl-C) to give up."));
    }

    std::optional<ExitStatus> operator()(const host::DelegateCall& call) {
        const auto* ended = std::get_if<host::SavingEnded>(&call);
        if (ended == nullptr) return std::nullopt;
        line_.clear();
        const bool written = writer_->write(call);
        if (ended->error) return reported(*ended->error);
        return written ? kDone : kOperationFailed;
    }
    std::optional<ExitStatus> operator()(const RequestRefused& failure) {
        line_.clear();
        return reported(*failure.error);
    }
    std::optional<ExitStatus> operator()(const ServiceLost&) {
        line_.clear();
        complain(translated("The capture service has gone; whether everything is saved is not known."));
        return kNoService;
    }
    std::optional<ExitStatus> operator()(const Interrupted&) { return kOperationFailed; }
    template <typename Other>
    std::optional<ExitStatus> operator()(const Other& /*of no interest*/) {
        return std::nullopt;
    }

private:
    const std::unique_ptr<EventWriter> writer_;
    ProgressLine line_;
};

}  // namespace

ExitStatus waitForSaving(const WaitForSavingOptions& options) {
    Inbox inbox;
    ErrorPtr error;
    const auto client = host::CaptureServiceClient::connect(
        inbox, [&inbox] { inbox.post(ServiceLost{}); }, error);
    if (!client) return reported(*error);
    // Waits without end, as people may: only they know how long a save may take, and they can interrupt.
    client->waitForSavingToCompleteAsync([&inbox](const ErrorPtr& failure) { inbox.post(RequestRefused{failure}); });
    Waiting waiting(options.json);
    for (;;) {
        if (const auto status = std::visit(waiting, inbox.next())) return *status;
    }
}

}  // namespace keynote_capture
