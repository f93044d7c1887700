/// A small recorder: follows one slide show, prints what happens and when it happened, and ends when its images are
/// there.
///
///     c++ -std=c++20 host.cpp $(pkg-config --cflags --libs keynote-capture) -o host && ./host /tmp/lecture

#include <keynote-capture/CaptureErrors.h>
#include <keynote-capture/CaptureNames.h>
#include <keynote-capture/CaptureServiceClient.h>
#include <keynote-capture/DelegateCalls.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iostream>
#include <mutex>

namespace {

/// Hears what the service tells. All of it comes on the client's thread, one call at a time.
class Recorder final : public host::DelegateCalls, public TimelineListener {
public:
    explicit Recorder(std::string recordingID) : recordingID_(std::move(recordingID)) {}

    /// Becomes ready when the show and its images are there, or something went wrong: with the exit status.
    std::future<int> end() { return end_.get_future(); }

    void fail(const std::string& reason) {
        std::cerr << reason << std::endl;
        finish(EXIT_FAILURE);
    }

private:
    void take(const host::DelegateCall& call) override {
        std::visit([this](const auto& each) { note(each); }, call);
    }
    void note(const host::ProgramLaunched& /*call*/) { std::cout << "program found" << std::endl; }
    void note(const host::ProgramTerminated& /*call*/) { std::cout << "program left" << std::endl; }
    void note(const host::StartedPresenting& call) {
        std::cout << "show of " << call.originalDocumentPath.value_or("an unsaved deck").native() << std::endl;
    }
    void note(const host::PresentedSlide& call) {
        std::cout << capture::imageFileName(call.number) << " will be there" << std::endl;
    }
    void note(const host::StoppedPresenting& call) {
        if (call.error) return fail(wording(*call.error));
        std::cout << "all images are there" << std::endl;
        finish(EXIT_SUCCESS);
    }
    void note(const host::ExtractedSlideFiles& /*call*/) {}
    void note(const host::SavingEnded& /*call*/) {}

    /// The true times. Other recordings are told, too; this recorder follows its own.
    void timelineReport(const TimelineReport& report) override {
        if (report.recordingID != recordingID_) return;
        std::cout << nameOf(report.entry.event);
        if (report.entry.event == TimelineEvent::slideShown) std::cout << ' ' << report.entry.slideNumber;
        std::cout << " by " << std::chrono::duration<double>(report.latest.time_since_epoch()).count() << std::endl;
    }

    /// The service words all of its errors but two; the other one is not told of shows.
    static std::string wording(const Error& error) {
        const bool isMissingImages =
            error.domain() == KeynoteCaptureServiceErrorDomain &&
            error.code() == static_cast<std::int64_t>(KeynoteCaptureServiceError::slideImagesMissing);
        return isMissingImages ? "Some slide images did not come." : error.localizedDescription();
    }

    void finish(int status) {
        std::call_once(ended_, [&] { end_.set_value(status); });
    }

    const std::string recordingID_;
    std::promise<int> end_;
    std::once_flag ended_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: host DIRECTORY" << std::endl;
        return 2;
    }
    std::cout << std::fixed;
    // Names the working directory of this recording, so no other one may have it.
    const auto recordingID = "example-" + std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
    Recorder recorder(recordingID);
    auto end = recorder.end();
    ErrorPtr error;
    const auto client = host::CaptureServiceClient::connect(
        recorder, [&] { recorder.fail("The capture service has gone."); }, error, std::chrono::seconds(25), &recorder);
    if (!client) {
        std::cerr << error->localizedDescription() << std::endl;
        return EXIT_FAILURE;
    }
    client->startDetectionAndCaptureTo(std::filesystem::absolute(argv[1]), recordingID, [&](const ErrorPtr& failure) {
        recorder.fail(failure->localizedDescription());
    });
    const int status = end.get();
    client->stopDetectionAndCapture();
    return status;
}
