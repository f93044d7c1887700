#include "bus/ServiceServer.h"

#include "bus/Answer.h"
#include "bus/KeynoteCaptureServiceProtocolAdaptor.h"
#include "bus/Names.h"
#include "bus/Sdbus.h"
#include "bus/SessionBus.h"

#include <utility>
#include <vector>

namespace bus {
namespace {

constexpr std::size_t kLongestArgument = 16384;
constexpr std::size_t kMostNames = 10000;
constexpr std::size_t kLongestName = 255;

using Kind = HostCall::Kind;
using Service = KeynoteCaptureServiceProtocol;
using VoidAnswer = Answer<>;
using TextAnswer = Answer<std::string>;

void requireShort(const std::string& text) {
    if (text.size() <= kLongestArgument) return;
    throw Failure(kLimitsExceeded, "A text is longer than 16384 bytes; pass a shorter one.");
}

/// Names become files beside the presentation, and nowhere else.
void requireSound(const std::vector<std::string>& names, const std::string& path) {
    requireShort(path);
    if (!path.starts_with('/')) {
        throw Failure(kInvalidArguments,
                      "The presentation \"" + path + "\" is no absolute path; pass one like /home/me/deck.odp.");
    }
    if (names.size() > kMostNames) throw Failure(kLimitsExceeded, "More than 10000 images; ask for fewer.");
    for (const std::string& name : names) {
        if (name.size() > kLongestName) throw Failure(kLimitsExceeded, "An image's name exceeds 255 bytes.");
        if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
            throw Failure(kInvalidArguments, "\"" + name + "\" is no name of an image; pass names like slide.007.jpg.");
        }
    }
}

class ServiceObject final : private sdbus::AdaptorInterfaces<com::veldrin::KeynoteCaptureServiceProtocol_adaptor>,
                            public Registration {
public:
    ServiceObject(std::shared_ptr<SessionBus> bus, std::function<void(HostCall call)> take)
        : AdaptorInterfaces(bus->connection().library(), sdbus::ObjectPath(kServicePath)),
          bus_(std::move(bus)),
          take_(std::move(take)) {
        registerAdaptor();  // last, because calls may come from here on
    }
    ~ServiceObject() override { unregisterAdaptor(); }

private:
    /// Hands a call over, together with the answer that it is owed, which may outlive everything but the bus.
    template <typename... Results, typename Run>
    void take(
        sdbus::Result<Results...>&& result, const Run& run, Kind kind = Kind::plain,
        const std::function<void()>& check = [] {}) {
        const auto send = [bus = bus_, send = sender(std::move(result), kFailed)](const Failure* refusal,
                                                                                  const Results&... results) {
            // Nobody serves the connection then, and the process is about to go.
            if (!bus->hasStopped()) send(refusal, results...);
        };
        // A reply block that is dropped means success, so that is what a dropped answer says.
        const Answer<Results...> answer(send, nullptr);
        guarded([&] {
            take_({.kind = kind,
                   .host = callerOf(getObject()),
                   .check = check,
                   .run = [run, answer](Service& service) { run(service, answer); },
                   .succeed = [answer] { answer.give(Results{}...); },
                   .refuse = [answer](const Failure& failure) { answer.refuse(failure); }});
        });
    }

    void startDetectionAndCaptureTo(sdbus::Result<>&& result, std::string url, std::string id) override {
        const auto run = [url, id](Service& service, const VoidAnswer& answer) {
            const auto reply = [answer](const ErrorPtr& error) {
                error ? answer.refuse(failureFrom(*error)) : answer.give();
            };
            service.startDetectionAndCaptureTo(optionalPathFrom(url), optionalFrom(id), reply);
        };
        take(std::move(result), run, Kind::plain, [url, id] {
            requireShort(url);
            requireShort(id);
        });
    }
    void stopDetectionAndCapture(sdbus::Result<>&& result) override {
        take(std::move(result), [](Service& service, const VoidAnswer&) { service.stopDetectionAndCapture(); });
    }
    void stopPresenting(sdbus::Result<>&& result) override {
        take(std::move(result), [](Service& service, const VoidAnswer&) { service.stopPresenting(); });
    }
    void setKeynotePollingInterval(sdbus::Result<>&& result, double seconds) override {
        take(std::move(result),
             [seconds](Service& service, const VoidAnswer&) { service.setKeynotePollingInterval(seconds); });
    }
    void extractSlideFiles(sdbus::Result<>&& result, std::vector<std::string> names, std::string path) override {
        // Up to 10000 names, shared because what checks them and what extracts them are copied with the call.
        const auto shared = std::make_shared<const std::vector<std::string>>(std::move(names));
        take(
            std::move(result),
            [shared, path](Service& service, const VoidAnswer&) { service.extractSlideFiles(*shared, path); },
            Kind::extraction, [shared, path] { requireSound(*shared, path); });
    }
    void waitForSavingToCompleteAsync(sdbus::Result<>&& result) override {
        take(
            std::move(result), [](Service& service, const VoidAnswer&) { service.waitForSavingToCompleteAsync(); },
            Kind::waitForSaving);
    }
    void descriptionOfScriptableWindowsWithReply(sdbus::Result<std::string>&& result) override {
        take(std::move(result), [](Service& service, const TextAnswer& answer) {
            service.descriptionOfScriptableWindowsWithReply(
                [answer](const auto& text) { answer.give(textFrom(text)); });
        });
    }
    void descriptionOfKeynoteWindowsWithReply(sdbus::Result<std::string>&& result) override {
        take(std::move(result), [](Service& service, const TextAnswer& answer) {
            service.descriptionOfKeynoteWindowsWithReply([answer](const auto& text) { answer.give(textFrom(text)); });
        });
    }

    const std::shared_ptr<SessionBus> bus_;
    const std::function<void(HostCall call)> take_;
};

}  // namespace

Handle serveHosts(const std::shared_ptr<SessionBus>& bus, std::function<void(HostCall call)> take) {
    return translated([&] { return std::make_unique<ServiceObject>(bus, std::move(take)); });
}

}  // namespace bus
