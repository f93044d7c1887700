#include "host/CaptureServiceClient.h"

#include "bus/BusConnection.h"
#include "bus/Callbacks.h"
#include "bus/Convert.h"
#include "bus/KeynoteCaptureServiceDelegateAdaptor.h"
#include "bus/KeynoteCaptureServiceProtocolProxy.h"
#include "bus/Names.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>
#include <utility>

namespace {

using Delegate_adaptor = com::veldrin::KeynoteCaptureServiceDelegate_adaptor;
constexpr const char* kProtocol = com::veldrin::KeynoteCaptureServiceProtocol_proxy::INTERFACE_NAME;

/// Threads made while this lives take no signals: those belong to the host's own threads.
class NoSignals {
public:
    NoSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    NoSignals(const NoSignals&) = delete;
    NoSignals& operator=(const NoSignals&) = delete;

private:
    sigset_t before_{};
};

template <std::size_t size>
bool beginsWithAny(std::string_view name, const std::array<std::string_view, size>& beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(), [&](auto each) { return name.starts_with(each); });
}

ErrorPtr clientErrorFrom(const sdbus::Error& error) {
    static constexpr std::array<std::string_view, 8> kUnavailable = {"org.freedesktop.DBus.Error.ServiceUnknown",
                                                                     "org.freedesktop.DBus.Error.NameHasNoOwner",
                                                                     "org.freedesktop.DBus.Error.Spawn.",
                                                                     "org.freedesktop.DBus.Error.Disconnected",
                                                                     "org.freedesktop.DBus.Error.NoServer",
                                                                     "org.freedesktop.systemd1.",
                                                                     "System.Error.ENOTCONN",
                                                                     "System.Error.ECONNRESET"};
    static constexpr std::array<std::string_view, 3> kNoAnswer = {
        "org.freedesktop.DBus.Error.NoReply", "org.freedesktop.DBus.Error.Time", "System.Error.ETIMEDOUT"};
    if (beginsWithAny(error.getName(), kUnavailable)) {
        return makeError(kCaptureServiceClientErrorDomain, kCaptureServiceUnavailable,
                         "The capture service is not running and could not be started; check that it is installed. (" +
                             error.getMessage() + ")");
    }
    if (beginsWithAny(error.getName(), kNoAnswer)) {
        return makeError(kCaptureServiceClientErrorDomain, kCaptureServiceNoAnswer,
                         "The capture service did not answer; try again. (" + error.getMessage() + ")");
    }
    return bus::errorFrom(error);
}

}  // namespace

/// The bus end: the exported delegate, the service's proxy and the watch on its name.
/// `owner_` and `accepted_` belong to the event loop's thread once that runs.
class CaptureServiceClient::Link final : private Delegate_adaptor {
public:
    static std::unique_ptr<Link> open(KeynoteCaptureServiceDelegate& delegate, std::function<void()> onServiceLost,
                                      std::chrono::microseconds replyTimeout) {
        auto connection = bus::openSessionBus();
        auto object = sdbus::createObject(*connection, bus::kDelegatePath);
        std::unique_ptr<Link> link(
            new Link(std::move(connection), std::move(object), delegate, std::move(onServiceLost), replyTimeout));
        link->run();
        return link;
    }
    virtual ~Link() = default;
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// Asks for what ends when the service leaves; the reply is called on failure.
    template <typename... Arguments>
    void begin(const char* method, const ErrorReply& reply, const Arguments&... arguments) {
        guarded(reply, [&] {
            call(method).withArguments(arguments...).uponReplyInvoke([this, reply](const sdbus::Error* error) {
                if (error == nullptr) {
                    accepted_ = true;
                } else if (reply) {
                    bus::guarded([&] { reply(clientErrorFrom(*error)); });
                }
            });
        });
    }

    void ping(const ErrorReply& reply) {
        guarded(reply, [&] {
            proxy_->callMethodAsync("Ping")
                .onInterface("org.freedesktop.DBus.Peer")
                .withTimeout(replyTimeout_)
                .uponReplyInvoke([reply](const sdbus::Error* error) {
                    bus::guarded([&] { reply(error == nullptr ? nullptr : clientErrorFrom(*error)); });
                });
        });
    }

    template <typename... Arguments>
    void tell(const char* method, const Arguments&... arguments) {
        guarded({}, [&] {
            proxy_->callMethod(method).onInterface(kProtocol).withArguments(arguments...).dontExpectReply();
        });
    }

    void ask(const char* method, const TextReply& reply) {
        guarded(
            [&reply](const ErrorPtr&) {
                if (reply) reply(std::nullopt);
            },
            [&] {
                call(method).uponReplyInvoke([reply](const sdbus::Error* error, const std::string& text) {
                    if (!reply) return;
                    bus::guarded([&] { reply(error == nullptr ? bus::optionalFrom(text) : std::nullopt); });
                });
            });
    }

private:
    using BusError = bus::ErrorStruct;

    Link(std::unique_ptr<sdbus::IConnection> connection, std::unique_ptr<sdbus::IObject> object,
         KeynoteCaptureServiceDelegate& delegate, std::function<void()> onServiceLost,
         std::chrono::microseconds replyTimeout)
        : Delegate_adaptor(*object),
          connection_(std::move(connection)),
          object_(std::move(object)),
          proxy_(sdbus::createProxy(*connection_, bus::kServiceName, bus::kServicePath)),
          delegate_(delegate),
          onServiceLost_(std::move(onServiceLost)),
          replyTimeout_(replyTimeout) {}

    void run() {
        object_->finishRegistration();
        ownerWatch_ = bus::watchNames(*connection_, "arg0='" + std::string(bus::kServiceName) + "'",
                                      [this](const auto&, const std::string& now) { ownerChanged(now); });
        owner_ = currentOwner();
        const NoSignals noSignals;
        loop_ = std::make_unique<bus::EventLoopThread>(*connection_, [this] { ownerLost(); });
    }

    std::string currentOwner() {
        auto daemon = sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus");
        std::string owner;
        try {
            daemon->callMethod("GetNameOwner")
                .onInterface("org.freedesktop.DBus")
                .withArguments(std::string(bus::kServiceName))
                .storeResultsTo(owner);
        } catch (const sdbus::Error& error) {
            if (error.getName() != "org.freedesktop.DBus.Error.NameHasNoOwner") throw;
        }
        return owner;
    }

    void ownerChanged(const std::string& now) {
        if (now == owner_) return;
        owner_ = now;
        if (std::exchange(accepted_, false)) ownerLost();
    }

    void ownerLost() const {
        if (onServiceLost_) bus::guarded(onServiceLost_);
    }

    sdbus::AsyncMethodInvoker call(const char* method) {
        const std::string name = method;  // the invoker refers to it until the message is made
        auto invoker = proxy_->callMethodAsync(name);
        invoker.onInterface(kProtocol).withTimeout(replyTimeout_);
        return invoker;
    }

    /// Sending fails when the connection is closed or a text is not UTF-8.
    template <typename Send>
    static void guarded(const ErrorReply& onFailure, Send&& send) {
        try {
            send();
        } catch (const sdbus::Error& error) {
            if (onFailure) onFailure(clientErrorFrom(error));
        }
    }

    /// Tells the delegate. Anyone on the bus can call the exported object; only the service may.
    template <typename Call>
    void notify(const Call& call) const {
        const auto* message = object_->getCurrentlyProcessedMessage();
        if (owner_.empty() || message == nullptr || message->getSender() != owner_) {
            throw sdbus::Error("org.freedesktop.DBus.Error.AccessDenied", "Only the capture service may call this.");
        }
        bus::guarded(call);
    }

    void startedPresenting(const std::string& presentationID, const std::string& originalDocumentPath,
                           const std::string& archive, const BusError& error) override {
        notify([&] {
            delegate_.startedPresenting(bus::optionalFrom(presentationID), bus::optionalPathFrom(originalDocumentPath),
                                        bus::optionalFrom(archive), bus::errorFrom(error));
        });
    }
    void stoppedPresenting(const std::string& presentationID, const BusError& error) override {
        notify([&] { delegate_.stoppedPresenting(bus::optionalFrom(presentationID), bus::errorFrom(error)); });
    }
    void slideDeckPresentedSlide(const std::string& presentationID, const std::int64_t& presentedSlide,
                                 const std::int64_t& at, const std::string& imageFilePathURL) override {
        notify([&] {
            delegate_.slideDeckPresentedSlide(bus::optionalFrom(presentationID), presentedSlide, bus::dateFrom(at),
                                              bus::optionalPathFrom(imageFilePathURL));
        });
    }
    void extractedSlideFilesForPresentation(const std::string& presentationPath, const BusError& error) override {
        notify([&] { delegate_.extractedSlideFilesForPresentation(presentationPath, bus::errorFrom(error)); });
    }
    void savedArchiveDocuments() override {
        notify([&] { delegate_.savedArchiveDocuments(); });
    }
    void failedToSaveArchiveDocumentError(const BusError& error) override {
        notify([&] { delegate_.failedToSaveArchiveDocumentError(bus::errorFrom(error)); });
    }
    void detectedKeynoteLaunched() override {
        notify([&] { delegate_.detectedKeynoteLaunched(); });
    }
    void detectedKeynoteTerminated() override {
        notify([&] { delegate_.detectedKeynoteTerminated(); });
    }

    const std::unique_ptr<sdbus::IConnection> connection_;
    const std::unique_ptr<sdbus::IObject> object_;
    const std::unique_ptr<sdbus::IProxy> proxy_;
    KeynoteCaptureServiceDelegate& delegate_;
    const std::function<void()> onServiceLost_;
    const std::chrono::microseconds replyTimeout_;
    std::string owner_;      ///< unique name of the service, empty while there is none
    bool accepted_ = false;  ///< this owner has begun what was asked for
    sdbus::Slot ownerWatch_;
    std::unique_ptr<bus::EventLoopThread> loop_;  ///< last, so that the thread ends before anything it uses
};

std::unique_ptr<CaptureServiceClient> CaptureServiceClient::connect(KeynoteCaptureServiceDelegate& delegate,
                                                                    std::function<void()> onServiceLost,
                                                                    ErrorPtr& error,
                                                                    std::chrono::microseconds replyTimeout) {
    error = nullptr;
    try {
        return std::unique_ptr<CaptureServiceClient>(
            new CaptureServiceClient(Link::open(delegate, std::move(onServiceLost), replyTimeout)));
    } catch (const sdbus::Error& failure) {
        error = makeError(kCaptureServiceClientErrorDomain, kCaptureServiceUnavailable,
                          "There is no session bus to reach the capture service on; check "
                          "DBUS_SESSION_BUS_ADDRESS. (" +
                              failure.getMessage() + ")");
        return nullptr;
    }
}

CaptureServiceClient::CaptureServiceClient(std::unique_ptr<Link> link) : link_(std::move(link)) {}

CaptureServiceClient::~CaptureServiceClient() = default;

void CaptureServiceClient::startDetectionAndCaptureTo(const std::optional<std::filesystem::path>& captureDirectoryURL,
                                                      const std::optional<std::string>& withRecordingId,
                                                      ErrorReply withErrorReply) {
    link_->begin("startDetectionAndCaptureTo", withErrorReply, bus::textFrom(captureDirectoryURL),
                 bus::textFrom(withRecordingId));
}

void CaptureServiceClient::checkService(const ErrorReply& reply) {
    link_->ping(reply);
}

void CaptureServiceClient::stopDetectionAndCapture() {
    link_->tell("stopDetectionAndCapture");
}

void CaptureServiceClient::stopPresenting() {
    link_->tell("stopPresenting");
}

void CaptureServiceClient::setKeynotePollingInterval(double seconds) {
    link_->tell("setKeynotePollingInterval", seconds);
}

void CaptureServiceClient::extractSlideFiles(const std::vector<std::string>& names,
                                             const std::string& forPresentationAt) {
    extractSlideFiles(names, forPresentationAt, {});
}

void CaptureServiceClient::waitForSavingToCompleteAsync() {
    waitForSavingToCompleteAsync({});
}

void CaptureServiceClient::extractSlideFiles(const std::vector<std::string>& names,
                                             const std::string& forPresentationAt, const ErrorReply& withErrorReply) {
    link_->begin("extractSlideFiles", withErrorReply, names, forPresentationAt);
}

void CaptureServiceClient::waitForSavingToCompleteAsync(const ErrorReply& withErrorReply) {
    link_->begin("waitForSavingToCompleteAsync", withErrorReply);
}

void CaptureServiceClient::descriptionOfScriptableWindowsWithReply(TextReply reply) {
    link_->ask("descriptionOfScriptableWindowsWithReply", reply);
}

void CaptureServiceClient::descriptionOfKeynoteWindowsWithReply(TextReply reply) {
    link_->ask("descriptionOfKeynoteWindowsWithReply", reply);
}
