#include "host/CaptureServiceClient.h"
#include "ports/Timeline.h"

#include <fmt/format.h>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

/// Prints each entry of the timeline in a line: event, slide, and its bounds on the steady clock in nanoseconds.
class Printer final : public TimelineListener {
public:
    void timelineReport(const TimelineReport& report) override {
        const auto& [event, at, slide, position] = report.entry;
        const auto earliest = at.earliest ? at.earliest->time_since_epoch().count() : 0;
        std::cout << fmt::format("{} {} {} {}", nameOf(event), slide, earliest, at.latest.time_since_epoch().count())
                  << std::endl;
    }
};

class NoDelegate final : public KeynoteCaptureServiceDelegate {
    void startedPresenting(const std::optional<std::string>& /*presentationID*/,
                           const std::optional<std::filesystem::path>& /*originalDocumentPath*/,
                           const std::optional<std::string>& /*archive*/, const ErrorPtr& /*error*/) override {}
    void stoppedPresenting(const std::optional<std::string>& /*presentationID*/, const ErrorPtr& /*error*/) override {}
    void slideDeckPresentedSlide(const std::optional<std::string>& /*presentationID*/, std::int64_t /*presentedSlide*/,
                                 Date /*at*/, const std::optional<std::filesystem::path>& /*image*/) override {}
    void extractedSlideFilesForPresentation(const std::string& /*path*/, const ErrorPtr& /*withError*/) override {}
    void savedArchiveDocuments() override {}
    void failedToSaveArchiveDocumentError(const ErrorPtr& /*error*/) override {}
    void detectedKeynoteLaunched() override {}
    void detectedKeynoteTerminated() override {}
};

[[noreturn]] void fail(const ErrorPtr& error) {
    std::cerr << error->localizedDescription() << std::endl;
    std::_Exit(EXIT_FAILURE);
}

}  // namespace

/// Has the service capture to a folder and follows its timeline until the end of standard input.
int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: TimelineFollower FOLDER\n";
        return 2;
    }
    Printer printer;
    NoDelegate delegate;
    ErrorPtr error;
    const auto client = host::CaptureServiceClient::connect(delegate, {}, error, std::chrono::seconds(25), &printer);
    if (!client) fail(error);
    client->startDetectionAndCaptureTo(std::filesystem::path(argv[1]), "truth", &fail);
    while (std::cin.get() != std::char_traits<char>::eof()) {
    }
    client->stopDetectionAndCapture();
}
