/// Messages of any content to all who hear the bus, and such answers to what they ask: each call is answered once, what
/// was asked ends, and nothing is kept of a host that has left.
///
/// Each line is one message, with values as `busctl call` reads them:
///
///     call MEMBER TYPES VALUE...              a host calls the service
///     object INTERFACE MEMBER TYPES VALUE...  the same, of any interface
///     delegate MEMBER TYPES VALUE...          the service calls the delegate of a host
///     entry TYPES VALUE...                    the service tells an entry of the timeline
///     changed TYPES VALUE...                  a program tells that its properties have changed
///     answer MEMBER TYPES VALUE...            so that call is answered; it is made at once
///     refuse MEMBER ERROR                     so it is refused

#include "bus/Names.h"
#include "fuzz/FalseBus.h"
#include "fuzz/MessageText.h"
#include "fuzz/Require.h"
#include "host/CaptureServiceClient.h"
#include "platform/linux/bus/DBusScripting.h"
#include "platform/linux/bus/DBusServiceListener.h"
#include "platform/linux/bus/DBusWorkspace.h"
#include "ports/Log.h"
#include "runtime/LoopDispatch.h"

#include <atomic>
#include <future>
#include <sstream>

namespace {

constexpr std::chrono::seconds kDeadline{20};
constexpr const char* kProgramName = "com.apple.iWork.Keynote.instance1";
constexpr int kService = 1;  ///< the connections, as they come
constexpr int kHost = 2;
constexpr const char* kServiceOwner = ":1.1";

class NoLog final : public ConsoleLog {
public:
    void write(std::string_view /*message*/) override {}
};

/// Tells its host all that there is to be told, with the texts that it is given.
class TellingService final : public KeynoteCaptureServiceProtocol {
public:
    explicit TellingService(ServiceConnection& connection)
        : host_(connection.remoteObjectProxy()), timeline_(connection.timelineListener()) {}

    void startDetectionAndCaptureTo(const std::optional<std::filesystem::path>& captureDirectoryURL,
                                    const std::optional<std::string>& withRecordingId,
                                    ErrorReply withErrorReply) override {
        const auto id = withRecordingId.value_or("");
        const auto error = makeError(id, static_cast<std::int64_t>(id.size()), id);
        host_->startedPresenting(withRecordingId, captureDirectoryURL, withRecordingId, error);
        host_->slideDeckPresentedSlide(withRecordingId, 1, Date(), captureDirectoryURL);
        host_->stoppedPresenting(withRecordingId, error);
        timeline_->timelineReport({{}, id, id, std::nullopt, Date()});
        if (id.starts_with("refuse")) withErrorReply(error);
        text_ = withRecordingId;
    }
    void stopDetectionAndCapture() override { host_->detectedKeynoteTerminated(); }
    void stopPresenting() override { host_->detectedKeynoteLaunched(); }
    void setKeynotePollingInterval(double seconds) override {
        if (seconds > 1) throw std::runtime_error("too slow");
    }
    void extractSlideFiles(const std::vector<std::string>& names, const std::string& forPresentationAt) override {
        const auto error = names.empty() ? nullptr : makeError("Domain", 5, names.front());
        host_->extractedSlideFilesForPresentation(forPresentationAt, error);
    }
    void waitForSavingToCompleteAsync() override { host_->savedArchiveDocuments(); }
    void descriptionOfScriptableWindowsWithReply(TextReply reply) override { reply(text_); }
    void descriptionOfKeynoteWindowsWithReply(TextReply reply) override { reply(std::nullopt); }

private:
    const std::shared_ptr<KeynoteCaptureServiceDelegate> host_;
    const std::shared_ptr<TimelineListener> timeline_;
    std::optional<std::string> text_;
};

class Accepting final : public ServiceListenerDelegate {
public:
    bool listenerShouldAcceptNewConnection(const std::shared_ptr<ServiceConnection>& connection) override {
        connection->setExportedObject(std::make_shared<TellingService>(*connection));
        connection->setInvalidationHandler(
            [weak = std::weak_ptr(connection)] { weak.lock()->setExportedObject(nullptr); });
        connection->resume();
        return true;
    }
};

/// A host that looks at nothing but what is promised of entries.
class Host final : public KeynoteCaptureServiceDelegate, public TimelineListener {
public:
    void startedPresenting(const std::optional<std::string>& /*id*/,
                           const std::optional<std::filesystem::path>& /*document*/,
                           const std::optional<std::string>& /*archive*/, const ErrorPtr& /*error*/) override {}
    void stoppedPresenting(const std::optional<std::string>& /*id*/, const ErrorPtr& /*error*/) override {}
    void slideDeckPresentedSlide(const std::optional<std::string>& /*id*/, std::int64_t /*slide*/, Date /*at*/,
                                 const std::optional<std::filesystem::path>& /*image*/) override {}
    void extractedSlideFilesForPresentation(const std::string& /*path*/, const ErrorPtr& /*error*/) override {}
    void savedArchiveDocuments() override {}
    void failedToSaveArchiveDocumentError(const ErrorPtr& /*error*/) override {}
    void detectedKeynoteLaunched() override {}
    void detectedKeynoteTerminated() override {}
    void timelineReport(const TimelineReport& report) override {
        const auto& earliest = report.entry.at.earliest;
        require(!earliest || *earliest <= report.entry.at.latest);
        require(!report.earliest || *report.earliest <= report.latest);
        require(report.entry.slideNumber >= 0 && report.entry.position.value_or(1) > 0);
    }
};

/// The service's adapters, a host and what they need, on a false bus.
class Stage {
public:
    Stage() {
        listener_.setDelegate(&accepting_);
        main_ = std::thread([this] { static_cast<void>(listener_.resume()); });
        ErrorPtr error;
        // The connection is made after the service's, which has its number already.
        client_ = host::CaptureServiceClient::connect(host_, {}, error, kDeadline, &host_);
        require(client_ != nullptr);
        bus_.tellOwner(kHost, bus::kServiceName, kServiceOwner);
        application_ = scripting_.applicationForProcess(1);
    }
    ~Stage() {
        client_.reset();
        application_.reset();
        dispatch_.stop(0);
        main_.join();
    }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    void play(const std::string& lines) {
        const auto host = ":1." + std::to_string(++hostNumber_);
        std::istringstream text(lines);
        for (std::string line; std::getline(text, line);) play(line, host);
        bus_.settle();
        for (const auto& name : {std::string(kProgramName), host}) bus_.tellOwner(kService, name, "");
        bus_.settle();
        require(eventually([this] { return hosts_ == 0; }));
    }

private:
    using Words = fuzz::Words;

    void play(const std::string& line, const std::string& host) {
        Words words(line);
        const auto kind = words.next();
        if (kind == "call")
            send({kService, host, kCall, bus::kServicePath, bus::kServiceInterface, word(words)}, words);
        if (kind == "object") {
            const auto interface = word(words);
            send({kService, host, kCall, bus::kServicePath, interface, word(words)}, words);
        }
        if (kind == "delegate") {
            send({kHost, kServiceOwner, kCall, bus::kDelegatePath, "com.veldrin.KeynoteCaptureServiceDelegate",
                  word(words)},
                 words);
        }
        if (kind == "entry") {
            send({kHost, kServiceOwner, kSignal, bus::kServicePath, "com.veldrin.KeynoteCaptureTimeline1", "entry"},
                 words);
        }
        if (kind == "changed") {
            send({kService, bus_.kProgram, kSignal, bus::kProgramPath, bus::kPropertiesInterface, "PropertiesChanged"},
                 words);
        }
        if (kind == "answer") answer(word(words), words);
        if (kind == "refuse") refuse(word(words), words);
    }

    static std::string word(Words& words) { return std::string(words.next()); }
    void send(const fuzz::FalseBus::Message& message, Words words) {
        bus_.send(message, [words](sd_bus_message* raw) mutable {
            const auto types = words.next();
            return fuzz::appendValues(raw, types, words);
        });
    }
    void answer(const std::string& member, Words words) {
        const auto copy = std::make_shared<std::string>(words.rest());
        bus_.answerCalls(member, [copy](sd_bus_message* raw) {
            Words values(*copy);
            const auto types = values.next();
            return fuzz::appendValues(raw, types, values);
        });
        ask(member);
    }
    void refuse(const std::string& member, Words words) {
        bus_.answerCalls(member, nullptr, word(words));
        ask(member);
    }

    /// Has somebody call the member, if anybody does, and waits for what comes of it.
    void ask(const std::string& member) {
        if (member == "presentingState") {
            awaited([&](auto done) { application_->presentingState([done](auto&&...) { done(); }); });
        } else if (member == "windows") {
            require(application_->windows().size() <= 1000);
        } else if (member == "Get") {
            static_cast<void>(application_->version());
            awaited([&](auto done) { client_->askServiceVersion([done](auto&&...) { done(); }); });
        } else if (member == "open") {
            static_cast<void>(application_->open("/deck.key"));
        } else if (member == "documentText") {
            static_cast<void>(application_->documentWithID("D")->text());
        } else if (member == "GetAll") {
            bus_.tellOwner(kService, kProgramName, bus_.kProgram);
            bus_.settle();
        } else if (member == "Ping") {
            awaited([&](auto done) { client_->checkService([done](auto&&...) { done(); }); });
        } else if (member == "descriptionOfKeynoteWindowsWithReply") {
            awaited([&](auto done) { client_->descriptionOfKeynoteWindowsWithReply([done](auto&&...) { done(); }); });
        }
    }
    template <typename Ask>
    static void awaited(const Ask& ask) {
        const auto promise = std::make_shared<std::promise<void>>();
        auto future = promise->get_future();
        ask([promise] { promise->set_value(); });
        require(future.wait_for(kDeadline) == std::future_status::ready);
    }
    template <typename Condition>
    static bool eventually(const Condition& condition) {
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (!condition() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
        return condition();
    }

    static constexpr auto kCall = static_cast<std::uint8_t>(SD_BUS_MESSAGE_METHOD_CALL);
    static constexpr auto kSignal = static_cast<std::uint8_t>(SD_BUS_MESSAGE_SIGNAL);

    fuzz::FalseBus bus_;
    NoLog log_;
    Accepting accepting_;
    Host host_;
    std::atomic<int> hosts_ = 0;
    int hostNumber_ = 1000;
    runtime::LoopDispatch dispatch_{log_};
    const std::shared_ptr<bus::SessionBus> service_ = std::make_shared<bus::SessionBus>();
    bus::DBusWorkspace workspace_{service_, dispatch_.mainQueue(), {"com.apple.iWork.Keynote"}};
    bus::DBusScripting scripting_{dispatch_.mainQueue(), [](pid_t) { return fuzz::FalseBus::kProgram; },
                                  [](const auto&) { return fuzz::FalseBus::kProgram; }};
    bus::DBusServiceListener listener_{service_, dispatch_, log_, {[this] { ++hosts_; }, [this] { --hosts_; }}};
    std::thread main_;
    std::unique_ptr<host::CaptureServiceClient> client_;
    std::shared_ptr<ScriptingApplication> application_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Stage stage;
    stage.play(std::string(data, data + size));
    return 0;
}
