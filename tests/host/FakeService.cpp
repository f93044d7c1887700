#include "tests/host/FakeService.h"

#include "bus/Names.h"

#include <fmt/format.h>

#include <chrono>
#include <stdexcept>
#include <utility>

DelegateProxy::DelegateProxy(sdbus::IConnection& connection, const std::string& host)
    : DelegateProxy(bus::createProxy(connection, host, bus::kDelegatePath)) {}

DelegateProxy::DelegateProxy(std::unique_ptr<sdbus::IProxy> proxy)
    : KeynoteCaptureServiceDelegate_proxy(*proxy), proxy_(std::move(proxy)) {}

void DelegateProxy::detectedKeynoteTerminatedAndWait() {
    proxy_->callMethod("detectedKeynoteTerminated").onInterface(INTERFACE_NAME).withTimeout(std::chrono::seconds(15));
}

FakeService::FakeService(const std::string& address, std::map<std::string, Reaction> reactions, Starts starts)
    : OwnConnection{sdbus::createSessionBusConnectionWithAddress(address)},
      AdaptorInterfaces(*connection, sdbus::ObjectPath(bus::kServicePath)),
      reactions_(std::move(reactions)),
      starts_(starts) {
    registerAdaptor();
    connection->requestName(bus::ServiceName(bus::kServiceName));
    connection->enterEventLoopAsync();
}

FakeService::~FakeService() {
    if (connection) connection->leaveEventLoop();
}

std::vector<std::string> FakeService::waitForCalls(std::size_t count) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, std::chrono::seconds(15), [&] { return calls_.size() >= count; })) {
        throw std::runtime_error("too few calls");
    }
    return calls_;
}

DelegateProxy& FakeService::host() {
    const std::lock_guard lock(mutex_);
    return *host_;
}

std::string FakeService::hostName() {
    const std::lock_guard lock(mutex_);
    return sender_;
}

void FakeService::leave() {
    connection->leaveEventLoop();
    unanswered_.clear();
    host_.reset();
    unregisterAdaptor();
    connection.reset();
}

void FakeService::note(const std::string& method, const std::string& arguments) {
    {
        const std::lock_guard lock(mutex_);
        const std::string sender = bus::callerOf(getObject());
        if (calls_.empty() || sender != sender_) host_ = std::make_unique<DelegateProxy>(*connection, sender);
        sender_ = sender;
        calls_.push_back(arguments.empty() ? method : method + " " + arguments);
    }
    const auto reaction = reactions_.find(method);
    if (reaction != reactions_.end()) reaction->second(*this);
    changed_.notify_all();
}

void FakeService::startDetectionAndCaptureTo(sdbus::Result<>&& result, std::string directory, std::string recording) {
    note("startDetectionAndCaptureTo", directory + " " + recording);
    switch (starts_) {
        case Starts::accepted:
            return result.returnResults();
        case Starts::refused: {
            const auto failure = bus::failureFrom(
                *makeError("KeynoteCaptureServiceErrorDomain", 1, "A file stands at the capture directory"));
            return result.returnError(sdbus::Error(bus::ErrorName(failure.name()), failure.what()));
        }
        case Starts::unanswered:
            unanswered_.push_back(std::move(result));
    }
}

void FakeService::stopDetectionAndCapture(sdbus::Result<>&& result) {
    note("stopDetectionAndCapture");
    result.returnResults();
}

void FakeService::stopPresenting(sdbus::Result<>&& result) {
    note("stopPresenting");
    result.returnResults();
}

void FakeService::setKeynotePollingInterval(sdbus::Result<>&& result, double seconds) {
    note("setKeynotePollingInterval", fmt::format("{}", seconds));
    result.returnResults();
}

void FakeService::extractSlideFiles(sdbus::Result<>&& result, std::vector<std::string> names, std::string path) {
    note("extractSlideFiles", fmt::format("{} {}", fmt::join(names, ","), path));
    result.returnResults();
}

void FakeService::waitForSavingToCompleteAsync(sdbus::Result<>&& result) {
    note("waitForSavingToCompleteAsync");
    result.returnResults();
}

void FakeService::descriptionOfScriptableWindowsWithReply(sdbus::Result<std::string>&& result) {
    note("descriptionOfScriptableWindowsWithReply");
    result.returnResults("Window Name: Slides\n");
}

void FakeService::descriptionOfKeynoteWindowsWithReply(sdbus::Result<std::string>&& result) {
    note("descriptionOfKeynoteWindowsWithReply");
    result.returnResults("kCGWindowName = \"a\x1b[31mred\";\n");
}
