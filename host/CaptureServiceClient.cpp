#include "host/CaptureServiceClient.h"

#include "bus/Convert.h"
#include "bus/DelegateContract.h"
#include "bus/Names.h"
#include "bus/Peer.h"
#include "bus/SessionBus.h"
#include "bus/TimelineContract.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>
#include <utility>

namespace host {
namespace {

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

template <typename Value = bus::Nothing, typename... Arguments>
bus::Call<Value> serviceCall(const char* member, const Arguments&... arguments) {
    return bus::makeCall<Value>(bus::kServiceInterface, member, arguments...);
}

template <std::size_t size>
bool beginsWithAny(std::string_view name, const std::array<std::string_view, size>& beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(), [&](auto each) { return name.starts_with(each); });
}

ErrorPtr clientErrorFrom(const bus::Failure& failure) {
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
    if (beginsWithAny(failure.name(), kUnavailable)) {
        return makeError(kCaptureServiceClientErrorDomain, kCaptureServiceUnavailable,
                         "The capture service is not running and could not be started; check that it is installed. (" +
                             std::string(failure.what()) + ")");
    }
    if (beginsWithAny(failure.name(), kNoAnswer)) {
        return makeError(kCaptureServiceClientErrorDomain, kCaptureServiceNoAnswer,
                         "The capture service did not answer; try again. (" + std::string(failure.what()) + ")");
    }
    return bus::errorFrom(failure);
}

}  // namespace

/// The bus end: the exported delegate, the service as a peer and the watch on its name.
/// `owner_` and `accepted_` belong to the bus thread.
class CaptureServiceClient::Link {
public:
    /// Throws `bus::Failure`.
    Link(KeynoteCaptureServiceDelegate& delegate, std::function<void()> onServiceLost,
         std::chrono::microseconds replyTimeout, TimelineListener* timeline)
        : delegate_(bus::serveDelegate(bus_.connection(), delegate,
                                       [this](const std::string& caller) { return isOwner(caller); })),
          timeline_(timeline == nullptr
                        ? nullptr
                        : bus::watchTimeline(bus_.connection(), *timeline,
                                             [this](const std::string& sender) { return isOwner(sender); })),
          service_(bus_.connection(), bus::kServiceName, bus::kServicePath),
          onServiceLost_(std::move(onServiceLost)),
          replyTimeout_(replyTimeout),
          daemon_(bus_.connection(), bus::kBusDaemon, bus::kBusDaemonPath),
          ownerWatch_(bus_.connection().watchNames("arg0='" + std::string(bus::kServiceName) + "'",
                                                   [this](const auto&, const auto& now) { ownerChanged(now); })) {
        // Asked after the watch has begun, so that no change is missed, and before anything is asked of the service.
        daemon_.ask<std::string>(
            bus::makeCall<std::string>(bus::kBusDaemon, "GetNameOwner", std::string(bus::kServiceName)), replyTimeout_,
            [this](const auto*, const std::string& now) { owner_ = now; });
        // The host decides where its signals arrive; a thread that it does not know of must not take them.
        const NoSignals noSignals;
        bus_.start([this] { ownerLost(); });
    }
    /// The thread ends before anything that it uses.
    ~Link() { bus_.stop(); }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// Asks for what ends when the service leaves; the reply is called on failure.
    void begin(const bus::Call<>& call, const ErrorReply& reply) {
        ask<bus::Nothing>(call, [this, reply](const bus::Failure* failure, bus::Nothing) {
            if (failure == nullptr) {
                accepted_ = true;
            } else if (reply) {
                reply(clientErrorFrom(*failure));
            }
        });
    }

    /// The answer is told, too, of a call that cannot be sent: when the connection is closed or a text is not UTF-8.
    template <typename Value>
    void ask(const bus::Call<Value>& call, const std::function<void(const bus::Failure*, Value)>& answer) {
        try {
            service_.ask(call, replyTimeout_, answer);
        } catch (const bus::Failure& failure) {
            answer(&failure, {});
        }
    }

    void askForText(const bus::Call<std::string>& call, const TextReply& reply) {
        ask<std::string>(call, [reply](const bus::Failure* failure, const std::string& text) {
            if (reply) reply(failure == nullptr ? bus::optionalFrom(text) : std::nullopt);
        });
    }

    void tell(const bus::Event& event) {
        bus::guarded([&] { service_.tell(event); });
    }

    /// Where the bus cannot start it, there is none, or its user starts it.
    void startBridge() {
        constexpr std::uint32_t kNoFlags = 0;
        const std::string name = bus::kBridgeName;
        bus::guarded([&] { daemon_.tell(bus::makeCall(bus::kBusDaemon, "StartServiceByName", name, kNoFlags)); });
    }

private:
    [[nodiscard]] bool isOwner(const std::string& name) const { return !owner_.empty() && name == owner_; }

    void ownerChanged(const std::string& now) {
        // The first answer of the daemon and its signal may tell the same.
        if (now == owner_) return;
        owner_ = now;
        // A service that has accepted nothing owes nothing, so nobody needs to hear that it went.
        if (std::exchange(accepted_, false)) ownerLost();
    }

    void ownerLost() const {
        if (onServiceLost_) bus::guarded(onServiceLost_);
    }

    bus::SessionBus bus_;
    Handle delegate_;
    Handle timeline_;
    bus::Peer service_;
    const std::function<void()> onServiceLost_;
    const std::chrono::microseconds replyTimeout_;
    bool accepted_ = false;  ///< this owner has begun what was asked for
    std::string owner_;      ///< unique name of the service, empty while there is none
    bus::Peer daemon_;
    Handle ownerWatch_;
};

std::unique_ptr<CaptureServiceClient> CaptureServiceClient::connect(KeynoteCaptureServiceDelegate& delegate,
                                                                    std::function<void()> onServiceLost,
                                                                    ErrorPtr& error,
                                                                    std::chrono::microseconds replyTimeout,
                                                                    TimelineListener* timeline) {
    error = nullptr;
    try {
        return std::unique_ptr<CaptureServiceClient>(new CaptureServiceClient(
            std::make_unique<Link>(delegate, std::move(onServiceLost), replyTimeout, timeline)));
    } catch (const bus::Failure& failure) {
        error = makeError(kCaptureServiceClientErrorDomain, kCaptureServiceUnavailable,
                          "There is no session bus to reach the capture service on; check "
                          "DBUS_SESSION_BUS_ADDRESS. (" +
                              std::string(failure.what()) + ")");
        return nullptr;
    }
}

CaptureServiceClient::CaptureServiceClient(std::unique_ptr<Link> link) : link_(std::move(link)) {}

CaptureServiceClient::~CaptureServiceClient() = default;

void CaptureServiceClient::startDetectionAndCaptureTo(const std::optional<std::filesystem::path>& captureDirectoryURL,
                                                      const std::optional<std::string>& withRecordingId,
                                                      ErrorReply withErrorReply) {
    link_->startBridge();
    link_->begin(
        serviceCall("startDetectionAndCaptureTo", bus::textFrom(captureDirectoryURL), bus::textFrom(withRecordingId)),
        withErrorReply);
}

void CaptureServiceClient::checkService(const ErrorReply& reply) {
    link_->ask<bus::Nothing>(bus::makeCall("org.freedesktop.DBus.Peer", "Ping"),
                             [reply](const bus::Failure* failure, bus::Nothing) {
                                 reply(failure == nullptr ? nullptr : clientErrorFrom(*failure));
                             });
}

void CaptureServiceClient::stopDetectionAndCapture() {
    link_->tell(serviceCall("stopDetectionAndCapture"));
}

void CaptureServiceClient::stopPresenting() {
    link_->tell(serviceCall("stopPresenting"));
}

void CaptureServiceClient::setKeynotePollingInterval(double seconds) {
    link_->tell(serviceCall("setKeynotePollingInterval", seconds));
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
    link_->begin(serviceCall("extractSlideFiles", names, forPresentationAt), withErrorReply);
}

void CaptureServiceClient::waitForSavingToCompleteAsync(const ErrorReply& withErrorReply) {
    link_->begin(serviceCall("waitForSavingToCompleteAsync"), withErrorReply);
}

void CaptureServiceClient::askServiceVersion(const TextReply& reply) {
    link_->askForText(bus::serviceVersion(), reply);
}

void CaptureServiceClient::descriptionOfScriptableWindowsWithReply(TextReply reply) {
    link_->askForText(serviceCall<std::string>("descriptionOfScriptableWindowsWithReply"), reply);
}

void CaptureServiceClient::descriptionOfKeynoteWindowsWithReply(TextReply reply) {
    link_->askForText(serviceCall<std::string>("descriptionOfKeynoteWindowsWithReply"), reply);
}

}  // namespace host
