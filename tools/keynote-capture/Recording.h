#pragma once

#include "host/CaptureServiceClient.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/EventWriter.h"
#include "tools/keynote-capture/Inbox.h"
#include "tools/keynote-capture/RecordedShow.h"
#include "tools/keynote-capture/hook/Hook.h"

#include <list>
#include <memory>

namespace keynote_capture {

/// A recording that does not give up: when the service leaves it is started again, and images that are missing in the
/// end, and the text of the slides, are made from the archive copies, between the shows. Each handler returns the exit
/// status when the event ends the recording. Main thread.
class Recording {
public:
    /// The hook, which may be null, is told each call.
    Recording(const RecordOptions& options, Inbox& inbox, Hook* hook);

    /// Connects and starts; the exit status when that failed at once.
    [[nodiscard]] std::optional<ExitStatus> begin();
    /// When `TimedOut` is due, if ever.
    [[nodiscard]] std::optional<Instant> deadline() const;

    std::optional<ExitStatus> operator()(const host::DelegateCall& call);
    std::optional<ExitStatus> operator()(const TimelineReport& report);
    std::optional<ExitStatus> operator()(const RequestRefused& failure);
    std::optional<ExitStatus> operator()(const ServiceLost& event);
    std::optional<ExitStatus> operator()(const ServiceVersionTold& answer);
    std::optional<ExitStatus> operator()(const Interrupted& event);
    std::optional<ExitStatus> operator()(const OutputClosed& event);
    std::optional<ExitStatus> operator()(const TimedOut& event);
    template <typename Other>
    std::optional<ExitStatus> operator()(const Other& /*nothing of a recording*/) {
        return std::nullopt;
    }

private:
    void note(const host::StartedPresenting& call);
    void note(const host::PresentedSlide& call);
    void note(const host::StoppedPresenting& call);
    void note(const host::ExtractedSlideFiles& call);
    template <typename Other>
    void note(const Other& /*of no show*/) {}

    [[nodiscard]] bool connect(ErrorPtr& error);
    void start();
    std::optional<ExitStatus> startAgain();
    void takeOver();
    void linkToLost(RecordedShow& show) const;
    [[nodiscard]] RecordedShow* showWithID(const std::optional<std::string>& presentationID);
    [[nodiscard]] RecordedShow* firstShowThatIs(RecordedShow::State state);
    std::optional<ExitStatus> goOn();
    void mend(RecordedShow& show);
    ExitStatus finished();
    [[nodiscard]] std::string finishedLine() const;
    [[nodiscard]] std::vector<std::string> problems() const;
    ExitStatus serviceGone(const std::string& sentence);
    ExitStatus outputFailed();

    const RecordOptions& options_;
    Inbox& inbox_;
    Hook* const hook_;
    const std::unique_ptr<EventWriter> writer_;
    RecorderFacts facts_;
    std::unique_ptr<host::CaptureServiceClient> client_;
    std::unique_ptr<host::CaptureServiceClient> mender_;  ///< has what is missing made from an archive copy
    int connection_ = 0;  ///< number of the client, since events of an earlier one may still come
    std::list<RecordedShow> shows_;
    bool hasStarted_ = false;  ///< the service has accepted a start at some time
    bool stopping_ = false;
    std::optional<Instant> retryAt_;    ///< the service, or the bus, is gone and looked for again then
    std::optional<Instant> busLostAt_;  ///< since when there is no bus
    std::optional<Instant> missingAt_;  ///< when to look what is missing, unless a program is found before
    Instant quietUntil_;                ///< until then a show may run that the service has not seen yet
};

}  // namespace keynote_capture
