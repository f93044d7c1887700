#include "bus/ServiceContract.h"

#include "bus/KeynoteCaptureServiceProtocolAdaptor.h"
#include "bus/MakeCall.h"
#include "bus/Names.h"
#include "bus/SendResult.h"
#include "bus/SessionBus.h"

#include <utility>

namespace bus {
namespace service {
namespace {

template <typename Value = Nothing, typename... Arguments>
Call<Value> call(const char* member, const Arguments&... arguments) {
    return makeCall<Value>("com.veldrin.KeynoteCaptureServiceProtocol", member, arguments...);
}

}  // namespace

Call<> startDetectionAndCaptureTo(const std::optional<Path>& captureDirectoryURL,
                                  const std::optional<std::string>& recordingId) {
    return call("startDetectionAndCaptureTo", textFrom(captureDirectoryURL), textFrom(recordingId));
}

Call<> stopDetectionAndCapture() {
    return call("stopDetectionAndCapture");
}

Call<> stopPresenting() {
    return call("stopPresenting");
}

Call<> setKeynotePollingInterval(double seconds) {
    return call("setKeynotePollingInterval", seconds);
}

Call<> extractSlideFiles(const std::vector<std::string>& names, const std::string& presentationPath) {
    return call("extractSlideFiles", names, presentationPath);
}

Call<> waitForSavingToCompleteAsync() {
    return call("waitForSavingToCompleteAsync");
}

Call<std::string> descriptionOfScriptableWindowsWithReply() {
    return call<std::string>("descriptionOfScriptableWindowsWithReply");
}

Call<std::string> descriptionOfKeynoteWindowsWithReply() {
    return call<std::string>("descriptionOfKeynoteWindowsWithReply");
}

Call<> ping() {
    return makeCall("org.freedesktop.DBus.Peer", "Ping");
}

}  // namespace service

class ServiceServer::Object final : private com::veldrin::KeynoteCaptureServiceProtocol_adaptor {
public:
    Object(std::unique_ptr<sdbus::IObject> object, std::shared_ptr<SessionBus> bus, Service& service)
        : KeynoteCaptureServiceProtocol_adaptor(*object),
          service_(service),
          bus_(std::move(bus)),
          object_(std::move(object)) {
        object_->finishRegistration();
    }
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

private:
    /// Hands a call to the service, with its caller and the answer that it is owed.
    template <typename... Results, typename Call>
    void serve(sdbus::Result<Results...>&& result, const Call& call) {
        // The answer may outlive everything but the bus.
        const auto send = [bus = bus_, send = SendResult(std::move(result), kFailed)](const Failure* refusal,
                                                                                      const Results&... results) {
            if (!bus->hasStopped()) send(refusal, results...);
        };
        const Answer<Results...> answer(send, Answer<Results...>::WhenDropped::succeeds);
        answerFailure(answer, kFailed, [&] { call(object_->getCurrentlyProcessedMessage()->getSender(), answer); });
    }

    void startDetectionAndCaptureTo(sdbus::Result<>&& result, std::string captureDirectoryURL,
                                    std::string recordingId) override {
        serve(std::move(result), [&](const std::string& host, const Answer<>& answer) {
            service_.startDetectionAndCaptureTo(host, std::move(captureDirectoryURL), std::move(recordingId), answer);
        });
    }
    void stopDetectionAndCapture(sdbus::Result<>&& result) override {
        serve(std::move(result), std::bind_front(&Service::stopDetectionAndCapture, &service_));
    }
    void stopPresenting(sdbus::Result<>&& result) override {
        serve(std::move(result), std::bind_front(&Service::stopPresenting, &service_));
    }
    void setKeynotePollingInterval(sdbus::Result<>&& result, double seconds) override {
        serve(std::move(result), [&](const std::string& host, const Answer<>& answer) {
            service_.setKeynotePollingInterval(host, seconds, answer);
        });
    }
    void extractSlideFiles(sdbus::Result<>&& result, std::vector<std::string> names,
                           std::string presentationPath) override {
        serve(std::move(result), [&](const std::string& host, const Answer<>& answer) {
            service_.extractSlideFiles(host, std::move(names), std::move(presentationPath), answer);
        });
    }
    void waitForSavingToCompleteAsync(sdbus::Result<>&& result) override {
        serve(std::move(result), std::bind_front(&Service::waitForSavingToCompleteAsync, &service_));
    }
    void descriptionOfScriptableWindowsWithReply(sdbus::Result<std::string>&& result) override {
        serve(std::move(result), std::bind_front(&Service::descriptionOfScriptableWindowsWithReply, &service_));
    }
    void descriptionOfKeynoteWindowsWithReply(sdbus::Result<std::string>&& result) override {
        serve(std::move(result), std::bind_front(&Service::descriptionOfKeynoteWindowsWithReply, &service_));
    }

    Service& service_;
    const std::shared_ptr<SessionBus> bus_;
    const std::unique_ptr<sdbus::IObject> object_;
};

ServiceServer::ServiceServer(std::shared_ptr<SessionBus> bus, Service& service)
    : object_(translated([&] {
          auto object = sdbus::createObject(bus->connection().library(), kServicePath);
          return std::make_unique<Object>(std::move(object), bus, service);
      })) {}

ServiceServer::~ServiceServer() = default;

}  // namespace bus
