/// The client library against a capture service that a test plays.

#include "host/CaptureServiceClient.h"
#include "tests/host/HostTest.h"
#include "tests/support/Deadline.h"

#include <future>

namespace {

using namespace std::chrono_literals;

/// Counts launches, and fails at terminations; the other calls are the tool's tests' business.
class LaunchCounter final : public KeynoteCaptureServiceDelegate {
public:
    std::atomic<int> launches = 0;
    void startedPresenting(const std::optional<std::string>&, const std::optional<std::filesystem::path>&,
                           const std::optional<std::string>&, const ErrorPtr&) override {}
    void stoppedPresenting(const std::optional<std::string>&, const ErrorPtr&) override {}
    void slideDeckPresentedSlide(const std::optional<std::string>&, std::int64_t, Date,
                                 const std::optional<std::filesystem::path>&) override {}
    void extractedSlideFilesForPresentation(const std::string&, const ErrorPtr&) override {}
    void savedArchiveDocuments() override {}
    void failedToSaveArchiveDocumentError(const ErrorPtr&) override {}
    void detectedKeynoteLaunched() override { ++launches; }
    void detectedKeynoteTerminated() override { throw std::runtime_error("the host's own failure"); }
};

/// A value that comes from the client's thread, waited for within bounds.
template <typename Value>
class Awaited {
public:
    void set(Value value) { promise_.set_value(std::move(value)); }
    Value get() {
        auto future = promise_.get_future();
        if (future.wait_for(15s) != std::future_status::ready) throw std::runtime_error("nothing came");
        return future.get();
    }

private:
    std::promise<Value> promise_;
};

class ClientTest : public HostTest {
protected:
    std::unique_ptr<host::CaptureServiceClient> connect(std::function<void()> onLost = {},
                                                        std::chrono::microseconds replyTimeout = 25s) {
        ErrorPtr error;
        return host::CaptureServiceClient::connect(delegate_, std::move(onLost), error, replyTimeout);
    }
    LaunchCounter delegate_;
};

TEST_F(ClientTest, AServiceThatDoesNotAnswerIsAnErrorInTime) {
    FakeService service(bus_.address(), {}, FakeService::Starts::unanswered);
    Awaited<ErrorPtr> failure;
    const auto client = connect({}, 50ms);
    client->startDetectionAndCaptureTo("/c", "r", [&](const ErrorPtr& error) { failure.set(error); });
    const ErrorPtr error = failure.get();
    EXPECT_EQ(error->domain(), host::kCaptureServiceClientErrorDomain);
    EXPECT_EQ(error->code(), host::kCaptureServiceNoAnswer);
}

TEST_F(ClientTest, WhatAHostThrowsEndsThere) {
    FakeService service(bus_.address(), {{"startDetectionAndCaptureTo", [](FakeService& it) {
                                              it.host().detectedKeynoteTerminated();
                                              it.host().detectedKeynoteLaunched();
                                          }}});
    const auto client = connect();
    client->descriptionOfKeynoteWindowsWithReply([](const auto&) { throw std::runtime_error("another"); });
    client->startDetectionAndCaptureTo("/c", "r", {});
    EXPECT_TRUE(eventually([&] { return delegate_.launches == 1; }));
}

TEST_F(ClientTest, ARestartedServiceIsHeardAfterANewStart) {
    Awaited<bool> lost;
    const auto client = connect([&, told = false]() mutable {
        if (!std::exchange(told, true)) lost.set(true);  // the second one may be missed too, at the end
    });
    {
        FakeService first(bus_.address());
        client->startDetectionAndCaptureTo("/c", "r", {});
        first.waitForCalls(1);
        Awaited<bool> answered;  // answers keep their order, so the start has been accepted once this has come
        client->descriptionOfKeynoteWindowsWithReply([&](const auto&) { answered.set(true); });
        answered.get();
        first.leave();
        lost.get();
    }
    FakeService second(bus_.address(),
                       {{"startDetectionAndCaptureTo", [](FakeService& it) { it.host().detectedKeynoteLaunched(); }}});
    client->startDetectionAndCaptureTo("/c", "r", {});
    second.waitForCalls(1);
    Awaited<std::optional<std::string>> windows;
    client->descriptionOfScriptableWindowsWithReply([&](const auto& text) { windows.set(text); });
    EXPECT_EQ(windows.get(), "Window Name: Slides\n");
    EXPECT_EQ(delegate_.launches, 1);
}

TEST_F(ClientTest, WhatCannotBeSentIsAnErrorAndNothingIsAnswered) {
    Awaited<ErrorPtr> failure;
    const auto client = connect();
    client->startDetectionAndCaptureTo("/c", "not UTF-8: \xFF", [&](const ErrorPtr& error) { failure.set(error); });
    EXPECT_NE(failure.get(), nullptr);
    Awaited<std::optional<std::string>> windows;
    client->descriptionOfKeynoteWindowsWithReply([&](const auto& text) { windows.set(text); });
    EXPECT_EQ(windows.get(), std::nullopt) << "there is no service";
}

TEST_F(ClientTest, LosingTheBusIsToldAndLaterCallsFailAtOnce) {
    Awaited<bool> lost;
    auto bus = std::make_unique<PrivateBus>();
    const auto client = connect([&] { lost.set(true); });
    bus.reset();
    lost.get();
    ErrorPtr failure;
    client->startDetectionAndCaptureTo("/c", "r", [&](const ErrorPtr& error) { failure = error; });
    ASSERT_NE(failure, nullptr);
    EXPECT_EQ(failure->code(), host::kCaptureServiceUnavailable);
}

TEST_F(ClientTest, AClientDroppedWhileEventsPourInIsNotCalledAgain) {
    FakeService service(bus_.address());
    auto client = connect();
    client->startDetectionAndCaptureTo("/c", "r", {});
    service.waitForCalls(1);
    std::atomic<bool> enough = false;
    std::thread pouring([&] {
        while (!enough) service.host().detectedKeynoteLaunched();
    });
    while (delegate_.launches < 100) std::this_thread::yield();
    client.reset();
    const int atTheEnd = delegate_.launches;
    enough = true;
    pouring.join();
    EXPECT_EQ(delegate_.launches, atTheEnd);
}

}  // namespace
