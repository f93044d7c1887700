#include "platform/linux/bus/DBusDelegateProxy.h"

#include "bus/Convert.h"
#include "bus/Names.h"

#include <utility>

DBusDelegateProxy::DBusDelegateProxy(std::shared_ptr<SessionBus> bus, const std::string& host)
    : bus_(std::move(bus)), proxy_(sdbus::createProxy(bus_->connection(), host, bus::kDelegatePath)), calls_(*proxy_) {}

template <typename Send>
void DBusDelegateProxy::send(const Send& call) noexcept {
    if (!valid_ || bus_->hasStopped()) return;
    try {
        call();
    } catch (const std::exception&) {
        // The bus is gone, which the bus thread sees too and ends the process, or the host takes nothing and what waits
        // for it has used up the library's memory for it.
    }
}

void DBusDelegateProxy::startedPresenting(const std::optional<std::string>& presentationID,
                                          const std::optional<std::filesystem::path>& originalDocumentPath,
                                          const std::optional<std::string>& archive, const ErrorPtr& error) {
    send([&] {
        calls_.startedPresenting(bus::textFrom(presentationID), bus::textFrom(originalDocumentPath),
                                 bus::textFrom(archive), bus::structFrom(error));
    });
}

void DBusDelegateProxy::stoppedPresenting(const std::optional<std::string>& presentationID, const ErrorPtr& error) {
    send([&] { calls_.stoppedPresenting(bus::textFrom(presentationID), bus::structFrom(error)); });
}

void DBusDelegateProxy::slideDeckPresentedSlide(const std::optional<std::string>& presentationID,
                                                std::int64_t presentedSlide, Date at,
                                                const std::optional<std::filesystem::path>& imageFilePathURL) {
    send([&] {
        calls_.slideDeckPresentedSlide(bus::textFrom(presentationID), presentedSlide, bus::microsecondsFrom(at),
                                       bus::textFrom(imageFilePathURL));
    });
}

void DBusDelegateProxy::extractedSlideFilesForPresentation(const std::string& path, const ErrorPtr& withError) {
    send([&] { calls_.extractedSlideFilesForPresentation(bus::validUTF8(path), bus::structFrom(withError)); });
}

bool DBusDelegateProxy::beginWait(int most) {
    if (++waits_ <= most) return true;
    --waits_;
    return false;
}

void DBusDelegateProxy::savedArchiveDocuments() {
    --waits_;
    send([&] { calls_.savedArchiveDocuments(); });
}

void DBusDelegateProxy::failedToSaveArchiveDocumentError(const ErrorPtr& error) {
    --waits_;
    send([&] { calls_.failedToSaveArchiveDocumentError(bus::structFrom(error)); });
}

void DBusDelegateProxy::detectedKeynoteLaunched() {
    send([&] { calls_.detectedKeynoteLaunched(); });
}

void DBusDelegateProxy::detectedKeynoteTerminated() {
    send([&] { calls_.detectedKeynoteTerminated(); });
}
